#pragma once

#include <QMetaType>
#include <cstdint>
#include <type_traits>

// The simulator-independent flight state every telemetry source produces.
struct Telemetry {
    enum Source : int32_t {
        TELEMETRY_SOURCE_NONE = 0, // also the source while the telemetry override is on
        TELEMETRY_SOURCE_MSFS = 1,
        TELEMETRY_SOURCE_DCS = 2,
        TELEMETRY_SOURCE_IL2 = 3,
        TELEMETRY_SOURCE_WARTHUNDER = 4,
        TELEMETRY_SOURCE_CONDOR = 5,
        TELEMETRY_SOURCE_XPLANE = 6,
    };
    static constexpr int SourceCount = 7;

    float verticalSpeed = 0;     // m/s, climb positive
    float aileronsFlowAngle = 0; // degrees; fields 1..3 are the flow angles of axes 0..2
    float aoa = 0;               // degrees
    float sideslip = 0;          // degrees
    float rollRate = 0;          // degrees/s
    float gForce = 0;            // g
    float propAirflow = 0;       // percent
    float trimmerRoll = 0;       // percent
    float trimmerPitch = 0;      // percent
    float trimmerYaw = 0;        // percent
    float gear = 0;              // percent extended
    float airbrake = 0;          // percent extended
    float flaps = 0;             // percent extended
    bool onGround = false;
    float airspeed = 0; // km/h as the source delivered it; read it through getAirspeed()

    // Effects only ever see airspeeds in [0, 1000] km/h.
    float getAirspeed() const;
    void setAirspeed(float value) { airspeed = value; }

    // Flow angle of axis 0 (ailerons), 1 (elevator) or 2 (rudder).
    float flowAngle(int axis) const;
};

static_assert(std::is_trivially_copyable_v<Telemetry>);

Q_DECLARE_METATYPE(Telemetry)
Q_DECLARE_METATYPE(Telemetry::Source)
