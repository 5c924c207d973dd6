#include "forcescopeplot.h"
#include "forcescopeview.h"
#include "mainbackgroundthread.h"
#include "mainwindow.h"
#include "refusingport.h"
#include "scratchworkingdirectory.h"

#include <QDockWidget>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTabWidget>
#include <QTcpServer>
#include <QToolButton>
#include <QtTest>

// The Forces view in the main window: beside the specified form, fed by the running worker, reading only while
// it is open.
class TestMainWindowForces : public QObject {
    Q_OBJECT

private slots:
    void forcesViewBesideTheForm() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        QCOMPARE(window.size(), QSize(909, 539));
        auto *tabs = window.findChild<QTabWidget *>(QStringLiteral("tabWidget"));
        QCOMPARE(tabs->count(), 1);
        auto *button = qobject_cast<QToolButton *>(tabs->cornerWidget(Qt::TopRightCorner));
        QVERIFY(button);
        QCOMPARE(button->objectName(), QStringLiteral("forces_button"));
        QCOMPARE(button->text(), QStringLiteral("Forces"));
        QDockWidget *dock = window.forcesView();
        QVERIFY(dock);
        QCOMPARE(dock, window.findChild<QDockWidget *>(QStringLiteral("forces_dock")));
        QCOMPARE(dock->windowTitle(), QStringLiteral("Forces"));
        auto *view = dock->findChild<ForceScopeView *>(QStringLiteral("forces_view"));
        QVERIFY(view);

        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCOMPARE(window.size(), QSize(909, 539));
        QVERIFY(!dock->isVisible());
        QVERIFY(!view->isReading());

        // The override's telemetry is what the forces are computed from, and what the view shows.
        MainBackgroundThread *worker = window.backgroundWorker();
        Telemetry telemetry;
        telemetry.airspeed = 250;
        telemetry.aoa = 12;
        telemetry.gForce = 3;
        QMetaObject::invokeMethod(worker, "enableTelemetryOverride", Qt::QueuedConnection);
        QMetaObject::invokeMethod(worker, "overrideTelemetry", Qt::QueuedConnection, Q_ARG(Telemetry, telemetry));

        button->click();
        QVERIFY(dock->isVisible());
        QVERIFY(dock->isFloating());
        QVERIFY(view->isReading());
        // No device is plugged in; the cycle computes and the view plots all the same.
        QTRY_VERIFY_WITH_TIMEOUT(view->plot()->sampleCount() >= 20, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(view->plot()->visibleSamples().back().gForce == 3.0f, 10000);
        const ScopeSample newest = view->plot()->visibleSamples().back();
        QCOMPARE(newest.airspeed, 250.0f);
        QCOMPARE(newest.aoa, 12.0f);
        QCOMPARE(window.size(), QSize(909, 539));

        button->click();
        QVERIFY(!dock->isVisible());
        QVERIFY(!view->isReading());
        const int kept = view->plot()->sampleCount();
        QTest::qWait(200);
        QCOMPARE(view->plot()->sampleCount(), kept);

        if (const QByteArray folder = qgetenv("QUILLAR_SCREENSHOT_DIR"); !folder.isEmpty()) {
            button->click();
            QTest::qWait(1500);
            view->grab().save(QString::fromLocal8Bit(folder) + QStringLiteral("/forces-view-override.png"));
        }
        QTRY_VERIFY(window.findChild<QNetworkAccessManager *>()->findChildren<QNetworkReply *>().isEmpty());
    }
};

QTEST_MAIN(TestMainWindowForces)
#include "tst_mainwindowforces.moc"
