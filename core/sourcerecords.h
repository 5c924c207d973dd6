#pragma once

#include "telemetry.h"

#include <QMetaType>
#include <type_traits>

// Each simulator's record: a complete Telemetry followed by the simulator's own fields.
// Handing one on as a Telemetry keeps exactly the leading part.

struct DCSTelemetry : Telemetry {};

struct WarthunderTelemetry : Telemetry {};

struct Condor2Telemetry : Telemetry {
    float turbulenceStrength = 0;
};

struct ShturmovikTelemetry : Telemetry {
    float indicator9First = 0;
    float indicator9Second = 0;
};

struct MSFSTelemetry : Telemetry {
    // Fractions of full trim; deliberately not the Telemetry trimmer fields, which stay 0.
    float aileronTrim = 0;
    float elevatorTrim = 0;
    float rudderTrim = 0;
};

struct XPlaneTelemetry : Telemetry {};

static_assert(std::is_trivially_copyable_v<MSFSTelemetry>);
static_assert(std::is_trivially_copyable_v<ShturmovikTelemetry>);
static_assert(std::is_trivially_copyable_v<Condor2Telemetry>);
static_assert(std::is_trivially_copyable_v<XPlaneTelemetry>);

Q_DECLARE_METATYPE(DCSTelemetry)
Q_DECLARE_METATYPE(WarthunderTelemetry)
Q_DECLARE_METATYPE(Condor2Telemetry)
Q_DECLARE_METATYPE(ShturmovikTelemetry)
Q_DECLARE_METATYPE(MSFSTelemetry)
Q_DECLARE_METATYPE(XPlaneTelemetry)
