#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <optional>
#include <vector>

// Where the SimConnect client connects, and how that is decided. Everything here is pure apart from the
// warnings it logs, so other parts of the program (diagnostics) can probe exactly the endpoints the client
// tries.

namespace SimConnectPorts {
// The program's own SimConnect port: unprivileged, so MSFS under Proton, running as the user, may listen on
// it (quillar-setup adds a SimConnect.xml entry for it).
constexpr uint16_t Own = 29779;
// The port of MSFS's stock SimConnect.xml entry; only root may listen on it on Linux.
constexpr uint16_t Stock = 500;
} // namespace SimConnectPorts

enum class SimConnectProtocol { IPv4, IPv6 };

struct SimConnectEndpoint {
    QString address = QStringLiteral("127.0.0.1");
    uint16_t port = SimConnectPorts::Own;
    // The address family a host name is resolved to (only that one).
    SimConnectProtocol protocol = SimConnectProtocol::IPv4;

    // "127.0.0.1:29779", "[::1]:29779".
    QString toString() const;
    bool operator==(const SimConnectEndpoint &other) const {
        return address == other.address && port == other.port && protocol == other.protocol;
    }
};

// Without a SimConnect.cfg: 127.0.0.1:29779, then 127.0.0.1:500, tried in turn.
std::vector<SimConnectEndpoint> defaultSimConnectEndpoints();

// Reads the "[SimConnect]" (or "[SimConnect.0]") section of one SimConnect.cfg: Protocol (IPv4 or IPv6),
// Address and Port; other keys and sections are ignored, a missing key keeps the SimConnectEndpoint default.
// Nothing for a missing file. A file that cannot be read or does not make sense gives nothing and one
// warning on quillar.telemetry.msfs that names the file and the problem.
std::optional<SimConnectEndpoint> readSimConnectConfig(const QString &path);

// $XDG_DATA_HOME, or ~/.local/share where it is not set (Windows: the local application data folder).
QString simConnectDataHome();

// The SimConnect.cfg files looked for, in order: the working directory's, then
// DATA_HOME/vortane-quillar/SimConnect.cfg (where quillar-setup writes it).
QStringList simConnectConfigCandidates(const QString &workingDirectory, const QString &dataHome);

// The outcome of the look-up.
struct SimConnectEndpoints {
    QStringList searched; // the candidates, in order
    QString configFile;   // the file whose endpoint is used; empty when none is
    QString unusableFile; // a file that was found but could not be used (already warned about)
    std::vector<SimConnectEndpoint> endpoints; // tried in turn, one attempt a second
    // The one info line the program logs at start: which file was used, or that none was and which
    // endpoints are tried.
    QString summary() const;
};

// The first candidate that exists decides: its endpoint alone, or, when it cannot be used, the defaults.
// With no candidate present: the defaults.
SimConnectEndpoints findSimConnectEndpoints(const QString &workingDirectory, const QString &dataHome);
// The program's own look-up: the current working directory and simConnectDataHome().
SimConnectEndpoints programSimConnectEndpoints();
