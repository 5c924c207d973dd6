#pragma once

#include <QString>
#include <cstdint>

// Where the SimConnect server listens. The defaults are the simulator's own machine and the port MSFS's
// SimConnect.xml examples use.
struct SimConnectEndpoint {
    QString address = QStringLiteral("127.0.0.1");
    uint16_t port = 500;
};

// Reads the "[SimConnect]" (or "[SimConnect.0]") section of a SimConnect.cfg, the file SimConnect clients look for in their working
// directory: Protocol (only IPv4), Address and Port; other keys and sections are ignored. A missing file gives
// the defaults quietly; a file that cannot be read or does not make sense gives the defaults and one warning
// on quillar.telemetry.msfs that names the file.
SimConnectEndpoint readSimConnectConfig(const QString &path);
