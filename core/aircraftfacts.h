#pragma once

#include <QMetaType>
#include <QString>

// What a simulator tells about the aircraft beyond its name, for suggesting its class. A negative number is
// "not reported".
struct AircraftFacts {
    // MSFS SimVars: CATEGORY (a string), ENGINE TYPE (0 piston, 1 jet, 2 none, 3 helo turbine,
    // 4 unsupported, 5 turboprop), ATC HEAVY (0 or 1).
    QString msfsCategory;
    int msfsEngineType = -1;
    int msfsAtcHeavy = -1;
    // X-Plane datarefs: sim/aircraft2/metadata/is_helicopter (X-Plane 12), sim/aircraft/prop/acf_en_type[0]
    // (0 recip carb, 1 recip injected, 3 electric, 5 single spool jet, 6 rocket, 7 multi spool jet,
    // 9 free turboprop, 10 fixed turboprop), sim/aircraft/weight/acf_m_max (kg).
    int xplaneIsHelicopter = -1;
    int xplaneEngineType = -1;
    float xplaneMaxWeightKg = -1;

    bool operator==(const AircraftFacts &other) const {
        return msfsCategory == other.msfsCategory && msfsEngineType == other.msfsEngineType &&
               msfsAtcHeavy == other.msfsAtcHeavy && xplaneIsHelicopter == other.xplaneIsHelicopter &&
               xplaneEngineType == other.xplaneEngineType && xplaneMaxWeightKg == other.xplaneMaxWeightKg;
    }
    bool operator!=(const AircraftFacts &other) const { return !(*this == other); }
};

Q_DECLARE_METATYPE(AircraftFacts)
