#include "commontelemetryforcecalculator.h"
#include "effectsprofile.h"
#include "forcepipeline.h"
#include "forcetestsupport.h"
#include "jitter.h"
#include "sourceforcecalculators.h"

#include <QtTest>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace {
const float Inf = std::numeric_limits<float>::infinity();
const float NaN = std::numeric_limits<float>::quiet_NaN();
const float NoOffsets[3] = {0, 0, 0};

struct HookCall {
    int axis;
    int64_t now;
    float forceSeen;
};

// Records every call; optionally pushes the force further so the clamp after the hook shows.
class RecordingCalculator : public TelemetryForceCalculator {
public:
    std::vector<HookCall> calls;
    float push = 0;

    void calculate(Forces &forces, int axis, int64_t now) override {
        calls.push_back({axis, now, forces[axis].force});
        forces[axis].force += push;
    }
};

struct Hooks {
    RecordingCalculator calculators[Telemetry::SourceCount];
    TelemetryForceCalculator *table[Telemetry::SourceCount];
    Hooks() {
        for (int i = 0; i < Telemetry::SourceCount; ++i)
            table[i] = &calculators[i];
    }
    int totalCalls() const {
        int n = 0;
        for (const RecordingCalculator &c : calculators)
            n += int(c.calls.size());
        return n;
    }
};

EffectsSettings simpleSprings(float strength) {
    EffectsSettings s;
    for (AxisEffectsSettings &axis : s.axes) {
        axis.simpleSpring.active = true;
        axis.simpleSpring.total_effect_strength = strength;
    }
    return s;
}

Forces forcesOf(float force, float periodic, float springGain) {
    Forces f;
    for (int axis = 0; axis < 3; ++axis) {
        f[axis].force = force * (axis + 1);
        f[axis].periodic = periodic * (axis + 1);
        f[axis].springGain = springGain * (axis + 1);
    }
    return f;
}

bool sameBits(const Forces &a, const Forces &b) {
    return std::memcmp(&a, &b, sizeof(Forces)) == 0;
}
} // namespace

namespace {
quint32 bitsOf(float value) {
    quint32 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}
} // namespace

class TestForcePipeline : public QObject {
    Q_OBJECT

private slots:
    void init() { resetJitterSource(); }

    // --- clamp ---

    void clampForce_data() {
        QTest::addColumn<float>("value");
        QTest::addColumn<float>("expected");
        QTest::newRow("250") << 250.0f << 100.0f;
        QTest::newRow("-250") << -250.0f << -100.0f;
        QTest::newRow("100") << 100.0f << 100.0f;
        QTest::newRow("-100") << -100.0f << -100.0f;
        QTest::newRow("100.5") << 100.5f << 100.0f;
        QTest::newRow("42.5") << 42.5f << 42.5f;
        QTest::newRow("-99.9") << -99.9f << -99.9f;
        QTest::newRow("0") << 0.0f << 0.0f;
        QTest::newRow("+inf") << Inf << 100.0f;
        QTest::newRow("-inf") << -Inf << -100.0f;
        QTest::newRow("NaN passes") << NaN << NaN;
    }
    void clampForce() {
        QFETCH(float, value);
        QFETCH(float, expected);
        const float clamped = ::clampForce(value);
        if (std::isnan(expected))
            QVERIFY(std::isnan(clamped));
        else
            QCOMPARE(clamped, expected);
    }

    // --- all axes ---

