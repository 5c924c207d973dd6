#pragma once

#include "commontelemetryforcecalculator.h"

#include <cstdint>

// Advances a square-wave oscillator to `now` (ms) and returns its output: +A in the first half of the
// period (phase <= 0.5), -A in the second, A being the jittered amplitude. At the end of each period the
// oscillator draws a new amplitude jitter, then a new frequency jitter.
//
// The period is N = 1000 / f whole milliseconds, but the elapsed time is taken modulo N + 1 while the phase
// advances by m / N; that pairing is how the shakers have always run and is kept.
// A frequency above 1000 Hz gives N = 0 and a NaN phase that stays NaN; a frequency of 0 (or one so small
// that the period does not fit 64 bits) is an infinite period: nothing advances and nothing is drawn.
float stepOscillator(OscillatorState &state, int64_t now, float frequency, float amplitude);
