#include "simconnectconfig.h"

#include "simconnectlogging.h"

#include <QFile>
#include <QFileInfo>
#include <QList>

namespace {
// A real SimConnect.cfg is a few lines; anything this large is not one, and is not read into memory.
constexpr qint64 MaxFileSize = 64 * 1024;

// Reasons are returned instead of logged so that one file gives at most one warning.
QString parse(const QByteArray &contents, SimConnectEndpoint &endpoint) {
    bool inSection = false;
    bool sawSection = false;
    int lineNumber = 0;
    for (QByteArray line : contents.split('\n')) {
        ++lineNumber;
        if (lineNumber == 1 && line.startsWith("\xEF\xBB\xBF"))
            line.remove(0, 3);
        line = line.trimmed();
        if (line.isEmpty() || line.startsWith(';') || line.startsWith('#'))
            continue;
        if (line.startsWith('[')) {
            if (!line.endsWith(']'))
                return QStringLiteral("line %1 opens a section it does not close").arg(lineNumber);
            // Connection entry 0 is ours, written "[SimConnect]" or "[SimConnect.0]"; "[SimConnect.1]" and the
            // like are for clients that ask for another entry.
            const QByteArray name = line.mid(1, line.size() - 2).trimmed();
            inSection = name.compare("SimConnect", Qt::CaseInsensitive) == 0 ||
                        name.compare("SimConnect.0", Qt::CaseInsensitive) == 0;
            sawSection = sawSection || inSection;
            continue;
        }
        const qsizetype equals = line.indexOf('=');
        if (equals <= 0)
            return QStringLiteral("line %1 is neither a section nor a key=value entry").arg(lineNumber);
        if (!inSection)
            continue;
        const QByteArray key = line.left(equals).trimmed().toLower();
        const QByteArray value = line.mid(equals + 1).trimmed();
        if (key == "protocol") {
            if (value.compare("IPv4", Qt::CaseInsensitive) != 0)
                return QStringLiteral("Protocol=%1 is not supported (only IPv4)").arg(QString::fromLatin1(value));
        } else if (key == "address") {
            if (value.isEmpty())
                return QStringLiteral("Address is empty");
            endpoint.address = QString::fromLatin1(value);
        } else if (key == "port") {
            bool ok = false;
            const uint port = value.toUInt(&ok);
            if (!ok || port < 1 || port > 65535)
                return QStringLiteral("Port=%1 is not a port number").arg(QString::fromLatin1(value));
            endpoint.port = uint16_t(port);
        }
    }
    if (!sawSection)
        return QStringLiteral("it has no [SimConnect] section");
    return QString();
}
} // namespace

SimConnectEndpoint readSimConnectConfig(const QString &path) {
    const SimConnectEndpoint defaults;
    QFile file(path);
    if (!file.exists())
        return defaults;

    QString problem;
    SimConnectEndpoint endpoint;
    if (!file.open(QIODevice::ReadOnly))
        problem = QStringLiteral("it cannot be read (%1)").arg(file.errorString());
    else if (file.size() > MaxFileSize)
        problem = QStringLiteral("it is larger than %1 bytes").arg(MaxFileSize);
    else
        problem = parse(file.readAll(), endpoint);

    if (!problem.isEmpty()) {
        qCWarning(lcMsfs).noquote() << QStringLiteral("%1: %2; connecting to %3 port %4 instead")
                                           .arg(QFileInfo(path).absoluteFilePath(), problem, defaults.address)
                                           .arg(defaults.port);
        return defaults;
    }
    return endpoint;
}
