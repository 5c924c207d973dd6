#include "effectsettings.h"
#include "forcetestsupport.h"
#include "shaping.h"
#include "telemetry.h"

#include <QtTest>
#include <cmath>
#include <limits>

class TestShaping : public QObject {
    Q_OBJECT

private slots:
    void shapeCurves_data() {
        QTest::addColumn<float>("x");
        QTest::addColumn<float>("e");
        QTest::addColumn<float>("expected");
        QTest::newRow("e>1 cube") << 0.5f << 2.0f << 0.125f;
        QTest::newRow("e=1 cube") << 0.5f << 1.0f << 0.125f;
        QTest::newRow("e=0.5 blend") << 0.5f << 0.5f << 0.3125f;  // 0.5 * 0.125 + 0.5 * 0.5
        QTest::newRow("e=0.25 blend") << 0.2f << 0.25f << 0.152f; // 0.25 * 0.008 + 0.75 * 0.2
        QTest::newRow("e=0 line") << 0.3f << 0.0f << 0.3f;
        QTest::newRow("e=-0.5 blend") << 0.5f << -0.5f << 0.6875f; // 0.5 * 0.875 + 0.5 * 0.5
        QTest::newRow("e=-1 inverse cube") << 0.5f << -1.0f << 0.875f;
        QTest::newRow("e<-1 inverse cube") << 0.5f << -3.0f << 0.875f;
        QTest::newRow("e<-1 at 0.2") << 0.2f << -1.5f << 0.488f; // 1 - 0.8^3
        QTest::newRow("x=0 any e") << 0.0f << 0.7f << 0.0f;
        QTest::newRow("x=1 any e") << 1.0f << -0.7f << 1.0f;
        QTest::newRow("x=1 e>1") << 1.0f << 5.0f << 1.0f;
    }
    void shapeCurves() {
        QFETCH(float, x);
        QFETCH(float, e);
        QFETCH(float, expected);
        COMPARE_CLOSE(shape(x, e), expected);
    }

    void shapeOfNaNStaysNaN() {
        QVERIFY(std::isnan(shape(std::numeric_limits<float>::quiet_NaN(), 0.5f)));
        QVERIFY(std::isnan(shape(std::numeric_limits<float>::quiet_NaN(), -0.5f)));
        // A NaN exponent cannot come from a profile; it still gives a defined curve point.
        QVERIFY(std::isfinite(shape(0.5f, std::numeric_limits<float>::quiet_NaN())));
    }

    void rangeValue_data() {
        QTest::addColumn<float>("x");
        QTest::addColumn<float>("min");
        QTest::addColumn<float>("max");
        QTest::addColumn<float>("exp");
        QTest::addColumn<float>("expected");
        QTest::newRow("line middle") << 0.5f << 10.0f << 20.0f << 0.0f << 15.0f;
        QTest::newRow("line ends") << 1.0f << 10.0f << 20.0f << 0.0f << 20.0f;
        QTest::newRow("exp 100") << 0.5f << 10.0f << 20.0f << 100.0f << 11.25f;
        QTest::newRow("exp -100") << 0.5f << 10.0f << 20.0f << -100.0f << 18.75f;
        QTest::newRow("exp 50") << 0.5f << 0.0f << 40.0f << 50.0f << 12.5f;
        QTest::newRow("falling range") << 0.25f << 20.0f << 10.0f << 0.0f << 17.5f;
        QTest::newRow("min = max") << 0.8f << 7.0f << 7.0f << 30.0f << 7.0f;
    }
    void rangeValue() {
        QFETCH(float, x);
        QFETCH(float, min);
        QFETCH(float, max);
        QFETCH(float, exp);
        QFETCH(float, expected);
        SettingsRange range;
        range.min = min;
        range.max = max;
        range.exp = exp;
        COMPARE_CLOSE(::rangeValue(x, range), expected);
    }

    void speedFraction_data() {
        QTest::addColumn<float>("airspeed");
        QTest::addColumn<float>("min");
        QTest::addColumn<float>("max");
        QTest::addColumn<float>("expected");
        QTest::newRow("inside") << 150.0f << 100.0f << 300.0f << 0.25f;
        QTest::newRow("below") << 50.0f << 100.0f << 300.0f << 0.0f;
        QTest::newRow("above") << 400.0f << 100.0f << 300.0f << 1.0f;
        QTest::newRow("at min") << 100.0f << 100.0f << 300.0f << 0.0f;
        QTest::newRow("at max") << 300.0f << 100.0f << 300.0f << 1.0f;
        // min == max: +inf clamps to 1, -inf to 0, 0/0 stays NaN.
        QTest::newRow("empty range above") << 150.0f << 100.0f << 100.0f << 1.0f;
        QTest::newRow("empty range below") << 50.0f << 100.0f << 100.0f << 0.0f;
        QTest::newRow("empty range on it")
            << 100.0f << 100.0f << 100.0f << std::numeric_limits<float>::quiet_NaN();
    }
    void speedFraction() {
        QFETCH(float, airspeed);
        QFETCH(float, min);
        QFETCH(float, max);
        QFETCH(float, expected);
        SettingsRange range;
        range.min = min;
        range.max = max;
        COMPARE_CLOSE(::speedFraction(airspeed, range), expected);
    }

    void speedFractionSeesTheLimitedAirspeed() {
        SettingsRange range;
        range.min = 0;
        range.max = 2000;
        Telemetry t;
        t.setAirspeed(-5);
        QCOMPARE(::speedFraction(t.getAirspeed(), range), 0.0f);
        t.setAirspeed(1500);
        QCOMPARE(::speedFraction(t.getAirspeed(), range), 0.5f);
        t.setAirspeed(std::numeric_limits<float>::infinity());
        QCOMPARE(::speedFraction(t.getAirspeed(), range), 0.5f);
        t.setAirspeed(std::numeric_limits<float>::quiet_NaN());
        QVERIFY(std::isnan(::speedFraction(t.getAirspeed(), range)));
    }
};

QTEST_APPLESS_MAIN(TestShaping)
#include "tst_shaping.moc"
