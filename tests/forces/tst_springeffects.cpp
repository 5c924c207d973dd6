#include "effectsettings.h"
#include "forcesrecord.h"
#include "forcetestsupport.h"
#include "springeffects.h"
#include "telemetry.h"

#include <QtTest>
#include <cmath>
#include <limits>

namespace {
const float Inf = std::numeric_limits<float>::infinity();
const float NaN = std::numeric_limits<float>::quiet_NaN();

SimpleEffectSettings simple(float strength, bool active = true) {
    SimpleEffectSettings s;
    s.active = active;
    s.total_effect_strength = strength;
    return s;
}

// An airflow spring whose curve is built from its start and end airspeeds. With start 500 and end 1000
// (or any end = 2 x start) the curve is x = t, y = 2t - t^2, so attenuation(u) = 2u - u^2 on the grid.
AirflowSpringSettings airflow(float airspeedForce, float thrustForce, float attenuationStrength,
                              float localAoaInfluence, float start, float end, float strength = 100) {
    AirflowSpringSettings s;
    s.active = true;
    s.total_effect_strength = strength;
    s.airspeed_force = airspeedForce;
    s.thrust_force = thrustForce;
    s.attenuation_strength = attenuationStrength;
    s.local_aoa_influence_strength = localAoaInfluence;
    s.setAttenuationAirspeeds(start, end);
    return s;
}

Telemetry flight(float airspeed, float propAirflow = 0, float elevatorFlowAngle = 0) {
    Telemetry t;
    t.setAirspeed(airspeed);
    t.propAirflow = propAirflow;
    t.aoa = elevatorFlowAngle;
    return t;
}

AxisForces runAirflow(float position, const Telemetry &t, const AirflowSpringSettings &s, int axis = 1) {
    AxisForces f;
    applyAirflowSpring(f, position, t, axis, s);
    return f;
}
} // namespace

class TestSpringEffects : public QObject {
    Q_OBJECT

private slots:
    // --- simple spring ---

    void simpleSpringIsLinear_data() {
        QTest::addColumn<float>("position");
        QTest::addColumn<float>("strength");
        QTest::addColumn<float>("force");
        QTest::addColumn<float>("gain");
        QTest::newRow("half right") << 0.5f << 40.0f << -20.0f << 20.0f;
        QTest::newRow("half left") << -0.5f << 40.0f << 20.0f << 20.0f;
        QTest::newRow("centre") << 0.0f << 80.0f << 0.0f << 0.0f;
        // Beyond full travel the simple spring keeps growing.
        QTest::newRow("twice full travel") << 2.0f << 50.0f << -100.0f << 100.0f;
        QTest::newRow("three times left") << -3.0f << 50.0f << 150.0f << 150.0f;
    }
    void simpleSpringIsLinear() {
        QFETCH(float, position);
        QFETCH(float, strength);
        QFETCH(float, force);
        QFETCH(float, gain);
        AxisForces f;
        f.force = 1; // the spring subtracts from what is there
        f.springGain = 99;
        applySimpleSpring(f, position, simple(strength));
        COMPARE_CLOSE(f.force, 1 + force);
        COMPARE_CLOSE(f.springGain, gain); // written, not added
        QCOMPARE(f.periodic, 0.0f);
    }

    void simpleSpringInactiveDoesNothing() {
        AxisForces f;
        f.force = 3;
        f.springGain = 4;
        applySimpleSpring(f, 0.7f, simple(100, false));
        QCOMPARE(f.force, 3.0f);
        QCOMPARE(f.springGain, 4.0f);
    }

    void simpleSpringNonFinitePosition() {
        AxisForces f;
        applySimpleSpring(f, NaN, simple(50));
        QVERIFY(std::isnan(f.force));
        QVERIFY(std::isnan(f.springGain));
        AxisForces g;
        applySimpleSpring(g, Inf, simple(50));
        QCOMPARE(g.force, -Inf);
        QCOMPARE(g.springGain, Inf);
    }

