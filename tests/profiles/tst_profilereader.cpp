#include "profilereader.h"
#include "profilesamples.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>
#include <cmath>
#include <limits>

namespace {
QJsonObject parse(const char *json) {
    return QJsonDocument::fromJson(QByteArray(json)).object();
}

// A profile whose every value differs from the defaults, so each fallback is seen to happen.
EffectsProfile dirtyProfile() {
    EffectsProfile profile = ProfileSamples::allActive();
    profile.metadata.source = Telemetry::TELEMETRY_SOURCE_MSFS;
    return profile;
}

void verifyAxisAtDefaults(const AxisEffectsSettings &axis, bool condorKeepsFlag) {
    for (int type = 0; type < EffectsProfile::EffectTypeCount; ++type) {
        const SimpleEffectSettings *effect = effectOfType(axis, type);
        if (type == EffectsProfile::EFFECT_TYPE_CONDOR_SHAKER && condorKeepsFlag)
            continue;
        QCOMPARE(effect->active, effect->defaultActive);
        QCOMPARE(effect->total_effect_strength, effect->defaultTotalEffectStrength);
    }
    QCOMPARE(axis.airflowSpring.attenuation_start_airspeed, 500.0f);
    QCOMPARE(axis.airflowSpring.attenuation_end_airspeed, 1000.0f);
    QCOMPARE(axis.airflowSpring.attenuation_strength, 100.0f);
    QCOMPARE(axis.airflowSpring.airspeed_force, 0.0f);
    QCOMPARE(axis.airflowSpring.thrust_force, 0.0f);
    QCOMPARE(axis.airflowSpring.local_aoa_influence_strength, 0.0f);
    QCOMPARE(axis.aoaShaker.speed.max, 1000.0f);
    QCOMPARE(axis.aoaShaker.frequency.min, 10.0f);
    QCOMPARE(axis.aoaShaker.aoa.max, 15.0f);
    QCOMPARE(axis.gearShaker.frequency.max, 20.0f);
    QCOMPARE(axis.onGroundRollingShaker.speed.min, 0.0f);
    QCOMPARE(axis.landingJolt.effect_time, int64_t(250));
    QCOMPARE(axis.condorShaker.frequency.min, 10.0f);
    QCOMPARE(axis.condorShaker.frequency.max, 20.0f);
    QCOMPARE(axis.directX.trimmer, 0.0f);
    QCOMPARE(axis.directX.force, 0.0f);
    QCOMPARE(axis.directX.periodic, 0.0f);
    QCOMPARE(axis.smartDamper.static_dampening, 0.0f);
    QCOMPARE(axis.smartDamper.dynamic_dampening, 0.0f);
}
} // namespace

class TestProfileReader : public QObject {
    Q_OBJECT

private slots:
    void emptyObjectGivesDefaultsAndEmptyMetadata() {
        EffectsProfile profile = dirtyProfile();
        ProfileReader::readProfile(profile, QJsonObject());
        for (const AxisEffectsSettings &axis : profile.settings.axes)
            verifyAxisAtDefaults(axis, true);
        QCOMPARE(profile.metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
        QCOMPARE(profile.metadata.flightModule, QString());
        QCOMPARE(profile.metadata.comment, QString());
    }

    void textThatIsNoObjectReadsAsEmpty_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("not JSON") << QByteArray("this is no profile");
        QTest::newRow("array") << QByteArray("[1, 2, 3]");
        QTest::newRow("truncated") << QByteArray("{\"metadata\": {\"flight_module\": \"A\"");
        QTest::newRow("empty") << QByteArray();
    }

