#pragma once

#include "effectsettings.h"
#include "forcesrecord.h"
#include "telemetry.h"

// The steady effects of one axis. Each does nothing unless its settings are active. `position` is the
// axis's normalised deflection (+-1 = full travel) including the worker's position offset.

// Pulls the stick back to the centre in proportion to its deflection; writes springGain.
void applySimpleSpring(AxisForces &forces, float position, const SimpleEffectSettings &settings);

// Stick load that grows with airspeed and propeller airflow, centred on the axis's local flow angle
// (flow angle of `axis` in the telemetry); writes springGain.
void applyAirflowSpring(AxisForces &forces, float position, const Telemetry &telemetry, int axis,
                        const AirflowSpringSettings &settings);

// The g-load on the stick.
void applyElevatorWeight(AxisForces &forces, const Telemetry &telemetry,
                         const SimpleEffectSettings &settings);
