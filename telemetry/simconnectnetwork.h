#pragma once

#include "monotonicclock.h"
#include "simconnectconfig.h"
#include "simconnectseam.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

class QTcpSocket;

// The client's receive path: bytes as they come off the connection, in pieces of any size, handed out one
// whole message at a time. At most Capacity bytes are held; the rest waits in the socket, so a server that
// sends faster than messages are taken is held back by TCP itself instead of by our memory.
class SimConnectReceiver {
public:
    static constexpr qsizetype Capacity = 2 * qsizetype(1u << 20);
    enum class Result { Message, Incomplete, Invalid };

    // How many more bytes append takes.
    qsizetype room() const { return Capacity - received.size(); }
    // Keeps up to room() of the bytes; returns how many it kept.
    qsizetype append(const char *bytes, qsizetype size);
    // Message: the next whole message, decoded into `message`, its bytes copied to a buffer of exactly its
    // `size` (lastMessage) that stays valid until the next call. Incomplete: more bytes are needed.
    // Invalid: the size field cannot be SimConnect's (`size` tells it); nothing more can be read.
    Result next(SimConnectMessage &message, uint32_t &size);
    // Whether next would hand out a message or find the stream invalid.
    bool hasAnswer() const;
    const unsigned char *lastMessage() const { return delivered.get(); }
    void clear() { received.clear(); }

private:
    QByteArray received;
    // The last handed-out message, sized exactly, so a read past its end is caught by the sanitizers.
    std::unique_ptr<unsigned char[]> delivered;
};

// SimConnect over TCP, spoken by us (docs/msfs-network.md): the client for MSFS on Linux, under Proton or on
// another PC, and for Windows builds made without the MSFS SDK.
//
// The MSFS source opens once, registers once and then only pulls messages, so everything a real connection
// needs beyond that happens in here, driven by the source's calls on its own thread:
// - open() only starts a connection and reports the handle as held; connecting never blocks, and a refused
//   or unreachable server costs the calling tick nothing.
// - Every definition entry, subscription and (latest, per request id) data request is remembered. Made
//   before the connection is up, they are sent right after the open packet; after a reconnection they are
//   sent again, so the simulator sees what a freshly connected source would send.
// - A connection that the server closes, or that we close because its stream cannot be SimConnect's (a
//   size field outside 12 bytes .. 1 MiB), is lost: if the server had answered on it, the source is handed
//   one quit message of our own making, so it ends its telemetry as for a quit, and a new connection is
//   tried.
// - The simulator's own quit message is passed on and ends the connection for good: the source does not
//   reconnect after a quit, and neither does this client.
// - Connection attempts start at most once per second, going through the endpoints in turn (after a lost
//   connection, starting again with the one that had worked). One still pending after five seconds is given
//   up; a connection on which no answer to the open arrives within ten seconds is closed and tried again.
// - TCP keepalive watches an established connection (idle 5 s, then a probe a second, 5 probes, and at most
//   10 s for anything sent to go unacknowledged): a peer that vanished (power, sleep, Wi-Fi) is lost within
//   about 11 s, as if it had closed the connection. A simulator that merely sends nothing (paused, loading)
//   still acknowledges the probes and is never lost.
// - What cannot be helped is logged once per endpoint and kind until a connection succeeds, not every
//   second.
// Nothing here runs by itself: each getNextMessage moves the connection on and hands out at most one message.
class SimConnectNetworkClient final : public SimConnectSeam {
public:
    static constexpr int64_t ReconnectIntervalMs = 1000;
    static constexpr int64_t ConnectTimeoutMs = 5000;
    static constexpr int64_t OpenTimeoutMs = 10000;
    // The keepalive settings; a vanished peer is noticed after at most KeepAliveIdleS +
    // KeepAliveCount * KeepAliveIntervalS seconds of silence, or UserTimeoutMs of unacknowledged data.
    static constexpr int KeepAliveIdleS = 5;
    static constexpr int KeepAliveIntervalS = 1;
    static constexpr int KeepAliveCount = 5;
    static constexpr int UserTimeoutMs = 10000;

    explicit SimConnectNetworkClient(const SimConnectEndpoint &endpoint);
    // Tries the endpoints in turn, one attempt a second (an empty list: the defaults).
    explicit SimConnectNetworkClient(std::vector<SimConnectEndpoint> endpoints);
    ~SimConnectNetworkClient() override;

    bool open(const char *clientName) override;
    void addToDataDefinition(uint32_t definitionId, const char *datumName, const char *unitsName,
                             DataType datumType, float epsilon, uint32_t datumId) override;
    void requestDataOnSimObjectType(uint32_t requestId, uint32_t definitionId, uint32_t radiusMeters,
                                    uint32_t objectType) override;
    void subscribeToSystemEvent(uint32_t eventId, const char *systemEventName) override;
    bool getNextMessage(SimConnectMessage &message) override;
    void close() override;

    // How many connection attempts have been started, for the log and for tests.
    int connectionAttempts() const { return attempts; }
    bool isConnected() const { return state == State::Connected; }
    bool isConnecting() const { return state == State::Connecting; }
    // The endpoint the current or next attempt is for.
    const SimConnectEndpoint &currentEndpoint() const { return endpoints[current]; }

private:
    enum class State { NotOpened, Connecting, Connected, Waiting, Finished };

    void advance();
    void startAttempt();
    void onConnected();
    void readAvailable();
    // Drops the connection; true when the source is owed the end of its telemetry.
    bool loseConnection(const char *reason);
    void send(QByteArray packet);
    void remember(QByteArray packet, bool isRequest, uint32_t requestId);
    bool deliver(std::size_t size, SimConnectMessage &message);
    void dropSocket();
    void switchOnKeepAlive();
    // Logs `text` at info level unless this endpoint has already said exactly it since the last success.
    void logOnce(const QString &kind, const QString &text);

    std::vector<SimConnectEndpoint> endpoints;
    std::size_t current = 0;
    QByteArray clientName;
    State state = State::NotOpened;
    std::unique_ptr<QTcpSocket> socket;
    ElapsedClock attemptClock;
    ElapsedClock connectedClock; // since the TCP connection was made
    int attempts = 0;
    // Per endpoint and kind, what was last logged, so a run of equal failures is logged once.
    QHash<QString, QString> logged;
    uint32_t nextSendNumber = 0;
    bool serverAnswered = false;
    bool peerGone = false;
    SimConnectReceiver receiver;
    std::vector<QByteArray> remembered;
    std::vector<std::pair<uint32_t, std::size_t>> requestSlots; // request id, index in `remembered`
};
