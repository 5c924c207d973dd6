#include "telemetrysourcecondor2.h"
#include "telemetrytesting.h"

#include <QtTest>

class TestCondorDatagram : public QObject {
    Q_OBJECT

private slots:
    void decodesTheThreeKeys() {
        Condor2Telemetry record;
        decodeCondorDatagram("time=13.5\r\nairspeed=50\r\naltitude=812.25\r\nvario=1.5\r\ngforce=1.25\r\n"
                             "turbulencestrength=0.375\r\nyaw=0.1\r\n",
                             record);
        QCOMPARE(record.airspeed, 180.0f); // 50 m/s
        QCOMPARE(record.gForce, 1.25f);
        QCOMPARE(record.turbulenceStrength, 0.375f);
        // Condor fills nothing else.
        QCOMPARE(record.verticalSpeed, 0.0f);
        QCOMPARE(record.aoa, 0.0f);
        QCOMPARE(record.propAirflow, 0.0f);
        QCOMPARE(record.onGround, false);
    }

    void airspeedIsConvertedInDoublePrecision() {
        Condor2Telemetry record;
        decodeCondorDatagram("airspeed=33.3333\n", record);
        QCOMPARE(record.airspeed, float(double(33.3333f) * 3.6));
    }

    void linesWithoutEqualsAreSkipped() {
        Condor2Telemetry record;
        decodeCondorDatagram("airspeed=10\ngforce=2\nturbulencestrength=0.5", record);
        decodeCondorDatagram("airspeed\r\ngforce 3\r\nturbulencestrength=0.25\r\n", record);
        QCOMPARE(record.airspeed, 36.0f);
        QCOMPARE(record.gForce, 2.0f);
        QCOMPARE(record.turbulenceStrength, 0.25f);
    }

    void theValueLiesBetweenTheFirstAndSecondEquals() {
        Condor2Telemetry record;
        decodeCondorDatagram("gforce=1.5=9\nairspeed= 12.5 \nturbulencestrength=\n", record);
        QCOMPARE(record.gForce, 1.5f);
        QCOMPARE(record.airspeed, 45.0f);
        QCOMPARE(record.turbulenceStrength, 0.0f); // empty text is unparsable, so 0
    }

    void keysArePrefixesOfTheUntrimmedLineAndCaseSensitive() {
        Condor2Telemetry record;
        decodeCondorDatagram("airspeedx=10\n gforce=5\nGFORCE=6\nTurbulencestrength=7\n", record);
        QCOMPARE(record.airspeed, 36.0f);
        QCOMPARE(record.gForce, 0.0f);
        QCOMPARE(record.turbulenceStrength, 0.0f);
    }

    void numbersMayUseExponentsButNotCommas() {
        Condor2Telemetry record;
        decodeCondorDatagram("gforce=1.5e0\nturbulencestrength=2,5\r\nairspeed=-1E1\r\n", record);
        QCOMPARE(record.gForce, 1.5f);
        QCOMPARE(record.turbulenceStrength, 0.0f);
        QCOMPARE(record.airspeed, -36.0f);
        QCOMPARE(record.getAirspeed(), 0.0f);
    }

    void laterLinesWin() {
        Condor2Telemetry record;
        decodeCondorDatagram("gforce=1\ngforce=2\n", record);
        QCOMPARE(record.gForce, 2.0f);
    }

    void emptyAndForeignDatagramsChangeNothing() {
        Condor2Telemetry record;
        decodeCondorDatagram("airspeed=20\ngforce=1\n", record);
        decodeCondorDatagram(QByteArray(), record);
        decodeCondorDatagram("\n\n\r\n", record);
        decodeCondorDatagram("=\n==\nairspeed\ngforce", record);
        QCOMPARE(record.airspeed, 72.0f);
        QCOMPARE(record.gForce, 1.0f);
    }

    void randomBytesNeverCrashAndAValidDatagramStillDecodes() {
        Condor2Telemetry record;
        for (quint32 seed = 1; seed <= 64; ++seed) {
            const int size = seed == 64 ? 64 * 1024 : int(QRandomGenerator(seed).bounded(2048));
            QByteArray noise = randomBytes(seed, size);
            // Plant key prefixes so the value parsing is reached too.
            for (int i = 0; i + 20 < noise.size(); i += 97)
                noise.replace(i, 9, i % 2 ? "\nairspeed" : "\ngforce==");
            decodeCondorDatagram(noise, record);
        }
        decodeCondorDatagram("airspeed=25\r\ngforce=0.5\r\nturbulencestrength=1\r\n", record);
        QCOMPARE(record.airspeed, 90.0f);
        QCOMPARE(record.gForce, 0.5f);
        QCOMPARE(record.turbulenceStrength, 1.0f);
    }
};

QTEST_APPLESS_MAIN(TestCondorDatagram)
#include "tst_condordatagram.moc"