    void forceIsClampedPeriodicAndGainAreNot() {
        EffectsSettings s = simpleSprings(100);
        // Every shaker of axis 2 far too strong: gear fully out at full speed gives 1 * 1 * 100 * 2 = 200.
        GenericSpeedDependantShakerSettings &gear = s.axes[2].gearShaker;
        gear.active = true;
        gear.total_effect_strength = 10000;
        gear.speed.max = 100;
        gear.frequency.min = gear.frequency.max = 10;
        Telemetry t;
        t.setAirspeed(300);
        t.gear = 100;
        CommonTelemetryForceCalculator common;
        const float positions[3] = {2.5f, -2.5f, 0.5f};
        const Forces f = calculateAllAxes(positions, NoOffsets, t, Telemetry::TELEMETRY_SOURCE_NONE, s,
                                          common, nullptr, 20);
        QCOMPARE(f[0].force, -100.0f); // -250
        COMPARE_CLOSE(f[0].springGain, 250.0f);
        QCOMPARE(f[1].force, 100.0f); // +250
        COMPARE_CLOSE(f[1].springGain, 250.0f);
        COMPARE_CLOSE(f[2].force, -50.0f);
        COMPARE_CLOSE(f[2].periodic, 200.0f); // 10 Hz, phase 0.2
        QCOMPARE(f[0].periodic, 0.0f);
    }

    void positionOffsetsAreAdded() {
        const EffectsSettings s = simpleSprings(100);
        CommonTelemetryForceCalculator common;
        const float positions[3] = {0.25f, 0.5f, -0.5f};
        const float offsets[3] = {0.25f, -0.75f, 0};
        const Forces f = calculateAllAxes(positions, offsets, Telemetry{}, Telemetry::TELEMETRY_SOURCE_NONE,
                                          s, common, nullptr, 0);
        COMPARE_CLOSE(f[0].force, -50.0f);
        COMPARE_CLOSE(f[1].force, 25.0f);
        COMPARE_CLOSE(f[2].force, 50.0f);
    }

    void axesUseTheirOwnSettings() {
        EffectsSettings s;
        s.axes[1].simpleSpring.active = true;
        s.axes[1].simpleSpring.total_effect_strength = 20;
        CommonTelemetryForceCalculator common;
        const float positions[3] = {1, 1, 1};
        const Forces f = calculateAllAxes(positions, NoOffsets, Telemetry{}, Telemetry::TELEMETRY_SOURCE_NONE,
                                          s, common, nullptr, 0);
        QCOMPARE(f[0].force, 0.0f);
        COMPARE_CLOSE(f[1].force, -20.0f);
        QCOMPARE(f[2].force, 0.0f);
    }

    void hookOfTheCurrentSourceRunsAfterTheCommonCalculation_data() {
        QTest::addColumn<int>("source");
        QTest::newRow("MSFS") << 1;
        QTest::newRow("DCS") << 2;
        QTest::newRow("IL-2") << 3;
        QTest::newRow("War Thunder") << 4;
        QTest::newRow("Condor 2") << 5;
        QTest::newRow("X-Plane") << 6;
    }
    void hookOfTheCurrentSourceRunsAfterTheCommonCalculation() {
        QFETCH(int, source);
        Hooks hooks;
        hooks.calculators[source].push = 500;
        const EffectsSettings s = simpleSprings(100);
        CommonTelemetryForceCalculator common;
        const float positions[3] = {2.5f, 0.5f, -0.25f};
        const Forces f = calculateAllAxes(positions, NoOffsets, Telemetry{}, Telemetry::Source(source), s,
                                          common, hooks.table, 1234);
        const std::vector<HookCall> &calls = hooks.calculators[source].calls;
        QCOMPARE(int(calls.size()), 3);
        QCOMPARE(hooks.totalCalls(), 3);
        const float unclamped[3] = {-250, -50, 25};
        for (int axis = 0; axis < 3; ++axis) {
            QCOMPARE(calls[size_t(axis)].axis, axis);
            QCOMPARE(calls[size_t(axis)].now, int64_t(1234));
            // The hook sees the common result before the clamp...
            COMPARE_CLOSE(calls[size_t(axis)].forceSeen, unclamped[axis]);
            // ...and the clamp applies to what the hook leaves.
            QCOMPARE(f[axis].force, ::clampForce(unclamped[axis] + 500));
        }
    }

