#include "oscillator.h"

#include "jitter.h"

#include <cmath>

namespace {
// 2^63: periods this long (or longer) do not fit the signed 64-bit period.
constexpr double PeriodLimit = 9223372036854775808.0;

void drawNewJitter(OscillatorState &state) {
    state.amplitudeJitter = drawJitter();
    state.frequencyJitter = drawJitter();
}
} // namespace

float stepOscillator(OscillatorState &state, int64_t now, float frequency, float amplitude) {
    const float f = (1 + state.frequencyJitter) * frequency;
    const float a = (1 + state.amplitudeJitter) * amplitude;
    const uint64_t elapsed = uint64_t(now) - state.lastTick;

    const double period = 1000.0 / double(f);
    bool periodEnded = false;
    if (std::fabs(period) < PeriodLimit) {
        const int64_t n = int64_t(period);
        // A period of -1 ms (f in (-1000, -500]) would make the modulo divide by zero.
        const uint64_t divisor = uint64_t(n) + 1;
        // Between two cycles the elapsed time is nearly always shorter than the period; skipping the 64-bit
        // division then gives the same remainder for a good part of the cycle's cost.
        uint64_t m = 0;
        if (divisor != 0)
            m = elapsed < divisor ? elapsed : elapsed % divisor;
        const float p = float(m) / float(n) + state.phase;
        state.phase = p < 1 ? p : p - 1;
        // p exactly 1 wraps without a new draw.
        periodEnded = p > 1;
    }
    // else: an infinite period; the phase stays where it is.
    state.lastTick = uint64_t(now);

    const float output = state.phase <= 0.5f ? a : -a;

    // A frequency jitter below -1 turns the frequency negative; the phase would then run backwards and
    // never end a period again, leaving the shaker stuck at one force for the rest of the flight. Such a
    // step counts as the end of a period and draws fresh jitter at once.
    const bool jitterStalled = frequency > 0 && f <= 0;
    if (periodEnded || jitterStalled)
        drawNewJitter(state);
    return output;
}
