// Runs the background worker the way the program does (built on the main thread, started by a zero-interval
// single-shot timer, moved to a thread of its own, its signals received on the main thread) but without the
// window, for measuring the device cycle. Links the real hidapi; tools/measure_cycle.sh preloads the double.
//
//   quillar_cycle_harness [seconds]     runs for that long (default: until killed)

#include "mainbackgroundthread.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

int main(int argc, char *argv[]) {
    QCoreApplication application(argc, argv);

    auto *worker = new MainBackgroundThread();
    // Receivers on the main thread, so every signal crosses threads as it does towards the status panel.
    auto *receiver = new QObject();
    quint64 positions = 0;
    QObject::connect(worker, &MainBackgroundThread::positionChanged, receiver, [&positions] { ++positions; });
    QObject::connect(worker, &MainBackgroundThread::joystickConnected, receiver, [](uint32_t) {});
    QObject::connect(worker, &MainBackgroundThread::rudderConnected, receiver, [](uint32_t) {});

    auto *startTimer = new QTimer();
    startTimer->setSingleShot(true);
    QObject::connect(startTimer, &QTimer::timeout, worker, &MainBackgroundThread::startCycle);
    startTimer->start();
    auto *thread = new QThread();
    thread->setObjectName(QStringLiteral("worker"));
    thread->start(QThread::InheritPriority);
    worker->moveToThread(thread);

    if (argc > 1) {
        bool ok = false;
        const int seconds = QString::fromLocal8Bit(argv[1]).toInt(&ok);
        if (ok && seconds > 0)
            QTimer::singleShot(seconds * 1000, &application, &QCoreApplication::quit);
    }
    // Like the program: no orderly shutdown of the worker or its thread.
    return application.exec();
}
