#include "demoflight.h"
#include "telemetrysourcedcs.h"

#include <QtTest>

// The demo flight goes through every phase a newcomer should feel, as DCS datagrams the program decodes.
class TestDemoFlight : public QObject {
    Q_OBJECT

private:
    static DemoFlight::State at(double seconds) { return DemoFlight::stateAt(seconds); }

private slots:
    void fiftyDatagramsASecondForTwoMinutes() {
        const QList<TelemetryRecording::Record> records = DemoFlight::records();
        QCOMPARE(records.size(), 6001);
        QCOMPARE(records.first().micros, 0);
        QCOMPARE(records.last().micros, 120000000);
        for (int i = 1; i < records.size(); ++i)
            QCOMPARE(records[i].micros - records[i - 1].micros, 20000);
        for (const TelemetryRecording::Record &record : records) {
            QCOMPARE(record.source, uint8_t(Telemetry::TELEMETRY_SOURCE_DCS));
            QCOMPARE(record.kind, TelemetryRecording::Kind::UdpDatagram);
        }
    }

    void datagramsReadAsTheExportScriptWritesThem() {
        DemoFlight::State state;
        state.airspeed = 412.25;
        state.verticalSpeed = -3.5;
        state.aoa = 7.125;
        state.gForce = 2.5;
        state.gear = 1;
        state.airbrake = 0.5;
        state.flaps = 0.25;
        state.engine = 88;
        state.onGround = false;
        QCOMPARE(DemoFlight::datagram(state),
                 QByteArray("Quillar Demo Trainer;412.250;-3.500;7.125;2.500;1.000;0.500;0.250;88.000;0"));
        DCSTelemetry record;
        QVERIFY(decodeDcsDatagram(DemoFlight::datagram(state), record, nullptr));
        QCOMPARE(record.getAirspeed(), 412.25f);
        QCOMPARE(record.gear, 100.0f);
        QCOMPARE(record.airbrake, 50.0f);
        QCOMPARE(record.flaps, 25.0f);
        QCOMPARE(dcsFlightModuleName(DemoFlight::datagram(state)), QStringLiteral("Quillar Demo Trainer"));
    }

    void taxiAndTakeOffRollOnTheGround() {
        QVERIFY(at(8).onGround);
        QVERIFY(at(8).airspeed > 20 && at(8).airspeed < 40);
        QVERIFY(at(25).onGround);
        QVERIFY(at(25).airspeed > at(20).airspeed);
        QVERIFY(at(25).engine > 95); // take-off power
        QVERIFY(at(8).gForce != 1.0); // the ground is not smooth
    }

    void rotationAndClimbCleaningUp() {
        QVERIFY(at(32).aoa > 10);
        QVERIFY(!at(33).onGround);
        QCOMPARE(at(33).gear, 1.0);
        QCOMPARE(at(45).gear, 0.0);
        QCOMPARE(at(40).flaps, 0.5);
        QCOMPARE(at(47).flaps, 0.0);
        QVERIFY(at(40).verticalSpeed > 10);
    }

    void turnsPullG() {
        QVERIFY(at(57).gForce > 3.4);
        QVERIFY(at(66).gForce > 4.4);
        QVERIFY(at(66).aoa > 10);
    }

    void stallWarningWithHighAoa() {
        QVERIFY(at(79).aoa > 20);
        QVERIFY(at(79).airspeed < 250);
        QVERIFY(at(85).aoa < 6);
    }

    void airbrakeOutAndIn() {
        QCOMPARE(at(83).airbrake, 0.0);
        QCOMPARE(at(87).airbrake, 1.0);
        QCOMPARE(at(92).airbrake, 0.0);
    }

    void approachTouchDownAndRollOut() {
        QCOMPARE(at(100).gear, 1.0);
        QCOMPARE(at(100).flaps, 1.0);
        QVERIFY(at(104).verticalSpeed < -1);
        QVERIFY(!at(107.9).onGround);
        QVERIFY(at(108).onGround);
        QVERIFY(at(118).airspeed < 60);
        QCOMPARE(at(115).airbrake, 1.0);
    }

    // Decoded in order, the flight touches down exactly once, sinking, and the program's landing jolt fires.
    void oneTouchDownAfterTakeOff() {
        DCSTelemetry record;
        record.onGround = true;
        int landings = 0;
        float sink = 0;
        for (const TelemetryRecording::Record &datagram : DemoFlight::records()) {
            bool landed = false;
            QVERIFY(decodeDcsDatagram(datagram.payload, record, &landed));
            if (landed) {
                ++landings;
                sink = record.verticalSpeed;
                QCOMPARE(datagram.micros, 108000000);
            }
        }
        QCOMPARE(landings, 1);
        QCOMPARE(sink, -2.4f);
    }
};

QTEST_GUILESS_MAIN(TestDemoFlight)
#include "tst_demoflight.moc"
