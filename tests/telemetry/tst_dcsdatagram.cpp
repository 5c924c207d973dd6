#include "telemetrysourcedcs.h"
#include "telemetrytesting.h"

#include <QtTest>
#include <cmath>

class TestDcsDatagram : public QObject {
    Q_OBJECT

private slots:
    void decodesEveryField() {
        DCSTelemetry record;
        bool landed = true;
        QVERIFY(decodeDcsDatagram("F-16C_50;350.5;-2.25;4.5;1.5;1;0.5;0.25;80;0", record, &landed));
        QCOMPARE(record.airspeed, 350.5f);
        QCOMPARE(record.verticalSpeed, -2.25f);
        QCOMPARE(record.aoa, 4.5f);
        QCOMPARE(record.gForce, 1.5f);
        QCOMPARE(record.gear, 100.0f);
        QCOMPARE(record.airbrake, 50.0f);
        QCOMPARE(record.flaps, 25.0f);
        QCOMPARE(record.propAirflow, 80.0f);
        QCOMPARE(record.onGround, false);
        QCOMPARE(landed, false);
        // Fields DCS does not send stay 0.
        QCOMPARE(record.aileronsFlowAngle, 0.0f);
        QCOMPARE(record.sideslip, 0.0f);
        QCOMPARE(record.rollRate, 0.0f);
        QCOMPARE(record.trimmerRoll, 0.0f);
        QCOMPARE(record.trimmerPitch, 0.0f);
        QCOMPARE(record.trimmerYaw, 0.0f);
    }

    void airspeedIsStoredAsSentAndLimitedWhenRead() {
        DCSTelemetry record;
        QVERIFY(decodeDcsDatagram("A-10C;1500;0;0;1;0;0;0;0;0", record, nullptr));
        QCOMPARE(record.airspeed, 1500.0f);
        QCOMPARE(record.getAirspeed(), 1000.0f);
    }

    void unparsableNumbersBecomeZero() {
        DCSTelemetry record;
        record.gForce = 7;
        QVERIFY(decodeDcsDatagram("Su-27;abc;;1,5;x;1e;--1;0x10;nope;0", record, nullptr));
        QCOMPARE(record.airspeed, 0.0f);
        QCOMPARE(record.verticalSpeed, 0.0f);
        QCOMPARE(record.aoa, 0.0f);
        QCOMPARE(record.gForce, 0.0f);
        QCOMPARE(record.gear, 0.0f);
        QCOMPARE(record.airbrake, 0.0f);
        QCOMPARE(record.flaps, 0.0f);
        QCOMPARE(record.propAirflow, 0.0f);
    }

    void numbersMayCarrySpacesAndExponents() {
        DCSTelemetry record;
        QVERIFY(decodeDcsDatagram("P-51D; 400 ;2.5e1;-1.25E0;\t3;1;1;1;12.5;1\n", record, nullptr));
        QCOMPARE(record.airspeed, 400.0f);
        QCOMPARE(record.verticalSpeed, 25.0f);
        QCOMPARE(record.aoa, -1.25f);
        QCOMPARE(record.gForce, 3.0f);
        QCOMPARE(record.propAirflow, 12.5f);
        QCOMPARE(record.onGround, true); // "1\n" is still the integer 1
    }

    void nanIsStoredAsSent() {
        DCSTelemetry record;
        QVERIFY(decodeDcsDatagram("F-5E;0;nan;0;0;0;0;0;0;0", record, nullptr));
        QVERIFY(std::isnan(record.verticalSpeed));
    }

    void touchDownOnceWhenOnGroundTurnsOn() {
        DCSTelemetry record;
        bool landed = false;
        QVERIFY(decodeDcsDatagram("F-18C;250;-1.5;8;1.2;1;0;1;0;0", record, &landed));
        QCOMPARE(landed, false);
        QVERIFY(decodeDcsDatagram("F-18C;240;-1.75;8;1.9;1;0;1;0;1", record, &landed));
        QCOMPARE(landed, true);
        QCOMPARE(record.onGround, true);
        QVERIFY(decodeDcsDatagram("F-18C;230;-0.5;8;1.0;1;0;1;0;1", record, &landed));
        QCOMPARE(landed, false);
        QCOMPARE(record.onGround, true);
        QVERIFY(decodeDcsDatagram("F-18C;230;3;8;1.0;1;0;1;0;0", record, &landed));
        QCOMPARE(landed, false);
        QCOMPARE(record.onGround, false);
    }

    void anyNonZeroIntegerIsOnGround() {
        DCSTelemetry record;
        bool landed = false;
        QVERIFY(decodeDcsDatagram("x;0;0;0;0;0;0;0;0;-1", record, &landed));
        QCOMPARE(record.onGround, true);
        QCOMPARE(landed, true);
        record.onGround = false;
        QVERIFY(decodeDcsDatagram("x;0;0;0;0;0;0;0;0;2147483647", record, &landed));
        QCOMPARE(record.onGround, true);
        QCOMPARE(landed, true);
    }

