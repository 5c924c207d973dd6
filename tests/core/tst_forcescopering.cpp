#include "forcescope.h"

#include <QtTest>
#include <atomic>
#include <thread>
#include <vector>

// The ring between the device cycle and the force scope: one producer thread, one consumer thread, no locks.
// Built a second time with ThreadSanitizer (tst_forcescopering_tsan), which watches the two threads race.
class TestForceScopeRing : public QObject {
    Q_OBJECT

private slots:
    void valuesComeOutInOrder() {
        SpscRing<int, 4> ring;
        QVERIFY(ring.push(1));
        QVERIFY(ring.push(2));
        std::vector<int> seen;
        QCOMPARE(ring.drain([&](int v) { seen.push_back(v); }), std::size_t(2));
        QCOMPARE(seen, (std::vector<int>{1, 2}));
        QCOMPARE(ring.drain([&](int v) { seen.push_back(v); }), std::size_t(0));
    }

    void aFullRingDropsTheNewValue() {
        SpscRing<int, 4> ring;
        for (int v = 0; v < 6; ++v)
            QCOMPARE(ring.push(v), v < 4);
        QCOMPARE(ring.droppedCount(), uint64_t(2));
        std::vector<int> seen;
        ring.drain([&](int v) { seen.push_back(v); });
        QCOMPARE(seen, (std::vector<int>{0, 1, 2, 3}));
        // Room again, and the index wraps.
        for (int v = 10; v < 13; ++v)
            QVERIFY(ring.push(v));
        seen.clear();
        ring.drain([&](int v) { seen.push_back(v); });
        QCOMPARE(seen, (std::vector<int>{10, 11, 12}));
    }

    void discardForgetsWhatWaits() {
        SpscRing<int, 8> ring;
        ring.push(1);
        ring.push(2);
        ring.discard();
        ring.push(3);
        std::vector<int> seen;
        ring.drain([&](int v) { seen.push_back(v); });
        QCOMPARE(seen, (std::vector<int>{3}));
    }

    // A producer at full speed against a consumer that looks now and then: every value the producer did not
    // drop arrives once, in order, whole (each sample's fields agree with each other).
    void producerAndConsumerThreads() {
        auto ring = std::make_unique<ForceScopeRing>();
        constexpr int64_t Count = 200000;
        std::atomic<bool> done{false};
        uint64_t pushed = 0;
        std::thread producer([&] {
            for (int64_t i = 1; i <= Count; ++i) {
                ScopeSample sample;
                sample.timeMs = i;
                for (int axis = 0; axis < 3; ++axis) {
                    sample.forces[axis].force = float(i % 1000) + axis;
                    sample.forces[axis].springGain = float(i % 777);
                    sample.forces[axis].periodic = -float(i % 555);
                }
                sample.airspeed = float(i % 900);
                sample.aoa = float(i % 30);
                sample.gForce = float(i % 9);
                if (ring->push(sample))
                    ++pushed;
            }
            done.store(true, std::memory_order_release);
        });
        int64_t last = 0;
        uint64_t received = 0;
        bool whole = true;
        const auto take = [&](const ScopeSample &s) {
            whole = whole && s.timeMs > last && s.forces[2].force == float(s.timeMs % 1000) + 2 &&
                    s.forces[1].springGain == float(s.timeMs % 777) && s.forces[0].periodic == -float(s.timeMs % 555) &&
                    s.airspeed == float(s.timeMs % 900) && s.aoa == float(s.timeMs % 30) &&
                    s.gForce == float(s.timeMs % 9);
            last = s.timeMs;
            ++received;
        };
        while (!done.load(std::memory_order_acquire)) {
            ring->drain(take);
            std::this_thread::yield();
        }
        ring->drain(take);
        producer.join();
        QVERIFY(whole);
        QCOMPARE(received, pushed);
        QCOMPARE(received + ring->droppedCount(), uint64_t(Count));
        QVERIFY(received >= ForceScopeRing::capacity());
    }

    // The view discards what piled up (on show, on resume) while the device cycle keeps pushing: what it
    // still receives arrives in order and whole, and nothing it discarded comes back later.
    void discardBesideTheProducer() {
        auto ring = std::make_unique<ForceScopeRing>();
        constexpr int64_t Count = 200000;
        std::atomic<bool> done{false};
        uint64_t pushed = 0;
        std::thread producer([&] {
            for (int64_t i = 1; i <= Count; ++i) {
                ScopeSample sample;
                sample.timeMs = i;
                sample.forces[0].force = float(i % 1000);
                sample.airspeed = float(i % 900);
                sample.gForce = float(i % 9);
                if (ring->push(sample))
                    ++pushed;
            }
            done.store(true, std::memory_order_release);
        });
        int64_t last = 0;
        uint64_t received = 0;
        int discards = 0;
        bool whole = true;
        const auto take = [&](const ScopeSample &s) {
            whole = whole && s.timeMs > last && s.forces[0].force == float(s.timeMs % 1000) &&
                    s.airspeed == float(s.timeMs % 900) && s.gForce == float(s.timeMs % 9);
            last = s.timeMs;
            ++received;
        };
        for (int round = 0; !done.load(std::memory_order_acquire); ++round) {
            if (round % 3 == 0) {
                ring->discard();
                ++discards;
            } else {
                ring->drain(take);
            }
            std::this_thread::yield();
        }
        producer.join();
        ring->drain(take);
        QVERIFY(whole);
        QVERIFY(discards > 0);
        QVERIFY(received <= pushed);
        QCOMPARE(pushed + ring->droppedCount(), uint64_t(Count));
        // Everything is taken or forgotten: nothing waits any more.
        ring->discard();
        QCOMPARE(ring->drain(take), std::size_t(0));
    }
};

QTEST_GUILESS_MAIN(TestForceScopeRing)
#include "tst_forcescopering.moc"
