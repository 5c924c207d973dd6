#include "monotonicclock.h"

#include <QtTest>

namespace {
int64_t manualNow = 0;
int64_t manualClock() { return manualNow; }
} // namespace

class TestMonotonicClock : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { MonotonicClock::setSource(nullptr); }

    void invalidUntilStarted() {
        ElapsedClock c;
        QVERIFY(!c.isValid());
        QCOMPARE(c.elapsed(), int64_t(0));
        QVERIFY(!c.hasExpired(0));
    }

    void followsTheInstalledSource() {
        MonotonicClock::setSource(&manualClock);
        manualNow = 5000;
        ElapsedClock c;
        c.start();
        manualNow = 6000;
        QCOMPARE(c.elapsed(), int64_t(1000));
        QVERIFY(!c.hasExpired(1000)); // exactly 1000 ms has not expired 1000 ms
        manualNow = 6001;
        QVERIFY(c.hasExpired(1000));
        c.restart();
        QCOMPARE(c.elapsed(), int64_t(0));
        c.invalidate();
        QVERIFY(!c.isValid());
    }

    void systemClockIsMonotonic() {
        const int64_t a = MonotonicClock::nowMs();
        const int64_t b = MonotonicClock::nowMs();
        QVERIFY(b >= a);
    }
};

QTEST_APPLESS_MAIN(TestMonotonicClock)
#include "tst_monotonicclock.moc"
