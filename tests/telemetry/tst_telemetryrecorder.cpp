#include "httpstub.h"
#include "telemetryrecorder.h"
#include "telemetryrecording.h"
#include "telemetrysourcedcs.h"
#include "telemetrysourcewarthunder.h"
#include "telemetrytesting.h"
#include "udpsender.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <cerrno>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

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
        TelemetryRecorder::instance().setQueueLimitBytes(TelemetryRecorder::DefaultQueueLimitBytes);
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
        TelemetryRecorder::instance().flush();
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
        TelemetryRecorder::instance().flush();
        QCOMPARE(recordsOnDisk(path, &error).size(), records.size());
    }

    void theLimitStopsTheRecordingCleanly() {
        const QString path = dir.filePath(QStringLiteral("limited.qrec"));
        TelemetryRecorder &recorder = TelemetryRecorder::instance();
        QVERIFY(recorder.start(path));
        const qint64 header = QFileInfo(path).size();
        // Room for exactly three 10-byte records.
        recorder.setLimitBytes(header + 3 * (TelemetryRecording::RecordHeadSize + 10));
        // The writer's signal arrives here through the event loop, as it does in the window.
        QStringList stopped;
        QObject receiver;
        connect(&recorder, &TelemetryRecorder::stopped, &receiver, [&](const QString &why) { stopped << why; });
        for (int i = 0; i < 5; ++i)
            TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_CONDOR, Kind::UdpDatagram, "0123456789", 10);
        // Taken no further the moment the limit is reached, before the writer has even run.
        QVERIFY(!recorder.isRecording());
        QTRY_COMPARE(stopped.size(), 1);
        QCOMPARE(stopped.first(), QStringLiteral("Recording stopped: %1 reached its size limit of %2 bytes")
                                      .arg(path)
                                      .arg(header + 3 * 24));
        QString error;
        QCOMPARE(recordsOnDisk(path, &error).size(), 3);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QCOMPARE(QFileInfo(path).size(), header + 3 * 24);
    }

    // Nobody calls stop() or flush() before a kill: the writer alone puts what was noted onto the disk, well
    // within 100 ms.
    void everythingNotedIsOnDiskWithin100ms() {
        const QString path = dir.filePath(QStringLiteral("kill.qrec"));
        QVERIFY(TelemetryRecorder::instance().start(path));
        for (int i = 0; i < 50; ++i) {
            const QByteArray payload = QByteArray::number(i);
            TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram, payload.constData(),
                                    payload.size());
            QThread::msleep(1);
        }
        QThread::msleep(100);
        QString error;
        const QList<Record> records = recordsOnDisk(path, &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QCOMPARE(records.size(), 50);
        QCOMPARE(records.last().payload, QByteArray("49"));
    }

    // A disk that stops answering costs records, counted, never a wait: were note() to wait for the writer,
    // this test would hang on the held writer.
    void aFullQueueLeavesRecordsOutWithoutWaiting() {
        const QString path = dir.filePath(QStringLiteral("slow.qrec"));
        TelemetryRecorder &recorder = TelemetryRecorder::instance();
        QVERIFY(recorder.start(path));
        recorder.setQueueLimitBytes(10 * (TelemetryRecording::RecordHeadSize + 10));
        recorder.holdWriter(true);
        for (int i = 0; i < 25; ++i) {
            const QByteArray payload = QByteArray::number(1000000000 + i);
            TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram, payload.constData(), 10);
        }
        QCOMPARE(recorder.droppedRecords(), 15);
        QVERIFY(recorder.isRecording());
        recorder.holdWriter(false);
        recorder.flush();
        QString error;
        QList<Record> records = recordsOnDisk(path, &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QCOMPARE(records.size(), 10);
        for (int i = 0; i < 10; ++i)
            QCOMPARE(records[i].payload, QByteArray::number(1000000000 + i));
        // Once the writer has caught up, records are taken again.
        TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram, "after", 5);
        recorder.flush();
        records = recordsOnDisk(path, &error);
        QCOMPARE(records.size(), 11);
        QCOMPARE(records.last().payload, QByteArray("after"));
        QCOMPARE(recorder.droppedRecords(), 15);
    }

    void writeErrorsAreNamed() {
        QCOMPARE(TelemetryRecorder::writeErrorText(ENOSPC), QStringLiteral("disk full"));
#ifdef Q_OS_UNIX
        // Otherwise the system's own words (these are glibc's).
        QCOMPARE(TelemetryRecorder::writeErrorText(EACCES), QStringLiteral("Permission denied"));
        QCOMPARE(TelemetryRecorder::writeErrorText(EFBIG), QStringLiteral("File too large"));
#endif
    }

