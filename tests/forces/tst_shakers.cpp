#include "effectsettings.h"
#include "forcesrecord.h"
#include "forcetestsupport.h"
#include "jitter.h"
#include "shakers.h"
#include "telemetry.h"

#include <QtTest>
#include <cmath>
#include <limits>

namespace {
const float NaN = std::numeric_limits<float>::quiet_NaN();

void setRange(SettingsRange &range, float min, float max, float exp) {
    range.min = min;
    range.max = max;
    range.exp = exp;
}

// Speed 0..200 km/h, frequency 10..20 Hz, both straight lines.
GenericSpeedDependantShakerSettings shakerSettings(float strength) {
    GenericSpeedDependantShakerSettings s;
    s.active = true;
    s.total_effect_strength = strength;
    setRange(s.speed, 0, 200, 0);
    setRange(s.frequency, 10, 20, 0);
    return s;
}

AoAShakerSettings aoaShaker(float strength) {
    AoAShakerSettings s;
    s.active = true;
    s.total_effect_strength = strength;
    setRange(s.speed, 0, 200, 0);
    setRange(s.frequency, 10, 20, 0);
    setRange(s.aoa, 10, 15, 0);
    return s;
}

// L 250 ms; speed 0..200 km/h, frequency 10..20 Hz.
JoltSettings jolt(float strength, int64_t length = 250) {
    JoltSettings s;
    s.active = true;
    s.total_effect_strength = strength;
    s.effect_time = length;
    setRange(s.speed, 0, 200, 0);
    setRange(s.frequency, 10, 20, 0);
    return s;
}

Telemetry atSpeed(float airspeed) {
    Telemetry t;
    t.setAirspeed(airspeed);
    return t;
}
} // namespace

class TestShakers : public QObject {
    Q_OBJECT

private slots:
    void init() { resetJitterSource(); }

    // --- AoA shaker ---

    void aoaShakerAmplitudeAndFrequency_data() {
        QTest::addColumn<float>("aoa");
        QTest::addColumn<float>("aoaExp");
        QTest::addColumn<float>("amplitude");
        // V 100 of 0..200: u 0.5, ks 0.5, frequency 15 Hz (N 66). S 100: amplitude = 100 * 0.5 * ka * 2 /
        // 100.
        QTest::newRow("aoa mid-range") << 12.5f << 0.0f << 0.5f;
        QTest::newRow("aoa mid-range exp 100") << 12.5f << 100.0f << 0.125f;
        QTest::newRow("aoa mid-range exp -100") << 12.5f << -100.0f << 0.875f;
        QTest::newRow("aoa above range") << 40.0f << 0.0f << 1.0f;
        QTest::newRow("aoa below range") << 5.0f << 0.0f << 0.0f;
    }
    void aoaShakerAmplitudeAndFrequency() {
        QFETCH(float, aoa);
        QFETCH(float, aoaExp);
        QFETCH(float, amplitude);
        AoAShakerSettings s = aoaShaker(100);
        s.aoa.exp = aoaExp;
        Telemetry t = atSpeed(100);
        t.aoa = aoa;
        AxisForces f;
        f.periodic = 0.25f; // shakers add
        OscillatorState osc;
        applyAoaShaker(f, osc, t, s, 10);
        COMPARE_CLOSE(f.periodic, 0.25f + amplitude); // m 10, phase 10 / 66: first half
        COMPARE_CLOSE(osc.phase, 10.0f / 66);
        QCOMPARE(osc.lastTick, uint64_t(10));
        QCOMPARE(f.force, 0.0f);
        QCOMPARE(f.springGain, 0.0f);
    }

    void aoaShakerSpeedShapeSetsFrequencyAndAmplitude() {
        // speed exp 100 bends only the strength: ks = 0.125; the frequency range is straight, 15 Hz (N 66).
        AoAShakerSettings s = aoaShaker(100);
        s.speed.exp = 100;
        Telemetry t = atSpeed(100);
        t.aoa = 15;
        AxisForces f;
        OscillatorState osc;
        applyAoaShaker(f, osc, t, s, 50);
        COMPARE_CLOSE(f.periodic, -0.25f); // 100 * 0.125 * 1 * 2 / 100, phase 50 / 66 > 0.5
        COMPARE_CLOSE(osc.phase, 50.0f / 66);
    }

