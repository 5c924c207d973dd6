#include "commontelemetryforcecalculator.h"
#include "hidapidouble.h"
#include "mainbackgroundthread.h"
#include "telemetrythread.h"
#include "workertestsupport.h"

#include <QSignalSpy>
#include <QtTest>

using namespace HidApiDouble;

namespace {

// Elevator weight of strength 100 on the pitch axis: pitch force = -10 x the record's g-force.
EffectsSettings weightSettings() {
    EffectsSettings settings;
    settings.axes[1].elevatorWeight.active = true;
    settings.axes[1].elevatorWeight.total_effect_strength = 100;
    return settings;
}

template <typename Record>
Record withG(float g, float airspeed = 0) {
    Record record;
    record.gForce = g;
    record.airspeed = airspeed;
    return record;
}

float pitchForce(MainBackgroundThread &worker) {
    return worker.calculateForces(PositionInput{}).axes[1].force;
}

Telemetry telemetryAt(const QSignalSpy &spy, int index) {
    return spy.at(index).at(0).value<Telemetry>();
}

} // namespace

// Telemetry intake, the override and the force computation entry of the worker.
class TestWorkerTelemetry : public QObject {
    Q_OBJECT

private slots:
    void init() {
        HidApiDouble::reset();
        WorkerTest::useManualClock();
    }

    void cleanup() { MonotonicClock::setSource(nullptr); }

    void everySourceSlotStoresSwitchesAndEmits() {
        MainBackgroundThread worker;
        worker.changeSettingsModerately(weightSettings());
        QSignalSpy changed(&worker, &MainBackgroundThread::telemetryChanged);
        QCOMPARE_EXACT(pitchForce(worker), 0.0f);

        worker.setMsfsTelemetry(withG<MSFSTelemetry>(1, 100));
        QCOMPARE_EXACT(pitchForce(worker), -10.0f);
        worker.setDcsTelemetry(withG<DCSTelemetry>(2, 200));
        QCOMPARE_EXACT(pitchForce(worker), -20.0f);
        worker.setShturmovikTelemetry(withG<ShturmovikTelemetry>(3, 300));
        QCOMPARE_EXACT(pitchForce(worker), -30.0f);
        worker.setWarthunderTelemetry(withG<WarthunderTelemetry>(4, 400));
        QCOMPARE_EXACT(pitchForce(worker), -40.0f);
        worker.setCondor2Telemetry(withG<Condor2Telemetry>(5, 500));
        QCOMPARE_EXACT(pitchForce(worker), -50.0f);

        QCOMPARE(changed.count(), 5);
        for (int i = 0; i < 5; ++i) {
            QCOMPARE_EXACT(telemetryAt(changed, i).gForce, float(i + 1));
            QCOMPARE_EXACT(telemetryAt(changed, i).airspeed, float(100 * (i + 1)));
        }
    }

    void switchingSourceReadsThatSourcesOwnRecord() {
        MainBackgroundThread worker;
        worker.changeSettingsModerately(weightSettings());
        worker.setDcsTelemetry(withG<DCSTelemetry>(2));
        worker.setCondor2Telemetry(withG<Condor2Telemetry>(3));
        QCOMPARE_EXACT(pitchForce(worker), -30.0f);
        worker.setDcsTelemetry(withG<DCSTelemetry>(4));
        QCOMPARE_EXACT(pitchForce(worker), -40.0f);
    }

    void overrideOnDropsSourceRecords() {
        MainBackgroundThread worker;
        worker.changeSettingsModerately(weightSettings());
        QSignalSpy changed(&worker, &MainBackgroundThread::telemetryChanged);
        worker.setDcsTelemetry(withG<DCSTelemetry>(2));
        worker.enableTelemetryOverride();
        worker.setMsfsTelemetry(withG<MSFSTelemetry>(5));
        worker.setDcsTelemetry(withG<DCSTelemetry>(5));
        worker.setShturmovikTelemetry(withG<ShturmovikTelemetry>(5));
        worker.setWarthunderTelemetry(withG<WarthunderTelemetry>(5));
        worker.setCondor2Telemetry(withG<Condor2Telemetry>(5));
        QCOMPARE(changed.count(), 1);
        // Switching the override on does not switch the source by itself.
        QCOMPARE_EXACT(pitchForce(worker), -20.0f);
    }

    void overrideTakesEffectAtOnceAndEmitsNothing() {
        MainBackgroundThread worker;
        worker.changeSettingsModerately(weightSettings());
        QSignalSpy changed(&worker, &MainBackgroundThread::telemetryChanged);
        worker.setDcsTelemetry(withG<DCSTelemetry>(2));
        worker.enableTelemetryOverride();
        worker.overrideTelemetry(withG<Telemetry>(3));
        QCOMPARE_EXACT(pitchForce(worker), -30.0f);
        QCOMPARE(changed.count(), 1);
    }

