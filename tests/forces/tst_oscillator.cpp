#include "forcetestsupport.h"
#include "jitter.h"
#include "oscillator.h"

#include <QtTest>
#include <cmath>
#include <limits>

class TestOscillator : public QObject {
    Q_OBJECT

private:
    // True when the shared jitter source has not been drawn from since the last reset.
    static bool jitterUntouched() { return drawJitter() == referenceJitter(1)[0]; }

private slots:
    void init() { resetJitterSource(); }

    void knownSequenceAt100Hz() {
        // 100 Hz: N = 10 ms, the elapsed time is taken modulo 11 and the phase advances by m / 10.
        OscillatorState s;
        QCOMPARE(stepOscillator(s, 5, 100, 2), 2.0f); // m 5, p 0.5: first half still
        QCOMPARE(s.phase, 0.5f);
        QCOMPARE(s.lastTick, uint64_t(5));

        QCOMPARE(stepOscillator(s, 10, 100, 2), 2.0f); // m 5, p exactly 1: wraps to 0 without a draw
        QCOMPARE(s.phase, 0.0f);
        QCOMPARE(s.amplitudeJitter, 0.0f);
        QCOMPARE(s.frequencyJitter, 0.0f);

        QCOMPARE(stepOscillator(s, 18, 100, 2), -2.0f); // m 8, p 0.8: second half
        COMPARE_CLOSE(s.phase, 0.8f);

        // m 7, p 1.5: a new period starts at phase 0.5; the output still uses the old (zero) jitter, then
        // the amplitude jitter is drawn first and the frequency jitter second.
        QCOMPARE(stepOscillator(s, 25, 100, 2), 2.0f);
        COMPARE_CLOSE(s.phase, 0.5f);
        const std::vector<float> jitter = referenceJitter(4);
        QCOMPARE(s.amplitudeJitter, jitter[0]);
        QCOMPARE(s.frequencyJitter, jitter[1]);

        // From now on the period follows the jittered frequency and the output the jittered amplitude.
        const float f = (1 + jitter[1]) * 100.0f;
        const int64_t n = int64_t(1000.0 / double(f));
        const float a = (1 + jitter[0]) * 2.0f;
        const float p = float(3 % (n + 1)) / float(n) + 0.5f;
        const float out = stepOscillator(s, 28, 100, 2);
        COMPARE_CLOSE(s.phase, p < 1 ? p : p - 1);
        QCOMPARE(out, s.phase <= 0.5f ? a : -a);
    }

    // Periods worked out by hand, N = integer part of 1000 / f in double. At f = 1000/7 (142.857147 as a
    // float) the double quotient is 6.99999986, so N = 6; the float quotient would round to 7. Likewise
    // f = 1000/3 (333.333344) gives 2.99999991, so N = 2, not 3. Each row steps m = N / 2 (or a quarter) to
    // an exact phase, then N + 1 ms, which is m = 0 and leaves the phase where it is.
    void handDerivedPeriods_data() {
        QTest::addColumn<float>("frequency");
        QTest::addColumn<float>("frequencyJitter");
        QTest::addColumn<int>("period");
        QTest::addColumn<int>("step");
        QTest::addColumn<float>("phase");
        QTest::newRow("1000/7 Hz: N 6") << 1000.0f / 7 << 0.0f << 6 << 3 << 0.5f;
        QTest::newRow("1000/3 Hz: N 2") << 1000.0f / 3 << 0.0f << 2 << 1 << 0.5f;
        QTest::newRow("7 Hz: N 142") << 7.0f << 0.0f << 142 << 71 << 0.5f;
        QTest::newRow("0.5 Hz: N 2000") << 0.5f << 0.0f << 2000 << 500 << 0.25f;
        QTest::newRow("100 Hz jittered +25%: N 8") << 100.0f << 0.25f << 8 << 2 << 0.25f;
        QTest::newRow("15 Hz: N 66") << 15.0f << 0.0f << 66 << 33 << 0.5f;
        QTest::newRow("999 Hz: N 1") << 999.0f << 0.0f << 1 << 1 << 0.0f; // p exactly 1 wraps to 0
    }
    void handDerivedPeriods() {
        QFETCH(float, frequency);
        QFETCH(float, frequencyJitter);
        QFETCH(int, period);
        QFETCH(int, step);
        QFETCH(float, phase);
        OscillatorState s;
        s.frequencyJitter = frequencyJitter;
        QCOMPARE(stepOscillator(s, step, frequency, 2), 2.0f);
        QCOMPARE(s.phase, phase);
        // N + 1 ms later the elapsed time is 0 modulo N + 1: nothing moves, nothing is drawn.
        QCOMPARE(stepOscillator(s, step + period + 1, frequency, 2), 2.0f);
        QCOMPARE(s.phase, phase);
        QVERIFY(jitterUntouched());
        // N ms later the phase has gone round once: p = phase + 1, so a new period starts and draws jitter,
        // unless p is exactly 1, which wraps without a draw.
        resetJitterSource();
        stepOscillator(s, step + 2 * period + 1, frequency, 2);
        QCOMPARE(s.phase, phase);
        if (phase > 0) {
            const std::vector<float> drawn = referenceJitter(2);
            QCOMPARE(s.amplitudeJitter, drawn[0]);
            QCOMPARE(s.frequencyJitter, drawn[1]);
        } else {
            QVERIFY(jitterUntouched());
        }
    }

