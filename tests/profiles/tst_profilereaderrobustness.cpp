#include "profilereader.h"
#include "profilesamples.h"
#include "profilewriter.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QtTest>

namespace {
// Reads a document into a profile and writes it out again.
QByteArray readThenWrite(const QByteArray &text) {
    EffectsProfile profile;
    profile.reset();
    ProfileReader::readProfileDocument(profile, text);
    return ProfileWriter::profileDocument(profile);
}

// A number beyond a float is kept as infinity and written as null, which the next load reads as the
// default; after that second pass, reading and writing change nothing.
void verifySettles(const QByteArray &text) {
    const QByteArray once = readThenWrite(text);
    QVERIFY(QJsonDocument::fromJson(once).isObject());
    const QByteArray twice = readThenWrite(once);
    QCOMPARE(readThenWrite(twice), twice);
}

const QStringList &vocabulary() {
    static const QStringList keys{"metadata",
                                  "effects",
                                  "ailerons",
                                  "elevator",
                                  "rudder",
                                  "flight_module",
                                  "comment",
                                  "flight_data_source",
                                  "airflow_spring",
                                  "simple_spring",
                                  "elevator_weight",
                                  "aoa_shaker",
                                  "gear_shaker",
                                  "flaps_shaker",
                                  "airbrake_shaker",
                                  "on_ground_shaker",
                                  "landing_jolt",
                                  "il2_shaker",
                                  "direct_x",
                                  "condor_shaker",
                                  "smart_damper",
                                  "active",
                                  "total_effect_strength",
                                  "speed",
                                  "frequency",
                                  "aoa",
                                  "min",
                                  "max",
                                  "exp",
                                  "effect_time",
                                  "trimmer",
                                  "force",
                                  "periodic",
                                  "static_dampening",
                                  "dynamic_dampening",
                                  "attenuation_start_airspeed",
                                  "attenuation_end_airspeed",
                                  "airspeed_force",
                                  "thrust_force",
                                  "attenuation_strength",
                                  "local_aoa_influence_strength",
                                  "x"};
    return keys;
}

QJsonValue randomValue(QRandomGenerator &random, int depth);

QJsonObject randomObject(QRandomGenerator &random, int depth) {
    QJsonObject object;
    const int count = random.bounded(8);
    for (int i = 0; i < count; ++i)
        object.insert(vocabulary().at(random.bounded(vocabulary().size())), randomValue(random, depth + 1));
    return object;
}

QJsonValue randomNumber(QRandomGenerator &random) {
    switch (random.bounded(6)) {
    case 0:
        return 1e300; // beyond a float: becomes infinity in memory
    case 1:
        return -1e300;
    case 2:
        return double(random.bounded(2000)) - 1000;
    case 3:
        return random.generateDouble() * 1e19 - 5e18;
    case 4:
        return 0.0;
    default:
        return random.generateDouble() * 200 - 100;
    }
}

QJsonValue randomValue(QRandomGenerator &random, int depth) {
    const int kind = random.bounded(depth > 6 ? 5 : 7);
    switch (kind) {
    case 0:
        return QJsonValue();
    case 1:
        return random.bounded(2) == 1;
    case 2:
    case 3:
        return randomNumber(random);
    case 4:
        return QStringLiteral("text %1").arg(random.bounded(100));
    case 5:
        return QJsonArray{randomValue(random, depth + 1), randomValue(random, depth + 1)};
    default:
        return randomObject(random, depth);
    }
}

// Every key path of a document, each as the list of keys leading to it.
void collectPaths(const QJsonObject &object, QStringList prefix, QList<QStringList> &paths) {
    for (auto it = object.begin(); it != object.end(); ++it) {
        QStringList path = prefix;
        path.append(it.key());
        paths.append(path);
        if (it.value().isObject())
            collectPaths(it.value().toObject(), path, paths);
    }
}

// The object with the value at the path replaced, or removed when `value` is undefined.
QJsonObject withValueAt(QJsonObject object, const QStringList &path, const QJsonValue &value) {
    if (path.size() == 1) {
        if (value.isUndefined())
            object.remove(path.first());
        else
            object.insert(path.first(), value);
        return object;
    }
    const QString key = path.first();
    object.insert(key, withValueAt(object.value(key).toObject(), path.mid(1), value));
    return object;
}

QList<QJsonValue> wrongTypesFor(const QJsonValue &value) {
    QList<QJsonValue> wrong{QJsonValue(QJsonValue::Null), QJsonArray{1}};
    if (!value.isString())
        wrong.append(QStringLiteral("1"));
    if (!value.isBool())
        wrong.append(true);
    if (!value.isDouble())
        wrong.append(42.5);
    if (!value.isObject())
        wrong.append(QJsonObject{{"min", 1}});
    return wrong;
}
} // namespace

class TestProfileReaderRobustness : public QObject {
    Q_OBJECT

private slots:
    // A key of the wrong type is read exactly as if it were missing.
    void wrongTypeAtEveryKeyActsAsMissing() {
        const QJsonObject document = ProfileWriter::writeProfile(ProfileSamples::allActive());
        QList<QStringList> paths;
        collectPaths(document, QStringList(), paths);
        QVERIFY(paths.size() > 200);
        int documents = 0;
        for (const QStringList &path : std::as_const(paths)) {
            QJsonValue original = document.value(path.first());
            for (int i = 1; i < path.size(); ++i)
                original = original.toObject().value(path.at(i));
            const QByteArray missing =
                readThenWrite(QJsonDocument(withValueAt(document, path, QJsonValue::Undefined)).toJson());
            for (const QJsonValue &wrong : wrongTypesFor(original)) {
                const QByteArray replaced = QJsonDocument(withValueAt(document, path, wrong)).toJson();
                const QByteArray result = readThenWrite(replaced);
                if (result != missing)
                    qWarning() << "differs at" << path << wrong;
                QCOMPARE(result, missing);
                ++documents;
            }
        }
        QVERIFY(documents >= 1000);
    }

