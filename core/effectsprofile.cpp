#include "effectsprofile.h"

namespace {
// Registered by name before any thread exists, so queued signals can carry the enumeration by its name.
const int effectTypeMetaTypeId = qRegisterMetaType<EffectsProfile::EffectType>("EffectsProfile::EffectType");
} // namespace

void AxisEffectsSettings::reset() {
    (void)effectTypeMetaTypeId;
    airflowSpring.reset();
    simpleSpring.reset();
    elevatorWeight.reset();
    aoaShaker.reset();
    gearShaker.reset();
    flapsShaker.reset();
    airbrakesShaker.reset();
    onGroundRollingShaker.reset();
    landingJolt.reset();
    il2Shaking.reset();
    directX.reset();
    condorShaker.reset();
    smartDamper.reset();
}

void EffectsSettings::reset() {
    for (AxisEffectsSettings &axis : axes)
        axis.reset();
}

void EffectsProfile::reset() {
    metadata = EffectsProfileMetadata();
    settings.reset();
}

const SimpleEffectSettings *effectOfType(const AxisEffectsSettings &axis, int type) {
    switch (type) {
    case EffectsProfile::EFFECT_TYPE_NATURAL_AIRFLOW:
        return &axis.airflowSpring;
    case EffectsProfile::EFFECT_TYPE_SIMPLE_SPRING:
        return &axis.simpleSpring;
    case EffectsProfile::EFFECT_TYPE_ELEVATOR_WEIGHT:
        return &axis.elevatorWeight;
    case EffectsProfile::EFFECT_TYPE_DIRECT_X_FFB:
        return &axis.directX;
    case EffectsProfile::EFFECT_TYPE_LANDING_JOLT:
        return &axis.landingJolt;
    case EffectsProfile::EFFECT_TYPE_AOA_SHAKER:
        return &axis.aoaShaker;
    case EffectsProfile::EFFECT_TYPE_EXTENDED_GEAR_SHAKER:
        return &axis.gearShaker;
    case EffectsProfile::EFFECT_TYPE_EXTENDED_FLAPS_SHAKER:
        return &axis.flapsShaker;
    case EffectsProfile::EFFECT_TYPE_EXTENDED_AIRBRAKES_SHAKER:
        return &axis.airbrakesShaker;
    case EffectsProfile::EFFECT_TYPE_ON_GROUND_ROLLING_SHAKER:
        return &axis.onGroundRollingShaker;
    case EffectsProfile::EFFECT_TYPE_IL2_SHAKING:
        return &axis.il2Shaking;
    case EffectsProfile::EFFECT_TYPE_CONDOR_SHAKER:
        return &axis.condorShaker;
    case EffectsProfile::EFFECT_TYPE_SMART_DAMPER:
        return &axis.smartDamper;
    default:
        return nullptr;
    }
}

SimpleEffectSettings *effectOfType(AxisEffectsSettings &axis, int type) {
    return const_cast<SimpleEffectSettings *>(effectOfType(static_cast<const AxisEffectsSettings &>(axis), type));
}
