#include "udpsender.h"

#include <QHostAddress>

bool UdpSender::send(const QByteArray &datagram) {
    return socket.writeDatagram(datagram, QHostAddress(QHostAddress::LocalHost), port) == datagram.size();
}

quint16 UdpSender::freePort() {
    QUdpSocket probe;
    probe.bind(QHostAddress::Any, 0);
    return probe.localPort();
}