    void noHookForSourceNoneOrUnknownSources_data() {
        QTest::addColumn<int>("source");
        QTest::newRow("none") << 0;
        QTest::newRow("7") << 7;
        QTest::newRow("-1") << -1;
        QTest::newRow("1000") << 1000;
    }
    void noHookForSourceNoneOrUnknownSources() {
        QFETCH(int, source);
        Hooks hooks;
        const EffectsSettings s = simpleSprings(100);
        CommonTelemetryForceCalculator common;
        const float positions[3] = {0.5f, 0.5f, 0.5f};
        const Forces f = calculateAllAxes(positions, NoOffsets, Telemetry{}, Telemetry::Source(source), s,
                                          common, hooks.table, 10);
        QCOMPARE(hooks.totalCalls(), 0);
        COMPARE_CLOSE(f[1].force, -50.0f);
    }

    void missingHooksAreSkipped() {
        const EffectsSettings s = simpleSprings(100);
        CommonTelemetryForceCalculator common;
        const float positions[3] = {0.5f, 0.5f, 0.5f};
        TelemetryForceCalculator *none[Telemetry::SourceCount] = {};
        const Forces f = calculateAllAxes(positions, NoOffsets, Telemetry{}, Telemetry::TELEMETRY_SOURCE_DCS,
                                          s, common, none, 10);
        COMPARE_CLOSE(f[2].force, -50.0f);
        const Forces g = calculateAllAxes(positions, NoOffsets, Telemetry{}, Telemetry::TELEMETRY_SOURCE_DCS,
                                          s, common, nullptr, 10);
        COMPARE_CLOSE(g[2].force, -50.0f);
    }

    void sourceHooksLeaveTheForcesAlone() {
        MSFSTelemetryForceCalculator msfs;
        DCSTelemetryForceCalculator dcs;
        ShturmovikTelemetryForceCalculator il2;
        WarthunderForceCalculator warThunder;
        CondorTelemetryForceCalculator condor;
        TelemetryForceCalculator *hooks[] = {&msfs, &dcs, &il2, &warThunder, &condor};
        const Forces before = forcesOf(12.5f, -3, 7);
        for (TelemetryForceCalculator *hook : hooks) {
            Forces f = before;
            for (int axis = 0; axis < 3; ++axis)
                hook->calculate(f, axis, 500);
            QVERIFY(sameBits(f, before));
        }
    }

    void everythingInactiveGivesZeroWhateverTheTelemetry_data() {
        QTest::addColumn<float>("value");
        QTest::newRow("ordinary") << 55.0f;
        QTest::newRow("NaN") << NaN;
        QTest::newRow("+inf") << Inf;
        QTest::newRow("-inf") << -Inf;
    }
    void everythingInactiveGivesZeroWhateverTheTelemetry() {
        QFETCH(float, value);
        Telemetry t;
        t.verticalSpeed = t.aileronsFlowAngle = t.aoa = t.sideslip = t.gForce = t.propAirflow = value;
        t.gear = t.airbrake = t.flaps = value;
        t.onGround = true;
        t.setAirspeed(value);
        EffectsSettings s;
        s.reset();
        MSFSTelemetryForceCalculator msfs;
        DCSTelemetryForceCalculator dcs;
        ShturmovikTelemetryForceCalculator il2;
        WarthunderForceCalculator warThunder;
        CondorTelemetryForceCalculator condor;
        XPlaneTelemetryForceCalculator xplane;
        TelemetryForceCalculator *hooks[Telemetry::SourceCount] = {nullptr, &msfs,       &dcs,   &il2,
                                                                   &warThunder, &condor, &xplane};
        CommonTelemetryForceCalculator common;
        const float positions[3] = {value, 0.5f, -1};
        for (int source = 0; source < Telemetry::SourceCount; ++source) {
            const Forces f = calculateAllAxes(positions, NoOffsets, t, Telemetry::Source(source), s, common,
                                              hooks, 100 * source);
            QVERIFY(sameBits(f, Forces{}));
        }
    }

