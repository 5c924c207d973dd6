#include "jitter.h"

#include <random>

namespace {
std::minstd_rand0 engine{1};
std::normal_distribution<float> distribution{0.0f, 0.2f};
} // namespace

float drawJitter() {
    return distribution(engine);
}

void resetJitterSource() {
    engine.seed(1);
    // The polar method keeps its second value for the next draw; forget it too.
    distribution.reset();
}
