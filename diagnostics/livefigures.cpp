#include "livefigures.h"

#include "cyclefigures.h"

#include <algorithm>
#include <chrono>
#include <cmath>

CycleIntervals cycleIntervals(const std::vector<int64_t> &startsNs, int64_t nowNs, int64_t windowNs) {
    std::vector<int64_t> intervals;
    for (std::size_t index = 1; index < startsNs.size(); ++index) {
        const int64_t start = startsNs[index];
        if (start > nowNs || start <= nowNs - windowNs || startsNs[index - 1] > start)
            continue;
        intervals.push_back(start - startsNs[index - 1]);
    }
    CycleIntervals result;
    result.count = int(intervals.size());
    if (intervals.empty())
        return result;
    std::sort(intervals.begin(), intervals.end());
    const std::size_t size = intervals.size();
    const double middle = size % 2 ? double(intervals[size / 2])
                                   : (double(intervals[size / 2 - 1]) + double(intervals[size / 2])) / 2.0;
    result.medianMs = middle / 1e6;
    // Nearest rank: the smallest interval with at least 99 % of them at or below it.
    const std::size_t rank = std::size_t(std::ceil(0.99 * double(size)));
    result.p99Ms = double(intervals[std::max<std::size_t>(rank, 1) - 1]) / 1e6;
    return result;
}

int64_t steadyClockNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

QString cycleFiguresLine(const CycleIntervals &intervals, int64_t telemetryAgeNs) {
    const QString cycle = intervals.count == 0 ? QStringLiteral("cycle not running")
                                               : QStringLiteral("cycle %1 ms p99 %2")
                                                     .arg(intervals.medianMs, 0, 'f', 1)
                                                     .arg(intervals.p99Ms, 0, 'f', 1);
    const QString age = telemetryAgeNs < 0
                            ? QStringLiteral("telemetry age \u2013")
                            : QStringLiteral("telemetry age %1 ms").arg(telemetryAgeNs / 1000000);
    return cycle + QStringLiteral(" \u00b7 ") + age;
}

QString cycleFiguresLine(const CycleFigures &figures, int64_t nowNs) {
    return cycleFiguresLine(cycleIntervals(figures.cycleStarts(), nowNs, 10'000'000'000LL),
                            figures.telemetryAgeAtLastReportNs());
}
