#pragma once

#include "hidapidouble.h"
#include "mainbackgroundthread.h"
#include "monotonicclock.h"

#include <QByteArray>
#include <QTimer>
#include <cstdint>
#include <cstring>
#include <vector>

// Helpers shared by the worker's tests: a clock stepped by hand and readers for recorded reports.
namespace WorkerTest {

inline int64_t &manualNow() {
    static int64_t now = 1000000;
    return now;
}

inline int64_t readManualClock() {
    return manualNow();
}

// Installs the hand-stepped clock at `start` ms.
inline void useManualClock(int64_t start = 1000000) {
    manualNow() = start;
    MonotonicClock::setSource(&readManualClock);
}

inline void advance(int64_t ms) {
    manualNow() += ms;
}

inline float floatAt(const std::vector<unsigned char> &bytes, std::size_t at) {
    uint32_t bits = 0;
    for (int i = 3; i >= 0; --i)
        bits = (bits << 8) | (at + std::size_t(i) < bytes.size() ? bytes[at + std::size_t(i)] : 0u);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Nine significant digits tell every float apart, so this compares exactly and still prints readably.
inline QByteArray exactText(float value) {
    return QByteArray::number(double(value), 'g', 9);
}

inline QByteArray hex(const std::vector<unsigned char> &bytes) {
    return QByteArray(reinterpret_cast<const char *>(bytes.data()), int(bytes.size())).toHex();
}

// Runs one device cycle tagged with the next cycle number.
inline void cycle(MainBackgroundThread &worker) {
    HidApiDouble::setCycle(HidApiDouble::cycle() + 1);
    worker.onTimout();
}

inline void cycles(MainBackgroundThread &worker, int count) {
    for (int i = 0; i < count; ++i)
        cycle(worker);
}

// startCycle starts the 10 ms timer too; unit tests drive onTimout themselves, so it is stopped again.
inline void startWithoutTimer(MainBackgroundThread &worker) {
    worker.startCycle();
    worker.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly)->stop();
}

} // namespace WorkerTest

#define QCOMPARE_EXACT(actual, expected) QCOMPARE(WorkerTest::exactText(actual), WorkerTest::exactText(expected))