    void nonFiniteForcesAreClampedOrPassed() {
        EffectsSettings s = simpleSprings(50);
        CommonTelemetryForceCalculator common;
        const float positions[3] = {NaN, -Inf, Inf};
        const Forces f = calculateAllAxes(positions, NoOffsets, Telemetry{}, Telemetry::TELEMETRY_SOURCE_NONE,
                                          s, common, nullptr, 0);
        QVERIFY(std::isnan(f[0].force));
        QVERIFY(std::isnan(f[0].springGain));
        QCOMPARE(f[1].force, 100.0f);
        QCOMPARE(f[1].springGain, Inf);
        QCOMPARE(f[2].force, -100.0f);
        QCOMPARE(f[2].springGain, Inf);
    }

    // --- settings fade ---

    void fadeAfterASuddenChange_data() {
        QTest::addColumn<int>("elapsed");
        QTest::addColumn<float>("factor");
        QTest::newRow("0 ms") << 0 << 1.0f;
        QTest::newRow("500 ms") << 500 << 0.75f;
        QTest::newRow("1000 ms") << 1000 << 0.5f;
        QTest::newRow("1500 ms") << 1500 << 0.25f;
        QTest::newRow("1990 ms") << 1990 << 0.005f;
    }
    void fadeAfterASuddenChange() {
        QFETCH(int, elapsed);
        QFETCH(float, factor);
        const Forces computed = forcesOf(40, -8, 20);
        const Forces f = applySettingsTransition(computed, elapsed, Forces{});
        for (int axis = 0; axis < 3; ++axis) {
            COMPARE_CLOSE(f[axis].force, computed[axis].force * factor);
            COMPARE_CLOSE(f[axis].periodic, computed[axis].periodic * factor);
            COMPARE_CLOSE(f[axis].springGain, computed[axis].springGain * factor);
        }
    }

    // t = e / 2000 and the blend in 32-bit float, at odd milliseconds where double arithmetic narrowed at the
    // end gives another last bit; the expected bit patterns were worked out apart from this code.
    void fadeRoundsInFloatAtOddMilliseconds_data() {
        QTest::addColumn<int>("elapsed");
        QTest::addColumn<float>("computed");
        QTest::addColumn<float>("base");
        QTest::addColumn<quint32>("expected");
        QTest::newRow("1 ms") << 1 << 3.0f << 0.0f << quint32(0x403fe76c);          // double: 0x403fe76d
        QTest::newRow("333 ms") << 333 << 100.0f << 0.0f << quint32(0x42a6b334);    // double: 0x42a6b333
        QTest::newRow("777 ms") << 777 << 40.0f << 0.0f << quint32(0x41c3ae15);     // double: 0x41c3ae14
        QTest::newRow("1001 ms") << 1001 << -8.0f << 0.0f << quint32(0xc07fbe76);   // double: 0xc07fbe77
        QTest::newRow("1333 ms") << 1333 << 37.5f << 0.0f << quint32(0x4148199b);   // double: 0x4148199a
        QTest::newRow("1999 ms") << 1999 << 20.0f << 0.0f << quint32(0x3c23d900);   // double: 0x3c23d70a
        QTest::newRow("1333 ms to 100") << 1333 << 40.0f << 100.0f << quint32(0x429ffae1);
        QTest::newRow("777 ms to 3") << 777 << -8.0f << 3.0f << quint32(0xc06e7efa);
    }
    void fadeRoundsInFloatAtOddMilliseconds() {
        QFETCH(int, elapsed);
        QFETCH(float, computed);
        QFETCH(float, base);
        QFETCH(quint32, expected);
        Forces now, target;
        for (int axis = 0; axis < 3; ++axis) {
            now[axis] = {computed, computed, computed};
            target[axis] = {base, base, base};
        }
        const Forces f = applySettingsTransition(now, elapsed, target);
        for (int axis = 0; axis < 3; ++axis) {
            QCOMPARE(bitsOf(f[axis].force), expected);
            QCOMPARE(bitsOf(f[axis].periodic), expected);
            QCOMPARE(bitsOf(f[axis].springGain), expected);
        }
    }

