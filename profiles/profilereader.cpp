#include "profilereader.h"

#include <QJsonDocument>
#include <QJsonValue>
#include <cmath>
#include <limits>

namespace ProfileReader {
namespace {
float numberOr(const QJsonObject &object, const char *key, float fallback) {
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isDouble() ? float(value.toDouble()) : fallback;
}

// A range key holding anything but an object returns the whole range to its defaults.
void readRangeKey(SettingsRange &range, const QJsonObject &object, const char *key) {
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isObject())
        readRange(range, value.toObject());
    else
        range.reset();
}
} // namespace

int32_t truncatedInt32(double value) {
    if (std::isnan(value))
        return 0;
    if (value >= 2147483648.0)
        return std::numeric_limits<int32_t>::max();
    if (value <= -2147483649.0)
        return std::numeric_limits<int32_t>::min();
    return int32_t(std::trunc(value));
}

int64_t truncatedInt64(double value) {
    if (std::isnan(value))
        return 0;
    // 2^63 is the first double beyond int64's range; -2^63 itself still fits.
    if (value >= 9223372036854775808.0)
        return std::numeric_limits<int64_t>::max();
    if (value < -9223372036854775808.0)
        return std::numeric_limits<int64_t>::min();
    return int64_t(std::trunc(value));
}

void readRange(SettingsRange &range, const QJsonObject &object) {
    range.min = numberOr(object, "min", range.defaultMin);
    range.max = numberOr(object, "max", range.defaultMax);
    range.exp = numberOr(object, "exp", range.defaultExp);
}

void readSimpleEffect(SimpleEffectSettings &settings, const QJsonObject &object) {
    const QJsonValue active = object.value(QLatin1String("active"));
    settings.active = active.isBool() ? active.toBool() : settings.defaultActive;
    settings.total_effect_strength =
        numberOr(object, "total_effect_strength", settings.defaultTotalEffectStrength);
}

void readSpeedDependantShaker(GenericSpeedDependantShakerSettings &settings, const QJsonObject &object) {
    readSimpleEffect(settings, object);
    readRangeKey(settings.speed, object, "speed");
    readRangeKey(settings.frequency, object, "frequency");
}

void readAoAShaker(AoAShakerSettings &settings, const QJsonObject &object) {
    readSpeedDependantShaker(settings, object);
    readRangeKey(settings.aoa, object, "aoa");
}

void readJolt(JoltSettings &settings, const QJsonObject &object) {
    readSpeedDependantShaker(settings, object);
    const QJsonValue time = object.value(QLatin1String("effect_time"));
    settings.effect_time = time.isDouble() ? truncatedInt64(time.toDouble()) : settings.defaultEffectTime;
}

void readAirflowSpring(AirflowSpringSettings &settings, const QJsonObject &object) {
    readSimpleEffect(settings, object);
    // The airspeeds go in as a pair through the setter, which rebuilds the attenuation curve from them.
    const float start =
        numberOr(object, "attenuation_start_airspeed", settings.defaultAttenuationStartAirspeed);
    const float end = numberOr(object, "attenuation_end_airspeed", settings.defaultAttenuationEndAirspeed);
    settings.setAttenuationAirspeeds(start, end);
    settings.airspeed_force = numberOr(object, "airspeed_force", settings.defaultAirspeedForce);
    settings.thrust_force = numberOr(object, "thrust_force", settings.defaultThrustForce);
    settings.attenuation_strength =
        numberOr(object, "attenuation_strength", settings.defaultAttenuationStrength);
    settings.local_aoa_influence_strength =
        numberOr(object, "local_aoa_influence_strength", settings.defaultLocalAoaInfluenceStrength);
}

void readDirectX(DirectXSettings &settings, const QJsonObject &object) {
    readSimpleEffect(settings, object);
    // The pass-through values have no defaults of their own: a missing one is 0, as after a reset.
    settings.trimmer = numberOr(object, "trimmer", 0);
    settings.force = numberOr(object, "force", 0);
    settings.periodic = numberOr(object, "periodic", 0);
}

