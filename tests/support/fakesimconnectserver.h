#pragma once

#include "fakesimconnect.h"

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QPointer>
#include <cstdint>
#include <functional>
#include <vector>

// A SimConnect server on loopback, speaking the network protocol from its own reading of the wire format (it
// shares no code with the client): it answers the open, records every packet a client sends, serves data
// blocks and events when told or when asked, and misbehaves on demand. One client at a time; a new
// connection replaces the previous one. Lives on the test's thread; the wait helpers spin its event loop.
class FakeSimConnectServer : public QObject {
    Q_OBJECT

public:
    struct Packet {
        int connection;       // 1 for the first connection accepted, 2 for the next, …
        uint32_t size;
        uint32_t protocol;
        uint32_t call;        // without the 0xF0000000 marker
        uint32_t sendNumber;
        QByteArray bytes;     // the whole packet as received
    };

    explicit FakeSimConnectServer(QObject *parent = nullptr);

    // Listens on 127.0.0.1; port 0 picks a free one.
    bool listen(uint16_t port = 0);
    // Listens on `address` (::1 for an IPv6 server).
    bool listen(const QHostAddress &address, uint16_t port);
    QString listenError() const;
    uint16_t port() const;
    // Refuses new connections from now on (a client's connect is then refused), or accepts them again.
    void stopListening();

    // Behaviour.
    bool answerOpen = true;        // reply to an open with the open message
    bool eventOnSubscribe = false; // send "SimStart" right after its subscription, as a sim already flying
    QByteArray applicationName = "KittyHawk";
    // When set, every data request is answered with one data message carrying this block.
    void serveOnRequest(const QByteArray &block) { servedBlock = block; }
    void stopServing() { servedBlock.clear(); }
    // Stops reading what the client sends, and so stops answering it, until set back.
    void setStalled(bool stalled);

    // Sending to the connected client. Messages sent before a client has opened wait for its open.
    void sendMessage(const FakeSimConnect::Message &message);
    void sendData(uint32_t requestId, const QByteArray &block);
    void sendEvent(uint32_t eventId);
    void sendQuit();
    void sendException(uint32_t exception, uint32_t sendNumber, uint32_t index);
    // Bytes as they stand, framing or not.
    void sendRaw(const QByteArray &bytes);
    // Closes the client's connection at once.
    void closeClient();

    static QByteArray encode(const FakeSimConnect::Message &message);
    static QByteArray message(uint32_t id, const QByteArray &body);

    // What clients did.
    int connections = 0;
    int malformedPackets = 0; // packets whose size field made us close the connection
    std::vector<Packet> packets;
    QByteArray clientName;
    std::vector<FakeSimConnect::DefinitionCall> definitions;
    std::vector<FakeSimConnect::RequestCall> requests;
    std::vector<FakeSimConnect::SubscribeCall> subscriptions;
    bool clientConnected() const;
    bool clientOpened() const { return opened; }

    // Runs the event loop until `done` holds or `timeoutMs` has passed; returns whether it held. `done` is
    // called once per round, so it may take something (a message) when it holds.
    static bool waitFor(const std::function<bool()> &done, int timeoutMs = 5000);

signals:
    void packetReceived(const FakeSimConnectServer::Packet &packet);

private:
    void onNewConnection();
    void onReadyRead();
    void handle(const Packet &packet);
    void write(const QByteArray &bytes);

    QTcpServer server;
    QPointer<QTcpSocket> client;
    QByteArray buffer;
    QByteArray servedBlock;
    QByteArray waiting; // messages held until the client has opened
    bool opened = false;
    bool stalled = false;
};