    void fadeEndsWhole() {
        // At 2000 ms the factor reaches 1 and at 2001 the fade is over: the forces snap back to full.
        const Forces computed = forcesOf(40, -8, 20);
        for (int64_t elapsed :
             {int64_t(2000), int64_t(2001), int64_t(60000), std::numeric_limits<int64_t>::max()})
            QVERIFY(sameBits(applySettingsTransition(computed, elapsed, Forces{}), computed));
        // A clock before its start does not fade either.
        for (int64_t elapsed : {int64_t(-1), int64_t(-5000), std::numeric_limits<int64_t>::min()})
            QVERIFY(sameBits(applySettingsTransition(computed, elapsed, Forces{}), computed));
    }

    void fadeBlendsTowardsTheBase() {
        const Forces computed = forcesOf(40, -8, 20);
        const Forces base = forcesOf(100, 100, 100);
        const Forces f = applySettingsTransition(computed, 1000, base);
        COMPARE_CLOSE(f[0].force, 70.0f);       // (40 + 100) / 2
        COMPARE_CLOSE(f[1].periodic, 92.0f);    // (-16 + 200) / 2
        COMPARE_CLOSE(f[2].springGain, 180.0f); // (60 + 300) / 2
    }

    void fadeKeepsNaN() {
        Forces computed;
        computed[1].force = NaN;
        const Forces f = applySettingsTransition(computed, 1000, Forces{});
        QVERIFY(std::isnan(f[1].force));
        QCOMPARE(f[1].periodic, 0.0f);
    }

    // --- device-side values ---

    void directXValues_data() {
        QTest::addColumn<bool>("active");
        QTest::addColumn<float>("strength");
        QTest::addColumn<float>("trimmer");
        QTest::addColumn<float>("force");
        QTest::addColumn<float>("periodic");
        QTest::addColumn<float>("trimmerValue");
        QTest::addColumn<float>("forceValue");
        QTest::addColumn<float>("periodicValue");
        QTest::newRow("half strength") << true << 50.0f << 50.0f << 80.0f << 40.0f << 0.5f << 0.4f << 0.2f;
        // The trimmer is not scaled by the strength.
        QTest::newRow("zero strength") << true << 0.0f << -30.0f << 80.0f << 40.0f << -0.3f << 0.0f << 0.0f;
        QTest::newRow("full") << true << 100.0f << 100.0f << -100.0f << 100.0f << 1.0f << -1.0f << 1.0f;
        QTest::newRow("inactive") << false << 100.0f << 100.0f << 100.0f << 100.0f << 0.0f << 0.0f << 0.0f;
    }
    void directXValues() {
        QFETCH(bool, active);
        QFETCH(float, strength);
        QFETCH(float, trimmer);
        QFETCH(float, force);
        QFETCH(float, periodic);
        QFETCH(float, trimmerValue);
        QFETCH(float, forceValue);
        QFETCH(float, periodicValue);
        DirectXSettings s;
        s.active = active;
        s.total_effect_strength = strength;
        s.trimmer = trimmer;
        s.force = force;
        s.periodic = periodic;
        const DirectXAxisValues v = ::directXValues(s);
        QCOMPARE(v.trimmer, trimmerValue);
        QCOMPARE(v.force, forceValue);
        QCOMPARE(v.periodic, periodicValue);
    }

    void directXRoundsLikeTheDevice() {
        // One float division by 100 at a time, never in double: 33 * 70 / 100 / 100 in float is not the
        // double 0.231 narrowed.
        DirectXSettings s;
        s.active = true;
        s.total_effect_strength = 70;
        s.trimmer = 33;
        s.force = 33;
        s.periodic = 7;
        const DirectXAxisValues v = ::directXValues(s);
        float expected = 33.0f * 70.0f;
        expected /= 100.0f;
        expected /= 100.0f;
        QCOMPARE(qint32(std::memcmp(&v.force, &expected, sizeof(float))), 0);
        float trimmer = 33.0f;
        trimmer /= 100.0f;
        QCOMPARE(qint32(std::memcmp(&v.trimmer, &trimmer, sizeof(float))), 0);
    }

