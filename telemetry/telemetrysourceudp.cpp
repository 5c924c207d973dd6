#include "telemetrysourceudp.h"

#include "telemetryrecorder.h"

#include <QHostAddress>
#include <QUdpSocket>

namespace {
// Silence longer than this ends the telemetry; exactly this long does not.
constexpr int64_t EndAfterSilenceMs = 1000;
constexpr int64_t FirstSecondMs = 999;
} // namespace

TelemetrySourceUdp::TelemetrySourceUdp(QObject *parent, quint16 port) : TelemetrySource(parent) {
    socket = new QUdpSocket(this);
    // A taken port is not reported: the source then simply never receives data.
    socket->bind(QHostAddress::Any, port);
}

quint16 TelemetrySourceUdp::localPort() const {
    return socket->localPort();
}

void TelemetrySourceUdp::firstSecondHook(float) {}

void TelemetrySourceUdp::poll() {
    // A socket whose port was taken never bound: it has nothing to read, and asking it anyway would make Qt
    // complain on every tick.
    const bool bound = socket->state() == QAbstractSocket::BoundState;
    if (!bound || !socket->hasPendingDatagrams()) {
        if (active && lastDatagramTimer.hasExpired(EndAfterSilenceMs)) {
            emitIdleTelemetry();
            emit telemetryEnded();
            active = false;
        }
        return;
    }

    // Only the newest datagram of a burst matters: each read replaces the previous one on purpose.
    const bool received = readNewestDatagram(*socket, buffer, scratch, [this](const QByteArray &datagram) {
        TelemetryRecorder::noteDatagram(source(), datagram, datagram.size());
    });
    if (!received)
        return; // empty datagrams do not keep the telemetry alive

    if (active) {
        parseDatagram(buffer);
        if (activeSinceTimer.elapsed() <= FirstSecondMs)
            firstSecondHook(float(activeSinceTimer.elapsed() / 1000));
        emitTelemetry();
    } else {
        // The datagram that starts the telemetry only declares the source; the first record comes with the
        // next one.
        active = true;
        activeSinceTimer.restart();
        emit telemetrySourceChanged(source(), flightModuleName(buffer));
    }
    lastDatagramTimer.restart();
}
