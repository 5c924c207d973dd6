#include "telemetrysourceshturmovik.h"

#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <cstring>

namespace {
constexpr int HeaderSize = 10;
constexpr int IndicatorHeaderSize = 3; // identifier (u16) and value count (s8)
constexpr int ValueSize = 4;

enum Indicator {
    ENGINE_A = 0,
    ENGINE_B = 1,
    GEAR = 4,
    WHEELS = 5,
    AIRSPEED = 6,
    AOA = 7,
    INDICATOR_8 = 8,
    INDICATOR_9 = 9,
    ALTITUDE = 10,
    FLAPS = 11,
    AIRBRAKE = 12,
};

float valueAt(const char *values, int index) {
    const quint32 bits = qFromLittleEndian<quint32>(values + index * ValueSize);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// How many values an indicator must at least carry for the decoder to read it, and how many it can keep.
int minimumValues(int id) {
    switch (id) {
    case AIRSPEED:
    case AOA:
    case ALTITUDE:
    case FLAPS:
    case AIRBRAKE:
        return 1;
    case INDICATOR_8:
        return 3;
    case INDICATOR_9:
        return 2;
    default:
        return 0;
    }
}

bool isPerEngine(int id) {
    return id == ENGINE_A || id == ENGINE_B || id == GEAR || id == WHEELS;
}

float nanToZero(float value) {
    return std::isnan(value) ? 0.0f : value;
}

float mean(const float *values, int count) {
    float sum = 0;
    for (int i = 0; i < count; ++i)
        sum += values[i];
    // No values is 0/0: NaN, like the game's own empty mean; callers store it as 0.
    return count > 0 ? sum / count : std::nanf("");
}
} // namespace

float ShturmovikDecoder::verticalSpeedRing[ShturmovikDecoder::RingSize] = {};
int ShturmovikDecoder::ringIndex = 0;

// A packet is checked whole before any of it is used, and dropped whole (record and ring untouched) when an
// indicator runs past the end, claims a negative value count, holds more than four per-engine values, or
// carries fewer values than the decoder reads from it. Indicators the decoder does not read are skipped
// whatever their size. A packet is therefore either fully decoded or not at all.
bool ShturmovikDecoder::validate(const QByteArray &datagram, int indicatorCount) {
    const qsizetype size = datagram.size();
    qsizetype offset = HeaderSize + 1;
    for (int i = 0; i < indicatorCount; ++i) {
        if (size - offset < IndicatorHeaderSize)
            return false;
        const int id = qFromLittleEndian<quint16>(datagram.constData() + offset);
        const int count = qint8(datagram[offset + 2]);
        if (count < 0)
            return false;
        if (isPerEngine(id) && count > MaxValuesKept)
            return false;
        if (count < minimumValues(id))
            return false;
        offset += IndicatorHeaderSize;
        if (size - offset < qsizetype(count) * ValueSize)
            return false;
        offset += qsizetype(count) * ValueSize;
    }
    return true;
}

void ShturmovikDecoder::store(int id, int count, const char *values) {
    Values *kept = nullptr;
    switch (id) {
    case ENGINE_A:
        kept = &engineA;
        break;
    case ENGINE_B:
        kept = &engineB;
        break;
    case GEAR:
        kept = &gearPositions;
        break;
    case WHEELS:
        kept = &wheels;
        break;
    case AIRSPEED:
        airspeedMs = valueAt(values, 0);
        return;
    case AOA:
        aoaRadians = valueAt(values, 0);
        return;
    case INDICATOR_8:
        for (int i = 0; i < 3; ++i)
            indicator8[i] = valueAt(values, i);
        return;
    case INDICATOR_9:
        indicator9[0] = valueAt(values, 0);
        indicator9[1] = valueAt(values, 1);
        return;
    case ALTITUDE: {
        const float altitude = valueAt(values, 0);
        verticalSpeedRing[ringIndex] = altitude - lastAltitude;
        ringIndex = (ringIndex + 1) % RingSize;
        lastAltitude = altitude;
        return;
    }
    case FLAPS:
        flaps = valueAt(values, 0);
        return;
    case AIRBRAKE:
        airbrake = valueAt(values, 0);
        return;
    default:
        return;
    }
    kept->count = count;
    for (int i = 0; i < count; ++i)
        kept->values[i] = valueAt(values, i);
}

ShturmovikDecoder::Result ShturmovikDecoder::decode(const QByteArray &datagram, ShturmovikTelemetry &record,
                                                    bool *landed) {
    if (landed)
        *landed = false;
    if (datagram.size() < HeaderSize + 1)
        return Result::Rejected;
    // The game sends a packet with no indicators on pause and exit; it changes nothing.
    const int indicatorCount = qint8(datagram[HeaderSize]);
    if (indicatorCount <= 0)
        return Result::NoIndicators;
    if (!validate(datagram, indicatorCount))
        return Result::Rejected;

    qsizetype offset = HeaderSize + 1;
    for (int i = 0; i < indicatorCount; ++i) {
        const int id = qFromLittleEndian<quint16>(datagram.constData() + offset);
        const int count = qint8(datagram[offset + 2]);
        offset += IndicatorHeaderSize;
        store(id, count, datagram.constData() + offset);
        offset += qsizetype(count) * ValueSize;
    }

    record.setAirspeed(nanToZero(float(airspeedMs * 3.6))); // m/s to km/h
    record.aoa = nanToZero(float(aoaRadians * 57.2958));    // radians to degrees
    float verticalSpeed = 0;
    for (float difference : verticalSpeedRing)
        verticalSpeed += difference;
    // The sum of the last 25 altitude differences: a change over 25 packets, not a rate per second.
    record.verticalSpeed = nanToZero(verticalSpeed);
    record.gear = nanToZero(mean(gearPositions.values, gearPositions.count) * 100);
    record.airbrake = nanToZero(airbrake * 100);
    record.flaps = nanToZero(flaps * 100);

    float airflow = 0;
    for (int i = 0; i < engineA.count; ++i)
        airflow += engineA.values[i] * engineB.values[i];
    // The game's scale tops out at 1.0 here although the field is a percentage elsewhere; kept on purpose.
    airflow = engineA.count > 0 ? airflow / engineA.count / 100000 / 3700 : std::nanf("");
    airflow = nanToZero(airflow);
    record.propAirflow = std::min(airflow, 1.0f);

    record.indicator9First = nanToZero(indicator9[0]);
    record.indicator9Second = nanToZero(indicator9[1]);

    const float wheelLoad = mean(wheels.values, wheels.count);
    const bool onGround = wheelLoad > 0.01;
    if (!record.onGround && onGround && landed)
        *landed = true;
    record.onGround = onGround;
    return Result::Decoded;
}

TelemetrySourceShturmovik::TelemetrySourceShturmovik(QObject *parent, quint16 port)
    : TelemetrySourceUdp(parent, port), decoder(), telemetry(), idleTelemetry() {}

void TelemetrySourceShturmovik::parseDatagram(const QByteArray &datagram) {
    bool touchDown = false;
    decoder.decode(datagram, telemetry, &touchDown);
    if (touchDown)
        emit landed(telemetry.verticalSpeed, telemetry.getAirspeed());
}

QString TelemetrySourceShturmovik::flightModuleName(const QByteArray &) {
    return QStringLiteral("Generic warbird");
}

void TelemetrySourceShturmovik::emitTelemetry() {
    emit telemetryChanged(telemetry);
}

void TelemetrySourceShturmovik::emitIdleTelemetry() {
    emit telemetryChanged(idleTelemetry);
}
