#pragma once

#include "effectsprofile.h"
#include "forcesrecord.h"
#include "telemetry.h"

#include <QObject>
#include <cstdint>

// State of one square-wave oscillator; all zero at start.
struct OscillatorState {
    uint64_t lastTick = 0; // ms
    float phase = 0;       // 0..1 within the current period
    float frequencyJitter = 0;
    float amplitudeJitter = 0;
};

struct JoltState {
    OscillatorState oscillator;
    uint64_t landedAt = 0; // ms
    float intensity = 0;   // 0..1
};

// Evaluates the effects every source shares, one axis at a time, and keeps every oscillator's state so
// vibration continues smoothly from one cycle to the next. One instance serves every source.
class CommonTelemetryForceCalculator : public QObject {
    Q_OBJECT

public:
    explicit CommonTelemetryForceCalculator(QObject *parent = nullptr);

    // Adds the axis's active effects to forces[axis] in this order: simple spring, airflow spring, elevator
    // weight, landing jolt, AoA shaker, gear, flaps, airbrakes and ground-rolling shakers.
    void calculate(Forces &forces, int axis, float position, const Telemetry &telemetry,
                   const AxisEffectsSettings &settings, int64_t now);

    // A touch-down: arms the landing jolt of every axis whose jolt is active.
    void setLanded(float verticalSpeed, float airspeed, const EffectsSettings &settings, int64_t now);

    const JoltState &joltState(int axis) const { return jolt[axis]; }
    const OscillatorState &aoaState(int axis) const { return aoa[axis]; }
    const OscillatorState &gearState(int axis) const { return gear[axis]; }
    const OscillatorState &flapsState(int axis) const { return flaps[axis]; }
    const OscillatorState &airbrakesState(int axis) const { return airbrakes[axis]; }
    const OscillatorState &groundRollingState(int axis) const { return groundRolling[axis]; }

private:
    JoltState jolt[3];
    OscillatorState aoa[3];
    OscillatorState gear[3];
    OscillatorState flaps[3];
    OscillatorState airbrakes[3];
    OscillatorState groundRolling[3];
};
