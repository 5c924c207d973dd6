#include "effectsprofile.h"

#include <QtTest>
#include <cmath>
#include <typeinfo>

namespace {
void compareRange(const SettingsRange &r, float min, float max, float exp, float dmin, float dmax, float dexp) {
    QCOMPARE(r.min, min);
    QCOMPARE(r.max, max);
    QCOMPARE(r.exp, exp);
    QCOMPARE(r.defaultMin, dmin);
    QCOMPARE(r.defaultMax, dmax);
    QCOMPARE(r.defaultExp, dexp);
}

void checkFreshAxis(const AxisEffectsSettings &a) {
    for (int type = 0; type < EffectsProfile::EffectTypeCount; ++type) {
        const SimpleEffectSettings *e = effectOfType(a, type);
        QVERIFY(e);
        QCOMPARE(e->active, false);
        QCOMPARE(e->defaultActive, false);
        QCOMPARE(e->total_effect_strength, 0.0f);
        QCOMPARE(e->defaultTotalEffectStrength, 0.0f);
    }
    QCOMPARE(a.airflowSpring.airspeed_force, 0.0f);
    QCOMPARE(a.airflowSpring.thrust_force, 0.0f);
    QCOMPARE(a.airflowSpring.attenuation_strength, 100.0f);
    QCOMPARE(a.airflowSpring.local_aoa_influence_strength, 0.0f);
    QCOMPARE(a.airflowSpring.attenuation_start_airspeed, 500.0f);
    QCOMPARE(a.airflowSpring.defaultAttenuationStartAirspeed, 500.0f);
    QCOMPARE(a.airflowSpring.attenuation_end_airspeed, 1000.0f);
    QCOMPARE(a.airflowSpring.defaultAttenuationEndAirspeed, 1000.0f);
    QCOMPARE(a.airflowSpring.defaultAttenuationStrength, 100.0f);
    for (const CurvePoint &p : a.airflowSpring.attenuationCurve) {
        QCOMPARE(p.x, 0.0f);
        QCOMPARE(p.y, 0.0f);
    }
    for (const GenericSpeedDependantShakerSettings *s :
         {static_cast<const GenericSpeedDependantShakerSettings *>(&a.aoaShaker), &a.gearShaker, &a.flapsShaker,
          &a.airbrakesShaker, &a.onGroundRollingShaker,
          static_cast<const GenericSpeedDependantShakerSettings *>(&a.landingJolt)}) {
        compareRange(s->speed, 0, 0, 0, 0, 1000, 0);
        compareRange(s->frequency, 0, 0, 0, 10, 20, 0);
    }
    compareRange(a.condorShaker.frequency, 0, 0, 0, 10, 20, 0);
    compareRange(a.aoaShaker.aoa, 0, 0, 0, 10, 15, 0);
    QCOMPARE(a.landingJolt.effect_time, int64_t(0));
    QCOMPARE(a.landingJolt.defaultEffectTime, int64_t(250));
    QCOMPARE(a.directX.trimmer, 0.0f);
    QCOMPARE(a.directX.force, 0.0f);
    QCOMPARE(a.directX.periodic, 0.0f);
    QCOMPARE(a.smartDamper.static_dampening, 0.0f);
    QCOMPARE(a.smartDamper.dynamic_dampening, 0.0f);
    QCOMPARE(a.smartDamper.defaultStaticDampening, 0.0f);
    QCOMPARE(a.smartDamper.defaultDynamicDampening, 0.0f);
}
} // namespace

