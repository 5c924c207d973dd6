#include "profilereader.h"
#include "profilesamples.h"
#include "profilewriter.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

namespace {
QStringList sortedKeys(const QJsonObject &object) {
    QStringList keys = object.keys();
    keys.sort();
    return keys;
}

QByteArray golden(const QString &name) {
    QFile file(QStringLiteral(QUILLAR_GOLDEN_DIR "/") + name);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

// On a mismatch the written text is left beside the temporary files, so it can be compared by hand.
void keepActual(const QString &name, const QByteArray &text) {
    QFile file(QDir::temp().filePath(name + QStringLiteral(".actual")));
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
}
} // namespace

class TestProfileWriter : public QObject {
    Q_OBJECT

private slots:
    void floatsAreWidenedAsTheyStand() {
        SimpleEffectSettings effect;
        effect.active = true;
        effect.total_effect_strength = 0.3f;
        const QJsonObject object = ProfileWriter::writeSimpleEffect(effect);
        QCOMPARE(object.value(QStringLiteral("total_effect_strength")).toDouble(), double(0.3f));
        QVERIFY(object.value(QStringLiteral("total_effect_strength")).toDouble() != 0.3);
        const QByteArray text = QJsonDocument(object).toJson(QJsonDocument::Compact);
        QCOMPARE(text, QByteArray("{\"active\":true,\"total_effect_strength\":0.30000001192092896}"));
    }

    void rangeHasItsThreeEnds() {
        const SettingsRange range{1.5f, 2.25f, -3, 7, 8, 9};
        const QJsonObject object = ProfileWriter::writeRange(range);
        QCOMPARE(sortedKeys(object), (QStringList{"exp", "max", "min"}));
        QCOMPARE(object.value(QStringLiteral("min")).toDouble(), 1.5);
        QCOMPARE(object.value(QStringLiteral("max")).toDouble(), 2.25);
        QCOMPARE(object.value(QStringLiteral("exp")).toDouble(), -3.0);
    }

    void eachEffectWriterExtendsItsBase() {
        const EffectsProfile profile = ProfileSamples::allActive();
        const AxisEffectsSettings &a = profile.settings.ailerons();
        QCOMPARE(sortedKeys(ProfileWriter::writeSimpleEffect(a.simpleSpring)),
                 (QStringList{"active", "total_effect_strength"}));
        QCOMPARE(sortedKeys(ProfileWriter::writeSpeedDependantShaker(a.gearShaker)),
                 (QStringList{"active", "frequency", "speed", "total_effect_strength"}));
        QCOMPARE(sortedKeys(ProfileWriter::writeAoAShaker(a.aoaShaker)),
                 (QStringList{"active", "aoa", "frequency", "speed", "total_effect_strength"}));
        QCOMPARE(sortedKeys(ProfileWriter::writeJolt(a.landingJolt)),
                 (QStringList{"active", "effect_time", "frequency", "speed", "total_effect_strength"}));
        QCOMPARE(sortedKeys(ProfileWriter::writeCondorShaker(a.condorShaker)),
                 (QStringList{"active", "frequency", "total_effect_strength"}));
        QCOMPARE(sortedKeys(ProfileWriter::writeDirectX(a.directX)),
                 (QStringList{"active", "force", "periodic", "total_effect_strength", "trimmer"}));
        QCOMPARE(sortedKeys(ProfileWriter::writeSmartDamper(a.smartDamper)),
                 (QStringList{"active", "dynamic_dampening", "static_dampening", "total_effect_strength"}));
        QCOMPARE(sortedKeys(ProfileWriter::writeAirflowSpring(a.airflowSpring)),
                 (QStringList{"active", "airspeed_force", "attenuation_end_airspeed",
                              "attenuation_start_airspeed", "attenuation_strength",
                              "local_aoa_influence_strength", "thrust_force", "total_effect_strength"}));
        const QJsonObject airflow = ProfileWriter::writeAirflowSpring(a.airflowSpring);
        QCOMPARE(airflow.value(QStringLiteral("attenuation_start_airspeed")).toDouble(), 250.0);
        QCOMPARE(airflow.value(QStringLiteral("attenuation_end_airspeed")).toDouble(), 750.5);
        QCOMPARE(airflow.value(QStringLiteral("airspeed_force")).toDouble(), 40.0);
        QCOMPARE(airflow.value(QStringLiteral("thrust_force")).toDouble(), 12.25);
        QCOMPARE(airflow.value(QStringLiteral("attenuation_strength")).toDouble(), 90.0);
        QCOMPARE(airflow.value(QStringLiteral("local_aoa_influence_strength")).toDouble(), double(33.3f));
        const QJsonObject directX = ProfileWriter::writeDirectX(a.directX);
        QCOMPARE(directX.value(QStringLiteral("trimmer")).toDouble(), 11.0);
        QCOMPARE(directX.value(QStringLiteral("force")).toDouble(), 22.0);
        QCOMPARE(directX.value(QStringLiteral("periodic")).toDouble(), double(0.1f));
        const QJsonObject damper = ProfileWriter::writeSmartDamper(a.smartDamper);
        QCOMPARE(damper.value(QStringLiteral("static_dampening")).toDouble(), 15.0);
        QCOMPARE(damper.value(QStringLiteral("dynamic_dampening")).toDouble(), 25.0);
        const QJsonObject aoa = ProfileWriter::writeAoAShaker(a.aoaShaker);
        QCOMPARE(aoa.value(QStringLiteral("aoa")).toObject().value(QStringLiteral("max")).toDouble(), 16.5);
        QCOMPARE(aoa.value(QStringLiteral("speed")).toObject().value(QStringLiteral("exp")).toDouble(),
                 -20.0);
        QCOMPARE(aoa.value(QStringLiteral("frequency")).toObject().value(QStringLiteral("min")).toDouble(),
                 8.0);
    }

