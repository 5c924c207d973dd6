// One whole device cycle, MainBackgroundThread::onTimout(), against the in-process hidapi double with both
// devices plugged in and every effect switched on, DCS telemetry current, a touch-down every 20 cycles. Counts the heap allocations made
// by the cycle's own thread (operator new and malloc/calloc/realloc, since Qt allocates through both) and
// times the cycle.
//
// Two runs: without any receiver of positionChanged (the emit costs nothing), and with a receiver living in
// another thread, as the status panel does in the program. A queued emit must copy its argument into a
// QMetaCallEvent for the receiving thread, so that run allocates on every cycle by the nature of a queued
// connection; the figure is reported as it is.
//
//   bench_cycle [cycles]      (default 20000 per run)
// Prints "key value" lines for scripts/perf/measure_all.sh.

#include "benchprofile.h"
#include "effectsprofile.h"
#include "hidapidouble.h"
#include "mainbackgroundthread.h"
#include "monotonicclock.h"
#include "sourcerecords.h"

#include <QCoreApplication>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *p, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *p);
}

namespace {
// The cycles run back to back, so the program's clock is stepped by hand, 10 ms per cycle as in the program:
// the oscillators then end their periods and draw jitter at the real rate.
std::atomic<int64_t> manualNowMs{0};
int64_t manualClock() {
    return manualNowMs.load(std::memory_order_relaxed);
}

// Only the thread that runs the measured cycles counts, and only while it measures: the telemetry and
// receiver threads allocate on their own schedule.
thread_local bool counting = false;
std::atomic<uint64_t> allocationCount{0};

inline void countOne() {
    if (counting)
        allocationCount.fetch_add(1, std::memory_order_relaxed);
}

void *countedNew(std::size_t size) {
    countOne();
    if (void *p = __libc_malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}

void *countedAlignedNew(std::size_t size, std::align_val_t alignment) {
    countOne();
    if (void *p = __libc_memalign(static_cast<std::size_t>(alignment), size ? size : 1))
        return p;
    throw std::bad_alloc();
}
} // namespace

extern "C" {
// Replacing malloc in the executable catches Qt's own allocations (QArrayData, events) as well.
void *malloc(size_t size) {
    countOne();
    return __libc_malloc(size);
}
void *calloc(size_t count, size_t size) {
    countOne();
    return __libc_calloc(count, size);
}
void *realloc(void *p, size_t size) {
    countOne();
    return __libc_realloc(p, size);
}
void free(void *p) {
    __libc_free(p);
}
}

// operator new reaches the malloc above only through libstdc++'s own operator new; replacing both keeps
// every allocation counted exactly once.
void *operator new(std::size_t size) {
    return countedNew(size);
}
void *operator new[](std::size_t size) {
    return countedNew(size);
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    countOne();
    return __libc_malloc(size ? size : 1);
}
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    countOne();
    return __libc_malloc(size ? size : 1);
}
void *operator new(std::size_t size, std::align_val_t alignment) {
    return countedAlignedNew(size, alignment);
}
void *operator new[](std::size_t size, std::align_val_t alignment) {
    return countedAlignedNew(size, alignment);
}
void operator delete(void *p) noexcept {
    __libc_free(p);
}
void operator delete[](void *p) noexcept {
    __libc_free(p);
}
void operator delete(void *p, std::size_t) noexcept {
    __libc_free(p);
}
void operator delete[](void *p, std::size_t) noexcept {
    __libc_free(p);
}
void operator delete(void *p, std::align_val_t) noexcept {
    __libc_free(p);
}
void operator delete[](void *p, std::align_val_t) noexcept {
    __libc_free(p);
}
void operator delete(void *p, std::size_t, std::align_val_t) noexcept {
    __libc_free(p);
}
void operator delete[](void *p, std::size_t, std::align_val_t) noexcept {
    __libc_free(p);
}

