#pragma once

#include "monotonicclock.h"
#include "telemetrysource.h"

#include <QByteArray>

class QUdpSocket;

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
    QByteArray buffer; // reused for every datagram of every burst
    ElapsedClock lastDatagramTimer;
    ElapsedClock activeSinceTimer;
};
