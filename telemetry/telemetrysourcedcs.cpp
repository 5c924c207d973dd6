#include "telemetrysourcedcs.h"

#include <QStringList>

namespace {
constexpr int FieldCount = 10;
} // namespace

// A datagram with fewer than ten fields is dropped whole rather than decoded in part: a truncated line
// cannot be told apart from one whose later fields are simply missing. Extra fields are ignored.
bool decodeDcsDatagram(const QByteArray &datagram, DCSTelemetry &record, bool *landed) {
    if (landed)
        *landed = false;
    const QStringList fields = QString::fromUtf8(datagram).split(QLatin1Char(';'), Qt::KeepEmptyParts);
    if (fields.size() < FieldCount)
        return false;

    // Unparsable numbers become 0 (toFloat's own failure value).
    record.setAirspeed(fields[1].toFloat());
    record.verticalSpeed = fields[2].toFloat();
    record.aoa = fields[3].toFloat();
    record.gForce = fields[4].toFloat();
    record.gear = fields[5].toFloat() * 100;
    record.airbrake = fields[6].toFloat() * 100;
    record.flaps = fields[7].toFloat() * 100;
    record.propAirflow = fields[8].toFloat();

    // Anything that is not a 32-bit integer ("", "1.0", overflow) counts as not on the ground.
    bool fits = false;
    const int onGround = fields[9].toInt(&fits, 10);
    if (!fits) {
        record.onGround = false;
        return true;
    }
    if (!record.onGround && onGround != 0 && landed)
        *landed = true;
    record.onGround = onGround != 0;
    return true;
}

QString dcsFlightModuleName(const QByteArray &datagram) {
    const QString text = QString::fromUtf8(datagram);
    return text.left(text.indexOf(QLatin1Char(';')));
}

TelemetrySourceDCS::TelemetrySourceDCS(QObject *parent, quint16 port)
    : TelemetrySourceUdp(parent, port), telemetry(), idleTelemetry() {}

void TelemetrySourceDCS::parseDatagram(const QByteArray &datagram) {
    bool touchDown = false;
    decodeDcsDatagram(datagram, telemetry, &touchDown);
    if (touchDown)
        emit landed(telemetry.verticalSpeed, telemetry.getAirspeed());
}

QString TelemetrySourceDCS::flightModuleName(const QByteArray &datagram) {
    return dcsFlightModuleName(datagram);
}

void TelemetrySourceDCS::emitTelemetry() {
    emit telemetryChanged(telemetry);
}

void TelemetrySourceDCS::emitIdleTelemetry() {
    emit telemetryChanged(idleTelemetry);
}
