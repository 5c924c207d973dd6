#include "hidapidouble.h"
#include "mainbackgroundthread.h"
#include "signalrecorder.h"

#include <QThread>
#include <QTimer>
#include <QtTest>

using namespace HidApiDouble;

// The worker brought up the way the program does it: built here, started by a zero-interval single-shot
// timer, moved to a thread of its own. Real time: only order and counts are asserted.
class TestWorkerThread : public QObject {
    Q_OBJECT

private slots:
    void runsTheCycleInItsOwnThread() {
        HidApiDouble::reset();
        HidApiDouble::setPlugged(Device::Joystick, true);
        HidApiDouble::setVersionBytes(Device::Joystick, 0x01, 0x02, 0x03);
        HidApiDouble::setPosition(Device::Joystick, 0.5f, 0.25f, 0.0f, 0.0f);

        auto *worker = new MainBackgroundThread();
        QThread *guiThread = QThread::currentThread();
        QThread *receivedIn = nullptr;
        connect(worker, &MainBackgroundThread::joystickConnected, this,
                [&receivedIn] { receivedIn = QThread::currentThread(); });
        // Received here, queued from the worker's thread: a QSignalSpy would be written by that thread.
        SignalRecorder connected(worker, &MainBackgroundThread::joystickConnected);
        SignalRecorder disconnected(worker, &MainBackgroundThread::joystickDisconnected);
        SignalRecorder positions(worker, &MainBackgroundThread::positionChanged);

        auto *startTimer = new QTimer();
        startTimer->setSingleShot(true);
        connect(startTimer, &QTimer::timeout, worker, &MainBackgroundThread::startCycle);
        startTimer->start();
        auto *thread = new QThread();
        thread->start(QThread::InheritPriority);
        worker->moveToThread(thread);
        QCOMPARE(worker->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly)->thread(), thread);

        QTRY_COMPARE_WITH_TIMEOUT(connected.count(), 1, 10000);
        QCOMPARE(connected.at(0).at(0).value<uint32_t>(), uint32_t(0x03020125));
        QCOMPARE(receivedIn, guiThread);
        QTRY_VERIFY_WITH_TIMEOUT(HidApiDouble::writes(Device::Joystick, 0x20).size() >= 50, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(positions.count() >= 2, 10000);
        const PositionInput last = positions.last().at(0).value<PositionInput>();
        QCOMPARE(last.roll, 0.5f);
        QCOMPARE(last.pitch, 0.25f);

        HidApiDouble::setPlugged(Device::Joystick, false);
        QTRY_COMPARE_WITH_TIMEOUT(disconnected.count(), 1, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(HidApiDouble::openHandleCount(), 0, 10000);
        HidApiDouble::setPlugged(Device::Joystick, true);
        QTRY_COMPARE_WITH_TIMEOUT(connected.count(), 2, 20000); // found again about a second later

        // The program never stops the worker; the test does, so its end is quiet.
        QMetaObject::invokeMethod(
            worker, [worker] { worker->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly)->stop(); },
            Qt::BlockingQueuedConnection);
        thread->quit();
        QVERIFY(thread->wait(10000));
        QCOMPARE(HidApiDouble::invalidHandleUses(), 0);
        QCOMPARE(HidApiDouble::initCount(), 1);
        for (const SignalRecorder *recorder : {&connected, &disconnected, &positions}) {
            for (QThread *receiver : recorder->receivedIn())
                QCOMPARE(receiver, guiThread);
        }
    }
};

QTEST_GUILESS_MAIN(TestWorkerThread)
#include "tst_workerthread.moc"
