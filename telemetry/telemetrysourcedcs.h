#pragma once

#include "sourcerecords.h"
#include "telemetrysourceudp.h"

// Decodes one DCS datagram ("name;ias;vs;aoa;g;gear;airbrake;flaps;propAirflow;onGround") into `record`.
// Returns false, leaving the record untouched, when the datagram has fewer than ten fields. `landed` is set
// when the on-ground field turns from not-on-ground to on-ground.
bool decodeDcsDatagram(const QByteArray &datagram, DCSTelemetry &record, bool *landed);

// The aircraft name: the first ";" field.
QString dcsFlightModuleName(const QByteArray &datagram);

class TelemetrySourceDCS : public TelemetrySourceUdp {
    Q_OBJECT

public:
    static constexpr quint16 DefaultPort = 29778;

    explicit TelemetrySourceDCS(QObject *parent = nullptr, quint16 port = DefaultPort);

signals:
    void telemetryChanged(DCSTelemetry telemetry);

protected:
    void parseDatagram(const QByteArray &datagram) override;
    QString flightModuleName(const QByteArray &datagram) override;
    Telemetry::Source source() override { return Telemetry::TELEMETRY_SOURCE_DCS; }
    void emitTelemetry() override;
    void emitIdleTelemetry() override;

private:
    DCSTelemetry telemetry;
    const DCSTelemetry idleTelemetry;
};