void readCondorShaker(CondorShakerSettings &settings, const QJsonObject &object) {
    readSimpleEffect(settings, object);
    // The range is looked for under "frequency" but read from "aoa", which this program never writes for
    // the Condor shaker, so a saved frequency range comes back as its defaults. Files in the field depend
    // on this, so it stays.
    if (object.value(QLatin1String("frequency")).isObject())
        readRange(settings.frequency, object.value(QLatin1String("aoa")).toObject());
    else
        settings.frequency.reset();
}

void readSmartDamper(SmartDamperSettings &settings, const QJsonObject &object) {
    readSimpleEffect(settings, object);
    settings.static_dampening = numberOr(object, "static_dampening", settings.defaultStaticDampening);
    settings.dynamic_dampening = numberOr(object, "dynamic_dampening", settings.defaultDynamicDampening);
}

void readAxis(AxisEffectsSettings &axis, const QJsonObject &object) {
    // A missing effect was inactive when saved: it returns to its defaults through its own reset, which
    // for the Condor shaker restores the frequency range only.
    const auto read = [&object](const char *key, auto &settings, auto reader) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (value.isObject())
            reader(settings, value.toObject());
        else
            settings.reset();
    };
    read("airflow_spring", axis.airflowSpring, readAirflowSpring);
    read("simple_spring", axis.simpleSpring, readSimpleEffect);
    read("elevator_weight", axis.elevatorWeight, readSimpleEffect);
    read("aoa_shaker", axis.aoaShaker, readAoAShaker);
    read("gear_shaker", axis.gearShaker, readSpeedDependantShaker);
    read("flaps_shaker", axis.flapsShaker, readSpeedDependantShaker);
    read("airbrake_shaker", axis.airbrakesShaker, readSpeedDependantShaker);
    read("on_ground_shaker", axis.onGroundRollingShaker, readSpeedDependantShaker);
    read("landing_jolt", axis.landingJolt, readJolt);
    read("il2_shaker", axis.il2Shaking, readSimpleEffect);
    read("direct_x", axis.directX, readDirectX);
    read("condor_shaker", axis.condorShaker, readCondorShaker);
    read("smart_damper", axis.smartDamper, readSmartDamper);
}

void readEffects(EffectsSettings &settings, const QJsonObject &object) {
    const char *const keys[EffectsSettings::AxisCount] = {"ailerons", "elevator", "rudder"};
    for (int i = 0; i < EffectsSettings::AxisCount; ++i) {
        const QJsonValue value = object.value(QLatin1String(keys[i]));
        if (value.isObject())
            readAxis(settings.axes[i], value.toObject());
        else
            settings.axes[i].reset();
    }
}

void readMetadata(EffectsProfileMetadata &metadata, const QJsonObject &object) {
    const QJsonValue module = object.value(QLatin1String("flight_module"));
    metadata.flightModule = module.isString() ? module.toString() : QString();
    const QJsonValue comment = object.value(QLatin1String("comment"));
    metadata.comment = comment.isString() ? comment.toString() : QString();
    // Values outside the known sources are kept as they stand; nothing ever reports them, so such a
    // profile is simply never activated automatically.
    const QJsonValue source = object.value(QLatin1String("flight_data_source"));
    metadata.source = source.isDouble() ? Telemetry::Source(truncatedInt32(source.toDouble()))
                                        : Telemetry::TELEMETRY_SOURCE_NONE;
}

void readProfile(EffectsProfile &profile, const QJsonObject &object) {
    const QJsonValue effects = object.value(QLatin1String("effects"));
    if (effects.isObject())
        readEffects(profile.settings, effects.toObject());
    else
        profile.settings.reset();

    const QJsonValue metadata = object.value(QLatin1String("metadata"));
    if (metadata.isObject())
        readMetadata(profile.metadata, metadata.toObject());
    else
        profile.metadata = EffectsProfileMetadata();
}

void readProfileDocument(EffectsProfile &profile, const QByteArray &text) {
    const QJsonDocument document = QJsonDocument::fromJson(text);
    readProfile(profile, document.isObject() ? document.object() : QJsonObject());
}
} // namespace ProfileReader
