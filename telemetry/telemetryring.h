#pragma once

#include "telemetry.h"
#include "telemetryrecording.h"

#include <QByteArray>
#include <QMutex>
#include <array>
#include <atomic>
#include <cstdint>
#include <deque>

// The last minute of what the sources received, kept in memory for the support bundle: every datagram, HTTP
// body and SimConnect block the recorder is handed also comes here once the ring is switched on. The sources
// run on the telemetry thread, never on the device cycle's; appending copies the bytes under a lock that only
// a snapshot (the user saving a bundle) contends for. Switched off it costs one atomic load per record.
class TelemetryRing {
public:
    static constexpr int64_t DefaultKeepNs = int64_t(60) * 1000 * 1000 * 1000;
    // A flood (a misconfigured sender) must not eat the memory: beyond this the oldest go first.
    static constexpr qint64 MaxBytes = qint64(32) * 1024 * 1024;

    static TelemetryRing &instance();

    void enable(int64_t keepNs = DefaultKeepNs);
    void disable();
    bool isEnabled() const { return enabled.load(std::memory_order_relaxed); }

    static void note(Telemetry::Source source, TelemetryRecording::Kind kind, const char *data, qint64 size) {
        TelemetryRing &ring = instance();
        const int64_t now = steadyNs();
        // Whether on or off: when the newest record came in, the start of the telemetry's age at the report.
        ring.lastArrival.store(now, std::memory_order_relaxed);
        if (ring.enabled.load(std::memory_order_relaxed))
            ring.append(source, kind, data, size, now);
    }
    // The steady-clock time the newest record reached a source (0: none yet).
    static int64_t lastArrivalNs() { return instance().lastArrival.load(std::memory_order_relaxed); }

    // What the ring holds as a recording file (docs/recordings.md), arrival times from the oldest record
    // kept.
    QByteArray recording() const;
    // Records per source (index = Telemetry::Source) that arrived in the last `windowNs` before `nowNs`.
    std::array<int, Telemetry::SourceCount> countsSince(int64_t nowNs, int64_t windowNs) const;
    int size() const;
    void clear();

    void append(Telemetry::Source source, TelemetryRecording::Kind kind, const char *data, qint64 size,
                int64_t nowNs);
    static int64_t steadyNs();

private:
    TelemetryRing() = default;
    void trimLocked(int64_t nowNs);

    struct Entry {
        int64_t arrivedNs;
        uint8_t source;
        TelemetryRecording::Kind kind;
        QByteArray payload;
    };

    std::atomic<bool> enabled{false};
    std::atomic<int64_t> lastArrival{0};
    mutable QMutex mutex;
    std::deque<Entry> entries;
    qint64 bytes = 0;
    int64_t keep = DefaultKeepNs;
};
