#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <QUdpSocket>
#include <QtTest>
#include <chrono>
#include <cmath>
#include <cstring>

#include "devicelog.h"
#include "programlauncher.h"

// The whole program, started as a user would, with simulated devices and a simulated DCS: a detected aircraft
// switches its profile on, and the forces of that profile reach the stick.
namespace {
constexpr quint16 DcsPort = 29778;
constexpr int TransitionMs = 2000;

// What the test tells the simulated devices and DCS.
constexpr float JoystickPosition[2] = {0.5f, -0.25f};
constexpr float JoystickOffset[2] = {0.125f, 0.0f};
constexpr float RudderPosition = 0.25f;
constexpr float GForce = 2.5f;

// The profile's effects.
constexpr float AileronsSpringStrength = 60;
constexpr float ElevatorWeightStrength = 50;
constexpr float RudderSpringStrength = 80;
constexpr float RudderDamperStrength = 100, RudderStaticDampening = 50, RudderDynamicDampening = 20;
constexpr float AileronsDirectXStrength = 80, DirectXTrimmer = 10, DirectXForce = 50, DirectXPeriodic = 40;

QByteArray profile() {
    const char *keys[] = {"airflow_spring", "simple_spring", "elevator_weight", "aoa_shaker",
                          "gear_shaker",    "flaps_shaker",  "airbrake_shaker", "on_ground_shaker",
                          "landing_jolt",   "il2_shaker",    "direct_x",        "condor_shaker",
                          "smart_damper"};
    QJsonObject axes[3];
    for (QJsonObject &axis : axes) {
        for (const char *key : keys) {
            axis.insert(QLatin1String(key), QJsonObject{{"active", false}});
        }
    }
    axes[0].insert("simple_spring",
                   QJsonObject{{"active", true}, {"total_effect_strength", AileronsSpringStrength}});
    axes[0].insert("direct_x", QJsonObject{{"active", true},
                                           {"total_effect_strength", AileronsDirectXStrength},
                                           {"trimmer", DirectXTrimmer},
                                           {"force", DirectXForce},
                                           {"periodic", DirectXPeriodic}});
    axes[1].insert("elevator_weight",
                   QJsonObject{{"active", true}, {"total_effect_strength", ElevatorWeightStrength}});
    axes[2].insert("simple_spring",
                   QJsonObject{{"active", true}, {"total_effect_strength", RudderSpringStrength}});
    axes[2].insert("smart_damper", QJsonObject{{"active", true},
                                               {"total_effect_strength", RudderDamperStrength},
                                               {"static_dampening", RudderStaticDampening},
                                               {"dynamic_dampening", RudderDynamicDampening}});
    const QJsonObject metadata{{"flight_data_source", 2}, {"flight_module", "F-16C_50"}, {"comment", "e2e"}};
    const QJsonObject effects{{"ailerons", axes[0]}, {"elevator", axes[1]}, {"rudder", axes[2]}};
    return QJsonDocument(QJsonObject{{"metadata", metadata}, {"effects", effects}}).toJson();
}

QByteArray dcsDatagram() {
    // name; airspeed; vertical speed; AoA; g; gear; airbrake; flaps; propeller airflow; on ground
    return "F-16C_50;420;-1.5;4;" + QByteArray::number(GForce) + ";0;0;0;0;0";
}

} // namespace

class TestEndToEnd : public QObject {
    Q_OBJECT

private:
    QTemporaryDir scratch;
    QProcess program;

    QString workingDirectory() const { return scratch.filePath(QStringLiteral("work")); }
    QString deviceDirectory() const { return scratch.filePath(QStringLiteral("hid")); }

    QByteArray callsLog() const {
        QFile file(deviceDirectory() + QStringLiteral("/calls.log"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private slots:
    void initTestCase() {
        QVERIFY(scratch.isValid());
        QVERIFY(QFileInfo(QStringLiteral(QUILLAR_EXECUTABLE)).isExecutable());
        QVERIFY(QFileInfo::exists(QStringLiteral(QUILLAR_HID_PRELOAD)));
        {
            // The program binds DCS's fixed port; another program holding it would silence DCS.
            QUdpSocket probe;
            if (!probe.bind(QHostAddress::Any, DcsPort)) {
                QFAIL("UDP port 29778 (DCS) is taken on this machine; free it to run the end-to-end test");
            }
        }
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("work/effect_profiles")));
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("hid")));
        QFile profileFile(workingDirectory() + QStringLiteral("/effect_profiles/DCS_F_16C_50_e2e.json"));
        QVERIFY(profileFile.open(QIODevice::WriteOnly));
        profileFile.write(profile());
        profileFile.close();

        const QByteArray joystick =
            "plugged=1\nversion=0c 01 00\nposition=" + QByteArray::number(JoystickPosition[0]) + ' ' +
            QByteArray::number(JoystickPosition[1]) + "\noffset=" + QByteArray::number(JoystickOffset[0]) +
            ' ' + QByteArray::number(JoystickOffset[1]) + '\n';
        const QByteArray rudder =
            "plugged=1\nversion=03 00 00\nposition=" + QByteArray::number(RudderPosition) +
            " 0\noffset=0 0\n";
        QVERIFY(writeAtomically(deviceDirectory() + QStringLiteral("/joystick.state"), joystick));
        QVERIFY(writeAtomically(deviceDirectory() + QStringLiteral("/rudder.state"), rudder));

