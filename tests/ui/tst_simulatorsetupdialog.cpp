#include "fakehome.h"
#include "setuphomes.h"
#include "simulatorsetupdialog.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTableWidget>
#include <QThread>
#include <QtTest>
#include <atomic>
#include <memory>

using namespace SetupHomes;

class TestSimulatorSetupDialog : public QObject {
    Q_OBJECT

private:
    // `folder` relative to the fake home, as the table shows it: "~/…".
    static int rowOf(QTableWidget *table, const QString &folder) {
        for (int row = 0; row < table->rowCount(); ++row) {
            if (table->item(row, 2) && table->item(row, 2)->text() == QStringLiteral("~/") + folder) {
                return row;
            }
        }
        return -1;
    }

    static void saveScreenshot(QWidget &widget, const QString &name) {
        const QString folder = qEnvironmentVariable("QUILLAR_SCREENSHOT_DIR");
        if (!folder.isEmpty()) {
            QVERIFY(widget.grab().save(QDir(folder).filePath(name)));
        }
    }

private slots:
    void initTestCase() {
        // Our SimConnect.cfg goes to the fake home's own data folder, never to the user's.
        qunsetenv("XDG_DATA_HOME");
    }

    void listsEveryInstallationWithItsActions() {
        FakeHome home;
        QVERIFY(build(home));
        SimulatorSetupDialog dialog(home.path());
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Simulator set-up"));
        auto *table = dialog.findChild<QTableWidget *>(QStringLiteral("installations_table"));
        QVERIFY(table);
        QTRY_VERIFY(!dialog.isBusy());
        QTRY_COMPARE(table->rowCount(), 9);
        QCOMPARE(table->item(0, 0)->text(), QStringLiteral("DCS World"));
        QCOMPARE(table->item(0, 1)->text(), QStringLiteral("not set up"));
        QCOMPARE(table->item(0, 2)->text(), QStringLiteral("~/") + SteamDcs);
        QCOMPARE(table->item(0, 2)->toolTip(), home.filePath(SteamDcs));
        QCOMPARE(table->item(1, 0)->text(), QStringLiteral("DCS World (DCS.openbeta)"));
        QCOMPARE(table->item(4, 0)->text(), QStringLiteral("Microsoft Flight Simulator (MSFS 2024)"));
        QCOMPARE(table->item(8, 0)->text(), QStringLiteral("War Thunder"));
        QCOMPARE(table->item(8, 1)->text(), QStringLiteral("nothing to set up"));
        QVERIFY(dialog.findChild<QPushButton *>(QStringLiteral("install_button_0")));
        QVERIFY(!dialog.findChild<QPushButton *>(QStringLiteral("install_button_8")));
        QVERIFY(!dialog.findChild<QPushButton *>(QStringLiteral("remove_button_0")));
        auto *found = dialog.findChild<QLabel *>(QStringLiteral("found_label"));
        QCOMPARE(found->text(), QStringLiteral("9 installation(s) found in %1.").arg(home.path()));
        // The library the vdf lists on a drive that is not there is said in the window, not in a tooltip.
        auto *problems = dialog.findChild<QLabel *>(QStringLiteral("problems_label"));
        QVERIFY(problems && !problems->isHidden());
        QCOMPARE(problems->text(), QStringLiteral("Steam library /nonexistent-quillar-library (listed in "
                                                  "~/.local/share/Steam/steamapps/libraryfolders.vdf) is not "
                                                  "there; a drive that is not mounted? Not searched"));
        QVERIFY(dialog.findChild<QPushButton *>(QStringLiteral("setup_all_button"))->isEnabled());
    }

