#pragma once

#include "monotonicclock.h"
#include "telemetrysource.h"

#include <QByteArray>
#include <QtGlobal>

class QUdpSocket;

// The most datagrams one poll reads from one port. A sender faster than the polling tick would otherwise
// keep the read loop going and stall every other source on the thread; what is left is read on the next
// tick, and only the newest datagram matters anyway.
constexpr int MaxDatagramsPerPoll = 64;

// Reads at most `limit` pending datagrams of `socket` (anything with QUdpSocket's hasPendingDatagrams,
// pendingDatagramSize and readDatagram), each into `scratch`. `newest` ends up holding the last datagram
// read in full, empty ones included; a failed read ends the burst and leaves `newest` as it was, so a
// stale or partly filled buffer is never handed on. Answers whether any read returned data.
// `seen` gets every datagram read in full, in arrival order, before it replaces the previous one.
template <typename Socket, typename Seen>
bool readNewestDatagram(Socket &socket, QByteArray &newest, QByteArray &scratch, Seen seen,
                        int limit = MaxDatagramsPerPoll) {
    bool received = false;
    for (int count = 0; count < limit && socket.hasPendingDatagrams(); ++count) {
        const qint64 size = socket.pendingDatagramSize();
        scratch.resize(size > 0 ? size : 0);
        const qint64 read = socket.readDatagram(scratch.data(), scratch.size());
        if (read < 0)
            break; // a socket error may leave the datagram queued; spinning on it would hang the tick
        scratch.resize(read);
        seen(static_cast<const QByteArray &>(scratch));
        newest.swap(scratch);
        if (read > 0)
            received = true;
    }
    return received;
}

template <typename Socket>
bool readNewestDatagram(Socket &socket, QByteArray &newest, QByteArray &scratch, int limit = MaxDatagramsPerPoll) {
    return readNewestDatagram(socket, newest, scratch, [](const QByteArray &) {}, limit);
}

// What the three UDP simulators share: the socket on a fixed local port, the read loop run on every
// polling tick, and the start and end detection. Subclasses supply the decoder and their record.
class TelemetrySourceUdp : public TelemetrySource {
    Q_OBJECT

public:
    TelemetrySourceUdp(QObject *parent, quint16 port);

    void poll() override;

    // The port the socket is bound to (0 when the bind failed, e.g. because the port is taken).
    quint16 localPort() const;

protected:
    virtual void parseDatagram(const QByteArray &datagram) = 0;
    virtual QString flightModuleName(const QByteArray &datagram) = 0;
    virtual Telemetry::Source source() = 0;
    virtual void firstSecondHook(float seconds);
    virtual void emitTelemetry() = 0;
    virtual void emitIdleTelemetry() = 0;

private:
    QUdpSocket *socket = nullptr;
    QByteArray buffer;  // the newest datagram read in full
    QByteArray scratch; // the one being read; the two swap, so neither is allocated again once grown
    ElapsedClock lastDatagramTimer;
    ElapsedClock activeSinceTimer;
};
