#include "telemetryrecording.h"

#include <QJsonArray>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>
#include <thread>

#ifdef Q_OS_LINUX
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

using TelemetryRecording::Kind;
using TelemetryRecording::Reader;
using TelemetryRecording::Record;

namespace {

Record record(int64_t micros, uint8_t source, Kind kind, const QByteArray &payload) {
    Record r;
    r.micros = micros;
    r.source = source;
    r.kind = kind;
    r.payload = payload;
    return r;
}

QList<Record> sampleRecords() {
    return {record(0, 2, Kind::UdpDatagram, "F-16C_50;420;-1.5;4;2.5;0;0;0;0;0"),
            record(20000, 4, Kind::HttpBody, R"({"valid": true, "IAS, km/h": 310})"),
            record(20000, 1, Kind::MsfsDataBlock, QByteArray("\x00\x01\x02\xff", 4)),
            record(45123, 3, Kind::UdpDatagram, QByteArray()),
            record(90000, 5, Kind::UdpDatagram, "airspeed=20\ngforce=1.2\n")};
}

QByteArray sampleFile(QList<qsizetype> *boundaries = nullptr) {
    QByteArray file = TelemetryRecording::fileHeader();
    if (boundaries)
        boundaries->append(file.size());
    for (const Record &r : sampleRecords()) {
        file += TelemetryRecording::encodeRecord(r);
        if (boundaries)
            boundaries->append(file.size());
    }
    return file;
}

QList<Record> readAll(const QByteArray &bytes, QString *error) {
    Reader reader;
    QList<Record> records;
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

class TestTelemetryRecording : public QObject {
    Q_OBJECT

private slots:
    void headerIsSelfDescribing() {
        const QByteArray header = TelemetryRecording::fileHeader();
        QCOMPARE(header.left(8), QByteArray("QUILLREC"));
        QCOMPARE(qFromLittleEndian<uint32_t>(header.constData() + 8), 1u);
        QCOMPARE(qsizetype(qFromLittleEndian<uint32_t>(header.constData() + 12)), header.size() - 16);
        Reader reader;
        QVERIFY(reader.open(header.constData(), header.size()));
        QCOMPARE(reader.description().value("format_version").toInt(), 1);
        QCOMPARE(reader.description().value("sources").toObject().value("2").toString(), QStringLiteral("DCS"));
        QCOMPARE(reader.description().value("record_fields").toArray().size(), 5);
        Record r;
        QVERIFY(!reader.next(r));
        QVERIFY(reader.error().isEmpty());
    }

    void recordLayoutIsLittleEndian() {
        const QByteArray bytes = TelemetryRecording::encodeRecord(record(0x0102030405LL, 2, Kind::UdpDatagram, "ab"));
        QCOMPARE(bytes.toHex(), QByteArray("02000000" "0504030201000000" "02" "01" "6162"));
    }

    void recordsComeBackAsWritten() {
        QString error;
        QCOMPARE(readAll(sampleFile(), &error), sampleRecords());
        QVERIFY2(error.isEmpty(), qPrintable(error));
    }

    void rewindStartsAgain() {
        const QByteArray file = sampleFile();
        Reader reader;
        QVERIFY(reader.open(file.constData(), file.size()));
        Record r;
        while (reader.next(r)) {
        }
        QCOMPARE(reader.recordsRead(), 5);
        reader.rewind();
        QVERIFY(reader.next(r));
        QCOMPARE(r, sampleRecords().first());
    }

    // A program killed between two records leaves a file that ends after a complete record: it reads whole.
    void aFileEndingAfterAnyCompleteRecordReads() {
        QList<qsizetype> boundaries;
        const QByteArray file = sampleFile(&boundaries);
        for (int i = 0; i < boundaries.size(); ++i) {
            QString error;
            const QList<Record> records = readAll(file.left(boundaries[i]), &error);
            QVERIFY2(error.isEmpty(), qPrintable(error));
            QCOMPARE(records, sampleRecords().mid(0, i));
        }
    }

    void aFileCutInsideARecordIsTruncated() {
        QList<qsizetype> boundaries;
        const QByteArray file = sampleFile(&boundaries);
        for (qsizetype cut = boundaries.first() + 1; cut < file.size(); ++cut) {
            if (boundaries.contains(cut))
                continue;
            QString error;
            readAll(file.left(cut), &error);
            QVERIFY2(error.startsWith(QStringLiteral("truncated recording: the file ends inside record")),
                     qPrintable(QString::number(cut) + QLatin1Char(' ') + error));
        }
    }

    void foreignAndDamagedFilesAreRefused_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        const QByteArray good = sampleFile();
        const qsizetype first = TelemetryRecording::fileHeader().size();
        QTest::newRow("empty") << QByteArray() << "not a Vortane Quillar telemetry recording";
        QTest::newRow("json") << QByteArray("{\"metadata\": {}}\n") << "not a Vortane Quillar telemetry recording";
        QTest::newRow("png") << QByteArray::fromHex("89504e470d0a1a0a0000000d49484452")
                             << "not a Vortane Quillar telemetry recording";
        QByteArray version = good;
        qToLittleEndian<uint32_t>(2, version.data() + 8);
        QTest::newRow("version") << version << "recording format version 2; this program reads version 1";
        QByteArray huge = good;
        qToLittleEndian<uint32_t>(0x7fffffff, huge.data() + 12);
        QTest::newRow("description size") << huge << "damaged recording: the description claims";
        QByteArray description = good;
        description[16] = 'x';
        QTest::newRow("description") << description << "damaged recording: its description is not a JSON object";
        QTest::newRow("cut description") << good.left(20) << "truncated recording: the file ends inside its description";
        QByteArray length = good;
        qToLittleEndian<uint32_t>(0xfffffff0u, length.data() + first);
        QTest::newRow("payload length") << length << "damaged recording: record 1 at byte";
        QByteArray source = good;
        source[first + 12] = 9;
        QTest::newRow("source") << source << "damaged recording: record 1 at byte";
        QByteArray kind = good;
        kind[first + 13] = 0;
        QTest::newRow("kind") << kind << "damaged recording: record 1 at byte";
        QByteArray backwards = TelemetryRecording::fileHeader() +
                               TelemetryRecording::encodeRecord(record(500, 2, Kind::UdpDatagram, "a")) +
                               TelemetryRecording::encodeRecord(record(499, 2, Kind::UdpDatagram, "b"));
        QTest::newRow("time") << backwards << "damaged recording: record 2 at byte";
    }

    void foreignAndDamagedFilesAreRefused() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        QString actual;
        readAll(bytes, &actual);
        QVERIFY2(actual.startsWith(error), qPrintable(actual));
    }

