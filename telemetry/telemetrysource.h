#pragma once

#include "telemetry.h"

#include <QObject>
#include <QString>

// One simulator's telemetry. The telemetry worker polls it on its tick; the source declares itself when
// data starts, delivers records through its own telemetryChanged signal, and ends when data stops.
class TelemetrySource : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    virtual void poll() = 0;

    // True from the declaration (telemetrySourceChanged) until telemetryEnded.
    bool isActive() const { return active; }

signals:
    void telemetrySourceChanged(Telemetry::Source source, QString flightModule);
    void telemetryEnded();
    void landed(float verticalSpeed, float airspeed);

protected:
    bool active = false;
};
