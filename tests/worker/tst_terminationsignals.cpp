#include "terminationsignals.h"

#include <QTimer>
#include <QtTest>
#include <csignal>

// SIGTERM, SIGINT and SIGHUP end the event loop the normal way: exec() returns 0 and the process lives on
// to run whatever follows it. Without the handlers each of these signals would end the test process.
class TestTerminationSignals : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { quitOnTerminationSignals(); }

    void eachSignalQuitsTheEventLoop_data() {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << int(SIGTERM);
        QTest::newRow("SIGINT") << int(SIGINT);
        QTest::newRow("SIGHUP") << int(SIGHUP);
    }

    void eachSignalQuitsTheEventLoop() {
        QFETCH(int, signal);
        bool timedOut = false;
        // Should the signal not quit the loop, this does, and the test fails instead of hanging.
        QTimer failsafe;
        failsafe.setSingleShot(true);
        connect(&failsafe, &QTimer::timeout, [&timedOut] {
            timedOut = true;
            QCoreApplication::exit(1);
        });
        failsafe.start(10000);
        bool sent = false;
        QTimer::singleShot(0, [&] { sent = std::raise(signal) == 0; });
        const int exitCode = QCoreApplication::exec();
        QVERIFY(sent);
        QVERIFY(!timedOut);
        QCOMPARE(exitCode, 0);
    }
};

QTEST_GUILESS_MAIN(TestTerminationSignals)
#include "tst_terminationsignals.moc"