class TestEffectSettings : public QObject {
    Q_OBJECT

private slots:
    void effectTypeValues() {
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_NATURAL_AIRFLOW), 0);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_SIMPLE_SPRING), 1);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_ELEVATOR_WEIGHT), 2);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_DIRECT_X_FFB), 3);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_LANDING_JOLT), 4);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_AOA_SHAKER), 5);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_EXTENDED_GEAR_SHAKER), 6);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_EXTENDED_FLAPS_SHAKER), 7);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_EXTENDED_AIRBRAKES_SHAKER), 8);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_ON_GROUND_ROLLING_SHAKER), 9);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_IL2_SHAKING), 10);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_CONDOR_SHAKER), 11);
        QCOMPARE(int(EffectsProfile::EFFECT_TYPE_SMART_DAMPER), 12);
        QVERIFY(QMetaType::fromName("EffectsProfile::EffectType").isValid());
    }

    void effectOfTypeMapsEveryType() {
        AxisEffectsSettings a;
        QCOMPARE(effectOfType(a, 0), static_cast<SimpleEffectSettings *>(&a.airflowSpring));
        QCOMPARE(effectOfType(a, 1), &a.simpleSpring);
        QCOMPARE(effectOfType(a, 2), &a.elevatorWeight);
        QCOMPARE(effectOfType(a, 3), static_cast<SimpleEffectSettings *>(&a.directX));
        QCOMPARE(effectOfType(a, 4), static_cast<SimpleEffectSettings *>(&a.landingJolt));
        QCOMPARE(effectOfType(a, 5), static_cast<SimpleEffectSettings *>(&a.aoaShaker));
        QCOMPARE(effectOfType(a, 6), static_cast<SimpleEffectSettings *>(&a.gearShaker));
        QCOMPARE(effectOfType(a, 7), static_cast<SimpleEffectSettings *>(&a.flapsShaker));
        QCOMPARE(effectOfType(a, 8), static_cast<SimpleEffectSettings *>(&a.airbrakesShaker));
        QCOMPARE(effectOfType(a, 9), static_cast<SimpleEffectSettings *>(&a.onGroundRollingShaker));
        QCOMPARE(effectOfType(a, 10), &a.il2Shaking);
        QCOMPARE(effectOfType(a, 11), static_cast<SimpleEffectSettings *>(&a.condorShaker));
        QCOMPARE(effectOfType(a, 12), static_cast<SimpleEffectSettings *>(&a.smartDamper));
        QCOMPARE(effectOfType(a, 13), nullptr);
        QCOMPARE(effectOfType(a, -1), nullptr);
    }

    void freshProfileDefaults() {
        const EffectsProfile profile;
        QCOMPARE(profile.metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
        QVERIFY(profile.metadata.flightModule.isEmpty());
        QVERIFY(profile.metadata.comment.isEmpty());
        for (const AxisEffectsSettings &axis : profile.settings.axes)
            checkFreshAxis(axis);
    }

    void resetRestoresDefaults() {
        GenericSpeedDependantShakerSettings s;
        s.defaultActive = true;
        s.defaultTotalEffectStrength = 40;
        s.active = false;
        s.total_effect_strength = 90;
        s.reset();
        QCOMPARE(s.active, true);
        QCOMPARE(s.total_effect_strength, 40.0f);
        compareRange(s.speed, 0, 1000, 0, 0, 1000, 0);
        compareRange(s.frequency, 10, 20, 0, 10, 20, 0);

        AoAShakerSettings aoa;
        aoa.reset();
        compareRange(aoa.aoa, 10, 15, 0, 10, 15, 0);

        JoltSettings jolt;
        jolt.reset();
        QCOMPARE(jolt.effect_time, int64_t(250));

        SmartDamperSettings damper;
        damper.static_dampening = 50;
        damper.defaultDynamicDampening = 7;
        damper.reset();
        QCOMPARE(damper.static_dampening, 0.0f);
        QCOMPARE(damper.dynamic_dampening, 7.0f);
    }

    void directXResetZeroesItsValues() {
        DirectXSettings d;
        d.active = true;
        d.total_effect_strength = 80;
        d.defaultActive = false;
        d.defaultTotalEffectStrength = 15;
        d.trimmer = 10;
        d.force = 20;
        d.periodic = 30;
        EffectSettingsBase &base = d;
        base.reset();
        QCOMPARE(d.trimmer, 0.0f);
        QCOMPARE(d.force, 0.0f);
        QCOMPARE(d.periodic, 0.0f);
        QCOMPARE(d.active, false);
        QCOMPARE(d.total_effect_strength, 15.0f);
    }

    void condorResetRestoresOnlyFrequency() {
        CondorShakerSettings c;
        c.active = true;
        c.total_effect_strength = 70;
        c.frequency.min = 3;
        c.frequency.max = 4;
        c.frequency.exp = 5;
        EffectSettingsBase &base = c;
        base.reset();
        QCOMPARE(c.active, true);
        QCOMPARE(c.total_effect_strength, 70.0f);
        compareRange(c.frequency, 10, 20, 0, 10, 20, 0);
    }

    void airflowResetRebuildsCurve() {
        AirflowSpringSettings a;
        a.airspeed_force = 44;
        a.attenuation_strength = 3;
        a.reset();
        QCOMPARE(a.airspeed_force, 0.0f);
        QCOMPARE(a.attenuation_strength, 100.0f);
        QCOMPARE(a.attenuation_start_airspeed, 500.0f);
        QCOMPARE(a.attenuation_end_airspeed, 1000.0f);
        // start 500, end 1000: k = 0.5; the curve x = 2(1-t)t*0.5 + t^2 = t, y = 2t - t^2.
        for (int i = 0; i < 11; ++i) {
            const float t = i * 0.1f;
            QVERIFY(qAbs(a.attenuationCurve[i].x - t) < 1e-6f);
            QVERIFY(qAbs(a.attenuationCurve[i].y - (2 * t - t * t)) < 1e-6f);
        }
    }

    // Every default distinct and non-zero, every current value different again: a field that reset()
    // skipped, or filled from the wrong default, shows.
    void airflowResetCopiesEveryDefault() {
        AirflowSpringSettings a;
        a.defaultActive = true;
        a.defaultTotalEffectStrength = 11;
        a.defaultAirspeedForce = 12;
        a.defaultThrustForce = 13;
        a.defaultAttenuationStartAirspeed = 140;
        a.defaultAttenuationEndAirspeed = 650;
        a.defaultAttenuationStrength = 16;
        a.defaultLocalAoaInfluenceStrength = 17;
        a.active = false;
        a.total_effect_strength = 91;
        a.airspeed_force = 92;
        a.thrust_force = 93;
        a.attenuation_start_airspeed = 94;
        a.attenuation_end_airspeed = 95;
        a.attenuation_strength = 96;
        a.local_aoa_influence_strength = 97;
        a.reset();
        QCOMPARE(a.active, true);
        QCOMPARE(a.total_effect_strength, 11.0f);
        QCOMPARE(a.airspeed_force, 12.0f);
        QCOMPARE(a.thrust_force, 13.0f);
        QCOMPARE(a.attenuation_start_airspeed, 140.0f);
        QCOMPARE(a.attenuation_end_airspeed, 650.0f);
        QCOMPARE(a.attenuation_strength, 16.0f);
        QCOMPARE(a.local_aoa_influence_strength, 17.0f);
        // The defaults themselves stay.
        QCOMPARE(a.defaultActive, true);
        QCOMPARE(a.defaultTotalEffectStrength, 11.0f);
        QCOMPARE(a.defaultAirspeedForce, 12.0f);
        QCOMPARE(a.defaultThrustForce, 13.0f);
        QCOMPARE(a.defaultAttenuationStartAirspeed, 140.0f);
        QCOMPARE(a.defaultAttenuationEndAirspeed, 650.0f);
        QCOMPARE(a.defaultAttenuationStrength, 16.0f);
        QCOMPARE(a.defaultLocalAoaInfluenceStrength, 17.0f);
        // The curve is rebuilt from the default airspeeds: k = 0.5 * 140 / (650 - 140), x(t) = 2(1-t)t k + t^2.
        AirflowSpringSettings expected;
        expected.setAttenuationAirspeeds(140, 650);
        for (int i = 0; i < AirflowSpringSettings::CurvePoints; ++i) {
            QCOMPARE(a.attenuationCurve[i].x, expected.attenuationCurve[i].x);
            QCOMPARE(a.attenuationCurve[i].y, expected.attenuationCurve[i].y);
        }
        const double k = 0.5 * 140.0 / 510.0;
        QVERIFY(qAbs(a.attenuationCurve[5].x - (2 * 0.5 * 0.5 * k + 0.25)) < 1e-6);
        QVERIFY(qAbs(a.attenuationCurve[5].y - 0.75) < 1e-6);
    }

    void aoaResetCopiesEveryDefault() {
        AoAShakerSettings s;
        s.defaultActive = true;
        s.defaultTotalEffectStrength = 21;
        s.speed = {81, 82, 83, 22, 230, 24};
        s.frequency = {84, 85, 86, 25, 26, -27};
        s.aoa = {87, 88, 89, 3, 12, 29};
        s.active = false;
        s.total_effect_strength = 99;
        EffectSettingsBase &base = s;
        base.reset();
        QCOMPARE(s.active, true);
        QCOMPARE(s.total_effect_strength, 21.0f);
        compareRange(s.speed, 22, 230, 24, 22, 230, 24);
        compareRange(s.frequency, 25, 26, -27, 25, 26, -27);
        compareRange(s.aoa, 3, 12, 29, 3, 12, 29);
    }

    void landingJoltResetCopiesEveryDefault() {
        JoltSettings s;
        s.defaultActive = true;
        s.defaultTotalEffectStrength = 31;
        s.speed = {71, 72, 73, 32, 330, 34};
        s.frequency = {74, 75, 76, 35, 36, -37};
        s.defaultEffectTime = 380;
        s.effect_time = 77;
        s.active = false;
        s.total_effect_strength = 78;
        EffectSettingsBase &base = s;
        base.reset();
        QCOMPARE(s.active, true);
        QCOMPARE(s.total_effect_strength, 31.0f);
        compareRange(s.speed, 32, 330, 34, 32, 330, 34);
        compareRange(s.frequency, 35, 36, -37, 35, 36, -37);
        QCOMPARE(s.effect_time, int64_t(380));
        QCOMPARE(s.defaultEffectTime, int64_t(380));
    }

    void curvePointsByHand() {
        AirflowSpringSettings a;
        a.setAttenuationAirspeeds(200, 600); // k = 0.5 * 200 / 400 = 0.25
        QCOMPARE(a.attenuation_start_airspeed, 200.0f);
        QCOMPARE(a.attenuation_end_airspeed, 600.0f);
        // t = 0.3: x = 2*0.7*0.3*0.25 + 0.09 = 0.195, y = 2*0.7*0.3 + 0.09 = 0.51
        QVERIFY(qAbs(a.attenuationCurve[3].x - 0.195f) < 1e-6f);
        QVERIFY(qAbs(a.attenuationCurve[3].y - 0.51f) < 1e-6f);
        QCOMPARE(a.attenuationCurve[0].x, 0.0f);
        QCOMPARE(a.attenuationCurve[0].y, 0.0f);
        QVERIFY(qAbs(a.attenuationCurve[10].x - 1.0f) < 1e-6f);
        QVERIFY(qAbs(a.attenuationCurve[10].y - 1.0f) < 1e-6f);
    }

    void attenuationLookup() {
        AirflowSpringSettings a;
        a.setAttenuationAirspeeds(500, 1000); // x = t, y = 2t - t^2
        QCOMPARE(a.attenuation(-1.0f), 0.0f);
        QCOMPARE(a.attenuation(0.0f), 0.0f);
        // Between the points 0.1 (y 0.19) and 0.2 (y 0.36): linear interpolation.
        QVERIFY(qAbs(a.attenuation(0.15f) - 0.275f) < 1e-5f);
        QVERIFY(qAbs(a.attenuation(0.5f) - 0.75f) < 1e-5f);
        // At or past the last point no segment matches: the last y.
        QCOMPARE(a.attenuation(1.0f), a.attenuationCurve[10].y);
        QCOMPARE(a.attenuation(5.0f), a.attenuationCurve[10].y);
        QCOMPARE(a.attenuation(NAN), a.attenuationCurve[10].y);
    }

    void allZeroCurveAnswersZero() {
        const AirflowSpringSettings a;
        QCOMPARE(a.attenuation(0.0f), 0.0f);
        QCOMPARE(a.attenuation(0.5f), 0.0f);
        QCOMPARE(a.attenuation(1.0f), 0.0f);
    }

    void equalAirspeedsDoNotCrashTheLookup() {
        AirflowSpringSettings a;
        a.setAttenuationAirspeeds(300, 300); // k divides by zero
        QVERIFY(!std::isfinite(a.attenuationCurve[1].x));
        QCOMPARE(a.attenuation(0.5f), a.attenuationCurve[10].y);
        QCOMPARE(a.attenuation(0.5f), 1.0f);
        a.setAttenuationAirspeeds(0, 0); // 0/0
        QCOMPARE(a.attenuation(0.25f), 1.0f);
    }

    void copyingKeepsClassIdentity() {
        EffectsSettings a;
        a.axes[1].aoaShaker.active = true;
        a.axes[1].aoaShaker.aoa.max = 42;
        a.axes[2].directX.trimmer = 5;
        EffectsSettings b;
        b = a;
        QCOMPARE(b.axes[1].aoaShaker.active, true);
        QCOMPARE(b.axes[1].aoaShaker.aoa.max, 42.0f);
        QCOMPARE(b.axes[2].directX.trimmer, 5.0f);
        a.axes[1].aoaShaker.aoa.max = 1;
        QCOMPARE(b.axes[1].aoaShaker.aoa.max, 42.0f);
        QCOMPARE(typeid(static_cast<EffectSettingsBase &>(b.axes[1].aoaShaker)), typeid(AoAShakerSettings));
        QCOMPARE(typeid(static_cast<EffectSettingsBase &>(b.axes[1].condorShaker)), typeid(CondorShakerSettings));
        QCOMPARE(typeid(static_cast<EffectSettingsBase &>(b.axes[1].landingJolt)), typeid(JoltSettings));

        AxisEffectsSettings axis = a.axes[2];
        QCOMPARE(axis.directX.trimmer, 5.0f);
        QCOMPARE(typeid(static_cast<EffectSettingsBase &>(axis.directX)), typeid(DirectXSettings));
        // A reset through the base still reaches the member's own class.
        static_cast<EffectSettingsBase &>(axis.directX).reset();
        QCOMPARE(axis.directX.trimmer, 0.0f);
    }

    void axisResetUsesEachVirtualReset() {
        AxisEffectsSettings axis;
        axis.condorShaker.active = true;
        axis.condorShaker.total_effect_strength = 33;
        axis.simpleSpring.active = true;
        axis.reset();
        QCOMPARE(axis.condorShaker.active, true);
        QCOMPARE(axis.condorShaker.total_effect_strength, 33.0f);
        QCOMPARE(axis.simpleSpring.active, false);
        QCOMPARE(axis.landingJolt.effect_time, int64_t(250));
    }

    void storageOrder() {
        // Members are laid out in storage order, which differs from the EffectType order.
        const AxisEffectsSettings a;
        const auto at = [&](const void *p) { return static_cast<const char *>(p) - reinterpret_cast<const char *>(&a); };
        QVERIFY(at(&a.airflowSpring) < at(&a.simpleSpring));
        QVERIFY(at(&a.simpleSpring) < at(&a.elevatorWeight));
        QVERIFY(at(&a.elevatorWeight) < at(&a.aoaShaker));
        QVERIFY(at(&a.aoaShaker) < at(&a.gearShaker));
        QVERIFY(at(&a.gearShaker) < at(&a.flapsShaker));
        QVERIFY(at(&a.flapsShaker) < at(&a.airbrakesShaker));
        QVERIFY(at(&a.airbrakesShaker) < at(&a.onGroundRollingShaker));
        QVERIFY(at(&a.onGroundRollingShaker) < at(&a.landingJolt));
        QVERIFY(at(&a.landingJolt) < at(&a.il2Shaking));
        QVERIFY(at(&a.il2Shaking) < at(&a.directX));
        QVERIFY(at(&a.directX) < at(&a.condorShaker));
        QVERIFY(at(&a.condorShaker) < at(&a.smartDamper));
    }
};

QTEST_APPLESS_MAIN(TestEffectSettings)
#include "tst_effectsettings.moc"
