#pragma once

#include "commontelemetryforcecalculator.h"
#include "effectsettings.h"
#include "forcesrecord.h"
#include "telemetry.h"

#include <cstdint>

// The vibrating effects of one axis. Each does nothing unless its settings are active; each adds its
// oscillator's output to forces.periodic.

// Stall buffet: grows with airspeed and with the angle of attack inside the AoA range.
void applyAoaShaker(AxisForces &forces, OscillatorState &oscillator, const Telemetry &telemetry,
                    const AoAShakerSettings &settings, int64_t now);

// Gear, flaps, airbrakes or ground rolling: `extension` is how far the part is out, in percent (100 for
// on the ground). The oscillator runs even at zero extension, so the vibration picks up where it is.
void applyExtensionShaker(AxisForces &forces, OscillatorState &oscillator, float extension,
                          const Telemetry &telemetry, const GenericSpeedDependantShakerSettings &settings,
                          int64_t now);

// The touch-down bump, fading linearly over effect_time after the landing that armed it.
void applyLandingJolt(AxisForces &forces, JoltState &jolt, const Telemetry &telemetry,
                      const JoltSettings &settings, int64_t now);

// Arms the jolt for a touch-down at `verticalSpeed` (m/s, either sign) and `airspeed` (km/h), unless the
// jolt still running is stronger than the new one would be.
void armLandingJolt(JoltState &jolt, float verticalSpeed, float airspeed, const JoltSettings &settings,
                    int64_t now);