    void elapsedIsTakenModuloNPlusOne() {
        OscillatorState s;
        // 11 ms at N = 10 is m = 0: the phase does not move.
        QCOMPARE(stepOscillator(s, 11, 100, 1), 1.0f);
        QCOMPARE(s.phase, 0.0f);
        // 10 ms is m = 10, p = 1: wraps to 0, no draw.
        QCOMPARE(stepOscillator(s, 21, 100, 1), 1.0f);
        QCOMPARE(s.phase, 0.0f);
        // 32 ms is 32 mod 11 = 10 again.
        QCOMPARE(stepOscillator(s, 53, 100, 1), 1.0f);
        QCOMPARE(s.phase, 0.0f);
        QCOMPARE(s.lastTick, uint64_t(53));
        QVERIFY(jitterUntouched());
    }

    void periodIsTruncatedToWholeMilliseconds() {
        // 15 Hz: 1000 / 15 = 66.67, so N = 66 and the modulus 67.
        OscillatorState s;
        QCOMPARE(stepOscillator(s, 10, 15, 1), 1.0f);
        COMPARE_CLOSE(s.phase, 10.0f / 66);
        QCOMPARE(stepOscillator(s, 10 + 67 + 30, 15, 1), -1.0f); // m 30
        COMPARE_CLOSE(s.phase, 40.0f / 66);
    }

    void jitterScalesAmplitudeAndFrequency() {
        OscillatorState s;
        s.amplitudeJitter = 0.5f;
        s.frequencyJitter = -0.5f; // 100 Hz runs at 50: N = 20
        QCOMPARE(stepOscillator(s, 5, 100, 2), 3.0f);
        COMPARE_CLOSE(s.phase, 0.25f);
        QCOMPARE(stepOscillator(s, 16, 100, 2), -3.0f); // m 11, p 0.8
        COMPARE_CLOSE(s.phase, 0.8f);
    }

    void timeGoingBackwardsWrapsUnsigned() {
        OscillatorState s;
        s.lastTick = 100;
        // 50 - 100 as unsigned 64-bit is 2^64 - 50, which is 10 modulo 11: p = 1.
        QCOMPARE(stepOscillator(s, 50, 100, 1), 1.0f);
        QCOMPARE(s.phase, 0.0f);
        QCOMPARE(s.lastTick, uint64_t(50));
    }

    void frequencyAbove1000HzGivesNaNPhase() {
        OscillatorState s;
        // N = 0: m = 0 and 0 / 0 is NaN. A NaN phase is not <= 0.5, so the output is -A.
        QCOMPARE(stepOscillator(s, 10, 2000, 1.5f), -1.5f);
        QVERIFY(std::isnan(s.phase));
        QCOMPARE(s.lastTick, uint64_t(10));
        // Nothing resets an oscillator: the phase stays NaN at any later frequency.
        QCOMPARE(stepOscillator(s, 17, 100, 1.5f), -1.5f);
        QVERIFY(std::isnan(s.phase));
        QVERIFY(jitterUntouched());
    }

    void frequencyZeroIsAnInfinitePeriod() {
        OscillatorState s;
        s.phase = 0.3f;
        QCOMPARE(stepOscillator(s, 40, 0, 2), 2.0f);
        QCOMPARE(s.phase, 0.3f);
        QCOMPARE(s.lastTick, uint64_t(40));
        s.phase = 0.7f;
        QCOMPARE(stepOscillator(s, 90, 0, 2), -2.0f);
        QCOMPARE(s.phase, 0.7f);
        QCOMPARE(s.lastTick, uint64_t(90));
        QVERIFY(jitterUntouched());
    }

