#include "telemetryrecording.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QUdpSocket>
#include <QtTest>

// quillar-replay as a user runs it: bad input ends with a clear message and a non-zero exit, never a crash.
class TestReplayCommandLine : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;

    struct Run {
        int exitCode = -1;
        QProcess::ExitStatus status = QProcess::CrashExit;
        QByteArray out;
        QByteArray err;
    };

    static Run run(const QStringList &arguments) {
        QProcess process;
        process.start(QStringLiteral(QUILLAR_REPLAY_EXECUTABLE), arguments);
        Run result;
        if (!process.waitForFinished(30000)) {
            process.kill();
            process.waitForFinished();
            return result;
        }
        result.exitCode = process.exitCode();
        result.status = process.exitStatus();
        result.out = process.readAllStandardOutput();
        result.err = process.readAllStandardError();
        return result;
    }

    QString file(const QString &name, const QByteArray &bytes) {
        const QString path = dir.filePath(name);
        QFile out(path);
        if (out.open(QIODevice::WriteOnly))
            out.write(bytes);
        return path;
    }

private slots:
    void versionAndHelp() {
        const Run version = run({QStringLiteral("--version")});
        QCOMPARE(version.exitCode, 0);
        QCOMPARE(version.out, QByteArray("quillar-replay " QUILLAR_VERSION "\n"));
        const Run help = run({QStringLiteral("--help")});
        QCOMPARE(help.exitCode, 0);
        for (const char *option : {"--speed <factor>", "--loop", "--demo", "[FILE]"})
            QVERIFY2(help.out.contains(option), help.out.constData());
    }

    void badCommandLines_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("nothing") << QStringList{} << QByteArray("quillar-replay: give one recording FILE or --demo (see --help)\n");
        QTest::newRow("both") << QStringList{QStringLiteral("--demo"), QStringLiteral("x.qrec")}
                              << QByteArray("quillar-replay: give one recording FILE or --demo (see --help)\n");
        QTest::newRow("speed") << QStringList{QStringLiteral("--demo"), QStringLiteral("--speed"), QStringLiteral("fast")}
                               << QByteArray("quillar-replay: --speed takes a factor from 0.01 to 1000, not \"fast\"\n");
        QTest::newRow("zero speed") << QStringList{QStringLiteral("--demo"), QStringLiteral("--speed=0")}
                                    << QByteArray("quillar-replay: --speed takes a factor from 0.01 to 1000, not \"0\"\n");
    }

    void badCommandLines() {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, message);
        const Run result = run(arguments);
        QCOMPARE(result.status, QProcess::NormalExit);
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, message);
    }

    void unreadableFiles_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("message");
        TelemetryRecording::Record record;
        record.source = 2;
        record.payload = "F-16C_50;420;-1.5;4;2.5;0;0;0;0;0";
        const QByteArray whole = TelemetryRecording::fileHeader() + TelemetryRecording::encodeRecord(record);
        QTest::newRow("foreign") << "profile.json" << QByteArray("{\"metadata\": {}}")
                                 << "not a Vortane Quillar telemetry recording";
        QTest::newRow("empty") << "empty.qrec" << QByteArray() << "not a Vortane Quillar telemetry recording";
        QTest::newRow("truncated") << "cut.qrec" << whole.left(whole.size() - 1)
                                   << "truncated recording: the file ends inside record 1";
        QByteArray damaged = whole;
        damaged[TelemetryRecording::fileHeader().size() + 13] = char(0x7f);
        QTest::newRow("damaged") << "damaged.qrec" << damaged << "damaged recording: record 1 at byte";
        QByteArray random(4096, '\0');
        for (int i = 0; i < random.size(); ++i)
            random[i] = char((i * 7919 + 13) & 0xff);
        QTest::newRow("noise") << "noise.qrec" << QByteArray("QUILLREC") + random << "recording format version";
    }

    void unreadableFiles() {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, message);
        const QString path = file(name, bytes);
        const Run result = run({path});
        QCOMPARE(result.status, QProcess::NormalExit);
        QCOMPARE(result.exitCode, 2);
        QVERIFY2(result.err.startsWith(("quillar-replay: " + path + ": " + message).toUtf8()), result.err.constData());
        QVERIFY(result.err.endsWith('\n'));
    }

    void aMissingFile() {
        const Run result = run({dir.filePath(QStringLiteral("none.qrec"))});
        QCOMPARE(result.exitCode, 2);
        QVERIFY2(result.err.startsWith("quillar-replay: cannot open "), result.err.constData());
    }

    // A recording without War Thunder documents needs no port; a short one plays to its end and says so.
    void aGoodFilePlaysToItsEnd() {
        QByteArray bytes = TelemetryRecording::fileHeader();
        for (int i = 0; i < 3; ++i) {
            TelemetryRecording::Record record;
            record.micros = i * 10000;
            record.source = 5; // Condor 2: a port no test binds
            record.payload = "gforce=1";
            bytes += TelemetryRecording::encodeRecord(record);
        }
        const QString path = file(QStringLiteral("good.qrec"), bytes);
        const Run result = run({QStringLiteral("--speed"), QStringLiteral("2"), path});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out, ("quillar-replay: " + path + ": 3 records over 0.0 s\nquillar-replay: 3 records sent\n").toUtf8());
    }

    // A recording made while no simulator ran holds no records: it plays to its (immediate) end and exits.
    void anEmptyRecordingEnds() {
        const QString path = file(QStringLiteral("nothing.qrec"), TelemetryRecording::fileHeader());
        for (const QStringList &options : {QStringList{}, QStringList{QStringLiteral("--loop")}}) {
            const Run result = run(options + QStringList{path});
            QCOMPARE(result.status, QProcess::NormalExit);
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(result.err, QByteArray());
            QCOMPARE(result.out,
                     ("quillar-replay: " + path + ": 0 records over 0.0 s\nquillar-replay: 0 records sent\n").toUtf8());
        }
    }

    // Minutes recorded before the simulator started are not replayed: this one would take a minute, and the
    // run is given 30 s.
    void leadingSilenceIsSkipped() {
        QByteArray bytes = TelemetryRecording::fileHeader();
        for (int i = 0; i < 3; ++i) {
            TelemetryRecording::Record record;
            record.micros = 60000000 + i * 10000;
            record.source = 5;
            record.payload = "gforce=1";
            bytes += TelemetryRecording::encodeRecord(record);
        }
        const QString path = file(QStringLiteral("late.qrec"), bytes);
        const Run result = run({path});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, ("quillar-replay: " + path + ": 3 records over 0.0 s\nquillar-replay: 3 records sent\n").toUtf8());
    }

