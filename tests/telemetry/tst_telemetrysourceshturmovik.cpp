#include "il2packet.h"
#include "sourcesession.h"
#include "telemetrysourceshturmovik.h"

using Session = SourceSession<TelemetrySourceShturmovik, ShturmovikTelemetry>;

class TestTelemetrySourceShturmovik : public QObject {
    Q_OBJECT

private slots:
    void init() { ManualClock::install(); }
    void cleanup() { ManualClock::uninstall(); }

    void defaultPort() { QCOMPARE(TelemetrySourceShturmovik::DefaultPort, quint16(29777)); }

    void declaresAsGenericWarbirdWithoutDecoding() {
        Session s;
        QVERIFY(s.deliver(Il2Packet().indicator(6, {100}).bytes()));
        QCOMPARE(s.declared.count(), 1);
        QCOMPARE(s.declared[0][0].value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_IL2);
        QCOMPARE(s.declared[0][1].toString(), QStringLiteral("Generic warbird"));
        QCOMPARE(s.records.size(), 0);
        QVERIFY(s.deliver(Il2Packet().indicator(6, {50}).indicator(9, {1.5f, 2.5f}).bytes()));
        QCOMPARE(s.records.size(), 1);
        QCOMPARE(s.records[0].airspeed, 180.0f);
        QCOMPARE(s.records[0].indicator9First, 1.5f);
        QCOMPARE(s.records[0].indicator9Second, 2.5f);
    }

    void aPacketWithoutIndicatorsIsStillEmittedUnchanged() {
        Session s;
        QVERIFY(s.deliver(Il2Packet().indicator(6, {100}).bytes()));
        QVERIFY(s.deliver(Il2Packet().indicator(6, {100}).indicator(11, {0.5f}).bytes()));
        QVERIFY(s.deliver(Il2Packet().append(QByteArray(1, '\0')).bytesWithCount(0)));
        QVERIFY(s.deliver(Il2Packet().indicator(6, {20}).bytesWithCount(-3)));
        QCOMPARE(s.records.size(), 3);
        for (const ShturmovikTelemetry &record : s.records) {
            QCOMPARE(record.airspeed, 360.0f);
            QCOMPARE(record.flaps, 50.0f);
        }
    }

    void groundContactLandsOnceWithTheRecordsValues() {
        Session s;
        QVERIFY(s.deliver(Il2Packet().indicator(5, {0, 0}).bytes()));
        QVERIFY(s.deliver(Il2Packet().indicator(5, {0, 0}).indicator(6, {55}).bytes()));
        QCOMPARE(s.landed.count(), 0);
        QVERIFY(s.deliver(Il2Packet().indicator(5, {0.3f, 0.5f}).indicator(6, {50}).bytes()));
        QCOMPARE(s.landed.count(), 1);
        QCOMPARE(s.landed[0][0].toFloat(), s.records.last().verticalSpeed);
        QCOMPARE(s.landed[0][1].toFloat(), 180.0f);
        QVERIFY(s.deliver(Il2Packet().indicator(5, {0.5f, 0.5f}).bytes()));
        QCOMPARE(s.landed.count(), 1);
        QCOMPARE(s.records.last().onGround, true);
    }

    void verticalSpeedOverTwentyFiveDatagrams() {
        Session s;
        QVERIFY(s.deliver(Il2Packet().indicator(10, {0}).bytes())); // declares only
        // Pin the previous altitude, then rise by 2 m per packet for 25 packets.
        QVERIFY(s.deliver(Il2Packet().indicator(10, {500}).bytes()));
        for (int k = 1; k <= 25; ++k)
            QVERIFY(s.deliver(Il2Packet().indicator(10, {float(500 + 2 * k)}).bytes()));
        QCOMPARE(s.records.last().verticalSpeed, 50.0f);
        QVERIFY(s.deliver(Il2Packet().indicator(10, {500}).bytes()));
        QCOMPARE(s.records.last().verticalSpeed, -2.0f); // 500 now, 502 twenty-five packets ago
    }

    void silenceEndsWithTheIdleRecord() {
        Session s;
        QVERIFY(s.deliver(Il2Packet().indicator(6, {100}).bytes()));
        QVERIFY(s.deliver(Il2Packet().indicator(6, {100}).indicator(9, {1, 2}).bytes()));
        ManualClock::now += 1001;
        s.source.poll();
        QCOMPARE(s.ended.count(), 1);
        QCOMPARE(s.records.size(), 2);
        QCOMPARE(s.records[1].airspeed, 0.0f);
        QCOMPARE(s.records[1].indicator9First, 0.0f);
        QCOMPARE(s.records[1].indicator9Second, 0.0f);
        QVERIFY(!s.source.isActive());
    }

    void hostileDatagramsLeaveTheSourceWorking() {
        Session s;
        QVERIFY(s.deliver(Il2Packet().indicator(6, {100}).bytes()));
        for (quint32 seed = 1; seed <= 8; ++seed) {
            QByteArray noise = randomBytes(seed, seed == 8 ? 65507 : int(seed * 37));
            if (noise.size() > 10)
                noise[10] = char(seed);
            QVERIFY(s.deliver(noise));
        }
        QVERIFY(s.deliver(Il2Packet().indicator(6, {10}).indicator(12, {1}).bytes()));
        QCOMPARE(s.records.last().airspeed, 36.0f);
        QCOMPARE(s.records.last().airbrake, 100.0f);
    }
};

QTEST_GUILESS_MAIN(TestTelemetrySourceShturmovik)
#include "tst_telemetrysourceshturmovik.moc"
