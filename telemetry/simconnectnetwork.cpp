#include "simconnectnetwork.h"

#include "simconnectlogging.h"
#include "simconnectwire.h"

#include <QTcpSocket>
#include <cstring>

Q_LOGGING_CATEGORY(lcMsfs, "quillar.telemetry.msfs")

namespace {
// Bytes taken from the socket but not yet handed out. One message is handed out per tick, so a server that
// sends faster than that is held back by TCP itself instead of by our memory.
constexpr qsizetype MaxReceived = 2 * qsizetype(SimConnectWire::MaxMessageSize);
} // namespace

SimConnectNetworkClient::SimConnectNetworkClient(const SimConnectEndpoint &endpoint) : endpoint(endpoint) {}

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
    remember(SimConnectWire::requestDataOnSimObjectTypePacket(requestId, definitionId, radiusMeters, objectType, 0),
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
    const auto *bytes = reinterpret_cast<const unsigned char *>(received.constData());
    switch (SimConnectWire::inspectFrame(bytes, std::size_t(received.size()), size)) {
    case SimConnectWire::Frame::Complete:
        return deliver(bytes, size, message);
    case SimConnectWire::Frame::Invalid:
        qCWarning(lcMsfs) << "SimConnect server at" << endpoint.address << endpoint.port
                          << "sent a message size of" << size << "bytes; closing the connection";
        if (loseConnection("its stream was not SimConnect's")) {
            message = SimConnectMessage();
            message.id = SimConnectMessage::IdQuit;
            return true;
        }
        return false;
    case SimConnectWire::Frame::Incomplete:
        break;
    }
    // Whatever is left of a closed connection can never complete.
    if (peerGone && loseConnection("the server closed the connection")) {
        message = SimConnectMessage();
        message.id = SimConnectMessage::IdQuit;
        return true;
    }
    return false;
}

bool SimConnectNetworkClient::deliver(const unsigned char *bytes, std::size_t size, SimConnectMessage &message) {
    delivered.reset(new unsigned char[size]);
    std::memcpy(delivered.get(), bytes, size);
    received.remove(0, qsizetype(size));
    SimConnectWire::decodeMessage(delivered.get(), size, message);
    serverAnswered = true;

    if (message.id == SimConnectWire::IdException && size >= SimConnectWire::ReceiveHeaderSize + 8) {
        qCDebug(lcMsfs) << "SimConnect exception" << SimConnectWire::readUint32(delivered.get() + 12)
                        << "for packet" << SimConnectWire::readUint32(delivered.get() + 16);
    } else if (message.id == SimConnectMessage::IdQuit) {
        // The simulator is going away: it is not waited for again.
        qCInfo(lcMsfs) << "SimConnect server at" << endpoint.address << endpoint.port << "quit";
        dropSocket();
        state = State::Finished;
    }
    return true;
}

void SimConnectNetworkClient::close() {
    dropSocket();
    state = State::Finished;
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
    case State::Connecting:
        if (socket->state() == QAbstractSocket::ConnectedState) {
            onConnected();
        } else if (socket->state() == QAbstractSocket::UnconnectedState ||
                   attemptClock.elapsed() >= ConnectTimeoutMs) {
            // Once per kind of failure, not once a second for as long as the simulator is not running.
            const QString failure = socket->errorString();
            if (failure != lastFailure)
                qCDebug(lcMsfs) << "no SimConnect server at" << endpoint.address << endpoint.port << ":" << failure;
            lastFailure = failure;
            dropSocket();
            state = State::Waiting;
        }
        return;
    case State::Connected:
        if (socket->state() != QAbstractSocket::ConnectedState)
            peerGone = true;
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
    socket->connectToHost(endpoint.address, endpoint.port);
}

void SimConnectNetworkClient::onConnected() {
    state = State::Connected;
    lastFailure.clear();
    serverAnswered = false;
    peerGone = false;
    received.clear();
    nextSendNumber = 0;
    qCInfo(lcMsfs) << "connected to SimConnect at" << endpoint.address << endpoint.port;
    send(SimConnectWire::openPacket(clientName.constData(), 0));
    for (const QByteArray &packet : remembered)
        send(packet);
}

void SimConnectNetworkClient::readAvailable() {
    while (received.size() < MaxReceived && socket->bytesAvailable() > 0) {
        const QByteArray chunk = socket->read(MaxReceived - received.size());
        if (chunk.isEmpty())
            break;
        received.append(chunk);
    }
}

bool SimConnectNetworkClient::loseConnection(const char *reason) {
    qCInfo(lcMsfs) << "SimConnect connection to" << endpoint.address << endpoint.port << "lost:" << reason
                   << "- reconnecting";
    dropSocket();
    received.clear();
    state = State::Waiting;
    const bool owed = serverAnswered;
    serverAnswered = false;
    return owed;
}

void SimConnectNetworkClient::dropSocket() {
    if (!socket)
        return;
    socket->abort();
    socket.reset();
}