    void installThroughTheButtonsShowsTheChangesFirst() {
        FakeHome home;
        QVERIFY(build(home));
        SimulatorSetupDialog dialog(home.path());
        dialog.resize(1000, 560);
        dialog.show();
        auto *table = dialog.findChild<QTableWidget *>(QStringLiteral("installations_table"));
        auto *changes = dialog.findChild<QPlainTextEdit *>(QStringLiteral("changes_view"));
        auto *apply = dialog.findChild<QPushButton *>(QStringLiteral("apply_button"));
        QVERIFY(table && changes && apply);
        QTRY_VERIFY(!dialog.isBusy());
        QTRY_COMPARE(table->rowCount(), 9);
        const int row = rowOf(table, Condor);
        QCOMPARE(row, 3);
        const QMap<QString, QByteArray> before = home.snapshot();

        auto *install = dialog.findChild<QPushButton *>(QStringLiteral("install_button_3"));
        QVERIFY(install);
        QTest::mouseClick(install, Qt::LeftButton);
        QTRY_VERIFY(apply->isEnabled());
        QCOMPARE(apply->text(), QStringLiteral("Install"));
        // "Set up all" stays at hand while one row's preview shows.
        QVERIFY(dialog.findChild<QPushButton *>(QStringLiteral("setup_all_button"))->isEnabled());
        const QString udp = home.filePath(Condor + "/Settings/UDP.ini");
        QCOMPARE(changes->toPlainText(),
                 QStringLiteral(
                     "Install Condor 2 in %1 will change this:\n"
                     "would change %2 (switch on the UDP output to port 55278); the original would be kept "
                     "as UDP.ini.quillar-backup\n\nPress \"Install\" to make these changes.")
                     .arg(home.filePath(Condor), udp));
        // Nothing is written by the preview.
        QCOMPARE(home.snapshot(), before);
        saveScreenshot(dialog, QStringLiteral("simulator-setup-preview.png"));

        QTest::mouseClick(apply, Qt::LeftButton);
        QTRY_VERIFY(changes->toPlainText().contains(QStringLiteral("done.")));
        QCOMPARE(changes->toPlainText(),
                 QStringLiteral(
                     "Install Condor 2 in %1: done.\nchanged %2 (switch on the UDP output to port 55278); "
                     "the original is kept as UDP.ini.quillar-backup")
                     .arg(home.filePath(Condor), udp));
        QCOMPARE(home.read(Condor + "/Settings/UDP.ini"), UdpIniSetUp);
        QCOMPARE(home.read(Condor + "/Settings/UDP.ini.quillar-backup"), UdpIni);
        QTRY_VERIFY(!dialog.isBusy());
        QTRY_COMPARE(table->item(3, 1)->text(), QStringLiteral("ready"));
        QVERIFY(!apply->isEnabled());
        QVERIFY(dialog.findChild<QPushButton *>(QStringLiteral("remove_button_3")));
        saveScreenshot(dialog, QStringLiteral("simulator-setup-done.png"));

        // And back out again through the row's Remove button.
        QTest::mouseClick(dialog.findChild<QPushButton *>(QStringLiteral("remove_button_3")), Qt::LeftButton);
        QTRY_VERIFY(apply->isEnabled());
        QCOMPARE(apply->text(), QStringLiteral("Remove"));
        QVERIFY(changes->toPlainText().contains(QStringLiteral("would change %1").arg(udp)));
        QTest::mouseClick(apply, Qt::LeftButton);
        QTRY_VERIFY(changes->toPlainText().contains(QStringLiteral("done.")));
        QCOMPARE(home.read(Condor + "/Settings/UDP.ini"), UdpIni);
        QTRY_COMPARE(table->item(3, 1)->text(), QStringLiteral("not set up"));
    }