        startProgram(program, workingDirectory(), deviceDirectory());
        QVERIFY2(program.waitForStarted(30000), qPrintable(program.errorString()));
    }

    void cleanupTestCase() {
        if (program.state() != QProcess::NotRunning) {
            program.kill();
            program.waitForFinished(30000);
        }
    }

    void dcsAircraftDrivesTheStick() {
        // Both devices must be open before the aircraft is detected: the override goes only to open devices.
        QTRY_VERIFY2_WITH_TIMEOUT(callsLog().contains("open joystick result=1") &&
                                      callsLog().contains("open rudder result=1"),
                                  program.readAll().constData(), 60000);

        QUdpSocket dcs;
        QTimer sender;
        sender.setInterval(20);
        connect(&sender, &QTimer::timeout, this,
                [&dcs] { dcs.writeDatagram(dcsDatagram(), QHostAddress(QHostAddress::LocalHost), DcsPort); });
        const int64_t detectionStart = monotonicMicros();
        sender.start();

        const QString writesPath = deviceDirectory() + QStringLiteral("/writes.log");
        auto overrides = [&](const QByteArray &device) {
            return select(readWrites(writesPath), device, 0x21, detectionStart);
        };
        QTRY_VERIFY_WITH_TIMEOUT(!overrides("joystick").isEmpty() && !overrides("rudder").isEmpty(), 60000);
        QVERIFY2(program.state() == QProcess::Running, program.readAll().constData());

        // DirectX override: the ailerons' pass-through in slot A; the trimmer is not scaled by the strength.
        const Write joystickOverride = overrides("joystick").first();
        QCOMPARE(joystickOverride.bytes.left(2), QByteArray::fromHex("0221"));
        QCOMPARE(joystickOverride.at(2), DirectXTrimmer / 100);
        QCOMPARE(joystickOverride.at(6), 0.0f);
        QCOMPARE(joystickOverride.at(10), AileronsDirectXStrength * DirectXForce / 100 / 100);
        QCOMPARE(joystickOverride.at(14), 0.0f);
        QCOMPARE(joystickOverride.at(18), AileronsDirectXStrength * DirectXPeriodic / 100 / 100);
        QCOMPARE(joystickOverride.at(22), 0.0f);
        QCOMPARE(joystickOverride.bytes.mid(26), QByteArray(39, '\0'));
        const Write rudderOverride = overrides("rudder").first();
        QCOMPARE(rudderOverride.bytes, QByteArray::fromHex("0221") + QByteArray(63, '\0'));

        // The forces fade out over the 2000 ms after the change; well after it they are whole.
        const int64_t switched = joystickOverride.micros;
        const int64_t settled = switched + (TransitionMs + 500) * 1000;
        auto settledWrites = [&](const QByteArray &device) {
            return select(readWrites(writesPath), device, 0x20, settled);
        };
        QTRY_VERIFY_WITH_TIMEOUT(settledWrites("joystick").size() >= 5 && settledWrites("rudder").size() >= 5,
                                 60000);
        sender.stop();

        const double roll = double(JoystickPosition[0] - JoystickOffset[0]);
        const double yaw = RudderPosition;
        const double rollForce = -roll * AileronsSpringStrength; // simple spring: -p*S
        // Elevator weight: -G*S*10/100, whatever the stick's pitch.
        const double pitchForce = -double(GForce) * ElevatorWeightStrength * 10 / 100;
        const double yawForce = -yaw * RudderSpringStrength;
        const float staticDamping = RudderDamperStrength * RudderStaticDampening / 100 / 100;
        const float dynamicDamping = RudderDamperStrength * RudderDynamicDampening / 100 / 100;

        for (const Write &write : settledWrites("joystick").mid(0, 5)) {
            QCOMPARE(write.bytes.left(2), QByteArray::fromHex("0220"));
            QVERIFY2(closeTo(write.at(2), std::fabs(rollForce)), qPrintable(QString::number(write.at(2))));
            QCOMPARE(write.at(6), 0.0f); // the elevator weight gives no spring gain
            QVERIFY2(closeTo(write.at(10), rollForce), qPrintable(QString::number(write.at(10))));
            QVERIFY2(closeTo(write.at(14), pitchForce), qPrintable(QString::number(write.at(14))));
            QCOMPARE(write.at(18), 0.0f);
            QCOMPARE(write.at(22), 0.0f);
            QCOMPARE(write.bytes.mid(26), QByteArray(39, '\0')); // no damper on these axes, offsets zero
        }
        for (const Write &write : settledWrites("rudder").mid(0, 5)) {
            QCOMPARE(write.bytes.left(2), QByteArray::fromHex("0220"));
            QVERIFY2(closeTo(write.at(2), std::fabs(yawForce)), qPrintable(QString::number(write.at(2))));
            QVERIFY2(closeTo(write.at(10), yawForce), qPrintable(QString::number(write.at(10))));
            QCOMPARE(write.at(18), 0.0f);
            QCOMPARE(write.at(26), staticDamping);
            QCOMPARE(write.at(34), dynamicDamping);
            for (int slotB : {6, 14, 22, 30, 38, 46}) {
                QCOMPARE(write.at(slotB), 0.0f);
            }
            QCOMPARE(write.at(42), 0.0f);
            QCOMPARE(write.bytes.mid(50), QByteArray(15, '\0'));
        }

        // During the fade the same forces were sent scaled down towards zero.
        int fading = 0;
        for (const Write &write : select(readWrites(writesPath), "joystick", 0x20, switched + 300 * 1000)) {
            if (write.micros > switched + (TransitionMs - 300) * 1000) {
                break;
            }
            ++fading;
            QVERIFY2(std::fabs(write.at(10)) < 0.95 * std::fabs(rollForce) && write.at(10) * rollForce >= 0,
                     qPrintable(QString::number(write.at(10))));
        }
        QVERIFY(fading > 0);
        QVERIFY2(program.state() == QProcess::Running, program.readAll().constData());
    }
};

QTEST_MAIN(TestEndToEnd)
#include "tst_endtoend.moc"