    void textThatIsNoObjectReadsAsEmpty() {
        QFETCH(QByteArray, text);
        EffectsProfile profile = dirtyProfile();
        ProfileReader::readProfileDocument(profile, text);
        for (const AxisEffectsSettings &axis : profile.settings.axes)
            verifyAxisAtDefaults(axis, true);
        QCOMPARE(profile.metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
        QCOMPARE(profile.metadata.flightModule, QString());
    }

    void emptyAxisResetsEveryEffectToItsDefaults() {
        EffectsProfile profile = dirtyProfile();
        // An effect whose default is active comes back active.
        profile.settings.elevator().simpleSpring.defaultActive = true;
        profile.settings.elevator().simpleSpring.defaultTotalEffectStrength = 35;
        ProfileReader::readProfile(profile,
                                   parse(R"({"effects": {"ailerons": {}, "elevator": {}, "rudder": {}}})"));
        verifyAxisAtDefaults(profile.settings.elevator(), true);
        QCOMPARE(profile.settings.elevator().simpleSpring.active, true);
        QCOMPARE(profile.settings.elevator().simpleSpring.total_effect_strength, 35.0f);
        // Only the Condor shaker keeps its flag and strength.
        QCOMPARE(profile.settings.elevator().condorShaker.active, true);
        QCOMPARE(profile.settings.elevator().condorShaker.total_effect_strength, 67.0f);
    }

    void missingCondorShakerKeepsFlagAndStrength() {
        EffectsProfile profile = dirtyProfile();
        profile.settings.ailerons().condorShaker.active = true;
        profile.settings.ailerons().condorShaker.total_effect_strength = 42;
        profile.settings.ailerons().condorShaker.frequency = {1, 2, 3, 10, 20, 0};
        ProfileReader::readAxis(profile.settings.ailerons(), parse(R"({"simple_spring": {"active": true}})"));
        QCOMPARE(profile.settings.ailerons().condorShaker.active, true);
        QCOMPARE(profile.settings.ailerons().condorShaker.total_effect_strength, 42.0f);
        QCOMPARE(profile.settings.ailerons().condorShaker.frequency.min, 10.0f);
        QCOMPARE(profile.settings.ailerons().condorShaker.frequency.max, 20.0f);
        QCOMPARE(profile.settings.ailerons().condorShaker.frequency.exp, 0.0f);
        // A Condor shaker that is not an object behaves the same.
        profile.settings.ailerons().condorShaker.frequency.min = 1;
        ProfileReader::readAxis(profile.settings.ailerons(), parse(R"({"condor_shaker": [1]})"));
        QCOMPARE(profile.settings.ailerons().condorShaker.active, true);
        QCOMPARE(profile.settings.ailerons().condorShaker.total_effect_strength, 42.0f);
        QCOMPARE(profile.settings.ailerons().condorShaker.frequency.min, 10.0f);
    }

    void condorFrequencyIsReadFromAoa() {
        CondorShakerSettings condor;
        ProfileReader::readCondorShaker(condor, parse(R"({"active": true, "total_effect_strength": 60,
            "frequency": {"min": 5, "max": 20, "exp": 50}})"));
        QCOMPARE(condor.active, true);
        QCOMPARE(condor.total_effect_strength, 60.0f);
        QCOMPARE(condor.frequency.min, 10.0f);
        QCOMPARE(condor.frequency.max, 20.0f);
        QCOMPARE(condor.frequency.exp, 0.0f);

        ProfileReader::readCondorShaker(condor, parse(R"({"frequency": {"min": 5, "max": 20, "exp": 50},
            "aoa": {"min": 3, "max": 33, "exp": -7}})"));
        QCOMPARE(condor.frequency.min, 3.0f);
        QCOMPARE(condor.frequency.max, 33.0f);
        QCOMPARE(condor.frequency.exp, -7.0f);

        // Without a "frequency" object, "aoa" is not looked at.
        ProfileReader::readCondorShaker(condor, parse(R"({"frequency": 5, "aoa": {"min": 3, "max": 33}})"));
        QCOMPARE(condor.frequency.min, 10.0f);
        QCOMPARE(condor.frequency.max, 20.0f);

        // "aoa" that is no object: each end takes its default.
        condor.frequency = {1, 2, 3, 10, 20, 0};
        ProfileReader::readCondorShaker(condor, parse(R"({"frequency": {}, "aoa": "x"})"));
        QCOMPARE(condor.frequency.min, 10.0f);
        QCOMPARE(condor.frequency.max, 20.0f);
        QCOMPARE(condor.frequency.exp, 0.0f);
    }

    void activeMustBeBoolean() {
        SimpleEffectSettings effect;
        effect.active = true;
        effect.defaultActive = false;
        ProfileReader::readSimpleEffect(effect, parse(R"({"active": 1, "total_effect_strength": 20})"));
        QCOMPARE(effect.active, false);
        QCOMPARE(effect.total_effect_strength, 20.0f);
        effect.defaultActive = true;
        ProfileReader::readSimpleEffect(effect, parse(R"({"active": "false"})"));
        QCOMPARE(effect.active, true);
        ProfileReader::readSimpleEffect(effect, parse(R"({"active": false})"));
        QCOMPARE(effect.active, false);
    }

    void numbersMustBeNumbers() {
        SimpleEffectSettings effect;
        effect.defaultTotalEffectStrength = 12;
        effect.total_effect_strength = 70;
        ProfileReader::readSimpleEffect(effect, parse(R"({"active": true, "total_effect_strength": "70"})"));
        QCOMPARE(effect.total_effect_strength, 12.0f);
        ProfileReader::readSimpleEffect(effect, parse(R"({"total_effect_strength": 150.5})"));
        QCOMPARE(effect.total_effect_strength, 150.5f); // out of range, taken as it stands
        ProfileReader::readSimpleEffect(effect, parse(R"({"total_effect_strength": null})"));
        QCOMPARE(effect.total_effect_strength, 12.0f);
    }

    void flightDataSourceMustBeANumber() {
        EffectsProfileMetadata metadata;
        metadata.source = Telemetry::TELEMETRY_SOURCE_DCS;
        ProfileReader::readMetadata(metadata, parse(R"({"flight_data_source": "1"})"));
        QCOMPARE(metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
        ProfileReader::readMetadata(metadata, parse(R"({"flight_data_source": 4})"));
        QCOMPARE(metadata.source, Telemetry::TELEMETRY_SOURCE_WARTHUNDER);
    }

    void flightDataSourceIsTruncatedAndSaturated_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<int>("expected");
        QTest::newRow("fraction") << QByteArray("2.9") << 2;
        QTest::newRow("negative fraction") << QByteArray("-1.7") << -1;
        QTest::newRow("unknown source kept") << QByteArray("7") << 7;
        QTest::newRow("huge") << QByteArray("1e20") << std::numeric_limits<int>::max();
        QTest::newRow("huge negative") << QByteArray("-1e20") << std::numeric_limits<int>::min();
    }

    void flightDataSourceIsTruncatedAndSaturated() {
        QFETCH(QByteArray, json);
        QFETCH(int, expected);
        EffectsProfileMetadata metadata;
        ProfileReader::readMetadata(
            metadata, QJsonDocument::fromJson("{\"flight_data_source\": " + json + "}").object());
        QCOMPARE(int(metadata.source), expected);
    }

    void metadataTextsMustBeStrings() {
        EffectsProfileMetadata metadata;
        metadata.flightModule = QStringLiteral("old");
        metadata.comment = QStringLiteral("old");
        ProfileReader::readMetadata(
            metadata, parse(R"({"flight_module": 5, "comment": "soft", "flight_data_source": 1})"));
        QCOMPARE(metadata.flightModule, QString());
        QCOMPARE(metadata.comment, QStringLiteral("soft"));
        QCOMPARE(metadata.source, Telemetry::TELEMETRY_SOURCE_MSFS);
        ProfileReader::readMetadata(metadata, parse(R"({"flight_module": "Cessna 152", "comment": {}})"));
        QCOMPARE(metadata.flightModule, QStringLiteral("Cessna 152"));
        QCOMPARE(metadata.comment, QString());
        QCOMPARE(metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
    }

    void missingMetadataClearsTheRecord() {
        EffectsProfile profile = dirtyProfile();
        ProfileReader::readProfile(profile, parse(R"({"metadata": "MSFS", "effects": {}})"));
        QCOMPARE(profile.metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
        QCOMPARE(profile.metadata.flightModule, QString());
        QCOMPARE(profile.metadata.comment, QString());
    }

    void effectsThatAreNoObjectResetEveryAxis() {
        EffectsProfile profile = dirtyProfile();
        ProfileReader::readProfile(profile, parse(R"({"effects": [], "metadata": {"comment": "c"}})"));
        for (const AxisEffectsSettings &axis : profile.settings.axes)
            verifyAxisAtDefaults(axis, true);
        QCOMPARE(profile.metadata.comment, QStringLiteral("c"));
    }

    void axisThatIsNoObjectResetsThatAxisOnly() {
        EffectsProfile profile = dirtyProfile();
        ProfileReader::readEffects(profile.settings,
                                   parse(R"({"ailerons": 3, "elevator": {"smart_damper": {"active": true,
                                       "total_effect_strength": 10, "static_dampening": 1, "dynamic_dampening": 2}}})"));
        verifyAxisAtDefaults(profile.settings.ailerons(), true);
        verifyAxisAtDefaults(profile.settings.rudder(), true);
        QCOMPARE(profile.settings.elevator().smartDamper.active, true);
        QCOMPARE(profile.settings.elevator().smartDamper.static_dampening, 1.0f);
        QCOMPARE(profile.settings.elevator().smartDamper.dynamic_dampening, 2.0f);
        QCOMPARE(profile.settings.elevator().simpleSpring.active, false);
    }

    void speedThatIsNoObjectResetsTheWholeRange() {
        GenericSpeedDependantShakerSettings shaker;
        shaker.speed = {10, 20, 30, 0, 1000, 0};
        shaker.frequency = {1, 2, 3, 10, 20, 0};
        ProfileReader::readSpeedDependantShaker(shaker, parse(R"({"active": true, "speed": 300,
            "frequency": {"min": 5, "exp": "x"}})"));
        QCOMPARE(shaker.speed.min, 0.0f);
        QCOMPARE(shaker.speed.max, 1000.0f);
        QCOMPARE(shaker.speed.exp, 0.0f);
        // Inside a range each end falls back alone.
        QCOMPARE(shaker.frequency.min, 5.0f);
        QCOMPARE(shaker.frequency.max, 20.0f);
        QCOMPARE(shaker.frequency.exp, 0.0f);
    }

    void aoaShakerReadsItsThreeRanges() {
        AoAShakerSettings shaker;
        ProfileReader::readAoAShaker(shaker, parse(R"({"active": true, "total_effect_strength": 61,
            "speed": {"min": 100, "max": 600, "exp": -20}, "frequency": {"min": 8, "max": 25, "exp": 15},
            "aoa": {"min": 9, "max": 16.5, "exp": 5}})"));
        QCOMPARE(shaker.active, true);
        QCOMPARE(shaker.total_effect_strength, 61.0f);
        QCOMPARE(shaker.speed.min, 100.0f);
        QCOMPARE(shaker.speed.max, 600.0f);
        QCOMPARE(shaker.speed.exp, -20.0f);
        QCOMPARE(shaker.frequency.max, 25.0f);
        QCOMPARE(shaker.aoa.min, 9.0f);
        QCOMPARE(shaker.aoa.max, 16.5f);
        QCOMPARE(shaker.aoa.exp, 5.0f);
        ProfileReader::readAoAShaker(shaker, parse(R"({"aoa": true})"));
        QCOMPARE(shaker.aoa.min, 10.0f);
        QCOMPARE(shaker.aoa.max, 15.0f);
        QCOMPARE(shaker.active, false);
    }

    void effectTimeIsAnInteger_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<qint64>("expected");
        QTest::newRow("integer") << QByteArray("400") << qint64(400);
        QTest::newRow("fraction") << QByteArray("250.9") << qint64(250);
        QTest::newRow("negative fraction") << QByteArray("-3.7") << qint64(-3);
        QTest::newRow("huge") << QByteArray("1e30") << std::numeric_limits<qint64>::max();
        QTest::newRow("huge negative") << QByteArray("-1e30") << std::numeric_limits<qint64>::min();
        QTest::newRow("string") << QByteArray("\"400\"") << qint64(250);
        QTest::newRow("bool") << QByteArray("true") << qint64(250);
    }

