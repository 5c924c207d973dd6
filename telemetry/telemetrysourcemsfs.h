#pragma once

#include "sourcerecords.h"
#include "telemetrysource.h"

#include <memory>

class SimConnectSeam;
struct SimConnectMessage;

// Microsoft Flight Simulator through SimConnect. Where SimConnect is absent the source finds no connection
// and stays silent.
class TelemetrySourceMSFS : public TelemetrySource {
    Q_OBJECT

public:
    explicit TelemetrySourceMSFS(QObject *parent = nullptr);
    // Runs the source over the given SimConnect (the default constructor takes this build's own).
    explicit TelemetrySourceMSFS(std::unique_ptr<SimConnectSeam> simConnect, QObject *parent = nullptr);
    ~TelemetrySourceMSFS() override;

    void poll() override;

signals:
    void telemetryChanged(MSFSTelemetry telemetry);

private:
    void connectAndRegister();
    void requestData();
    void handleEvent(const SimConnectMessage &message);
    void handleData(const SimConnectMessage &message);
    void decode(const unsigned char *block);
    void endTelemetry();

    std::unique_ptr<SimConnectSeam> simConnect;
    // Stands for the SimConnect handle, which the seam holds: once set it is never cleared.
    bool handle = false;
    const MSFSTelemetry idleTelemetry{};
    MSFSTelemetry currentTelemetry{};
};
