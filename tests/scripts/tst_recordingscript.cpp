#include "telemetryrecording.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// scripts/recording/read_recording.py reads what the program writes, record for record.
class TestRecordingScript : public QObject {
    Q_OBJECT

private slots:
    void scriptReadsTheProgramsFiles() {
        QTemporaryDir dir;
        QByteArray file = TelemetryRecording::fileHeader();
        QList<TelemetryRecording::Record> records;
        for (int i = 0; i < 4; ++i) {
            TelemetryRecording::Record record;
            record.micros = 1000 * i * i;
            record.source = uint8_t(1 + i);
            record.kind = TelemetryRecording::Kind(1 + i % 3);
            record.payload = QByteArray("payload ") + QByteArray::number(i);
            records << record;
            file += TelemetryRecording::encodeRecord(record);
        }
        const QString path = dir.filePath(QStringLiteral("made.qrec"));
        QFile out(path);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(file);
        out.close();

        QProcess script;
        script.start(QStringLiteral(QUILLAR_PYTHON), {QStringLiteral(QUILLAR_RECORDING_SCRIPT), QStringLiteral("--json"), path});
        QVERIFY(script.waitForFinished(30000));
        QCOMPARE(script.exitCode(), 0);
        const QList<QByteArray> lines = script.readAllStandardOutput().trimmed().split('\n');
        QCOMPARE(lines.size(), 1 + records.size());
        QCOMPARE(QJsonDocument::fromJson(lines[0]).object().value("format").toString(),
                 QStringLiteral("Vortane Quillar telemetry recording"));
        for (int i = 0; i < records.size(); ++i) {
            const QJsonObject line = QJsonDocument::fromJson(lines[1 + i]).object();
            QCOMPARE(qint64(line.value("micros").toDouble()), records[i].micros);
            QCOMPARE(line.value("source").toInt(), int(records[i].source));
            QCOMPARE(line.value("kind").toInt(), int(records[i].kind));
            QCOMPARE(line.value("payload").toString().toLatin1(), records[i].payload);
        }

        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(file.left(file.size() - 2));
        out.close();
        script.start(QStringLiteral(QUILLAR_PYTHON), {QStringLiteral(QUILLAR_RECORDING_SCRIPT), path});
        QVERIFY(script.waitForFinished(30000));
        QCOMPARE(script.exitCode(), 2);
        QVERIFY(script.readAllStandardError().contains("truncated recording: the file ends inside record 4"));
    }
};

QTEST_GUILESS_MAIN(TestRecordingScript)
#include "tst_recordingscript.moc"
