#pragma once

#include <QHostAddress>
#include <QTcpServer>

// A loopback TCP port that nothing listens on a moment later: a connection to it is refused at once, which
// stands for a vendor host or simulator that is not there.
inline quint16 refusingPort() {
    QTcpServer server;
    server.listen(QHostAddress(QHostAddress::LocalHost), 0);
    const quint16 port = server.serverPort();
    server.close();
    return port;
}
