#pragma once

#include "sourcerecords.h"
#include "telemetrysourceudp.h"

// Decodes one Condor 2 datagram of "key=value" lines into `record` (airspeed, gforce, turbulencestrength).
// Lines with another key, or with a known key but no "=", leave the record as it was.
void decodeCondorDatagram(const QByteArray &datagram, Condor2Telemetry &record);

class TelemetrySourceCondor2 : public TelemetrySourceUdp {
    Q_OBJECT

public:
    static constexpr quint16 DefaultPort = 55278;

    explicit TelemetrySourceCondor2(QObject *parent = nullptr, quint16 port = DefaultPort);

signals:
    void telemetryChanged(Condor2Telemetry telemetry);

protected:
    void parseDatagram(const QByteArray &datagram) override;
    QString flightModuleName(const QByteArray &datagram) override;
    Telemetry::Source source() override { return Telemetry::TELEMETRY_SOURCE_CONDOR; }
    void emitTelemetry() override;
    void emitIdleTelemetry() override;

private:
    Condor2Telemetry telemetry;
    const Condor2Telemetry idleTelemetry;
};