    void effectTimeIsAnInteger() {
        QFETCH(QByteArray, json);
        QFETCH(qint64, expected);
        JoltSettings jolt;
        jolt.effect_time = 1;
        ProfileReader::readJolt(jolt, QJsonDocument::fromJson("{\"effect_time\": " + json + "}").object());
        QCOMPARE(qint64(jolt.effect_time), expected);
    }

    void airflowSpringStoresTheAirspeedsThroughItsSetter() {
        AirflowSpringSettings spring;
        ProfileReader::readAirflowSpring(spring, parse(R"({"active": true, "total_effect_strength": 50,
            "attenuation_start_airspeed": 200, "attenuation_end_airspeed": 600, "airspeed_force": 40,
            "thrust_force": 12, "attenuation_strength": 80, "local_aoa_influence_strength": 5})"));
        AirflowSpringSettings expected;
        expected.setAttenuationAirspeeds(200, 600);
        for (int i = 0; i < AirflowSpringSettings::CurvePoints; ++i) {
            QCOMPARE(spring.attenuationCurve[i].x, expected.attenuationCurve[i].x);
            QCOMPARE(spring.attenuationCurve[i].y, expected.attenuationCurve[i].y);
        }
        QVERIFY(spring.attenuationCurve[5].x != 0.0f);
        QCOMPARE(spring.attenuation_start_airspeed, 200.0f);
        QCOMPARE(spring.attenuation_end_airspeed, 600.0f);
        QCOMPARE(spring.airspeed_force, 40.0f);
        QCOMPARE(spring.thrust_force, 12.0f);
        QCOMPARE(spring.attenuation_strength, 80.0f);
        QCOMPARE(spring.local_aoa_influence_strength, 5.0f);

        // Missing airspeeds fall back to the defaults, and the curve is rebuilt from them.
        ProfileReader::readAirflowSpring(spring, parse(R"({"attenuation_end_airspeed": "fast"})"));
        expected.setAttenuationAirspeeds(500, 1000);
        QCOMPARE(spring.attenuation_start_airspeed, 500.0f);
        QCOMPARE(spring.attenuation_end_airspeed, 1000.0f);
        QCOMPARE(spring.attenuationCurve[3].x, expected.attenuationCurve[3].x);
        QCOMPARE(spring.attenuation_strength, 100.0f);
        QCOMPARE(spring.airspeed_force, 0.0f);

        // Equal airspeeds give a curve of non-finite points; reading them must still be safe.
        ProfileReader::readAirflowSpring(spring, parse(R"({"attenuation_start_airspeed": 300,
            "attenuation_end_airspeed": 300})"));
        QCOMPARE(spring.attenuation(0.5f), spring.attenuationCurve[AirflowSpringSettings::CurvePoints - 1].y);
    }

