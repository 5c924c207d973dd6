#pragma once

// The one random source of every shaker oscillator: a minimal-standard generator seeded with 1 feeding a
// normal distribution (mean 0, standard deviation 0.2). Being process-wide and seeded once makes the
// vibration sequence reproducible from start-up. Used only on the worker's thread.

// The next jitter value.
float drawJitter();

// Returns the source to its start-up state (generator seeded with 1, no cached normal value).
void resetJitterSource();
