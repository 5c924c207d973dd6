#include "forcescope.h"
#include "hidapidouble.h"
#include "mainbackgroundthread.h"
#include "workertestsupport.h"

#include <QThread>
#include <QtTest>
#include <memory>
#include <vector>

namespace {

// Elevator weight of strength 100 on the pitch axis: pitch force = -10 x the g-force in use.
EffectsSettings weightSettings() {
    EffectsSettings settings;
    settings.axes[1].elevatorWeight.active = true;
    settings.axes[1].elevatorWeight.total_effect_strength = 100;
    return settings;
}

Telemetry overrideRecord() {
    Telemetry telemetry;
    telemetry.airspeed = 320;
    telemetry.aoa = 7.5f;
    telemetry.gForce = 2.5f;
    return telemetry;
}

std::vector<ScopeSample> drainAll(ForceScopeRing &ring) {
    std::vector<ScopeSample> samples;
    ring.drain([&](const ScopeSample &sample) { samples.push_back(sample); });
    return samples;
}

} // namespace

// The cycle hands the force scope exactly what it sends: the forces after the settings fade, and the telemetry
// the computation read (the override's while it is on). No device needs to be plugged in.
class TestWorkerForceScope : public QObject {
    Q_OBJECT

private slots:
    void init() { HidApiDouble::reset(); }
    void cleanup() { MonotonicClock::setSource(nullptr); }

    void withoutARingTheCycleRunsAsBefore() {
        WorkerTest::useManualClock();
        MainBackgroundThread worker;
        WorkerTest::startWithoutTimer(worker);
        WorkerTest::cycles(worker, 3); // nothing to write to, nothing breaks
        QCOMPARE(worker.calculateForces(PositionInput{}).axes[1].force, 0.0f);
    }

    void oneSamplePerCycleAfterTheFade() {
        WorkerTest::useManualClock();
        auto ring = std::make_unique<ForceScopeRing>();
        MainBackgroundThread worker;
        worker.setForceScope(ring.get());
        WorkerTest::startWithoutTimer(worker);
        worker.enableTelemetryOverride();
        worker.overrideTelemetry(overrideRecord());
        worker.changeSettingsModerately(weightSettings()); // the fade that started with the cycle carries on

        // Half way through the fade the pitch force is sent at half strength, and so plotted.
        WorkerTest::advance(1000);
        WorkerTest::cycle(worker);
        // Past it: the whole force.
        WorkerTest::advance(1500);
        WorkerTest::cycles(worker, 2);

        const std::vector<ScopeSample> samples = drainAll(*ring);
        QCOMPARE(samples.size(), std::size_t(3));
        QCOMPARE(samples[0].timeMs, 1000);
        QCOMPARE(samples[1].timeMs, 2500);
        QCOMPARE(samples[2].timeMs, 2500);
        QCOMPARE_EXACT(samples[0].forces[1].force, -12.5f);
        QCOMPARE_EXACT(samples[1].forces[1].force, -25.0f);
        for (const ScopeSample &sample : samples) {
            QCOMPARE_EXACT(sample.forces[0].force, 0.0f);
            QCOMPARE_EXACT(sample.forces[2].force, 0.0f);
            QCOMPARE_EXACT(sample.forces[1].springGain, 0.0f);
            QCOMPARE_EXACT(sample.forces[1].periodic, 0.0f);
            QCOMPARE_EXACT(sample.airspeed, 320.0f);
            QCOMPARE_EXACT(sample.aoa, 7.5f);
            QCOMPARE_EXACT(sample.gForce, 2.5f);
        }
    }

    void aSourceRecordReplacesTheOverrideOnceItIsOff() {
        WorkerTest::useManualClock();
        auto ring = std::make_unique<ForceScopeRing>();
        MainBackgroundThread worker;
        worker.setForceScope(ring.get());
        WorkerTest::startWithoutTimer(worker);
        DCSTelemetry dcs;
        dcs.airspeed = 410;
        dcs.aoa = 3;
        dcs.gForce = 1.5f;
        worker.setDcsTelemetry(dcs);
        WorkerTest::cycle(worker);
        const std::vector<ScopeSample> samples = drainAll(*ring);
        QCOMPARE(samples.size(), std::size_t(1));
        QCOMPARE_EXACT(samples[0].airspeed, 410.0f);
        QCOMPARE_EXACT(samples[0].aoa, 3.0f);
        QCOMPARE_EXACT(samples[0].gForce, 1.5f);
    }

    // The worker in its own thread on its own 10 ms timer; the test thread reads as the view does.
    void workerThreadFillsTheRingWhileTheReaderDrains() {
        auto *ring = new ForceScopeRing(); // the worker is never stopped, so neither is the ring freed
        auto *worker = new MainBackgroundThread();
        worker->setForceScope(ring);
        worker->enableTelemetryOverride();
        worker->overrideTelemetry(overrideRecord());
        worker->changeSettingsModerately(weightSettings());
        auto *thread = new QThread();
        thread->start();
        worker->moveToThread(thread);
        QMetaObject::invokeMethod(worker, [worker] { worker->startCycle(); }, Qt::QueuedConnection);

        std::vector<ScopeSample> samples;
        QElapsedTimer wall;
        wall.start();
        // Until well past the two-second fade, reading every 33 ms like the view.
        const auto caughtUp = [&] { return !samples.empty() && samples.back().timeMs >= 2200; };
        while (!caughtUp() && wall.elapsed() < 20000) {
            QThread::msleep(33);
            ring->drain([&](const ScopeSample &sample) { samples.push_back(sample); });
        }
        QVERIFY(caughtUp());
        // A busy two-core machine may skip cycles, never add them.
        QVERIFY2(samples.size() >= 60 && qint64(samples.size()) <= wall.elapsed() / 10 + 5,
                 qPrintable(QString::number(samples.size())));
        QCOMPARE(ring->droppedCount(), uint64_t(0));
        for (std::size_t i = 1; i < samples.size(); ++i)
            QVERIFY(samples[i].timeMs >= samples[i - 1].timeMs);
        for (const ScopeSample &sample : samples) {
            QCOMPARE_EXACT(sample.gForce, 2.5f);
            QVERIFY(sample.forces[1].force <= 0.0f && sample.forces[1].force >= -25.0f);
        }
        QCOMPARE_EXACT(samples.back().forces[1].force, -25.0f);
    }
};

QTEST_GUILESS_MAIN(TestWorkerForceScope)
#include "tst_workerforcescope.moc"