    void recordingFileChecksTheWholeFileFirst() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("cut.qrec"));
        QFile out(path);
        QVERIFY(out.open(QIODevice::WriteOnly));
        const QByteArray file = sampleFile();
        out.write(file.left(file.size() - 3));
        out.close();
        TelemetryRecording::RecordingFile recording;
        QVERIFY(!recording.open(path));
        QVERIFY2(recording.error().startsWith(path + QStringLiteral(": truncated recording: the file ends inside "
                                                                    "record 5")),
                 qPrintable(recording.error()));

        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(file);
        out.close();
        TelemetryRecording::RecordingFile whole;
        QVERIFY2(whole.open(path), qPrintable(whole.error()));
        QCOMPARE(whole.recordCount(), 5);
        QCOMPARE(whole.durationMicros(), 90000);
        Record r;
        QVERIFY(whole.reader().next(r));
        QCOMPARE(r, sampleRecords().first());

        TelemetryRecording::RecordingFile missing;
        QVERIFY(!missing.open(dir.filePath(QStringLiteral("none.qrec"))));
        QVERIFY(missing.error().startsWith(QStringLiteral("cannot open ")));
    }

    // The span a replay plays: from the first record, however long the recording ran before it.
    void durationStartsAtTheFirstRecord() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("late.qrec"));
        QFile out(path);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(TelemetryRecording::fileHeader());
        out.write(TelemetryRecording::encodeRecord(record(180000000, 2, Kind::UdpDatagram, "a")));
        out.write(TelemetryRecording::encodeRecord(record(180250000, 2, Kind::UdpDatagram, "b")));
        out.close();
        TelemetryRecording::RecordingFile recording;
        QVERIFY2(recording.open(path), qPrintable(recording.error()));
        QCOMPARE(recording.recordCount(), 2);
        QCOMPARE(recording.firstRecordMicros(), 180000000);
        QCOMPARE(recording.durationMicros(), 250000);
    }

#ifdef Q_OS_LINUX
    // A pipe has no size: the recording is read by what each read returns, to the end.
    void aPipeIsReadToItsEnd() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("pipe.qrec"));
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        QByteArray file = TelemetryRecording::fileHeader();
        for (int i = 0; i < 3000; ++i) // about 3 MiB, far more than a pipe holds at once
            file += TelemetryRecording::encodeRecord(record(i * 1000, 2, Kind::UdpDatagram, QByteArray(1000, char(i))));
        std::thread writer([&] {
            const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY);
            qsizetype done = 0;
            while (fd >= 0 && done < file.size()) {
                // Small, uneven pieces, as zcat hands them on.
                const ssize_t n = ::write(fd, file.constData() + done, size_t(qMin<qsizetype>(777, file.size() - done)));
                if (n <= 0)
                    break;
                done += n;
            }
            if (fd >= 0)
                ::close(fd);
        });
        TelemetryRecording::RecordingFile recording;
        const bool opened = recording.open(path);
        writer.join();
        QVERIFY2(opened, qPrintable(recording.error()));
        QCOMPARE(recording.recordCount(), 3000);
        Record r;
        for (int i = 0; i < 3000; ++i) {
            QVERIFY(recording.reader().next(r));
            QCOMPARE(r.payload, QByteArray(1000, char(i)));
        }
        QVERIFY(!recording.reader().next(r));
        QCOMPARE(recording.reader().error(), QString());
    }
#endif

    // Another program cutting the file short after it was opened must not bring the reader down (a mapped
    // file would fault with SIGBUS on the pages that are gone).
    void aFileCutShortAfterOpeningStillReads() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("big.qrec"));
        QFile out(path);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(TelemetryRecording::fileHeader());
        for (int i = 0; i < 2000; ++i) // about 2 MiB
            out.write(TelemetryRecording::encodeRecord(record(i * 1000, 5, Kind::UdpDatagram, QByteArray(1000, 'x'))));
        out.close();
        TelemetryRecording::RecordingFile recording;
        QVERIFY2(recording.open(path), qPrintable(recording.error()));
        QVERIFY(QFile::resize(path, 4096));
        Record r;
        qint64 read = 0;
        while (recording.reader().next(r)) {
            QCOMPARE(r.payload, QByteArray(1000, 'x'));
            ++read;
        }
        QCOMPARE(read, 2000);
    }
};

QTEST_GUILESS_MAIN(TestTelemetryRecording)
#include "tst_telemetryrecording.moc"
