#include "devicerecords.h"
#include "effectsprofile.h"
#include "forcesrecord.h"
#include "sourcerecords.h"
#include "telemetry.h"

#include <QMetaType>
#include <QtTest>
#include <cmath>
#include <cstring>

class TestTelemetryRecords : public QObject {
    Q_OBJECT

private slots:
    // The enumerations are known by name from the start, before anything has used them: a queued call that
    // names them finds them. This runs first, so no earlier use can have registered them on the way.
    void enumerationsAreRegisteredByNameAtStart() {
        for (const char *name : {"Telemetry::Source", "EffectsProfile::EffectType"})
            QVERIFY2(QMetaType::fromName(name).isValid(), name);
        QCOMPARE(QMetaType::fromName("Telemetry::Source"), QMetaType::fromType<Telemetry::Source>());
        QCOMPARE(QMetaType::fromName("EffectsProfile::EffectType"), QMetaType::fromType<EffectsProfile::EffectType>());
        // The program uses the profile code, which links its registration in; so does this test.
        EffectsProfile profile;
        profile.reset();
        QCOMPARE(profile.metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
    }

    void fieldsAreInTheirOrder() {
        // Fifteen fields in a fixed order: the flow angles of axes 0..2 are fields 1..3.
        QCOMPARE(offsetof(Telemetry, verticalSpeed), size_t(0));
        QCOMPARE(offsetof(Telemetry, aileronsFlowAngle), size_t(4));
        QCOMPARE(offsetof(Telemetry, aoa), size_t(8));
        QCOMPARE(offsetof(Telemetry, sideslip), size_t(12));
        QCOMPARE(offsetof(Telemetry, rollRate), size_t(16));
        QCOMPARE(offsetof(Telemetry, gForce), size_t(20));
        QCOMPARE(offsetof(Telemetry, propAirflow), size_t(24));
        QCOMPARE(offsetof(Telemetry, trimmerRoll), size_t(28));
        QCOMPARE(offsetof(Telemetry, trimmerPitch), size_t(32));
        QCOMPARE(offsetof(Telemetry, trimmerYaw), size_t(36));
        QCOMPARE(offsetof(Telemetry, gear), size_t(40));
        QCOMPARE(offsetof(Telemetry, airbrake), size_t(44));
        QCOMPARE(offsetof(Telemetry, flaps), size_t(48));
        QCOMPARE(offsetof(Telemetry, onGround), size_t(52));
        QVERIFY(offsetof(Telemetry, airspeed) > offsetof(Telemetry, onGround));
        QCOMPARE(sizeof(Telemetry::Source), size_t(4));
    }

    void sourceValues() {
        QCOMPARE(int(Telemetry::TELEMETRY_SOURCE_NONE), 0);
        QCOMPARE(int(Telemetry::TELEMETRY_SOURCE_MSFS), 1);
        QCOMPARE(int(Telemetry::TELEMETRY_SOURCE_DCS), 2);
        QCOMPARE(int(Telemetry::TELEMETRY_SOURCE_IL2), 3);
        QCOMPARE(int(Telemetry::TELEMETRY_SOURCE_WARTHUNDER), 4);
        QCOMPARE(int(Telemetry::TELEMETRY_SOURCE_CONDOR), 5);
        QCOMPARE(int(Telemetry::TELEMETRY_SOURCE_XPLANE), 6);
        QCOMPARE(Telemetry::SourceCount, 7);
    }

    void zeroByDefault() {
        const Telemetry t;
        QCOMPARE(t.verticalSpeed, 0.0f);
        QCOMPARE(t.aoa, 0.0f);
        QCOMPARE(t.gear, 0.0f);
        QCOMPARE(t.onGround, false);
        QCOMPARE(t.getAirspeed(), 0.0f);
        const Forces f;
        for (int axis = 0; axis < 3; ++axis) {
            QCOMPARE(f[axis].force, 0.0f);
            QCOMPARE(f[axis].periodic, 0.0f);
            QCOMPARE(f[axis].springGain, 0.0f);
        }
        QCOMPARE(sizeof(Forces), size_t(36));
        QCOMPARE(offsetof(AxisForces, force), size_t(0));
        QCOMPARE(offsetof(AxisForces, periodic), size_t(4));
        QCOMPARE(offsetof(AxisForces, springGain), size_t(8));
        const PositionInput p;
        QCOMPARE(p.roll + p.pitch + p.yaw, 0.0f);
    }

    void airspeedIsClampedOnReadOnly() {
        Telemetry t;
        t.setAirspeed(-5);
        QCOMPARE(t.getAirspeed(), 0.0f);
        QCOMPARE(t.airspeed, -5.0f);
        t.setAirspeed(1500);
        QCOMPARE(t.getAirspeed(), 1000.0f);
        QCOMPARE(t.airspeed, 1500.0f);
        t.setAirspeed(321.5f);
        QCOMPARE(t.getAirspeed(), 321.5f);
    }

    void nonFiniteAirspeed() {
        Telemetry t;
        t.setAirspeed(INFINITY);
        QCOMPARE(t.getAirspeed(), 1000.0f);
        t.setAirspeed(-INFINITY);
        QCOMPARE(t.getAirspeed(), 0.0f);
        t.setAirspeed(NAN);
        QVERIFY(std::isnan(t.getAirspeed()));
    }

    void flowAngleByAxis() {
        Telemetry t;
        t.aileronsFlowAngle = 1;
        t.aoa = 2;
        t.sideslip = 3;
        QCOMPARE(t.flowAngle(0), 1.0f);
        QCOMPARE(t.flowAngle(1), 2.0f);
        QCOMPARE(t.flowAngle(2), 3.0f);
        QCOMPARE(t.flowAngle(3), 0.0f);
    }

    void copiesByValue() {
        Telemetry a;
        a.gForce = 3;
        a.onGround = true;
        Telemetry b = a;
        a.gForce = 1;
        QCOMPARE(b.gForce, 3.0f);
        QVERIFY(b.onGround);
        Telemetry c;
        std::memcpy(&c, &b, sizeof c);
        QCOMPARE(c.gForce, 3.0f);
    }

    // Each record that crosses a thread carries the name it is looked up by, and once in use that name
    // leads back to the same type.
    void recordsAreRegisteredUnderTheirNames() {
        const QList<std::pair<QMetaType, QByteArray>> records = {
            {QMetaType::fromType<Telemetry>(), "Telemetry"},
            {QMetaType::fromType<Forces>(), "Forces"},
            {QMetaType::fromType<PositionInput>(), "PositionInput"},
            {QMetaType::fromType<DirectXOverrideTypeDef>(), "DirectXOverrideTypeDef"},
            {QMetaType::fromType<EffectsSettings>(), "EffectsSettings"},
            {QMetaType::fromType<EffectsProfileMetadata>(), "EffectsProfileMetadata"},
            {QMetaType::fromType<MSFSTelemetry>(), "MSFSTelemetry"},
            {QMetaType::fromType<DCSTelemetry>(), "DCSTelemetry"},
            {QMetaType::fromType<ShturmovikTelemetry>(), "ShturmovikTelemetry"},
            {QMetaType::fromType<WarthunderTelemetry>(), "WarthunderTelemetry"},
            {QMetaType::fromType<Condor2Telemetry>(), "Condor2Telemetry"},
            {QMetaType::fromType<QMap<QString, EffectsProfileMetadata>>(), "QMap<QString,EffectsProfileMetadata>"},
        };
        for (const auto &[type, name] : records) {
            QCOMPARE(QByteArray(type.name()), name);
            QVERIFY2(type.id() > 0, name.constData());
            QVERIFY2(QMetaType::fromName(name) == type, name.constData());
            // A copy made through the meta-type, as a queued connection makes it, is a whole record.
            void *copy = type.create();
            QVERIFY2(copy, name.constData());
            type.destroy(copy);
        }
        // A name nobody registered is not found: the lookup is by name, not by any complete type.
        QVERIFY(!QMetaType::fromName("TelemetryRecordNobodyRegistered").isValid());
    }

    void registeredAsMetaTypes() {
        QVERIFY(QMetaType::fromName("Telemetry::Source").isValid());
        QVERIFY(QMetaType::fromType<Telemetry>().isValid());
        QVERIFY(QMetaType::fromType<Forces>().isValid());
        QVariant v = QVariant::fromValue(Telemetry::TELEMETRY_SOURCE_CONDOR);
        QCOMPARE(v.value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_CONDOR);
    }

    void xplaneRecordIsATelemetryAndNothingMore() {
        QCOMPARE(sizeof(XPlaneTelemetry), sizeof(Telemetry));
        XPlaneTelemetry x;
        x.gForce = 2.5f;
        x.setAirspeed(300);
        const Telemetry &leading = x;
        QCOMPARE(leading.gForce, 2.5f);
        QCOMPARE(leading.airspeed, 300.0f);
        QVERIFY(QMetaType::fromType<XPlaneTelemetry>().isValid());
        QCOMPARE(QByteArray(QMetaType::fromType<XPlaneTelemetry>().name()), QByteArray("XPlaneTelemetry"));
    }
};

QTEST_APPLESS_MAIN(TestTelemetryRecords)
#include "tst_telemetryrecords.moc"
