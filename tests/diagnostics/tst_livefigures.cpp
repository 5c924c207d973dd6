#include "cyclefigures.h"
#include "hidapidouble.h"
#include "livefigures.h"
#include "mainbackgroundthread.h"
#include "telemetryrecorder.h"

#include <QTimer>
#include <QtTest>
#include <memory>

namespace {
constexpr int64_t Ms = 1000000;
} // namespace

// The cycle's figures: what the worker notes, and the median, p99 and header line made from them.
class TestLiveFigures : public QObject {
    Q_OBJECT

private slots:
    void intervalsOverTheWindow() {
        // Nine intervals of 10 ms and one of 20 ms, then one outside the window.
        std::vector<int64_t> starts;
        int64_t at = 1000 * Ms;
        starts.push_back(at);
        for (int index = 0; index < 9; ++index)
            starts.push_back(at += 10 * Ms);
        starts.push_back(at += 20 * Ms);
        CycleIntervals intervals = cycleIntervals(starts, at, 10000 * Ms);
        QCOMPARE(intervals.count, 10);
        QCOMPARE(intervals.medianMs, 10.0);
        QCOMPARE(intervals.p99Ms, 20.0);
        // Only the starts inside the last 25 ms: the 20 ms interval and one of 10 ms.
        intervals = cycleIntervals(starts, at, 25 * Ms);
        QCOMPARE(intervals.count, 2);
        QCOMPARE(intervals.medianMs, 15.0);
        QCOMPARE(intervals.p99Ms, 20.0);
        QCOMPARE(cycleIntervals({}, at, 10 * Ms).count, 0);
    }

    void p99OfAHundredIntervals() {
        std::vector<int64_t> starts{0};
        // 98 of 10.0 ms, one of 10.6 ms, one of 30 ms: the 99th of 100 sorted is 10.6.
        for (int index = 0; index < 98; ++index)
            starts.push_back(starts.back() + 10 * Ms);
        starts.push_back(starts.back() + 10600000);
        starts.push_back(starts.back() + 30 * Ms);
        const CycleIntervals intervals = cycleIntervals(starts, starts.back(), 10000 * Ms);
        QCOMPARE(intervals.count, 100);
        QCOMPARE(intervals.p99Ms, 10.6);
        QCOMPARE(cycleFiguresLine(intervals, 14 * Ms + 300000),
                 QStringLiteral("cycle 10.0 ms p99 10.6 \u00b7 telemetry age 14 ms"));
    }

    void lineWithoutCyclesOrTelemetry() {
        QCOMPARE(cycleFiguresLine(CycleIntervals{}, -1),
                 QStringLiteral("cycle not running \u00b7 telemetry age \u2013"));
    }

    void figuresKeepTheLast1024Starts() {
        auto figures = std::make_unique<CycleFigures>();
        for (int64_t index = 0; index < 1500; ++index)
            figures->cycleStarted(index * 10 * Ms);
        const std::vector<int64_t> starts = figures->cycleStarts();
        QCOMPARE(starts.size(), std::size_t(1024));
        QCOMPARE(starts.front(), (1500 - 1024) * 10 * Ms);
        QCOMPARE(starts.back(), 1499 * 10 * Ms);
        QCOMPARE(figures->cycles(), uint64_t(1500));
    }

    void telemetryAgeAndWriteError() {
        auto figures = std::make_unique<CycleFigures>();
        figures->reported(5 * Ms);
        QCOMPARE(figures->telemetryAgeAtLastReportNs(), int64_t(-1));
        figures->telemetryArrived(100 * Ms);
        figures->reported(114 * Ms);
        QCOMPARE(figures->telemetryAgeAtLastReportNs(), 14 * Ms);
        QCOMPARE(figures->lastWriteError(), std::string());
        figures->writeFailed("rudder: a force report could not be written");
        figures->writeFailed("joystick: x");
        QCOMPARE(figures->lastWriteError(), std::string("joystick: x"));
        QCOMPARE(figures->writeErrors(), uint64_t(2));
        figures->writeFailed(std::string(500, 'y').c_str()); // cut to the buffer, never beyond
        QCOMPARE(figures->lastWriteError().size(), std::size_t(159));
    }

    void theWorkerNotesItsCycles() {
        HidApiDouble::reset();
        HidApiDouble::setPlugged(HidApiDouble::Device::Joystick, true);
        auto figures = std::make_unique<CycleFigures>();
        MainBackgroundThread worker;
        worker.setCycleFigures(figures.get());
        worker.startCycle();
        worker.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly)->stop();
        worker.onTimout(); // opens the joystick
        worker.onTimout();
        QCOMPARE(figures->cycles(), uint64_t(2));
        QCOMPARE(figures->telemetryAgeAtLastReportNs(), int64_t(-1)); // no telemetry yet
        QCOMPARE(figures->writeErrors(), uint64_t(0));

        // A record reaches a source, its telemetry reaches the worker 30 ms later, then a cycle: the age at
        // the report counts from the bytes' arrival.
        const int64_t received = steadyClockNs();
        TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_DCS, TelemetryRecording::Kind::UdpDatagram, "x",
                                1);
        QTest::qSleep(30);
        worker.setDcsTelemetry(DCSTelemetry());
        worker.onTimout();
        const int64_t reported = steadyClockNs();
        QVERIFY2(figures->telemetryAgeAtLastReportNs() >= 30 * Ms,
                 qPrintable(QString::number(figures->telemetryAgeAtLastReportNs())));
        QVERIFY(figures->telemetryAgeAtLastReportNs() <= reported - received);

        // A write that fails is noted, and the cycle carries on as before.
        HidApiDouble::setWriteResult(HidApiDouble::Device::Joystick, -1);
        worker.onTimout();
        QCOMPARE(figures->writeErrors(), uint64_t(1));
        QCOMPARE(figures->lastWriteError(), std::string("joystick: a force report could not be written"));
        QCOMPARE(figures->cycles(), uint64_t(4));
    }
};

QTEST_GUILESS_MAIN(TestLiveFigures)
#include "tst_livefigures.moc"
