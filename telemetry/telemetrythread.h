#pragma once

#include "sourcerecords.h"
#include "telemetry.h"
#include "telemetrysourcexplane.h"

#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>

class QTimer;
class SimConnectSeam;
class TelemetrySource;

// The telemetry worker: owns one source per simulator, polls them every 20 ms on its own thread, and
// forwards what the active source delivers.
class TelemetryThread : public QObject {
    Q_OBJECT

public:
    // Where the sources listen and ask. The defaults are the simulators' fixed ports and address; port 0
    // takes any free port (the source's socket then tells which).
    struct Endpoints {
        quint16 dcsPort = 29778;
        quint16 shturmovikPort = 29777;
        quint16 condor2Port = 55278;
        QUrl warthunderUrl = QUrl(QStringLiteral("http://127.0.0.1:8111/state"));
        // The SimConnect the MSFS source runs over; empty: this build's own.
        std::function<std::unique_ptr<SimConnectSeam>()> simConnect;
        XPlane::Endpoint xplane; // 127.0.0.1:49000
    };

    // The program's telemetry worker: the fixed ports, and X-Plane where the settings file puts it.
    explicit TelemetryThread(QObject *parent = nullptr);
    explicit TelemetryThread(const Endpoints &endpoints, QObject *parent = nullptr);

    Telemetry::Source currentActiveSource() const { return activeSource; }
    // The table entry for a source value (entry 0 is always empty); null outside 0..6.
    TelemetrySource *source(int index) const;

signals:
    void msfsTelemetryChanged(MSFSTelemetry telemetry);
    void dcsTelemetryChanged(DCSTelemetry telemetry);
    void shturmovikTelemetryChanged(ShturmovikTelemetry telemetry);
    void condor2TelemetryChanged(Condor2Telemetry telemetry);
    void warthunderTelemetryChanged(WarthunderTelemetry telemetry);
    void telemetrySourceChanged(Telemetry::Source source, QString flightModule);
    void telemetryEnded();
    void landed(float verticalSpeed, float airspeed);
    // After the published signals, so each of them keeps its number.
    void xplaneTelemetryChanged(XPlaneTelemetry telemetry);

public slots:
    void start();
    void onTimeout();

private:
    QTimer *timer = nullptr;
    Telemetry::Source activeSource = Telemetry::TELEMETRY_SOURCE_NONE;
    TelemetrySource *sources[Telemetry::SourceCount] = {};
};
