// One device cycle's worth of force computation: calculateAllAxes over all three axes with every effect on.
// Heap allocations inside the timed loop are counted through a replaced global operator new; the cycle
// runs every 10 ms on the worker's thread and must not allocate.

#include "benchprofile.h"
#include "commontelemetryforcecalculator.h"
#include "effectsprofile.h"
#include "forcepipeline.h"
#include "jitter.h"
#include "sourceforcecalculators.h"
#include "vectorstate.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <new>

namespace {
std::atomic<uint64_t> allocationCount{0};

void *countedAllocation(std::size_t size) {
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    if (void *p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}

void *countedAlignedAllocation(std::size_t size, std::align_val_t alignment) {
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    const std::size_t a = static_cast<std::size_t>(alignment);
    const std::size_t rounded = ((size ? size : 1) + a - 1) / a * a;
    if (void *p = std::aligned_alloc(a, rounded))
        return p;
    throw std::bad_alloc();
}
} // namespace

void *operator new(std::size_t size) {
    return countedAllocation(size);
}
void *operator new[](std::size_t size) {
    return countedAllocation(size);
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    try {
        return countedAllocation(size);
    } catch (...) {
        return nullptr;
    }
}
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    try {
        return countedAllocation(size);
    } catch (...) {
        return nullptr;
    }
}
void *operator new(std::size_t size, std::align_val_t alignment) {
    return countedAlignedAllocation(size, alignment);
}
void *operator new[](std::size_t size, std::align_val_t alignment) {
    return countedAlignedAllocation(size, alignment);
}
void operator delete(void *p) noexcept {
    std::free(p);
}
void operator delete[](void *p) noexcept {
    std::free(p);
}
void operator delete(void *p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void *p, std::size_t) noexcept {
    std::free(p);
}
void operator delete(void *p, std::align_val_t) noexcept {
    std::free(p);
}
void operator delete[](void *p, std::align_val_t) noexcept {
    std::free(p);
}
void operator delete(void *p, std::size_t, std::align_val_t) noexcept {
    std::free(p);
}
void operator delete[](void *p, std::size_t, std::align_val_t) noexcept {
    std::free(p);
}

namespace {

Telemetry approach() {
    Telemetry t;
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
    t.setAirspeed(290); // just above the attenuation start: the blended branch
    return t;
}

// One jitter draw in the vector state Qt's start-up left in this thread: what the engine would pay without
// clearing it (vectorstate.h). Registered first, so that it runs before anything clears the state. The cycle makes about six draws (one amplitude and one frequency draw each time an oscillator
// ends its period).
void BM_drawJitter(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(drawJitter());
}
BENCHMARK(BM_drawJitter);

// The engine clears the upper vector state itself at every evaluation (vectorstate.h), so this is its
// cost whatever ran before it in the thread.
void BM_calculateAllAxes(benchmark::State &state) {
    const EffectsSettings settings = BenchProfile::everyEffectOn();
    const Telemetry telemetry = approach();
    CommonTelemetryForceCalculator common;
    MSFSTelemetryForceCalculator msfs;
    DCSTelemetryForceCalculator dcs;
    ShturmovikTelemetryForceCalculator il2;
    WarthunderForceCalculator warThunder;
    CondorTelemetryForceCalculator condor;
    TelemetryForceCalculator *const perSource[Telemetry::SourceCount] = {nullptr, &msfs,       &dcs,
                                                                         &il2,    &warThunder, &condor};
    float positions[3] = {0.12f, -0.34f, 0.05f};
    const float offsets[3] = {0, 0, 0};

    int64_t now = 0;
    uint64_t cycles = 0;
    const uint64_t before = allocationCount.load(std::memory_order_relaxed);
    for (auto _ : state) {
        // One device cycle every 10 ms; a touch-down every 200 ms keeps the landing jolt shaking.
        now += 10;
        if (cycles++ % 20 == 0)
            common.setLanded(3.5f, 290, settings, now);
        positions[0] = -positions[0];
        const Forces forces = calculateAllAxes(positions, offsets, telemetry, Telemetry::TELEMETRY_SOURCE_DCS,
                                               settings, common, perSource, now);
        benchmark::DoNotOptimize(forces);
        benchmark::ClobberMemory();
    }
    const uint64_t allocations = allocationCount.load(std::memory_order_relaxed) - before;
    state.counters["allocations"] = benchmark::Counter(double(allocations));
    state.counters["allocations_per_cycle"] =
        benchmark::Counter(double(allocations), benchmark::Counter::kAvgIterations);
}

BENCHMARK(BM_calculateAllAxes);

// One jitter draw as the engine makes it, with the upper vector state clear.
void BM_drawJitterCleanVectorState(benchmark::State &state) {
    clearUpperVectorState();
    for (auto _ : state)
        benchmark::DoNotOptimize(drawJitter());
}
BENCHMARK(BM_drawJitterCleanVectorState);

} // namespace

BENCHMARK_MAIN();
