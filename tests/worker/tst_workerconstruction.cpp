#include "commontelemetryforcecalculator.h"
#include "hidapidouble.h"
#include "mainbackgroundthread.h"
#include "sourceforcecalculators.h"
#include "telemetrythread.h"
#include "workertestsupport.h"

#include <QThread>
#include <QTimer>
#include <QtTest>

using namespace HidApiDouble;

class TestWorkerConstruction : public QObject {
    Q_OBJECT

private slots:
    void init() {
        HidApiDouble::reset();
        WorkerTest::useManualClock();
    }

    void cleanup() { MonotonicClock::setSource(nullptr); }

    void childrenInConstructionOrder() {
        MainBackgroundThread worker;
        const QObjectList children = worker.children();
        QCOMPARE(children.size(), 8);
        QVERIFY(qobject_cast<QTimer *>(children[0]));
        QCOMPARE(children[1]->metaObject()->className(), "CommonTelemetryForceCalculator");
        QCOMPARE(children[2]->metaObject()->className(), "MSFSTelemetryForceCalculator");
        QCOMPARE(children[3]->metaObject()->className(), "DCSTelemetryForceCalculator");
        QCOMPARE(children[4]->metaObject()->className(), "ShturmovikTelemetryForceCalculator");
        QCOMPARE(children[5]->metaObject()->className(), "WarthunderForceCalculator");
        QCOMPARE(children[6]->metaObject()->className(), "CondorTelemetryForceCalculator");
        QCOMPARE(children[7]->metaObject()->className(), "XPlaneTelemetryForceCalculator");
        QCOMPARE(worker.parent(), nullptr);
    }

    void hidapiInitialisedOnceAndNothingOpened() {
        MainBackgroundThread worker;
        QCOMPARE(HidApiDouble::initCount(), 1);
        const std::vector<CallRecord> all = HidApiDouble::calls();
        QCOMPARE(all.size(), size_t(1));
        QCOMPARE(all[0].call, Call::Init);
        QCOMPARE(HidApiDouble::openHandleCount(), 0);
    }

    void cycleTimerCreatedStopped() {
        MainBackgroundThread worker;
        auto *timer = worker.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
        QVERIFY(timer);
        QVERIFY(!timer->isActive());
    }

    void startCycleStartsTheTenMillisecondTimer() {
        MainBackgroundThread worker;
        auto *timer = worker.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
        worker.startCycle();
        QVERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 10);
        QCOMPARE(timer->timerType(), Qt::PreciseTimer);
        QVERIFY(!timer->isSingleShot());
        timer->stop();
    }

    void cycleTimerDrivesTheCycle() {
        MainBackgroundThread worker;
        QSignalSpy positions(&worker, &MainBackgroundThread::positionChanged);
        worker.startCycle();
        // Real time here: only the order of events is asserted, never a duration.
        QTRY_VERIFY_WITH_TIMEOUT(positions.count() >= 3, 10000);
        worker.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly)->stop();
    }

    void telemetryWorkerLivesInItsOwnRunningThread() {
        MainBackgroundThread worker;
        TelemetryThread *telemetry = worker.telemetryWorker();
        QVERIFY(telemetry);
        QCOMPARE(telemetry->parent(), nullptr);
        QVERIFY(telemetry->thread() != QThread::currentThread());
        QVERIFY(telemetry->thread()->isRunning());
        QCOMPARE(telemetry->thread()->parent(), nullptr);
    }

    void telemetryWorkerStartsOnceTheEventLoopRuns() {
        MainBackgroundThread worker;
        auto *tick = worker.telemetryWorker()->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
        QVERIFY(tick);
        QTRY_VERIFY_WITH_TIMEOUT(tick->isActive(), 10000);
    }

    void clocksInvalidUntilStartCycle() {
        // A touch-down before the start is timed at 0; after it, at the run clock's milliseconds.
        EffectsSettings settings;
        JoltSettings &jolt = settings.axes[0].landingJolt;
        jolt.active = true;
        jolt.total_effect_strength = 100;
        jolt.effect_time = 250;
        jolt.speed = SettingsRange{0, 100, 0, 0, 1000, 0};

        MainBackgroundThread worker;
        worker.changeSettingsModerately(settings);
        auto *common = worker.findChild<CommonTelemetryForceCalculator *>();
        worker.setLanded(-5, 100);
        QCOMPARE(common->joltState(0).landedAt, uint64_t(0));
        QCOMPARE(common->joltState(0).intensity, 0.5f);

        WorkerTest::startWithoutTimer(worker);
        WorkerTest::advance(1234);
        worker.setLanded(-20, 100); // stronger: restarts the jolt
        QCOMPARE(common->joltState(0).landedAt, uint64_t(1234));
        QCOMPARE(common->joltState(0).intensity, 1.0f);
    }
};

QTEST_GUILESS_MAIN(TestWorkerConstruction)
#include "tst_workerconstruction.moc"
