#include "commontelemetryforcecalculator.h"
#include "hidapidouble.h"
#include "mainbackgroundthread.h"
#include "workertestsupport.h"

#include <QSignalSpy>
#include <QtTest>
#include <hidapi.h>

using namespace HidApiDouble;
using WorkerTest::floatAt;

namespace {

std::vector<uint64_t> openCycles(unsigned short productId) {
    std::vector<uint64_t> result;
    for (const CallRecord &r : HidApiDouble::calls(Call::Open))
        if (r.productId == productId)
            result.push_back(r.cycle);
    return result;
}

// Feature-report reads of one device in one cycle, by report id.
int reads(Device device, uint64_t cycle, unsigned char reportId) {
    int count = 0;
    for (const CallRecord &r : HidApiDouble::calls(Call::GetFeatureReport, device))
        if (r.cycle == cycle && !r.bytes.empty() && r.bytes[0] == reportId)
            ++count;
    return count;
}

std::vector<CallRecord> directControlWrites(Device device, uint64_t cycle) {
    std::vector<CallRecord> result;
    for (const CallRecord &r : HidApiDouble::writes(device, 0x20))
        if (r.cycle == cycle)
            result.push_back(r);
    return result;
}

PositionInput positionAt(const QSignalSpy &spy, int index) {
    return spy.at(index).at(0).value<PositionInput>();
}

// Simple springs of strength 100 on roll and yaw: force = -100 x position, spring gain = its size.
EffectsSettings springSettings() {
    EffectsSettings settings;
    for (int axis : {0, 2}) {
        settings.axes[axis].simpleSpring.active = true;
        settings.axes[axis].simpleSpring.total_effect_strength = 100;
    }
    return settings;
}

const std::vector<uint64_t> FirstThreeAttempts{1, 102, 203};

} // namespace

class TestDeviceCycle : public QObject {
    Q_OBJECT

private slots:
    void init() {
        HidApiDouble::reset();
        WorkerTest::useManualClock();
    }

    void cleanup() {
        MonotonicClock::setSource(nullptr);
        QCOMPARE(HidApiDouble::invalidHandleUses(), 0);
    }

    void noDevicesStillPublishesAndComputes() {
        EffectsSettings settings;
        GenericSpeedDependantShakerSettings &gear = settings.axes[0].gearShaker;
        gear.active = true;
        gear.total_effect_strength = 100;
        gear.speed = SettingsRange{0, 1000, 0, 0, 1000, 0};
        gear.frequency = SettingsRange{10, 20, 0, 10, 20, 0};

        MainBackgroundThread worker;
        worker.changeSettingsModerately(settings);
        auto *common = worker.findChild<CommonTelemetryForceCalculator *>();
        QSignalSpy positions(&worker, &MainBackgroundThread::positionChanged);
        QSignalSpy joystickConnected(&worker, &MainBackgroundThread::joystickConnected);
        QSignalSpy rudderConnected(&worker, &MainBackgroundThread::rudderConnected);
        WorkerTest::startWithoutTimer(worker);
        for (int i = 1; i <= 250; ++i) {
            WorkerTest::advance(10);
            WorkerTest::cycle(worker);
            // The forces are computed although nobody receives them: the shaker advanced to this cycle.
            QCOMPARE(common->gearState(0).lastTick, uint64_t(i * 10));
        }
        QCOMPARE(positions.count(), 250);
        for (int i = 0; i < positions.count(); ++i) {
            const PositionInput p = positionAt(positions, i);
            QCOMPARE(p.roll, 0.0f);
            QCOMPARE(p.pitch, 0.0f);
            QCOMPARE(p.yaw, 0.0f);
        }
        QCOMPARE(openCycles(JoystickProductId), FirstThreeAttempts);
        QCOMPARE(openCycles(RudderProductId), FirstThreeAttempts);
        QCOMPARE(HidApiDouble::calls(Call::Write).size(), size_t(0));
        QCOMPARE(HidApiDouble::calls(Call::GetFeatureReport).size(), size_t(0));
        QCOMPARE(joystickConnected.count(), 0);
        QCOMPARE(rudderConnected.count(), 0);
    }