    // --- natural airflow spring ---

    void belowStartAirspeedIsQuadratic() {
        // V 250, Vs 500: q 0.5, K = 0.25 * 100 * 0.5 = 12.5. p 0.5: angle 15, sin 0.2578.
        const AxisForces f = runAirflow(0.5f, flight(250), airflow(100, 0, 50, 0, 500, 1000, 50));
        COMPARE_CLOSE(f.springGain, 6.25f); // 12.5 * 50 / 100
        COMPARE_CLOSE(f.force, -3.2225f);   // 12.5 * 0.2578 / 0.5 * 50 / 100
        QCOMPARE(f.periodic, 0.0f);
    }

    void atStartAirspeedStaysQuadratic() {
        // A curve at y = 1 everywhere tells the branches apart: at V = Vs the blend would give
        // 0.5 * 50 + (50 + 50) * 0.5 = 75, the quadratic branch gives q^2 * F / 2 = 50.
        AirflowSpringSettings s = airflow(100, 0, 50, 0, 500, 1000);
        for (int i = 0; i < AirflowSpringSettings::CurvePoints; ++i)
            s.attenuationCurve[i] = {i * 0.1f, 1.0f};
        const AxisForces at = runAirflow(1, flight(500), s);
        COMPARE_CLOSE(at.springGain, 50.0f);
        COMPARE_CLOSE(at.force, -50.0f);

        // One km/h above, the blend takes over: q^2 = 1.004004, u = 0.002 on the flat curve gives c = 100.
        const AxisForces above = runAirflow(1, flight(501), s);
        COMPARE_CLOSE(above.springGain, 75.1001f); // 50.2002 * 0.5 + (50 + 50) * 0.5
        COMPARE_CLOSE(above.force, -75.1001f);
    }

    void aboveStartAirspeedBlends_data() {
        QTest::addColumn<float>("attenuation");
        QTest::addColumn<float>("k");
        // V 750, Vs 500, Ve 1000, F 100: q^2 F / 2 = 112.5; u 0.5, curve 0.75, c 75, 0.5c + 0.5F = 87.5.
        QTest::newRow("A 0: quadratic only") << 0.0f << 112.5f;
        QTest::newRow("A 50") << 50.0f << 100.0f; // 56.25 + 43.75
        QTest::newRow("A 100: curve only") << 100.0f << 87.5f;
    }
    void aboveStartAirspeedBlends() {
        QFETCH(float, attenuation);
        QFETCH(float, k);
        const AxisForces f = runAirflow(1, flight(750), airflow(100, 0, attenuation, 0, 500, 1000));
        COMPARE_CLOSE(f.springGain, k);
        COMPARE_CLOSE(f.force, -k); // full deflection: sin 30 / sin 30
    }

    void aboveEndAirspeedPropellerTurnsNegative() {
        // Vs 200, Ve 400, V 600, F 10, A 100: u clamps to 1, curve 1, K = (5 + 5) = 10.
        // P = 100 * 0.5 * (400 - 600) / 400 * 50 / 100 = -12.5, not clamped.
        // p 0.5 (15 degrees, sin 0.2578): Ks = 10 * 0.2578 / 0.5 = 5.156, Ps = -12.5 * 0.2578 / 0.5 = -6.445.
        const AxisForces f = runAirflow(0.5f, flight(600, 50), airflow(10, 100, 100, 0, 200, 400));
        COMPARE_CLOSE(f.springGain, -2.5f); // (10 - 12.5) * 100 / 100
        COMPARE_CLOSE(f.force, 1.289f);     // -(5.156 - 6.445)

        const AxisForces noThrust = runAirflow(0.5f, flight(600, 0), airflow(10, 100, 100, 0, 200, 400));
        COMPARE_CLOSE(noThrust.springGain, 10.0f);
        COMPARE_CLOSE(noThrust.force, -5.156f);
    }

