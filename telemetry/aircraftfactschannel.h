#pragma once

#include "aircraftfacts.h"
#include "telemetry.h"

#include <QObject>
#include <QString>

// Where a source tells what it knows about the declared aircraft beyond its name (MSFS SimVars, X-Plane
// datarefs), for the class suggestion. One for the process, apart from the sources' and the worker's own
// signals, whose lists and numbering stay as they are. Emitted from the telemetry thread; receivers in
// other threads get it queued.
class AircraftFactsChannel : public QObject {
    Q_OBJECT

public:
    static AircraftFactsChannel &instance();

    void publish(Telemetry::Source source, const QString &flightModule, const AircraftFacts &facts) {
        emit factsChanged(source, flightModule, facts);
    }

signals:
    void factsChanged(Telemetry::Source source, QString flightModule, AircraftFacts facts);

private:
    AircraftFactsChannel() = default;
};
