#include "cyclefigures.h"
#include "hidapidouble.h"
#include "livefigures.h"
#include "logfilesink.h"
#include "mainbackgroundthread.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>

Q_LOGGING_CATEGORY(lcStorm, "quillar.test.storm")
Q_LOGGING_CATEGORY(lcCycle, "quillar.test.cycle")

namespace {

// Standard error stays quiet: the test writes hundreds of thousands of lines.
void quietHandler(QtMsgType, const QMessageLogContext &, const QString &) {}

qint64 linesIn(const QString &folder, const QByteArray &needle) {
    qint64 count = 0;
    for (const QString &name : QDir(folder).entryList(QDir::Files)) {
        QFile file(QDir(folder).filePath(name));
        if (file.open(QIODevice::ReadOnly))
            count += file.readAll().count(needle);
    }
    return count;
}

} // namespace

// The real device cycle on its own thread with its 10 ms timer, the log file installed, and other threads
// logging as fast as they can, while the cycle itself logs a line every cycle. The log's writing happens on
// its own thread, so the cycle's interval is the same with and without the storm.
class TestLogCycleTiming : public QObject {
    Q_OBJECT

private slots:
    void loggingAtFullSpeedLeavesTheCycleIntervalAlone() {
        HidApiDouble::reset();
        HidApiDouble::setRecording(false);
        HidApiDouble::setPlugged(HidApiDouble::Device::Joystick, true);
        HidApiDouble::setPlugged(HidApiDouble::Device::Rudder, true);

        QTemporaryDir dir;
        qInstallMessageHandler(quietHandler);
        // A small file size, so the storm also turns the files over and over.
        LogFileSink sink(dir.path(), 256 * 1024, 3);
        QVERIFY(sink.isWriting());
        LogFileSink::install(&sink);

        auto figures = std::make_unique<CycleFigures>();
        auto *worker = new MainBackgroundThread();
        worker->setCycleFigures(figures.get());
        std::atomic<bool> storming{false};
        // Read only after the cycle's thread has ended.
        std::vector<qint64> logCallNs;
        logCallNs.reserve(4096);
        // The cycle's own line, timed: it is on the cycle's thread, so it must cost next to nothing.
        connect(
            worker, &MainBackgroundThread::positionChanged, worker,
            [&] {
                if (!storming.load())
                    return;
                const int64_t before = steadyClockNs();
                qCInfo(lcCycle) << "cycle line";
                if (logCallNs.size() < logCallNs.capacity())
                    logCallNs.push_back(steadyClockNs() - before);
            },
            Qt::DirectConnection);
        QThread thread;
        worker->moveToThread(&thread);
        thread.start(QThread::TimeCriticalPriority);
        QMetaObject::invokeMethod(
            worker, [worker] { worker->startCycle(); }, Qt::BlockingQueuedConnection);

        // Quiet: the baseline.
        QTest::qWait(2500);
        const CycleIntervals quiet = cycleIntervals(figures->cycleStarts(), steadyClockNs(), 2'000'000'000LL);

        // The storm: two threads log without pause for 2.5 s.
        storming = true;
        std::atomic<bool> stop{false};
        std::vector<std::thread> loggers;
        for (int index = 0; index < 2; ++index)
            loggers.emplace_back([&stop, index] {
                qint64 line = 0;
                while (!stop.load(std::memory_order_relaxed))
                    qCWarning(lcStorm, "storm %d line %lld with some words to make it a usual length", index,
                              ++line);
            });
        QTest::qWait(2500);
        const CycleIntervals stormy =
            cycleIntervals(figures->cycleStarts(), steadyClockNs(), 2'000'000'000LL);
        stop = true;
        for (std::thread &logger : loggers)
            logger.join();
        // A few more cycle lines after the storm, so the newest file surely holds some.
        QTest::qWait(200);
        storming = false;

        QMetaObject::invokeMethod(worker, [worker] { worker->deleteLater(); });
        thread.quit();
        thread.wait();
        LogFileSink::install(nullptr);
        sink.flush();
        qInstallMessageHandler(nullptr);

        std::sort(logCallNs.begin(), logCallNs.end());
        const double medianLogCallMs = logCallNs.empty() ? -1 : double(logCallNs[logCallNs.size() / 2]) / 1e6;
        qInfo("quiet: %d intervals, median %.2f ms, p99 %.2f ms; storm: %d intervals, median %.2f ms, p99 %.2f ms; "
              "%d log calls on the cycle, median %.3f ms",
              quiet.count, quiet.medianMs, quiet.p99Ms, stormy.count, stormy.medianMs, stormy.p99Ms,
              int(logCallNs.size()), medianLogCallMs);
        // The storm really ran: the log turned over and the cycle's own lines are in it.
        QVERIFY(QFile::exists(dir.filePath(QStringLiteral("quillar.log.1"))));
        QVERIFY(linesIn(dir.path(), "quillar.test.cycle: cycle line") > 0);
        QVERIFY(linesIn(dir.path(), "quillar.test.storm: storm ") > 1000);
        // 2 s of cycles is 200 intervals; a busy machine may lose a few ticks, never a fifth.
        QVERIFY2(quiet.count >= 160, qPrintable(QString::number(quiet.count)));
        QVERIFY2(stormy.count >= 160, qPrintable(QString::number(stormy.count)));
        QVERIFY2(stormy.medianMs > 9.0 && stormy.medianMs < 11.0,
                 qPrintable(QString::number(stormy.medianMs)));
        QVERIFY2(std::abs(stormy.medianMs - quiet.medianMs) < 1.0,
                 qPrintable(QStringLiteral("%1 against %2").arg(stormy.medianMs).arg(quiet.medianMs)));
        // A line logged on the cycle's own thread costs it microseconds: handing it over, not writing it.
        QVERIFY(logCallNs.size() > 100);
        QVERIFY2(medianLogCallMs >= 0 && medianLogCallMs < 1.0, qPrintable(QString::number(medianLogCallMs)));
    }
};

QTEST_GUILESS_MAIN(TestLogCycleTiming)
#include "tst_logcycletiming.moc"
