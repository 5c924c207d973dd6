#include "hidapidouble.h"
#include "mainbackgroundthread.h"
#include "workertestsupport.h"

#include <QSignalSpy>
#include <QtTest>

using namespace HidApiDouble;
using WorkerTest::floatAt;
using WorkerTest::hex;

namespace {
// Hex of a 65-byte report: the given leading bytes, then zeros.
QByteArray report(const char *leadingHex) {
    QByteArray b = QByteArray::fromHex(leadingHex);
    b.append(QByteArray(65 - b.size(), '\0'));
    return b.toHex();
}

Forces sampleForces() {
    Forces f;
    f[0] = AxisForces{1.0f, 2.0f, 3.0f};    // force, periodic, springGain
    f[1] = AxisForces{-1.0f, 0.5f, 0.25f};
    f[2] = AxisForces{4.0f, 5.0f, 6.0f};
    return f;
}
} // namespace

// The worker's report operations against the hidapi double.
class TestWorkerHidReports : public QObject {
    Q_OBJECT

private slots:
    void init() {
        HidApiDouble::reset();
        WorkerTest::useManualClock();
    }

    void cleanup() { MonotonicClock::setSource(nullptr); }

    void versionWordCarriesReportIdAndFirmwareBytes() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setVersionBytes(Device::Joystick, 0x01, 0x02, 0x03);
        HidApiDouble::setPlugged(Device::Rudder, true);
        HidApiDouble::setVersionBytes(Device::Rudder, 0xaa, 0xbb, 0xcc);
        MainBackgroundThread worker;
        QSignalSpy joystickConnected(&worker, &MainBackgroundThread::joystickConnected);
        QSignalSpy rudderConnected(&worker, &MainBackgroundThread::rudderConnected);
        WorkerTest::cycle(worker);
        QCOMPARE(joystickConnected.count(), 1);
        QCOMPARE(joystickConnected[0][0].value<uint32_t>(), uint32_t(0x03020125));
        QCOMPARE(rudderConnected.count(), 1);
        QCOMPARE(rudderConnected[0][0].value<uint32_t>(), uint32_t(0xccbbaa25));
        QCOMPARE(worker.readJoystickVersion(), uint32_t(0x03020125));
        QCOMPARE(worker.readRudderVersion(), uint32_t(0xccbbaa25));