    void overrideWhileOffIsIgnored() {
        MainBackgroundThread worker;
        worker.changeSettingsModerately(weightSettings());
        worker.setDcsTelemetry(withG<DCSTelemetry>(2));
        worker.overrideTelemetry(withG<Telemetry>(3));
        QCOMPARE_EXACT(pitchForce(worker), -20.0f);
        worker.enableTelemetryOverride();
        worker.disableTelemetryOverride();
        worker.overrideTelemetry(withG<Telemetry>(3));
        QCOMPARE_EXACT(pitchForce(worker), -20.0f);
    }

    void overrideRecordStaysUntilASourceSendsAgain() {
        MainBackgroundThread worker;
        worker.changeSettingsModerately(weightSettings());
        QSignalSpy changed(&worker, &MainBackgroundThread::telemetryChanged);
        worker.setDcsTelemetry(withG<DCSTelemetry>(2));
        worker.enableTelemetryOverride();
        worker.overrideTelemetry(withG<Telemetry>(3));
        worker.disableTelemetryOverride();
        QCOMPARE_EXACT(pitchForce(worker), -30.0f);
        worker.setCondor2Telemetry(withG<Condor2Telemetry>(6));
        QCOMPARE_EXACT(pitchForce(worker), -60.0f);
        QCOMPARE(changed.count(), 2);
    }