    void onGroundThatIsNotA32BitIntegerIsOffGround_data() {
        QTest::addColumn<QByteArray>("field");
        QTest::newRow("overflow") << QByteArray("2147483648");
        QTest::newRow("underflow") << QByteArray("-2147483649");
        QTest::newRow("text") << QByteArray("abc");
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("fraction") << QByteArray("1.0");
    }
    void onGroundThatIsNotA32BitIntegerIsOffGround() {
        QFETCH(QByteArray, field);
        DCSTelemetry record;
        bool landed = true;
        QVERIFY(decodeDcsDatagram("x;0;0;0;0;0;0;0;0;" + field, record, &landed));
        QCOMPARE(record.onGround, false);
        QCOMPARE(landed, false);
        record.onGround = true;
        QVERIFY(decodeDcsDatagram("x;0;0;0;0;0;0;0;0;" + field, record, &landed));
        QCOMPARE(record.onGround, false);
        QCOMPARE(landed, false);
    }

    void landedPassesTheSameDatagramsValues() {
        // The source emits landed with the record just decoded; the limited airspeed is what it passes.
        DCSTelemetry record;
        bool landed = false;
        QVERIFY(decodeDcsDatagram("Mi-8;1200;-3.5;0;1;1;0;0;0;1", record, &landed));
        QVERIFY(landed);
        QCOMPARE(record.verticalSpeed, -3.5f);
        QCOMPARE(record.getAirspeed(), 1000.0f);
    }

    void fewerThanTenFieldsAreRejectedWhole_data() {
        QTest::addColumn<QByteArray>("datagram");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("name only") << QByteArray("F-16C_50");
        QTest::newRow("nine fields") << QByteArray("F-16C_50;350;1;2;3;1;1;1;80");
        QTest::newRow("nine empty fields") << QByteArray(";;;;;;;;");
    }
    void fewerThanTenFieldsAreRejectedWhole() {
        QFETCH(QByteArray, datagram);
        DCSTelemetry record;
        QVERIFY(decodeDcsDatagram("Yak-52;180;1;2;1.1;1;0;0.5;50;1", record, nullptr));
        bool landed = true;
        QVERIFY(!decodeDcsDatagram(datagram, record, &landed));
        QCOMPARE(landed, false);
        QCOMPARE(record.airspeed, 180.0f);
        QCOMPARE(record.verticalSpeed, 1.0f);
        QCOMPARE(record.aoa, 2.0f);
        QCOMPARE(record.gForce, 1.1f);
        QCOMPARE(record.gear, 100.0f);
        QCOMPARE(record.airbrake, 0.0f);
        QCOMPARE(record.flaps, 50.0f);
        QCOMPARE(record.propAirflow, 50.0f);
        QCOMPARE(record.onGround, true);
    }

    void tenEmptyFieldsDecodeToZeros() {
        DCSTelemetry record;
        record.onGround = true;
        record.aoa = 3;
        QVERIFY(decodeDcsDatagram(";;;;;;;;;", record, nullptr));
        QCOMPARE(record.aoa, 0.0f);
        QCOMPARE(record.onGround, false);
    }

    void extraFieldsAreIgnored() {
        DCSTelemetry record;
        bool landed = false;
        QVERIFY(decodeDcsDatagram("F-14B;500;0;3;2;0;0;0;0;1;99;extra;;", record, &landed));
        QCOMPARE(record.airspeed, 500.0f);
        QCOMPARE(record.onGround, true);
        QCOMPARE(landed, true);
    }

    void flightModuleNameIsTheFirstField() {
        QCOMPARE(dcsFlightModuleName("F-16C_50;350;0;0;1;0;0;0;0;0"), QStringLiteral("F-16C_50"));
        QCOMPARE(dcsFlightModuleName(QStringLiteral("МиГ-29А;1;2").toUtf8()), QStringLiteral("МиГ-29А"));
        QCOMPARE(dcsFlightModuleName("no separator"), QStringLiteral("no separator"));
        QCOMPARE(dcsFlightModuleName(";350"), QString());
        QCOMPARE(dcsFlightModuleName(QByteArray()), QString());
    }

    void randomBytesNeverCrashAndAValidDatagramStillDecodes() {
        DCSTelemetry record;
        for (quint32 seed = 1; seed <= 64; ++seed) {
            const int size = seed == 64 ? 64 * 1024 : int(QRandomGenerator(seed).bounded(2048));
            decodeDcsDatagram(randomBytes(seed, size), record, nullptr);
        }
        // Semicolon-rich noise, as a truncated or garbled text datagram would look.
        QByteArray noise = randomBytes(99, 64 * 1024);
        for (int i = 0; i < noise.size(); i += 7)
            noise[i] = ';';
        decodeDcsDatagram(noise, record, nullptr);

        record.onGround = false;
        bool landed = false;
        QVERIFY(decodeDcsDatagram("AV8BNA;150;-1;6;1.1;1;0;0.5;75;1", record, &landed));
        QCOMPARE(record.airspeed, 150.0f);
        QCOMPARE(record.flaps, 50.0f);
        QCOMPARE(record.propAirflow, 75.0f);
        QCOMPARE(landed, true);
    }
};

QTEST_APPLESS_MAIN(TestDcsDatagram)
#include "tst_dcsdatagram.moc"