namespace {

DCSTelemetry approach() {
    DCSTelemetry t;
    t.verticalSpeed = -3.5f;
    t.aileronsFlowAngle = 1.5f;
    t.aoa = 11.0f;
    t.sideslip = -2.0f;
    t.gForce = 1.2f;
    t.propAirflow = 65;
    t.gear = 100;
    t.flaps = 60;
    t.airbrake = 30;
    t.onGround = true;
    t.setAirspeed(290);
    return t;
}

struct RunResult {
    uint64_t allocations = 0;
    double medianNs = 0;
    double p99Ns = 0;
};

RunResult runCycles(MainBackgroundThread &worker, int cycles) {
    std::vector<double> durations;
    durations.reserve(std::size_t(cycles));
    const uint64_t before = allocationCount.load();
    for (int i = 0; i < cycles; ++i) {
        manualNowMs.fetch_add(10, std::memory_order_relaxed);
        // A touch-down every 200 ms keeps the landing jolt shaking.
        if (i % 20 == 0)
            worker.setLanded(3.5f, 290);
        const auto start = std::chrono::steady_clock::now();
        counting = true;
        worker.onTimout();
        counting = false;
        const auto end = std::chrono::steady_clock::now();
        durations.push_back(double(std::chrono::duration_cast<std::chrono::nanoseconds>(end - start).count()));
    }
    RunResult result;
    result.allocations = allocationCount.load() - before;
    std::sort(durations.begin(), durations.end());
    result.medianNs = durations[durations.size() / 2];
    result.p99Ns = durations[std::min(durations.size() - 1, durations.size() * 99 / 100)];
    return result;
}

void print(const char *name, const RunResult &r, int cycles) {
    std::printf("%s_cycles %d\n", name, cycles);
    std::printf("%s_allocations %llu\n", name, static_cast<unsigned long long>(r.allocations));
    std::printf("%s_allocations_per_cycle %.3f\n", name, double(r.allocations) / cycles);
    std::printf("%s_cycle_median_ns %.0f\n", name, r.medianNs);
    std::printf("%s_cycle_p99_ns %.0f\n", name, r.p99Ns);
}
} // namespace

int main(int argc, char *argv[]) {
    QCoreApplication application(argc, argv);
    int cycles = 20000;
    if (argc > 1)
        cycles = std::max(100, std::atoi(argv[1]));

    using HidApiDouble::Device;
    HidApiDouble::reset();
    HidApiDouble::setRecording(false); // the record of calls would allocate on every call
    HidApiDouble::setPlugged(Device::Joystick, true);
    HidApiDouble::setPlugged(Device::Rudder, true);
    HidApiDouble::setVersionBytes(Device::Joystick, 1, 2, 3);
    HidApiDouble::setVersionBytes(Device::Rudder, 1, 2, 3);
    HidApiDouble::setPosition(Device::Joystick, 0.12f, -0.34f, 0, 0);
    HidApiDouble::setPosition(Device::Rudder, 0.05f, 0, 0, 0);

    MonotonicClock::setSource(manualClock);
    manualNowMs = 1000000;

    // The worker is driven directly on this thread; its event loop never runs, so neither does its
    // telemetry thread's start. Only the cycle itself is measured.
    MainBackgroundThread worker;
    worker.startCycle();
    worker.changeSettingsSuddenly(BenchProfile::everyEffectOn());
    worker.setDcsTelemetry(approach());
    worker.setLanded(3.5f, 290);

    // Warm-up: opens both devices, lets the first-cycle work (version reads, lazy statics) pass and runs
    // the 2000 ms settings fade out.
    for (int i = 0; i < 300; ++i) {
        manualNowMs.fetch_add(10, std::memory_order_relaxed);
        worker.onTimout();
    }
    if (HidApiDouble::openHandleCount() != 2) {
        std::fprintf(stderr, "bench_cycle: the devices did not open (%d handles)\n",
                     HidApiDouble::openHandleCount());
        return 1;
    }

    const RunResult bare = runCycles(worker, cycles);
    print("no_receiver", bare, cycles);

    QThread receiverThread;
    receiverThread.start();
    auto *receiver = new QObject();
    receiver->moveToThread(&receiverThread);
    QObject::connect(&receiverThread, &QThread::finished, receiver, &QObject::deleteLater);
    std::atomic<uint64_t> received{0};
    QObject::connect(&worker, &MainBackgroundThread::positionChanged, receiver,
                     [&received](PositionInput) { received.fetch_add(1, std::memory_order_relaxed); });
    const RunResult queued = runCycles(worker, cycles);
    print("queued_receiver", queued, cycles);

    // Bounded wait for the receiver to drain its queue, so the delivered count is complete.
    for (int i = 0; i < 500 && received.load() < uint64_t(cycles); ++i)
        QThread::msleep(10);
    receiverThread.quit();
    receiverThread.wait();
    std::printf("queued_receiver_delivered %llu\n", static_cast<unsigned long long>(received.load()));
    std::printf("open_handles %d\n", HidApiDouble::openHandleCount());
    return 0;
}