    void randomTreesAreReadSafely() {
        QRandomGenerator random(20240120);
        for (int i = 0; i < 600; ++i) {
            QJsonObject root = randomObject(random, 0);
            // Give most documents the profile's own skeleton so the deeper readers are reached.
            if (random.bounded(4) != 0) {
                QJsonObject effects;
                for (const char *axis : {"ailerons", "elevator", "rudder"}) {
                    QJsonObject axisObject;
                    for (int k = 8; k < 21; ++k)
                        axisObject.insert(vocabulary().at(k), randomValue(random, 2));
                    effects.insert(QLatin1String(axis), axisObject);
                }
                root.insert(QStringLiteral("effects"), effects);
            }
            verifySettles(QJsonDocument(root).toJson());
        }
    }

    void truncatedDocumentsAreReadSafely() {
        const QByteArray text = ProfileWriter::profileDocument(ProfileSamples::allActive());
        int documents = 0;
        for (int length = 0; length < text.size(); length += 13) {
            EffectsProfile profile = ProfileSamples::allActive();
            ProfileReader::readProfileDocument(profile, text.left(length));
            // Cut JSON is no JSON: it reads as an empty document.
            QCOMPARE(profile.metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
            QCOMPARE(profile.settings.ailerons().simpleSpring.active, false);
            ++documents;
        }
        QVERIFY(documents > 300);
    }

    void corruptedBytesAreReadSafely() {
        const QByteArray text = ProfileWriter::profileDocument(ProfileSamples::allActive());
        QRandomGenerator random(7);
        for (int i = 0; i < 300; ++i) {
            QByteArray corrupted = text;
            for (int k = 0; k < 1 + random.bounded(4); ++k)
                corrupted[random.bounded(corrupted.size())] = char(random.bounded(256));
            verifySettles(corrupted);
        }
    }

    void hugeAndNonFiniteNumbers_data() {
        QTest::addColumn<QByteArray>("number");
        QTest::newRow("1e400") << QByteArray("1e400");
        QTest::newRow("-1e400") << QByteArray("-1e400");
        QTest::newRow("1e300") << QByteArray("1e300");
        QTest::newRow("tiny") << QByteArray("1e-400");
        QTest::newRow("long integer") << QByteArray("123456789012345678901234567890");
        QTest::newRow("NaN word") << QByteArray("NaN");
        QTest::newRow("Infinity word") << QByteArray("Infinity");
    }

    void hugeAndNonFiniteNumbers() {
        QFETCH(QByteArray, number);
        const QByteArray text = "{\"metadata\": {\"flight_data_source\": " + number +
                                "}, \"effects\": {\"ailerons\": {\"airflow_spring\": {\"active\": true, "
                                "\"attenuation_start_airspeed\": " +
                                number + ", \"attenuation_end_airspeed\": " + number +
                                "}, \"landing_jolt\": {\"active\": true, \"effect_time\": " + number +
                                ", \"speed\": {\"min\": " + number + "}}}}}";
        EffectsProfile profile;
        profile.reset();
        ProfileReader::readProfileDocument(profile, text);
        const AirflowSpringSettings &spring = profile.settings.ailerons().airflowSpring;
        // Whatever came in, the curve lookup answers without reading outside the curve.
        const float y = spring.attenuation(0.5f);
        Q_UNUSED(y);
        verifySettles(text);
        const QJsonDocument parsed = QJsonDocument::fromJson(text);
        if (!parsed.isObject()) {
            QCOMPARE(profile.settings.ailerons().landingJolt.effect_time, int64_t(250));
            QCOMPARE(spring.active, false);
        } else {
            QCOMPARE(spring.active, true);
        }
    }

    void deepNestingIsReadSafely_data() {
        QTest::addColumn<int>("depth");
        QTest::newRow("100") << 100;
        QTest::newRow("1000") << 1000;
        QTest::newRow("100000") << 100000;
    }

    void deepNestingIsReadSafely() {
        QFETCH(int, depth);
        const QByteArray open = QByteArray("{\"a\":").repeated(depth);
        const QByteArray close = QByteArray("}").repeated(depth);
        for (const QByteArray &inner :
             {QByteArray("[").repeated(depth) + QByteArray("]").repeated(depth), open + "1" + close}) {
            const QByteArray text = "{\"metadata\": {\"comment\": \"deep\"}, \"effects\": {\"ailerons\": "
                                    "{\"simple_spring\": {\"active\": " +
                                    inner + "}}}}";
            EffectsProfile profile;
            profile.reset();
            ProfileReader::readProfileDocument(profile, text);
            const bool parsed = QJsonDocument::fromJson(text).isObject();
            QCOMPARE(profile.metadata.comment, parsed ? QStringLiteral("deep") : QString());
            QCOMPARE(profile.settings.ailerons().simpleSpring.active, false);
        }
    }
};

QTEST_APPLESS_MAIN(TestProfileReaderRobustness)
#include "tst_profilereaderrobustness.moc"
