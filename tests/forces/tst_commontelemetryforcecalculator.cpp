#include "commontelemetryforcecalculator.h"
#include "effectsprofile.h"
#include "forcetestsupport.h"
#include "jitter.h"

#include <QtTest>
#include <cmath>
#include <limits>

namespace {
const float Inf = std::numeric_limits<float>::infinity();
const float NaN = std::numeric_limits<float>::quiet_NaN();

void setRange(SettingsRange &range, float min, float max, float exp) {
    range.min = min;
    range.max = max;
    range.exp = exp;
}

void shakeAt(GenericSpeedDependantShakerSettings &s, float frequency) {
    s.active = true;
    s.total_effect_strength = 100;
    setRange(s.speed, 0, 1000, 0);
    setRange(s.frequency, frequency, frequency, 0);
}

// Every effect the common calculation evaluates switched on with some strength, on the reset defaults.
AxisEffectsSettings everythingOn() {
    AxisEffectsSettings a;
    a.reset();
    a.simpleSpring.active = true;
    a.simpleSpring.total_effect_strength = 40;
    a.airflowSpring.active = true;
    a.airflowSpring.total_effect_strength = 80;
    a.airflowSpring.airspeed_force = 100;
    a.airflowSpring.thrust_force = 60;
    a.airflowSpring.attenuation_strength = 50;
    a.airflowSpring.local_aoa_influence_strength = 50;
    a.elevatorWeight.active = true;
    a.elevatorWeight.total_effect_strength = 30;
    a.aoaShaker.active = true;
    a.aoaShaker.total_effect_strength = 70;
    a.gearShaker.active = true;
    a.gearShaker.total_effect_strength = 60;
    a.flapsShaker.active = true;
    a.flapsShaker.total_effect_strength = 50;
    a.airbrakesShaker.active = true;
    a.airbrakesShaker.total_effect_strength = 40;
    a.onGroundRollingShaker.active = true;
    a.onGroundRollingShaker.total_effect_strength = 30;
    a.landingJolt.active = true;
    a.landingJolt.total_effect_strength = 90;
    return a;
}

bool allZero(const Forces &f) {
    for (int axis = 0; axis < 3; ++axis) {
        if (f[axis].force != 0 || f[axis].periodic != 0 || f[axis].springGain != 0)
            return false;
    }
    return true;
}
} // namespace

class TestCommonTelemetryForceCalculator : public QObject {
    Q_OBJECT

private slots:
    void init() { resetJitterSource(); }

    void startsWithQuietOscillators() {
        CommonTelemetryForceCalculator c;
        for (int axis = 0; axis < 3; ++axis) {
            QCOMPARE(c.joltState(axis).landedAt, uint64_t(0));
            QCOMPARE(c.joltState(axis).intensity, 0.0f);
            QCOMPARE(c.joltState(axis).oscillator.phase, 0.0f);
            QCOMPARE(c.aoaState(axis).lastTick, uint64_t(0));
            QCOMPARE(c.gearState(axis).phase, 0.0f);
            QCOMPARE(c.flapsState(axis).frequencyJitter, 0.0f);
            QCOMPARE(c.airbrakesState(axis).amplitudeJitter, 0.0f);
            QCOMPARE(c.groundRollingState(axis).lastTick, uint64_t(0));
        }
    }

