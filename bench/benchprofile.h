#pragma once

#include "effectsprofile.h"

// The profile both benchmarks fly: a light aircraft with every effect of the common calculation switched on,
// on all three axes, plus the smart damper the device cycle writes into its reports.
namespace BenchProfile {

inline void setRange(SettingsRange &range, float min, float max, float exp) {
    range.min = min;
    range.max = max;
    range.exp = exp;
}

inline void shaker(GenericSpeedDependantShakerSettings &s, float strength, float minHz, float maxHz) {
    s.active = true;
    s.total_effect_strength = strength;
    setRange(s.speed, 0, 400, -30);
    setRange(s.frequency, minHz, maxHz, 20);
}

inline EffectsSettings everyEffectOn() {
    EffectsSettings settings;
    settings.reset();
    for (AxisEffectsSettings &axis : settings.axes) {
        axis.simpleSpring.active = true;
        axis.simpleSpring.total_effect_strength = 15;
        AirflowSpringSettings &spring = axis.airflowSpring;
        spring.active = true;
        spring.total_effect_strength = 80;
        spring.airspeed_force = 60;
        spring.thrust_force = 40;
        spring.attenuation_strength = 70;
        spring.local_aoa_influence_strength = 50;
        spring.setAttenuationAirspeeds(250, 450);
        axis.elevatorWeight.active = true;
        axis.elevatorWeight.total_effect_strength = 20;
        shaker(axis.aoaShaker, 60, 12, 25);
        setRange(axis.aoaShaker.aoa, 8, 14, 40);
        shaker(axis.gearShaker, 30, 8, 14);
        shaker(axis.flapsShaker, 20, 10, 16);
        shaker(axis.airbrakesShaker, 40, 14, 22);
        shaker(axis.onGroundRollingShaker, 25, 6, 30);
        shaker(axis.landingJolt, 70, 15, 25);
        axis.landingJolt.effect_time = 250;
        axis.smartDamper.active = true;
        axis.smartDamper.total_effect_strength = 50;
        axis.smartDamper.static_dampening = 20;
        axis.smartDamper.dynamic_dampening = 30;
    }
    return settings;
}

} // namespace BenchProfile
