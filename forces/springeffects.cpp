#include "springeffects.h"

#include "sinetable.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr float FullDeflectionAngle = 30; // degrees at +-1
} // namespace

void applySimpleSpring(AxisForces &forces, float position, const SimpleEffectSettings &settings) {
    if (!settings.active)
        return;
    const float f = position * settings.total_effect_strength * 100 * 0.01f;
    forces.force -= f;
    forces.springGain = std::fabs(f);
}

void applyAirflowSpring(AxisForces &forces, float position, const Telemetry &telemetry, int axis,
                        const AirflowSpringSettings &settings) {
    if (!settings.active)
        return;

    const float speed = telemetry.getAirspeed();
    const float thrust = telemetry.propAirflow;
    const float flowAngle = telemetry.flowAngle(axis);
    const float airspeedForce = settings.airspeed_force;
    const float thrustForce = settings.thrust_force;
    const float attenuationStrength = settings.attenuation_strength;
    const float startSpeed = settings.attenuation_start_airspeed;
    const float endSpeed = settings.attenuation_end_airspeed;
    const float strength = settings.total_effect_strength;

    // Beyond full travel the spring stops turning: the angle saturates while the simple spring does not.
    const float deflection = std::clamp(position, -1.0f, 1.0f) * FullDeflectionAngle;

    float shapedFlow = flowAngle;
    if (std::fabs(flowAngle) <= 90)
        shapedFlow = flowAngle * (1 - 0.5f * tableCos(2 * std::fabs(flowAngle)));

    const float relativeAngle = deflection - shapedFlow * settings.local_aoa_influence_strength / 100;

    // Above the end airspeed (end - speed < 0) the propeller term turns negative and softens the spring;
    // that is intended. An end airspeed of 0 leaves no propeller term at all.
    float propeller = 0;
    if (endSpeed != 0)
        propeller = thrustForce * 0.5f * (endSpeed - speed) / endSpeed * thrust / 100;
    const float propellerSpring = tableSin(deflection) * propeller / tableSin(FullDeflectionAngle);

    // Without a positive start airspeed the quadratic growth has no scale; it contributes nothing then.
    float k = 0;
    if (startSpeed > 0) {
        const float q = speed / startSpeed;
        k = q * q * airspeedForce * 0.5f;
    }

    if (speed > startSpeed) {
        // From the start airspeed on, the quadratic growth is blended (by the attenuation strength) into a
        // curve that flattens towards 0.5 F ... F. Start == end counts as fully attenuated.
        const float span = endSpeed - startSpeed;
        float u = 1;
        if (span > 0)
            u = std::clamp(speed - startSpeed, 0.0f, span) / span;
        const float c = settings.attenuation(u) * airspeedForce;
        k = k * (1 - attenuationStrength / 100) +
            (0.5f * c + 0.5f * airspeedForce) * attenuationStrength / 100;
    }

    const float airspeedSpring =
        std::clamp(k, 0.0f, 500.0f) * tableSin(relativeAngle) / tableSin(FullDeflectionAngle);

    // The gain reports k before its 0..500 limit; the device has always been sent it that way.
    forces.springGain = (k + propeller) * strength / 100;
    forces.force -= (airspeedSpring + propellerSpring) * strength / 100;
}

void applyElevatorWeight(AxisForces &forces, const Telemetry &telemetry,
                         const SimpleEffectSettings &settings) {
    if (!settings.active)
        return;
    forces.force -= telemetry.gForce * settings.total_effect_strength * 10 / 100;
}
