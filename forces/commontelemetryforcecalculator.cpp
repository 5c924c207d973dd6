#include "commontelemetryforcecalculator.h"

#include "shakers.h"
#include "springeffects.h"

CommonTelemetryForceCalculator::CommonTelemetryForceCalculator(QObject *parent) : QObject(parent) {}

void CommonTelemetryForceCalculator::calculate(Forces &forces, int axis, float position,
                                               const Telemetry &telemetry,
                                               const AxisEffectsSettings &settings, int64_t now) {
    if (axis < 0 || axis >= EffectsSettings::AxisCount)
        return;
    AxisForces &out = forces[axis];

    // Both springs write springGain, so with both on the airflow spring's value wins.
    applySimpleSpring(out, position, settings.simpleSpring);
    applyAirflowSpring(out, position, telemetry, axis, settings.airflowSpring);
    applyElevatorWeight(out, telemetry, settings.elevatorWeight);

    // Every oscillator draws from the one shared jitter source, so this order fixes the vibration sequence.
    applyLandingJolt(out, jolt[axis], telemetry, settings.landingJolt, now);
    applyAoaShaker(out, aoa[axis], telemetry, settings.aoaShaker, now);
    applyExtensionShaker(out, gear[axis], telemetry.gear, telemetry, settings.gearShaker, now);
    applyExtensionShaker(out, flaps[axis], telemetry.flaps, telemetry, settings.flapsShaker, now);
    applyExtensionShaker(out, airbrakes[axis], telemetry.airbrake, telemetry, settings.airbrakesShaker, now);
    applyExtensionShaker(out, groundRolling[axis], telemetry.onGround ? 100.0f : 0.0f, telemetry,
                         settings.onGroundRollingShaker, now);
}

void CommonTelemetryForceCalculator::setLanded(float verticalSpeed, float airspeed,
                                               const EffectsSettings &settings, int64_t now) {
    for (int axis = 0; axis < EffectsSettings::AxisCount; ++axis)
        armLandingJolt(jolt[axis], verticalSpeed, airspeed, settings.axes[axis].landingJolt, now);
}
