#pragma once

#include "sourcerecords.h"
#include "telemetrysourceudp.h"

// Decoder of IL-2 Sturmovik's binary telemetry packets. It keeps the latest values of every indicator
// between packets (a packet need not carry all of them) and derives the vertical speed from the altitude
// indicator through a ring of differences.
class ShturmovikDecoder {
public:
    enum class Result {
        Rejected,   // malformed: nothing changed
        NoIndicators, // indicator count 0 or negative: nothing changed
        Decoded,
    };

    static constexpr int RingSize = 25;
    static constexpr int MaxValuesKept = 4;

    // Decodes `datagram` into `record`; `landed` is set on the first ground contact.
    Result decode(const QByteArray &datagram, ShturmovikTelemetry &record, bool *landed);

private:
    struct Values {
        int count = 0;
        float values[MaxValuesKept] = {};
    };

    static bool validate(const QByteArray &datagram, int indicatorCount);
    void store(int id, int count, const char *values);

    Values engineA;       // identifier 0
    Values engineB;       // identifier 1
    Values gearPositions; // identifier 4
    Values wheels;        // identifier 5
    float airspeedMs = 0;
    float aoaRadians = 0;
    float indicator8[3] = {};
    float indicator9[2] = {};
    float lastAltitude = 0;
    float flaps = 0;
    float airbrake = 0;

    // Shared by every decoder and never reset: the vertical speed carries on across telemetry periods.
    static float verticalSpeedRing[RingSize];
    static int ringIndex;
};

class TelemetrySourceShturmovik : public TelemetrySourceUdp {
    Q_OBJECT

public:
    static constexpr quint16 DefaultPort = 29777;

    explicit TelemetrySourceShturmovik(QObject *parent = nullptr, quint16 port = DefaultPort);

signals:
    void telemetryChanged(ShturmovikTelemetry telemetry);

protected:
    void parseDatagram(const QByteArray &datagram) override;
    QString flightModuleName(const QByteArray &datagram) override;
    Telemetry::Source source() override { return Telemetry::TELEMETRY_SOURCE_IL2; }
    void emitTelemetry() override;
    void emitIdleTelemetry() override;

private:
    ShturmovikDecoder decoder;
    ShturmovikTelemetry telemetry;
    const ShturmovikTelemetry idleTelemetry;
};