    void periodBeyond64BitsIsInfinite() {
        OscillatorState s;
        QCOMPARE(stepOscillator(s, 1000, 1e-20f, 1), 1.0f);
        QCOMPARE(s.phase, 0.0f);
        QCOMPARE(s.lastTick, uint64_t(1000));
        QVERIFY(jitterUntouched());
    }

    void nonFiniteFrequencyIsAnInfinitePeriod() {
        OscillatorState s;
        s.phase = 0.25f;
        QCOMPARE(stepOscillator(s, 10, std::numeric_limits<float>::quiet_NaN(), 1), 1.0f);
        QCOMPARE(s.phase, 0.25f);
        // 1000 / inf is 0: N = 0 and the phase turns NaN, as for any frequency above 1000 Hz.
        QCOMPARE(stepOscillator(s, 20, std::numeric_limits<float>::infinity(), 1), -1.0f);
        QVERIFY(std::isnan(s.phase));
        QVERIFY(jitterUntouched());
    }

    void nonFiniteAmplitudePasses() {
        OscillatorState s;
        QCOMPARE(stepOscillator(s, 5, 100, std::numeric_limits<float>::infinity()),
                 std::numeric_limits<float>::infinity());
        QVERIFY(std::isnan(stepOscillator(s, 6, 100, std::numeric_limits<float>::quiet_NaN())));
    }

    void periodOfMinusOneMillisecondDoesNotDivideByZero() {
        // -800 Hz: N = -1, N + 1 = 0; the modulo is skipped (m = 0) instead of trapping.
        OscillatorState s;
        s.phase = 0.25f;
        QCOMPARE(stepOscillator(s, 10, -800, 1), 1.0f);
        QCOMPARE(s.phase, 0.25f);
        QCOMPARE(s.lastTick, uint64_t(10));
        QVERIFY(jitterUntouched());
    }

    void jitterBelowMinusOneDrawsAgain() {
        // A frequency jitter of -1.5 turns 100 Hz into -50 Hz (N = -20): the phase runs backwards and
        // could never end a period again, so this step draws new jitter as if one had ended.
        OscillatorState s;
        s.frequencyJitter = -1.5f;
        QCOMPARE(stepOscillator(s, 10, 100, 1), 1.0f);
        COMPARE_CLOSE(s.phase, -0.5f); // m = 10 (modulo 2^64 - 19), 10 / -20
        const std::vector<float> jitter = referenceJitter(2);
        QCOMPARE(s.amplitudeJitter, jitter[0]);
        QCOMPARE(s.frequencyJitter, jitter[1]);
    }

    void jitterOfExactlyMinusOneDrawsAgain() {
        OscillatorState s;
        s.frequencyJitter = -1.0f; // frequency exactly 0
        s.amplitudeJitter = 0.25f;
        QCOMPARE(stepOscillator(s, 10, 100, 4), 5.0f);
        QCOMPARE(s.phase, 0.0f);
        const std::vector<float> jitter = referenceJitter(2);
        QCOMPARE(s.amplitudeJitter, jitter[0]);
        QCOMPARE(s.frequencyJitter, jitter[1]);
    }

    void configuredNegativeFrequencyDrawsNothing() {
        // Only a jitter that stalls a positive frequency draws again; a negative setting is left alone.
        OscillatorState s;
        QCOMPARE(stepOscillator(s, 10, -50, 1), 1.0f);
        COMPARE_CLOSE(s.phase, -0.5f);
        QCOMPARE(s.amplitudeJitter, 0.0f);
        QCOMPARE(s.frequencyJitter, 0.0f);
        QVERIFY(jitterUntouched());
    }

    void drawsOncePerEndedPeriod() {
        OscillatorState s;
        stepOscillator(s, 8, 100, 1);  // p 0.8
        stepOscillator(s, 14, 100, 1); // p 1.4: one draw pair
        const std::vector<float> jitter = referenceJitter(3);
        QCOMPARE(s.amplitudeJitter, jitter[0]);
        QCOMPARE(s.frequencyJitter, jitter[1]);
        QCOMPARE(drawJitter(), jitter[2]);
    }
};

QTEST_APPLESS_MAIN(TestOscillator)
#include "tst_oscillator.moc"
