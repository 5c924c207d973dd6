#include "aircraftclass.h"
#include "commontelemetryforcecalculator.h"
#include "fakesimconnectserver.h"
#include "profilewriter.h"
#include "telemetrysourcedcs.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <QUdpSocket>
#include <QtTest>
#include <cmath>
#include <cstring>

#include "devicelog.h"
#include "programlauncher.h"

// The whole program, offscreen over the hidapi double with a simulated DCS, for an aircraft that has no
// profile: the bar, its "Create profile" and "Not now", and the class-template setting.
namespace {
constexpr quint16 DcsPort = 29778;
constexpr int SettleMs = 2500; // the 2000 ms fade after a sudden change, and some
constexpr float Joystick[2] = {0.5f, -0.25f};
constexpr float Rudder = 0.25f;

// name; airspeed; vertical speed; AoA; g; gear; airbrake; flaps; propeller airflow; on ground. Nothing that
// shakes: AoA below any buffet, everything retracted, airborne.
QByteArray datagram(const QByteArray &module) {
    return module + ";420;-1.5;4;2.5;0;0;0;0;0";
}

// What the engine makes of that datagram with these settings and the stick where the double holds it.
Forces expectedForces(const EffectsSettings &settings) {
    DCSTelemetry telemetry;
    decodeDcsDatagram(datagram("F-16C_50"), telemetry, nullptr);
    CommonTelemetryForceCalculator calculator;
    Forces forces;
    const float positions[3] = {Joystick[0], Joystick[1], Rudder};
    for (int axis = 0; axis < 3; ++axis) {
        calculator.calculate(forces, axis, positions[axis], telemetry, settings.axes[axis], 1000);
        forces.axes[axis].force = std::max(-100.0f, std::min(100.0f, forces.axes[axis].force));
    }
    return forces;
}

EffectsProfile jetProfileFor(const QString &module) {
    EffectsProfile profile;
    AircraftClasses::loadTemplate(AircraftClass::Jet, profile);
    profile.metadata = EffectsProfileMetadata{Telemetry::TELEMETRY_SOURCE_DCS, module, QString()};
    return profile;
}

// A profile of the user's for the F-16: a simple spring on every axis and nothing else.
QByteArray springProfile() {
    QJsonObject spring{{"active", true}, {"total_effect_strength", 40}};
    QJsonObject axis{{"simple_spring", spring}};
    const QJsonObject metadata{{"flight_data_source", 2}, {"flight_module", "F-16C_50"}, {"comment", ""}};
    const QJsonObject effects{{"ailerons", axis}, {"elevator", axis}, {"rudder", axis}};
    return QJsonDocument(QJsonObject{{"metadata", metadata}, {"effects", effects}}).toJson();
}
} // namespace

class TestClassTemplateApp : public QObject {
    Q_OBJECT

private:
    QTemporaryDir scratch;
    QProcess program;
    QString run; // the folder of the current case
    QUdpSocket dcs;
    QTimer sender;
    QByteArray module;
    int commands = 0;

    QString path(const QString &name) const { return run + QLatin1Char('/') + name; }
    QString workingDirectory() const { return path(QStringLiteral("work")); }
    QString deviceDirectory() const { return path(QStringLiteral("hid")); }
    QString configFile() const { return path(QStringLiteral("config/vortane-quillar/quillar.conf")); }
    QString barLog() const { return path(QStringLiteral("bar.log")); }

    void prepare(const QString &name) {
        run = scratch.filePath(name);
        QVERIFY(QDir().mkpath(workingDirectory() + QStringLiteral("/effect_profiles")));
        QVERIFY(QDir().mkpath(deviceDirectory()));
        QVERIFY(QDir().mkpath(path(QStringLiteral("config/vortane-quillar"))));
        const QByteArray joystick =
            "plugged=1\nversion=0c 01 00\nposition=" + QByteArray::number(Joystick[0]) + ' ' +
            QByteArray::number(Joystick[1]) + "\noffset=0 0\n";
        const QByteArray rudder =
            "plugged=1\nversion=03 00 00\nposition=" + QByteArray::number(Rudder) + " 0\noffset=0 0\n";
        QVERIFY(writeAtomically(deviceDirectory() + QStringLiteral("/joystick.state"), joystick));
        QVERIFY(writeAtomically(deviceDirectory() + QStringLiteral("/rudder.state"), rudder));
    }

