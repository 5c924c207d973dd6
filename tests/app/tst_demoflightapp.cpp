#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QUdpSocket>
#include <QtTest>
#include <cstring>

#include "demoflight.h"
#include "devicelog.h"
#include "programlauncher.h"
#include "telemetryrecording.h"

// A newcomer without a simulator: the program started in an empty folder, then quillar-replay --demo. The
// program puts its demo profile in place, activates it when the demo aircraft appears, and every axis of the
// stick and the pedals gets spring, force and shaking. Recorded with --record at the same time, the program
// keeps every datagram it received.
namespace {
constexpr quint16 DcsPort = 29778;

float floatAt(const QByteArray &bytes, int offset) {
    float value = 0;
    std::memcpy(&value, bytes.constData() + offset, sizeof value);
    return value;
}

// Direct-control reports (byte 1 = 0x20) sent to one device, in order.
QList<QByteArray> directControl(const QString &writesPath, const QByteArray &device) {
    QList<QByteArray> reports;
    for (const Write &write : select(readWrites(writesPath), device, 0x20, -1))
        reports << write.bytes;
    return reports;
}
} // namespace

class TestDemoFlightApp : public QObject {
    Q_OBJECT

private:
    QTemporaryDir scratch;
    QProcess program;
    QProcess replay;

    QString workingDirectory() const { return scratch.filePath(QStringLiteral("work")); }
    QString deviceDirectory() const { return scratch.filePath(QStringLiteral("hid")); }
    QString recordingPath() const { return scratch.filePath(QStringLiteral("demo.qrec")); }

    QByteArray callsLog() const {
        QFile file(deviceDirectory() + QStringLiteral("/calls.log"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private slots:
    void initTestCase() {
        QVERIFY(scratch.isValid());
        QVERIFY(QFileInfo(QStringLiteral(QUILLAR_REPLAY_EXECUTABLE)).isExecutable());
        {
            QUdpSocket probe;
            if (!probe.bind(QHostAddress::Any, DcsPort))
                QFAIL("UDP port 29778 (DCS) is taken on this machine; free it to run the demo flight test");
        }
        // No effect_profiles folder at all: a first start.
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("work")));
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("hid")));
        QVERIFY(writeAtomically(deviceDirectory() + QStringLiteral("/joystick.state"),
                                "plugged=1\nversion=0c 01 00\nposition=0.25 -0.125\noffset=0 0\n"));
        QVERIFY(writeAtomically(deviceDirectory() + QStringLiteral("/rudder.state"),
                                "plugged=1\nversion=03 00 00\nposition=0.25 0\noffset=0 0\n"));
        startProgram(program, workingDirectory(), deviceDirectory(), {}, QProcessEnvironment(),
                     {QStringLiteral("--record"), recordingPath()});
        QVERIFY2(program.waitForStarted(30000), qPrintable(program.errorString()));
    }

    void cleanupTestCase() {
        for (QProcess *process : {&replay, &program}) {
            if (process->state() != QProcess::NotRunning) {
                process->kill();
                process->waitForFinished(30000);
            }
        }
    }

    void demoFlightDrivesEveryAxis() {
        QTRY_VERIFY2_WITH_TIMEOUT(callsLog().contains("open joystick result=1") &&
                                      callsLog().contains("open rudder result=1"),
                                  program.readAll().constData(), 60000);
        QVERIFY(QFile::exists(workingDirectory() + QStringLiteral("/effect_profiles/DCS_Quillar_Demo_Trainer.json")));

        // Four times the pace: the whole flight in half a minute.
        replay.setProcessChannelMode(QProcess::MergedChannels);
        replay.start(QStringLiteral(QUILLAR_REPLAY_EXECUTABLE),
                     {QStringLiteral("--demo"), QStringLiteral("--speed"), QStringLiteral("4")});
        QVERIFY(replay.waitForStarted(30000));
        QVERIFY2(replay.waitForFinished(120000), replay.readAll().constData());
        QCOMPARE(replay.exitStatus(), QProcess::NormalExit);
        QCOMPARE(replay.exitCode(), 0);
        QVERIFY2(program.state() == QProcess::Running, program.readAll().constData());

        // The demo profile's dampers (static 10 % on the stick, 20 % on the pedals, at full strength) show
        // that it was activated: nothing else in a fresh start sets them.
        const QString writesPath = deviceDirectory() + QStringLiteral("/writes.log");
        const QList<QByteArray> joystick = directControl(writesPath, "joystick");
        const QList<QByteArray> rudder = directControl(writesPath, "rudder");
        QVERIFY(joystick.size() > 500 && rudder.size() > 500);
        int activeJoystick = 0, activeRudder = 0;
        bool seen[3][3] = {}; // axis x (spring gain, force, periodic)
        for (const QByteArray &report : joystick) {
            if (floatAt(report, 26) != 0.1f || floatAt(report, 30) != 0.1f)
                continue;
            ++activeJoystick;
            for (int field = 0; field < 3; ++field) {
                seen[0][field] = seen[0][field] || floatAt(report, 2 + field * 8) != 0;
                seen[1][field] = seen[1][field] || floatAt(report, 6 + field * 8) != 0;
            }
        }
        for (const QByteArray &report : rudder) {
            if (floatAt(report, 26) != 0.2f)
                continue;
            ++activeRudder;
            for (int field = 0; field < 3; ++field)
                seen[2][field] = seen[2][field] || floatAt(report, 2 + field * 8) != 0;
        }
        // Most of the flight runs with the profile (the first datagram declares, then a 2 s fade).
        QVERIFY2(activeJoystick > joystick.size() / 2, qPrintable(QString::number(activeJoystick)));
        QVERIFY2(activeRudder > rudder.size() / 2, qPrintable(QString::number(activeRudder)));
        for (int axis = 0; axis < 3; ++axis)
            for (int field = 0; field < 3; ++field)
                QVERIFY2(seen[axis][field], qPrintable(QStringLiteral("axis %1 field %2 stayed zero").arg(axis).arg(field)));

        // The recording made meanwhile holds the whole flight, readable while the program still runs.
        // Value for value what quillar-replay sent, in order.
        const QList<TelemetryRecording::Record> sent = DemoFlight::records();
        // The last datagrams wait for the telemetry thread's next tick.
        const auto recorded = [this] {
            TelemetryRecording::RecordingFile file;
            return file.open(recordingPath()) ? file.recordCount() : -1;
        };
        QTRY_COMPARE_WITH_TIMEOUT(recorded(), qint64(sent.size()), 10000);
        TelemetryRecording::RecordingFile recording;
        QVERIFY2(recording.open(recordingPath()), qPrintable(recording.error()));
        TelemetryRecording::Record received;
        for (const TelemetryRecording::Record &original : sent) {
            QVERIFY(recording.reader().next(received));
            QCOMPARE(received.payload, original.payload);
            QCOMPARE(received.source, original.source);
            QCOMPARE(received.kind, original.kind);
        }
        QVERIFY2(program.state() == QProcess::Running, program.readAll().constData());
    }
};

QTEST_GUILESS_MAIN(TestDemoFlightApp)
#include "tst_demoflightapp.moc"
