#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// What the device cycle tells about itself, for the Diagnostics window and the Forces view's header: when
// each of the last 1024 cycles started (over 10 s at 100 Hz), how old the telemetry was when the cycle wrote
// its report, and the last report that could not be written. The cycle only stores atomics, never waits or
// allocates; any number of readers look whenever they like.
class CycleFigures {
public:
    static constexpr std::size_t Slots = 1024;

    // Cycle side.
    void cycleStarted(int64_t nowNs) {
        const uint64_t index = count.load(std::memory_order_relaxed);
        starts[index & (Slots - 1)].store(nowNs, std::memory_order_relaxed);
        count.store(index + 1, std::memory_order_release);
    }
    void telemetryArrived(int64_t nowNs) { telemetryNs.store(nowNs, std::memory_order_relaxed); }
    // The report went out at `nowNs`: the telemetry it was computed from is this old (none yet: -1).
    void reported(int64_t nowNs) {
        const int64_t arrived = telemetryNs.load(std::memory_order_relaxed);
        reportAgeNs.store(arrived > 0 ? nowNs - arrived : -1, std::memory_order_relaxed);
    }
    // A rare event, so the text is copied character by character under a sequence number (odd while it is
    // being written); every access is sequentially consistent, which keeps the reader's copy whole without
    // fences.
    void writeFailed(const char *what) {
        errorSequence.fetch_add(1);
        std::size_t length = 0;
        for (; what[length] != '\0' && length + 1 < errorText.size(); ++length)
            errorText[length].store(what[length]);
        errorText[length].store('\0');
        errorSequence.fetch_add(1);
        errorCount.fetch_add(1, std::memory_order_relaxed);
    }

    // Reader side. Start times of the cycles so far (at most the last 1024), oldest first.
    std::vector<int64_t> cycleStarts() const {
        const uint64_t total = count.load(std::memory_order_acquire);
        const uint64_t first = total > Slots ? total - Slots : 0;
        std::vector<int64_t> result;
        result.reserve(std::size_t(total - first));
        for (uint64_t index = first; index < total; ++index)
            result.push_back(starts[index & (Slots - 1)].load(std::memory_order_relaxed));
        return result;
    }
    uint64_t cycles() const { return count.load(std::memory_order_acquire); }
    int64_t telemetryAgeAtLastReportNs() const { return reportAgeNs.load(std::memory_order_relaxed); }
    uint64_t writeErrors() const { return errorCount.load(std::memory_order_relaxed); }
    std::string lastWriteError() const {
        for (;;) {
            const uint32_t before = errorSequence.load();
            if (before & 1u)
                continue;
            std::string text;
            for (const auto &character : errorText) {
                const char value = character.load();
                if (value == '\0')
                    break;
                text += value;
            }
            if (errorSequence.load() == before)
                return text;
        }
    }

private:
    std::array<std::atomic<int64_t>, Slots> starts{};
    std::atomic<uint64_t> count{0};
    std::atomic<int64_t> telemetryNs{0};
    std::atomic<int64_t> reportAgeNs{-1};
    std::array<std::atomic<char>, 160> errorText{};
    std::atomic<uint32_t> errorSequence{0};
    std::atomic<uint64_t> errorCount{0};
};