    void integersAreWrittenAsIntegers() {
        JoltSettings jolt;
        jolt.active = true;
        jolt.effect_time = 250;
        QVERIFY(QJsonDocument(ProfileWriter::writeJolt(jolt)).toJson().contains("\"effect_time\": 250,\n"));

        EffectsProfileMetadata metadata;
        metadata.source = Telemetry::TELEMETRY_SOURCE_CONDOR;
        const QByteArray text = QJsonDocument(ProfileWriter::writeMetadata(metadata)).toJson();
        QVERIFY(text.contains("\"flight_data_source\": 5,\n"));
    }

    void metadataAlwaysHasItsThreeKeys() {
        const QJsonObject object = ProfileWriter::writeMetadata(EffectsProfileMetadata());
        QCOMPARE(sortedKeys(object), (QStringList{"comment", "flight_data_source", "flight_module"}));
        QCOMPARE(object.value(QStringLiteral("comment")), QJsonValue(QString()));
        QCOMPARE(object.value(QStringLiteral("flight_module")), QJsonValue(QString()));
        QCOMPARE(object.value(QStringLiteral("flight_data_source")).toDouble(), 0.0);
    }

    void inactiveEffectsAreLeftOut() {
        AxisEffectsSettings axis;
        axis.reset();
        axis.smartDamper.static_dampening = 50; // edited, but switched off: not kept
        QCOMPARE(ProfileWriter::writeAxis(axis), QJsonObject());
        axis.simpleSpring.active = true;
        axis.condorShaker.active = true;
        QCOMPARE(sortedKeys(ProfileWriter::writeAxis(axis)), (QStringList{"condor_shaker", "simple_spring"}));
        QCOMPARE(ProfileWriter::writeAxis(axis)
                     .value(QStringLiteral("simple_spring"))
                     .toObject()
                     .value(QStringLiteral("active")),
                 QJsonValue(true));
    }