    void directXValuesFallBackToZero() {
        DirectXSettings directX;
        directX.trimmer = 5;
        directX.force = 6;
        directX.periodic = 7;
        ProfileReader::readDirectX(directX, parse(R"({"active": true, "trimmer": "5", "force": 16.5})"));
        QCOMPARE(directX.trimmer, 0.0f);
        QCOMPARE(directX.force, 16.5f);
        QCOMPARE(directX.periodic, 0.0f);
    }

    void smartDamperFallsBackToItsDefaults() {
        SmartDamperSettings damper;
        damper.defaultStaticDampening = 3;
        damper.defaultDynamicDampening = 4;
        ProfileReader::readSmartDamper(damper, parse(R"({"static_dampening": 30, "dynamic_dampening": []})"));
        QCOMPARE(damper.static_dampening, 30.0f);
        QCOMPARE(damper.dynamic_dampening, 4.0f);
    }

    void unknownKeysAreIgnored() {
        EffectsProfile profile;
        profile.reset();
        ProfileReader::readProfile(profile,
                                   parse(R"({"version": 3, "metadata": {"flight_module": "A", "x": 1},
            "effects": {"ailerons": {"simple_spring": {"active": true, "total_effect_strength": 5, "extra": {}},
            "rocket_shaker": {"active": true}}, "yaw": {}}})"));
        QCOMPARE(profile.metadata.flightModule, QStringLiteral("A"));
        QCOMPARE(profile.settings.ailerons().simpleSpring.active, true);
        QCOMPARE(profile.settings.ailerons().simpleSpring.total_effect_strength, 5.0f);
    }

