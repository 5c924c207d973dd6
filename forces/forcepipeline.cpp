#include "forcepipeline.h"

#include "vectorstate.h"

namespace {
constexpr int64_t TransitionMs = 2000;
} // namespace

Forces calculateAllAxes(const float positions[3], const float positionOffsets[3], const Telemetry &telemetry,
                        Telemetry::Source source, const EffectsSettings &settings,
                        CommonTelemetryForceCalculator &common,
                        TelemetryForceCalculator *const perSource[Telemetry::SourceCount], int64_t now) {
    clearUpperVectorState();
    Forces result;
    const bool hasHook = source >= Telemetry::TELEMETRY_SOURCE_MSFS && source < Telemetry::SourceCount &&
                         perSource && perSource[source];
    for (int axis = 0; axis < EffectsSettings::AxisCount; ++axis) {
        const float position = positions[axis] + positionOffsets[axis];
        common.calculate(result, axis, position, telemetry, settings.axes[axis], now);
        if (hasHook)
            perSource[source]->calculate(result, axis, now);
        result[axis].force = clampForce(result[axis].force);
    }
    return result;
}

float clampForce(float force) {
    // Written out rather than with std::max/std::fmax, whose NaN handling depends on argument order.
    return force > 100 ? 100 : (force < -100 ? -100 : force);
}

Forces applySettingsTransition(const Forces &computed, int64_t transitionElapsedMs, const Forces &base) {
    if (transitionElapsedMs > TransitionMs || transitionElapsedMs < 0)
        return computed;
    const float t = float(transitionElapsedMs) / TransitionMs;
    if (t >= 1)
        return computed;
    // The base is all zero in practice: the output fades out over two seconds and then snaps back to
    // full. That is how a sudden settings change has always felt.
    Forces faded;
    for (int axis = 0; axis < EffectsSettings::AxisCount; ++axis) {
        faded[axis].force = (1 - t) * computed[axis].force + t * base[axis].force;
        faded[axis].periodic = (1 - t) * computed[axis].periodic + t * base[axis].periodic;
        faded[axis].springGain = (1 - t) * computed[axis].springGain + t * base[axis].springGain;
    }
    return faded;
}

DirectXAxisValues directXValues(const DirectXSettings &settings) {
    DirectXAxisValues values;
    if (!settings.active)
        return values;
    // The trimmer is not scaled by the total strength, on purpose.
    values.trimmer = settings.trimmer / 100;
    values.force = settings.force * settings.total_effect_strength / 100 / 100;
    values.periodic = settings.periodic * settings.total_effect_strength / 100 / 100;
    return values;
}

DamperValues smartDamperValues(const SmartDamperSettings &settings) {
    DamperValues values;
    if (!settings.active)
        return values;
    values.staticDamping = settings.static_dampening * settings.total_effect_strength / 100 / 100;
    values.dynamicDamping = settings.dynamic_dampening * settings.total_effect_strength / 100 / 100;
    return values;
}
