#include "classtemplatesetting.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSettings>
#include <QStandardPaths>

Q_LOGGING_CATEGORY(lcClassTemplate, "quillar.profiles.template")

namespace ClassTemplateSetting {
namespace {
const QString Key = QStringLiteral("profiles/use_class_template");
}

QString settingsFilePath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/vortane-quillar/quillar.conf");
}

bool read(const QString &path) {
    // Reading never creates the file.
    if (!QFileInfo(path).isFile())
        return false;
    const QSettings settings(path, QSettings::IniFormat);
    if (!settings.contains(Key))
        return false;
    const QVariant value = settings.value(Key);
    const QString text = value.typeId() == QMetaType::QString ? value.toString().trimmed() : QString();
    if (text == QLatin1String("true"))
        return true;
    if (text != QLatin1String("false"))
        qCWarning(lcClassTemplate).noquote()
            << QStringLiteral(
                   "%1: [profiles] use_class_template \"%2\" is neither true nor false; taking false")
                   .arg(path, value.toStringList().join(QLatin1Char(',')));
    return false;
}

bool write(const QString &path, bool use) {
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QSettings settings(path, QSettings::IniFormat);
    settings.setValue(Key, use ? QStringLiteral("true") : QStringLiteral("false"));
    settings.sync();
    return settings.status() == QSettings::NoError;
}
} // namespace ClassTemplateSetting