    void aFileChangedAfterThePreviewIsShownAgainNotWritten() {
        FakeHome home;
        QVERIFY(build(home));
        SimulatorSetupDialog dialog(home.path());
        auto *changes = dialog.findChild<QPlainTextEdit *>(QStringLiteral("changes_view"));
        auto *apply = dialog.findChild<QPushButton *>(QStringLiteral("apply_button"));
        QTRY_VERIFY(!dialog.isBusy());
        QTRY_VERIFY(dialog.findChild<QPushButton *>(QStringLiteral("install_button_2")));
        QTest::mouseClick(dialog.findChild<QPushButton *>(QStringLiteral("install_button_2")),
                          Qt::LeftButton);
        QTRY_VERIFY(apply->isEnabled());
        const QByteArray edited = Startup + "[KEY = sound]\n[END]\n";
        QVERIFY(home.write(Il2 + "/data/startup.cfg", edited));
        QTest::mouseClick(apply, Qt::LeftButton);
        QTRY_VERIFY(!dialog.isBusy());
        QTRY_VERIFY(apply->isEnabled());
        QVERIFY(
            changes->toPlainText().startsWith(QStringLiteral("Install IL-2 Sturmovik: Great Battles in")));
        QVERIFY(changes->toPlainText().contains(QStringLiteral("will change this:")));
        QCOMPARE(home.read(Il2 + "/data/startup.cfg"), edited);
    }

    void problemsAreShownAndNothingCanBeApplied() {
        FakeHome home;
        QVERIFY(build(home));
        QVERIFY(home.write(Il2 + "/data/startup.cfg", "[END]\n"));
        SimulatorSetupDialog dialog(home.path());
        auto *table = dialog.findChild<QTableWidget *>(QStringLiteral("installations_table"));
        auto *changes = dialog.findChild<QPlainTextEdit *>(QStringLiteral("changes_view"));
        auto *apply = dialog.findChild<QPushButton *>(QStringLiteral("apply_button"));
        QTRY_VERIFY(!dialog.isBusy());
        QTRY_COMPARE(table->rowCount(), 9);
        QCOMPARE(table->item(2, 1)->toolTip(),
                 home.filePath(Il2) +
                     QStringLiteral("/data/startup.cfg: cannot be read (line 1: [END] without a block)"));
        auto *problems = dialog.findChild<QLabel *>(QStringLiteral("problems_label"));
        QVERIFY2(problems->text().contains(QStringLiteral("IL-2 Sturmovik: Great Battles: ~/") + Il2 +
                                           QStringLiteral("/data/startup.cfg: cannot be read (line 1: [END] "
                                                          "without a block)")),
                 qPrintable(problems->text()));
        QTest::mouseClick(dialog.findChild<QPushButton *>(QStringLiteral("install_button_2")),
                          Qt::LeftButton);
        QTRY_VERIFY(changes->toPlainText().contains(QStringLiteral("nothing changed here")));
        QVERIFY(!apply->isEnabled());
        QCOMPARE(home.read(Il2 + "/data/startup.cfg"), QByteArray("[END]\n"));
    }

