#include "demoprofile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {
constexpr char ProfileName[] = "DCS_Quillar_Demo_Trainer.json";
} // namespace

QString demoProfileFileName() {
    return QString::fromLatin1(ProfileName);
}

bool installDemoProfile(const QString &profilesFolder) {
    const QDir folder(profilesFolder);
    const QString target = folder.filePath(demoProfileFileName());
    if (QFileInfo::exists(target))
        return false;
    QFile shipped(QStringLiteral(":/quillar/demo/") + demoProfileFileName());
    if (!shipped.open(QIODevice::ReadOnly) || !QDir().mkpath(profilesFolder))
        return false;
    const QByteArray contents = shipped.readAll();
    QFile file(target);
    // A new file only: a profile of this name that appeared meanwhile is the user's.
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return false;
    return file.write(contents) == contents.size();
}
