#pragma once

#include "forcesrecord.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

// What the device cycle computed in one cycle, as the force scope plots it: the three axes' outputs after the
// settings fade, before the device report, and the telemetry the forces were computed from.
struct ScopeSample {
    int64_t timeMs = 0; // the worker's run clock
    Forces forces;
    float airspeed = 0; // km/h, limited as the force computation reads it
    float aoa = 0;      // degrees
    float gForce = 0;   // g
};

static_assert(std::is_trivially_copyable_v<ScopeSample>);

// A bounded single-producer, single-consumer queue of trivially copyable values: the producer never waits,
// locks or allocates (a full queue drops the new value), the consumer takes what is there when it looks.
template <typename T, std::size_t Capacity>
class SpscRing {
    static_assert(std::is_trivially_copyable_v<T>);
    static_assert(Capacity > 0 && (Capacity & (Capacity - 1)) == 0, "a power of two keeps the index a mask");

public:
    // Producer side. False when the queue is full and the value was dropped.
    bool push(const T &value) {
        const uint64_t head = written.load(std::memory_order_relaxed);
        if (head - taken.load(std::memory_order_acquire) >= Capacity) {
            dropped.fetch_add(1, std::memory_order_relaxed);
            return false;
        }
        cells[head & (Capacity - 1)] = value;
        written.store(head + 1, std::memory_order_release);
        return true;
    }

    // Consumer side. Hands every waiting value to `take`, oldest first; returns how many.
    template <typename Take>
    std::size_t drain(Take &&take) {
        const uint64_t tail = taken.load(std::memory_order_relaxed);
        const uint64_t head = written.load(std::memory_order_acquire);
        for (uint64_t index = tail; index != head; ++index)
            take(cells[index & (Capacity - 1)]);
        taken.store(head, std::memory_order_release);
        return std::size_t(head - tail);
    }

    // Consumer side: forgets everything waiting, e.g. what piled up while nobody looked.
    void discard() { taken.store(written.load(std::memory_order_acquire), std::memory_order_release); }

    uint64_t droppedCount() const { return dropped.load(std::memory_order_relaxed); }
    static constexpr std::size_t capacity() { return Capacity; }

private:
    std::array<T, Capacity> cells{};
    // On separate cache lines, so the two threads do not bounce one line between them on every value.
    alignas(64) std::atomic<uint64_t> written{0};
    alignas(64) std::atomic<uint64_t> taken{0};
    alignas(64) std::atomic<uint64_t> dropped{0};
};

// 20 s of cycles: room for a view that reads at 30 Hz, and for one that a busy GUI thread delays.
using ForceScopeRing = SpscRing<ScopeSample, 2048>;