    // The preview already knows a read-only file cannot be changed: Apply stays off, nothing is written.
    void aReadOnlyFileCannotBeApplied() {
        FakeHome home;
        QVERIFY(build(home));
        const QString startup = home.filePath(Il2 + "/data/startup.cfg");
        QVERIFY(QFile::setPermissions(startup, QFileDevice::ReadOwner | QFileDevice::ReadGroup));
        SimulatorSetupDialog dialog(home.path());
        auto *changes = dialog.findChild<QPlainTextEdit *>(QStringLiteral("changes_view"));
        auto *apply = dialog.findChild<QPushButton *>(QStringLiteral("apply_button"));
        QTRY_VERIFY(!dialog.isBusy());
        QTRY_VERIFY(dialog.findChild<QPushButton *>(QStringLiteral("install_button_2")));
        QTest::mouseClick(dialog.findChild<QPushButton *>(QStringLiteral("install_button_2")),
                          Qt::LeftButton);
        QTRY_VERIFY(!dialog.isBusy());
        QTRY_VERIFY(changes->toPlainText().contains(QStringLiteral("cannot be done")));
        QVERIFY2(
            changes->toPlainText().contains(QStringLiteral("cannot change %1: read-only file").arg(startup)),
            qPrintable(changes->toPlainText()));
        QVERIFY(!apply->isEnabled());
        QTest::mouseClick(apply, Qt::LeftButton); // a disabled button does nothing
        QVERIFY(!dialog.isBusy());
        QFile::setPermissions(startup, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        QCOMPARE(home.read(Il2 + "/data/startup.cfg"), Startup);
        QVERIFY(!home.exists(Il2 + "/data/startup.cfg.quillar-backup"));
        QVERIFY(!changes->toPlainText().contains(QStringLiteral(": done.")));
    }

    // Closing the window while a search runs stops the search instead of waiting for it.
    void closingWhileSearchingCancelsTheSearch() {
        FakeHome home;
        auto entered = std::make_shared<std::atomic<bool>>(false);
        auto sawCancel = std::make_shared<std::atomic<bool>>(false);
        // A search that only ends when it is cancelled: without the cancellation the dialog's
        // destructor would wait for good and the test would time out.
        auto *dialog = new SimulatorSetupDialog(
            home.path(), nullptr,
            [entered, sawCancel](const QuillarSetup::SetupEngine &, const std::atomic<bool> *cancelled) {
                entered->store(true);
                while (!cancelled->load()) {
                    QThread::msleep(5);
                }
                sawCancel->store(true);
                return QuillarSetup::Discovery();
            });
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        QPointer<SimulatorSetupDialog> alive(dialog);
        dialog->show();
        QTRY_VERIFY(entered->load());
        QVERIFY(dialog->isBusy());
        QVERIFY(dialog->close());
        QTRY_VERIFY(alive.isNull());
        QVERIFY(sawCancel->load());
    }

    void setUpAllShowsEverythingFirstThenDoesIt() {
        FakeHome home;
        QVERIFY(build(home));
        SimulatorSetupDialog dialog(home.path());
        dialog.resize(1000, 640);
        dialog.show();
        auto *table = dialog.findChild<QTableWidget *>(QStringLiteral("installations_table"));
        auto *changes = dialog.findChild<QPlainTextEdit *>(QStringLiteral("changes_view"));
        auto *apply = dialog.findChild<QPushButton *>(QStringLiteral("apply_button"));
        auto *all = dialog.findChild<QPushButton *>(QStringLiteral("setup_all_button"));
        QTRY_VERIFY(!dialog.isBusy());
        QTRY_COMPARE(table->rowCount(), 9);
        const QMap<QString, QByteArray> before = home.snapshot();
        QTest::mouseClick(all, Qt::LeftButton);
        QTRY_VERIFY(apply->isEnabled());
        QCOMPARE(apply->text(), QStringLiteral("Set up all"));
        const QString text = changes->toPlainText();
        QVERIFY2(text.startsWith(QStringLiteral("Set up all will change this:\nDCS World in ~/") + SteamDcs +
                                 ":\n"),
                 qPrintable(text));
        QVERIFY(text.contains(QStringLiteral("Condor 2 in ~/") + Condor + ":\n  would change ~/" + Condor +
                              "/Settings/UDP.ini"));
        QVERIFY(!text.contains(home.path()));
        QCOMPARE(home.snapshot(), before);
        saveScreenshot(dialog, QStringLiteral("simulator-setup-all.png"));
        QTest::mouseClick(apply, Qt::LeftButton);
        QTRY_VERIFY(changes->toPlainText().startsWith(QStringLiteral("Set up all: done.")));
        QTRY_VERIFY(!dialog.isBusy());
        for (int row = 0; row < 6; ++row) {
            QCOMPARE(table->item(row, 1)->text(), QStringLiteral("ready"));
        }
        QVERIFY(!all->isEnabled());
        QCOMPARE(home.read(Condor + "/Settings/UDP.ini"), UdpIniSetUp);
    }
};

QTEST_MAIN(TestSimulatorSetupDialog)
#include "tst_simulatorsetupdialog.moc"
