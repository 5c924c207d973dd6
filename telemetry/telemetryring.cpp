#include "telemetryring.h"

#include <chrono>

TelemetryRing &TelemetryRing::instance() {
    static TelemetryRing ring;
    return ring;
}

int64_t TelemetryRing::steadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void TelemetryRing::enable(int64_t keepNs) {
    QMutexLocker locker(&mutex);
    keep = keepNs;
    enabled.store(true, std::memory_order_relaxed);
}

void TelemetryRing::disable() {
    enabled.store(false, std::memory_order_relaxed);
    clear();
}

void TelemetryRing::clear() {
    QMutexLocker locker(&mutex);
    entries.clear();
    bytes = 0;
}

int TelemetryRing::size() const {
    QMutexLocker locker(&mutex);
    return int(entries.size());
}

void TelemetryRing::append(Telemetry::Source source, TelemetryRecording::Kind kind, const char *data,
                           qint64 size, int64_t nowNs) {
    if (size < 0 || size > qint64(TelemetryRecording::MaxPayloadSize) || size > MaxBytes)
        return;
    QMutexLocker locker(&mutex);
    entries.push_back({nowNs, uint8_t(source), kind, QByteArray(data, qsizetype(size))});
    bytes += size;
    trimLocked(nowNs);
}

void TelemetryRing::trimLocked(int64_t nowNs) {
    while (!entries.empty() && (entries.front().arrivedNs <= nowNs - keep || bytes > MaxBytes)) {
        bytes -= entries.front().payload.size();
        entries.pop_front();
    }
}

QByteArray TelemetryRing::recording() const {
    QMutexLocker locker(&mutex);
    QByteArray out = TelemetryRecording::fileHeader();
    if (entries.empty())
        return out;
    const int64_t first = entries.front().arrivedNs;
    QByteArray record;
    for (const Entry &entry : entries) {
        TelemetryRecording::encodeRecord((entry.arrivedNs - first) / 1000, entry.source, entry.kind,
                                         entry.payload.constData(), entry.payload.size(), record);
        out += record;
    }
    return out;
}

std::array<int, Telemetry::SourceCount> TelemetryRing::countsSince(int64_t nowNs, int64_t windowNs) const {
    std::array<int, Telemetry::SourceCount> counts{};
    QMutexLocker locker(&mutex);
    for (auto entry = entries.rbegin(); entry != entries.rend() && entry->arrivedNs > nowNs - windowNs;
         ++entry)
        if (entry->source < counts.size() && entry->arrivedNs <= nowNs)
            ++counts[entry->source];
    return counts;
}
