#pragma once

#include <QByteArray>
#include <QUdpSocket>

// Sends datagrams to a port on 127.0.0.1, the way a simulator on the same machine does.
class UdpSender {
public:
    explicit UdpSender(quint16 port) : port(port) {}

    // True when the whole datagram went out.
    bool send(const QByteArray &datagram);

    // A port on 127.0.0.1 that nothing listens on at the moment of the call.
    static quint16 freePort();

private:
    QUdpSocket socket;
    quint16 port;
};