    void everythingInactiveGivesZero_data() {
        QTest::addColumn<float>("value");
        QTest::addColumn<float>("position");
        QTest::newRow("ordinary") << 37.0f << 0.6f;
        QTest::newRow("negative") << -80.0f << -1.5f;
        QTest::newRow("NaN") << NaN << NaN;
        QTest::newRow("+inf") << Inf << Inf;
        QTest::newRow("-inf") << -Inf << -Inf;
    }
    void everythingInactiveGivesZero() {
        QFETCH(float, value);
        QFETCH(float, position);
        Telemetry t;
        t.verticalSpeed = t.aileronsFlowAngle = t.aoa = t.sideslip = t.rollRate = t.gForce = value;
        t.propAirflow = t.gear = t.airbrake = t.flaps = value;
        t.onGround = true;
        t.setAirspeed(value);

        // Constructed settings, reset settings, and strong settings that are merely switched off.
        AxisEffectsSettings constructed;
        AxisEffectsSettings reset;
        reset.reset();
        AxisEffectsSettings off = everythingOn();
        off.simpleSpring.active = off.airflowSpring.active = off.elevatorWeight.active = false;
        off.aoaShaker.active = off.gearShaker.active = off.flapsShaker.active = false;
        off.airbrakesShaker.active = off.onGroundRollingShaker.active = off.landingJolt.active = false;
        // Settings the common calculation never reads, even when on.
        off.il2Shaking.active = off.directX.active = off.condorShaker.active = off.smartDamper.active = true;
        off.il2Shaking.total_effect_strength = off.directX.total_effect_strength = 100;
        off.directX.force = off.directX.periodic = 100;
        off.condorShaker.total_effect_strength = off.smartDamper.total_effect_strength = 100;
        off.smartDamper.static_dampening = off.smartDamper.dynamic_dampening = 100;

        for (const AxisEffectsSettings *settings : {&constructed, &reset, &off}) {
            CommonTelemetryForceCalculator c;
            c.setLanded(value, value, EffectsSettings{}, 10);
            Forces f;
            for (int64_t now : {int64_t(0), int64_t(10), int64_t(1000)}) {
                for (int axis = 0; axis < 3; ++axis)
                    c.calculate(f, axis, position, t, *settings, now);
            }
            QVERIFY(allZero(f));
            QCOMPARE(c.gearState(0).lastTick, uint64_t(0)); // nothing advanced
        }
    }

    void zeroedTelemetryGivesNoEffect() {
        // The status panel's reset: everything active, but no speed, thrust, g, AoA, extension or ground.
        const AxisEffectsSettings settings = everythingOn();
        CommonTelemetryForceCalculator c;
        const Telemetry t;
        for (int64_t now : {int64_t(5), int64_t(100), int64_t(400)}) {
            for (int axis = 0; axis < 3; ++axis) {
                Forces one;
                c.calculate(one, axis, 0, t, settings, now);
                QCOMPARE(one[axis].force, 0.0f);
                QCOMPARE(one[axis].periodic, 0.0f);
                QCOMPARE(one[axis].springGain, 0.0f);
            }
        }
        // The shakers ran (their oscillators advanced) with zero amplitude.
        QCOMPARE(c.gearState(1).lastTick, uint64_t(400));
        QCOMPARE(c.aoaState(2).lastTick, uint64_t(400));
    }

    void steadyEffectsAddUpAndAirflowGainWins() {
        AxisEffectsSettings s;
        s.simpleSpring.active = true;
        s.simpleSpring.total_effect_strength = 60; // p 0.5: f 30
        s.airflowSpring.active = true;
        s.airflowSpring.total_effect_strength = 100;
        s.airflowSpring.airspeed_force = 100;
        s.airflowSpring.setAttenuationAirspeeds(500, 1000); // V = Vs = 500: K 50, 15 degrees: Ks 25.78
        s.elevatorWeight.active = true;
        s.elevatorWeight.total_effect_strength = 50; // 2 g: 10
        Telemetry t;
        t.setAirspeed(500);
        t.gForce = 2;
        CommonTelemetryForceCalculator c;
        Forces f;
        c.calculate(f, 1, 0.5f, t, s, 0);
        COMPARE_CLOSE(f[1].force, -30 - 25.78f - 10);
        COMPARE_CLOSE(f[1].springGain, 50.0f); // the airflow spring's K, written over the simple spring's 30
        QCOMPARE(f[1].periodic, 0.0f);
        QVERIFY(f[0].force == 0 && f[2].force == 0); // other axes untouched

        // The simple spring alone keeps its own gain.
        s.airflowSpring.active = false;
        Forces g;
        c.calculate(g, 1, 0.5f, t, s, 0);
        COMPARE_CLOSE(g[1].springGain, 30.0f);
        COMPARE_CLOSE(g[1].force, -30 - 10.0f);
    }

    void elevatorWeightActsOnAnyAxis() {
        AxisEffectsSettings s;
        s.elevatorWeight.active = true;
        s.elevatorWeight.total_effect_strength = 100;
        Telemetry t;
        t.gForce = -1;
        CommonTelemetryForceCalculator c;
        Forces f;
        c.calculate(f, 0, 0, t, s, 0);
        c.calculate(f, 2, 0, t, s, 0);
        COMPARE_CLOSE(f[0].force, 10.0f);
        QCOMPARE(f[1].force, 0.0f);
        COMPARE_CLOSE(f[2].force, 10.0f);
    }

