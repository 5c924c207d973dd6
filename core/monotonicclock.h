#pragma once

#include <cstdint>

// The program's one monotonic time base, in milliseconds. Everything time-dependent (the device cycle's
// clocks, the settings fade, the telemetry silence timers) reads it through ElapsedClock, so a test can
// install a clock it steps by hand instead of sleeping.
namespace MonotonicClock {
using Source = int64_t (*)();

int64_t nowMs();
// Replaces the time source; nullptr restores the system's steady clock.
void setSource(Source source);
} // namespace MonotonicClock

// A QElapsedTimer-shaped stopwatch over MonotonicClock. Invalid until started.
class ElapsedClock {
public:
    void start() { startedAt = MonotonicClock::nowMs(); }
    void restart() { start(); }
    void invalidate() { startedAt = Invalid; }
    bool isValid() const { return startedAt != Invalid; }
    // Milliseconds since start; 0 while invalid, so a clock read before its start is harmless.
    int64_t elapsed() const { return isValid() ? MonotonicClock::nowMs() - startedAt : 0; }
    // True once strictly more than `timeoutMs` have passed (false while invalid).
    bool hasExpired(int64_t timeoutMs) const { return isValid() && elapsed() > timeoutMs; }

private:
    static constexpr int64_t Invalid = INT64_MIN;
    int64_t startedAt = Invalid;
};
