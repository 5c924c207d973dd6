#include "cyclefigureslabel.h"
#include "diagnosticsdialog.h"
#include "forcescopeview.h"
#include "mainwindow.h"
#include "refusingport.h"
#include "scratchworkingdirectory.h"

#include <QDockWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QtTest>

// The Diagnostics entry in the main window: its button beside "Simulator set-up…", the dialog it opens with
// the report, and the cycle's figures heading the Forces view while the worker runs.
class TestMainWindowDiagnostics : public QObject {
    Q_OBJECT

    QTemporaryDir home;

private slots:
    void initTestCase() {
        // The dialog's checks look at the simulators under the home folder: a scratch one.
        QVERIFY(home.isValid());
        qputenv("HOME", QFile::encodeName(home.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath(QStringLiteral(".config"))));
        qputenv("XDG_STATE_HOME", QFile::encodeName(home.filePath(QStringLiteral(".local/state"))));
    }

    void buttonBesideSimulatorSetUpOpensTheReport() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        auto *setup = window.findChild<QPushButton *>(QStringLiteral("simulator_setup_button"));
        auto *button = window.findChild<QPushButton *>(QStringLiteral("diagnostics_button"));
        QVERIFY(setup && button);
        QCOMPARE(button->text(), QStringLiteral("Diagnostics…"));
        QCOMPARE(button->parentWidget(), window.statusBar());
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        // The window keeps its size; the button sits right after "Simulator set-up…".
        QCOMPARE(window.size(), QSize(909, 539));
        QCOMPARE(button->geometry().top(), setup->geometry().top());
        QVERIFY(button->geometry().left() > setup->geometry().right());

        button->click();
        auto *dialog = window.findChild<DiagnosticsDialog *>();
        QVERIFY(dialog);
        QVERIFY(dialog->isVisible());
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Diagnostics"));
        QSignalSpy checked(dialog, &DiagnosticsDialog::checked);
        QVERIFY(checked.wait(15000));
        QStringList groups;
        for (const Diagnostics::Check &check : dialog->report().checks)
            if (!groups.contains(check.group))
                groups << check.group;
        QCOMPARE(groups, QStringList({"devices", "telemetry ports", "simulators", "network"}));
        // One at a time.
        button->click();
        QCOMPARE(window.findChildren<DiagnosticsDialog *>().size(), 1);
        // The live figures of the running worker.
        QTRY_VERIFY_WITH_TIMEOUT(
            (dialog->refreshLive(), dialog->liveText().contains(QStringLiteral("cycle 1"))), 5000);
        QVERIFY(dialog->liveText().contains(QStringLiteral("Last device write error: none")));
    }

    void theForcesViewIsHeadedByTheCycleFigures() {
        ScratchWorkingDirectory scratch;
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        window.show();
        QDockWidget *dock = window.forcesView();
        auto *header = dock->findChild<CycleFiguresLabel *>(QStringLiteral("cycle_figures_label"));
        auto *view = dock->findChild<ForceScopeView *>(QStringLiteral("forces_view"));
        QVERIFY(header && view);
        dock->show();
        QVERIFY(header->isVisible());
        QVERIFY(header->geometry().bottom() < view->geometry().top());
        // "cycle 10.0 ms p99 10.6 · telemetry age –" once the worker has run a while.
        const QRegularExpression figures(
            QStringLiteral("^cycle \\d+\\.\\d ms p99 \\d+\\.\\d \u00b7 telemetry age (\u2013|\\d+ ms)$"));
        QTRY_VERIFY_WITH_TIMEOUT(figures.match(header->text()).hasMatch(), 5000);
    }
};

QTEST_MAIN(TestMainWindowDiagnostics)
#include "tst_mainwindowdiagnostics.moc"