    void everyEffectKeyReachesItsMember() {
        const char *const keys[] = {"airflow_spring", "simple_spring", "elevator_weight", "aoa_shaker",
                                    "gear_shaker",    "flaps_shaker",  "airbrake_shaker", "on_ground_shaker",
                                    "landing_jolt",   "il2_shaker",    "direct_x",        "condor_shaker",
                                    "smart_damper"};
        const int types[] = {0, 1, 2, 5, 6, 7, 8, 9, 4, 10, 3, 11, 12};
        for (int i = 0; i < 13; ++i) {
            AxisEffectsSettings axis;
            axis.reset();
            QJsonObject effect{{"active", true}, {"total_effect_strength", 10 + i}};
            ProfileReader::readAxis(axis, QJsonObject{{QLatin1String(keys[i]), effect}});
            for (int type = 0; type < EffectsProfile::EffectTypeCount; ++type) {
                QCOMPARE(effectOfType(axis, type)->active, type == types[i]);
                QCOMPARE(effectOfType(axis, type)->total_effect_strength,
                         type == types[i] ? float(10 + i) : 0.0f);
            }
        }
    }

    void truncationHelpers() {
        using ProfileReader::truncatedInt32;
        using ProfileReader::truncatedInt64;
        QCOMPARE(truncatedInt32(std::nan("")), 0);
        QCOMPARE(truncatedInt32(std::numeric_limits<double>::infinity()),
                 std::numeric_limits<int32_t>::max());
        QCOMPARE(truncatedInt32(-std::numeric_limits<double>::infinity()),
                 std::numeric_limits<int32_t>::min());
        QCOMPARE(truncatedInt32(2147483647.9), std::numeric_limits<int32_t>::max());
        QCOMPARE(truncatedInt32(2147483648.0), std::numeric_limits<int32_t>::max());
        QCOMPARE(truncatedInt32(-2147483648.9), std::numeric_limits<int32_t>::min());
        QCOMPARE(truncatedInt32(-2147483649.0), std::numeric_limits<int32_t>::min());
        QCOMPARE(truncatedInt32(-0.5), 0);
        QCOMPARE(truncatedInt64(std::nan("")), int64_t(0));
        QCOMPARE(truncatedInt64(9223372036854775808.0), std::numeric_limits<int64_t>::max());
        QCOMPARE(truncatedInt64(-9223372036854775808.0), std::numeric_limits<int64_t>::min());
        QCOMPARE(truncatedInt64(-1e300), std::numeric_limits<int64_t>::min());
        QCOMPARE(truncatedInt64(1234.99), int64_t(1234));
    }
};

QTEST_APPLESS_MAIN(TestProfileReader)
#include "tst_profilereader.moc"
