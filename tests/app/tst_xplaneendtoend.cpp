#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <memory>

#include "devicelog.h"
#include "fakexplane.h"
#include "programlauncher.h"

// The whole program, started as a user would, with simulated devices and a simulated X-Plane on a port the
// settings file names: the status panel shows the aircraft, its saved profile switches itself on, the forces
// follow what X-Plane serves, another aircraft brings its own profile, and silence ends it all. Ended by a
// signal, the program quits normally and tells X-Plane to stop streaming. Played once as X-Plane 12 (the
// name from acf_ui_name) and once as X-Plane 11 (no acf_ui_name: the name from acf_descrip).
namespace {
constexpr int TransitionMs = 2000;
constexpr float JoystickRoll = 0.5f;

// The two profiles' effects.
constexpr float CessnaAileronsSpring = 60, CessnaElevatorWeight = 50;
constexpr float BoeingElevatorWeight = 100;

QByteArray profile(const char *module, float aileronsSpring, float elevatorWeight) {
    QJsonObject ailerons, elevator;
    if (aileronsSpring > 0)
        ailerons.insert("simple_spring",
                        QJsonObject{{"active", true}, {"total_effect_strength", aileronsSpring}});
    elevator.insert("elevator_weight",
                    QJsonObject{{"active", true}, {"total_effect_strength", elevatorWeight}});
    const QJsonObject metadata{{"flight_data_source", 6}, {"flight_module", module}, {"comment", ""}};
    const QJsonObject effects{{"ailerons", ailerons}, {"elevator", elevator}, {"rudder", QJsonObject()}};
    return QJsonDocument(QJsonObject{{"metadata", metadata}, {"effects", effects}}).toJson();
}

// A Cessna in level flight at 100 kt pulling 2.5 g.
void cruise(FakeXPlane &xplane) {
    xplane.set("sim/flightmodel/position/indicated_airspeed", 100);
    xplane.set("sim/flightmodel/position/alpha", 2);
    xplane.set("sim/flightmodel/position/vh_ind", 0);
    xplane.set("sim/flightmodel/forces/g_nrml", 2.5f);
    xplane.set("sim/cockpit2/engine/actuators/throttle_ratio_all", 0.75f);
    xplane.setAircraftName("Cessna 172 SP");
    // Known to X-Plane 12 too: there the name it shows wins over the description.
    xplane.setAircraftDescription("Cessna 172SP Skyhawk");
}

} // namespace

class TestXPlaneEndToEnd : public QObject {
    Q_OBJECT

private:
    QTemporaryDir scratch;
    QProcess program;
    std::unique_ptr<FakeXPlane> xplane;

    QString workingDirectory() const { return scratch.filePath(QStringLiteral("work")); }
    QString deviceDirectory() const { return scratch.filePath(QStringLiteral("hid")); }
    QString writesLog() const { return deviceDirectory() + QStringLiteral("/writes.log"); }
    QString statusLog() const { return scratch.filePath(QStringLiteral("status.log")); }

    // The probe's time of the first status line holding `text`, or -1.
    int64_t shownAt(const QByteArray &text) const {
        for (const QByteArray &line : readAll(statusLog()).split('\n')) {
            if (line.endsWith(text) || line.contains(text + '\t'))
                return line.left(line.indexOf('\t')).toLongLong();
        }
        return -1;
    }
    QByteArray lastStatus() const {
        const QList<QByteArray> lines = readAll(statusLog()).trimmed().split('\n');
        return lines.isEmpty() ? QByteArray() : lines.last();
    }

    // True once five direct-control reports after `after` all carry these roll and pitch forces.
    bool stickForcesAre(int64_t after, double roll, double pitch) const {
        const QList<Write> writes = select(readWrites(writesLog()), "joystick", 0x20, after);
        if (writes.size() < 5)
            return false;
        for (const Write &write : writes.mid(0, 5)) {
            if (!closeTo(write.at(10), roll) || !closeTo(write.at(14), pitch))
                return false;
        }
        return true;
    }
    QByteArray lastStickForces() const {
        const QList<Write> writes = select(readWrites(writesLog()), "joystick", 0x20, 0);
        if (writes.isEmpty())
            return "no direct-control report";
        return "roll " + QByteArray::number(writes.last().at(10)) + " pitch " +
               QByteArray::number(writes.last().at(14));
    }

    // Starts the program with the settings file pointing at `fake`.
    void startAgainst(const FakeXPlane &fake) {
        QFile::remove(statusLog());
        QFile::remove(scratch.filePath(QStringLiteral("config/vortane-quillar/quillar.conf")));
        // Where X-Plane is, as a user with X-Plane on another port would say it.
        QVERIFY(writeAtomically(scratch.filePath(QStringLiteral("config/vortane-quillar/quillar.conf")),
                                "[xplane]\nhost=127.0.0.1\nport=" + QByteArray::number(fake.port()) + '\n'));

        QProcessEnvironment extra;
        extra.insert(QStringLiteral("XDG_CONFIG_HOME"), scratch.filePath(QStringLiteral("config")));
        extra.insert(QStringLiteral("QUILLAR_STATUS_PROBE_LOG"), statusLog());
        startProgram(program, workingDirectory(), deviceDirectory(), {QStringLiteral(QUILLAR_STATUS_PROBE)},
                     extra);
        QVERIFY2(program.waitForStarted(30000), qPrintable(program.errorString()));
    }