    // Rows where one float division at a time and the same sum in double narrowed at the end differ in the
    // last bit; the expected bit patterns were worked out apart from this code.
    void directXRoundsInFloatWhereDoubleDiffers_data() {
        QTest::addColumn<float>("strength");
        QTest::addColumn<float>("force");
        QTest::addColumn<quint32>("expected");
        QTest::newRow("90 x 33") << 90.0f << 33.0f << quint32(0x3e981063);  // double: 0x3e981062
        QTest::newRow("1 x 3") << 1.0f << 3.0f << quint32(0x399d4951);      // double: 0x399d4952
        QTest::newRow("3 x 1") << 3.0f << 1.0f << quint32(0x399d4951);      // double: 0x399d4952
        QTest::newRow("17 x 53") << 17.0f << 53.0f << quint32(0x3db8865a);  // double: 0x3db88659
        QTest::newRow("70 x 33") << 70.0f << 33.0f << quint32(0x3e6c8b44);  // the same either way
    }
    void directXRoundsInFloatWhereDoubleDiffers() {
        QFETCH(float, strength);
        QFETCH(float, force);
        QFETCH(quint32, expected);
        DirectXSettings s;
        s.active = true;
        s.total_effect_strength = strength;
        s.force = force;
        s.periodic = force;
        s.trimmer = force;
        const DirectXAxisValues v = ::directXValues(s);
        QCOMPARE(bitsOf(v.force), expected);
        QCOMPARE(bitsOf(v.periodic), expected);
        QCOMPARE(v.trimmer, force / 100);
    }

    void smartDamperRoundsInFloatAtOddStrengths_data() {
        QTest::addColumn<float>("strength");
        QTest::addColumn<float>("dampening");
        QTest::addColumn<quint32>("expected");
        QTest::newRow("90 x 33") << 90.0f << 33.0f << quint32(0x3e981063);
        QTest::newRow("1 x 3") << 1.0f << 3.0f << quint32(0x399d4951);
        QTest::newRow("53 x 17") << 53.0f << 17.0f << quint32(0x3db8865a);
        QTest::newRow("33 x 7") << 33.0f << 7.0f << quint32(0x3cbd3c36);
    }
    void smartDamperRoundsInFloatAtOddStrengths() {
        QFETCH(float, strength);
        QFETCH(float, dampening);
        QFETCH(quint32, expected);
        SmartDamperSettings s;
        s.active = true;
        s.total_effect_strength = strength;
        s.static_dampening = dampening;
        s.dynamic_dampening = dampening;
        const DamperValues v = ::smartDamperValues(s);
        QCOMPARE(bitsOf(v.staticDamping), expected);
        QCOMPARE(bitsOf(v.dynamicDamping), expected);
    }

    void smartDamperValues_data() {
        QTest::addColumn<bool>("active");
        QTest::addColumn<float>("strength");
        QTest::addColumn<float>("staticDampening");
        QTest::addColumn<float>("dynamicDampening");
        QTest::addColumn<float>("staticValue");
        QTest::addColumn<float>("dynamicValue");
        QTest::newRow("half strength") << true << 50.0f << 60.0f << 30.0f << 0.3f << 0.15f;
        QTest::newRow("full") << true << 100.0f << 100.0f << 20.0f << 1.0f << 0.2f;
        QTest::newRow("inactive") << false << 100.0f << 60.0f << 30.0f << 0.0f << 0.0f;
    }
    void smartDamperValues() {
        QFETCH(bool, active);
        QFETCH(float, strength);
        QFETCH(float, staticDampening);
        QFETCH(float, dynamicDampening);
        QFETCH(float, staticValue);
        QFETCH(float, dynamicValue);
        SmartDamperSettings s;
        s.active = active;
        s.total_effect_strength = strength;
        s.static_dampening = staticDampening;
        s.dynamic_dampening = dynamicDampening;
        const DamperValues v = ::smartDamperValues(s);
        QCOMPARE(v.staticDamping, staticValue);
        QCOMPARE(v.dynamicDamping, dynamicValue);
    }
};

QTEST_APPLESS_MAIN(TestForcePipeline)
#include "tst_forcepipeline.moc"
