#pragma once

#include <QString>
#include <cstdint>
#include <vector>

class CycleFigures;

// The device cycle's interval over a time window, from the cycles' start times.
struct CycleIntervals {
    int count = 0; // intervals in the window
    double medianMs = 0;
    double p99Ms = 0; // the interval 99 % of the window's intervals do not exceed
};

// Intervals between the starts that fall in (nowNs - windowNs, nowNs]; starts are oldest first.
CycleIntervals cycleIntervals(const std::vector<int64_t> &startsNs, int64_t nowNs, int64_t windowNs);

// The steady clock the worker stamps its figures with, in nanoseconds.
int64_t steadyClockNs();

// "cycle 10.0 ms p99 10.6 · telemetry age 14 ms"; without cycles "cycle not running", without telemetry
// "telemetry age –".
QString cycleFiguresLine(const CycleIntervals &intervals, int64_t telemetryAgeNs);
QString cycleFiguresLine(const CycleFigures &figures, int64_t nowNs);
