#include "simconnectnetwork.h"

#include "simconnectlogging.h"
#include "simconnectwire.h"

#include <QTcpSocket>
#include <cstring>

#if defined(Q_OS_WIN)
#include <mstcpip.h>
#include <winsock2.h>
#include <ws2tcpip.h>
#elif defined(Q_OS_UNIX)
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

Q_LOGGING_CATEGORY(lcMsfs, "quillar.telemetry.msfs")

static_assert(SimConnectReceiver::Capacity == 2 * qsizetype(SimConnectWire::MaxMessageSize));

qsizetype SimConnectReceiver::append(const char *bytes, qsizetype size) {
    const qsizetype kept = qMin(size, room());
    if (kept > 0)
        received.append(bytes, kept);
    return kept;
}

SimConnectReceiver::Result SimConnectReceiver::next(SimConnectMessage &message, uint32_t &size) {
    size = 0;
    const auto *bytes = reinterpret_cast<const unsigned char *>(received.constData());
    switch (SimConnectWire::inspectFrame(bytes, std::size_t(received.size()), size)) {
    case SimConnectWire::Frame::Complete:
        delivered.reset(new unsigned char[size]);
        std::memcpy(delivered.get(), bytes, size);
        received.remove(0, qsizetype(size));
        SimConnectWire::decodeMessage(delivered.get(), size, message);
        return Result::Message;
    case SimConnectWire::Frame::Invalid:
        return Result::Invalid;
    case SimConnectWire::Frame::Incomplete:
        break;
    }
    return Result::Incomplete;
}

bool SimConnectReceiver::hasAnswer() const {
    uint32_t size = 0;
    return SimConnectWire::inspectFrame(reinterpret_cast<const unsigned char *>(received.constData()),
                                        std::size_t(received.size()),
                                        size) != SimConnectWire::Frame::Incomplete;
}

namespace {
QAbstractSocket::NetworkLayerProtocol family(SimConnectProtocol protocol) {
    return protocol == SimConnectProtocol::IPv6 ? QAbstractSocket::IPv6Protocol
                                                : QAbstractSocket::IPv4Protocol;
}
} // namespace

SimConnectNetworkClient::SimConnectNetworkClient(const SimConnectEndpoint &endpoint)
    : SimConnectNetworkClient(std::vector<SimConnectEndpoint>{endpoint}) {}

SimConnectNetworkClient::SimConnectNetworkClient(std::vector<SimConnectEndpoint> endpoints)
    : endpoints(endpoints.empty() ? defaultSimConnectEndpoints() : std::move(endpoints)) {}

SimConnectNetworkClient::~SimConnectNetworkClient() {
    dropSocket();
}

bool SimConnectNetworkClient::open(const char *name) {
    if (state == State::NotOpened) {
        clientName = QByteArray(name ? name : "");
        startAttempt();
    }
    // The handle stands for this client, which keeps trying on its own; the source never needs to reopen.
    return true;
}

void SimConnectNetworkClient::addToDataDefinition(uint32_t definitionId, const char *datumName,
                                                  const char *unitsName, DataType datumType, float epsilon,
                                                  uint32_t datumId) {
    remember(SimConnectWire::addToDataDefinitionPacket(definitionId, datumName, unitsName, datumType, epsilon,
                                                       datumId, 0),
             false, 0);
}

void SimConnectNetworkClient::requestDataOnSimObjectType(uint32_t requestId, uint32_t definitionId,
                                                         uint32_t radiusMeters, uint32_t objectType) {
    remember(SimConnectWire::requestDataOnSimObjectTypePacket(requestId, definitionId, radiusMeters,
                                                              objectType, 0),
             true, requestId);
}

void SimConnectNetworkClient::subscribeToSystemEvent(uint32_t eventId, const char *systemEventName) {
    remember(SimConnectWire::subscribeToSystemEventPacket(eventId, systemEventName, 0), false, 0);
}

// Sent at once while connected, and kept for the next connection. A data request replaces the one kept for
// its request id: the source asks again after every message, and a new connection needs only one.
void SimConnectNetworkClient::remember(QByteArray packet, bool isRequest, uint32_t requestId) {
    if (state == State::Finished)
        return;
    bool replaced = false;
    if (isRequest) {
        for (const auto &slot : requestSlots) {
            if (slot.first == requestId) {
                remembered[slot.second] = packet;
                replaced = true;
                break;
            }
        }
    }
    if (!replaced) {
        if (isRequest)
            requestSlots.emplace_back(requestId, remembered.size());
        remembered.push_back(packet);
    }
    if (state == State::Connected)
        send(std::move(packet));
}

