#include "effectsettings.h"

void SimpleEffectSettings::reset() {
    active = defaultActive;
    total_effect_strength = defaultTotalEffectStrength;
}

void GenericSpeedDependantShakerSettings::reset() {
    SimpleEffectSettings::reset();
    speed.reset();
    frequency.reset();
}

void AoAShakerSettings::reset() {
    GenericSpeedDependantShakerSettings::reset();
    aoa.reset();
}

void JoltSettings::reset() {
    GenericSpeedDependantShakerSettings::reset();
    effect_time = defaultEffectTime;
}

void AirflowSpringSettings::reset() {
    SimpleEffectSettings::reset();
    thrust_force = defaultThrustForce;
    airspeed_force = defaultAirspeedForce;
    attenuation_start_airspeed = defaultAttenuationStartAirspeed;
    attenuation_end_airspeed = defaultAttenuationEndAirspeed;
    attenuation_strength = defaultAttenuationStrength;
    local_aoa_influence_strength = defaultLocalAoaInfluenceStrength;
    rebuildCurve();
}

void AirflowSpringSettings::setAttenuationAirspeeds(float start, float end) {
    attenuation_start_airspeed = start;
    attenuation_end_airspeed = end;
    rebuildCurve();
}

// A quadratic Bézier from (0,0) through the control point (k,1) to (1,1), sampled at 11 points.
// With start == end, k is infinite and the points become NaN; attenuation() then answers the last y.
void AirflowSpringSettings::rebuildCurve() {
    const float start = attenuation_start_airspeed;
    const float end = attenuation_end_airspeed;
    const float k = 0.5f * start / (end - start);
    for (int i = 0; i < CurvePoints; ++i) {
        const float t = i * 0.1f;
        attenuationCurve[i].x = 2 * (1 - t) * t * k + t * t;
        attenuationCurve[i].y = 2 * (1 - t) * t + t * t;
    }
}

float AirflowSpringSettings::attenuation(float u) const {
    if (u <= attenuationCurve[0].x)
        return attenuationCurve[0].y;
    for (int i = 0; i + 1 < CurvePoints; ++i) {
        const CurvePoint &a = attenuationCurve[i];
        const CurvePoint &b = attenuationCurve[i + 1];
        if (a.x <= u && u < b.x)
            return a.y + (b.y - a.y) * (u - a.x) / (b.x - a.x);
    }
    return attenuationCurve[CurvePoints - 1].y;
}

void DirectXSettings::reset() {
    SimpleEffectSettings::reset();
    trimmer = 0;
    force = 0;
    periodic = 0;
}

void CondorShakerSettings::reset() {
    frequency.reset();
}

void SmartDamperSettings::reset() {
    SimpleEffectSettings::reset();
    static_dampening = defaultStaticDampening;
    dynamic_dampening = defaultDynamicDampening;
}
