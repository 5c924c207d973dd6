#include "forcetestsupport.h"
#include "sinetable.h"

#include <QtTest>
#include <cmath>
#include <limits>

class TestSineTable : public QObject {
    Q_OBJECT

private slots:
    void tableEntries_data() {
        QTest::addColumn<float>("degrees");
        QTest::addColumn<float>("expected");
        QTest::newRow("0") << 0.0f << 0.0f;
        QTest::newRow("10") << 10.0f << 0.1736f;
        QTest::newRow("20") << 20.0f << 0.342f;
        QTest::newRow("30") << 30.0f << 0.5f;
        QTest::newRow("40") << 40.0f << 0.6428f;
        QTest::newRow("50") << 50.0f << 0.766f;
        QTest::newRow("60") << 60.0f << 0.866f;
        QTest::newRow("70") << 70.0f << 0.9397f;
        QTest::newRow("80") << 80.0f << 0.9848f;
        QTest::newRow("90") << 90.0f << 1.0f;
        QTest::newRow("100") << 100.0f << 0.9848f;
        QTest::newRow("150") << 150.0f << 0.5f;
        QTest::newRow("180") << 180.0f << 0.0f;
        QTest::newRow("190") << 190.0f << -0.1736f;
        QTest::newRow("260") << 260.0f << -0.9848f;
        QTest::newRow("270") << 270.0f << -1.0f;
        QTest::newRow("330") << 330.0f << -0.5f;
        QTest::newRow("350") << 350.0f << -0.1736f;
        QTest::newRow("360") << 360.0f << 0.0f;
    }
    void tableEntries() {
        QFETCH(float, degrees);
        QFETCH(float, expected);
        COMPARE_CLOSE(tableSin(degrees), expected);
    }

    void interpolatesLinearly_data() {
        QTest::addColumn<float>("degrees");
        QTest::addColumn<float>("expected");
        QTest::newRow("5") << 5.0f << 0.0868f;
        QTest::newRow("15") << 15.0f << 0.2578f;      // (0.1736 + 0.342) / 2
        QTest::newRow("22.5") << 22.5f << 0.3815f;    // 0.342 + 0.158 * 0.25
        QTest::newRow("45") << 45.0f << 0.7044f;      // (0.6428 + 0.766) / 2
        QTest::newRow("225") << 225.0f << -0.7044f;   // (-0.6428 - 0.766) / 2
        QTest::newRow("337.5") << 337.5f << -0.3815f; // -0.5 + 0.158 * 0.75
        QTest::newRow("359") << 359.0f << -0.01736f;  // -0.1736 * 0.1
    }
    void interpolatesLinearly() {
        QFETCH(float, degrees);
        QFETCH(float, expected);
        COMPARE_CLOSE(tableSin(degrees), expected);
    }

    void reducesAnyFiniteAngle_data() {
        QTest::addColumn<float>("degrees");
        QTest::addColumn<float>("expected");
        QTest::newRow("-30") << -30.0f << -0.5f;
        QTest::newRow("-22.5") << -22.5f << -0.3815f;
        QTest::newRow("-100") << -100.0f << -0.9848f;
        QTest::newRow("-135") << -135.0f << -0.7044f;
        QTest::newRow("-370") << -370.0f << -0.1736f;
        QTest::newRow("-360") << -360.0f << 0.0f;
        QTest::newRow("390") << 390.0f << 0.5f;
        QTest::newRow("725") << 725.0f << 0.0868f;
        QTest::newRow("3600.5") << 3600.5f << 0.00868f;
        QTest::newRow("-3690") << -3690.0f << -1.0f; // -3690 + 3600 = -90, i.e. 270
        // Beyond the 32-bit integer range the remainder is taken directly: 1e10 = 27777777 * 360 + 280.
        QTest::newRow("1e10") << 1e10f << -0.9848f;
        QTest::newRow("-1e10") << -1e10f << 0.9848f;
    }
    void reducesAnyFiniteAngle() {
        QFETCH(float, degrees);
        QFETCH(float, expected);
        COMPARE_CLOSE(tableSin(degrees), expected);
    }

    void tinyNegativeAngleStaysInsideTheTable() {
        // -1e-7 + 360 rounds to exactly 360 in float; it must read entry 0, not the one past the end.
        QCOMPARE(tableSin(-1e-7f), 0.0f);
        QCOMPARE(tableSin(-1e-5f), 0.0f);
        QCOMPARE(tableSin(-0.0f), 0.0f);
        QCOMPARE(tableSin(std::nextafter(360.0f, 0.0f)), 0.0f);
    }

    void cosineIsShiftedSine_data() {
        QTest::addColumn<float>("degrees");
        QTest::addColumn<float>("expected");
        QTest::newRow("0") << 0.0f << 1.0f;
        QTest::newRow("60") << 60.0f << 0.5f;
        QTest::newRow("90") << 90.0f << 0.0f;
        QTest::newRow("180") << 180.0f << -1.0f;
        QTest::newRow("200") << 200.0f << -0.9397f;
        QTest::newRow("-90") << -90.0f << 0.0f;
        QTest::newRow("45") << 45.0f << 0.7044f;
    }
    void cosineIsShiftedSine() {
        QFETCH(float, degrees);
        QFETCH(float, expected);
        COMPARE_CLOSE(tableCos(degrees), expected);
    }

    void nonFiniteGivesNaN() {
        const float inf = std::numeric_limits<float>::infinity();
        const float nan = std::numeric_limits<float>::quiet_NaN();
        QVERIFY(std::isnan(tableSin(nan)));
        QVERIFY(std::isnan(tableSin(inf)));
        QVERIFY(std::isnan(tableSin(-inf)));
        QVERIFY(std::isnan(tableCos(nan)));
        QVERIFY(std::isnan(tableCos(inf)));
        QVERIFY(std::isnan(tableCos(-inf)));
        // The largest float plus 90 is still finite; it must not overflow into a NaN.
        QVERIFY(!std::isnan(tableCos(std::numeric_limits<float>::max())));
    }

    void largeAnglesStayInRange() {
        const float angles[] = {2147483520.0f, -2147483520.0f, 2147483648.0f, 1e9f,       -1e9f,
                                3e38f,         -3e38f,         1.5e7f,        16777217.0f};
        for (float angle : angles) {
            const float s = tableSin(angle);
            QVERIFY2(std::isfinite(s) && s >= -1 && s <= 1, qPrintable(QString::number(double(angle))));
        }
    }

    void followsTheTrueSineCoarsely() {
        // Linear interpolation over 10-degree steps stays within 0.005 of the true sine.
        const double pi = 3.14159265358979323846;
        for (float angle = -1000.0f; angle <= 1000.0f; angle += 0.37f) {
            const double expected = std::sin(double(angle) * pi / 180);
            QVERIFY2(std::fabs(tableSin(angle) - expected) < 0.005,
                     qPrintable(QString::number(double(angle))));
        }
    }
};

QTEST_APPLESS_MAIN(TestSineTable)
#include "tst_sinetable.moc"