#ifdef Q_OS_LINUX
    // The kernel ends the file in the middle of a record (here at a file size limit, as a full disk does at
    // its last block): the recording stops with the system's reason, and the file is cut back to its last
    // whole record.
    void aWriteFailureInTheMiddleOfARecording() {
        const QString path = dir.filePath(QStringLiteral("cut.qrec"));
        TelemetryRecorder &recorder = TelemetryRecorder::instance();
        QVERIFY(recorder.start(path));
        const qint64 header = QFileInfo(path).size();
        QStringList stopped;
        QObject receiver;
        connect(&recorder, &TelemetryRecorder::stopped, &receiver, [&](const QString &why) { stopped << why; });
        for (int i = 0; i < 3; ++i)
            TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_CONDOR, Kind::UdpDatagram, "0123456789", 10);
        recorder.flush();
        QCOMPARE(QFileInfo(path).size(), header + 3 * 24);

        rlimit before {};
        QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
        const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = before;
        small.rlim_cur = rlim_t(header + 4 * 24 + 10); // room for a fourth record and part of a fifth
        QCOMPARE(::setrlimit(RLIMIT_FSIZE, &small), 0);
        recorder.holdWriter(true); // the next three go out in one write, which the kernel cuts short
        for (int i = 0; i < 3; ++i)
            TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_CONDOR, Kind::UdpDatagram, "abcdefghij", 10);
        recorder.holdWriter(false);
        QTRY_COMPARE(stopped.size(), 1);
        QCOMPARE(::setrlimit(RLIMIT_FSIZE, &before), 0);
        std::signal(SIGXFSZ, oldHandler);

        QCOMPARE(stopped.first(), QStringLiteral("Recording stopped: cannot write %1: File too large").arg(path));
        QVERIFY(!recorder.isRecording());
        QCOMPARE(QFileInfo(path).size(), header + 4 * 24);
        QString error;
        const QList<Record> records = recordsOnDisk(path, &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QCOMPARE(records.size(), 4);
        QCOMPARE(records.last().payload, QByteArray("abcdefghij"));
        // Nothing more is taken.
        TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_CONDOR, Kind::UdpDatagram, "0123456789", 10);
        QCOMPARE(QFileInfo(path).size(), header + 4 * 24);
    }

    // Opening a FIFO for writing waits for a reader; the recorder must neither wait nor write into one.
    void aFifoIsRefusedWithoutWaiting() {
        const QString path = dir.filePath(QStringLiteral("fifo.qrec"));
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        QString error;
        QVERIFY(!TelemetryRecorder::instance().start(path, &error));
        QCOMPARE(error, QStringLiteral("cannot record to %1: not a regular file (a recording is written to a file, "
                                       "not to a pipe or device)")
                            .arg(path));
        QVERIFY(!TelemetryRecorder::instance().isRecording());
        QVERIFY(!TelemetryRecorder::instance().start(QStringLiteral("/dev/null"), &error));
        QVERIFY2(error.endsWith(QStringLiteral("not a regular file (a recording is written to a file, not to a pipe "
                                               "or device)")),
                 qPrintable(error));
    }

    // A reader that goes away must not kill the program: a write into its pipe fails with EPIPE instead.
    void aClosedPipeDoesNotKill() {
        TelemetryRecorder::ignoreBrokenPipes();
        int ends[2];
        QCOMPARE(::pipe(ends), 0);
        ::close(ends[0]);
        errno = 0;
        QCOMPARE(::write(ends[1], "x", 1), ssize_t(-1));
        QCOMPARE(errno, EPIPE);
        ::close(ends[1]);
    }
#endif

    void anUnwritablePathIsReported() {
        QString error;
        QVERIFY(!TelemetryRecorder::instance().start(dir.filePath(QStringLiteral("no/such/folder/x.qrec")), &error));
        QVERIFY2(error.startsWith(QStringLiteral("cannot record to ")), qPrintable(error));
        QVERIFY(!TelemetryRecorder::instance().isRecording());
    }
};

QTEST_GUILESS_MAIN(TestTelemetryRecorder)
#include "tst_telemetryrecorder.moc"
