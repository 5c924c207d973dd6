#include "aircraftclass.h"
#include "commontelemetryforcecalculator.h"
#include "demoflight.h"
#include "profilereader.h"
#include "profilewriter.h"
#include "telemetrysourcedcs.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QtTest>
#include <cmath>

// The five class templates: complete documents that the profile reader takes whole, forces that stay inside
// full scale, and the feel docs/templates.md promises for each.
namespace {
const char *const EffectKeys[] = {"airflow_spring", "simple_spring", "elevator_weight", "aoa_shaker",
                                  "gear_shaker",    "flaps_shaker",  "airbrake_shaker", "on_ground_shaker",
                                  "landing_jolt",   "il2_shaker",    "direct_x",        "condor_shaker",
                                  "smart_damper"};

// The keys each effect object must carry beyond "active" and "total_effect_strength".
QStringList numberKeys(const QString &effect) {
    if (effect == QLatin1String("airflow_spring"))
        return {"attenuation_start_airspeed", "attenuation_end_airspeed",    "airspeed_force", "thrust_force",
                "attenuation_strength",       "local_aoa_influence_strength"};
    if (effect == QLatin1String("landing_jolt"))
        return {"effect_time"};
    if (effect == QLatin1String("direct_x"))
        return {"trimmer", "force", "periodic"};
    if (effect == QLatin1String("smart_damper"))
        return {"static_dampening", "dynamic_dampening"};
    return {};
}

QStringList rangeKeys(const QString &effect) {
    if (effect == QLatin1String("aoa_shaker"))
        return {"speed", "frequency", "aoa"};
    if (effect.endsWith(QLatin1String("_shaker")) && effect != QLatin1String("il2_shaker") &&
        effect != QLatin1String("condor_shaker"))
        return {"speed", "frequency"};
    if (effect == QLatin1String("landing_jolt"))
        return {"speed", "frequency"};
    // The reader checks "frequency" and then takes the range from "aoa".
    if (effect == QLatin1String("condor_shaker"))
        return {"frequency", "aoa"};
    return {};
}

EffectsProfile loaded(AircraftClass aircraftClass) {
    EffectsProfile profile;
    AircraftClasses::loadTemplate(aircraftClass, profile);
    return profile;
}

Telemetry flight(float airspeed, float g = 1, float aoa = 0, float propAirflow = 0) {
    Telemetry telemetry;
    telemetry.setAirspeed(airspeed);
    telemetry.gForce = g;
    telemetry.aoa = aoa;
    telemetry.propAirflow = propAirflow;
    return telemetry;
}

// The steady force a full deflection meets, as a positive percentage of full scale.
float fullDeflectionForce(AircraftClass aircraftClass, int axis, const Telemetry &telemetry) {
    const EffectsProfile profile = loaded(aircraftClass);
    CommonTelemetryForceCalculator calculator;
    Forces forces;
    calculator.calculate(forces, axis, 1, telemetry, profile.settings.axes[axis], 1000);
    return -forces.axes[axis].force;
}

// The shakers' amplitude on the first step of fresh oscillators (no jitter yet).
float shaking(AircraftClass aircraftClass, int axis, const Telemetry &telemetry) {
    const EffectsProfile profile = loaded(aircraftClass);
    CommonTelemetryForceCalculator calculator;
    Forces forces;
    calculator.calculate(forces, axis, 0, telemetry, profile.settings.axes[axis], 1000);
    return std::fabs(forces.axes[axis].periodic);
}

constexpr int Ailerons = 0, Elevator = 1, Rudder = 2;

#define VERIFY_BETWEEN(value, low, high)                                                                     \
    do {                                                                                                     \
        const float value_ = (value);                                                                        \
        QVERIFY2(value_ >= (low) && value_ <= (high), qPrintable(QStringLiteral("%1 is %2, expected %3..%4") \
                                                                     .arg(QStringLiteral(#value))            \
                                                                     .arg(double(value_))                    \
                                                                     .arg(double(low))                       \
                                                                     .arg(double(high))));                   \
    } while (0)

void checkInsideFullScale(const Forces &forces, const char *where) {
    for (int axis = 0; axis < 3; ++axis) {
        const AxisForces &entry = forces.axes[axis];
        const QByteArray what = QByteArray(where) + " axis " + QByteArray::number(axis) + " force " +
                                QByteArray::number(entry.force) + " periodic " +
                                QByteArray::number(entry.periodic) + " gain " +
                                QByteArray::number(entry.springGain);
        QVERIFY2(std::isfinite(entry.force) && std::isfinite(entry.periodic) &&
                     std::isfinite(entry.springGain),
                 what.constData());
        QVERIFY2(std::fabs(entry.force) + std::fabs(entry.periodic) <= 100, what.constData());
        QVERIFY2(entry.springGain >= 0 && entry.springGain <= 100, what.constData());
    }
}
} // namespace

Q_DECLARE_METATYPE(AircraftClass)

class TestClassTemplates : public QObject {
    Q_OBJECT

private slots:
    void perClass_data() {
        QTest::addColumn<AircraftClass>("aircraftClass");
        for (AircraftClass aircraftClass : AircraftClasses::all())
            QTest::newRow(qPrintable(AircraftClasses::name(aircraftClass))) << aircraftClass;
    }

    // Every field the reader looks at is there with its JSON type, so nothing falls back to a default.
    void everyFieldPresentAndTyped_data() { perClass_data(); }
    void everyFieldPresentAndTyped() {
        QFETCH(AircraftClass, aircraftClass);
        QJsonParseError error;
        const QJsonDocument document =
            QJsonDocument::fromJson(AircraftClasses::templateDocument(aircraftClass), &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        QVERIFY(document.isObject());
        const QJsonObject metadata = document.object().value("metadata").toObject();
        QVERIFY(metadata.value("flight_data_source").isDouble());
        QCOMPARE(metadata.value("flight_data_source").toDouble(), 0.0);
        QVERIFY(metadata.value("flight_module").isString());
        QCOMPARE(metadata.value("flight_module").toString(), QString());
        QVERIFY(metadata.value("comment").isString());
        QCOMPARE(metadata.value("comment").toString(), QString());
        QVERIFY(document.object().value("effects").isObject());
        const QJsonObject effects = document.object().value("effects").toObject();
        for (const char *axisKey : {"ailerons", "elevator", "rudder"}) {
            QVERIFY2(effects.value(axisKey).isObject(), axisKey);
            const QJsonObject axis = effects.value(axisKey).toObject();
            QCOMPARE(axis.size(), 13);
            for (const char *effectKey : EffectKeys) {
                const QByteArray where = QByteArray(axisKey) + '.' + effectKey;
                QVERIFY2(axis.value(effectKey).isObject(), where.constData());
                const QJsonObject effect = axis.value(effectKey).toObject();
                QVERIFY2(effect.value("active").isBool(), where.constData());
                QVERIFY2(effect.value("total_effect_strength").isDouble(), where.constData());
                for (const QString &key : numberKeys(QLatin1String(effectKey)))
                    QVERIFY2(effect.value(key).isDouble(), (where + '.' + key.toLatin1()).constData());
                for (const QString &key : rangeKeys(QLatin1String(effectKey))) {
                    QVERIFY2(effect.value(key).isObject(), (where + '.' + key.toLatin1()).constData());
                    for (const char *end : {"min", "max", "exp"})
                        QVERIFY2(effect.value(key).toObject().value(end).isDouble(),
                                 (where + '.' + key.toLatin1() + '.' + end).constData());
                }
                // Nothing the reader would ignore.
                QCOMPARE(effect.size(), 2 + numberKeys(QLatin1String(effectKey)).size() +
                                            rangeKeys(QLatin1String(effectKey)).size());
            }
        }
    }

    // What the reader made of it is what the document says: writing it back gives each active effect's object
    // unchanged, and the template is a profile for no source and no aircraft.
    void readsAsWritten_data() { perClass_data(); }
    void readsAsWritten() {
        QFETCH(AircraftClass, aircraftClass);
        EffectsProfile profile;
        profile.metadata.comment = QStringLiteral("replaced");
        QVERIFY(AircraftClasses::loadTemplate(aircraftClass, profile));
        QCOMPARE(profile.metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
        QCOMPARE(profile.metadata.flightModule, QString());
        QCOMPARE(profile.metadata.comment, QString());
        const QJsonObject shipped = QJsonDocument::fromJson(AircraftClasses::templateDocument(aircraftClass))
                                        .object()
                                        .value("effects")
                                        .toObject();
        const QJsonObject written = QJsonDocument::fromJson(ProfileWriter::profileDocument(profile))
                                        .object()
                                        .value("effects")
                                        .toObject();
        int active = 0;
        for (const char *axisKey : {"ailerons", "elevator", "rudder"}) {
            const QJsonObject shippedAxis = shipped.value(axisKey).toObject();
            const QJsonObject writtenAxis = written.value(axisKey).toObject();
            for (const char *effectKey : EffectKeys) {
                QJsonObject expected = shippedAxis.value(effectKey).toObject();
                if (!expected.value("active").toBool()) {
                    QVERIFY(!writtenAxis.contains(effectKey));
                    continue;
                }
                ++active;
                // The Condor shaker's second copy of its range is read, never written.
                if (QLatin1String(effectKey) == QLatin1String("condor_shaker"))
                    expected.remove("aoa");
                QCOMPARE(writtenAxis.value(effectKey).toObject(), expected);
            }
        }
        QVERIFY(active >= 12);
    }

    // The demo flight, decoded as the program decodes it, with the stick held at each end and in the middle.
    void insideFullScaleOverTheDemoFlight_data() { perClass_data(); }
    void insideFullScaleOverTheDemoFlight() {
        QFETCH(AircraftClass, aircraftClass);
        const EffectsProfile profile = loaded(aircraftClass);
        const QList<TelemetryRecording::Record> records = DemoFlight::records();
        for (float position : {-1.0f, 0.0f, 1.0f}) {
            CommonTelemetryForceCalculator calculator;
            int landings = 0;
            for (const TelemetryRecording::Record &record : records) {
                DCSTelemetry telemetry;
                bool landed = false;
                QVERIFY(decodeDcsDatagram(record.payload, telemetry, &landed));
                const int64_t now = record.micros / 1000;
                if (landed) {
                    ++landings;
                    calculator.setLanded(telemetry.verticalSpeed, telemetry.getAirspeed(), profile.settings,
                                         now);
                }
                Forces forces;
                for (int axis = 0; axis < 3; ++axis)
                    calculator.calculate(forces, axis, position, telemetry, profile.settings.axes[axis], now);
                checkInsideFullScale(forces, "demo flight");
            }
            QVERIFY(landings >= 1);
        }
    }

    // Beyond the demo flight: every airspeed the engine reads, hard g both ways, stall AoA, full power, and
    // every shaker at once.
    void insideFullScaleEverywhere_data() { perClass_data(); }
    void insideFullScaleEverywhere() {
        QFETCH(AircraftClass, aircraftClass);
        const EffectsProfile profile = loaded(aircraftClass);
        CommonTelemetryForceCalculator calculator;
        int64_t now = 0;
        for (float position : {-1.0f, 1.0f}) {
            for (float airspeed = 0; airspeed <= 1000; airspeed += 25) {
                for (float g : {-3.0f, 1.0f, 9.0f}) {
                    for (float aoa : {-10.0f, 0.0f, 30.0f}) {
                        for (float propAirflow : {0.0f, 100.0f}) {
                            Telemetry telemetry = flight(airspeed, g, aoa, propAirflow);
                            telemetry.gear = telemetry.flaps = telemetry.airbrake = 100;
                            telemetry.onGround = true;
                            now += 7;
                            if (now % 700 == 0)
                                calculator.setLanded(-15, airspeed, profile.settings, now);
                            Forces forces;
                            for (int axis = 0; axis < 3; ++axis)
                                calculator.calculate(forces, axis, position, telemetry,
                                                     profile.settings.axes[axis], now);
                            checkInsideFullScale(forces, "sweep");
                        }
                    }
                }
            }
        }
    }

    // Every sentence in quotes of the classes' section of docs/templates.md stands, as it is written there,
    // in a comment of this file above the lines that check it, and nothing here claims more than the
    // document.
    void theDocumentsIntentsAreTheTestedOnes() {
        QFile doc(QStringLiteral(QUILLAR_TEMPLATES_DOC));
        QVERIFY(doc.open(QIODevice::ReadOnly | QIODevice::Text));
        QString text = QString::fromUtf8(doc.readAll());
        const qsizetype from = text.indexOf(QStringLiteral("## Why, class by class"));
        const qsizetype to = text.indexOf(QStringLiteral("## The Jet template over"));
        QVERIFY(from > 0 && to > from);
        text = text.mid(from, to - from);
        QFile source(QStringLiteral(QUILLAR_THIS_SOURCE));
        QVERIFY(source.open(QIODevice::ReadOnly | QIODevice::Text));
        // Comments, each run of // lines joined into one text.
        QString comments;
        for (const QString &line : QString::fromUtf8(source.readAll()).split(QLatin1Char('\n'))) {
            const QString trimmed = line.trimmed();
            comments += trimmed.startsWith(QLatin1String("//")) ? trimmed.mid(2) + QLatin1Char(' ')
                                                                : QStringLiteral("\n");
        }
        const QRegularExpression quoted(QStringLiteral("\"([^\"]+)\""));
        auto sentences = [&](const QString &from) {
            QStringList found;
            // A sentence, not a quoted key: it ends with a full stop.
            for (auto it = quoted.globalMatch(from); it.hasNext();) {
                const QString sentence = it.next().captured(1).simplified();
                if (sentence.endsWith(QLatin1Char('.')))
                    found << sentence;
            }
            return found;
        };
        const QStringList documented = sentences(text);
        const QStringList tested = sentences(comments);
        QCOMPARE(documented.size(), 21);
        for (const QString &sentence : documented)
            QVERIFY2(tested.contains(sentence), qPrintable(sentence));
        for (const QString &sentence : tested)
            QVERIFY2(documented.contains(sentence), qPrintable(sentence));
    }

    // The intents docs/templates.md gives, one test each.
    void jet() {
        const AircraftClass jet = AircraftClass::Jet;
        // "Full elevator deflection at 900 km/h needs about three quarters of full scale (70–80 %)."
        VERIFY_BETWEEN(fullDeflectionForce(jet, Elevator, flight(900, 0)), 70, 80);
        // "At 200 km/h the same deflection needs less than 20 %."
        VERIFY_BETWEEN(fullDeflectionForce(jet, Elevator, flight(200, 0)), 10, 20);
        // "Each g adds 1 % on the elevator: 9 g add 9 %."
        const float gain = fullDeflectionForce(jet, Elevator, flight(600, 9)) -
                           fullDeflectionForce(jet, Elevator, flight(600, 0));
        QVERIFY2(std::fabs(gain - 9) < 1e-3f, qPrintable(QString::number(gain)));
        // "The ailerons are the lightest axis (then the rudder, then the elevator)."
        for (float airspeed : {150.0f, 450.0f, 900.0f}) {
            QVERIFY(fullDeflectionForce(jet, Ailerons, flight(airspeed, 0)) <
                    fullDeflectionForce(jet, Rudder, flight(airspeed, 0)));
            QVERIFY(fullDeflectionForce(jet, Rudder, flight(airspeed, 0)) <
                    fullDeflectionForce(jet, Elevator, flight(airspeed, 0)));
        }
        // "The buffet starts above 15° AoA and is strongest from 25°."
        QCOMPARE(shaking(jet, Elevator, flight(400, 1, 14.9f)), 0.0f);
        QVERIFY(shaking(jet, Elevator, flight(400, 1, 20)) > 0);
        QVERIFY(shaking(jet, Elevator, flight(400, 1, 25)) > shaking(jet, Elevator, flight(400, 1, 20)));
        QCOMPARE(shaking(jet, Elevator, flight(400, 1, 25)), shaking(jet, Elevator, flight(400, 1, 35)));
    }

    void heavy() {
        const AircraftClass heavy = AircraftClass::Heavy;
        // "Full elevator on the approach (250 km/h) about 30 %, in cruise (900 km/h) 75 %."
        VERIFY_BETWEEN(fullDeflectionForce(heavy, Elevator, flight(250, 0)), 27, 33);
        VERIFY_BETWEEN(fullDeflectionForce(heavy, Elevator, flight(900, 0)), 72, 78);
        // "The rudder is the heaviest axis, the ailerons the lightest, at every speed above 100 km/h."
        for (float airspeed = 125; airspeed <= 1000; airspeed += 25) {
            QVERIFY(fullDeflectionForce(heavy, Ailerons, flight(airspeed, 0)) <
                    fullDeflectionForce(heavy, Elevator, flight(airspeed, 0)));
            QVERIFY(fullDeflectionForce(heavy, Elevator, flight(airspeed, 0)) <
                    fullDeflectionForce(heavy, Rudder, flight(airspeed, 0)));
        }
        // "The stick shaker starts above 10° AoA."
        QCOMPARE(shaking(heavy, Elevator, flight(300, 1, 9.9f)), 0.0f);
        QVERIFY(shaking(heavy, Elevator, flight(300, 1, 12)) > 0);
        // "Standing still, the controls are held by a 15 % centring spring."
        VERIFY_BETWEEN(fullDeflectionForce(heavy, Ailerons, flight(0, 0)), 14.99f, 15.01f);
    }

    void propeller() {
        const AircraftClass propeller = AircraftClass::Propeller;
        // "Standing still at full power, the propeller's wash loads the elevator and rudder to 30 %; at idle
        // 10 %."
        VERIFY_BETWEEN(fullDeflectionForce(propeller, Elevator, flight(0, 0, 0, 100)), 29.9f, 30.1f);
        VERIFY_BETWEEN(fullDeflectionForce(propeller, Rudder, flight(0, 0, 0, 100)), 29.9f, 30.1f);
        VERIFY_BETWEEN(fullDeflectionForce(propeller, Elevator, flight(0, 0, 0, 0)), 9.9f, 10.1f);
        // "Full elevator at 400 km/h (fast cruise of a warbird) about 60 %."
        VERIFY_BETWEEN(fullDeflectionForce(propeller, Elevator, flight(400, 0)), 57, 63);
        // "The buffet starts above 14° AoA."
        QCOMPARE(shaking(propeller, Elevator, flight(200, 1, 13.9f)), 0.0f);
        QVERIFY(shaking(propeller, Elevator, flight(200, 1, 17)) > 0);
        // "No airbrake shaker."
        QVERIFY(!loaded(propeller).settings.elevator().airbrakesShaker.active);
    }

    void glider() {
        const AircraftClass glider = AircraftClass::Glider;
        // "Full elevator at 100 km/h (thermalling) about 16 %, at 200 km/h about 44 %, and from 280 km/h on
        // 55 %."
        VERIFY_BETWEEN(fullDeflectionForce(glider, Elevator, flight(100, 0)), 14, 18);
        VERIFY_BETWEEN(fullDeflectionForce(glider, Elevator, flight(200, 0)), 41, 47);
        VERIFY_BETWEEN(fullDeflectionForce(glider, Elevator, flight(280, 0)), 54.99f, 55.01f);
        VERIFY_BETWEEN(fullDeflectionForce(glider, Elevator, flight(1000, 0)), 54.99f, 55.01f);
        // "Each g adds 2 % on the elevator."
        const float gain = fullDeflectionForce(glider, Elevator, flight(150, 3)) -
                           fullDeflectionForce(glider, Elevator, flight(150, 2));
        QVERIFY2(std::fabs(gain - 2) < 1e-3f, qPrintable(QString::number(gain)));
        // "Open airbrakes shake the stick; closed ones do not."
        Telemetry braked = flight(150);
        braked.airbrake = 100;
        QVERIFY(shaking(glider, Elevator, braked) > 0);
        QCOMPARE(shaking(glider, Elevator, flight(150)), 0.0f);
        // "The buffet starts above 10° AoA."
        QCOMPARE(shaking(glider, Elevator, flight(100, 1, 9.9f)), 0.0f);
        QVERIFY(shaking(glider, Elevator, flight(100, 1, 13)) > 0);
    }

    void helicopter() {
        const AircraftClass helicopter = AircraftClass::Helicopter;
        // "In the hover the trim spring holds the cyclic with 30 % and the pedals with 20 %."
        VERIFY_BETWEEN(fullDeflectionForce(helicopter, Elevator, flight(0, 1)), 29.99f, 30.01f);
        VERIFY_BETWEEN(fullDeflectionForce(helicopter, Ailerons, flight(0, 1)), 29.99f, 30.01f);
        VERIFY_BETWEEN(fullDeflectionForce(helicopter, Rudder, flight(0, 1)), 19.99f, 20.01f);
        // "At 300 km/h the cyclic needs 50 %; g does not change it."
        VERIFY_BETWEEN(fullDeflectionForce(helicopter, Elevator, flight(300, 1)), 49.99f, 50.01f);
        VERIFY_BETWEEN(fullDeflectionForce(helicopter, Elevator, flight(300, 3)), 49.99f, 50.01f);
        // "No AoA, gear, flaps or airbrake shaker."
        Telemetry everything = flight(200, 1, 30);
        everything.gear = everything.flaps = everything.airbrake = 100;
        QCOMPARE(shaking(helicopter, Elevator, everything), 0.0f);
        // "A touch-down jolts by its descent rate alone, at any airspeed: 3 m/s gives 30 % of the jolt."
        const EffectsProfile profile = loaded(helicopter);
        for (float airspeed : {0.0f, 40.0f}) {
            CommonTelemetryForceCalculator calculator;
            calculator.setLanded(-3, airspeed, profile.settings, 1000);
            QVERIFY2(std::fabs(calculator.joltState(Elevator).intensity - 0.3f) < 1e-6f,
                     qPrintable(QString::number(calculator.joltState(Elevator).intensity)));
        }
    }
};

QTEST_GUILESS_MAIN(TestClassTemplates)
#include "tst_classtemplates.moc"
