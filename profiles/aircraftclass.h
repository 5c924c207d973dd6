#pragma once

#include "aircraftfacts.h"
#include "effectsprofile.h"
#include "telemetry.h"

#include <QString>
#include <QStringList>

// Aircraft classes with a shipped starter profile (a template), and the class the detection suggests for an
// aircraft that has no profile of its own. A suggestion only: the user may always choose another class.
enum class AircraftClass {
    None = -1, // no suggestion
    Jet = 0,
    Heavy,
    Propeller,
    Glider,
    Helicopter,
};

namespace AircraftClasses {
constexpr int Count = 5;

// "Jet", "Heavy", "Propeller", "Glider", "Helicopter"; empty for None.
QString name(AircraftClass aircraftClass);
// The class of that name (as name() gives it), or None.
AircraftClass fromName(const QString &name);
// Every class in the order above.
QList<AircraftClass> all();

// The template's file name, e.g. "Jet.json", as shipped in share/vortane-quillar/templates/.
QString templateFileName(AircraftClass aircraftClass);
// The compiled-in template document; empty for None.
QByteArray templateDocument(AircraftClass aircraftClass);
// Reads the class's template into `profile` through the profile reader: source 0, empty module and comment.
// False (profile untouched) for None.
bool loadTemplate(AircraftClass aircraftClass, EffectsProfile &profile);

using AircraftFacts = ::AircraftFacts;

// Above this maximum weight an X-Plane aircraft counts as Heavy.
constexpr float XPlaneHeavyWeightKg = 40000;

// The DCS module names (as DCS reports them) of the class, in the table's order.
QStringList dcsModules(AircraftClass aircraftClass);

// The suggested class for a detected source, flight module and facts; None when nothing is known.
AircraftClass suggest(Telemetry::Source source, const QString &flightModule, const AircraftFacts &facts = {});
} // namespace AircraftClasses
