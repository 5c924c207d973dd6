#pragma once

#include "effectsettings.h"

#include <algorithm>
#include <cmath>

// Inline: every shaker calls these several times per axis in each 10 ms cycle.

// The response curve of a shaker input: x in [0, 1], e = exp / 100. Positive e bends the curve towards x^3
// (slow start), negative e towards 1 - (1 - x)^3 (fast start), 0 is the straight line; beyond +-1 the
// curve stays at the full bend.
inline float shape(float x, float e) {
    if (e > 1)
        return x * x * x;
    if (e > 0)
        return e * x * x * x + (1 - e) * x;
    const float y = 1 - x;
    if (e >= -1) {
        const float a = std::fabs(e);
        return a * (1 - y * y * y) + (1 - a) * x;
    }
    // e < -1, and also a NaN exponent, which no profile can hold but must not leave the curve undefined.
    return 1 - y * y * y;
}

// min + (max - min) * shape(x, exp / 100).
inline float rangeValue(float x, const SettingsRange &range) {
    return range.min + (range.max - range.min) * shape(x, range.exp / 100);
}

// Where an airspeed (km/h, already limited by Telemetry::getAirspeed) lies in a speed range, limited to
// [0, 1]. A range with min == max maps above to 1 and below to 0; exactly on it the result is NaN, which
// std::clamp lets through.
inline float speedFraction(float airspeed, const SettingsRange &speed) {
    return std::clamp((airspeed - speed.min) / (speed.max - speed.min), 0.0f, 1.0f);
}