    void start() {
        commands = 0;
        QFile::remove(barLog());
        QFile::remove(path(QStringLiteral("commands")));
        QProcessEnvironment extra;
        extra.insert(QStringLiteral("XDG_CONFIG_HOME"), path(QStringLiteral("config")));
        extra.insert(QStringLiteral("QUILLAR_CLASS_BAR_LOG"), barLog());
        extra.insert(QStringLiteral("QUILLAR_CLASS_BAR_COMMANDS"), path(QStringLiteral("commands")));
        startProgram(program, workingDirectory(), deviceDirectory(), {QStringLiteral(QUILLAR_CLASS_BAR_USER)},
                     extra);
        QVERIFY2(program.waitForStarted(30000), qPrintable(program.errorString()));
        QTRY_VERIFY2_WITH_TIMEOUT(calls().contains("open joystick result=1") &&
                                      calls().contains("open rudder result=1"),
                                  program.readAll().constData(), 60000);
        // The bar is there (hidden) once the driver logs its first state.
        QTRY_VERIFY_WITH_TIMEOUT(!barStates().isEmpty(), 30000);
    }

    void stop() {
        sender.stop();
        if (program.state() != QProcess::NotRunning) {
            program.kill();
            program.waitForFinished(30000);
        }
    }

    void fly(const QByteArray &aircraft) {
        module = aircraft;
        sender.start();
    }

    // DCS goes quiet for more than the second that ends its telemetry, then reports the next aircraft.
    void switchTo(const QByteArray &aircraft) {
        sender.stop();
        QTest::qWait(1600);
        fly(aircraft);
    }

    QByteArray calls() const { return readAll(deviceDirectory() + QStringLiteral("/calls.log")); }

    // Every bar state the driver logged, without its time.
    QList<QByteArray> barStates() const {
        QList<QByteArray> states;
        for (const QByteArray &line : readAll(barLog()).split('\n')) {
            const int space = line.indexOf(' ');
            if (space > 0 && line.mid(space + 1).startsWith("bar "))
                states << line.mid(space + 1);
        }
        return states;
    }
    QByteArray lastBar() const {
        const QList<QByteArray> states = barStates();
        return states.isEmpty() ? QByteArray() : states.last();
    }

    void command(const QByteArray &text) {
        QFile file(path(QStringLiteral("commands")));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
        file.write(text + '\n');
        file.close();
        ++commands;
        QTRY_VERIFY_WITH_TIMEOUT(readAll(barLog()).contains("done " + text), 30000);
    }

    QStringList profileFiles() const {
        return QDir(workingDirectory() + QStringLiteral("/effect_profiles"))
            .entryList(QDir::Files, QDir::Name);
    }

    // After the sudden change that follows `from` (the worker then sends the DirectX override report) and its
    // fade, the reports carry these forces.
    void reportsFollow(const Forces &expected, int64_t from) {
        const QString writes = deviceDirectory() + QStringLiteral("/writes.log");
        QTRY_VERIFY_WITH_TIMEOUT(!select(readWrites(writes), "joystick", 0x21, from).isEmpty(), 60000);
        const int64_t switched = select(readWrites(writes), "joystick", 0x21, from).first().micros;
        const int64_t settled = switched + int64_t(SettleMs) * 1000;
        QTRY_VERIFY_WITH_TIMEOUT(select(readWrites(writes), "joystick", 0x20, settled).size() >= 5 &&
                                     select(readWrites(writes), "rudder", 0x20, settled).size() >= 5,
                                 60000);
        for (const Write &write : select(readWrites(writes), "joystick", 0x20, settled).mid(0, 5)) {
            const QString got = QStringLiteral("%1 %2 %3 %4 %5 %6")
                                    .arg(write.at(2))
                                    .arg(write.at(6))
                                    .arg(write.at(10))
                                    .arg(write.at(14))
                                    .arg(write.at(18))
                                    .arg(write.at(22));
            QVERIFY2(closeTo(write.at(2), expected.axes[0].springGain), qPrintable(got));
            QVERIFY2(closeTo(write.at(6), expected.axes[1].springGain), qPrintable(got));
            QVERIFY2(closeTo(write.at(10), expected.axes[0].force), qPrintable(got));
            QVERIFY2(closeTo(write.at(14), expected.axes[1].force), qPrintable(got));
            QCOMPARE(write.at(18), 0.0f);
            QCOMPARE(write.at(22), 0.0f);
        }
        for (const Write &write : select(readWrites(writes), "rudder", 0x20, settled).mid(0, 5)) {
            QVERIFY2(closeTo(write.at(2), expected.axes[2].springGain),
                     qPrintable(QString::number(write.at(2))));
            QVERIFY2(closeTo(write.at(10), expected.axes[2].force),
                     qPrintable(QString::number(write.at(10))));
        }
    }