    void telemetryWorkerSignalsAreRelayed() {
        MainBackgroundThread worker;
        worker.changeSettingsModerately(weightSettings());
        TelemetryThread *telemetry = worker.telemetryWorker();
        QSignalSpy changed(&worker, &MainBackgroundThread::telemetryChanged);
        QSignalSpy sourceChanged(&worker, &MainBackgroundThread::telemetrySourceChanged);
        QSignalSpy ended(&worker, &MainBackgroundThread::telemetryEnded);

        // Emitted from this thread, so the worker (also in this thread) receives them at once.
        emit telemetry->telemetrySourceChanged(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        QCOMPARE(sourceChanged.count(), 1);
        QCOMPARE(sourceChanged[0][0].value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_DCS);
        QCOMPARE(sourceChanged[0][1].toString(), QStringLiteral("F-16C_50"));

        emit telemetry->msfsTelemetryChanged(withG<MSFSTelemetry>(1));
        QCOMPARE_EXACT(pitchForce(worker), -10.0f);
        emit telemetry->dcsTelemetryChanged(withG<DCSTelemetry>(2));
        QCOMPARE_EXACT(pitchForce(worker), -20.0f);
        emit telemetry->shturmovikTelemetryChanged(withG<ShturmovikTelemetry>(3));
        QCOMPARE_EXACT(pitchForce(worker), -30.0f);
        emit telemetry->warthunderTelemetryChanged(withG<WarthunderTelemetry>(4));
        QCOMPARE_EXACT(pitchForce(worker), -40.0f);
        emit telemetry->condor2TelemetryChanged(withG<Condor2Telemetry>(5));
        QCOMPARE_EXACT(pitchForce(worker), -50.0f);
        QCOMPARE(changed.count(), 5);

        emit telemetry->telemetryEnded();
        QCOMPARE(ended.count(), 1);
    }

    void xplaneRecordsAreTakenLikeTheOthers() {
        MainBackgroundThread worker;
        worker.changeSettingsModerately(weightSettings());
        QSignalSpy changed(&worker, &MainBackgroundThread::telemetryChanged);
        worker.setDcsTelemetry(withG<DCSTelemetry>(2, 200));
        worker.setXPlaneTelemetry(withG<XPlaneTelemetry>(7, 700));
        QCOMPARE_EXACT(pitchForce(worker), -70.0f);
        QCOMPARE(changed.count(), 2);
        QCOMPARE_EXACT(telemetryAt(changed, 1).gForce, 7.0f);
        QCOMPARE_EXACT(telemetryAt(changed, 1).airspeed, 700.0f);

        // Through the telemetry worker's signal, as the program wires it.
        emit worker.telemetryWorker()->xplaneTelemetryChanged(withG<XPlaneTelemetry>(3));
        QCOMPARE_EXACT(pitchForce(worker), -30.0f);
        QCOMPARE(changed.count(), 3);
        // The other sources' records are kept apart from X-Plane's.
        worker.setDcsTelemetry(withG<DCSTelemetry>(2));
        QCOMPARE_EXACT(pitchForce(worker), -20.0f);

        // The override drops X-Plane's records too, and keeps its own in force.
        worker.enableTelemetryOverride();
        worker.overrideTelemetry(withG<Telemetry>(4));
        worker.setXPlaneTelemetry(withG<XPlaneTelemetry>(9));
        QCOMPARE_EXACT(pitchForce(worker), -40.0f);
        QCOMPARE(changed.count(), 4);
    }

    void landedFromTheTelemetryWorkerArmsTheJolt() {
        EffectsSettings settings;
        JoltSettings &jolt = settings.axes[2].landingJolt;
        jolt.active = true;
        jolt.total_effect_strength = 100;
        jolt.effect_time = 250;
        jolt.speed = SettingsRange{0, 100, 0, 0, 1000, 0};
        MainBackgroundThread worker;
        worker.changeSettingsModerately(settings);
        WorkerTest::startWithoutTimer(worker);
        WorkerTest::advance(777);
        emit worker.telemetryWorker()->landed(-5, 100);
        const JoltState &state = worker.findChild<CommonTelemetryForceCalculator *>()->joltState(2);
        QCOMPARE_EXACT(state.intensity, 0.5f);
        QCOMPARE(state.landedAt, uint64_t(777));
    }

    void setLandedHandsOnTheAbsoluteVerticalSpeed_data() {
        QTest::addColumn<float>("verticalSpeed");
        QTest::addRow("sinking") << -5.0f;
        QTest::addRow("positive") << 5.0f;
    }

    void setLandedHandsOnTheAbsoluteVerticalSpeed() {
        QFETCH(float, verticalSpeed);
        EffectsSettings settings;
        for (int axis : {0, 1}) {
            JoltSettings &jolt = settings.axes[axis].landingJolt;
            jolt.active = true;
            jolt.total_effect_strength = 100;
            jolt.effect_time = 250;
            jolt.speed = SettingsRange{0, 100, 0, 0, 1000, 0};
        }
        MainBackgroundThread worker;
        worker.changeSettingsModerately(settings);
        WorkerTest::startWithoutTimer(worker);
        WorkerTest::advance(42);
        // Not gated by the override: the status panel's own touch-down arrives here too.
        worker.enableTelemetryOverride();
        worker.setLanded(verticalSpeed, 100);
        const auto *common = worker.findChild<CommonTelemetryForceCalculator *>();
        QCOMPARE_EXACT(common->joltState(0).intensity, 0.5f);
        QCOMPARE(common->joltState(0).landedAt, uint64_t(42));
        QCOMPARE_EXACT(common->joltState(1).intensity, 0.5f);
        QCOMPARE_EXACT(common->joltState(2).intensity, 0.0f); // inactive there
        QCOMPARE(common->joltState(2).landedAt, uint64_t(0));
    }

    void forcesClampedToHundred() {
        EffectsSettings settings;
        for (int axis = 0; axis < 3; ++axis) {
            settings.axes[axis].simpleSpring.active = true;
            settings.axes[axis].simpleSpring.total_effect_strength = 100;
        }
        MainBackgroundThread worker;
        worker.changeSettingsModerately(settings);
        const Forces f = worker.calculateForces(PositionInput{-2.5f, 2.5f, 0.5f});
        QCOMPARE_EXACT(f[0].force, 100.0f);
        QCOMPARE_EXACT(f[0].springGain, 250.0f);
        QCOMPARE_EXACT(f[1].force, -100.0f);
        QCOMPARE_EXACT(f[1].springGain, 250.0f);
        QCOMPARE_EXACT(f[2].force, -50.0f);
        QCOMPARE_EXACT(f[2].springGain, 50.0f);
    }

    void everythingInactiveGivesZero() {
        MainBackgroundThread worker;
        DCSTelemetry wild;
        wild.gForce = 9;
        wild.aoa = 30;
        wild.gear = 100;
        wild.flaps = 100;
        wild.airbrake = 100;
        wild.onGround = true;
        wild.airspeed = 600;
        wild.propAirflow = 100;
        worker.setDcsTelemetry(wild);
        WorkerTest::startWithoutTimer(worker);
        WorkerTest::advance(500);
        const Forces f = worker.calculateForces(PositionInput{0.7f, -0.3f, 1.0f});
        for (int axis = 0; axis < 3; ++axis) {
            QCOMPARE_EXACT(f[axis].force, 0.0f);
            QCOMPARE_EXACT(f[axis].periodic, 0.0f);
            QCOMPARE_EXACT(f[axis].springGain, 0.0f);
        }
    }

    void settingsChangesSendTheDirectXOverride() {
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setPlugged(Device::Rudder, true);
        MainBackgroundThread worker;
        WorkerTest::cycle(worker);
        QCOMPARE(HidApiDouble::writes(Device::Joystick, 0x21).size(), size_t(0)); // none on connection
        worker.changeSettingsSuddenly(EffectsSettings{});
        worker.changeSettingsModerately(EffectsSettings{});
        QCOMPARE(HidApiDouble::writes(Device::Joystick, 0x21).size(), size_t(2));
        QCOMPARE(HidApiDouble::writes(Device::Rudder, 0x21).size(), size_t(2));
    }

    void settingsAreTakenOverWhole() {
        MainBackgroundThread worker;
        worker.setDcsTelemetry(withG<DCSTelemetry>(2));
        worker.changeSettingsSuddenly(weightSettings());
        QCOMPARE_EXACT(pitchForce(worker), -20.0f);
        worker.changeSettingsModerately(EffectsSettings{});
        QCOMPARE_EXACT(pitchForce(worker), 0.0f);
    }
};

QTEST_GUILESS_MAIN(TestWorkerTelemetry)
#include "tst_workertelemetry.moc"
