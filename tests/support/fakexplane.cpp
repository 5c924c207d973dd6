#include "fakexplane.h"

#include <QtEndian>
#include <algorithm>
#include <cstring>

namespace {
constexpr int RequestSize = 413;
constexpr int PathOffset = 13;
constexpr int PathSize = 400;
} // namespace

FakeXPlane::FakeXPlane(const QHostAddress &address, quint16 port, QObject *parent) : QObject(parent) {
    socket.bind(address, port);
    connect(&socket, &QUdpSocket::readyRead, this, &FakeXPlane::readRequests);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, [this] {
        if (answering)
            answerNow();
    });
}

void FakeXPlane::setAircraftName(const QByteArray &name) {
    for (int i = 0; i < 64; ++i)
        set("sim/aircraft/view/acf_ui_name[" + QByteArray::number(i) + ']',
            i < name.size() ? float(static_cast<unsigned char>(name[i])) : 0.0f);
}

void FakeXPlane::readRequests() {
    while (socket.hasPendingDatagrams()) {
        QByteArray request(int(std::max<qint64>(socket.pendingDatagramSize(), 0)), '\0');
        QHostAddress from;
        quint16 fromPort = 0;
        const qint64 size = socket.readDatagram(request.data(), request.size(), &from, &fromPort);
        if (size < 0)
            break;
        request.resize(size);
        takeRequest(request, from, fromPort);
    }
}

void FakeXPlane::takeRequest(const QByteArray &request, const QHostAddress &from, quint16 fromPort) {
    ++requests;
    if (request.size() != RequestSize) {
        malformed << QStringLiteral("size %1").arg(request.size());
        return;
    }
    if (!request.startsWith(QByteArray("RREF\0", 5))) {
        malformed << QStringLiteral("header %1").arg(QString::fromLatin1(request.left(5).toHex()));
        return;
    }
    const qint32 frequency = qFromLittleEndian<qint32>(request.constData() + 5);
    const qint32 index = qFromLittleEndian<qint32>(request.constData() + 9);
    const QByteArray path = request.mid(PathOffset, PathSize);
    const qsizetype end = path.indexOf('\0');
    if (end <= 0 || path.mid(end).count('\0') != path.size() - end) {
        malformed << QStringLiteral("path of index %1 not NUL-padded").arg(index);
        return;
    }
    subscriber = from;
    subscriberPortNumber = fromPort;
    if (frequency <= 0)
        subscriptions.remove(index);
    else
        subscriptions[index] = Subscription{path.left(end), frequency};
    restartTimer();
}

void FakeXPlane::restartTimer() {
    qint32 fastest = 0;
    for (const Subscription &subscription : std::as_const(subscriptions))
        fastest = std::max(fastest, subscription.frequency);
    if (fastest <= 0) {
        timer.stop();
        return;
    }
    const int interval = std::max(1, 1000 / fastest);
    if (!timer.isActive() || timer.interval() != interval)
        timer.start(interval);
}

void FakeXPlane::answerNow(int pairsPerDatagram) {
    if (subscriptions.isEmpty() || subscriber.isNull())
        return;
    if (pairsPerDatagram <= 0)
        pairsPerDatagram = int(subscriptions.size());
    QByteArray datagram;
    int pairs = 0;
    auto flush = [&] {
        if (pairs == 0)
            return;
        socket.writeDatagram(datagram, subscriber, subscriberPortNumber);
        ++replies;
        pairs = 0;
    };
    for (auto it = subscriptions.cbegin(); it != subscriptions.cend(); ++it) {
        if (pairs == 0)
            datagram = QByteArray("RREF,", 5);
        char pair[8];
        qToLittleEndian(it.key(), pair);
        const float reading = values.value(it->dataref);
        quint32 bits;
        std::memcpy(&bits, &reading, sizeof bits);
        qToLittleEndian(bits, pair + 4);
        datagram.append(pair, 8);
        if (++pairs == pairsPerDatagram)
            flush();
    }
    flush();
}
