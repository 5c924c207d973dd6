#pragma once

#include "commontelemetryforcecalculator.h"
#include "effectsprofile.h"
#include "forcesrecord.h"
#include "sourceforcecalculators.h"
#include "telemetry.h"

#include <cstdint>

// The per-cycle force computation, free of threads and clocks: the worker hands in its state and times.

// Runs every axis (0, 1, 2): the common calculation on positions[axis] + positionOffsets[axis], then the
// hook of `source` (none for source 0 or values outside 1..5), then clampForce on the axis's force.
Forces calculateAllAxes(const float positions[3], const float positionOffsets[3], const Telemetry &telemetry,
                        Telemetry::Source source, const EffectsSettings &settings,
                        CommonTelemetryForceCalculator &common,
                        TelemetryForceCalculator *const perSource[Telemetry::SourceCount], int64_t now);

// Above 100 becomes 100, otherwise the larger of -100 and the value: NaN passes unchanged.
float clampForce(float force);

// The settings fade: transitionElapsedMs > 2000 or < 0 leaves the forces as computed; otherwise every field
// becomes (1 - t) * computed + t * base with t = elapsed / 2000 in float, and t >= 1 leaves them as computed.
Forces applySettingsTransition(const Forces &computed, int64_t transitionElapsedMs, const Forces &base);

// Values the device applies itself. An inactive effect gives all zero.
struct DirectXAxisValues {
    float trimmer = 0;
    float force = 0;
    float periodic = 0;
};
DirectXAxisValues directXValues(const DirectXSettings &settings);

struct DamperValues {
    float staticDamping = 0;
    float dynamicDamping = 0;
};
DamperValues smartDamperValues(const SmartDamperSettings &settings);
