#include "sinetable.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace {
// sin(0), sin(10), ..., sin(360), rounded to four decimals.
constexpr float SineTable[37] = {
    0.0f,    0.1736f, 0.342f,   0.5f,    0.6428f, 0.766f,   0.866f,   0.9397f, 0.9848f,  1.0f,
    0.9848f, 0.9397f, 0.866f,   0.766f,  0.6428f, 0.5f,     0.342f,   0.1736f, 0.0f,     -0.1736f,
    -0.342f, -0.5f,   -0.6428f, -0.766f, -0.866f, -0.9397f, -0.9848f, -1.0f,   -0.9848f, -0.9397f,
    -0.866f, -0.766f, -0.6428f, -0.5f,   -0.342f, -0.1736f, 0.0f,
};

// 2^31 as a float: below it the whole part of an angle fits an int32_t.
constexpr float IntRange = 2147483648.0f;
} // namespace

float tableSin(float degrees) {
    if (!std::isfinite(degrees))
        return std::numeric_limits<float>::quiet_NaN();

    float x;
    if (std::fabs(degrees) < IntRange) {
        const int32_t whole = int32_t(degrees);
        x = degrees - 360 * (whole / 360);
    } else {
        x = std::fmod(degrees, 360.0f);
    }
    // A tiny negative angle becomes exactly 360 after the +360, and very large angles carry the float
    // rounding of the reduction: fold both back so the lookup never leaves the table.
    while (x < 0)
        x += 360;
    while (x >= 360)
        x -= 360;

    const int i = int(x) / 10;
    const float fraction = (x - 10 * i) / 10;
    return SineTable[i] + (SineTable[i + 1] - SineTable[i]) * fraction;
}

float tableCos(float degrees) {
    return tableSin(degrees + 90);
}