    void aoaShakerEmptyAoaRange() {
        AoAShakerSettings s = aoaShaker(100);
        setRange(s.aoa, 10, 10, 0);
        Telemetry t = atSpeed(200);
        OscillatorState osc;
        t.aoa = 11;
        AxisForces above;
        applyAoaShaker(above, osc, t, s, 10); // +inf -> 1; 20 Hz, N 50: phase 0.2
        COMPARE_CLOSE(above.periodic, 2.0f);
        t.aoa = 9;
        AxisForces below;
        applyAoaShaker(below, osc, t, s, 20);
        QCOMPARE(below.periodic, 0.0f);
        t.aoa = 10; // 0/0 stays NaN
        AxisForces on;
        applyAoaShaker(on, osc, t, s, 30);
        QVERIFY(std::isnan(on.periodic));
    }

    void aoaShakerInactiveDoesNothing() {
        AoAShakerSettings s = aoaShaker(100);
        s.active = false;
        Telemetry t = atSpeed(100);
        t.aoa = 14;
        AxisForces f;
        OscillatorState osc;
        applyAoaShaker(f, osc, t, s, 10);
        QCOMPARE(f.periodic, 0.0f);
        QCOMPARE(osc.lastTick, uint64_t(0));
    }

    // --- gear, flaps, airbrakes, ground rolling ---

    void extensionShaker_data() {
        QTest::addColumn<float>("extension");
        QTest::addColumn<float>("airspeed");
        QTest::addColumn<float>("speedExp");
        QTest::addColumn<int>("now");
        QTest::addColumn<float>("periodic");
        QTest::addColumn<float>("phase");
        // gear 50 %, V 100: u 0.5, k 0.5, 15 Hz (N 66); S 80: 0.5 * 0.5 * 0.8 * 2 = 0.4.
        QTest::newRow("half out") << 50.0f << 100.0f << 0.0f << 10 << 0.4f << 10.0f / 66;
        QTest::newRow("half out, second half") << 50.0f << 100.0f << 0.0f << 40 << -0.4f << 40.0f / 66;
        // speed exp 100: k 0.125 (the frequency range stays straight, 15 Hz): 0.5 * 0.125 * 0.8 * 2 = 0.1.
        QTest::newRow("speed exp 100") << 50.0f << 100.0f << 100.0f << 10 << 0.1f << 10.0f / 66;
        // full speed: u 1, 20 Hz (N 50); fully out: 1 * 1 * 0.8 * 2.
        QTest::newRow("full out, full speed") << 100.0f << 300.0f << 0.0f << 20 << 1.6f << 0.4f;
        // Still the oscillator advances when nothing is out.
        QTest::newRow("retracted") << 0.0f << 100.0f << 0.0f << 40 << 0.0f << 40.0f / 66;
        QTest::newRow("standing still") << 100.0f << 0.0f << 0.0f << 30 << 0.0f << 0.3f; // 10 Hz, N 100
    }
    void extensionShaker() {
        QFETCH(float, extension);
        QFETCH(float, airspeed);
        QFETCH(float, speedExp);
        QFETCH(int, now);
        QFETCH(float, periodic);
        QFETCH(float, phase);
        GenericSpeedDependantShakerSettings s = shakerSettings(80);
        s.speed.exp = speedExp;
        AxisForces f;
        OscillatorState osc;
        applyExtensionShaker(f, osc, extension, atSpeed(airspeed), s, now);
        COMPARE_CLOSE(f.periodic, periodic);
        COMPARE_CLOSE(osc.phase, phase);
        QCOMPARE(osc.lastTick, uint64_t(now));
    }

