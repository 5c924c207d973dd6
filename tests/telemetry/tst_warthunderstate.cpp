#include "telemetrysourcewarthunder.h"
#include "telemetrytesting.h"

#include <QtTest>

class TestWarthunderState : public QObject {
    Q_OBJECT

private slots:
    void readsAirspeedLoadFactorAndAngleOfAttack() {
        WarthunderTelemetry record;
        decodeWarthunderState(R"({"valid": true, "aileron, %": -3, "IAS, km/h": 412, "TAS, km/h": 440,
                                  "Ny": 2.5, "AoA, deg": 4.25, "gear, %": 0, "flaps, %": 20})",
                              record);
        QCOMPARE(record.airspeed, 412.0f);
        QCOMPARE(record.gForce, 2.5f);
        QCOMPARE(record.aoa, 4.25f);
        // No other key is read.
        QCOMPARE(record.gear, 0.0f);
        QCOMPARE(record.flaps, 0.0f);
        QCOMPARE(record.verticalSpeed, 0.0f);
        QCOMPARE(record.onGround, false);
    }

    void valuesAreReadAsDoublesAndStoredAsFloats() {
        WarthunderTelemetry record;
        decodeWarthunderState(R"({"IAS, km/h": 1200.7, "Ny": -0, "AoA, deg": 0.1})", record);
        QCOMPARE(record.airspeed, float(1200.7));
        QCOMPARE(record.getAirspeed(), 1000.0f);
        QCOMPARE(record.gForce, 0.0f);
        QCOMPARE(record.aoa, float(0.1));
    }

    void missingKeysAndNonNumbersGiveZero() {
        WarthunderTelemetry record;
        decodeWarthunderState(R"({"IAS, km/h": 300, "Ny": 1.5, "AoA, deg": 2})", record);
        decodeWarthunderState(R"({"IAS, km/h": "300", "AoA, deg": null})", record);
        QCOMPARE(record.airspeed, 0.0f);
        QCOMPARE(record.gForce, 0.0f); // no "Ny"
        QCOMPARE(record.aoa, 0.0f);
    }

    void theValidFlagIsNotConsulted() {
        WarthunderTelemetry record;
        decodeWarthunderState(R"({"valid": false, "IAS, km/h": 120})", record);
        QCOMPARE(record.airspeed, 120.0f);
        decodeWarthunderState(R"({"valid": false})", record);
        QCOMPARE(record.airspeed, 0.0f);
    }

    void aBodyThatIsNotAnObjectGivesZeros_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("html") << QByteArray("<html><body>404</body></html>");
        QTest::newRow("truncated") << QByteArray(R"({"IAS, km/h": 300, "Ny": 1.)");
        QTest::newRow("array") << QByteArray(R"([{"IAS, km/h": 300}])");
        QTest::newRow("number") << QByteArray("300");
    }
    void aBodyThatIsNotAnObjectGivesZeros() {
        QFETCH(QByteArray, body);
        WarthunderTelemetry record;
        decodeWarthunderState(R"({"IAS, km/h": 300, "Ny": 1.5, "AoA, deg": 2})", record);
        decodeWarthunderState(body, record);
        QCOMPARE(record.airspeed, 0.0f);
        QCOMPARE(record.gForce, 0.0f);
        QCOMPARE(record.aoa, 0.0f);
    }

    void randomBytesNeverCrash() {
        WarthunderTelemetry record;
        for (quint32 seed = 1; seed <= 32; ++seed)
            decodeWarthunderState(randomBytes(seed, seed == 32 ? 64 * 1024 : int(seed * 61)), record);
        decodeWarthunderState(R"({"IAS, km/h": 250, "Ny": 1, "AoA, deg": -1.5})", record);
        QCOMPARE(record.airspeed, 250.0f);
        QCOMPARE(record.gForce, 1.0f);
        QCOMPARE(record.aoa, -1.5f);
    }
};

QTEST_APPLESS_MAIN(TestWarthunderState)
#include "tst_warthunderstate.moc"