#ifdef Q_OS_LINUX
    // <(zcat rec.qrec.gz): the recording comes through a pipe, which has no size.
    void aRecordingThroughAPipe() {
        QByteArray bytes = TelemetryRecording::fileHeader();
        for (int i = 0; i < 2000; ++i) {
            TelemetryRecording::Record record;
            record.micros = i * 10;
            record.source = 5;
            record.payload = QByteArray(700, 'p');
            bytes += TelemetryRecording::encodeRecord(record);
        }
        QProcess process;
        process.start(QStringLiteral(QUILLAR_REPLAY_EXECUTABLE), {QStringLiteral("/dev/stdin")});
        QVERIFY(process.waitForStarted());
        process.write(bytes);
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.readAllStandardError(), QByteArray());
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.readAllStandardOutput(),
                 QByteArray("quillar-replay: /dev/stdin: 2000 records over 0.0 s\nquillar-replay: 2000 records sent\n"));
    }
#endif

    // X-Plane's port held by another program, even one sharing its address: exit 3 with the port named.
    void xplanePortInUse() {
        QUdpSocket other;
        QVERIFY(other.bind(QHostAddress(QHostAddress::LocalHost), 49000,
                           QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint));
        TelemetryRecording::Record record;
        record.source = 6;
        record.payload = QByteArray("RREF,") + QByteArray(8, '\0');
        const QString path = file(QStringLiteral("xplane.qrec"), TelemetryRecording::fileHeader() +
                                                                     TelemetryRecording::encodeRecord(record));
        const Run result = run({path});
        QCOMPARE(result.status, QProcess::NormalExit);
        QCOMPARE(result.exitCode, 3);
        QVERIFY2(result.err.startsWith("quillar-replay: cannot stand in for X-Plane on UDP port 49000: "),
                 result.err.constData());
    }
};

QTEST_GUILESS_MAIN(TestReplayCommandLine)
#include "tst_replaycommandline.moc"
