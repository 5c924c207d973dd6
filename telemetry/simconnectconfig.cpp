#include "simconnectconfig.h"

#include "simconnectlogging.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QStandardPaths>

namespace {
// A real SimConnect.cfg is a few lines; anything this large is not one, and is not read into memory.
constexpr qint64 MaxFileSize = 64 * 1024;

QString listed(const std::vector<SimConnectEndpoint> &endpoints) {
    QStringList names;
    for (const SimConnectEndpoint &endpoint : endpoints)
        names << endpoint.toString();
    return names.join(QStringLiteral(" and "));
}

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
            // Connection entry 0 is ours, written "[SimConnect]" or "[SimConnect.0]"; "[SimConnect.1]" and
            // the like are for clients that ask for another entry.
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
            if (value.compare("IPv4", Qt::CaseInsensitive) == 0)
                endpoint.protocol = SimConnectProtocol::IPv4;
            else if (value.compare("IPv6", Qt::CaseInsensitive) == 0)
                endpoint.protocol = SimConnectProtocol::IPv6;
            else
                return QStringLiteral("Protocol=%1 is not supported (only IPv4 and IPv6)")
                    .arg(QString::fromLatin1(value));
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

QString SimConnectEndpoint::toString() const {
    const QString host =
        address.contains(QLatin1Char(':')) ? QLatin1Char('[') + address + QLatin1Char(']') : address;
    return host + QLatin1Char(':') + QString::number(port);
}

std::vector<SimConnectEndpoint> defaultSimConnectEndpoints() {
    SimConnectEndpoint own;
    SimConnectEndpoint stock;
    stock.port = SimConnectPorts::Stock;
    return {own, stock};
}

std::optional<SimConnectEndpoint> readSimConnectConfig(const QString &path) {
    QFile file(path);
    if (!file.exists())
        return std::nullopt;

    QString problem;
    SimConnectEndpoint endpoint;
    if (!file.open(QIODevice::ReadOnly))
        problem = QStringLiteral("it cannot be read (%1)").arg(file.errorString());
    else if (file.size() > MaxFileSize)
        problem = QStringLiteral("it is larger than %1 bytes").arg(MaxFileSize);
    else
        problem = parse(file.readAll(), endpoint);

    if (!problem.isEmpty()) {
        qCWarning(lcMsfs).noquote() << QStringLiteral("%1: %2; trying %3 instead")
                                           .arg(QFileInfo(path).absoluteFilePath(), problem,
                                                listed(defaultSimConnectEndpoints()));
        return std::nullopt;
    }
    return endpoint;
}

QString simConnectDataHome() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
}

QStringList simConnectConfigCandidates(const QString &workingDirectory, const QString &dataHome) {
    const QString fileName = QStringLiteral("SimConnect.cfg");
    QStringList candidates{QDir(workingDirectory).absoluteFilePath(fileName)};
    if (!dataHome.isEmpty())
        candidates << QDir(dataHome).absoluteFilePath(QStringLiteral("vortane-quillar/") + fileName);
    return candidates;
}

SimConnectEndpoints findSimConnectEndpoints(const QString &workingDirectory, const QString &dataHome) {
    SimConnectEndpoints found;
    found.searched = simConnectConfigCandidates(workingDirectory, dataHome);
    for (const QString &candidate : std::as_const(found.searched)) {
        if (!QFileInfo::exists(candidate))
            continue;
        if (const std::optional<SimConnectEndpoint> endpoint = readSimConnectConfig(candidate)) {
            found.configFile = candidate;
            found.endpoints = {*endpoint};
        } else {
            found.unusableFile = candidate;
            found.endpoints = defaultSimConnectEndpoints();
        }
        return found;
    }
    found.endpoints = defaultSimConnectEndpoints();
    return found;
}

SimConnectEndpoints programSimConnectEndpoints() {
    return findSimConnectEndpoints(QDir::currentPath(), simConnectDataHome());
}

QString SimConnectEndpoints::summary() const {
    if (!configFile.isEmpty()) {
        const SimConnectEndpoint &endpoint = endpoints.front();
        return QStringLiteral("SimConnect: using %1: %2 (%3)")
            .arg(configFile, endpoint.toString(),
                 endpoint.protocol == SimConnectProtocol::IPv6 ? QStringLiteral("IPv6")
                                                               : QStringLiteral("IPv4"));
    }
    if (!unusableFile.isEmpty())
        return QStringLiteral("SimConnect: %1 cannot be used; trying %2 in turn")
            .arg(unusableFile, listed(endpoints));
    return QStringLiteral("SimConnect: no SimConnect.cfg (looked for %1); trying %2 in turn")
        .arg(searched.join(QStringLiteral(" and ")), listed(endpoints));
}