    void shakersUseTheirOwnInputsAndStates() {
        // Each shaker at its own frequency so its phase identifies it; V 500 is u 0.5 of 0..1000.
        AxisEffectsSettings s;
        shakeAt(s.gearShaker, 100);           // N 10
        shakeAt(s.flapsShaker, 50);           // N 20
        shakeAt(s.airbrakesShaker, 25);       // N 40
        shakeAt(s.onGroundRollingShaker, 10); // N 100
        Telemetry t;
        t.setAirspeed(500);
        t.gear = 100;    // amplitude 1 * 0.5 * 1 * 2 = 1
        t.flaps = 50;    // 0.5
        t.airbrake = 25; // 0.25
        t.onGround = true;
        CommonTelemetryForceCalculator c;
        Forces f;
        c.calculate(f, 2, 0, t, s, 4);
        // Phases 0.4, 0.2, 0.1, 0.04: all in the first half.
        COMPARE_CLOSE(f[2].periodic, 1 + 0.5f + 0.25f + 1);
        COMPARE_CLOSE(c.gearState(2).phase, 0.4f);
        COMPARE_CLOSE(c.flapsState(2).phase, 0.2f);
        COMPARE_CLOSE(c.airbrakesState(2).phase, 0.1f);
        COMPARE_CLOSE(c.groundRollingState(2).phase, 0.04f);
        QCOMPARE(c.gearState(0).lastTick, uint64_t(0));
        QCOMPARE(c.aoaState(2).lastTick, uint64_t(0)); // inactive

        t.onGround = false; // ground rolling keeps running at amplitude 0
        Forces g;
        c.calculate(g, 2, 0, t, s, 11); // +7 ms: gear 1.1 (wraps to 0.1), flaps 0.55, airbrakes 0.275
        COMPARE_CLOSE(g[2].periodic, 1 - 0.5f + 0.25f + 0);
        COMPARE_CLOSE(c.groundRollingState(2).phase, 0.11f);
    }

    void aoaShakerReadsAoa() {
        AxisEffectsSettings s;
        shakeAt(s.aoaShaker, 100);
        setRange(s.aoaShaker.aoa, 10, 20, 0);
        Telemetry t;
        t.setAirspeed(1000);
        t.aoa = 15; // w 0.5; amplitude 100 * 1 * 0.5 * 2 / 100 = 1
        CommonTelemetryForceCalculator c;
        Forces f;
        c.calculate(f, 0, 0, t, s, 3);
        COMPARE_CLOSE(f[0].periodic, 1.0f);
        COMPARE_CLOSE(c.aoaState(0).phase, 0.3f);
    }

    void drawOrderFollowsTheEvaluationOrder() {
        // All six oscillators end a period in the same call; their jitter shows the order in which they drew:
        // landing jolt, AoA, gear, flaps, airbrakes, ground rolling.
        AxisEffectsSettings s;
        shakeAt(s.landingJolt, 100);
        s.landingJolt.effect_time = 250;
        shakeAt(s.aoaShaker, 100);
        shakeAt(s.gearShaker, 100);
        shakeAt(s.flapsShaker, 100);
        shakeAt(s.airbrakesShaker, 100);
        shakeAt(s.onGroundRollingShaker, 100);
        Telemetry t;
        t.setAirspeed(500);
        CommonTelemetryForceCalculator c;
        Forces f;
        c.calculate(f, 0, 0, t, s, 5);  // every phase 0.5
        c.calculate(f, 0, 0, t, s, 12); // +7 ms: 1.2, every one wraps and draws
        const std::vector<float> jitter = referenceJitter(12);
        const OscillatorState *order[] = {
            &c.joltState(0).oscillator, &c.aoaState(0),       &c.gearState(0),
            &c.flapsState(0),           &c.airbrakesState(0), &c.groundRollingState(0)};
        for (int i = 0; i < 6; ++i) {
            QCOMPARE(order[i]->amplitudeJitter, jitter[size_t(2 * i)]);
            QCOMPARE(order[i]->frequencyJitter, jitter[size_t(2 * i + 1)]);
        }
    }

