#include "fakexplane.h"

#include <QFile>
#include <QtEndian>
#include <algorithm>
#include <cstring>

namespace {
constexpr int RequestSize = 413;
constexpr int PathOffset = 13;
constexpr int PathSize = 400;

// name -> type ("float", "byte[250]", ...; empty where the list has names only).
QHash<QByteArray, QByteArray> readList(const QString &path) {
    QHash<QByteArray, QByteArray> list;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("fake X-Plane: cannot read %s", qPrintable(path));
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> columns = line.trimmed().split('\t');
        if (!columns.first().startsWith("sim/"))
            continue; // the 12.1 list's header line, blank lines
        list.insert(columns.first(), columns.size() > 1 ? columns.at(1) : QByteArray());
    }
    return list;
}
} // namespace

const QHash<QByteArray, QByteArray> &FakeXPlane::datarefList(Version version) {
    static const QHash<QByteArray, QByteArray> eleven =
        readList(QStringLiteral(QUILLAR_XPLANE_DATAREFS) + QStringLiteral("/DataRefs-11.50.txt"));
    static const QHash<QByteArray, QByteArray> twelve =
        readList(QStringLiteral(QUILLAR_XPLANE_DATAREFS) + QStringLiteral("/DataRefs-12.1.txt"));
    return version == Version::XPlane11 ? eleven : twelve;
}

FakeXPlane::FakeXPlane(const QHostAddress &address, quint16 port, QObject *parent, Version version,
                       Unknown unknown)
    : QObject(parent), version(version), unknown(unknown) {
    datarefList(version); // read before the first request, not while answering
    socket.bind(address, port);
    connect(&socket, &QUdpSocket::readyRead, this, &FakeXPlane::readRequests);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, [this] {
        if (answering)
            answerNow();
    });
}

void FakeXPlane::setBytes(const QByteArray &dataref, const QByteArray &bytes) {
    for (int i = 0; i < 64; ++i)
        set(dataref + '[' + QByteArray::number(i) + ']',
            i < bytes.size() ? float(static_cast<unsigned char>(bytes[i])) : 0.0f);
}

void FakeXPlane::setAircraftName(const QByteArray &name) {
    setBytes("sim/aircraft/view/acf_ui_name", name);
}

void FakeXPlane::setAircraftDescription(const QByteArray &description) {
    setBytes("sim/aircraft/view/acf_descrip", description);
}

bool FakeXPlane::knows(const QByteArray &dataref) const {
    QByteArray name = dataref;
    int element = -1;
    if (dataref.endsWith(']')) {
        const qsizetype open = dataref.lastIndexOf('[');
        if (open <= 0)
            return false;
        bool ok = false;
        element = dataref.mid(open + 1, dataref.size() - open - 2).toInt(&ok);
        if (!ok || element < 0)
            return false;
        name = dataref.left(open);
    }
    const QHash<QByteArray, QByteArray> &list = datarefList(version);
    const auto entry = list.constFind(name);
    if (entry == list.cend())
        return false;
    const QByteArray &type = entry.value();
    if (element < 0 || type.isEmpty())
        return true;
    // "float[10]", "byte[250]": the element must lie inside.
    const qsizetype open = type.indexOf('[');
    if (open < 0)
        return false; // a scalar has no elements
    return element < type.mid(open + 1, type.size() - open - 2).toInt();
}

void FakeXPlane::forgetSubscriptions() {
    for (Subscriber &sender : senders)
        sender.subscriptions.clear();
    restartTimer();
}

QMap<qint32, FakeXPlane::Subscription> FakeXPlane::subscriptionsByIndex() const {
    for (const Subscriber &sender : senders) {
        if (sender.address == subscriber && sender.port == subscriberPortNumber)
            return sender.subscriptions;
    }
    return {};
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
    auto sender = std::find_if(senders.begin(), senders.end(), [&](const Subscriber &known) {
        return known.address == from && known.port == fromPort;
    });
    if (sender == senders.end()) {
        senders.append(Subscriber{from, fromPort, {}, {}, 0});
        sender = senders.end() - 1;
    }
    if (frequency <= 0) {
        sender->subscriptions.remove(index);
        sender->unsubscribed.insert(index);
    } else {
        sender->subscriptions[index] = Subscription{path.left(end), frequency};
    }
    restartTimer();
}

void FakeXPlane::restartTimer() {
    qint32 fastest = 0;
    for (const Subscriber &sender : std::as_const(senders)) {
        for (const Subscription &subscription : sender.subscriptions)
            fastest = std::max(fastest, subscription.frequency);
    }
    if (fastest <= 0) {
        timer.stop();
        return;
    }
    const int interval = std::max(1, 1000 / fastest);
    if (!timer.isActive() || timer.interval() != interval)
        timer.start(interval);
}

void FakeXPlane::answerNow(int pairsPerDatagram) {
    for (Subscriber &sender : senders)
        answer(sender, pairsPerDatagram);
}

void FakeXPlane::answer(Subscriber &to, int pairsPerDatagram) {
    if (to.subscriptions.isEmpty())
        return;
    if (pairsPerDatagram <= 0)
        pairsPerDatagram = int(to.subscriptions.size());
    QByteArray datagram;
    int pairs = 0;
    auto flush = [&] {
        if (pairs == 0)
            return;
        socket.writeDatagram(datagram, to.address, to.port);
        ++replies;
        ++to.repliesSent;
        pairs = 0;
    };
    for (auto it = to.subscriptions.cbegin(); it != to.subscriptions.cend(); ++it) {
        const bool known = knows(it->dataref);
        if (!known && unknown == Unknown::Silence)
            continue;
        if (pairs == 0)
            datagram = QByteArray("RREF,", 5);
        char pair[8];
        qToLittleEndian(it.key(), pair);
        const float reading = known ? values.value(it->dataref) : 0.0f;
        quint32 bits;
        std::memcpy(&bits, &reading, sizeof bits);
        qToLittleEndian(bits, pair + 4);
        datagram.append(pair, 8);
        if (++pairs == pairsPerDatagram)
            flush();
    }
    flush();
}
