#pragma once

#include "effectsprofile.h"

// Profiles built in code for the profile tests: every value distinct, so a field written under the wrong
// key or read into the wrong member shows up.
namespace ProfileSamples {
inline void fillAxis(AxisEffectsSettings &a, int axis) {
    const float o = float(axis); // shifts every value per axis
    a.reset();
    a.airflowSpring.active = true;
    a.airflowSpring.total_effect_strength = 0.3f + o;
    a.airflowSpring.setAttenuationAirspeeds(250 + o, 750.5f + o);
    a.airflowSpring.airspeed_force = 40 + o;
    a.airflowSpring.thrust_force = 12.25f + o;
    a.airflowSpring.attenuation_strength = 90 + o;
    a.airflowSpring.local_aoa_influence_strength = 33.3f + o;
    a.simpleSpring.active = true;
    a.simpleSpring.total_effect_strength = 55 + o;
    a.elevatorWeight.active = true;
    a.elevatorWeight.total_effect_strength = 7.5f + o;
    a.aoaShaker.active = true;
    a.aoaShaker.total_effect_strength = 61 + o;
    a.aoaShaker.speed = {100 + o, 600 + o, -20 + o, 0, 1000, 0};
    a.aoaShaker.frequency = {8 + o, 25 + o, 15 + o, 10, 20, 0};
    a.aoaShaker.aoa = {9 + o, 16.5f + o, 5 + o, 10, 15, 0};
    GenericSpeedDependantShakerSettings *shakers[] = {&a.gearShaker, &a.flapsShaker, &a.airbrakesShaker,
                                                      &a.onGroundRollingShaker};
    for (int i = 0; i < 4; ++i) {
        const float s = float(i * 10);
        shakers[i]->active = true;
        shakers[i]->total_effect_strength = 20 + s + o;
        shakers[i]->speed = {50 + s + o, 400 + s + o, 10 + s + o, 0, 1000, 0};
        shakers[i]->frequency = {5 + s + o, 30 + s + o, -10 - s + o, 10, 20, 0};
    }
    a.landingJolt.active = true;
    a.landingJolt.total_effect_strength = 80 + o;
    a.landingJolt.speed = {30 + o, 300 + o, 1 + o, 0, 1000, 0};
    a.landingJolt.frequency = {3 + o, 9 + o, 2 + o, 10, 20, 0};
    a.landingJolt.effect_time = 400 + axis;
    a.il2Shaking.active = true;
    a.il2Shaking.total_effect_strength = 44 + o;
    a.directX.active = true;
    a.directX.total_effect_strength = 70 + o;
    a.directX.trimmer = 11 + o;
    a.directX.force = 22 + o;
    a.directX.periodic = 0.1f + o;
    a.condorShaker.active = true;
    a.condorShaker.total_effect_strength = 66 + o;
    a.condorShaker.frequency = {4 + o, 14 + o, 24 + o, 10, 20, 0};
    a.smartDamper.active = true;
    a.smartDamper.total_effect_strength = 99 + o;
    a.smartDamper.static_dampening = 15 + o;
    a.smartDamper.dynamic_dampening = 25 + o;
}

inline EffectsProfile allActive() {
    EffectsProfile profile;
    profile.metadata.source = Telemetry::TELEMETRY_SOURCE_DCS;
    profile.metadata.flightModule = QStringLiteral("F/A-18C Hornet");
    profile.metadata.comment = QStringLiteral("carrier \"ops\" ü");
    for (int i = 0; i < EffectsSettings::AxisCount; ++i)
        fillAxis(profile.settings.axes[i], i);
    return profile;
}

// Non-default values everywhere, but every effect switched off: none of them may reach the file.
inline EffectsProfile allInactive() {
    EffectsProfile profile = allActive();
    profile.metadata.source = Telemetry::TELEMETRY_SOURCE_NONE;
    profile.metadata.flightModule.clear();
    profile.metadata.comment.clear();
    for (AxisEffectsSettings &axis : profile.settings.axes) {
        for (int type = 0; type < EffectsProfile::EffectTypeCount; ++type)
            effectOfType(axis, type)->active = false;
    }
    return profile;
}
} // namespace ProfileSamples