    void noForcesAfter(int64_t from) {
        const QString writes = deviceDirectory() + QStringLiteral("/writes.log");
        QTRY_VERIFY_WITH_TIMEOUT(select(readWrites(writes), "joystick", 0x20, from).size() >= 5, 30000);
        for (const Write &write : select(readWrites(writes), "joystick", 0x20, from)) {
            QCOMPARE(write.at(10), 0.0f);
            QCOMPARE(write.at(14), 0.0f);
        }
    }

private slots:
    void initTestCase() {
        QVERIFY(scratch.isValid());
        QUdpSocket probe;
        if (!probe.bind(QHostAddress::Any, DcsPort))
            QFAIL("UDP port 29778 (DCS) is taken on this machine; free it to run this test");
        probe.close();
        sender.setInterval(20);
        connect(&sender, &QTimer::timeout, this, [this] {
            dcs.writeDatagram(datagram(module), QHostAddress(QHostAddress::LocalHost), DcsPort);
        });
    }

    void cleanup() { stop(); }

    void createFromTheBarThenActivatedByItself() {
        prepare(QStringLiteral("create"));
        start();
        fly("F-16C_50");
        QTRY_COMPARE_WITH_TIMEOUT(
            lastBar(),
            QByteArray("bar visible=1 class=Jet text=No profile for F-16C_50 (DCS) — forces are off"), 30000);
        noForcesAfter(monotonicMicros());

        const int64_t created = monotonicMicros();
        command("create");
        QTRY_VERIFY_WITH_TIMEOUT(lastBar().startsWith("bar visible=0"), 30000);
        QCOMPARE(profileFiles(), (QStringList{"DCS_F_16C_50.json", "DCS_Quillar_Demo_Trainer.json"}));
        // The Jet template's settings, made for this aircraft, written as "Save profile" writes.
        QCOMPARE(readAll(workingDirectory() + QStringLiteral("/effect_profiles/DCS_F_16C_50.json")),
                 ProfileWriter::profileDocument(jetProfileFor(QStringLiteral("F-16C_50"))));
        reportsFollow(expectedForces(jetProfileFor(QString()).settings), created);
        stop();

        // Started again: automatic activation finds the new profile by itself, and there is no bar.
        start();
        const int64_t restarted = monotonicMicros();
        fly("F-16C_50");
        reportsFollow(expectedForces(jetProfileFor(QString()).settings), restarted);
        for (const QByteArray &state : barStates())
            QVERIFY2(state.startsWith("bar visible=0"), state.constData());
    }

    void notNowUntilAnotherAircraft() {
        prepare(QStringLiteral("notnow"));
        start();
        fly("F-16C_50");
        QTRY_VERIFY_WITH_TIMEOUT(lastBar().startsWith("bar visible=1"), 30000);
        command("notnow");
        QTRY_VERIFY_WITH_TIMEOUT(lastBar().startsWith("bar visible=0"), 30000);
        // The same aircraft reported again (a new mission in it) brings no bar back.
        switchTo("F-16C_50");
        QTest::qWait(1500);
        QVERIFY(lastBar().startsWith("bar visible=0"));

        switchTo("A-10C_2");
        QTRY_COMPARE_WITH_TIMEOUT(
            lastBar(),
            QByteArray("bar visible=1 class=Jet text=No profile for A-10C_2 (DCS) — forces are off"), 30000);
        // An aircraft with a profile: it is activated, and the bar goes.
        switchTo(QByteArray("Quillar Demo Trainer"));
        QTRY_VERIFY_WITH_TIMEOUT(lastBar().startsWith("bar visible=0"), 30000);
        // One the table does not know: no class preset, and the bar says whose profile is flying.
        switchTo("Mystery-1");
        QTRY_COMPARE_WITH_TIMEOUT(lastBar(),
                                  QByteArray("bar visible=1 class= text=No profile for Mystery-1 (DCS) — "
                                             "using the profile of Quillar Demo "
                                             "Trainer [DCS]"),
                                  30000);
        QCOMPARE(profileFiles(), QStringList{"DCS_Quillar_Demo_Trainer.json"});
    }

    void noBarWithAutomaticActivationOff() {
        prepare(QStringLiteral("activationoff"));
        start();
        command("activation off");
        fly("F-16C_50");
        QTest::qWait(3000);
        for (const QByteArray &state : barStates())
            QVERIFY2(state.startsWith("bar visible=0"), state.constData());
        // Switched on again, the next aircraft without a profile gets the bar: the detection was flowing.
        command("activation on");
        switchTo("A-10C_2");
        QTRY_VERIFY_WITH_TIMEOUT(lastBar().startsWith("bar visible=1 class=Jet"), 30000);
        QCOMPARE(profileFiles(), QStringList{"DCS_Quillar_Demo_Trainer.json"});
    }

