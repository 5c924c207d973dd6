#pragma once

#include <cstdint>

// Every tunable value is kept twice: its current value and its default. reset() copies the defaults in.
class EffectSettingsBase {
public:
    virtual ~EffectSettingsBase() = default;
    virtual void reset() = 0;

protected:
    EffectSettingsBase() = default;
    EffectSettingsBase(const EffectSettingsBase &) = default;
    EffectSettingsBase &operator=(const EffectSettingsBase &) = default;
};

// An input or output range of an effect: ends in the quantity's unit, exp a curve shape in percent.
struct SettingsRange {
    float min = 0;
    float max = 0;
    float exp = 0;
    float defaultMin = 0;
    float defaultMax = 0;
    float defaultExp = 0;

    void reset() {
        min = defaultMin;
        max = defaultMax;
        exp = defaultExp;
    }
};

class SimpleEffectSettings : public EffectSettingsBase {
public:
    bool active = false;
    float total_effect_strength = 0;
    bool defaultActive = false;
    float defaultTotalEffectStrength = 0;

    void reset() override;
};

class GenericSpeedDependantShakerSettings : public SimpleEffectSettings {
public:
    SettingsRange speed{0, 0, 0, 0, 1000, 0};
    SettingsRange frequency{0, 0, 0, 10, 20, 0};

    void reset() override;
};

class AoAShakerSettings : public GenericSpeedDependantShakerSettings {
public:
    SettingsRange aoa{0, 0, 0, 10, 15, 0};

    void reset() override;
};

class JoltSettings : public GenericSpeedDependantShakerSettings {
public:
    int64_t effect_time = 0; // ms
    int64_t defaultEffectTime = 250;

    void reset() override;
};

struct CurvePoint {
    float x = 0;
    float y = 0;
};

class AirflowSpringSettings : public SimpleEffectSettings {
public:
    static constexpr int CurvePoints = 11;

    float airspeed_force = 0;
    float thrust_force = 0;
    float attenuation_strength = 100;
    float local_aoa_influence_strength = 0;
    // Built only by reset() and setAttenuationAirspeeds(); a freshly constructed spring has an all-zero curve.
    CurvePoint attenuationCurve[CurvePoints];
    float attenuation_start_airspeed = 500; // km/h
    float attenuation_end_airspeed = 1000;  // km/h
    float defaultThrustForce = 0;
    float defaultAirspeedForce = 0;
    float defaultAttenuationStartAirspeed = 500;
    float defaultAttenuationEndAirspeed = 1000;
    float defaultAttenuationStrength = 100;
    float defaultLocalAoaInfluenceStrength = 0;

    void reset() override;
    void setAttenuationAirspeeds(float start, float end);
    // Looks u (0..1 between the start and end airspeeds) up on the attenuation curve.
    float attenuation(float u) const;

private:
    void rebuildCurve();
};

class DirectXSettings : public SimpleEffectSettings {
public:
    float trimmer = 0;
    float force = 0;
    float periodic = 0;

    void reset() override; // the three pass-through values have no defaults of their own: they return to 0
};

class CondorShakerSettings : public SimpleEffectSettings {
public:
    SettingsRange frequency{0, 0, 0, 10, 20, 0};

    // Restores the frequency range only: a reset Condor shaker keeps its on/off state and strength.
    // Every other effect behaves differently; this one is kept so on purpose.
    void reset() override;
};

class SmartDamperSettings : public SimpleEffectSettings {
public:
    float static_dampening = 0;
    float dynamic_dampening = 0;
    float defaultStaticDampening = 0;
    float defaultDynamicDampening = 0;

    void reset() override;
};