    void everyEffectHasItsKey() {
        const QJsonObject axis = ProfileWriter::writeAxis(ProfileSamples::allActive().settings.rudder());
        QCOMPARE(sortedKeys(axis),
                 (QStringList{"airbrake_shaker", "airflow_spring", "aoa_shaker", "condor_shaker", "direct_x",
                              "elevator_weight", "flaps_shaker", "gear_shaker", "il2_shaker", "landing_jolt",
                              "on_ground_shaker", "simple_spring", "smart_damper"}));
        // Storage members and keys pair up: each shaker carries its own values (rudder adds 2 to each).
        QCOMPARE(axis.value(QStringLiteral("gear_shaker"))
                     .toObject()
                     .value(QStringLiteral("total_effect_strength"))
                     .toDouble(),
                 22.0);
        QCOMPARE(axis.value(QStringLiteral("flaps_shaker"))
                     .toObject()
                     .value(QStringLiteral("total_effect_strength"))
                     .toDouble(),
                 32.0);
        QCOMPARE(axis.value(QStringLiteral("airbrake_shaker"))
                     .toObject()
                     .value(QStringLiteral("total_effect_strength"))
                     .toDouble(),
                 42.0);
        QCOMPARE(axis.value(QStringLiteral("on_ground_shaker"))
                     .toObject()
                     .value(QStringLiteral("total_effect_strength"))
                     .toDouble(),
                 52.0);
        QCOMPARE(axis.value(QStringLiteral("il2_shaker"))
                     .toObject()
                     .value(QStringLiteral("total_effect_strength"))
                     .toDouble(),
                 46.0);
        QCOMPARE(axis.value(QStringLiteral("elevator_weight"))
                     .toObject()
                     .value(QStringLiteral("total_effect_strength"))
                     .toDouble(),
                 9.5);
        QCOMPARE(axis.value(QStringLiteral("simple_spring"))
                     .toObject()
                     .value(QStringLiteral("total_effect_strength"))
                     .toDouble(),
                 57.0);
    }

    void documentHasMetadataAndEffects() {
        const QJsonObject object = ProfileWriter::writeProfile(ProfileSamples::allActive());
        QCOMPARE(sortedKeys(object), (QStringList{"effects", "metadata"}));
        QCOMPARE(sortedKeys(object.value(QStringLiteral("effects")).toObject()),
                 (QStringList{"ailerons", "elevator", "rudder"}));
        const QByteArray text = ProfileWriter::profileDocument(ProfileSamples::allActive());
        QVERIFY(text.startsWith("{\n    \"effects\": {\n        \"ailerons\": {\n"));
    }

    void goldenAllActive() {
        const QByteArray text = ProfileWriter::profileDocument(ProfileSamples::allActive());
        if (text != golden(QStringLiteral("all_active.json")))
            keepActual(QStringLiteral("all_active.json"), text);
        QCOMPARE(text, golden(QStringLiteral("all_active.json")));
    }

    void goldenAllInactive() {
        const QByteArray text = ProfileWriter::profileDocument(ProfileSamples::allInactive());
        if (text != golden(QStringLiteral("all_inactive.json")))
            keepActual(QStringLiteral("all_inactive.json"), text);
        QCOMPARE(text, golden(QStringLiteral("all_inactive.json")));
    }

    void roundTripKeepsTheBytes_data() {
        QTest::addColumn<int>("kind");
        QTest::newRow("all active, Condor frequency at its defaults") << 0;
        QTest::newRow("all inactive") << 1;
        QTest::newRow("reset profile") << 2;
    }

    void roundTripKeepsTheBytes() {
        QFETCH(int, kind);
        EffectsProfile profile;
        if (kind == 0) {
            profile = ProfileSamples::allActive();
            for (AxisEffectsSettings &axis : profile.settings.axes)
                axis.condorShaker.frequency.reset();
        } else if (kind == 1) {
            profile = ProfileSamples::allInactive();
        } else {
            profile.reset();
        }
        const QByteArray first = ProfileWriter::profileDocument(profile);
        EffectsProfile loaded;
        loaded.reset();
        ProfileReader::readProfileDocument(loaded, first);
        QCOMPARE(ProfileWriter::profileDocument(loaded), first);
    }

    // A saved Condor frequency range never comes back (it is read from "aoa"); after that first load the
    // document no longer changes.
    void roundTripSettlesAfterTheCondorRange() {
        const QByteArray first = ProfileWriter::profileDocument(ProfileSamples::allActive());
        EffectsProfile loaded;
        ProfileReader::readProfileDocument(loaded, first);
        const QByteArray second = ProfileWriter::profileDocument(loaded);
        QVERIFY(second != first);
        QCOMPARE(loaded.settings.ailerons().condorShaker.frequency.min, 10.0f);
        QCOMPARE(loaded.settings.ailerons().condorShaker.frequency.max, 20.0f);
        QCOMPARE(loaded.settings.ailerons().condorShaker.frequency.exp, 0.0f);
        ProfileReader::readProfileDocument(loaded, second);
        QCOMPARE(ProfileWriter::profileDocument(loaded), second);
    }
};

QTEST_APPLESS_MAIN(TestProfileWriter)
#include "tst_profilewriter.moc"
