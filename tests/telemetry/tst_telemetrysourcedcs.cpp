#include "sourcesession.h"
#include "telemetrysourcedcs.h"

using Session = SourceSession<TelemetrySourceDCS, DCSTelemetry>;

class TestTelemetrySourceDCS : public QObject {
    Q_OBJECT

private slots:
    void init() { ManualClock::install(); }
    void cleanup() { ManualClock::uninstall(); }

    void defaultPort() { QCOMPARE(TelemetrySourceDCS::DefaultPort, quint16(29778)); }

    void declaresWithTheAircraftNameWithoutDecoding() {
        Session s;
        QVERIFY(s.deliver("F-16C_50;350;5;4;1.2;0;0;0;0;0"));
        QCOMPARE(s.declared.count(), 1);
        QCOMPARE(s.declared[0][0].value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_DCS);
        QCOMPARE(s.declared[0][1].toString(), QStringLiteral("F-16C_50"));
        QCOMPARE(s.records.size(), 0);

        QVERIFY(s.deliver("F-16C_50;360;6;4.5;1.3;0;0;0.5;0;0"));
        QCOMPARE(s.records.size(), 1);
        QCOMPARE(s.records[0].airspeed, 360.0f);
        QCOMPARE(s.records[0].verticalSpeed, 6.0f);
        QCOMPARE(s.records[0].aoa, 4.5f);
        QCOMPARE(s.records[0].gForce, 1.3f);
        QCOMPARE(s.records[0].flaps, 50.0f);
        QCOMPARE(s.declared.count(), 1);
    }

    void landsOnceWhenOnGroundTurnsOn() {
        Session s;
        QVERIFY(s.deliver("Mi-24P;0;0;0;1;1;0;0;0;1")); // declares only: not decoded
        QVERIFY(s.deliver("Mi-24P;120;-4;2;1;1;0;0;0;0"));
        QCOMPARE(s.landed.count(), 0);
        QVERIFY(s.deliver("Mi-24P;110;-2.5;2;1.4;1;0;0;0;1"));
        QCOMPARE(s.landed.count(), 1);
        QCOMPARE(s.landed[0][0].toFloat(), -2.5f);
        QCOMPARE(s.landed[0][1].toFloat(), 110.0f);
        QVERIFY(s.deliver("Mi-24P;100;-1;2;1;1;0;0;0;1"));
        QCOMPARE(s.landed.count(), 1);
        QCOMPARE(s.records.size(), 3);
        QCOMPARE(s.records.last().onGround, true);
    }

    void landedPassesTheLimitedAirspeed() {
        Session s;
        QVERIFY(s.deliver("X;0;0;0;0;0;0;0;0;0"));
        QVERIFY(s.deliver("X;2400;-7;0;0;0;0;0;0;1"));
        QCOMPARE(s.landed.count(), 1);
        QCOMPARE(s.landed[0][1].toFloat(), 1000.0f);
        QCOMPARE(s.records.last().airspeed, 2400.0f);
    }

    void aShortDatagramLeavesTheRecordButIsStillEmitted() {
        Session s;
        QVERIFY(s.deliver("A-10C;0;0;0;0;0;0;0;0;0"));
        QVERIFY(s.deliver("A-10C;300;2;3;1;1;0;0;0;0"));
        QVERIFY(s.deliver("A-10C;999;9"));
        QCOMPARE(s.records.size(), 2);
        QCOMPARE(s.records[1].airspeed, 300.0f);
        QCOMPARE(s.records[1].verticalSpeed, 2.0f);
        QVERIFY(s.deliver("A-10C;310;2;3;1;1;0;0;0;0"));
        QCOMPARE(s.records[2].airspeed, 310.0f);
    }

    void silenceEndsWithTheIdleRecordFirst() {
        Session s;
        QVERIFY(s.deliver("Spitfire;0;0;0;0;0;0;0;0;0"));
        QVERIFY(s.deliver("Spitfire;250;3;5;2;1;1;1;40;1"));
        QStringList order;
        QObject::connect(&s.source, &TelemetrySourceDCS::telemetryChanged, [&] { order << "record"; });
        QObject::connect(&s.source, &TelemetrySource::telemetryEnded, [&] { order << "ended"; });
        ManualClock::now += 1000;
        s.source.poll();
        QCOMPARE(s.ended.count(), 0);
        ManualClock::now += 1;
        s.source.poll();
        QCOMPARE(order, (QStringList{"record", "ended"}));
        const DCSTelemetry idle = s.records.last();
        QCOMPARE(idle.airspeed, 0.0f);
        QCOMPARE(idle.verticalSpeed, 0.0f);
        QCOMPARE(idle.aoa, 0.0f);
        QCOMPARE(idle.gForce, 0.0f);
        QCOMPARE(idle.gear, 0.0f);
        QCOMPARE(idle.airbrake, 0.0f);
        QCOMPARE(idle.flaps, 0.0f);
        QCOMPARE(idle.propAirflow, 0.0f);
        QCOMPARE(idle.onGround, false);
        QVERIFY(!s.source.isActive());
    }

    void theRecordOutlivesTheEnd() {
        Session s;
        QVERIFY(s.deliver("P-47D;0;0;0;0;0;0;0;0;0"));
        QVERIFY(s.deliver("P-47D;280;1;2;1;0;0;0;0;1"));
        QCOMPARE(s.landed.count(), 1);
        ManualClock::now += 1001;
        s.source.poll();
        QCOMPARE(s.ended.count(), 1);
        QVERIFY(s.deliver("P-47D;0;0;0;0;0;0;0;0;1")); // declares again
        QCOMPARE(s.declared.count(), 2);
        QVERIFY(s.deliver("P-47D;290;1;2;1;0;0;0;0;1"));
        // onGround was kept from the last period, so staying on the ground is no second touch-down.
        QCOMPARE(s.landed.count(), 1);
        QCOMPARE(s.records.last().airspeed, 290.0f);
    }
};

QTEST_GUILESS_MAIN(TestTelemetrySourceDCS)
#include "tst_telemetrysourcedcs.moc"