    void belowEndAirspeedPropellerStiffens() {
        // V 0, Ve 1000, R 100, T 50: P = 100 * 0.5 * 1000 / 1000 * 50 / 100 = 25; K = 0.
        const AxisForces f = runAirflow(1, flight(0, 50), airflow(100, 100, 100, 0, 500, 1000));
        COMPARE_CLOSE(f.springGain, 25.0f);
        COMPARE_CLOSE(f.force, -25.0f); // Ps = sin 30 * 25 / sin 30
        const AxisForces half = runAirflow(0.5f, flight(0, 50), airflow(100, 100, 100, 0, 500, 1000, 40));
        COMPARE_CLOSE(half.springGain, 10.0f);
        COMPARE_CLOSE(half.force, -5.156f); // 0.2578 * 25 / 0.5 * 40 / 100
    }

    void zeroAirspeedAndThrustGiveNothing() {
        const AxisForces f = runAirflow(0.8f, flight(0, 0), airflow(100, 100, 50, 100, 500, 1000));
        QCOMPARE(f.springGain, 0.0f);
        QCOMPARE(f.force, 0.0f);
    }

    void gainKeepsKUnclampedForceDoesNot() {
        // V 1000, Vs 500, F 1000, A 0: K = 4 * 1000 * 0.5 = 2000; the force uses K limited to 500.
        const AxisForces f = runAirflow(1, flight(1000), airflow(1000, 0, 0, 0, 500, 1000));
        COMPARE_CLOSE(f.springGain, 2000.0f);
        COMPARE_CLOSE(f.force, -500.0f);
        // A negative airspeed force: K = -12.5, the force part clamps to 0, the gain does not.
        const AxisForces g = runAirflow(1, flight(250), airflow(-100, 0, 0, 0, 500, 1000));
        COMPARE_CLOSE(g.springGain, -12.5f);
        QCOMPARE(g.force, 0.0f);
    }

    void deflectionSaturatesAtFullTravel_data() {
        QTest::addColumn<float>("position");
        QTest::addColumn<float>("force");
        // V = Vs = 500, F 100: K = 50.
        QTest::newRow("+1") << 1.0f << -50.0f;
        QTest::newRow("+3") << 3.0f << -50.0f;
        QTest::newRow("+inf") << Inf << -50.0f;
        QTest::newRow("-1") << -1.0f << 50.0f;
        QTest::newRow("-2") << -2.0f << 50.0f;
        QTest::newRow("-inf") << -Inf << 50.0f;
        QTest::newRow("0.5") << 0.5f << -25.78f;
    }
    void deflectionSaturatesAtFullTravel() {
        QFETCH(float, position);
        QFETCH(float, force);
        const AxisForces f = runAirflow(position, flight(500), airflow(100, 0, 50, 0, 500, 1000));
        COMPARE_CLOSE(f.force, force);
        COMPARE_CLOSE(f.springGain, 50.0f);
    }

