#include "cyclefigures.h"
#include "diagnosticsdialog.h"
#include "faketree.h"
#include "livefigures.h"
#include "setupengine.h"
#include "supportbundle.h"
#include "telemetryring.h"

#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTreeWidget>
#include <QUdpSocket>
#include <QtTest>
#include <memory>

using namespace Diagnostics;

namespace {

constexpr int64_t Ms = 1000000;

bool writeFile(const QString &path, const QByteArray &bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

// The Diagnostics window over a fake system, a fake home and simulators that never answer: the report, the
// live figures, and "Save support bundle…" with its file list and what the archive holds.
class TestDiagnosticsDialog : public QObject {
    Q_OBJECT

    QTemporaryDir scratch;
    QString home;
    FakeTree tree;
    std::unique_ptr<CycleFigures> figures = std::make_unique<CycleFigures>();
    QTcpServer silentTcp;
    QUdpSocket silentUdp;

    DiagnosticsDialog::Sources sources() {
        DiagnosticsDialog::Sources result;
        result.setting.home = home;
        result.setting.system = &tree;
        result.setting.workingFolder = home + QStringLiteral("/.local/share/vortane-quillar");
        result.setting.dcsScript = QuillarSetup::dcsScriptFromResource();
        SimConnectEndpoint endpoint;
        endpoint.port = silentTcp.serverPort();
        result.setting.targets.simConnect = {endpoint};
        result.setting.targets.xplanePort = silentUdp.localPort();
        result.setting.targets.warthunderPort = silentTcp.serverPort();
        result.figures = figures.get();
        result.activeProfile = [] { return QStringLiteral("DCS_F-16C_50_firm.json"); };
        result.forcesCsv = [] { return QByteArray("time_ms,roll_force\n0,1.5\n"); };
        return result;
    }

    void screenshot(QWidget &widget, const QString &name) {
        const QString folder = qEnvironmentVariable("QUILLAR_SCREENSHOT_DIR");
        if (!folder.isEmpty())
            QVERIFY(widget.grab().save(QDir(folder).filePath(name)));
    }

    // Three DCS datagrams: 30 s, 2 s and 1 s ago.
    static void fillRing() {
        TelemetryRing &ring = TelemetryRing::instance();
        ring.enable();
        ring.clear();
        const int64_t ringNow = TelemetryRing::steadyNs();
        ring.append(Telemetry::TELEMETRY_SOURCE_DCS, TelemetryRecording::Kind::UdpDatagram, "a", 1,
                    ringNow - 30 * 1000 * Ms);
        ring.append(Telemetry::TELEMETRY_SOURCE_DCS, TelemetryRecording::Kind::UdpDatagram, "b", 1,
                    ringNow - 2000 * Ms);
        ring.append(Telemetry::TELEMETRY_SOURCE_DCS, TelemetryRecording::Kind::UdpDatagram, "c", 1,
                    ringNow - 1000 * Ms);
    }

private slots:
    void initTestCase() {
        home = scratch.filePath(QStringLiteral("home/pilot"));
        QVERIFY(QDir().mkpath(home + QStringLiteral("/X-Plane 11")));
        qputenv("XDG_STATE_HOME", QFile::encodeName(home + QStringLiteral("/.local/state")));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home + QStringLiteral("/.config")));
        QVERIFY(writeFile(home + QStringLiteral("/.local/state/vortane-quillar/quillar.log"),
                          "2026-11-25T09:00:00.000Z info quillar.ui: started in " + home.toUtf8() + "\n"));
        QVERIFY(writeFile(
            home + QStringLiteral("/.local/share/vortane-quillar/effect_profiles/DCS_F-16C_50_firm.json"),
            "{\"metadata\": {\"name\": \"firm\"}}\n"));
        QVERIFY(silentTcp.listen(QHostAddress::LocalHost));
        silentTcp.pauseAccepting();
        QVERIFY(silentUdp.bind(QHostAddress::LocalHost, 0));

        // The joystick cannot be opened by this user; the pedals are fine.
        tree.plugBoth();
        tree.installRule();
        tree.udp({});
        tree.noAccess.insert(QStringLiteral("/dev/hidraw3"));

        // A steady 10 ms cycle, the last report 14 ms after its telemetry.
        const int64_t now = steadyClockNs();
        for (int index = 0; index < 500; ++index)
            figures->cycleStarted(now - (500 - index) * 10 * Ms);
        figures->telemetryArrived(now - 20 * Ms);
        figures->reported(now - 6 * Ms);

    }

