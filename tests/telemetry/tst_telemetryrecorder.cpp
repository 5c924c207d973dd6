#include "httpstub.h"
#include "telemetryrecorder.h"
#include "telemetryrecording.h"
#include "telemetrysourcedcs.h"
#include "telemetrysourcewarthunder.h"
#include "telemetrytesting.h"
#include "udpsender.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using TelemetryRecording::Kind;
using TelemetryRecording::Record;

namespace {

// Reads a recording file as it stands on disk right now, as a reader would after the program was killed.
QList<Record> recordsOnDisk(const QString &path, QString *error) {
    QFile file(path);
    QList<Record> records;
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return records;
    }
    const QByteArray bytes = file.readAll();
    TelemetryRecording::Reader reader;
    if (!reader.open(bytes.constData(), bytes.size())) {
        *error = reader.error();
        return records;
    }
    Record r;
    while (reader.next(r))
        records << r;
    *error = reader.error();
    return records;
}

} // namespace

class TestTelemetryRecorder : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;

private slots:
    void cleanup() {
        TelemetryRecorder::instance().stop();
        TelemetryRecorder::instance().setLimitBytes(TelemetryRecorder::DefaultLimitBytes);
    }

    void nothingIsWrittenWhileNotRecording() {
        QVERIFY(!TelemetryRecorder::instance().isRecording());
        const QString path = dir.filePath(QStringLiteral("idle.qrec"));
        TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram, "x", 1);
        QVERIFY(!QFile::exists(path));
    }

    void everyDatagramOfABurstIsRecordedAsItArrives() {
        const QString path = dir.filePath(QStringLiteral("dcs.qrec"));
        QString error;
        QVERIFY2(TelemetryRecorder::instance().start(path, &error), qPrintable(error));
        TelemetrySourceDCS source(nullptr, 0);
        UdpSender sender(source.localPort());
        const QList<QByteArray> datagrams{"A-10C;300;0;2;1;0;0;0;80;0", "A-10C;310;0;2;1;0;0;0;80;0", "",
                                          "A-10C;320;1;3;1.5;0;0;0;80;0"};
        for (const QByteArray &datagram : datagrams)
            QVERIFY(sender.send(datagram));
        QList<Record> records;
        // No stop, no flush call: what is on disk already is what a killed program leaves.
        QVERIFY(pollUntil([&] { source.poll(); },
                          [&] {
                              records = recordsOnDisk(path, &error);
                              return records.size() == datagrams.size();
                          }));
        QVERIFY2(error.isEmpty(), qPrintable(error));
        for (int i = 0; i < datagrams.size(); ++i) {
            QCOMPARE(records[i].payload, datagrams[i]);
            QCOMPARE(records[i].source, uint8_t(Telemetry::TELEMETRY_SOURCE_DCS));
            QCOMPARE(records[i].kind, Kind::UdpDatagram);
            if (i > 0)
                QVERIFY(records[i].micros >= records[i - 1].micros);
        }
    }

    void warthunderBodiesAreRecordedAndStillDecoded() {
        HttpStub stub;
        QVERIFY(stub.listen());
        const QByteArray body = R"({"valid": true, "IAS, km/h": 412.5, "Ny": 2.25, "AoA, deg": 6.5})";
        stub.answer(body);
        const QString path = dir.filePath(QStringLiteral("wt.qrec"));
        QVERIFY(TelemetryRecorder::instance().start(path));
        TelemetrySourceWarthunder source(nullptr, stub.url());
        QList<WarthunderTelemetry> decoded;
        connect(&source, &TelemetrySourceWarthunder::telemetryChanged,
                [&](const WarthunderTelemetry &t) { decoded << t; });
        QVERIFY(pollUntil([&] { source.poll(); }, [&] { return !decoded.isEmpty(); }));
        QCOMPARE(decoded.first().gForce, 2.25f);
        QCOMPARE(decoded.first().aoa, 6.5f);
        QString error;
        const QList<Record> records = recordsOnDisk(path, &error);
        QVERIFY2(records.size() >= 2, qPrintable(error)); // the declaring reply and the decoded one
        for (const Record &r : records) {
            QCOMPARE(r.payload, body);
            QCOMPARE(r.kind, Kind::HttpBody);
            QCOMPARE(r.source, uint8_t(Telemetry::TELEMETRY_SOURCE_WARTHUNDER));
        }

        // A failed request has no body to record.
        stub.setMode(HttpStub::Mode::Close);
        QSignalSpy ended(&source, &TelemetrySource::telemetryEnded);
        QVERIFY(pollUntil([&] { source.poll(); }, [&] { return ended.count() == 1; }));
        QCOMPARE(recordsOnDisk(path, &error).size(), records.size());
    }

    void theLimitStopsTheRecordingCleanly() {
        const QString path = dir.filePath(QStringLiteral("limited.qrec"));
        TelemetryRecorder &recorder = TelemetryRecorder::instance();
        QVERIFY(recorder.start(path));
        const qint64 header = QFileInfo(path).size();
        // Room for exactly three 10-byte records.
        recorder.setLimitBytes(header + 3 * (TelemetryRecording::RecordHeadSize + 10));
        QSignalSpy stopped(&recorder, &TelemetryRecorder::stopped);
        for (int i = 0; i < 5; ++i)
            TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_CONDOR, Kind::UdpDatagram, "0123456789", 10);
        QCOMPARE(stopped.count(), 1);
        QCOMPARE(stopped.first().first().toString(),
                 QStringLiteral("Recording stopped: %1 reached its size limit of %2 bytes")
                     .arg(path)
                     .arg(header + 3 * 24));
        QVERIFY(!recorder.isRecording());
        QString error;
        QCOMPARE(recordsOnDisk(path, &error).size(), 3);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QCOMPARE(QFileInfo(path).size(), header + 3 * 24);
    }

    void anUnwritablePathIsReported() {
        QString error;
        QVERIFY(!TelemetryRecorder::instance().start(dir.filePath(QStringLiteral("no/such/folder/x.qrec")), &error));
        QVERIFY2(error.startsWith(QStringLiteral("cannot record to ")), qPrintable(error));
        QVERIFY(!TelemetryRecorder::instance().isRecording());
    }
};

QTEST_GUILESS_MAIN(TestTelemetryRecorder)
#include "tst_telemetryrecorder.moc"
