#include "probes.h"

#include "simconnectwire.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QTcpSocket>
#include <QTimer>
#include <QUdpSocket>
#include <QtEndian>

namespace Diagnostics {

namespace {

QString secondsText(int timeoutMs) {
    return timeoutMs % 1000 == 0 ? QStringLiteral("%1 s").arg(timeoutMs / 1000)
                                 : QStringLiteral("%1 ms").arg(timeoutMs);
}

// Runs a local event loop until `done` says so or the time is up; the fakes in the tests and the sockets
// here share whatever thread this runs on.
template <typename Done> bool waitUntil(QElapsedTimer &clock, int timeoutMs, QObject *source, Done &&done) {
    if (done())
        return true;
    const qint64 left = timeoutMs - clock.elapsed();
    if (left <= 0)
        return false;
    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(source, &QObject::destroyed, &loop, &QEventLoop::quit);
    // Every socket signal of interest wakes the loop; it then checks again.
    if (auto *socket = qobject_cast<QAbstractSocket *>(source)) {
        QObject::connect(socket, &QAbstractSocket::readyRead, &loop, [&] {
            if (done())
                loop.quit();
        });
        QObject::connect(socket, &QAbstractSocket::stateChanged, &loop, [&] {
            if (done())
                loop.quit();
        });
        QObject::connect(socket, &QAbstractSocket::errorOccurred, &loop, &QEventLoop::quit);
    }
    deadline.start(int(left));
    loop.exec();
    return done();
}

ProbeResult answered(const QString &what, const QElapsedTimer &clock) {
    return {true, QStringLiteral("%1 in %2 ms").arg(what).arg(clock.elapsed())};
}

ProbeResult failedTcp(QTcpSocket &socket, int timeoutMs, const QString &silent) {
    if (socket.error() == QAbstractSocket::ConnectionRefusedError)
        return {false, QStringLiteral("connection refused")};
    if (socket.state() != QAbstractSocket::ConnectedState &&
        socket.error() != QAbstractSocket::UnknownSocketError &&
        socket.error() != QAbstractSocket::SocketTimeoutError)
        return {false, socket.errorString()};
    if (socket.state() != QAbstractSocket::ConnectedState)
        return {false, QStringLiteral("no connection within %1").arg(secondsText(timeoutMs))};
    return {false, silent.arg(secondsText(timeoutMs))};
}

QByteArray rrefRequest(qint32 frequency, qint32 index, const QByteArray &dataref) {
    QByteArray request("RREF", 5); // with its 0 byte
    char number[4];
    qToLittleEndian(frequency, number);
    request.append(number, 4);
    qToLittleEndian(index, number);
    request.append(number, 4);
    QByteArray path = dataref.left(399);
    path.append(QByteArray(400 - path.size(), '\0'));
    return request + path;
}

} // namespace

ProbeResult probeSimConnect(const SimConnectEndpoint &endpoint, int timeoutMs) {
    QElapsedTimer clock;
    clock.start();
    QTcpSocket socket;
    socket.connectToHost(endpoint.address, endpoint.port);
    bool refused = false;
    QObject::connect(&socket, &QAbstractSocket::errorOccurred, [&](QAbstractSocket::SocketError error) {
        refused = refused || error == QAbstractSocket::ConnectionRefusedError ||
                  error == QAbstractSocket::HostNotFoundError;
    });
    if (!waitUntil(clock, timeoutMs, &socket,
                   [&] { return refused || socket.state() == QAbstractSocket::ConnectedState; }) ||
        refused)
        return failedTcp(socket, timeoutMs, QString());
    socket.write(SimConnectWire::openPacket("Vortane Quillar diagnostics", 1));
    QByteArray stream;
    uint32_t openId = 0;
    auto gotAnswer = [&] {
        stream += socket.readAll();
        for (;;) {
            uint32_t size = 0;
            const auto frame =
                SimConnectWire::inspectFrame(reinterpret_cast<const unsigned char *>(stream.constData()),
                                             std::size_t(stream.size()), size);
            if (frame == SimConnectWire::Frame::Invalid) {
                openId = UINT32_MAX;
                return true;
            }
            if (frame != SimConnectWire::Frame::Complete)
                return socket.state() != QAbstractSocket::ConnectedState;
            openId =
                SimConnectWire::readUint32(reinterpret_cast<const unsigned char *>(stream.constData()) + 8);
            if (openId == SimConnectWire::IdOpen || openId == SimConnectWire::IdException)
                return true;
            stream.remove(0, int(size));
        }
    };
    if (!waitUntil(clock, timeoutMs, &socket, gotAnswer) || openId == 0) {
        if (socket.state() != QAbstractSocket::ConnectedState)
            return {false,
                    QStringLiteral("accepted the connection, then closed it without answering the open")};
        return {false, QStringLiteral("accepted the connection, but did not answer the open within %1")
                           .arg(secondsText(timeoutMs))};
    }
    if (openId == SimConnectWire::IdOpen)
        return answered(QStringLiteral("answered the open"), clock);
    if (openId == SimConnectWire::IdException)
        return {false, QStringLiteral("refused the open with an exception (a protocol it does not speak?)")};
    return {false, QStringLiteral("answered with something that is not SimConnect")};
}

ProbeResult probeXPlane(const QHostAddress &host, quint16 port, int timeoutMs) {
    QElapsedTimer clock;
    clock.start();
    // Far above the indexes the program's own subscriptions use, so a running program is not disturbed.
    constexpr qint32 ProbeIndex = 4242;
    const QByteArray dataref("sim/time/total_running_time_sec");
    QUdpSocket socket;
    if (!socket.bind(QHostAddress(host.protocol() == QAbstractSocket::IPv6Protocol ? QHostAddress::AnyIPv6
                                                                                   : QHostAddress::AnyIPv4),
                     0))
        return {false, QStringLiteral("cannot open a UDP socket: %1").arg(socket.errorString())};
    socket.writeDatagram(rrefRequest(10, ProbeIndex, dataref), host, port);
    bool replied = false;
    bool refused = false;
    auto gotReply = [&] {
        while (socket.hasPendingDatagrams()) {
            QByteArray datagram(int(qMax<qint64>(socket.pendingDatagramSize(), 0)), '\0');
            const qint64 size = socket.readDatagram(datagram.data(), datagram.size());
            if (size < 0) {
                // On Linux a "port unreachable" from the host arrives as a failed read.
                refused = true;
                break;
            }
            if (datagram.startsWith("RREF"))
                replied = true;
        }
        return replied || refused;
    };
    waitUntil(clock, timeoutMs, &socket, gotReply);
    // Taken back whatever happened: frequency 0 ends the subscription.
    socket.writeDatagram(rrefRequest(0, ProbeIndex, dataref), host, port);
    socket.waitForBytesWritten(50);
    if (replied)
        return answered(QStringLiteral("answered a subscription"), clock);
    if (refused)
        return {false, QStringLiteral("nothing listens on UDP %1").arg(port)};
    return {false, QStringLiteral("no answer within %1").arg(secondsText(timeoutMs))};
}

ProbeResult probeWarThunder(const QHostAddress &host, quint16 port, int timeoutMs) {
    QElapsedTimer clock;
    clock.start();
    QTcpSocket socket;
    bool refused = false;
    QObject::connect(&socket, &QAbstractSocket::errorOccurred, [&](QAbstractSocket::SocketError error) {
        refused = refused || error == QAbstractSocket::ConnectionRefusedError;
    });
    socket.connectToHost(host, port);
    if (!waitUntil(clock, timeoutMs, &socket,
                   [&] { return refused || socket.state() == QAbstractSocket::ConnectedState; }) ||
        refused)
        return failedTcp(socket, timeoutMs, QString());
    socket.write(QByteArrayLiteral("GET /state HTTP/1.1\r\nHost: ") + host.toString().toLatin1() + ':' +
                 QByteArray::number(port) + QByteArrayLiteral("\r\nConnection: close\r\n\r\n"));
    QByteArray response;
    auto gotAnswer = [&] {
        response += socket.readAll();
        return response.size() >= 5 || socket.state() != QAbstractSocket::ConnectedState;
    };
    waitUntil(clock, timeoutMs, &socket, gotAnswer);
    if (response.startsWith("HTTP/"))
        return answered(QStringLiteral("answered /state"), clock);
    if (!response.isEmpty())
        return {false, QStringLiteral("answered, but not with HTTP")};
    if (socket.state() != QAbstractSocket::ConnectedState)
        return {false, QStringLiteral("accepted the connection, then closed it without answering")};
    return {
        false,
        QStringLiteral("accepted the connection, but did not answer within %1").arg(secondsText(timeoutMs))};
}

QList<SimConnectEndpoint> simConnectEndpoints(const QString &workingFolder, const QString &dataFolder) {
    // The program's own look-up, which wants the data home that holds "vortane-quillar/".
    const QString dataHome = dataFolder.isEmpty() ? QString() : QFileInfo(dataFolder).path();
    const SimConnectEndpoints found = findSimConnectEndpoints(workingFolder, dataHome);
    return QList<SimConnectEndpoint>(found.endpoints.begin(), found.endpoints.end());
}

QList<Check> networkChecks(const NetworkTargets &targets, int timeoutMs) {
    QList<Check> checks;
    auto add = [&](const QString &name, const ProbeResult &result, const QString &advice) {
        Check check;
        check.group = QStringLiteral("network");
        check.name = name;
        check.verdict = result.answered ? Verdict::Ok : Verdict::Warning;
        check.detail = result.detail;
        if (!result.answered)
            check.advice = advice;
        checks.append(check);
    };
    for (const SimConnectEndpoint &endpoint : targets.simConnect)
        add(QStringLiteral("MSFS SimConnect %1:%2").arg(endpoint.address).arg(endpoint.port),
            probeSimConnect(endpoint, timeoutMs),
            QStringLiteral("start MSFS; if it is running, run 'quillar-setup install msfs' and restart it"));
    add(QStringLiteral("X-Plane %1:%2").arg(targets.xplaneHost.toString()).arg(targets.xplanePort),
        probeXPlane(targets.xplaneHost, targets.xplanePort, timeoutMs),
        QStringLiteral("start X-Plane; if it runs on another machine, set [xplane] host in quillar.conf"));
    add(QStringLiteral("War Thunder %1:%2")
            .arg(targets.warthunderHost.toString())
            .arg(targets.warthunderPort),
        probeWarThunder(targets.warthunderHost, targets.warthunderPort, timeoutMs),
        QStringLiteral("start War Thunder and enter a battle or a test flight"));
    return checks;
}

} // namespace Diagnostics
