#pragma once

#include "sourcerecords.h"
#include "telemetrysource.h"

#include <QNetworkRequest>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;

// Decodes a War Thunder /state document into `record`: "IAS, km/h", "Ny" and "AoA, deg". Missing keys,
// non-numbers and a body that is not a JSON object give 0.
void decodeWarthunderState(const QByteArray &body, WarthunderTelemetry &record);

// War Thunder's local HTTP state endpoint, polled with at most one request in flight.
class TelemetrySourceWarthunder : public TelemetrySource {
    Q_OBJECT

public:
    static QUrl defaultUrl() { return QUrl(QStringLiteral("http://127.0.0.1:8111/state")); }
    static constexpr int TransferTimeoutMs = 100;
    // The largest reply body read. A real state document is well under a kilobyte; a server that streams
    // without end would otherwise keep the one request open for ever and its body growing in memory.
    static constexpr qint64 MaxBodyBytes = 1024 * 1024;

    explicit TelemetrySourceWarthunder(QObject *parent = nullptr, const QUrl &url = defaultUrl());

    void poll() override;

signals:
    void telemetryChanged(WarthunderTelemetry telemetry);

private:
    void onReplyFinished();

    QNetworkAccessManager *networkManager = nullptr;
    QNetworkRequest request;
    QNetworkReply *reply = nullptr;
    bool requestInFlight = false;
    WarthunderTelemetry telemetry;
    const WarthunderTelemetry idleTelemetry;
};
