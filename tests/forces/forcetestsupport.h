#pragma once

#include <QString>
#include <QtTest>
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

// The engine computes in float, in the order its formulas are written; expectations worked out by hand
// from the table values agree with it up to float rounding.
inline bool closeTo(float actual, float expected) {
    if (std::isnan(expected))
        return std::isnan(actual);
    if (std::isinf(expected))
        return actual == expected;
    return std::fabs(actual - expected) <= std::max(1e-5f * std::fabs(expected), 1e-6f);
}

#define COMPARE_CLOSE(actual, expected)                                                                      \
    do {                                                                                                     \
        const float actual_ = (actual);                                                                      \
        const float expected_ = (expected);                                                                  \
        QVERIFY2(closeTo(actual_, expected_), qPrintable(QStringLiteral("%1 is %2, expected %3")             \
                                                             .arg(QStringLiteral(#actual))                   \
                                                             .arg(double(actual_), 0, 'g', 9)                \
                                                             .arg(double(expected_), 0, 'g', 9)));           \
    } while (0)

// The jitter the engine must produce from start-up: the standard minimal-standard generator seeded with 1
// feeding the standard normal distribution (mean 0, deviation 0.2).
inline std::vector<float> referenceJitter(int count) {
    std::minstd_rand0 engine(1);
    std::normal_distribution<float> distribution(0.0f, 0.2f);
    std::vector<float> values;
    for (int i = 0; i < count; ++i)
        values.push_back(distribution(engine));
    return values;
}