    void flowAngleShaping_data() {
        QTest::addColumn<float>("flowAngle");
        QTest::addColumn<float>("influence");
        QTest::addColumn<float>("force");
        // Stick centred, V = Vs = 500, F 100: K = 50; force = -50 * sin(theta) / 0.5.
        // a 30: a' = 30 * (1 - 0.5 * cos 60) = 22.5; theta = -22.5, sin -0.3815.
        QTest::newRow("a 30 L 100") << 30.0f << 100.0f << 38.15f;
        QTest::newRow("a -30 L 100") << -30.0f << 100.0f << -38.15f;
        // L 50: theta = -11.25, sin = -0.342 + 0.1684 * 0.875 = -0.19465.
        QTest::newRow("a 30 L 50") << 30.0f << 50.0f << 19.465f;
        QTest::newRow("a 30 L 0") << 30.0f << 0.0f << 0.0f;
        // a 90 is still shaped: cos 180 = -1, a' = 135; theta -135, sin -0.7044.
        QTest::newRow("a 90 L 100") << 90.0f << 100.0f << 70.44f;
        // |a| > 90 is used unchanged: theta = -100, sin -0.9848.
        QTest::newRow("a 100 L 100") << 100.0f << 100.0f << 98.48f;
        QTest::newRow("a -100 L 100") << -100.0f << 100.0f << -98.48f;
    }
    void flowAngleShaping() {
        QFETCH(float, flowAngle);
        QFETCH(float, influence);
        QFETCH(float, force);
        const AxisForces f =
            runAirflow(0, flight(500, 0, flowAngle), airflow(100, 0, 50, influence, 500, 1000));
        COMPARE_CLOSE(f.force, force);
        COMPARE_CLOSE(f.springGain, 50.0f);
    }

    void eachAxisReadsItsOwnFlowAngle() {
        Telemetry t = flight(500);
        t.aileronsFlowAngle = 30;
        t.aoa = -30;
        t.sideslip = 100;
        const AirflowSpringSettings s = airflow(100, 0, 50, 100, 500, 1000);
        COMPARE_CLOSE(runAirflow(0, t, s, 0).force, 38.15f);
        COMPARE_CLOSE(runAirflow(0, t, s, 1).force, -38.15f);
        COMPARE_CLOSE(runAirflow(0, t, s, 2).force, 98.48f);
    }

    void startAirspeedZeroDropsTheQuadraticTerm() {
        // Vs 0, Ve 1000 (k = 0: x = t^2, y = 2t - t^2). V 250: u 0.25 is grid point t = 0.5, curve 0.75,
        // c 75; the quadratic part (V / 0 is infinite) counts as 0: K = 0 * 0.5 + (37.5 + 50) * 0.5.
        const AxisForces f = runAirflow(1, flight(250), airflow(100, 0, 50, 0, 0, 1000));
        COMPARE_CLOSE(f.springGain, 43.75f);
        COMPARE_CLOSE(f.force, -43.75f);
        // And at V = 0 = Vs there is no term at all (0 / 0).
        const AxisForces still = runAirflow(1, flight(0), airflow(100, 0, 50, 0, 0, 1000));
        QCOMPARE(still.springGain, 0.0f);
        QCOMPARE(still.force, 0.0f);
    }

    void endEqualToStartIsFullyAttenuated() {
        // Vs = Ve = 500: the curve is NaN in x and answers its last y (1) at u = 1.
        // V 600, F 100, A 100: K = 0 * ... + (50 + 50) * 1 = 100.
        const AxisForces f = runAirflow(1, flight(600), airflow(100, 0, 100, 0, 500, 500));
        COMPARE_CLOSE(f.springGain, 100.0f);
        COMPARE_CLOSE(f.force, -100.0f);
        // A 50: K = 1.44 * 100 * 0.5 * 0.5 + 100 * 0.5 = 86.
        const AxisForces g = runAirflow(1, flight(600), airflow(100, 0, 50, 0, 500, 500));
        COMPARE_CLOSE(g.springGain, 86.0f);
    }

    void endBelowStartIsFullyAttenuated() {
        // Ve 300 < Vs 500 is not a range; above Vs it behaves as the end of the curve (c = F).
        AirflowSpringSettings s = airflow(100, 0, 100, 0, 500, 1000);
        s.attenuation_end_airspeed = 300;
        const AxisForces f = runAirflow(1, flight(600), s);
        COMPARE_CLOSE(f.springGain, 100.0f);
    }

    void endAirspeedZeroDropsThePropellerTerm() {
        // Ve 0 would divide by zero; the propeller term counts as 0. Vs 0 too, F 0: nothing remains.
        const AxisForces f = runAirflow(1, flight(100, 100), airflow(0, 100, 100, 0, 0, 0));
        QCOMPARE(f.springGain, 0.0f);
        QCOMPARE(f.force, 0.0f);
    }