    void classTemplateSettingFliesTheTemplateUnsaved() {
        prepare(QStringLiteral("optin"));
        QVERIFY(writeAtomically(configFile(), "[profiles]\nuse_class_template=true\n"));
        start();
        const int64_t detected = monotonicMicros();
        fly("F-16C_50");
        QTRY_COMPARE_WITH_TIMEOUT(lastBar(),
                                  QByteArray("bar visible=1 class=Jet text=No profile for F-16C_50 (DCS) — "
                                             "using the Jet template (not saved)"),
                                  30000);
        reportsFollow(expectedForces(jetProfileFor(QString()).settings), detected);
        QCOMPARE(profileFiles(), QStringList{"DCS_Quillar_Demo_Trainer.json"});
        stop();

        // A profile of the user's for the aircraft wins over the template.
        QVERIFY(writeAtomically(workingDirectory() + QStringLiteral("/effect_profiles/DCS_F_16C_50.json"),
                                springProfile()));
        start();
        const int64_t restarted = monotonicMicros();
        fly("F-16C_50");
        EffectsSettings spring;
        for (AxisEffectsSettings &axis : spring.axes) {
            axis.simpleSpring.active = true;
            axis.simpleSpring.total_effect_strength = 40;
        }
        reportsFollow(expectedForces(spring), restarted);
        for (const QByteArray &state : barStates())
            QVERIFY2(state.startsWith("bar visible=0"), state.constData());
    }

    // MSFS tells the class in its appended SimVars: a helicopter is offered the Helicopter template.
    void msfsHelicopterIsOfferedTheHelicopterTemplate() {
        prepare(QStringLiteral("msfs"));
        FakeSimConnectServer simulator;
        QVERIFY(simulator.listen());
        QVERIFY(writeAtomically(workingDirectory() + QStringLiteral("/SimConnect.cfg"),
                                "[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=" +
                                    QByteArray::number(simulator.port()) + "\n"));
        // The data block of the whole definition: eighteen doubles and the title, then CATEGORY, ENGINE TYPE
        // and ATC HEAVY.
        QByteArray served(672, '\0');
        auto put = [&served](int offset, double value) {
            uint64_t bits;
            std::memcpy(&bits, &value, sizeof bits);
            for (int i = 0; i < 8; ++i)
                served[offset + i] = char((bits >> (8 * i)) & 0xFF);
        };
        put(64, 150.0); // AIRSPEED INDICATED
        const QByteArray title = "Vortane Test Heli";
        std::memcpy(served.data() + 144, title.constData(), size_t(title.size()));
        std::memcpy(served.data() + 400, "Helicopter", 10);
        put(656, 3.0); // helo turbine
        put(664, 0.0);
        start();
        QTRY_VERIFY_WITH_TIMEOUT(simulator.definitions.size() == 22, 30000);
        simulator.serveOnRequest(served);
        simulator.sendData(0, served);
        QTRY_COMPARE_WITH_TIMEOUT(lastBar(),
                                  QByteArray("bar visible=1 class=Helicopter text=No profile for Vortane "
                                             "Test Heli (MSFS) — forces are off"),
                                  30000);
        command("create");
        QTRY_VERIFY_WITH_TIMEOUT(lastBar().startsWith("bar visible=0"), 30000);
        EffectsProfile helicopter;
        AircraftClasses::loadTemplate(AircraftClass::Helicopter, helicopter);
        helicopter.metadata =
            EffectsProfileMetadata{Telemetry::TELEMETRY_SOURCE_MSFS, QString::fromLatin1(title), QString()};
        QCOMPARE(readAll(workingDirectory() + QStringLiteral("/effect_profiles/MSFS_Vortane_Test_Heli.json")),
                 ProfileWriter::profileDocument(helicopter));
        stop();
        simulator.stopServing();
    }

    void checkBoxWritesTheSetting() {
        prepare(QStringLiteral("checkbox"));
        QVERIFY(writeAtomically(configFile(), "[xplane]\nhost=127.0.0.1\n"));
        start();
        fly("F-16C_50");
        QTRY_VERIFY_WITH_TIMEOUT(lastBar().endsWith("— forces are off"), 30000);
        const int64_t switched = monotonicMicros();
        command("template on");
        QVERIFY(readAll(configFile()).contains("use_class_template=true"));
        QVERIFY(readAll(configFile()).contains("host=127.0.0.1"));
        // At once, for the aircraft flying now.
        QTRY_VERIFY_WITH_TIMEOUT(lastBar().endsWith("— using the Jet template (not saved)"), 30000);
        reportsFollow(expectedForces(jetProfileFor(QString()).settings), switched);
        command("template off");
        QVERIFY(readAll(configFile()).contains("use_class_template=false"));
        QCOMPARE(profileFiles(), QStringList{"DCS_Quillar_Demo_Trainer.json"});
    }
};

QTEST_MAIN(TestClassTemplateApp)
#include "tst_classtemplateapp.moc"
