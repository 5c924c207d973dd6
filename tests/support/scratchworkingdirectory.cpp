#include "scratchworkingdirectory.h"

#include <QDir>
#include <QFile>

ScratchWorkingDirectory::ScratchWorkingDirectory(Folder folder) : previous(QDir::currentPath()) {
    valid = directory.isValid() && QDir::setCurrent(directory.path());
    if (valid && folder == WithProfileFolder)
        valid = QDir(directory.path()).mkpath(QStringLiteral("effect_profiles"));
}

ScratchWorkingDirectory::~ScratchWorkingDirectory() {
    // Leave the folder before it is removed, and make it writable again in case a test locked it.
    QDir::setCurrent(previous);
    QFile::setPermissions(directory.path() + QStringLiteral("/effect_profiles"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QString ScratchWorkingDirectory::profilePath(const QString &fileName) const {
    return directory.path() + QStringLiteral("/effect_profiles/") + fileName;
}

bool ScratchWorkingDirectory::writeProfile(const QString &fileName, const QByteArray &contents) const {
    if (!QDir(directory.path()).mkpath(QStringLiteral("effect_profiles")))
        return false;
    QFile file(profilePath(fileName));
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(contents) == contents.size();
}