    void pluggingTheJoystickIn() {
        HidApiDouble::setVersionBytes(Device::Joystick, 0x10, 0x20, 0x30);
        HidApiDouble::setPosition(Device::Joystick, 0.5f, 0.0f, 0.0f, 0.0f);
        MainBackgroundThread worker;
        worker.changeSettingsModerately(springSettings());
        QSignalSpy connected(&worker, &MainBackgroundThread::joystickConnected);
        QSignalSpy positions(&worker, &MainBackgroundThread::positionChanged);
        WorkerTest::cycles(worker, 50);
        HidApiDouble::setPlugged(Device::Joystick, true);
        WorkerTest::cycles(worker, 51); // up to cycle 101: no attempt due
        QCOMPARE(connected.count(), 0);
        QCOMPARE(HidApiDouble::calls(Call::Write).size(), size_t(0));

        WorkerTest::cycle(worker); // 102
        QCOMPARE(connected.count(), 1);
        QCOMPARE(connected[0][0].value<uint32_t>(), uint32_t(0x30201025));
        QCOMPARE(reads(Device::Joystick, 102, 0x25), 1);
        QCOMPARE(reads(Device::Joystick, 102, 0x24), 0);
        std::vector<CallRecord> writes = directControlWrites(Device::Joystick, 102);
        QCOMPARE(writes.size(), size_t(1));
        QCOMPARE_EXACT(floatAt(writes[0].bytes, 10), 0.0f); // computed with roll 0: not read yet
        QCOMPARE_EXACT(floatAt(writes[0].bytes, 2), 0.0f);
        QCOMPARE(positionAt(positions, 101).roll, 0.0f);

        WorkerTest::cycle(worker); // 103: positions from now on
        QCOMPARE(reads(Device::Joystick, 103, 0x24), 1);
        QCOMPARE(reads(Device::Joystick, 103, 0x25), 0);
        writes = directControlWrites(Device::Joystick, 103);
        QCOMPARE(writes.size(), size_t(1));
        QCOMPARE_EXACT(floatAt(writes[0].bytes, 10), -50.0f);
        QCOMPARE_EXACT(floatAt(writes[0].bytes, 2), 50.0f);
        QCOMPARE(positionAt(positions, 102).roll, 0.5f);
        QCOMPARE(connected.count(), 1);
        QCOMPARE(HidApiDouble::openHandleCount(Device::Joystick), 1);
        QCOMPARE(openCycles(JoystickProductId), (std::vector<uint64_t>{1, 102}));
    }

    void unpluggingTheRudder() {
        HidApiDouble::setPlugged(Device::Rudder, true);
        HidApiDouble::setPosition(Device::Rudder, 0.25f, 0.0f, 0.0f, 0.0f);
        MainBackgroundThread worker;
        worker.changeSettingsModerately(springSettings());
        QSignalSpy connected(&worker, &MainBackgroundThread::rudderConnected);
        QSignalSpy disconnected(&worker, &MainBackgroundThread::rudderDisconnected);
        QSignalSpy positions(&worker, &MainBackgroundThread::positionChanged);
        WorkerTest::cycles(worker, 5);
        QCOMPARE(connected.count(), 1);
        QCOMPARE(positionAt(positions, 4).yaw, 0.25f);
        QCOMPARE_EXACT(floatAt(directControlWrites(Device::Rudder, 5).at(0).bytes, 10), -25.0f);

        HidApiDouble::setPlugged(Device::Rudder, false);
        WorkerTest::cycle(worker); // 6: the read fails
        QCOMPARE(disconnected.count(), 1);
        QCOMPARE(HidApiDouble::calls(Call::Close, Device::Rudder).size(), size_t(1));
        QCOMPARE(HidApiDouble::openHandleCount(), 0);
        QCOMPARE(positionAt(positions, 5).yaw, 0.0f);
        QCOMPARE(directControlWrites(Device::Rudder, 6).size(), size_t(0));

        WorkerTest::cycles(worker, 100); // 7..106
        QCOMPARE(disconnected.count(), 1);
        QCOMPARE(openCycles(RudderProductId), std::vector<uint64_t>{1});
        for (int i = 5; i < positions.count(); ++i)
            QCOMPARE(positionAt(positions, i).yaw, 0.0f);

        WorkerTest::cycle(worker); // 107: 101 cycles after the loss
        QCOMPARE(openCycles(RudderProductId), (std::vector<uint64_t>{1, 107}));
        QCOMPARE(connected.count(), 1);

        HidApiDouble::setPlugged(Device::Rudder, true);
        WorkerTest::cycles(worker, 101); // 108..208: the next attempt is due on 208
        QCOMPARE(openCycles(RudderProductId), (std::vector<uint64_t>{1, 107, 208}));
        QCOMPARE(connected.count(), 2);
        WorkerTest::cycle(worker);
        QCOMPARE(positionAt(positions, positions.count() - 1).yaw, 0.25f);
        QCOMPARE(HidApiDouble::openHandleCount(Device::Rudder), 1);
    }