    void opensWithTheReportAndTheLiveFigures() {
        DiagnosticsDialog dialog(sources());
        QSignalSpy checked(&dialog, &DiagnosticsDialog::checked);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Diagnostics"));
        QVERIFY(dialog.isChecking());
        QVERIFY(checked.wait(10000));

        QTreeWidget *view = dialog.reportView();
        const Report report = dialog.report();
        // One row per check and one per group heading.
        QCOMPARE(view->topLevelItemCount(), report.checks.size() + 4);
        QCOMPARE(view->topLevelItem(0)->text(0), QStringLiteral("devices"));
        QTreeWidgetItem *joystick = view->topLevelItem(1);
        QCOMPARE(joystick->text(0), QStringLiteral("joystick base 045B:58F9"));
        QCOMPARE(joystick->text(1), QStringLiteral("problem"));
        QVERIFY(
            joystick->text(2).startsWith(QStringLiteral("/dev/hidraw3 is not readable and writable by you\n"
                                                        "What to do: install the udev rule")));
        QCOMPARE(view->topLevelItem(2)->text(1), QStringLiteral("ok"));
        QCOMPARE(dialog.findChild<QLabel *>(QStringLiteral("summary_label"))->text(),
                 QStringLiteral("1 problem found, see below."));
        QCOMPARE(report.exitCode(), 1);

        fillRing();
        dialog.refreshLive();
        const QStringList live = dialog.liveText().split(QLatin1Char('\n'));
        QCOMPARE(live.size(), 3);
        QCOMPARE(live[0],
                 QStringLiteral("Records received in the last 5 s: MSFS 0, DCS 2, IL-2 0, War Thunder 0, "
                                "Condor 2 0, X-Plane 0"));
        QCOMPARE(live[1], QStringLiteral(
                              "Device cycle (last 10 s): cycle 10.0 ms p99 10.0 \u00b7 telemetry age 14 ms"));
        QCOMPARE(live[2], QStringLiteral("Last device write error: none"));
        dialog.resize(1000, 640);
        QTest::qWait(50);
        screenshot(dialog, QStringLiteral("diagnostics-dialog.png"));
    }

    void savesTheBundleAfterShowingItsFiles() {
        DiagnosticsDialog dialog(sources());
        QSignalSpy checked(&dialog, &DiagnosticsDialog::checked);
        QVERIFY(checked.wait(10000));
        QStringList shown;
        const QString path = scratch.filePath(QStringLiteral("support.tar.gz"));
        dialog.setConfirmer([&](const QStringList &files) {
            shown = files;
            return true;
        });
        QString suggested;
        dialog.setFileNameAsker([&](const QString &suggestion) {
            suggested = suggestion;
            return path;
        });
        QSignalSpy saved(&dialog, &DiagnosticsDialog::bundleSaved);
        fillRing();
        dialog.findChild<QPushButton *>(QStringLiteral("save_bundle_button"))->click();
        QCOMPARE(saved.size(), 1);
        QVERIFY(suggested.startsWith(home + QStringLiteral("/quillar-support-")));
        QCOMPARE(shown,
                 QStringList({"versions.txt", "diagnostics.txt", "setup-status.txt", "logs/quillar.log",
                              "profiles/list.txt", "profiles/active/DCS_F-16C_50_firm.json",
                              "telemetry-last-60s.qrec", "forces-last-10s.csv"}));

        QList<SupportBundle::File> files;
        QString error;
        QVERIFY2(readArchive(path, &files, &error), qPrintable(error));
        QStringList names;
        for (const SupportBundle::File &file : files) {
            names << file.name.mid(SupportBundle::topFolder().size() + 1);
            QVERIFY2(!file.content.contains(home.toUtf8()), qPrintable(file.name));
        }
        // What was listed is what was saved.
        QCOMPARE(names, shown);
        QVERIFY(files[0].content.startsWith("program: quillar "));
        QVERIFY(files[1].content.startsWith("devices\n  problem  joystick base 045B:58F9"));
        QCOMPARE(files[3].content, QByteArray("2026-11-25T09:00:00.000Z info quillar.ui: started in ~\n"));
        QCOMPARE(files[5].content, QByteArray("{\"metadata\": {\"name\": \"firm\"}}\n"));
        QCOMPARE(files[7].content, QByteArray("time_ms,roll_force\n0,1.5\n"));

        // The recording reads with the project's own reader script.
        const QString recording = scratch.filePath(QStringLiteral("telemetry.qrec"));
        QVERIFY(writeFile(recording, files[6].content));
        QProcess reader;
        reader.start(QStringLiteral("python3"),
                     {QStringLiteral(QUILLAR_SOURCE_DIR "/scripts/recording/read_recording.py"), recording});
        QVERIFY(reader.waitForFinished(30000));
        const QByteArray printed = reader.readAllStandardOutput();
        QCOMPARE(reader.exitCode(), 0);
        QCOMPARE(printed.count('\n'), 3);
        QVERIFY2(printed.contains("DCS"), printed);
    }

    void nothingIsWrittenWhenTheUserDeclines() {
        DiagnosticsDialog dialog(sources());
        dialog.setConfirmer([](const QStringList &) { return false; });
        bool asked = false;
        dialog.setFileNameAsker([&](const QString &) {
            asked = true;
            return QString();
        });
        dialog.findChild<QPushButton *>(QStringLiteral("save_bundle_button"))->click();
        QVERIFY(!asked);
    }

    void anUnwritablePathIsAClearError() {
        DiagnosticsDialog dialog(sources());
        QString error;
        const QString path = scratch.filePath(QStringLiteral("missing/folder/b.zip"));
        QVERIFY(!dialog.saveBundle(path, &error));
        QVERIFY2(error.startsWith(QStringLiteral("cannot write the support bundle ") + path),
                 qPrintable(error));
    }
};

QTEST_MAIN(TestDiagnosticsDialog)
#include "tst_diagnosticsdialog.moc"
