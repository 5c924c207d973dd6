#include "cyclefigures.h"

#include <QtTest>
#include <atomic>
#include <memory>
#include <thread>

// The cycle's figures between the device cycle writing and any number of readers: readers see only values
// the cycle wrote, and the write error whole, never half of one and half of another. Also built under
// ThreadSanitizer.
class TestCycleFigures : public QObject {
    Q_OBJECT

private slots:
    void readersSeeOnlyWhatTheCycleWrote() {
        auto figures = std::make_unique<CycleFigures>();
        std::atomic<bool> done{false};
        const std::string first = "joystick: a force report could not be written";
        const std::string second = "rudder: a force report could not be written, and this text is longer";
        std::thread cycle([&] {
            for (int64_t index = 1; index <= 200000; ++index) {
                figures->cycleStarted(index * 7);
                figures->telemetryArrived(index * 7 - 3);
                figures->reported(index * 7);
                if (index % 97 == 0)
                    figures->writeFailed((index / 97) % 2 ? first.c_str() : second.c_str());
            }
            done = true;
        });
        int looks = 0;
        bool bad = false;
        while (!done.load() || looks < 10) {
            for (const int64_t start : figures->cycleStarts())
                bad = bad || start <= 0 || start % 7 != 0;
            const std::string error = figures->lastWriteError();
            bad = bad || !(error.empty() || error == first || error == second);
            const int64_t age = figures->telemetryAgeAtLastReportNs();
            bad = bad || !(age == -1 || age == 3);
            ++looks;
        }
        cycle.join();
        QVERIFY(!bad);
        QCOMPARE(figures->cycles(), uint64_t(200000));
        QCOMPARE(figures->cycleStarts().back(), int64_t(200000 * 7));
        QCOMPARE(figures->writeErrors(), uint64_t(200000 / 97));
    }
};

QTEST_GUILESS_MAIN(TestCycleFigures)
#include "tst_cyclefigures.moc"
