#include "sourcesession.h"
#include "telemetrysourcecondor2.h"

using Session = SourceSession<TelemetrySourceCondor2, Condor2Telemetry>;

class TestTelemetrySourceCondor2 : public QObject {
    Q_OBJECT

private slots:
    void init() { ManualClock::install(); }
    void cleanup() { ManualClock::uninstall(); }

    void defaultPort() { QCOMPARE(TelemetrySourceCondor2::DefaultPort, quint16(55278)); }

    void declaresAsGenericGliderWithoutDecoding() {
        Session s;
        QVERIFY(s.deliver("airspeed=30\r\ngforce=1\r\n"));
        QCOMPARE(s.declared.count(), 1);
        QCOMPARE(s.declared[0][0].value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_CONDOR);
        QCOMPARE(s.declared[0][1].toString(), QStringLiteral("Generic glider"));
        QCOMPARE(s.records.size(), 0);
        QVERIFY(s.deliver("airspeed=25\r\ngforce=1.5\r\nturbulencestrength=0.5\r\n"));
        QCOMPARE(s.records.size(), 1);
        QCOMPARE(s.records[0].airspeed, 90.0f);
        QCOMPARE(s.records[0].gForce, 1.5f);
        QCOMPARE(s.records[0].turbulenceStrength, 0.5f);
    }

    void neverLands() {
        Session s;
        QVERIFY(s.deliver("airspeed=0\r\n"));
        QVERIFY(s.deliver("airspeed=30\r\ngforce=1\r\nheight=200\r\n"));
        QVERIFY(s.deliver("airspeed=20\r\ngforce=1.8\r\nheight=0.5\r\nwheelheight=0\r\n"));
        ManualClock::now += 1001;
        s.source.poll();
        QCOMPARE(s.ended.count(), 1);
        QCOMPARE(s.landed.count(), 0);
        QCOMPARE(s.records.last().onGround, false);
    }

    void theRecordKeepsItsValuesFromOnePeriodToTheNext() {
        Session s;
        QVERIFY(s.deliver("airspeed=10\r\n"));
        QVERIFY(s.deliver("airspeed=10\r\ngforce=2\r\n"));
        ManualClock::now += 1001;
        s.source.poll();
        QCOMPARE(s.records.last().airspeed, 0.0f); // the idle record
        QVERIFY(s.deliver("gforce=3\r\n"));        // declares again
        QVERIFY(s.deliver("gforce=3\r\n"));
        QCOMPARE(s.records.last().airspeed, 36.0f);
        QCOMPARE(s.records.last().gForce, 3.0f);
    }
};

QTEST_GUILESS_MAIN(TestTelemetrySourceCondor2)
#include "tst_telemetrysourcecondor2.moc"