void SimConnectNetworkClient::send(QByteArray packet) {
    SimConnectWire::setSendNumber(packet, nextSendNumber++);
    socket->write(packet);
}

bool SimConnectNetworkClient::getNextMessage(SimConnectMessage &message) {
    advance();
    if (state != State::Connected)
        return false;

    readAvailable();
    uint32_t size = 0;
    switch (receiver.next(message, size)) {
    case SimConnectReceiver::Result::Message:
        return deliver(size, message);
    case SimConnectReceiver::Result::Invalid: {
        const QString where = currentEndpoint().toString();
        if (!serverAnswered) {
            // Something else listens there (a web server, another program's service): said once, not on
            // every attempt.
            logOnce(
                QStringLiteral("not SimConnect"),
                QStringLiteral("the service at %1 is not SimConnect (it sent a message size of %2 bytes); "
                               "trying again every second")
                    .arg(where)
                    .arg(size));
        } else {
            qCWarning(lcMsfs).noquote()
                << QStringLiteral(
                       "SimConnect server at %1 sent a message size of %2 bytes; closing the connection")
                       .arg(where)
                       .arg(size);
        }
        if (loseConnection("its stream was not SimConnect's")) {
            message = SimConnectMessage();
            message.id = SimConnectMessage::IdQuit;
            return true;
        }
        return false;
    }
    case SimConnectReceiver::Result::Incomplete:
        break;
    }
    // Whatever is left of a closed connection can never complete.
    if (peerGone) {
        const bool closed = socket->error() == QAbstractSocket::RemoteHostClosedError;
        const QByteArray reason =
            closed ? QByteArray("the server closed the connection")
                   : "no answer from the simulator's machine (" + socket->errorString().toUtf8() + ')';
        if (loseConnection(reason.constData())) {
            message = SimConnectMessage();
            message.id = SimConnectMessage::IdQuit;
            return true;
        }
    }
    return false;
}

bool SimConnectNetworkClient::deliver(std::size_t size, SimConnectMessage &message) {
    if (!serverAnswered) {
        serverAnswered = true;
        // A connection that works: whatever failed before may be said again should it fail anew.
        logged.clear();
        qCInfo(lcMsfs).noquote()
            << QStringLiteral("connected to SimConnect at %1").arg(currentEndpoint().toString());
    }

    if (message.id == SimConnectWire::IdException && size >= SimConnectWire::ReceiveHeaderSize + 8) {
        qCDebug(lcMsfs) << "SimConnect exception" << SimConnectWire::readUint32(receiver.lastMessage() + 12)
                        << "for packet" << SimConnectWire::readUint32(receiver.lastMessage() + 16);
    } else if (message.id == SimConnectMessage::IdQuit) {
        // The simulator is going away: it is not waited for again.
        qCInfo(lcMsfs).noquote()
            << QStringLiteral("SimConnect server at %1 quit").arg(currentEndpoint().toString());
        dropSocket();
        state = State::Finished;
    }
    return true;
}

void SimConnectNetworkClient::close() {
    dropSocket();
    state = State::Finished;
}

void SimConnectNetworkClient::logOnce(const QString &kind, const QString &text) {
    const QString key = currentEndpoint().toString() + QLatin1Char(' ') + kind;
    if (logged.value(key) == text)
        return;
    logged.insert(key, text);
    qCInfo(lcMsfs).noquote() << text;
}

// Moves the connection on by what has happened since the last call.
void SimConnectNetworkClient::advance() {
    switch (state) {
    case State::NotOpened:
    case State::Finished:
        return;
    case State::Waiting:
        if (attemptClock.elapsed() >= ReconnectIntervalMs)
            startAttempt();
        return;
    case State::Connecting: {
        if (socket->state() == QAbstractSocket::ConnectedState) {
            onConnected();
            return;
        }
        const bool failed = socket->state() == QAbstractSocket::UnconnectedState;
        if (!failed && attemptClock.elapsed() < ConnectTimeoutMs)
            return;
        const QString where = currentEndpoint().toString();
        // Once per endpoint and kind of failure, not once a second for as long as the simulator is not
        // running.
        const QString failure =
            failed
                ? socket->errorString()
                : QStringLiteral("no answer within 5 s (firewall, or nothing listening at %1?)").arg(where);
        logOnce(QStringLiteral("connect"),
                QStringLiteral("no SimConnect server at %1: %2").arg(where, failure));
        dropSocket();
        state = State::Waiting;
        current = (current + 1) % endpoints.size();
        return;
    }
    case State::Connected:
        if (socket->state() != QAbstractSocket::ConnectedState) {
            peerGone = true;
        } else if (!serverAnswered && connectedClock.elapsed() >= OpenTimeoutMs) {
            // Accepted, but nothing came back: a service that is not SimConnect, or a simulator that hangs.
            readAvailable();
            if (receiver.hasAnswer())
                return; // an answer is waiting to be handed out
            logOnce(
                QStringLiteral("open"),
                QStringLiteral("no answer to the open from %1 within 10 s; closing the connection and trying "
                               "again")
                    .arg(currentEndpoint().toString()));
            dropSocket();
            receiver.clear();
            state = State::Waiting;
            current = (current + 1) % endpoints.size();
        }
        return;
    }
}

