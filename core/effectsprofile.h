#pragma once

#include "effectsettings.h"
#include "telemetry.h"

#include <QMap>
#include <QMetaType>
#include <QString>
#include <cstdint>

// The thirteen effects of one axis, in storage order (which differs from the EffectType order).
class AxisEffectsSettings {
public:
    AirflowSpringSettings airflowSpring;
    SimpleEffectSettings simpleSpring;
    SimpleEffectSettings elevatorWeight;
    AoAShakerSettings aoaShaker;
    GenericSpeedDependantShakerSettings gearShaker;
    GenericSpeedDependantShakerSettings flapsShaker;
    GenericSpeedDependantShakerSettings airbrakesShaker;
    GenericSpeedDependantShakerSettings onGroundRollingShaker;
    JoltSettings landingJolt;
    SimpleEffectSettings il2Shaking;
    DirectXSettings directX;
    CondorShakerSettings condorShaker;
    SmartDamperSettings smartDamper;

    // Every effect through its own virtual reset (so the Condor shaker keeps its flag and strength).
    void reset();
};

// The three axes' settings as one value: what the editors send to the worker.
struct EffectsSettings {
    static constexpr int AxisCount = 3;
    AxisEffectsSettings axes[AxisCount]; // ailerons, elevator, rudder

    AxisEffectsSettings &ailerons() { return axes[0]; }
    AxisEffectsSettings &elevator() { return axes[1]; }
    AxisEffectsSettings &rudder() { return axes[2]; }
    const AxisEffectsSettings &ailerons() const { return axes[0]; }
    const AxisEffectsSettings &elevator() const { return axes[1]; }
    const AxisEffectsSettings &rudder() const { return axes[2]; }

    void reset();
};

struct EffectsProfileMetadata {
    Telemetry::Source source = Telemetry::TELEMETRY_SOURCE_NONE;
    QString flightModule;
    QString comment;
};

// A profile: which simulator and aircraft it is meant for, and the settings of all three axes.
struct EffectsProfile {
    enum EffectType : int32_t {
        EFFECT_TYPE_NATURAL_AIRFLOW = 0,
        EFFECT_TYPE_SIMPLE_SPRING = 1,
        EFFECT_TYPE_ELEVATOR_WEIGHT = 2,
        EFFECT_TYPE_DIRECT_X_FFB = 3,
        EFFECT_TYPE_LANDING_JOLT = 4,
        EFFECT_TYPE_AOA_SHAKER = 5,
        EFFECT_TYPE_EXTENDED_GEAR_SHAKER = 6,
        EFFECT_TYPE_EXTENDED_FLAPS_SHAKER = 7,
        EFFECT_TYPE_EXTENDED_AIRBRAKES_SHAKER = 8,
        EFFECT_TYPE_ON_GROUND_ROLLING_SHAKER = 9,
        EFFECT_TYPE_IL2_SHAKING = 10,
        EFFECT_TYPE_CONDOR_SHAKER = 11,
        EFFECT_TYPE_SMART_DAMPER = 12,
    };
    static constexpr int EffectTypeCount = 13;

    EffectsProfileMetadata metadata;
    EffectsSettings settings;

    void reset();
};

// The effect of an axis by its type; null for a value outside 0..12.
SimpleEffectSettings *effectOfType(AxisEffectsSettings &axis, int type);
const SimpleEffectSettings *effectOfType(const AxisEffectsSettings &axis, int type);

using EffectsProfileIndex = QMap<QString, EffectsProfileMetadata>;

Q_DECLARE_METATYPE(EffectsSettings)
Q_DECLARE_METATYPE(EffectsProfileMetadata)
Q_DECLARE_METATYPE(EffectsProfile::EffectType)
