#include "telemetrysourcewarthunder.h"

#include "telemetryrecorder.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>

// Only these three keys are read; the document's own "valid" flag is not consulted, so outside a flight
// ({"valid": false}) the record simply reads zeros. Anything that does not parse as a JSON object is an
// empty object and gives zeros too.
void decodeWarthunderState(const QByteArray &body, WarthunderTelemetry &record) {
    const QJsonObject state = QJsonDocument::fromJson(body).object();
    record.setAirspeed(float(state.value(QLatin1String("IAS, km/h")).toDouble()));
    record.gForce = float(state.value(QLatin1String("Ny")).toDouble());
    record.aoa = float(state.value(QLatin1String("AoA, deg")).toDouble());
}

TelemetrySourceWarthunder::TelemetrySourceWarthunder(QObject *parent, const QUrl &url)
    : TelemetrySource(parent), telemetry(), idleTelemetry() {
    networkManager = new QNetworkAccessManager(this);
    request = QNetworkRequest(url);
    // Qt's transfer timeout restarts with every byte received: a game that stops answering for 100 ms
    // counts as gone.
    request.setTransferTimeout(TransferTimeoutMs);
}

void TelemetrySourceWarthunder::poll() {
    if (requestInFlight)
        return;
    requestInFlight = true;
    reply = networkManager->get(request);
    connect(reply, &QNetworkReply::finished, this, &TelemetrySourceWarthunder::onReplyFinished);
    // Past the cap the request is aborted, which finishes it with an error: a failed reply like any other.
    // Checked on every arrival of data (Qt's progress signal is held back for 100 ms, too late for a fast
    // sender), so the body never grows much beyond the cap.
    QNetworkReply *started = reply;
    connect(reply, &QNetworkReply::readyRead, this, [started] {
        if (started->bytesAvailable() > MaxBodyBytes)
            started->abort();
    });
}

void TelemetrySourceWarthunder::onReplyFinished() {
    QNetworkReply *finished = reply;
    if (!finished)
        return;
    TelemetryRecorder::noteReply(Telemetry::TELEMETRY_SOURCE_WARTHUNDER, finished);

    // A body over the cap that arrived whole before it could be stopped fails all the same.
    if (finished->error() != QNetworkReply::NoError || finished->bytesAvailable() > MaxBodyBytes) {
        // No grace period: the first failed request ends the telemetry.
        if (active) {
            active = false;
            emit telemetryChanged(idleTelemetry);
            emit telemetryEnded();
        }
    } else if (!active) {
        // The reply that starts the telemetry only declares the source; its body is not decoded.
        active = true;
        emit telemetrySourceChanged(Telemetry::TELEMETRY_SOURCE_WARTHUNDER, QStringLiteral("Generic warbird"));
    } else {
        decodeWarthunderState(finished->readAll(), telemetry);
        emit telemetryChanged(telemetry);
    }

    finished->deleteLater();
    reply = nullptr;
    requestInFlight = false;
}