    void extensionShakerEmptySpeedRange() {
        GenericSpeedDependantShakerSettings s = shakerSettings(100);
        setRange(s.speed, 100, 100, 0);
        OscillatorState osc;
        AxisForces above;
        applyExtensionShaker(above, osc, 100, atSpeed(150), s, 10); // u 1, 20 Hz
        COMPARE_CLOSE(above.periodic, 2.0f);
        AxisForces below;
        applyExtensionShaker(below, osc, 100, atSpeed(50), s, 20); // u 0: no amplitude
        QCOMPARE(below.periodic, 0.0f);
        // On the range: u is NaN, and so are frequency (an infinite period) and amplitude.
        AxisForces on;
        const float phaseBefore = osc.phase;
        applyExtensionShaker(on, osc, 100, atSpeed(100), s, 30);
        QVERIFY(std::isnan(on.periodic));
        QCOMPARE(osc.phase, phaseBefore);
        QCOMPARE(osc.lastTick, uint64_t(30));
    }

    void extensionShakerInactiveDoesNothing() {
        GenericSpeedDependantShakerSettings s = shakerSettings(100);
        s.active = false;
        AxisForces f;
        OscillatorState osc;
        applyExtensionShaker(f, osc, 100, atSpeed(100), s, 10);
        QCOMPARE(f.periodic, 0.0f);
        QCOMPARE(osc.lastTick, uint64_t(0));
    }

    void extensionShakerFrequencyLimits() {
        // Above 1000 Hz the phase goes NaN and the output is -A; at 0 Hz nothing advances.
        GenericSpeedDependantShakerSettings fast = shakerSettings(100);
        setRange(fast.frequency, 2000, 2000, 0);
        OscillatorState osc;
        AxisForces f;
        applyExtensionShaker(f, osc, 100, atSpeed(200), fast, 10);
        COMPARE_CLOSE(f.periodic, -2.0f);
        QVERIFY(std::isnan(osc.phase));

        GenericSpeedDependantShakerSettings still = shakerSettings(100);
        setRange(still.frequency, 0, 0, 0);
        OscillatorState osc2;
        AxisForces g;
        applyExtensionShaker(g, osc2, 100, atSpeed(200), still, 10);
        COMPARE_CLOSE(g.periodic, 2.0f);
        QCOMPARE(osc2.phase, 0.0f);
        QCOMPARE(osc2.lastTick, uint64_t(10));
    }

    // --- landing jolt ---

    void armingAtFiveMetresPerSecond() {
        // 5 m/s at speed.max, shape 0: k = 1 scaled by 5 / 10.
        JoltState j;
        armLandingJolt(j, 5, 200, jolt(100), 1000);
        COMPARE_CLOSE(j.intensity, 0.5f);
        QCOMPARE(j.landedAt, uint64_t(1000));
    }

    void armingScalesWithVerticalSpeed_data() {
        QTest::addColumn<float>("verticalSpeed");
        QTest::addColumn<float>("airspeed");
        QTest::addColumn<float>("speedExp");
        QTest::addColumn<float>("intensity");
        QTest::newRow("5 m/s") << 5.0f << 200.0f << 0.0f << 0.5f;
        QTest::newRow("-5 m/s counts as 5") << -5.0f << 200.0f << 0.0f << 0.5f;
        QTest::newRow("10 m/s") << 10.0f << 200.0f << 0.0f << 1.0f;
        QTest::newRow("20 m/s unscaled") << 20.0f << 200.0f << 0.0f << 1.0f;
        QTest::newRow("2 m/s at half speed") << 2.0f << 100.0f << 0.0f << 0.1f;
        QTest::newRow("20 m/s at half speed, exp 100") << 20.0f << 100.0f << 100.0f << 0.125f;
        QTest::newRow("above speed.max") << 20.0f << 900.0f << 0.0f << 1.0f;
    }
    void armingScalesWithVerticalSpeed() {
        QFETCH(float, verticalSpeed);
        QFETCH(float, airspeed);
        QFETCH(float, speedExp);
        QFETCH(float, intensity);
        JoltSettings s = jolt(100);
        s.speed.exp = speedExp;
        JoltState j;
        armLandingJolt(j, verticalSpeed, airspeed, s, 1000);
        COMPARE_CLOSE(j.intensity, intensity);
        QCOMPARE(j.landedAt, uint64_t(1000));
    }

