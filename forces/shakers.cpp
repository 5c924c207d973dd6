#include "shakers.h"

#include "oscillator.h"
#include "shaping.h"

#include <algorithm>
#include <cmath>

void applyAoaShaker(AxisForces &forces, OscillatorState &oscillator, const Telemetry &telemetry,
                    const AoAShakerSettings &settings, int64_t now) {
    if (!settings.active)
        return;
    const float u = speedFraction(telemetry.getAirspeed(), settings.speed);
    const float speedFactor = shape(u, settings.speed.exp / 100);
    const float w =
        std::clamp((telemetry.aoa - settings.aoa.min) / (settings.aoa.max - settings.aoa.min), 0.0f, 1.0f);
    const float aoaFactor = shape(w, settings.aoa.exp / 100);
    const float frequency = rangeValue(u, settings.frequency);
    const float amplitude = settings.total_effect_strength * speedFactor * aoaFactor * 2 / 100;
    forces.periodic += stepOscillator(oscillator, now, frequency, amplitude);
}

void applyExtensionShaker(AxisForces &forces, OscillatorState &oscillator, float extension,
                          const Telemetry &telemetry, const GenericSpeedDependantShakerSettings &settings,
                          int64_t now) {
    if (!settings.active)
        return;
    const float u = speedFraction(telemetry.getAirspeed(), settings.speed);
    const float k = shape(u, settings.speed.exp / 100);
    const float frequency = rangeValue(u, settings.frequency);
    const float amplitude = extension / 100 * k * settings.total_effect_strength / 100 * 2;
    forces.periodic += stepOscillator(oscillator, now, frequency, amplitude);
}

void applyLandingJolt(AxisForces &forces, JoltState &jolt, const Telemetry &telemetry,
                      const JoltSettings &settings, int64_t now) {
    if (!settings.active)
        return;
    const int64_t length = settings.effect_time;
    // A length of 0 or less (only a hand-edited profile holds one) means no jolt rather than a division by 0.
    if (length <= 0)
        return;
    const uint64_t sinceLanding = uint64_t(now) - jolt.landedAt;
    if (uint64_t(length) <= sinceLanding)
        return;

    // The very first millisecond of a jolt is silent; it has always been so.
    float remaining = 0;
    if (uint64_t(now) != jolt.landedAt)
        remaining = float(uint64_t(length) - sinceLanding) / float(length);

    const float u = speedFraction(telemetry.getAirspeed(), settings.speed);
    const float frequency = rangeValue(u, settings.frequency);
    const float amplitude =
        std::clamp(remaining * jolt.intensity, 0.0f, 1.0f) * settings.total_effect_strength / 100 * 2;
    forces.periodic += stepOscillator(jolt.oscillator, now, frequency, amplitude);
}

void armLandingJolt(JoltState &jolt, float verticalSpeed, float airspeed, const JoltSettings &settings,
                    int64_t now) {
    if (!settings.active)
        return;
    const float u = speedFraction(airspeed, settings.speed);
    float k = shape(u, settings.speed.exp / 100);

    // Touch-downs up to 10 m/s scale the jolt; anything harder gets it whole.
    const float s = std::fabs(verticalSpeed) / 10;
    if (s <= 1)
        k = k * (s < 0 ? 0 : s);

    float remaining = 0;
    const int64_t length = settings.effect_time;
    if (length > 0) {
        const float progress = float(uint64_t(now) - jolt.landedAt) / float(length);
        remaining = (progress > 1 ? 0 : 1 - progress) * jolt.intensity;
    }

    // A weaker touch-down never cuts a stronger jolt short.
    if (k > remaining) {
        jolt.intensity = k;
        jolt.landedAt = uint64_t(now);
    }
}