    // SIGTERM or SIGINT: the program quits as when its window is closed, and X-Plane is told to forget
    // every index, from the port that subscribed; nothing is streamed to the dead port afterwards.
    void quitBySignalUnsubscribes(int signal, FakeXPlane &fake) {
        const quint16 programPort = fake.subscriberPort();
        QVERIFY(programPort != 0);
        ::kill(pid_t(program.processId()), signal);
        QVERIFY(program.waitForFinished(30000));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(fake.subscriptionsByIndex().isEmpty(), 5000);
        bool found = false;
        for (const FakeXPlane::Subscriber &subscriber : fake.subscribers()) {
            if (subscriber.port != programPort)
                continue;
            found = true;
            QCOMPARE(subscriber.subscriptions.size(), 0);
            QCOMPARE(subscriber.unsubscribed.size(), 142);
        }
        QVERIFY(found);
        const int replies = fake.repliesSent();
        QTest::qWait(500);
        QCOMPARE(fake.repliesSent(), replies);
        QCOMPARE(fake.malformedRequests(), QStringList());
    }

private slots:
    void initTestCase() {
        QVERIFY(scratch.isValid());
        QVERIFY(QFileInfo(QStringLiteral(QUILLAR_EXECUTABLE)).isExecutable());
        QVERIFY(QFileInfo::exists(QStringLiteral(QUILLAR_STATUS_PROBE)));
        xplane = std::make_unique<FakeXPlane>();
        QVERIFY(xplane->isListening());

        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("work/effect_profiles")));
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("hid")));
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("config/vortane-quillar")));
        QVERIFY(
            writeAtomically(workingDirectory() + QStringLiteral("/effect_profiles/XPLANE_Cessna_172_SP.json"),
                            profile("Cessna 172 SP", CessnaAileronsSpring, CessnaElevatorWeight)));
        QVERIFY(writeAtomically(workingDirectory() +
                                    QStringLiteral("/effect_profiles/XPLANE_Boeing_737_800.json"),
                                profile("Boeing 737-800", 0, BoeingElevatorWeight)));
        QVERIFY(writeAtomically(workingDirectory() +
                                    QStringLiteral("/effect_profiles/XPLANE_Cessna_172SP_Skyhawk.json"),
                                profile("Cessna 172SP Skyhawk", CessnaAileronsSpring, CessnaElevatorWeight)));
        QVERIFY(writeAtomically(deviceDirectory() + QStringLiteral("/joystick.state"),
                                "plugged=1\nversion=0c 01 00\nposition=" + QByteArray::number(JoystickRoll) +
                                    " 0\noffset=0 0\n"));
        QVERIFY(writeAtomically(deviceDirectory() + QStringLiteral("/rudder.state"),
                                "plugged=1\nversion=03 00 00\nposition=0 0\noffset=0 0\n"));

        startAgainst(*xplane);
    }

    void cleanupTestCase() {
        if (program.state() != QProcess::NotRunning) {
            program.kill();
            program.waitForFinished(30000);
        }
    }

    void xplaneFlightDrivesTheStick() {
        // Both devices open first: the profile's settings go only to open devices.
        QTRY_VERIFY2_WITH_TIMEOUT(
            readAll(deviceDirectory() + QStringLiteral("/calls.log")).contains("open joystick result=1"),
            program.readAll().constData(), 60000);
        QTRY_VERIFY_WITH_TIMEOUT(shownAt("source=Not detected\tmodule=Not detected") > 0, 60000);

        // The program asks the fake on the port of the settings file, with well-formed subscriptions.
        const int64_t detectionStart = monotonicMicros();
        cruise(*xplane);
        QTRY_COMPARE_WITH_TIMEOUT(xplane->subscriptionsByIndex().size(), 142, 30000);
        QCOMPARE(xplane->malformedRequests(), QStringList());

        // Detected: the panel shows X-Plane and the aircraft, and the editor has taken the saved profile.
        QTRY_VERIFY2_WITH_TIMEOUT(
            shownAt("source=X-Plane\tmodule=Cessna 172 SP\tgame=6\tprofile=Cessna 172 SP") > 0,
            lastStatus().constData(), 30000);
        // Its settings arrived suddenly: the DirectX override goes out, then the forces fade in anew.
        QTRY_VERIFY_WITH_TIMEOUT(!select(readWrites(writesLog()), "joystick", 0x21, detectionStart).isEmpty(),
                                 30000);
        const int64_t cessnaSwitched =
            select(readWrites(writesLog()), "joystick", 0x21, detectionStart).first().micros;

        // Simple spring on the roll axis: -p*S; elevator weight: -G*S*10/100.
        const double cessnaRoll = -double(JoystickRoll) * CessnaAileronsSpring;
        QTRY_VERIFY2_WITH_TIMEOUT(stickForcesAre(cessnaSwitched + (TransitionMs + 500) * 1000, cessnaRoll,
                                                 -2.5 * CessnaElevatorWeight * 10 / 100),
                                  lastStickForces().constData(), 30000);

        // The forces follow what X-Plane serves.
        xplane->set("sim/flightmodel/forces/g_nrml", 1);
        const int64_t pulledLess = monotonicMicros();
        QTRY_VERIFY2_WITH_TIMEOUT(
            stickForcesAre(pulledLess + 200 * 1000, cessnaRoll, -1.0 * CessnaElevatorWeight * 10 / 100),
            lastStickForces().constData(), 30000);

        // Another aircraft: declared again, shown, and its own profile switches itself on.
        const int64_t changeStart = monotonicMicros();
        xplane->setAircraftName("Boeing 737-800");
        QTRY_VERIFY2_WITH_TIMEOUT(
            shownAt("source=X-Plane\tmodule=Boeing 737-800\tgame=6\tprofile=Boeing 737-800") > 0,
            lastStatus().constData(), 30000);
        QTRY_VERIFY_WITH_TIMEOUT(!select(readWrites(writesLog()), "joystick", 0x21, changeStart).isEmpty(),
                                 30000);
        const int64_t boeingSwitched =
            select(readWrites(writesLog()), "joystick", 0x21, changeStart).first().micros;
        QTRY_VERIFY2_WITH_TIMEOUT(stickForcesAre(boeingSwitched + (TransitionMs + 500) * 1000, 0,
                                                 -1.0 * BoeingElevatorWeight * 10 / 100),
                                  lastStickForces().constData(), 30000);

        // X-Plane falls silent: after a second the source ends, the panel says so, and the neutral record
        // takes the weight off the stick.
        xplane->setAnswering(false);
        const int64_t silent = monotonicMicros();
        QTRY_VERIFY2_WITH_TIMEOUT(lastStatus().endsWith("source=Not detected\tmodule=Not detected\tgame=6\t"
                                                        "profile=Boeing 737-800"),
                                  lastStatus().constData(), 30000);
        const QList<QByteArray> lines = readAll(statusLog()).trimmed().split('\n');
        const int64_t endShown = lines.last().left(lines.last().indexOf('\t')).toLongLong();
        QVERIFY2(endShown - silent > 900 * 1000, qPrintable(QString::number(endShown - silent)));
        QTRY_VERIFY2_WITH_TIMEOUT(stickForcesAre(endShown + 100 * 1000, 0, 0), lastStickForces().constData(),
                                  30000);
        QVERIFY2(program.state() == QProcess::Running, program.readAll().constData());

        quitBySignalUnsubscribes(SIGTERM, *xplane);
    }

    void xplane11IsNamedByItsDescription() {
        // X-Plane 11 knows no acf_ui_name and, in this play, does not answer it at all.
        FakeXPlane eleven(QHostAddress(QHostAddress::LocalHost), 0, nullptr, FakeXPlane::Version::XPlane11,
                          FakeXPlane::Unknown::Silence);
        QVERIFY(eleven.isListening());
        cruise(eleven);
        startAgainst(eleven);
        QTRY_VERIFY2_WITH_TIMEOUT(
            readAll(deviceDirectory() + QStringLiteral("/calls.log")).contains("open joystick result=1"),
            program.readAll().constData(), 60000);
        const int64_t detectionStart = monotonicMicros();
        QTRY_COMPARE_WITH_TIMEOUT(eleven.subscriptionsByIndex().size(), 142, 30000);
        QTRY_VERIFY2_WITH_TIMEOUT(shownAt("source=X-Plane\tmodule=Cessna 172SP Skyhawk\tgame=6\t"
                                          "profile=Cessna 172SP Skyhawk") > 0,
                                  lastStatus().constData(), 30000);
        // Its saved profile drives the stick.
        QTRY_VERIFY_WITH_TIMEOUT(!select(readWrites(writesLog()), "joystick", 0x21, detectionStart).isEmpty(),
                                 30000);
        const int64_t switched =
            select(readWrites(writesLog()), "joystick", 0x21, detectionStart).first().micros;
        QTRY_VERIFY2_WITH_TIMEOUT(stickForcesAre(switched + (TransitionMs + 500) * 1000,
                                                 -double(JoystickRoll) * CessnaAileronsSpring,
                                                 -2.5 * CessnaElevatorWeight * 10 / 100),
                                  lastStickForces().constData(), 30000);

        quitBySignalUnsubscribes(SIGINT, eleven);
    }
};

QTEST_MAIN(TestXPlaneEndToEnd)
#include "tst_xplaneendtoend.moc"
