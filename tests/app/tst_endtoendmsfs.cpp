#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <chrono>
#include <cmath>
#include <cstring>

#include "fakesimconnectserver.h"
#include "devicelog.h"
#include "programlauncher.h"

// The whole program, started as a user would, with simulated devices and MSFS reached through our SimConnect
// network client: a SimConnect.cfg where quillar-setup writes it ($XDG_DATA_HOME/vortane-quillar) points it
// at a SimConnect server on loopback,
// the status panel names MSFS and the aircraft, the saved profile for that aircraft switches itself on, and
// the stick's forces follow the data the server hands out.
namespace {
constexpr int TransitionMs = 2000;
const QByteArray Title = "Vortane Test Cub";
constexpr float ElevatorWeightStrength = 50;

// The data block of the MSFS source's definition: eighteen little-endian doubles, then the title.
QByteArray block(double gForce) {
    QByteArray bytes(400, '\0');
    auto set = [&bytes](int offset, double value) {
        uint64_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        for (int i = 0; i < 8; ++i)
            bytes[offset + i] = char((bits >> (8 * i)) & 0xFF);
    };
    set(48, gForce);   // G FORCE
    set(64, 300.0);    // AIRSPEED INDICATED, km/h
    set(96, 1.0);      // NUMBER OF ENGINES
    set(104, 80.0);    // PROP MAX RPM PERCENT:1
    std::memcpy(bytes.data() + 144, Title.constData(), size_t(Title.size()));
    return bytes;
}

QByteArray profile() {
    const char *keys[] = {"airflow_spring", "simple_spring", "elevator_weight", "aoa_shaker",
                          "gear_shaker",    "flaps_shaker",  "airbrake_shaker", "on_ground_shaker",
                          "landing_jolt",   "il2_shaker",    "direct_x",        "condor_shaker",
                          "smart_damper"};
    QJsonObject axes[3];
    for (QJsonObject &axis : axes)
        for (const char *key : keys)
            axis.insert(QLatin1String(key), QJsonObject{{"active", false}});
    axes[1].insert("elevator_weight",
                   QJsonObject{{"active", true}, {"total_effect_strength", ElevatorWeightStrength}});
    const QJsonObject metadata{{"flight_data_source", 1}, {"flight_module", QString::fromUtf8(Title)},
                               {"comment", "e2e"}};
    const QJsonObject effects{{"ailerons", axes[0]}, {"elevator", axes[1]}, {"rudder", axes[2]}};
    return QJsonDocument(QJsonObject{{"metadata", metadata}, {"effects", effects}}).toJson();
}

} // namespace

class TestEndToEndMsfs : public QObject {
    Q_OBJECT

private:
    QTemporaryDir scratch;
    QProcess program;
    FakeSimConnectServer simulator;

    QString workingDirectory() const { return scratch.filePath(QStringLiteral("work")); }
    QString deviceDirectory() const { return scratch.filePath(QStringLiteral("hid")); }
    QString probeLog() const { return scratch.filePath(QStringLiteral("status.log")); }

    QByteArray read(const QString &path) const {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private slots:
    void initTestCase() {
        QVERIFY(scratch.isValid());
        QVERIFY(QFileInfo(QStringLiteral(QUILLAR_EXECUTABLE)).isExecutable());
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("work/effect_profiles")));
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("hid")));
        QVERIFY(writeAtomically(workingDirectory() + QStringLiteral("/effect_profiles/MSFS_e2e.json"), profile()));
        QVERIFY(writeAtomically(deviceDirectory() + QStringLiteral("/joystick.state"),
                          "plugged=1\nversion=0c 01 00\nposition=0.5 -0.25\noffset=0 0\n"));
        QVERIFY(writeAtomically(deviceDirectory() + QStringLiteral("/rudder.state"),
                          "plugged=1\nversion=03 00 00\nposition=0.25 0\noffset=0 0\n"));

        // The server listens from the start, but answers data requests only once the devices are open.
        QVERIFY(simulator.listen());
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("data/vortane-quillar")));
        QVERIFY(writeAtomically(scratch.filePath(QStringLiteral("data/vortane-quillar/SimConnect.cfg")),
                          "[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=" +
                              QByteArray::number(simulator.port()) + "\n"));

        QProcessEnvironment extra;
        extra.insert(QStringLiteral("XDG_DATA_HOME"), scratch.filePath(QStringLiteral("data")));
        extra.insert(QStringLiteral("QUILLAR_STATUS_PROBE_LOG"), probeLog());
        startProgram(program, workingDirectory(), deviceDirectory(), {QStringLiteral(QUILLAR_STATUS_PROBE)}, extra);
        QVERIFY2(program.waitForStarted(30000), qPrintable(program.errorString()));
    }

    void cleanupTestCase() {
        if (program.state() != QProcess::NotRunning) {
            program.kill();
            program.waitForFinished(30000);
        }
    }

    void msfsAircraftDrivesTheStick() {
        const QString calls = deviceDirectory() + QStringLiteral("/calls.log");
        QTRY_VERIFY2_WITH_TIMEOUT(read(calls).contains("open joystick result=1") &&
                                      read(calls).contains("open rudder result=1"),
                                  program.readAll().constData(), 60000);
        // The program has connected and registered by now, or does so within a second.
        QTRY_VERIFY_WITH_TIMEOUT(simulator.clientName == "Vortane" && simulator.subscriptions.size() == 2, 30000);
        QCOMPARE(simulator.definitions.size(), size_t(22));

        const int64_t detectionStart = monotonicMicros();
        simulator.serveOnRequest(block(2.5));
        simulator.sendData(0, block(2.5)); // the request made on connecting went unanswered

        const QByteArray detected = "\tsource=MSFS\tmodule=" + Title + "\tgame=1\tprofile=" + Title;
        QTRY_VERIFY2_WITH_TIMEOUT(read(probeLog()).contains(detected), read(probeLog()).constData(), 30000);

        // Once the profile's settings have faded in, the elevator carries the served G load: -G * S * 10 / 100.
        const QString writes = deviceDirectory() + QStringLiteral("/writes.log");
        const int64_t settled = detectionStart + (TransitionMs + 1000) * 1000;
        auto pitchForces = [&](int64_t after) {
            QList<float> forces;
            for (const Write &write : select(readWrites(writes), "joystick", 0x20, after))
                forces << write.at(14);
            return forces;
        };
        QTRY_VERIFY_WITH_TIMEOUT(pitchForces(settled).size() >= 5, 60000);
        for (float force : pitchForces(settled).mid(0, 5))
            QVERIFY2(closeTo(force, -2.5 * ElevatorWeightStrength * 10 / 100), qPrintable(QString::number(force)));

        // New data, new forces.
        simulator.serveOnRequest(block(1.5));
        const int64_t changed = monotonicMicros();
        QTRY_VERIFY_WITH_TIMEOUT(!pitchForces(changed).isEmpty() &&
                                     closeTo(pitchForces(changed).constLast(), -1.5 * ElevatorWeightStrength * 10 / 100),
                                 30000);
        QVERIFY2(program.state() == QProcess::Running, program.readAll().constData());
        QCOMPARE(simulator.connections, 1);
    }
};

QTEST_MAIN(TestEndToEndMsfs)
#include "tst_endtoendmsfs.moc"
