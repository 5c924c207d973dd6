#include "monotonicclock.h"

#include <atomic>
#include <chrono>

namespace {
int64_t steadyNowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

std::atomic<MonotonicClock::Source> currentSource{&steadyNowMs};
} // namespace

int64_t MonotonicClock::nowMs() {
    return currentSource.load(std::memory_order_relaxed)();
}

void MonotonicClock::setSource(Source source) {
    currentSource.store(source ? source : &steadyNowMs, std::memory_order_relaxed);
}
