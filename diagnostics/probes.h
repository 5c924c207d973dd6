#pragma once

#include "report.h"
#include "simconnectconfig.h"

#include <QHostAddress>
#include <QList>
#include <QString>

namespace Diagnostics {

// Each probe gives up after this long; the whole set with every endpoint silent stays well inside 10 s.
constexpr int ProbeTimeoutMs = 1000;

struct ProbeResult {
    bool answered = false;
    QString detail; // "answered the open in 12 ms", "connection refused", "no answer within 1 s"
};

// Opens a TCP connection to a SimConnect server and sends the open; answered when the server's open message
// comes back.
ProbeResult probeSimConnect(const SimConnectEndpoint &endpoint, int timeoutMs = ProbeTimeoutMs);
// Subscribes to one dataref of X-Plane's UDP interface and waits for one reply; the subscription is taken
// back right after.
ProbeResult probeXPlane(const QHostAddress &host, quint16 port, int timeoutMs = ProbeTimeoutMs);
// Asks War Thunder's local web server for /state; answered by any HTTP response.
ProbeResult probeWarThunder(const QHostAddress &host, quint16 port, int timeoutMs = ProbeTimeoutMs);

// The SimConnect endpoints the program would try, in order: the SimConnect.cfg in `workingFolder`, else the
// one in `dataFolder`, else 127.0.0.1:29779 and then 127.0.0.1:500.
QList<SimConnectEndpoint> simConnectEndpoints(const QString &workingFolder, const QString &dataFolder);

struct NetworkTargets {
    QList<SimConnectEndpoint> simConnect;
    QHostAddress xplaneHost = QHostAddress(QHostAddress::LocalHost);
    quint16 xplanePort = 49000;
    QHostAddress warthunderHost = QHostAddress(QHostAddress::LocalHost);
    quint16 warthunderPort = 8111;
};

// One check per endpoint. A simulator that does not answer is a warning: it may simply not be running.
QList<Check> networkChecks(const NetworkTargets &targets, int timeoutMs = ProbeTimeoutMs);

} // namespace Diagnostics
