#pragma once

#include "sourcerecords.h"
#include "telemetrysource.h"

// Microsoft Flight Simulator through SimConnect. Where SimConnect is absent the source finds no connection
// and stays silent.
class TelemetrySourceMSFS : public TelemetrySource {
    Q_OBJECT

public:
    explicit TelemetrySourceMSFS(QObject *parent = nullptr);

    void poll() override;

signals:
    void telemetryChanged(MSFSTelemetry telemetry);
};
