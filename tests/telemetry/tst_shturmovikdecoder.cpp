#include "il2packet.h"
#include "telemetrysourceshturmovik.h"
#include "telemetrytesting.h"

#include <QtTest>
#include <cmath>
#include <limits>

using Result = ShturmovikDecoder::Result;

class TestShturmovikDecoder : public QObject {
    Q_OBJECT

    // Fills all 25 ring entries with differences of 1 from a fresh decoder's start at 0, whatever earlier
    // tests left in the shared ring: afterwards the vertical speed is the last altitude sent.
    static void settleRing(ShturmovikDecoder &decoder, ShturmovikTelemetry &record) {
        for (int i = 1; i <= ShturmovikDecoder::RingSize; ++i)
            QCOMPARE(decoder.decode(Il2Packet().indicator(10, {float(i)}).bytes(), record, nullptr), Result::Decoded);
    }

private slots:
    void decodesEveryIndicator() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        bool landed = true;
        const QByteArray packet = Il2Packet()
                                      .indicator(0, {185000000, 185000000})
                                      .indicator(1, {0.5f, 0.5f})
                                      .indicator(2, {9, 9, 9, 9, 9, 9})
                                      .indicator(3, {})
                                      .indicator(4, {1, 0.5f})
                                      .indicator(5, {0, 0})
                                      .indicator(6, {100})
                                      .indicator(7, {0.1f})
                                      .indicator(8, {1, 2, 3})
                                      .indicator(9, {3, 4})
                                      .indicator(11, {0.5f})
                                      .indicator(12, {0.25f})
                                      .indicator(13, {5, 5, 5, 5, 5, 5, 5, 5})
                                      .indicator(0xffff, {7})
                                      .bytes();
        QCOMPARE(decoder.decode(packet, record, &landed), Result::Decoded);
        QCOMPARE(landed, false);
        QCOMPARE(record.airspeed, 360.0f);                  // 100 m/s
        QCOMPARE(record.aoa, float(0.1f * 57.2958));        // radians to degrees
        QCOMPARE(record.gear, 75.0f);                       // mean of 1 and 0.5, in percent
        QCOMPARE(record.flaps, 50.0f);
        QCOMPARE(record.airbrake, 25.0f);
        QCOMPARE(record.propAirflow, 0.25f);                // (2 × 185e6 × 0.5) / 2 / 1e5 / 3700
        QCOMPARE(record.indicator9First, 3.0f);
        QCOMPARE(record.indicator9Second, 4.0f);
        QCOMPARE(record.onGround, false);
        QCOMPARE(record.gForce, 0.0f); // IL-2 sends no load factor
        QCOMPARE(record.trimmerPitch, 0.0f);
    }

    void propellerAirflowIsLimitedToOne() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        QCOMPARE(decoder.decode(Il2Packet().indicator(0, {370000000}).indicator(1, {10}).bytes(), record, nullptr),
                 Result::Decoded);
        QCOMPARE(record.propAirflow, 1.0f); // 10 before the limit
        QCOMPARE(decoder.decode(Il2Packet().indicator(0, {-370000000}).indicator(1, {1}).bytes(), record, nullptr),
                 Result::Decoded);
        QCOMPARE(record.propAirflow, -1.0f); // only the top is limited
    }

    void engineValuesPersistBetweenPackets() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        QCOMPARE(decoder.decode(Il2Packet().indicator(1, {0.5f}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.propAirflow, 0.0f); // no identifier-0 values yet: 0/0, stored as 0
        QCOMPARE(decoder.decode(Il2Packet().indicator(0, {740000000}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.propAirflow, 1.0f);
        QCOMPARE(decoder.decode(Il2Packet().indicator(0, {370000000}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.propAirflow, 0.5f);
    }

    void emptyMeansBecomeZero() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        record.gear = 50;
        QCOMPARE(decoder.decode(Il2Packet().indicator(4, {}).indicator(5, {}).bytes(), record, nullptr),
                 Result::Decoded);
        QCOMPARE(record.gear, 0.0f);
        QCOMPARE(record.onGround, false);
    }

    void nanValuesBecomeZero() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        const float nan = std::numeric_limits<float>::quiet_NaN();
        QCOMPARE(decoder.decode(Il2Packet()
                                    .indicator(6, {nan})
                                    .indicator(7, {nan})
                                    .indicator(4, {nan})
                                    .indicator(9, {nan, 2})
                                    .indicator(11, {nan})
                                    .indicator(12, {nan})
                                    .indicator(0, {nan})
                                    .indicator(1, {1})
                                    .bytes(),
                                record, nullptr),
                 Result::Decoded);
        QCOMPARE(record.airspeed, 0.0f);
        QCOMPARE(record.aoa, 0.0f);
        QCOMPARE(record.gear, 0.0f);
        QCOMPARE(record.indicator9First, 0.0f);
        QCOMPARE(record.indicator9Second, 2.0f);
        QCOMPARE(record.flaps, 0.0f);
        QCOMPARE(record.airbrake, 0.0f);
        QCOMPARE(record.propAirflow, 0.0f);
    }

    // Wheel values that are not numbers or infinite: the mean decides, and only a mean above 0.01 is contact.
    void nonFiniteWheelValues() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        settleRing(decoder, record);
        const float nan = std::numeric_limits<float>::quiet_NaN();
        const float inf = std::numeric_limits<float>::infinity();
        bool landed = true;
        QCOMPARE(decoder.decode(Il2Packet().indicator(5, {nan}).bytes(), record, &landed), Result::Decoded);
        QCOMPARE(landed, false);
        QCOMPARE(record.onGround, false);
        QCOMPARE(decoder.decode(Il2Packet().indicator(5, {inf, 0}).bytes(), record, &landed), Result::Decoded);
        QCOMPARE(landed, true);
        QCOMPARE(record.onGround, true);
        QCOMPARE(decoder.decode(Il2Packet().indicator(5, {inf}).bytes(), record, &landed), Result::Decoded);
        QCOMPARE(landed, false); // already on the ground
        QCOMPARE(decoder.decode(Il2Packet().indicator(5, {-inf}).bytes(), record, &landed), Result::Decoded);
        QCOMPARE(landed, false);
        QCOMPARE(record.onGround, false);
        QCOMPARE(decoder.decode(Il2Packet().indicator(5, {inf, -inf}).bytes(), record, &landed), Result::Decoded);
        QCOMPARE(record.onGround, false); // inf - inf: the mean is not a number
        QCOMPARE(decoder.decode(Il2Packet().indicator(5, {0.5f, nan}).bytes(), record, &landed), Result::Decoded);
        QCOMPARE(record.onGround, false);
        QCOMPARE(landed, false);
        QCOMPARE(record.verticalSpeed, 25.0f); // the ring is not touched by wheel values
    }

    // A not-a-number altitude turns two ring entries into NaN (its own rise and the next one's), so the
    // vertical speed reads 0 until both have left the ring 25 packets later.
    void notANumberAltitude() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        settleRing(decoder, record); // ring all 1, last altitude 25
        const float nan = std::numeric_limits<float>::quiet_NaN();
        QCOMPARE(decoder.decode(Il2Packet().indicator(10, {nan}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.verticalSpeed, 0.0f);
        for (int k = 1; k <= 25; ++k) {
            QCOMPARE(decoder.decode(Il2Packet().indicator(10, {float(99 + k)}).bytes(), record, nullptr),
                     Result::Decoded);
            QCOMPARE(record.verticalSpeed, 0.0f);
        }
        QCOMPARE(decoder.decode(Il2Packet().indicator(10, {125}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.verticalSpeed, 25.0f); // 125 now, 100 twenty-five packets ago
    }

    // Only NaN becomes 0: an infinite altitude gives an infinite vertical speed for its packet; the next rise
    // is then infinite the other way, their sum is NaN and the speed reads 0 while both are in the ring.
    void infiniteAltitude_data() {
        QTest::addColumn<float>("altitude");
        QTest::newRow("+inf") << std::numeric_limits<float>::infinity();
        QTest::newRow("-inf") << -std::numeric_limits<float>::infinity();
    }
    void infiniteAltitude() {
        QFETCH(float, altitude);
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        settleRing(decoder, record);
        QCOMPARE(decoder.decode(Il2Packet().indicator(10, {altitude}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.verticalSpeed, altitude);
        for (int k = 0; k < 24; ++k) {
            QCOMPARE(decoder.decode(Il2Packet().indicator(10, {float(30 + k)}).bytes(), record, nullptr),
                     Result::Decoded);
            QCOMPARE(record.verticalSpeed, 0.0f);
        }
        // The infinite rise has left the ring; the opposite one is still in it.
        QCOMPARE(decoder.decode(Il2Packet().indicator(10, {54}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.verticalSpeed, -altitude);
        QCOMPARE(decoder.decode(Il2Packet().indicator(10, {55}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.verticalSpeed, 25.0f);
    }

    void groundContactLandsOnce() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        settleRing(decoder, record);
        bool landed = false;
        QCOMPARE(decoder.decode(Il2Packet().indicator(5, {0.5f, 0.5f}).indicator(6, {60}).bytes(), record, &landed),
                 Result::Decoded);
        QCOMPARE(landed, true);
        QCOMPARE(record.onGround, true);
        QCOMPARE(record.airspeed, 216.0f);
        QCOMPARE(decoder.decode(Il2Packet().indicator(5, {1, 1}).bytes(), record, &landed), Result::Decoded);
        QCOMPARE(landed, false);
        // A mean of exactly 0.01 is not ground contact.
        QCOMPARE(decoder.decode(Il2Packet().indicator(5, {0.01f}).bytes(), record, &landed), Result::Decoded);
        QCOMPARE(landed, false);
        QCOMPARE(record.onGround, false);
        QCOMPARE(decoder.decode(Il2Packet().indicator(5, {0.02f, 0.02f}).bytes(), record, &landed), Result::Decoded);
        QCOMPARE(landed, true);
    }

    void verticalSpeedIsTheAltitudeChangeOverTwentyFivePackets() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        // A fresh decoder's previous altitude is 0, so after 25 packets the ring holds exactly their rises.
        for (int k = 1; k <= 25; ++k)
            QCOMPARE(decoder.decode(Il2Packet().indicator(10, {float(10 * k)}).bytes(), record, nullptr),
                     Result::Decoded);
        QCOMPARE(record.verticalSpeed, 250.0f);
        QCOMPARE(decoder.decode(Il2Packet().indicator(10, {1000}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.verticalSpeed, 990.0f); // 1000 now, 10 twenty-five packets ago
        QCOMPARE(decoder.decode(Il2Packet().indicator(6, {50}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.verticalSpeed, 990.0f); // no altitude in this packet: the ring is unchanged
    }

    void ringIsSharedByEveryDecoderAndNeverReset() {
        ShturmovikTelemetry record;
        {
            ShturmovikDecoder first;
            for (int k = 1; k <= 25; ++k)
                QCOMPARE(first.decode(Il2Packet().indicator(10, {float(10 * k)}).bytes(), record, nullptr),
                         Result::Decoded);
            QCOMPARE(record.verticalSpeed, 250.0f);
        }
        ShturmovikDecoder second;
        QCOMPARE(second.decode(Il2Packet().indicator(10, {5}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.verticalSpeed, 245.0f); // 24 rises of 10 left by the first decoder, then 5
    }

    void noIndicatorsChangesNothing_data() {
        QTest::addColumn<int>("count");
        QTest::newRow("zero") << 0;
        QTest::newRow("minus one") << -1;
        QTest::newRow("minus 128") << -128;
    }
    void noIndicatorsChangesNothing() {
        QFETCH(int, count);
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        settleRing(decoder, record);
        QCOMPARE(decoder.decode(Il2Packet().indicator(6, {100}).bytes(), record, nullptr), Result::Decoded);
        const float verticalSpeed = record.verticalSpeed;
        bool landed = true;
        const QByteArray packet = Il2Packet().indicator(10, {5000}).indicator(6, {10}).indicator(5, {1}).bytesWithCount(
            qint8(count));
        QCOMPARE(decoder.decode(packet, record, &landed), Result::NoIndicators);
        QCOMPARE(landed, false);
        QCOMPARE(record.airspeed, 360.0f);
        QCOMPARE(record.verticalSpeed, verticalSpeed);
        QCOMPARE(record.onGround, false);
        // The game's 12-byte pause packet.
        QCOMPARE(decoder.decode(Il2Packet().append(QByteArray(1, '\0')).bytesWithCount(0), record, nullptr),
                 Result::NoIndicators);
    }

    void malformedPacketsAreRejectedWhole_data() {
        QTest::addColumn<QByteArray>("packet");
        const Il2Packet altitude = Il2Packet().indicator(10, {5000}).indicator(6, {10}).indicator(5, {1});
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("header only") << Il2Packet().bytes().left(10);
        QTest::newRow("count claims more indicators") << altitude.bytesWithCount(4);
        QTest::newRow("truncated indicator header") << Il2Packet(altitude).append("\x06").bytesWithCount(4);
        QTest::newRow("values run past the end") << Il2Packet(altitude).rawIndicator(13, 3, {1, 2}).bytes();
        QTest::newRow("negative value count") << Il2Packet(altitude).rawIndicator(13, -1, {}).bytes();
        QTest::newRow("five engine values") << Il2Packet(altitude).indicator(0, {1, 2, 3, 4, 5}).bytes();
        QTest::newRow("five engine B values") << Il2Packet(altitude).indicator(1, {1, 2, 3, 4, 5}).bytes();
        QTest::newRow("five gear values") << Il2Packet(altitude).indicator(4, {1, 2, 3, 4, 5}).bytes();
        QTest::newRow("five wheel values") << Il2Packet(altitude).indicator(5, {1, 1, 1, 1, 1}).bytes();
        QTest::newRow("airspeed without value") << Il2Packet(altitude).indicator(6, {}).bytes();
        QTest::newRow("aoa without value") << Il2Packet(altitude).indicator(7, {}).bytes();
        QTest::newRow("indicator 8 with two values") << Il2Packet(altitude).indicator(8, {1, 2}).bytes();
        QTest::newRow("indicator 9 with one value") << Il2Packet(altitude).indicator(9, {1}).bytes();
        QTest::newRow("altitude without value") << Il2Packet(altitude).indicator(10, {}).bytes();
        QTest::newRow("flaps without value") << Il2Packet(altitude).indicator(11, {}).bytes();
        QTest::newRow("airbrake without value") << Il2Packet(altitude).indicator(12, {}).bytes();
        QTest::newRow("huge value count") << Il2Packet(altitude).rawIndicator(13, 127, {1}).bytes();
    }
    void malformedPacketsAreRejectedWhole() {
        QFETCH(QByteArray, packet);
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        settleRing(decoder, record);
        QCOMPARE(decoder.decode(Il2Packet().indicator(6, {100}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.verticalSpeed, 25.0f);
        bool landed = true;
        QCOMPARE(decoder.decode(packet, record, &landed), Result::Rejected);
        QCOMPARE(landed, false);
        QCOMPARE(record.airspeed, 360.0f);
        QCOMPARE(record.onGround, false);
        // Neither the ring nor the kept values moved: the next good packet sees the state from before.
        QCOMPARE(decoder.decode(Il2Packet().indicator(12, {0}).bytes(), record, nullptr), Result::Decoded);
        QCOMPARE(record.verticalSpeed, 25.0f);
        QCOMPARE(record.airspeed, 360.0f);
        QCOMPARE(record.onGround, false);
    }

    void trailingBytesAfterTheIndicatorsAreIgnored() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        QCOMPARE(decoder.decode(Il2Packet().indicator(6, {50}).append(QByteArray(40, '\x7f')).bytes(), record, nullptr),
                 Result::Decoded);
        QCOMPARE(record.airspeed, 180.0f);
    }

    void randomBytesNeverCrashAndAValidPacketStillDecodes() {
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        for (quint32 seed = 1; seed <= 200; ++seed) {
            const int size = seed == 200 ? 64 * 1024 : int(QRandomGenerator(seed).bounded(600));
            QByteArray noise = randomBytes(seed, size);
            if (noise.size() > 10)
                noise[10] = char(seed % 16); // small positive counts reach the indicator walk
            decoder.decode(noise, record, nullptr);
        }
        // The noise may have left any previous altitude behind: pin it at 100, then rise by 1 for 25 packets.
        QCOMPARE(decoder.decode(Il2Packet().indicator(10, {100}).bytes(), record, nullptr), Result::Decoded);
        for (int k = 1; k <= ShturmovikDecoder::RingSize; ++k)
            QCOMPARE(decoder.decode(Il2Packet().indicator(10, {float(100 + k)}).bytes(), record, nullptr),
                     Result::Decoded);
        QCOMPARE(decoder.decode(Il2Packet().indicator(6, {50}).indicator(11, {1}).bytes(), record, nullptr),
                 Result::Decoded);
        QCOMPARE(record.airspeed, 180.0f);
        QCOMPARE(record.flaps, 100.0f);
        QCOMPARE(record.verticalSpeed, 25.0f);
    }
};

QTEST_APPLESS_MAIN(TestShturmovikDecoder)
#include "tst_shturmovikdecoder.moc"
