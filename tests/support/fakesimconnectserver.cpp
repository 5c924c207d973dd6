#include "fakesimconnectserver.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QHostAddress>
#include <QThread>
#include <cstring>

namespace {
constexpr uint32_t ServerProtocol = 5;
constexpr uint32_t PacketHeader = 16;
constexpr uint32_t MaxPacket = 1u << 20;
constexpr uint32_t ObjectIdUser = 1;
// The entry count of the program's definition, which SimConnect repeats in every data message.
constexpr uint32_t DefinitionEntries = 22;

uint32_t word(const QByteArray &bytes, qsizetype offset) {
    if (offset + 4 > bytes.size())
        return 0;
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = (value << 8) | uint8_t(bytes[offset + i]);
    return value;
}

void appendWord(QByteArray &bytes, uint32_t value) {
    for (int i = 0; i < 4; ++i)
        bytes.append(char((value >> (8 * i)) & 0xFF));
}

// A fixed 256-byte text field up to its first zero; an empty field reads as a null array, as "no text".
QByteArray text256(const QByteArray &bytes, qsizetype offset) {
    const QByteArray field = bytes.mid(offset, 256);
    const qsizetype end = field.indexOf('\0');
    const QByteArray text = end < 0 ? field : field.left(end);
    return text.isEmpty() ? QByteArray() : text;
}
} // namespace

FakeSimConnectServer::FakeSimConnectServer(QObject *parent) : QObject(parent) {
    connect(&server, &QTcpServer::newConnection, this, &FakeSimConnectServer::onNewConnection);
}

bool FakeSimConnectServer::listen(uint16_t port) {
    return server.listen(QHostAddress::LocalHost, port);
}

bool FakeSimConnectServer::listen(const QHostAddress &address, uint16_t port) {
    return server.listen(address, port);
}

QString FakeSimConnectServer::listenError() const {
    return server.errorString();
}

uint16_t FakeSimConnectServer::port() const {
    return server.serverPort();
}

void FakeSimConnectServer::stopListening() {
    server.close();
}

bool FakeSimConnectServer::clientConnected() const {
    return client && client->state() == QAbstractSocket::ConnectedState;
}

void FakeSimConnectServer::setStalled(bool stall) {
    stalled = stall;
    if (!stalled && client)
        onReadyRead();
}

QByteArray FakeSimConnectServer::message(uint32_t id, const QByteArray &body) {
    QByteArray bytes;
    appendWord(bytes, uint32_t(12 + body.size()));
    appendWord(bytes, ServerProtocol);
    appendWord(bytes, id);
    return bytes + body;
}

QByteArray FakeSimConnectServer::encode(const FakeSimConnect::Message &m) {
    QByteArray body;
    switch (m.id) {
    case SimConnectMessage::IdSimObjectDataByType:
    case 8: // data on an object by id: the same layout
        appendWord(body, m.requestId);
        appendWord(body, ObjectIdUser);
        appendWord(body, 0); // definition
        appendWord(body, 0); // flags
        appendWord(body, 1); // entry 1 …
        appendWord(body, 1); // … of 1
        appendWord(body, DefinitionEntries);
        body += m.data;
        break;
    case SimConnectMessage::IdEvent:
        appendWord(body, 0xFFFFFFFFu); // no notification group: a system event
        appendWord(body, m.eventId);
        appendWord(body, 0);
        break;
    default:
        if (m.requestId != SimConnectMessage::NoId)
            appendWord(body, m.requestId);
        body += m.data;
        break;
    }
    return message(m.id, body);
}

void FakeSimConnectServer::sendMessage(const FakeSimConnect::Message &m) {
    write(encode(m));
}

void FakeSimConnectServer::sendData(uint32_t requestId, const QByteArray &block) {
    FakeSimConnect::Message m;
    m.id = SimConnectMessage::IdSimObjectDataByType;
    m.requestId = requestId;
    m.data = block;
    sendMessage(m);
}

void FakeSimConnectServer::sendEvent(uint32_t eventId) {
    FakeSimConnect::Message m;
    m.id = SimConnectMessage::IdEvent;
    m.eventId = eventId;
    sendMessage(m);
}

