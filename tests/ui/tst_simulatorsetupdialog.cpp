#include "fakehome.h"
#include "setuphomes.h"
#include "simulatorsetupdialog.h"

#include <QDir>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QtTest>

using namespace SetupHomes;

class TestSimulatorSetupDialog : public QObject {
    Q_OBJECT

private:
    static int rowOf(QTableWidget *table, const QString &folder) {
        for (int row = 0; row < table->rowCount(); ++row) {
            if (table->item(row, 2) && table->item(row, 2)->text() == folder) {
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
        QCOMPARE(table->item(0, 2)->text(), home.filePath(SteamDcs));
        QCOMPARE(table->item(1, 0)->text(), QStringLiteral("DCS World (DCS.openbeta)"));
        QCOMPARE(table->item(4, 0)->text(), QStringLiteral("Microsoft Flight Simulator (MSFS 2024)"));
        QCOMPARE(table->item(8, 0)->text(), QStringLiteral("War Thunder"));
        QCOMPARE(table->item(8, 1)->text(), QStringLiteral("nothing to set up"));
        QVERIFY(dialog.findChild<QPushButton *>(QStringLiteral("install_button_0")));
        QVERIFY(!dialog.findChild<QPushButton *>(QStringLiteral("install_button_8")));
        QVERIFY(!dialog.findChild<QPushButton *>(QStringLiteral("remove_button_0")));
        auto *found = dialog.findChild<QLabel *>(QStringLiteral("found_label"));
        QCOMPARE(found->text(), QStringLiteral("9 installation(s) found in %1.").arg(home.path()));
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
        const int row = rowOf(table, home.filePath(Condor));
        QCOMPARE(row, 3);
        const QMap<QString, QByteArray> before = home.snapshot();

        auto *install = dialog.findChild<QPushButton *>(QStringLiteral("install_button_3"));
        QVERIFY(install);
        QTest::mouseClick(install, Qt::LeftButton);
        QTRY_VERIFY(apply->isEnabled());
        QCOMPARE(apply->text(), QStringLiteral("Install"));
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
        QTest::mouseClick(dialog.findChild<QPushButton *>(QStringLiteral("install_button_2")),
                          Qt::LeftButton);
        QTRY_VERIFY(changes->toPlainText().contains(QStringLiteral("nothing changed here")));
        QVERIFY(!apply->isEnabled());
        QCOMPARE(home.read(Il2 + "/data/startup.cfg"), QByteArray("[END]\n"));
    }
};

QTEST_MAIN(TestSimulatorSetupDialog)
#include "tst_simulatorsetupdialog.moc"
