#include "profilewriter.h"

#include <QJsonDocument>
#include <QJsonValue>

namespace ProfileWriter {
namespace {
QJsonValue number(float value) {
    return QJsonValue(double(value));
}
} // namespace

QJsonObject writeRange(const SettingsRange &range) {
    QJsonObject object;
    object.insert(QStringLiteral("min"), number(range.min));
    object.insert(QStringLiteral("max"), number(range.max));
    object.insert(QStringLiteral("exp"), number(range.exp));
    return object;
}

QJsonObject writeSimpleEffect(const SimpleEffectSettings &settings) {
    QJsonObject object;
    object.insert(QStringLiteral("active"), bool(settings.active));
    object.insert(QStringLiteral("total_effect_strength"), number(settings.total_effect_strength));
    return object;
}

QJsonObject writeSpeedDependantShaker(const GenericSpeedDependantShakerSettings &settings) {
    QJsonObject object = writeSimpleEffect(settings);
    object.insert(QStringLiteral("speed"), writeRange(settings.speed));
    object.insert(QStringLiteral("frequency"), writeRange(settings.frequency));
    return object;
}

QJsonObject writeAoAShaker(const AoAShakerSettings &settings) {
    QJsonObject object = writeSpeedDependantShaker(settings);
    object.insert(QStringLiteral("aoa"), writeRange(settings.aoa));
    return object;
}

QJsonObject writeJolt(const JoltSettings &settings) {
    QJsonObject object = writeSpeedDependantShaker(settings);
    object.insert(QStringLiteral("effect_time"), qint64(settings.effect_time));
    return object;
}

QJsonObject writeAirflowSpring(const AirflowSpringSettings &settings) {
    QJsonObject object = writeSimpleEffect(settings);
    object.insert(QStringLiteral("attenuation_start_airspeed"), number(settings.attenuation_start_airspeed));
    object.insert(QStringLiteral("attenuation_end_airspeed"), number(settings.attenuation_end_airspeed));
    object.insert(QStringLiteral("airspeed_force"), number(settings.airspeed_force));
    object.insert(QStringLiteral("thrust_force"), number(settings.thrust_force));
    object.insert(QStringLiteral("attenuation_strength"), number(settings.attenuation_strength));
    object.insert(QStringLiteral("local_aoa_influence_strength"),
                  number(settings.local_aoa_influence_strength));
    return object;
}

QJsonObject writeDirectX(const DirectXSettings &settings) {
    QJsonObject object = writeSimpleEffect(settings);
    object.insert(QStringLiteral("trimmer"), number(settings.trimmer));
    object.insert(QStringLiteral("force"), number(settings.force));
    object.insert(QStringLiteral("periodic"), number(settings.periodic));
    return object;
}

QJsonObject writeCondorShaker(const CondorShakerSettings &settings) {
    QJsonObject object = writeSimpleEffect(settings);
    object.insert(QStringLiteral("frequency"), writeRange(settings.frequency));
    return object;
}

QJsonObject writeSmartDamper(const SmartDamperSettings &settings) {
    QJsonObject object = writeSimpleEffect(settings);
    object.insert(QStringLiteral("static_dampening"), number(settings.static_dampening));
    object.insert(QStringLiteral("dynamic_dampening"), number(settings.dynamic_dampening));
    return object;
}

QJsonObject writeAxis(const AxisEffectsSettings &axis) {
    QJsonObject object;
    if (axis.airflowSpring.active)
        object.insert(QStringLiteral("airflow_spring"), writeAirflowSpring(axis.airflowSpring));
    if (axis.simpleSpring.active)
        object.insert(QStringLiteral("simple_spring"), writeSimpleEffect(axis.simpleSpring));
    if (axis.elevatorWeight.active)
        object.insert(QStringLiteral("elevator_weight"), writeSimpleEffect(axis.elevatorWeight));
    if (axis.aoaShaker.active)
        object.insert(QStringLiteral("aoa_shaker"), writeAoAShaker(axis.aoaShaker));
    if (axis.gearShaker.active)
        object.insert(QStringLiteral("gear_shaker"), writeSpeedDependantShaker(axis.gearShaker));
    if (axis.flapsShaker.active)
        object.insert(QStringLiteral("flaps_shaker"), writeSpeedDependantShaker(axis.flapsShaker));
    if (axis.airbrakesShaker.active)
        object.insert(QStringLiteral("airbrake_shaker"), writeSpeedDependantShaker(axis.airbrakesShaker));
    if (axis.onGroundRollingShaker.active)
        object.insert(QStringLiteral("on_ground_shaker"),
                      writeSpeedDependantShaker(axis.onGroundRollingShaker));
    if (axis.landingJolt.active)
        object.insert(QStringLiteral("landing_jolt"), writeJolt(axis.landingJolt));
    if (axis.il2Shaking.active)
        object.insert(QStringLiteral("il2_shaker"), writeSimpleEffect(axis.il2Shaking));
    if (axis.directX.active)
        object.insert(QStringLiteral("direct_x"), writeDirectX(axis.directX));
    if (axis.condorShaker.active)
        object.insert(QStringLiteral("condor_shaker"), writeCondorShaker(axis.condorShaker));
    if (axis.smartDamper.active)
        object.insert(QStringLiteral("smart_damper"), writeSmartDamper(axis.smartDamper));
    return object;
}

QJsonObject writeEffects(const EffectsSettings &settings) {
    QJsonObject object;
    object.insert(QStringLiteral("ailerons"), writeAxis(settings.ailerons()));
    object.insert(QStringLiteral("elevator"), writeAxis(settings.elevator()));
    object.insert(QStringLiteral("rudder"), writeAxis(settings.rudder()));
    return object;
}

QJsonObject writeMetadata(const EffectsProfileMetadata &metadata) {
    QJsonObject object;
    object.insert(QStringLiteral("flight_data_source"), qint64(metadata.source));
    object.insert(QStringLiteral("flight_module"), metadata.flightModule);
    object.insert(QStringLiteral("comment"), metadata.comment);
    return object;
}

QJsonObject writeProfile(const EffectsProfile &profile) {
    QJsonObject object;
    object.insert(QStringLiteral("metadata"), writeMetadata(profile.metadata));
    object.insert(QStringLiteral("effects"), writeEffects(profile.settings));
    return object;
}

QByteArray profileDocument(const EffectsProfile &profile) {
    return QJsonDocument(writeProfile(profile)).toJson(QJsonDocument::Indented);
}
} // namespace ProfileWriter