    void positionIsPublishedMinusItsOffset() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPlugged(Device::Rudder, true);
        HidApiDouble::setPosition(Device::Joystick, 12.5f, -3.0f, 2.5f, 1.0f);
        HidApiDouble::setPosition(Device::Rudder, 12.5f, 99.0f, 2.5f, 77.0f);
        MainBackgroundThread worker;
        QSignalSpy positions(&worker, &MainBackgroundThread::positionChanged);
        WorkerTest::cycles(worker, 2);
        QCOMPARE(positions.count(), 2);
        const PositionInput p = positionAt(positions, 1);
        QCOMPARE(p.roll, 10.0f);
        QCOMPARE(p.pitch, -4.0f);
        QCOMPARE(p.yaw, 10.0f);
    }

    void oneCycleReadsThenWritesInDeviceOrder() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPlugged(Device::Rudder, true);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        HidApiDouble::clearCalls();
        WorkerTest::cycle(worker);
        const std::vector<CallRecord> all = HidApiDouble::calls();
        QCOMPARE(all.size(), size_t(4));
        QCOMPARE(all[0].call, Call::GetFeatureReport);
        QCOMPARE(all[0].device, Device::Joystick);
        QCOMPARE(all[1].call, Call::GetFeatureReport);
        QCOMPARE(all[1].device, Device::Rudder);
        QCOMPARE(all[2].call, Call::Write);
        QCOMPARE(all[2].device, Device::Joystick);
        QCOMPARE(all[3].call, Call::Write);
        QCOMPARE(all[3].device, Device::Rudder);
    }

    void forcesAreClampedButGainsAreNot() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPlugged(Device::Rudder, true);
        HidApiDouble::setPosition(Device::Joystick, -2.5f, 0.0f, 0.0f, 0.0f);
        HidApiDouble::setPosition(Device::Rudder, 2.5f, 0.0f, 0.0f, 0.0f);
        MainBackgroundThread worker;
        worker.changeSettingsModerately(springSettings());
        WorkerTest::cycles(worker, 2);
        const CallRecord joystick = directControlWrites(Device::Joystick, 2).at(0);
        QCOMPARE_EXACT(floatAt(joystick.bytes, 10), 100.0f);  // 250 sent as 100
        QCOMPARE_EXACT(floatAt(joystick.bytes, 2), 250.0f);   // spring gain unclamped
        const CallRecord rudder = directControlWrites(Device::Rudder, 2).at(0);
        QCOMPARE_EXACT(floatAt(rudder.bytes, 10), -100.0f);   // -250 sent as -100
        QCOMPARE_EXACT(floatAt(rudder.bytes, 2), 250.0f);
    }

    void suddenChangeFades_data() {
        QTest::addColumn<int>("elapsed");
        QTest::addColumn<float>("factor");
        QTest::addRow("0 ms") << 0 << 1.0f;
        QTest::addRow("500 ms") << 500 << 0.75f;
        QTest::addRow("1000 ms") << 1000 << 0.5f;
        QTest::addRow("1500 ms") << 1500 << 0.25f;
        QTest::addRow("2000 ms") << 2000 << 1.0f;
        QTest::addRow("2001 ms") << 2001 << 1.0f;
    }

    void suddenChangeFades() {
        QFETCH(int, elapsed);
        QFETCH(float, factor);
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPlugged(Device::Rudder, true);
        HidApiDouble::setPosition(Device::Joystick, 0.5f, 0.0f, 0.0f, 0.0f);
        HidApiDouble::setPosition(Device::Rudder, 0.25f, 0.0f, 0.0f, 0.0f);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        worker.changeSettingsSuddenly(springSettings());
        WorkerTest::advance(elapsed);
        WorkerTest::cycle(worker);
        const CallRecord joystick = directControlWrites(Device::Joystick, 2).at(0);
        QCOMPARE_EXACT(floatAt(joystick.bytes, 10), factor * -50.0f);
        QCOMPARE_EXACT(floatAt(joystick.bytes, 2), factor * 50.0f);
        const CallRecord rudder = directControlWrites(Device::Rudder, 2).at(0);
        QCOMPARE_EXACT(floatAt(rudder.bytes, 10), factor * -25.0f);
        QCOMPARE_EXACT(floatAt(rudder.bytes, 2), factor * 25.0f);
    }

    void suddenChangeFadesEveryField() {
        // A jolt (periodic) and a spring (force, gain) on the same axis, at 1000 ms: all halved.
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPosition(Device::Joystick, 0.5f, 0.0f, 0.0f, 0.0f);
        MainBackgroundThread worker;
        WorkerTest::startWithoutTimer(worker);
        WorkerTest::cycle(worker);
        EffectsSettings settings = springSettings();
        JoltSettings &jolt = settings.axes[0].landingJolt;
        jolt.active = true;
        jolt.total_effect_strength = 100;
        jolt.effect_time = 100000;
        jolt.speed = SettingsRange{0, 100, 0, 0, 1000, 0};
        jolt.frequency = SettingsRange{0, 0, 0, 0, 0, 0}; // an infinite period: the output keeps its sign
        worker.changeSettingsSuddenly(settings);
        worker.setLanded(10, 100);
        WorkerTest::advance(1000);
        const Forces reference = worker.calculateForces(PositionInput{0.5f, 0.0f, 0.0f});
        QVERIFY(reference[0].periodic != 0.0f);
        WorkerTest::cycle(worker);
        const CallRecord joystick = directControlWrites(Device::Joystick, 2).at(0);
        QCOMPARE_EXACT(floatAt(joystick.bytes, 10), 0.5f * reference[0].force);
        QCOMPARE_EXACT(floatAt(joystick.bytes, 18), 0.5f * reference[0].periodic);
        QCOMPARE_EXACT(floatAt(joystick.bytes, 2), 0.5f * reference[0].springGain);
    }

    void startUpFadesToo() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPosition(Device::Joystick, 0.5f, 0.0f, 0.0f, 0.0f);
        MainBackgroundThread worker;
        worker.changeSettingsModerately(springSettings());
        WorkerTest::startWithoutTimer(worker);
        WorkerTest::cycle(worker);
        WorkerTest::advance(1000);
        WorkerTest::cycle(worker);
        QCOMPARE_EXACT(floatAt(directControlWrites(Device::Joystick, 2).at(0).bytes, 10), -25.0f);
        WorkerTest::advance(1001);
        WorkerTest::cycle(worker);
        QCOMPARE_EXACT(floatAt(directControlWrites(Device::Joystick, 3).at(0).bytes, 10), -50.0f);
    }

    void moderateChangeKeepsTheFadeRunning() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPosition(Device::Joystick, 0.5f, 0.0f, 0.0f, 0.0f);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        worker.changeSettingsSuddenly(EffectsSettings{});
        WorkerTest::advance(500);
        worker.changeSettingsModerately(springSettings());
        WorkerTest::advance(500);
        WorkerTest::cycle(worker);
        QCOMPARE_EXACT(floatAt(directControlWrites(Device::Joystick, 2).at(0).bytes, 10), -25.0f);
    }

    // A second sudden change in the middle of a fade starts the 2000 ms over from full.
    void aSecondSuddenChangeRestartsTheFade() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPosition(Device::Joystick, 0.5f, 0.0f, 0.0f, 0.0f);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        worker.changeSettingsSuddenly(springSettings());
        WorkerTest::advance(1500);
        WorkerTest::cycle(worker); // 2: 1500 ms into the first fade
        QCOMPARE_EXACT(floatAt(directControlWrites(Device::Joystick, 2).at(0).bytes, 10), -12.5f);
        worker.changeSettingsSuddenly(springSettings());
        WorkerTest::advance(500);
        WorkerTest::cycle(worker); // 3: 2000 ms after the first change, 500 ms after the second
        QCOMPARE_EXACT(floatAt(directControlWrites(Device::Joystick, 3).at(0).bytes, 10), -37.5f);
        QCOMPARE_EXACT(floatAt(directControlWrites(Device::Joystick, 3).at(0).bytes, 2), 37.5f);
        WorkerTest::advance(1000);
        WorkerTest::cycle(worker); // 4: 1500 ms after the second
        QCOMPARE_EXACT(floatAt(directControlWrites(Device::Joystick, 4).at(0).bytes, 10), -12.5f);
        WorkerTest::advance(501);
        WorkerTest::cycle(worker); // 5: the second fade is over
        QCOMPARE_EXACT(floatAt(directControlWrites(Device::Joystick, 5).at(0).bytes, 10), -50.0f);
    }

    // The cycle publishes the positions it read before it writes anything: a listener on positionChanged
    // sees the reads of the cycle done and none of its writes.
    void positionChangedComesBeforeTheWrites() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPlugged(Device::Rudder, true);
        HidApiDouble::setPosition(Device::Joystick, 0.5f, 0.0f, 0.0f, 0.0f);
        MainBackgroundThread worker;
        worker.changeSettingsModerately(springSettings());
        WorkerTest::cycle(worker); // opens both devices
        QList<std::vector<CallRecord>> seen;
        connect(&worker, &MainBackgroundThread::positionChanged, this,
                [&seen](const PositionInput &) { seen.append(HidApiDouble::calls()); }, Qt::DirectConnection);
        for (int i = 0; i < 3; ++i) {
            HidApiDouble::clearCalls();
            WorkerTest::cycle(worker);
            QCOMPARE(seen.size(), i + 1);
            const std::vector<CallRecord> &atSignal = seen.last();
            QCOMPARE(atSignal.size(), size_t(2));
            QCOMPARE(atSignal[0].call, Call::GetFeatureReport);
            QCOMPARE(atSignal[1].call, Call::GetFeatureReport);
            // Both writes of the cycle came after the signal.
            const std::vector<CallRecord> all = HidApiDouble::calls();
            QCOMPARE(all.size(), size_t(4));
            QCOMPARE(all[2].call, Call::Write);
            QCOMPARE(all[3].call, Call::Write);
            QVERIFY(all[2].sequence > atSignal[1].sequence);
        }
    }

    // The devices are opened by their ids alone: the serial number argument is always null.
    void devicesAreOpenedWithoutASerialNumber() {
        // The double tells a given serial number from none.
        hid_device *probe = hid_open(VendorId, JoystickProductId, L"A1B2");
        QVERIFY(!HidApiDouble::calls(Call::Open).empty());
        QCOMPARE(HidApiDouble::calls(Call::Open).back().serialNumberPassed, true);
        hid_close(probe);
        HidApiDouble::clearCalls();

        HidApiDouble::setPlugged(Device::Joystick, true);
        MainBackgroundThread worker;
        WorkerTest::cycles(worker, 102); // the rudder is tried at cycles 1 and 102
        HidApiDouble::setPlugged(Device::Rudder, true);
        WorkerTest::cycles(worker, 101);
        const std::vector<CallRecord> opens = HidApiDouble::calls(Call::Open);
        QCOMPARE(opens.size(), size_t(4)); // joystick once; rudder at 1, 102 and 203
        for (const CallRecord &open : opens)
            QCOMPARE(open.serialNumberPassed, false);
        QCOMPARE(HidApiDouble::openHandleCount(), 2);
    }

    void disconnectJoystickAndFindItAgain() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        MainBackgroundThread worker;
        QSignalSpy connected(&worker, &MainBackgroundThread::joystickConnected);
        QSignalSpy disconnected(&worker, &MainBackgroundThread::joystickDisconnected);
        WorkerTest::cycles(worker, 300);
        QCOMPARE(connected.count(), 1);
        worker.disconnectJoystick();
        QCOMPARE(disconnected.count(), 1);
        QCOMPARE(HidApiDouble::openHandleCount(), 0);
        QCOMPARE(HidApiDouble::calls(Call::Close, Device::Joystick).size(), size_t(1));
        WorkerTest::cycles(worker, 100); // 301..400
        QCOMPARE(connected.count(), 1);
        QCOMPARE(directControlWrites(Device::Joystick, 400).size(), size_t(0));
        WorkerTest::cycle(worker); // 401
        QCOMPARE(connected.count(), 2);
        QCOMPARE(openCycles(JoystickProductId), (std::vector<uint64_t>{1, 401}));
        QCOMPARE(HidApiDouble::openHandleCount(Device::Joystick), 1);
    }

    void disconnectRudderAndFindItAgain() {
        HidApiDouble::setPlugged(Device::Rudder, true);
        MainBackgroundThread worker;
        QSignalSpy connected(&worker, &MainBackgroundThread::rudderConnected);
        QSignalSpy disconnected(&worker, &MainBackgroundThread::rudderDisconnected);
        WorkerTest::cycles(worker, 10);
        worker.disconnectRudder();
        QCOMPARE(disconnected.count(), 1);
        QCOMPARE(HidApiDouble::openHandleCount(), 0);
        WorkerTest::cycles(worker, 101);
        QCOMPARE(connected.count(), 2);
        QCOMPARE(openCycles(RudderProductId), (std::vector<uint64_t>{1, 111}));
    }

    void disconnectingAClosedDeviceOnlySignalsAgain() {
        MainBackgroundThread worker;
        QSignalSpy joystickDisconnected(&worker, &MainBackgroundThread::joystickDisconnected);
        QSignalSpy rudderDisconnected(&worker, &MainBackgroundThread::rudderDisconnected);
        HidApiDouble::clearCalls();
        worker.disconnectJoystick();
        worker.disconnectJoystick();
        worker.disconnectRudder();
        QCOMPARE(joystickDisconnected.count(), 2);
        QCOMPARE(rudderDisconnected.count(), 1);
        const std::vector<CallRecord> closes = HidApiDouble::calls(Call::Close);
        QCOMPARE(closes.size(), size_t(3));
        for (const CallRecord &c : closes)
            QCOMPARE(c.device, Device::None); // hid_close(NULL)
        // The counters are not reset: the next cycle still looks for both.
        WorkerTest::cycle(worker);
        QCOMPARE(HidApiDouble::calls(Call::Open).size(), size_t(2));
    }

    void hundredReplugsLeaveNothingBehind() {
        HidApiDouble::setRecording(false);
        MainBackgroundThread worker;
        QSignalSpy joystickConnected(&worker, &MainBackgroundThread::joystickConnected);
        QSignalSpy joystickDisconnected(&worker, &MainBackgroundThread::joystickDisconnected);
        QSignalSpy rudderConnected(&worker, &MainBackgroundThread::rudderConnected);
        QSignalSpy rudderDisconnected(&worker, &MainBackgroundThread::rudderDisconnected);
        const int childrenBefore = worker.children().size();
        for (int round = 1; round <= 100; ++round) {
            HidApiDouble::setPlugged(Device::Joystick, true);
            HidApiDouble::setPlugged(Device::Rudder, true);
            for (int i = 0; i < 102 && (joystickConnected.count() < round || rudderConnected.count() < round); ++i)
                WorkerTest::cycle(worker);
            QCOMPARE(joystickConnected.count(), round);
            QCOMPARE(rudderConnected.count(), round);
            QCOMPARE(HidApiDouble::openHandleCount(), 2);
            WorkerTest::cycles(worker, 3);
            if (round % 2) {
                // Pulled out: found by the failed read.
                HidApiDouble::setPlugged(Device::Joystick, false);
                HidApiDouble::setPlugged(Device::Rudder, false);
                WorkerTest::cycle(worker);
            } else {
                worker.disconnectJoystick();
                worker.disconnectRudder();
                HidApiDouble::setPlugged(Device::Joystick, false);
                HidApiDouble::setPlugged(Device::Rudder, false);
            }
            QCOMPARE(joystickDisconnected.count(), round);
            QCOMPARE(rudderDisconnected.count(), round);
            QCOMPARE(HidApiDouble::openHandleCount(), 0);
        }
        WorkerTest::cycles(worker, 300);
        QCOMPARE(HidApiDouble::openHandleCount(), 0);
        QCOMPARE(joystickConnected.count(), 100);
        QCOMPARE(joystickDisconnected.count(), 100);
        QCOMPARE(worker.children().size(), childrenBefore);
    }
};

QTEST_GUILESS_MAIN(TestDeviceCycle)
#include "tst_devicecycle.moc"