    void noArmingWithoutStrengthOfTouchdown() {
        JoltState j;
        armLandingJolt(j, 0, 200, jolt(100), 1000); // k 0 is not more than 0
        QCOMPARE(j.intensity, 0.0f);
        QCOMPARE(j.landedAt, uint64_t(0));
        armLandingJolt(j, 5, 0, jolt(100), 1000); // standing still: u 0
        QCOMPARE(j.landedAt, uint64_t(0));
        armLandingJolt(j, 5, NaN, jolt(100), 1000); // NaN is never more than anything
        QCOMPARE(j.landedAt, uint64_t(0));
        JoltSettings off = jolt(100);
        off.active = false;
        armLandingJolt(j, 20, 200, off, 1000);
        QCOMPARE(j.landedAt, uint64_t(0));
        QCOMPARE(j.intensity, 0.0f);
    }

    void sameMillisecondDoesNotRestart() {
        JoltState j;
        const JoltSettings s = jolt(100);
        armLandingJolt(j, 5, 200, s, 1000);
        // Same inputs, same millisecond: remaining = 1 * 0.5 equals k, so nothing changes.
        armLandingJolt(j, 5, 200, s, 1000);
        COMPARE_CLOSE(j.intensity, 0.5f);
        QCOMPARE(j.landedAt, uint64_t(1000));
        // One millisecond later the remaining part (0.5 * 249 / 250) is below k: it restarts.
        armLandingJolt(j, 5, 200, s, 1001);
        COMPARE_CLOSE(j.intensity, 0.5f);
        QCOMPARE(j.landedAt, uint64_t(1001));
    }

    void weakerTouchdownDoesNotCutAStrongerJolt() {
        JoltState j;
        const JoltSettings s = jolt(100);
        armLandingJolt(j, 10, 200, s, 1000); // intensity 1
        armLandingJolt(j, 5, 200, s, 1100);  // remaining 0.6 > 0.5
        COMPARE_CLOSE(j.intensity, 1.0f);
        QCOMPARE(j.landedAt, uint64_t(1000));
        armLandingJolt(j, 5, 200, s, 1150); // remaining 0.4 < 0.5
        COMPARE_CLOSE(j.intensity, 0.5f);
        QCOMPARE(j.landedAt, uint64_t(1150));
        armLandingJolt(j, 20, 200, s, 1151); // a harder one always takes over
        COMPARE_CLOSE(j.intensity, 1.0f);
        QCOMPARE(j.landedAt, uint64_t(1151));
    }

    void armingWithoutLengthAlwaysRestarts() {
        JoltState j;
        const JoltSettings s = jolt(100, 0);
        armLandingJolt(j, 10, 200, s, 1000);
        armLandingJolt(j, 1, 200, s, 1000); // remaining counts as 0
        COMPARE_CLOSE(j.intensity, 0.1f);
        QCOMPARE(j.landedAt, uint64_t(1000));
        armLandingJolt(j, 1, 200, jolt(100, -5), 1003);
        QCOMPARE(j.landedAt, uint64_t(1003));
    }

    void joltFadesOverItsLength_data() {
        QTest::addColumn<int>("now");
        QTest::addColumn<float>("periodic");
        QTest::addColumn<float>("phase");
        // Landed at 1000 with intensity 0.5; V 200: 20 Hz, N 50, modulus 51; fresh oscillator (lastTick 0).
        // 0 ms after: r = 0 (the silent first millisecond); 1000 mod 51 = 31, phase 0.62.
        QTest::newRow("0 ms") << 1000 << 0.0f << 0.62f;
        // 125 ms: r 0.5, amplitude 0.25 * S/100 * 2 = 0.5; 1125 mod 51 = 3, phase 0.06.
        QTest::newRow("125 ms") << 1125 << 0.5f << 0.06f;
        // 200 ms: r 0.2, amplitude 0.2; 1200 mod 51 = 27, phase 0.54: second half.
        QTest::newRow("200 ms") << 1200 << -0.2f << 0.54f;
        // 249 ms: r 1/250, amplitude 0.004; 1249 mod 51 = 25, phase exactly 0.5.
        QTest::newRow("249 ms") << 1249 << 0.004f << 0.5f;
    }
    void joltFadesOverItsLength() {
        QFETCH(int, now);
        QFETCH(float, periodic);
        QFETCH(float, phase);
        const JoltSettings s = jolt(100);
        JoltState j;
        armLandingJolt(j, 5, 200, s, 1000);
        AxisForces f;
        applyLandingJolt(f, j, atSpeed(200), s, now);
        COMPARE_CLOSE(f.periodic, periodic);
        COMPARE_CLOSE(j.oscillator.phase, phase);
        QCOMPARE(j.oscillator.lastTick, uint64_t(now));
    }