        // The version request is zeroed apart from its report id.
        const std::vector<CallRecord> reads = HidApiDouble::calls(Call::GetFeatureReport, Device::Joystick);
        QCOMPARE(reads.size(), size_t(2));
        QCOMPARE(reads[0].bytes.size(), size_t(65));
        QCOMPARE(reads[0].bytes[0], 0x25);
    }

    void failedVersionReadYieldsTheBareReportId() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setVersionBytes(Device::Joystick, 0x01, 0x02, 0x03);
        HidApiDouble::setFeatureReportResult(Device::Joystick, -1);
        MainBackgroundThread worker;
        QSignalSpy joystickConnected(&worker, &MainBackgroundThread::joystickConnected);
        WorkerTest::cycle(worker);
        QCOMPARE(joystickConnected.count(), 1);
        QCOMPARE(joystickConnected[0][0].value<uint32_t>(), uint32_t(0x00000025));
    }

    void joystickPositionAndOffsetFromSlots() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPosition(Device::Joystick, 12.5f, -3.0f, 2.5f, 1.0f);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        PositionInput position{7, 8, 9};
        PositionInput offset{7, 8, 9};
        worker.readJoystickPosition(&position, &offset);
        QCOMPARE(position.roll, 12.5f);
        QCOMPARE(position.pitch, -3.0f);
        QCOMPARE(position.yaw, 9.0f);
        QCOMPARE(offset.roll, 2.5f);
        QCOMPARE(offset.pitch, 1.0f);
        QCOMPARE(offset.yaw, 9.0f);
        const std::vector<CallRecord> reads = HidApiDouble::calls(Call::GetFeatureReport, Device::Joystick);
        QCOMPARE(reads.back().bytes[0], 0x24);
    }

    void rudderPositionTouchesYawOnly() {
        HidApiDouble::setPlugged(Device::Rudder, true);
        HidApiDouble::setPosition(Device::Rudder, 12.5f, 99.0f, 2.5f, 77.0f);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        PositionInput position{7, 8, 9};
        PositionInput offset{4, 5, 6};
        worker.readRudderPosition(&position, &offset);
        QCOMPARE(position.roll, 7.0f);
        QCOMPARE(position.pitch, 8.0f);
        QCOMPARE(position.yaw, 12.5f);
        QCOMPARE(offset.roll, 4.0f);
        QCOMPARE(offset.pitch, 5.0f);
        QCOMPARE(offset.yaw, 2.5f);
    }

    void shortPositionReadCountsAsSuccess() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPosition(Device::Joystick, 12.5f, -3.0f, 2.5f, 1.0f);
        MainBackgroundThread worker;
        QSignalSpy disconnected(&worker, &MainBackgroundThread::joystickDisconnected);
        WorkerTest::cycle(worker);
        HidApiDouble::setFeatureReportResult(Device::Joystick, 5); // report id and slot A position only
        PositionInput position{7, 8, 9};
        PositionInput offset{7, 8, 9};
        worker.readJoystickPosition(&position, &offset);
        QCOMPARE(disconnected.count(), 0);
        QCOMPARE(position.roll, 12.5f);
        QCOMPARE(position.pitch, 0.0f);
        QCOMPARE(offset.roll, 0.0f);
        QCOMPARE(offset.pitch, 0.0f);
        QCOMPARE(HidApiDouble::openHandleCount(Device::Joystick), 1);
    }

    void failedPositionReadClosesAndLeavesValuesAlone_data() {
        QTest::addColumn<int>("result");
        QTest::addRow("error") << -1;
        QTest::addRow("empty report") << 0;
    }

    void failedPositionReadClosesAndLeavesValuesAlone() {
        QFETCH(int, result);
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPlugged(Device::Rudder, true);
        MainBackgroundThread worker;
        QSignalSpy joystickDisconnected(&worker, &MainBackgroundThread::joystickDisconnected);
        QSignalSpy rudderDisconnected(&worker, &MainBackgroundThread::rudderDisconnected);
        WorkerTest::cycle(worker);
        HidApiDouble::setFeatureReportResult(Device::Joystick, result);
        HidApiDouble::setFeatureReportResult(Device::Rudder, result);
        PositionInput position{7, 8, 9};
        PositionInput offset{4, 5, 6};
        worker.readJoystickPosition(&position, &offset);
        worker.readRudderPosition(&position, &offset);
        QCOMPARE(joystickDisconnected.count(), 1);
        QCOMPARE(rudderDisconnected.count(), 1);
        QCOMPARE(position.roll, 7.0f);
        QCOMPARE(position.pitch, 8.0f);
        QCOMPARE(position.yaw, 9.0f);
        QCOMPARE(offset.roll, 4.0f);
        QCOMPARE(offset.pitch, 5.0f);
        QCOMPARE(offset.yaw, 6.0f);
        QCOMPARE(HidApiDouble::calls(Call::Close, Device::Joystick).size(), size_t(1));
        QCOMPARE(HidApiDouble::calls(Call::Close, Device::Rudder).size(), size_t(1));
        QCOMPARE(HidApiDouble::openHandleCount(), 0);

        // Closed now: a further read asks nothing and reports nothing.
        HidApiDouble::clearCalls();
        worker.readJoystickPosition(&position, &offset);
        worker.readRudderPosition(&position, &offset);
        QCOMPARE(HidApiDouble::calls().size(), size_t(0));
        QCOMPARE(joystickDisconnected.count(), 1);
        QCOMPARE(rudderDisconnected.count(), 1);
    }

    void joystickDirectControlReport() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        EffectsSettings settings;
        SmartDamperSettings &rollDamper = settings.axes[0].smartDamper;
        rollDamper.active = true;
        rollDamper.total_effect_strength = 100;
        rollDamper.static_dampening = 50;
        rollDamper.dynamic_dampening = 25;
        // Inactive: its numbers must not reach the report.
        SmartDamperSettings &pitchDamper = settings.axes[1].smartDamper;
        pitchDamper.total_effect_strength = 100;
        pitchDamper.static_dampening = 80;
        pitchDamper.dynamic_dampening = 80;
        worker.changeSettingsModerately(settings);
        HidApiDouble::clearCalls();

        worker.writeJoystickDirectControl(sampleForces());
        const std::vector<CallRecord> writes = HidApiDouble::writes(Device::Joystick);
        QCOMPARE(writes.size(), size_t(1));
        QCOMPARE(hex(writes[0].bytes), report("0220"
                                              "00004040" "0000803e" // spring gain: 3 (roll), 0.25 (pitch)
                                              "0000803f" "000080bf" // force: 1, -1
                                              "00000040" "0000003f" // periodic: 2, 0.5
                                              "0000003f" "00000000" // static damping: 100 x 50 -> 0.5, inactive 0
                                              "0000803e" "00000000" // dynamic damping: 100 x 25 -> 0.25
                                              "00000000" "00000000")); // axis offsets, always 0
        QCOMPARE_EXACT(floatAt(writes[0].bytes, 26), 0.5f);
    }

    void rudderDirectControlUsesSlotAOnly() {
        HidApiDouble::setPlugged(Device::Rudder, true);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        EffectsSettings settings;
        SmartDamperSettings &yawDamper = settings.axes[2].smartDamper;
        yawDamper.active = true;
        yawDamper.total_effect_strength = 100;
        yawDamper.static_dampening = 50;
        yawDamper.dynamic_dampening = 100;
        worker.changeSettingsModerately(settings);
        HidApiDouble::clearCalls();

        worker.writeRudderDirectControl(sampleForces());
        const std::vector<CallRecord> writes = HidApiDouble::writes(Device::Rudder);
        QCOMPARE(writes.size(), size_t(1));
        const std::vector<unsigned char> &b = writes[0].bytes;
        QCOMPARE(b.size(), size_t(65));
        QCOMPARE(b[0], 0x02);
        QCOMPARE(b[1], 0x20);
        QCOMPARE_EXACT(floatAt(b, 2), 6.0f);  // spring gain of yaw
        QCOMPARE_EXACT(floatAt(b, 10), 4.0f); // force
        QCOMPARE_EXACT(floatAt(b, 18), 5.0f); // periodic
        QCOMPARE_EXACT(floatAt(b, 26), 0.5f); // static damping
        QCOMPARE_EXACT(floatAt(b, 34), 1.0f); // dynamic damping
        QCOMPARE_EXACT(floatAt(b, 42), 0.0f); // axis offset
        for (std::size_t slotB : {6u, 14u, 22u, 30u, 38u, 46u})
            QCOMPARE(hex({b.begin() + long(slotB), b.begin() + long(slotB) + 4}), QByteArray("00000000"));
        QCOMPARE(hex({b.begin() + 50, b.end()}), QByteArray(30, '0'));
    }

    void inactiveDamperLeavesDampingZero() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        EffectsSettings settings;
        for (int axis : {0, 1}) {
            SmartDamperSettings &damper = settings.axes[axis].smartDamper;
            damper.active = false;
            damper.total_effect_strength = 100;
            damper.static_dampening = 100;
            damper.dynamic_dampening = 100;
            settings.axes[axis].simpleSpring.active = true;
            settings.axes[axis].simpleSpring.total_effect_strength = 100;
        }
        worker.changeSettingsModerately(settings);
        HidApiDouble::clearCalls();
        worker.writeJoystickDirectControl(sampleForces());
        const std::vector<CallRecord> writes = HidApiDouble::writes(Device::Joystick);
        QCOMPARE(writes.size(), size_t(1));
        QCOMPARE(hex({writes[0].bytes.begin() + 26, writes[0].bytes.begin() + 42}), QByteArray(32, '0'));
    }

    void directXOverrideFromSettings() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPlugged(Device::Rudder, true);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        HidApiDouble::clearCalls();

        EffectsSettings settings;
        DirectXSettings &roll = settings.axes[0].directX;
        roll.active = true;
        roll.total_effect_strength = 50;
        roll.trimmer = 75;   // 0.75: not scaled by the strength
        roll.force = 50;     // 50 x 50 / 100 / 100 = 0.25
        roll.periodic = 100; // 0.5
        DirectXSettings &pitch = settings.axes[1].directX;
        pitch.active = true;
        pitch.total_effect_strength = 100;
        pitch.trimmer = -100;
        pitch.force = 100;
        pitch.periodic = 25;
        DirectXSettings &yaw = settings.axes[2].directX; // inactive: zeros whatever the numbers
        yaw.total_effect_strength = 100;
        yaw.trimmer = 50;
        yaw.force = 50;
        yaw.periodic = 50;
        worker.changeSettingsModerately(settings);

        const std::vector<CallRecord> joystick = HidApiDouble::writes(Device::Joystick, 0x21);
        QCOMPARE(joystick.size(), size_t(1));
        QCOMPARE(hex(joystick[0].bytes), report("0221"
                                                "0000403f" "000080bf"    // trimmer 0.75, -1
                                                "0000803e" "0000803f"    // force 0.25, 1
                                                "0000003f" "0000803e")); // periodic 0.5, 0.25
        const std::vector<CallRecord> rudder = HidApiDouble::writes(Device::Rudder, 0x21);
        QCOMPARE(rudder.size(), size_t(1));
        QCOMPARE(hex(rudder[0].bytes), report("0221"));
        QCOMPARE(HidApiDouble::calls(Call::Write).size(), size_t(2));
    }

    void rudderDirectXOverrideUsesSlotA() {
        HidApiDouble::setPlugged(Device::Rudder, true);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        HidApiDouble::clearCalls();
        EffectsSettings settings;
        DirectXSettings &yaw = settings.axes[2].directX;
        yaw.active = true;
        yaw.total_effect_strength = 100;
        yaw.trimmer = 25;
        yaw.force = 50;
        yaw.periodic = 100;
        worker.changeSettingsSuddenly(settings);
        const std::vector<CallRecord> rudder = HidApiDouble::writes(Device::Rudder, 0x21);
        QCOMPARE(rudder.size(), size_t(1));
        QCOMPARE(hex(rudder[0].bytes), report("0221"
                                              "0000803e" "00000000"
                                              "0000003f" "00000000"
                                              "0000803f" "00000000"));
    }

    void directXOverrideRecordSentAsGiven() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPlugged(Device::Rudder, true);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        HidApiDouble::clearCalls();
        DirectXOverrideTypeDef values;
        values.trimmer[0] = 1.0f;
        values.trimmer[1] = 2.0f;
        values.force[0] = 3.0f;
        values.force[1] = 4.0f;
        values.periodic[0] = 5.0f;
        values.periodic[1] = 6.0f;
        worker.writeJoystickDirectXOverride(values);
        worker.writeRudderDirectXOverride(values);
        const QByteArray expected =
            report("0221" "0000803f" "00000040" "00004040" "00008040" "0000a040" "0000c040");
        QCOMPARE(hex(HidApiDouble::writes(Device::Joystick, 0x21).at(0).bytes), expected);
        QCOMPARE(hex(HidApiDouble::writes(Device::Rudder, 0x21).at(0).bytes), expected);
    }

    void nullHandlesSendNothing() {
        MainBackgroundThread worker;
        HidApiDouble::clearCalls();
        QSignalSpy joystickDisconnected(&worker, &MainBackgroundThread::joystickDisconnected);
        QSignalSpy rudderDisconnected(&worker, &MainBackgroundThread::rudderDisconnected);
        EffectsSettings settings;
        settings.axes[0].directX.active = true;
        settings.axes[2].directX.active = true;
        worker.writeJoystickDirectControl(sampleForces());
        worker.writeRudderDirectControl(sampleForces());
        worker.writeJoystickDirectXOverride(DirectXOverrideTypeDef{});
        worker.writeRudderDirectXOverride(DirectXOverrideTypeDef{});
        worker.writeDirectXOverride();
        worker.changeSettingsSuddenly(settings);
        worker.changeSettingsModerately(settings);
        QCOMPARE(worker.readJoystickVersion(), uint32_t(0x25));
        QCOMPARE(worker.readRudderVersion(), uint32_t(0x25));
        PositionInput position{1, 2, 3};
        PositionInput offset{4, 5, 6};
        worker.readJoystickPosition(&position, &offset);
        worker.readRudderPosition(&position, &offset);
        QCOMPARE(position.roll, 1.0f);
        QCOMPARE(position.yaw, 3.0f);
        QCOMPARE(offset.pitch, 5.0f);
        QCOMPARE(HidApiDouble::calls().size(), size_t(0));
        QCOMPARE(joystickDisconnected.count(), 0);
        QCOMPARE(rudderDisconnected.count(), 0);
        QCOMPARE(HidApiDouble::invalidHandleUses(), 0);
    }

    void failedWritesAreIgnored() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        MainBackgroundThread worker;
        QSignalSpy disconnected(&worker, &MainBackgroundThread::joystickDisconnected);
        WorkerTest::cycle(worker);
        HidApiDouble::setWriteResult(Device::Joystick, -1);
        WorkerTest::cycles(worker, 5);
        QCOMPARE(disconnected.count(), 0);
        QCOMPARE(HidApiDouble::openHandleCount(Device::Joystick), 1);
        QCOMPARE(HidApiDouble::writes(Device::Joystick, 0x20).size(), size_t(6));
        QCOMPARE(HidApiDouble::calls(Call::Open).size(), size_t(2)); // the first cycle's two attempts only
    }
};

QTEST_GUILESS_MAIN(TestWorkerHidReports)
#include "tst_workerhidreports.moc"