    void inactiveAirflowDoesNothing() {
        AirflowSpringSettings s = airflow(100, 100, 50, 100, 500, 1000);
        s.active = false;
        AxisForces f;
        f.force = 7;
        f.springGain = 8;
        applyAirflowSpring(f, 1, flight(800, 100, 20), 1, s);
        QCOMPARE(f.force, 7.0f);
        QCOMPARE(f.springGain, 8.0f);
    }

    void airflowWithNonFiniteInputs() {
        const AirflowSpringSettings s = airflow(100, 0, 50, 100, 500, 1000);
        // A NaN position has no angle: the force is NaN, the gain does not depend on it.
        const AxisForces nanPosition = runAirflow(NaN, flight(500), s);
        QVERIFY(std::isnan(nanPosition.force));
        COMPARE_CLOSE(nanPosition.springGain, 50.0f);
        // An infinite airspeed reads as 1000 km/h: q 2, K 200, blend 50 %: 100 + (50 + 50) * 0.5 = 150.
        const AxisForces fast = runAirflow(1, flight(Inf), s);
        COMPARE_CLOSE(fast.springGain, 150.0f);
        COMPARE_CLOSE(fast.force, -150.0f);
        // A NaN airspeed spoils everything it touches, and nothing more.
        const AxisForces nanSpeed = runAirflow(1, flight(NaN), s);
        QVERIFY(std::isnan(nanSpeed.springGain));
        QVERIFY(std::isnan(nanSpeed.force));
        QCOMPARE(nanSpeed.periodic, 0.0f);
        // Infinite or NaN flow angles make the angle NaN; a huge finite one is used unshaped.
        QVERIFY(std::isnan(runAirflow(0, flight(500, 0, Inf), s).force));
        QVERIFY(std::isnan(runAirflow(0, flight(500, 0, NaN), s).force));
        const AxisForces huge = runAirflow(0, flight(500, 0, 1e30f), s);
        QVERIFY(std::isfinite(huge.force));
        QVERIFY(std::fabs(huge.force) <= 100);
        // NaN propeller airflow.
        const AxisForces nanThrust = runAirflow(1, flight(500, NaN), airflow(100, 100, 50, 0, 500, 1000));
        QVERIFY(std::isnan(nanThrust.springGain));
    }

    // --- elevator weight ---

    void elevatorWeightFollowsG_data() {
        QTest::addColumn<float>("g");
        QTest::addColumn<float>("strength");
        QTest::addColumn<float>("force");
        QTest::newRow("2 g at 50") << 2.0f << 50.0f << -10.0f;
        QTest::newRow("1 g at 100") << 1.0f << 100.0f << -10.0f;
        QTest::newRow("-3 g pushes the other way") << -3.0f << 100.0f << 30.0f;
        QTest::newRow("0 g") << 0.0f << 100.0f << 0.0f;
        QTest::newRow("inf g") << Inf << 10.0f << -Inf;
    }
    void elevatorWeightFollowsG() {
        QFETCH(float, g);
        QFETCH(float, strength);
        QFETCH(float, force);
        Telemetry t;
        t.gForce = g;
        AxisForces f;
        f.springGain = 5;
        applyElevatorWeight(f, t, simple(strength));
        COMPARE_CLOSE(f.force, force);
        QCOMPARE(f.springGain, 5.0f);
        QCOMPARE(f.periodic, 0.0f);
    }

    void elevatorWeightInactiveDoesNothing() {
        Telemetry t;
        t.gForce = 4;
        AxisForces f;
        applyElevatorWeight(f, t, simple(100, false));
        QCOMPARE(f.force, 0.0f);
    }
};

QTEST_APPLESS_MAIN(TestSpringEffects)
#include "tst_springeffects.moc"