void FakeSimConnectServer::sendQuit() {
    write(message(SimConnectMessage::IdQuit, QByteArray()));
}

void FakeSimConnectServer::sendException(uint32_t exception, uint32_t sendNumber, uint32_t index) {
    QByteArray body;
    appendWord(body, exception);
    appendWord(body, sendNumber);
    appendWord(body, index);
    write(message(1, body));
}

void FakeSimConnectServer::sendRaw(const QByteArray &bytes) {
    write(bytes);
}

void FakeSimConnectServer::write(const QByteArray &bytes) {
    if (client && opened) {
        client->write(bytes);
        client->flush();
    } else {
        waiting += bytes;
    }
}

void FakeSimConnectServer::closeClient() {
    if (client) {
        client->flush();
        client->disconnectFromHost();
        if (client)
            client->abort();
    }
}

void FakeSimConnectServer::onNewConnection() {
    while (QTcpSocket *incoming = server.nextPendingConnection()) {
        if (client) {
            client->abort();
            client->deleteLater();
        }
        client = incoming;
        ++connections;
        buffer.clear();
        opened = false;
        connect(incoming, &QTcpSocket::readyRead, this, &FakeSimConnectServer::onReadyRead);
        connect(incoming, &QTcpSocket::disconnected, incoming, &QObject::deleteLater);
    }
}

void FakeSimConnectServer::onReadyRead() {
    if (!client || stalled)
        return;
    QTcpSocket *socket = client;
    buffer += socket->readAll();
    while (buffer.size() >= 4) {
        const uint32_t size = word(buffer, 0);
        if (size < PacketHeader || size > MaxPacket) {
            ++malformedPackets;
            buffer.clear();
            socket->abort();
            return;
        }
        if (uint32_t(buffer.size()) < size)
            return;
        Packet packet{connections, size, word(buffer, 4), word(buffer, 8) & ~0xF0000000u, word(buffer, 12),
                      buffer.left(size)};
        buffer.remove(0, size);
        packets.push_back(packet);
        handle(packet);
        emit packetReceived(packet);
        if (!client || client != socket)
            return;
    }
}

void FakeSimConnectServer::handle(const Packet &packet) {
    const QByteArray &b = packet.bytes;
    switch (packet.call) {
    case 0x01: // open
        clientName = text256(b, 16);
        opened = true;
        if (answerOpen) {
            QByteArray body = QByteArray(256, '\0');
            std::memcpy(body.data(), applicationName.constData(), size_t(qMin<qsizetype>(255, applicationName.size())));
            for (uint32_t value : {11u, 0u, 62651u, 3u, 11u, 0u, 62651u, 3u, 0u, 0u})
                appendWord(body, value);
            write(message(2, body));
        }
        if (!waiting.isEmpty()) {
            const QByteArray held = waiting;
            waiting.clear();
            write(held);
        }
        break;
    case 0x0C: { // add to data definition
        float epsilon;
        const uint32_t bits = word(b, 16 + 4 + 512 + 4);
        std::memcpy(&epsilon, &bits, sizeof(epsilon));
        definitions.push_back({word(b, 16), text256(b, 20), text256(b, 276),
                               SimConnectSeam::DataType(word(b, 532)), epsilon, word(b, 540)});
        break;
    }
    case 0x0F: // request data on sim object type
        requests.push_back({word(b, 16), word(b, 20), word(b, 24), word(b, 28)});
        if (!servedBlock.isEmpty())
            sendData(word(b, 16), servedBlock);
        break;
    case 0x17: // subscribe to system event
        subscriptions.push_back({word(b, 16), text256(b, 20)});
        if (eventOnSubscribe && subscriptions.back().systemEventName == "SimStart")
            sendEvent(word(b, 16));
        break;
    default:
        break;
    }
}

// `done` is asked once per round, so it may take something (a message) when it holds.
bool FakeSimConnectServer::waitFor(const std::function<bool()> &done, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    for (int round = 0;; ++round) {
        if (done())
            return true;
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        if (round > 0)
            QThread::msleep(1);
    }
}
