#include "telemetryrecorder.h"
#include "telemetryrecording.h"
#include "telemetryring.h"

#include <QtTest>

using TelemetryRecording::Kind;

namespace {
constexpr int64_t Second = 1000000000;
} // namespace

// The last minute of telemetry in memory: what it keeps, how it reads as a recording, and that the sources'
// one call feeds it once it is on.
class TestTelemetryRing : public QObject {
    Q_OBJECT

private slots:
    void init() { TelemetryRing::instance().disable(); }
    void cleanup() { TelemetryRing::instance().disable(); }

    void offItKeepsNothing() {
        TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram, "abc", 3);
        QCOMPARE(TelemetryRing::instance().size(), 0);
    }

    void theRecorderHandsItEveryRecord() {
        TelemetryRing::instance().enable();
        TelemetryRecorder::noteDatagram(Telemetry::TELEMETRY_SOURCE_CONDOR, QByteArray("xyz"), 3);
        TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_WARTHUNDER, Kind::HttpBody, "{}", 2);
        QCOMPARE(TelemetryRing::instance().size(), 2);
        QVERIFY(!TelemetryRecorder::instance().isRecording());
    }

    void keepsTheLastMinuteAndReadsAsARecording() {
        TelemetryRing &ring = TelemetryRing::instance();
        ring.enable();
        ring.append(Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram, "old", 3, 10 * Second);
        ring.append(Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram, "one", 3, 20 * Second);
        ring.append(Telemetry::TELEMETRY_SOURCE_MSFS, Kind::MsfsDataBlock, "two", 3, 20 * Second + 1500000);
        ring.append(Telemetry::TELEMETRY_SOURCE_XPLANE, Kind::UdpDatagram, "three", 5, 75 * Second);
        // At 75 s the first (10 s) is more than a minute old and gone.
        QCOMPARE(ring.size(), 3);
        const QByteArray bytes = ring.recording();
        TelemetryRecording::Reader reader;
        QVERIFY2(reader.open(bytes.constData(), bytes.size()), qPrintable(reader.error()));
        TelemetryRecording::Record record;
        QVERIFY(reader.next(record));
        QCOMPARE(record.micros, int64_t(0));
        QCOMPARE(record.source, uint8_t(Telemetry::TELEMETRY_SOURCE_DCS));
        QCOMPARE(record.payload, QByteArray("one"));
        QVERIFY(reader.next(record));
        QCOMPARE(record.micros, int64_t(1500));
        QCOMPARE(record.kind, Kind::MsfsDataBlock);
        QVERIFY(reader.next(record));
        QCOMPARE(record.micros, int64_t(55 * 1000000));
        QCOMPARE(record.payload, QByteArray("three"));
        QVERIFY(!reader.next(record));
        QVERIFY(reader.error().isEmpty());

        const auto counts = ring.countsSince(75 * Second, 5 * Second);
        QCOMPARE(counts[Telemetry::TELEMETRY_SOURCE_XPLANE], 1);
        QCOMPARE(counts[Telemetry::TELEMETRY_SOURCE_DCS], 0);
        QCOMPARE(ring.countsSince(21 * Second, 5 * Second)[Telemetry::TELEMETRY_SOURCE_DCS], 1);
    }

    void aFloodIsBoundedBySize() {
        TelemetryRing &ring = TelemetryRing::instance();
        ring.enable();
        const QByteArray big(1024 * 1024, 'x');
        for (int index = 0; index < 40; ++index)
            ring.append(Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram, big.constData(), big.size(),
                        Second + index);
        QCOMPARE(ring.size(), 32);
        // Nonsense sizes are refused.
        ring.append(Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram, big.constData(), -1, 2 * Second);
        QCOMPARE(ring.size(), 32);
    }

    void anEmptyRingIsAnEmptyRecording() {
        TelemetryRing::instance().enable();
        const QByteArray bytes = TelemetryRing::instance().recording();
        TelemetryRecording::Reader reader;
        QVERIFY(reader.open(bytes.constData(), bytes.size()));
        TelemetryRecording::Record record;
        QVERIFY(!reader.next(record));
        QVERIFY(reader.error().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestTelemetryRing)
#include "tst_telemetryring.moc"