    void joltEndsAfterItsLength() {
        const JoltSettings s = jolt(100);
        JoltState j;
        armLandingJolt(j, 5, 200, s, 1000);
        AxisForces f;
        applyLandingJolt(f, j, atSpeed(200), s, 1250); // L <= e: the oscillator is not advanced
        QCOMPARE(f.periodic, 0.0f);
        QCOMPARE(j.oscillator.lastTick, uint64_t(0));
        QCOMPARE(j.oscillator.phase, 0.0f);
        applyLandingJolt(f, j, atSpeed(200), s, 5000);
        QCOMPARE(j.oscillator.lastTick, uint64_t(0));
        // Before the landing time (unsigned difference wraps): nothing either.
        applyLandingJolt(f, j, atSpeed(200), s, 900);
        QCOMPARE(f.periodic, 0.0f);
        QCOMPARE(j.oscillator.lastTick, uint64_t(0));
    }

    void joltStrengthScalesTheAmplitude() {
        // S 50: the 125 ms amplitude is 0.25 * 0.5 * 2 = 0.25.
        const JoltSettings s = jolt(50);
        JoltState j;
        armLandingJolt(j, 5, 200, s, 1000);
        AxisForces f;
        applyLandingJolt(f, j, atSpeed(200), s, 1125);
        COMPARE_CLOSE(f.periodic, 0.25f);
    }

    void joltAmplitudeIsLimitedToFullIntensity() {
        // An intensity above 1 (set by hand) is limited: clamp(r * intensity, 0, 1).
        const JoltSettings s = jolt(100);
        JoltState j;
        j.landedAt = 1000;
        j.intensity = 8;
        AxisForces f;
        applyLandingJolt(f, j, atSpeed(200), s, 1125); // r 0.5 * 8 = 4 -> 1; phase 0.06
        COMPARE_CLOSE(f.periodic, 2.0f);
    }

    void joltWithoutLengthDoesNothing_data() {
        QTest::addColumn<int>("length");
        QTest::newRow("0 ms") << 0;
        QTest::newRow("-5 ms") << -5;
    }
    void joltWithoutLengthDoesNothing() {
        QFETCH(int, length);
        const JoltSettings s = jolt(100, length);
        JoltState j;
        j.landedAt = 1000;
        j.intensity = 1;
        AxisForces f;
        applyLandingJolt(f, j, atSpeed(200), s, 1001);
        QCOMPARE(f.periodic, 0.0f);
        QCOMPARE(j.oscillator.lastTick, uint64_t(0));
    }

    void joltInactiveDoesNothing() {
        JoltSettings s = jolt(100);
        JoltState j;
        armLandingJolt(j, 5, 200, s, 1000);
        s.active = false;
        AxisForces f;
        applyLandingJolt(f, j, atSpeed(200), s, 1125);
        QCOMPARE(f.periodic, 0.0f);
        QCOMPARE(j.oscillator.lastTick, uint64_t(0));
    }

    void joltBeforeAnyLandingIsSilent() {
        // A fresh jolt (landed at 0, intensity 0) within its first L ms runs at amplitude 0.
        const JoltSettings s = jolt(100);
        JoltState j;
        AxisForces f;
        applyLandingJolt(f, j, atSpeed(200), s, 100);
        QCOMPARE(f.periodic, 0.0f);
        QCOMPARE(j.oscillator.lastTick, uint64_t(100));
    }
};

QTEST_APPLESS_MAIN(TestShakers)
#include "tst_shakers.moc"