    void sameSettingsOnTwoAxesJitterDifferently() {
        AxisEffectsSettings s;
        shakeAt(s.gearShaker, 100);
        Telemetry t;
        t.setAirspeed(500);
        t.gear = 100;
        CommonTelemetryForceCalculator c;
        Forces f;
        for (int64_t now : {int64_t(5), int64_t(12)}) {
            c.calculate(f, 0, 0, t, s, now);
            c.calculate(f, 1, 0, t, s, now);
        }
        const std::vector<float> jitter = referenceJitter(4);
        QCOMPARE(c.gearState(0).amplitudeJitter, jitter[0]);
        QCOMPARE(c.gearState(0).frequencyJitter, jitter[1]);
        QCOMPARE(c.gearState(1).amplitudeJitter, jitter[2]);
        QCOMPARE(c.gearState(1).frequencyJitter, jitter[3]);
        QVERIFY(c.gearState(0).amplitudeJitter != c.gearState(1).amplitudeJitter);
        QVERIFY(c.gearState(0).frequencyJitter != c.gearState(1).frequencyJitter);
    }

    void setLandedArmsOnlyActiveJolts() {
        EffectsSettings settings;
        JoltSettings &j = settings.axes[1].landingJolt;
        j.active = true;
        j.total_effect_strength = 100;
        j.effect_time = 250;
        setRange(j.speed, 0, 200, 0);
        setRange(j.frequency, 10, 20, 0);
        settings.axes[2].landingJolt = j;
        settings.axes[2].landingJolt.speed.exp = 100;

        CommonTelemetryForceCalculator c;
        c.setLanded(5, 100, settings, 1000); // u 0.5, s 0.5
        QCOMPARE(c.joltState(0).landedAt, uint64_t(0));
        QCOMPARE(c.joltState(0).intensity, 0.0f);
        QCOMPARE(c.joltState(1).landedAt, uint64_t(1000));
        COMPARE_CLOSE(c.joltState(1).intensity, 0.25f);
        QCOMPARE(c.joltState(2).landedAt, uint64_t(1000));
        COMPARE_CLOSE(c.joltState(2).intensity, 0.0625f); // 0.125 * 0.5

        // The worker passes |vs|; a negative one is taken the same way. Here the same jolt is not restarted.
        c.setLanded(-5, 100, settings, 1000);
        QCOMPARE(c.joltState(1).landedAt, uint64_t(1000));
        c.setLanded(-10, 200, settings, 1001);
        QCOMPARE(c.joltState(1).landedAt, uint64_t(1001));
        COMPARE_CLOSE(c.joltState(1).intensity, 1.0f);

        // The armed jolt then shakes: 125 ms after 1001 the amplitude is 0.5 * 1 * 2 = 1 (20 Hz, N 50).
        Telemetry t;
        t.setAirspeed(200);
        Forces f;
        c.calculate(f, 1, 0, t, settings.axes[1], 1126); // 1126 mod 51 = 4: phase 0.08
        COMPARE_CLOSE(f[1].periodic, 1.0f);
    }

    void axisOutOfRangeIsIgnored() {
        const AxisEffectsSettings settings = everythingOn();
        Telemetry t;
        t.setAirspeed(300);
        t.gear = 100;
        t.gForce = 3;
        CommonTelemetryForceCalculator c;
        Forces f;
        c.calculate(f, -1, 0.5f, t, settings, 10);
        c.calculate(f, 3, 0.5f, t, settings, 10);
        QVERIFY(allZero(f));
        for (int axis = 0; axis < 3; ++axis)
            QCOMPARE(c.gearState(axis).lastTick, uint64_t(0));
    }

    void nonFiniteTelemetryWithEverythingOn() {
        const AxisEffectsSettings settings = everythingOn();
        CommonTelemetryForceCalculator c;
        Telemetry t;
        t.setAirspeed(NaN);
        t.gForce = 1;
        Forces f;
        c.calculate(f, 1, 0.2f, t, settings, 10);
        QVERIFY(std::isnan(f[1].force));
        QVERIFY(std::isnan(f[1].springGain));
        QVERIFY(std::isnan(f[1].periodic));

        Telemetry g;
        g.setAirspeed(Inf); // reads as 1000
        g.gForce = Inf;
        g.gear = Inf;
        Forces h;
        c.calculate(h, 0, 0, g, settings, 20);
        QCOMPARE(h[0].force, -Inf);
        QVERIFY(std::isinf(h[0].periodic));
        QVERIFY(std::isfinite(h[0].springGain));
    }
};

QTEST_APPLESS_MAIN(TestCommonTelemetryForceCalculator)
#include "tst_commontelemetryforcecalculator.moc"
