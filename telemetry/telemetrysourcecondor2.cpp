#include "telemetrysourcecondor2.h"

#include <QStringList>

namespace {
// The value is the text between the first and the second "=" of the trimmed line. A line with no "=" has
// no value and is skipped, so the field keeps what the last good line gave it and the datagram's other
// lines still count.
bool lineValue(const QString &line, float *value) {
    const QStringList parts = line.trimmed().split(QLatin1Char('='));
    if (parts.size() < 2)
        return false;
    *value = parts[1].toFloat();
    return true;
}
} // namespace

void decodeCondorDatagram(const QByteArray &datagram, Condor2Telemetry &record) {
    const QStringList lines = QString::fromUtf8(datagram).split(QLatin1Char('\n'), Qt::KeepEmptyParts);
    for (const QString &line : lines) {
        // The key is matched as a prefix of the untrimmed line, so "airspeedx=…" counts and " airspeed=…" does
        // not; Condor writes its keys at the start of the line.
        float value = 0;
        if (line.startsWith(QLatin1String("airspeed"))) {
            if (lineValue(line, &value))
                record.setAirspeed(float(value * 3.6)); // m/s to km/h
        } else if (line.startsWith(QLatin1String("gforce"))) {
            if (lineValue(line, &value))
                record.gForce = value;
        } else if (line.startsWith(QLatin1String("turbulencestrength"))) {
            if (lineValue(line, &value))
                record.turbulenceStrength = value;
        }
    }
}

TelemetrySourceCondor2::TelemetrySourceCondor2(QObject *parent, quint16 port)
    : TelemetrySourceUdp(parent, port), telemetry(), idleTelemetry() {}

void TelemetrySourceCondor2::parseDatagram(const QByteArray &datagram) {
    decodeCondorDatagram(datagram, telemetry);
}

QString TelemetrySourceCondor2::flightModuleName(const QByteArray &) {
    return QStringLiteral("Generic glider");
}

void TelemetrySourceCondor2::emitTelemetry() {
    emit telemetryChanged(telemetry);
}

void TelemetrySourceCondor2::emitIdleTelemetry() {
    emit telemetryChanged(idleTelemetry);
}