void SimConnectNetworkClient::startAttempt() {
    dropSocket();
    ++attempts;
    attemptClock.start();
    state = State::Connecting;
    // Made here rather than at construction: the source, and this client with it, is built on one thread
    // and polled from another, and a socket belongs to the thread that makes it.
    socket = std::make_unique<QTcpSocket>();
    socket->setReadBufferSize(SimConnectWire::MaxMessageSize);
    const SimConnectEndpoint &endpoint = currentEndpoint();
    // A host name is resolved to the configured family only.
    socket->connectToHost(endpoint.address, endpoint.port, QIODevice::ReadWrite, family(endpoint.protocol));
}

void SimConnectNetworkClient::onConnected() {
    state = State::Connected;
    connectedClock.start();
    serverAnswered = false;
    peerGone = false;
    receiver.clear();
    nextSendNumber = 0;
    switchOnKeepAlive();
    qCDebug(lcMsfs).noquote()
        << QStringLiteral("TCP connection to %1 made; opening SimConnect").arg(currentEndpoint().toString());
    send(SimConnectWire::openPacket(clientName.constData(), 0));
    for (const QByteArray &packet : remembered)
        send(packet);
}

void SimConnectNetworkClient::switchOnKeepAlive() {
    socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    const qintptr descriptor = socket->socketDescriptor();
    if (descriptor == -1)
        return;
#if defined(Q_OS_WIN)
    // Windows takes idle time and interval in one call and sends 10 probes; TCP_MAXRT bounds unacknowledged
    // data where the system knows it.
    tcp_keepalive values = {};
    values.onoff = 1;
    values.keepalivetime = KeepAliveIdleS * 1000;
    values.keepaliveinterval = KeepAliveIntervalS * 1000;
    DWORD returned = 0;
    WSAIoctl(SOCKET(descriptor), SIO_KEEPALIVE_VALS, &values, sizeof values, nullptr, 0, &returned, nullptr,
             nullptr);
#ifdef TCP_MAXRT
    const DWORD maxRetransmitS = UserTimeoutMs / 1000;
    setsockopt(SOCKET(descriptor), IPPROTO_TCP, TCP_MAXRT, reinterpret_cast<const char *>(&maxRetransmitS),
               sizeof maxRetransmitS);
#endif
#elif defined(Q_OS_UNIX)
    // Options this system lacks are left at its defaults: keepalive itself is on either way.
    const int fd = int(descriptor);
#ifdef TCP_KEEPIDLE
    const int idle = KeepAliveIdleS;
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
#endif
#ifdef TCP_KEEPINTVL
    const int interval = KeepAliveIntervalS;
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
#endif
#ifdef TCP_KEEPCNT
    const int count = KeepAliveCount;
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &count, sizeof count);
#endif
#ifdef TCP_USER_TIMEOUT
    const unsigned int userTimeout = UserTimeoutMs;
    setsockopt(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &userTimeout, sizeof userTimeout);
#endif
#endif
}

void SimConnectNetworkClient::readAvailable() {
    while (receiver.room() > 0 && socket->bytesAvailable() > 0) {
        const QByteArray chunk = socket->read(receiver.room());
        if (chunk.isEmpty())
            break;
        receiver.append(chunk.constData(), chunk.size());
    }
}

bool SimConnectNetworkClient::loseConnection(const char *reason) {
    const bool owed = serverAnswered;
    if (owed)
        qCInfo(lcMsfs).noquote() << QStringLiteral("SimConnect connection to %1 lost: %2 - reconnecting")
                                        .arg(currentEndpoint().toString(), QString::fromUtf8(reason));
    else
        logOnce(QStringLiteral("lost"), QStringLiteral("SimConnect connection to %1 ended before the server "
                                                       "answered: %2")
                                            .arg(currentEndpoint().toString(), QString::fromUtf8(reason)));
    dropSocket();
    receiver.clear();
    state = State::Waiting;
    serverAnswered = false;
    // A connection that had worked is tried again first; one that never answered gives way to the next.
    if (!owed)
        current = (current + 1) % endpoints.size();
    return owed;
}

void SimConnectNetworkClient::dropSocket() {
    if (!socket)
        return;
    socket->abort();
    socket.reset();
}
