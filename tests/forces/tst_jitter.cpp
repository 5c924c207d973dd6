#include "forcetestsupport.h"
#include "jitter.h"

#include <QtTest>

class TestJitter : public QObject {
    Q_OBJECT

private slots:
    // Must run first: nothing in this process has drawn yet, so this is the start-up state.
    void firstTenDrawsFromStartUp() {
        const std::vector<float> expected = referenceJitter(10);
        for (int i = 0; i < 10; ++i)
            QCOMPARE(drawJitter(), expected[size_t(i)]);
    }

    void resetReturnsToStartUp() {
        // An odd number of draws leaves the polar method's second value cached; the reset must drop it.
        for (int i = 0; i < 3; ++i)
            drawJitter();
        resetJitterSource();
        const std::vector<float> expected = referenceJitter(10);
        for (int i = 0; i < 10; ++i)
            QCOMPARE(drawJitter(), expected[size_t(i)]);
    }

    void drawsVary() {
        resetJitterSource();
        const float first = drawJitter();
        const float second = drawJitter();
        const float third = drawJitter();
        QVERIFY(first != second);
        QVERIFY(second != third);
        QVERIFY(first != third);
    }

    void deviationIsAboutPointTwo() {
        resetJitterSource();
        double sum = 0;
        double squares = 0;
        const int count = 20000;
        for (int i = 0; i < count; ++i) {
            const double v = drawJitter();
            sum += v;
            squares += v * v;
        }
        const double mean = sum / count;
        const double deviation = std::sqrt(squares / count - mean * mean);
        QVERIFY2(std::fabs(mean) < 0.01, qPrintable(QString::number(mean)));
        QVERIFY2(std::fabs(deviation - 0.2) < 0.01, qPrintable(QString::number(deviation)));
    }
};

QTEST_APPLESS_MAIN(TestJitter)
#include "tst_jitter.moc"
