#include "fakehome.h"
#include "setupengine.h"
#include "setuphomes.h"
#include "setuptool.h"

#include <QFile>
#include <QProcess>
#include <QStringEncoder>
#include <QTextStream>
#include <QtTest>

using namespace SetupHomes;

namespace {

struct Run {
    int code = -1;
    QString out; // without the notes
    QString err;
    QStringList notes; // the "note: " lines, without that word
};

Run runTool(const FakeHome &home, QStringList arguments) {
    arguments.prepend(home.path());
    arguments.prepend(QStringLiteral("--home"));
    arguments.prepend(QStringLiteral("quillar-setup"));
    Run run;
    QTextStream out(&run.out);
    QTextStream err(&run.err);
    run.code = QuillarSetup::runSetupTool(arguments, out, err, QuillarSetup::dcsScriptFromResource());
    out.flush();
    QStringList lines = run.out.split(QLatin1Char('\n'));
    for (int i = lines.size() - 1; i >= 0; --i) {
        if (lines.at(i).startsWith(QStringLiteral("note: "))) {
            run.notes.prepend(lines.takeAt(i).mid(6));
        }
    }
    run.out = lines.join(QLatin1Char('\n'));
    return run;
}

// The fake home's vdf lists a library on a drive that is not there.
QString missingLibraryNote(const FakeHome &home) {
    return QStringLiteral(
               "Steam library /nonexistent-quillar-library (listed in %1) is not there; a drive that "
               "is not mounted? Not searched")
        .arg(home.filePath(Steam + QStringLiteral("/steamapps/libraryfolders.vdf")));
}

// A status line: the states line up after the longest folder of the listing (`width`).
QString line(const QString &key, const QString &state, const QString &folder, int width) {
    return key.leftJustified(11) + folder.leftJustified(width) + QStringLiteral("  ") + state +
           QLatin1Char('\n');
}

int widest(const FakeHome &home, const QStringList &folders) {
    int width = 0;
    for (const QString &folder : folders) {
        width = qMax(width, int(home.filePath(folder).size()));
    }
    return width;
}

} // namespace

class TestSetupTool : public QObject {
    Q_OBJECT

private:
    QByteArray script;

    QString statusText(const FakeHome &home, const QString &dcsState, const QString &state) {
        const int w = widest(
            home, {SteamDcs, WineDcs, Il2, Condor, Msfs2024, Msfs2020, XPlane12, XPlane11, WarThunder});
        return line("dcs", dcsState, home.filePath(SteamDcs), w) +
               line("dcs", state, home.filePath(WineDcs), w) + line("il2", state, home.filePath(Il2), w) +
               line("condor2", state, home.filePath(Condor), w) +
               line("msfs", state, home.filePath(Msfs2024), w) +
               line("msfs", state, home.filePath(Msfs2020), w) +
               line("xplane", "nothing to set up", home.filePath(XPlane12), w) +
               line("xplane", "nothing to set up", home.filePath(XPlane11), w) +
               line("warthunder", "nothing to set up", home.filePath(WarThunder), w);
    }

private slots:
    void initTestCase() {
        // Our SimConnect.cfg goes to the fake home's own data folder, never to the user's.
        qunsetenv("XDG_DATA_HOME");
        script = QuillarSetup::dcsScriptFromResource();
        QFile shipped(QStringLiteral(QUILLAR_SOURCE_DIR "/simulators/dcs/VortaneQuillar.lua"));
        QVERIFY(shipped.open(QIODevice::ReadOnly));
        // The embedded script is the one in the source tree, byte for byte.
        QCOMPARE(script, shipped.readAll());
        QVERIFY(script.size() > 1000);
    }

    void statusInstallTwiceAndRemove() {
        FakeHome home;
        QVERIFY(build(home));
        const QMap<QString, QByteArray> original = home.snapshot();

        Run status = runTool(home, {"status"});
        QCOMPARE(status.err, QString());
        QCOMPARE(status.notes, QStringList{missingLibraryNote(home)});
        QCOMPARE(status.out, statusText(home, "not set up", "not set up"));
        QCOMPARE(status.code, 0);
        QCOMPARE(home.snapshot(), original);

        Run install = runTool(home, {"install"});
        QCOMPARE(install.code, 0);
        QVERIFY2(install.out.contains("created " + home.filePath(WineDcs) + "/Scripts/VortaneQuillar.lua"),
                 qPrintable(install.out));
        QVERIFY(install.out.contains(
            "changed " + home.filePath(SteamDcs) +
            "/Scripts/Export.lua (add the line that runs the export script); the original is "
            "kept as Export.lua.quillar-backup"));

        QMap<QString, QByteArray> expected = original;
        expected.insert(SteamDcs + "/Scripts/VortaneQuillar.lua", script);
        expected.insert(SteamDcs + "/Scripts/Export.lua", OtherExports + ExportLine + "\r\n");
        expected.insert(SteamDcs + "/Scripts/Export.lua.quillar-backup", OtherExports);
        expected.insert(WineDcs + "/Scripts/", QByteArray());
        expected.insert(WineDcs + "/Scripts/VortaneQuillar.lua", script);
        expected.insert(WineDcs + "/Scripts/Export.lua", ExportLine + "\n");
        expected.insert(Il2 + "/data/startup.cfg", StartupSetUp);
        expected.insert(Il2 + "/data/startup.cfg.quillar-backup", Startup);
        expected.insert(Condor + "/Settings/UDP.ini", UdpIniSetUp);
        expected.insert(Condor + "/Settings/UDP.ini.quillar-backup", UdpIni);
        expected.insert(Msfs2020 + "/SimConnect.xml", simConnectXmlSetUp());
        expected.insert(Msfs2020 + "/SimConnect.xml.quillar-backup", SimConnectXml);
        expected.insert(Msfs2024 + "/SimConnect.xml", newSimConnectXml());
        expected.insert(".local/share/vortane-quillar/", QByteArray());
        expected.insert(SteamDcs + "/Scripts/VortaneQuillarConfig.lua", QuillarSetup::dcsSettingsFile());
        expected.insert(WineDcs + "/Scripts/VortaneQuillarConfig.lua", QuillarSetup::dcsSettingsFile());
        expected.insert(SimConnectCfg, "[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=29779\n");
        QCOMPARE(home.snapshot(), expected);

        status = runTool(home, {"status"});
        QCOMPARE(status.out, statusText(home, "ready", "ready"));

        Run again = runTool(home, {"install"});
        QCOMPARE(again.code, 0);
        QVERIFY(!again.out.contains("created " + home.path()));
        QVERIFY(!again.out.contains("changed " + home.path()));
        QCOMPARE(again.out.count("nothing to change"), 6);
        QVERIFY(again.out.endsWith("Nothing changed: everything was already set up.\n"));
        QCOMPARE(home.snapshot(), expected);

        Run remove = runTool(home, {"remove"});
        QCOMPARE(remove.code, 0);
        QVERIFY2(remove.out.contains("deleted " + home.filePath(WineDcs) + "/Scripts/Export.lua"),
                 qPrintable(remove.out));
        // Every file is back as it was; the backups stay, and so does the Scripts folder DCS asks for.
        QMap<QString, QByteArray> restored = original;
        restored.insert(SteamDcs + "/Scripts/Export.lua.quillar-backup", OtherExports);
        restored.insert(WineDcs + "/Scripts/", QByteArray());
        restored.insert(Il2 + "/data/startup.cfg.quillar-backup", Startup);
        restored.insert(Condor + "/Settings/UDP.ini.quillar-backup", UdpIni);
        restored.insert(Msfs2020 + "/SimConnect.xml.quillar-backup", SimConnectXml);
        restored.insert(".local/share/vortane-quillar/", QByteArray());
        QCOMPARE(home.snapshot(), restored);

        status = runTool(home, {"status"});
        QCOMPARE(status.out, statusText(home, "not set up", "not set up"));
        Run removeAgain = runTool(home, {"remove"});
        QCOMPARE(removeAgain.code, 0);
        QVERIFY(removeAgain.out.endsWith("Nothing changed: everything was already taken out.\n"));
        QCOMPARE(home.snapshot(), restored);

        // Installing after a remove leaves the first backups as they are.
        QCOMPARE(runTool(home, {"install"}).code, 0);
        QCOMPARE(home.snapshot(), expected);
    }

    void dryRunChangesNothing() {
        FakeHome home;
        QVERIFY(build(home));
        const QMap<QString, QByteArray> original = home.snapshot();
        const Run run = runTool(home, {"--dry-run", "install", "il2", "dcs"});
        QCOMPARE(run.code, 0);
        QVERIFY(run.out.startsWith("dry run: nothing is changed\n"));
        QVERIFY(run.out.contains(
            "would change " + home.filePath(Il2) +
            "/data/startup.cfg (send the telemetry to port 29777); the original would be kept as "
            "startup.cfg.quillar-backup"));
        QVERIFY(run.out.contains("would create folder " + home.filePath(WineDcs) + "/Scripts\n"));
        QVERIFY(!run.out.contains("condor2"));
        QCOMPARE(home.snapshot(), original);
    }

    void namedSimulatorsOnly() {
        FakeHome home;
        QVERIFY(build(home));
        const Run run = runTool(home, {"status", "warthunder", "il2"});
        QCOMPARE(run.code, 0);
        // Listed in the tool's order, whatever the order asked.
        const int w = widest(home, {Il2, WarThunder});
        QCOMPARE(run.out, line("il2", "not set up", home.filePath(Il2), w) +
                              line("warthunder", "nothing to set up", home.filePath(WarThunder), w));
    }

    void nothingFound() {
        FakeHome home;
        const Run run = runTool(home, {"status"});
        QCOMPARE(run.code, 0);
        QCOMPARE(run.out,
                 QStringLiteral("dcs        no installation found\nil2        no installation found\n"
                                "condor2    no installation found\nmsfs       no installation found\n"
                                "xplane     no installation found\nwarthunder no installation found\n"));
    }

    void badArguments_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("no command") << QStringList() << "a command is needed: status, install, remove or doctor";
        QTest::newRow("unknown command") << QStringList{"setup"} << "unknown command \"setup\"";
        QTest::newRow("unknown simulator")
            << QStringList{"install", "falcon"} << "unknown simulator \"falcon\"";
        QTest::newRow("unknown option") << QStringList{"--force", "status"} << "Unknown option 'force'.";
    }

    void badArguments() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        FakeHome home;
        const QMap<QString, QByteArray> before = home.snapshot();
        const Run run = runTool(home, arguments);
        QCOMPARE(run.code, 2);
        QCOMPARE(run.out, QString());
        QVERIFY2(run.err.startsWith("quillar-setup: " + message + "\nUsage: quillar-setup"),
                 qPrintable(run.err));
        QCOMPARE(home.snapshot(), before);
    }

    void missingHomeIsABadArgument() {
        Run run;
        QTextStream out(&run.out);
        QTextStream err(&run.err);
        const int code = QuillarSetup::runSetupTool(
            {"quillar-setup", "--home", "/nonexistent-quillar-home", "status"}, out, err, script);
        QCOMPARE(code, 2);
        QVERIFY(run.err.startsWith("quillar-setup: no folder \"/nonexistent-quillar-home\"\n"));
    }

    void readOnlyFileIsReportedAndNothingElseOfItsInstallationTouched() {
        FakeHome home;
        QVERIFY(build(home));
        const QString startup = home.filePath(Il2 + "/data/startup.cfg");
        QVERIFY(QFile::setPermissions(startup, QFileDevice::ReadOwner | QFileDevice::ReadGroup));
        const Run run = runTool(home, {"install", "il2", "condor2"});
        QFile::setPermissions(startup, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        QCOMPARE(run.code, 1);
        QVERIFY2(run.out.contains("cannot change " + startup + ": read-only file\n"), qPrintable(run.out));
        QVERIFY(run.out.endsWith("Some files could not be changed (see above).\n"));
        QCOMPARE(home.read(Il2 + "/data/startup.cfg"), Startup);
        QVERIFY(!home.exists(Il2 + "/data/startup.cfg.quillar-backup"));
        // The other simulator is still set up.
        QCOMPARE(home.read(Condor + "/Settings/UDP.ini"), UdpIniSetUp);
    }

    void readOnlyFolderAndDanglingLink() {
        FakeHome home;
        QVERIFY(build(home));
        const QString scripts = home.filePath(SteamDcs + "/Scripts");
        QVERIFY(QFile::setPermissions(scripts, QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        QVERIFY(home.link(WineDcs + "/Scripts/Export.lua", home.filePath("nowhere/Export.lua")));
        const QMap<QString, QByteArray> before = home.snapshot();
        const Run run = runTool(home, {"install", "dcs"});
        QFile::setPermissions(scripts,
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        QCOMPARE(run.code, 1);
        QVERIFY2(run.out.contains("cannot change " + scripts + "/VortaneQuillar.lua: read-only folder " +
                                  scripts + "\n"),
                 qPrintable(run.out));
        QVERIFY(run.out.contains("cannot change " + home.filePath(WineDcs) +
                                 "/Scripts/Export.lua: a link to " + home.filePath("nowhere/Export.lua") +
                                 ", which does not exist\n"));
        QCOMPARE(home.snapshot(), before);
        const Run status = runTool(home, {"status", "dcs"});
        QCOMPARE(status.code, 0);
        const int w = widest(home, {SteamDcs, WineDcs});
        QCOMPARE(status.out, line("dcs", "not set up", home.filePath(SteamDcs), w) +
                                 line("dcs", "not set up", home.filePath(WineDcs), w) + "           " +
                                 home.filePath(WineDcs) + "/Scripts/Export.lua: a link to " +
                                 home.filePath("nowhere/Export.lua") + ", which does not exist\n");
    }

    void malformedFilesAreLeftAndReported() {
        FakeHome home;
        QVERIFY(build(home));
        const QByteArray brokenXml = "<SimBase.Document><SimConnect.Comm></SimBase.Document>\r\n";
        QVERIFY(home.write(Msfs2020 + "/SimConnect.xml", brokenXml));
        const QByteArray brokenStartup = "[KEY = telemetrydevice]\n\taddr = \"127.0.0.1\"\n";
        QVERIFY(home.write(Il2 + "/data/startup.cfg", brokenStartup));
        QVERIFY(home.write(Steam + "/steamapps/libraryfolders.vdf", "\"libraryfolders\"\n{\n\t\"0\"\n\t{\n"));
        QVERIFY(home.write(Library2 + "/steamapps/libraryfolders.vdf", "unused"));

        Run status = runTool(home, {"status"});
        QCOMPARE(status.code, 0);
        // The first library is still searched; the one it would have named is not.
        QCOMPARE(status.notes,
                 QStringList{home.filePath(Steam) +
                             "/steamapps/libraryfolders.vdf: cannot be read (line 5: a block is "
                             "never closed); its other libraries were not searched"});
        QVERIFY(status.out.contains(
            line("msfs", "not set up", home.filePath(Msfs2024),
                 widest(home, {SteamDcs, WineDcs, Condor, Msfs2024, XPlane11, WarThunder}))));
        QVERIFY(!status.out.contains(home.filePath(Msfs2020)));
        QVERIFY(status.out.contains(QStringLiteral("\nil2        no installation found\n")));

        // With the second library reachable again through the old form of the file, the broken files show.
        QVERIFY(home.write(Steam + "/steamapps/libraryfolders.vdf",
                           "\"LibraryFolders\"\n{\n\t\"TimeNextStatsReport\"\t\t\"1\"\n\t\"1\"\t\t\"" +
                               home.filePath(Library2).toUtf8() + "\"\n}\n"));
        status = runTool(home, {"status", "il2", "msfs"});
        const int w = widest(home, {Il2, Msfs2024, Msfs2020});
        QCOMPARE(status.out,
                 line("il2", "not set up", home.filePath(Il2), w) + "           " + home.filePath(Il2) +
                     "/data/startup.cfg: cannot be read (line 1: the block is never closed with [END])\n" +
                     line("msfs", "not set up", home.filePath(Msfs2024), w) +
                     line("msfs", "not set up", home.filePath(Msfs2020), w) + "           " +
                     home.filePath(Msfs2020) +
                     "/SimConnect.xml: cannot be read (line 1: Opening and ending tag mismatch.)\n");

        const Run install = runTool(home, {"install", "il2", "msfs"});
        QCOMPARE(install.code, 1);
        QCOMPARE(home.read(Msfs2020 + "/SimConnect.xml"), brokenXml);
        QCOMPARE(home.read(Il2 + "/data/startup.cfg"), brokenStartup);
        QVERIFY(!home.exists(Msfs2020 + "/SimConnect.xml.quillar-backup"));
        QCOMPARE(home.read(Msfs2024 + "/SimConnect.xml"), newSimConnectXml());
    }

    void staleScriptNeedsRepair() {
        FakeHome home;
        QVERIFY(build(home));
        const QByteArray oldScript = "-- an older Vortane Quillar export\n";
        QVERIFY(home.write(SteamDcs + "/Scripts/VortaneQuillar.lua", oldScript));
        QVERIFY(home.write(SteamDcs + "/Scripts/Export.lua", OtherExports + ExportLine + "\r\n"));
        Run status = runTool(home, {"status", "dcs"});
        QCOMPARE(status.out,
                 line("dcs", "needs repair", home.filePath(SteamDcs), widest(home, {SteamDcs, WineDcs})) +
                     line("dcs", "not set up", home.filePath(WineDcs), widest(home, {SteamDcs, WineDcs})));
        QCOMPARE(runTool(home, {"install", "dcs"}).code, 0);
        QCOMPARE(home.read(SteamDcs + "/Scripts/VortaneQuillar.lua"), script);
        QCOMPARE(home.read(SteamDcs + "/Scripts/VortaneQuillar.lua.quillar-backup"), oldScript);
        QCOMPARE(home.read(SteamDcs + "/Scripts/Export.lua"), OtherExports + ExportLine + "\r\n");
        QVERIFY(!home.exists(SteamDcs + "/Scripts/Export.lua.quillar-backup"));
        status = runTool(home, {"status", "dcs"});
        QCOMPARE(status.out,
                 line("dcs", "ready", home.filePath(SteamDcs), widest(home, {SteamDcs, WineDcs})) +
                     line("dcs", "ready", home.filePath(WineDcs), widest(home, {SteamDcs, WineDcs})));
    }

    void userEditsAfterInstallSurviveRemove() {
        FakeHome home;
        QVERIFY(build(home));
        QCOMPARE(runTool(home, {"install", "dcs", "il2", "msfs"}).code, 0);
        // Another tool adds its line after ours; remove takes out only ours.
        const QByteArray later = OtherExports + ExportLine + "\r\ndofile('Scripts/Later.lua')\r\n";
        QVERIFY(home.write(SteamDcs + "/Scripts/Export.lua", later));
        QByteArray startup = StartupSetUp;
        startup.replace("\tport = 4321\n", "\tport = 4322\n");
        QVERIFY(home.write(Il2 + "/data/startup.cfg", startup));
        QByteArray xml = simConnectXmlSetUp();
        xml.replace("<Port>4500</Port>", "<Port>4501</Port>");
        QVERIFY(home.write(Msfs2020 + "/SimConnect.xml", xml));

        const Run run = runTool(home, {"remove", "dcs", "il2", "msfs"});
        QCOMPARE(run.code, 0);
        QCOMPARE(home.read(SteamDcs + "/Scripts/Export.lua"),
                 OtherExports + "dofile('Scripts/Later.lua')\r\n");
        QByteArray startupAfter = Startup;
        startupAfter.replace("\tport = 4321\n", "\tport = 4322\n");
        QCOMPARE(home.read(Il2 + "/data/startup.cfg"), startupAfter);
        QByteArray xmlAfter = SimConnectXml;
        xmlAfter.replace("<Port>4500</Port>", "<Port>4501</Port>");
        QCOMPARE(home.read(Msfs2020 + "/SimConnect.xml"), xmlAfter);
        QVERIFY(!home.exists(SimConnectCfg));
    }

    void msfsGetsOurEntryOnPort29779AndOurCfg() {
        FakeHome home;
        QVERIFY(build(home));
        // The stock entry on port 500 is there, and does not count: MSFS under Wine cannot open it.
        QByteArray stock = SimConnectXml;
        stock.replace("<Scope>global</Scope>\r\n        <Port>4500</Port>",
                      "<Scope>local</Scope>\r\n        <Port>500</Port>");
        QVERIFY(home.write(Msfs2020 + "/SimConnect.xml", stock));
        const int w = widest(home, {Msfs2024, Msfs2020});
        QCOMPARE(runTool(home, {"status", "msfs"}).out,
                 line("msfs", "not set up", home.filePath(Msfs2024), w) +
                     line("msfs", "not set up", home.filePath(Msfs2020), w));
        QCOMPARE(runTool(home, {"install", "msfs"}).code, 0);
        QByteArray stockSetUp = stock;
        stockSetUp.insert(stockSetUp.size() - int(strlen("</SimBase.Document>\r\n")), ourComm("\r\n"));
        QCOMPARE(home.read(Msfs2020 + "/SimConnect.xml"), stockSetUp);
        QVERIFY(stockSetUp.contains("<Port>500</Port>"));
        QVERIFY(stockSetUp.contains("<Descr>Vortane Quillar</Descr>"));
        QCOMPARE(home.read(SimConnectCfg),
                 QByteArray("[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=29779\n"));
        QCOMPARE(runTool(home, {"status", "msfs"}).out,
                 line("msfs", "ready", home.filePath(Msfs2024), w) +
                     line("msfs", "ready", home.filePath(Msfs2020), w));
        QCOMPARE(runTool(home, {"remove", "msfs"}).code, 0);
        QCOMPARE(home.read(Msfs2020 + "/SimConnect.xml"), stock);
        QVERIFY(!home.exists(SimConnectCfg));
    }

    void simConnectCfgHonoursXdgDataHome() {
        FakeHome home;
        FakeHome data;
        QVERIFY(build(home));
        qputenv("XDG_DATA_HOME", data.path().toUtf8());
        const Run install = runTool(home, {"install", "msfs"});
        const QByteArray written = data.read("vortane-quillar/SimConnect.cfg");
        const Run remove = runTool(home, {"remove", "msfs"});
        qunsetenv("XDG_DATA_HOME");
        QCOMPARE(install.code, 0);
        QCOMPARE(written, QByteArray("[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=29779\n"));
        QVERIFY(!home.exists(SimConnectCfg));
        QVERIFY2(remove.out.contains("deleted " + data.filePath("vortane-quillar/SimConnect.cfg")),
                 qPrintable(remove.out));
        QVERIFY(!data.exists("vortane-quillar/SimConnect.cfg"));
    }

    void aCfgOfTheUsersIsKept() {
        FakeHome home;
        QVERIFY(build(home));
        const QByteArray cfg = "[SimConnect]\r\nProtocol=IPv4\r\nAddress=192.168.1.9\r\nPort=5077\r\n";
        QVERIFY(home.write(SimConnectCfg, cfg));
        const Run install = runTool(home, {"install", "msfs"});
        QCOMPARE(install.code, 0);
        QVERIFY2(
            install.out.contains("left " + home.filePath(SimConnectCfg) +
                                 ": names port 5077, so the program connects there and not to port 29779\n"),
            qPrintable(install.out));
        QCOMPARE(home.read(Msfs2024 + "/SimConnect.xml"), newSimConnectXml());
        QCOMPARE(home.read(SimConnectCfg), cfg);
        // Our cfg was not made by the set-up, so remove leaves it.
        QCOMPARE(runTool(home, {"remove", "msfs"}).code, 0);
        QCOMPARE(home.read(SimConnectCfg), cfg);
        QVERIFY(!home.exists(Msfs2024 + "/SimConnect.xml"));
        // The one an earlier version wrote, for port 500, is ours to replace.
        QVERIFY(home.write(SimConnectCfg, "[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=500\n"));
        QCOMPARE(runTool(home, {"install", "msfs"}).code, 0);
        QCOMPARE(home.read(SimConnectCfg),
                 QByteArray("[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=29779\n"));
    }

    void utf16SimConnectXmlStaysUtf16() {
        FakeHome home;
        QVERIFY(build(home));
        auto utf16 = [](QByteArray utf8) {
            QStringEncoder encoder(QStringConverter::Utf16LE);
            return QByteArray("\xFF\xFE", 2) + QByteArray(encoder(QString::fromUtf8(utf8)));
        };
        QByteArray text = SimConnectXml;
        text.replace("encoding=\"Windows-1252\"", "encoding=\"UTF-16\"");
        text.replace("Static IP4 port", "Port für das Netz");
        QByteArray setUp = simConnectXmlSetUp();
        setUp.replace("encoding=\"Windows-1252\"", "encoding=\"UTF-16\"");
        setUp.replace("Static IP4 port", "Port für das Netz");
        QVERIFY(home.write(Msfs2020 + "/SimConnect.xml", utf16(text)));
        QCOMPARE(runTool(home, {"install", "msfs"}).code, 0);
        QCOMPARE(home.read(Msfs2020 + "/SimConnect.xml"), utf16(setUp));
        QCOMPARE(home.read(Msfs2020 + "/SimConnect.xml.quillar-backup"), utf16(text));
        QCOMPARE(runTool(home, {"remove", "msfs"}).code, 0);
        QCOMPARE(home.read(Msfs2020 + "/SimConnect.xml"), utf16(text));
    }

    void linksLeadingOutsideTheHomeAreNotFollowed() {
        FakeHome home;
        FakeHome elsewhere;
        QVERIFY(build(home));
        QVERIFY(elsewhere.write("Export.lua", OtherExports));
        QVERIFY(QFile::remove(home.filePath(SteamDcs + "/Scripts/Export.lua")));
        QVERIFY(home.link(SteamDcs + "/Scripts/Export.lua", elsewhere.filePath("Export.lua")));
        const QMap<QString, QByteArray> before = home.snapshot();
        const Run run = runTool(home, {"install", "dcs"});
        QCOMPARE(run.code, 1);
        QVERIFY2(run.out.contains("cannot change " + home.filePath(SteamDcs) +
                                  "/Scripts/Export.lua: leads to " + elsewhere.filePath("Export.lua") +
                                  ", outside " + home.filePath(Steam) + "; left as it is\n"),
                 qPrintable(run.out));
        QCOMPARE(elsewhere.read("Export.lua"), OtherExports);
        QVERIFY(!elsewhere.exists("Export.lua.quillar-backup"));
        // The open-beta folder, all inside the home, is still set up.
        QMap<QString, QByteArray> expected = before;
        expected.insert(WineDcs + "/Scripts/", QByteArray());
        expected.insert(WineDcs + "/Scripts/VortaneQuillar.lua", script);
        expected.insert(WineDcs + "/Scripts/Export.lua", ExportLine + "\n");
        expected.insert(WineDcs + "/Scripts/VortaneQuillarConfig.lua", QuillarSetup::dcsSettingsFile());
        QCOMPARE(home.snapshot(), expected);
    }

    void condorSetUpByHandIsANoteNotAFailure() {
        FakeHome home;
        QVERIFY(build(home));
        QVERIFY(home.write(Condor + "/Settings/UDP.ini", UdpIniSetUp));
        const QMap<QString, QByteArray> before = home.snapshot();
        for (int i = 0; i < 2; ++i) {
            const Run run = runTool(home, {"remove", "condor2"});
            QCOMPARE(run.code, 0);
            QVERIFY2(
                run.out.contains("left " + home.filePath(Condor) +
                                 "/Settings/UDP.ini: set up by hand or changed since it was set up, so the "
                                 "values before are not known\n"),
                qPrintable(run.out));
            QVERIFY(run.out.endsWith("Nothing changed; the files named \"left\" above are as they were.\n"));
            QCOMPARE(home.snapshot(), before);
        }
    }

    // A hand-made Export.lua (another tool's lines and ours): remove, install, remove ends with our line
    // and our script gone and the other lines as they were.
    void dcsSetUpByHandUndoesCleanly() {
        FakeHome home;
        QVERIFY(build(home));
        QVERIFY(home.write(SteamDcs + "/Scripts/Export.lua", OtherExports + ExportLine + "\r\n"));
        QVERIFY(home.write(SteamDcs + "/Scripts/VortaneQuillar.lua", script));
        for (const char *command : {"remove", "install", "remove"}) {
            QCOMPARE(runTool(home, {command, "dcs"}).code, 0);
        }
        QCOMPARE(home.read(SteamDcs + "/Scripts/Export.lua"), OtherExports);
        QVERIFY(!home.exists(SteamDcs + "/Scripts/VortaneQuillar.lua"));
        QVERIFY(!home.exists(SteamDcs + "/Scripts/VortaneQuillarConfig.lua"));
        QVERIFY(runTool(home, {"status", "dcs"})
                    .out.startsWith(line("dcs", "not set up", home.filePath(SteamDcs),
                                         widest(home, {SteamDcs, WineDcs}))));
    }

    void il2BlockSetUpByHandUndoesCleanly() {
        FakeHome home;
        QVERIFY(build(home));
        const QByteArray handMade =
            "[KEY = graphics]\n\tfullscreen = true\n[END]\n[KEY = telemetrydevice]\n"
            "\taddr = \"127.0.0.1\"\n\tdecimation = 2\n\tenable = true\n\tport = 29777\n[END]\n";
        QVERIFY(home.write(Il2 + "/data/startup.cfg", handMade));
        for (const char *command : {"remove", "install", "remove"}) {
            QCOMPARE(runTool(home, {command, "il2"}).code, 0);
        }
        QCOMPARE(home.read(Il2 + "/data/startup.cfg"),
                 QByteArray("[KEY = graphics]\n\tfullscreen = true\n[END]\n"));
        QCOMPARE(runTool(home, {"status", "il2"}).out,
                 line("il2", "not set up", home.filePath(Il2), widest(home, {Il2})));
    }

    // The user's settings live in their own file, made once; an edited script is replaced only with a copy
    // that no later run overwrites.
    void dcsSettingsAndEditedScriptsAreKept() {
        FakeHome home;
        QVERIFY(build(home));
        QCOMPARE(runTool(home, {"install", "dcs"}).code, 0);
        const QString settings = SteamDcs + "/Scripts/VortaneQuillarConfig.lua";
        QCOMPARE(home.read(settings), QuillarSetup::dcsSettingsFile());
        QVERIFY(home.write(settings, "return { aoaScale = 57.2958 }\n"));
        const QString copy = SteamDcs + "/Scripts/VortaneQuillar.lua";
        QVERIFY(home.write(copy, script + "-- first edit\n"));
        QCOMPARE(runTool(home, {"install", "dcs"}).code, 0);
        QCOMPARE(home.read(copy), script);
        QCOMPARE(home.read(copy + ".quillar-backup"), script + "-- first edit\n");
        QVERIFY(home.write(copy, script + "-- second edit\n"));
        const Run repair = runTool(home, {"install", "dcs"});
        QCOMPARE(repair.code, 0);
        QVERIFY2(repair.out.contains("; a copy is kept as VortaneQuillar.lua.quillar-backup.2"),
                 qPrintable(repair.out));
        QCOMPARE(home.read(copy + ".quillar-backup"), script + "-- first edit\n");
        QCOMPARE(home.read(copy + ".quillar-backup.2"), script + "-- second edit\n");
        QCOMPARE(home.read(settings), QByteArray("return { aoaScale = 57.2958 }\n"));
        // Remove keeps the user's settings, and a later install finds them again.
        const Run remove = runTool(home, {"remove", "dcs"});
        QCOMPARE(remove.code, 0);
        QVERIFY(remove.out.contains("left " + home.filePath(settings) + ": holds your settings\n"));
        QCOMPARE(home.read(settings), QByteArray("return { aoaScale = 57.2958 }\n"));
        QCOMPARE(runTool(home, {"install", "dcs"}).code, 0);
        QCOMPARE(home.read(settings), QByteArray("return { aoaScale = 57.2958 }\n"));
    }

    // Whatever stands at the settings file's place (a dangling link here) does not stop the set-up.
    void aSettingsFileThatCannotBeReadIsANote() {
        FakeHome home;
        QVERIFY(build(home));
        const QString settings = WineDcs + "/Scripts/VortaneQuillarConfig.lua";
        QVERIFY(home.link(settings, home.filePath("nowhere/settings.lua")));
        const Run install = runTool(home, {"install", "dcs"});
        QCOMPARE(install.code, 0);
        QVERIFY2(install.out.contains("left " + home.filePath(settings) + ": a link to " +
                                      home.filePath("nowhere/settings.lua") + ", which does not exist\n"),
                 qPrintable(install.out));
        QCOMPARE(home.read(WineDcs + "/Scripts/Export.lua"), ExportLine + "\n");
        QCOMPARE(runTool(home, {"remove", "dcs"}).code, 0);
        QVERIFY(!home.exists(WineDcs + "/Scripts/Export.lua"));
    }

    void repairThenRemoveEndsNotSetUp() {
        FakeHome home;
        QVERIFY(build(home));
        const QByteArray oldScript = "-- an older Vortane Quillar export\n";
        QVERIFY(home.write(SteamDcs + "/Scripts/VortaneQuillar.lua", oldScript));
        QVERIFY(home.write(SteamDcs + "/Scripts/Export.lua", OtherExports + ExportLine + "\r\n"));
        QCOMPARE(runTool(home, {"install", "dcs"}).code, 0);
        QCOMPARE(runTool(home, {"remove", "dcs"}).code, 0);
        const int w = widest(home, {SteamDcs, WineDcs});
        QCOMPARE(runTool(home, {"status", "dcs"}).out,
                 line("dcs", "not set up", home.filePath(SteamDcs), w) +
                     line("dcs", "not set up", home.filePath(WineDcs), w));
        QVERIFY(!home.exists(SteamDcs + "/Scripts/VortaneQuillar.lua"));
        QCOMPARE(home.read(SteamDcs + "/Scripts/VortaneQuillar.lua.quillar-backup"), oldScript);
        const Run again = runTool(home, {"remove", "dcs"});
        QCOMPARE(again.code, 0);
        QVERIFY(again.out.endsWith("Nothing changed: everything was already taken out.\n"));
    }

    void il2SwitchGoesBackOffAfterLaterEdits() {
        FakeHome home;
        QVERIFY(build(home));
        QByteArray off = Startup;
        off.replace("\tenable = true\n", "\tenable = false\n");
        QVERIFY(home.write(Il2 + "/data/startup.cfg", off));
        QCOMPARE(runTool(home, {"install", "il2"}).code, 0);
        QByteArray edited = home.read(Il2 + "/data/startup.cfg");
        QVERIFY(edited.contains("\tenable = true\n"));
        edited.replace("\tfullscreen = true\n", "\tfullscreen = false\n");
        QVERIFY(home.write(Il2 + "/data/startup.cfg", edited));
        QCOMPARE(runTool(home, {"remove", "il2"}).code, 0);
        QByteArray expected = off;
        expected.replace("\tfullscreen = true\n", "\tfullscreen = false\n");
        QCOMPARE(home.read(Il2 + "/data/startup.cfg"), expected);
    }

    // install, remove, install, remove: every file ends as the user had it, with our part gone.
    void roundTrips_data() {
        QTest::addColumn<QString>("kind");
        QTest::newRow("tool-made") << "tool-made";
        QTest::newRow("hand-made") << "hand-made";
        QTest::newRow("partly hand-made") << "partly";
    }

    void roundTrips() {
        QFETCH(QString, kind);
        FakeHome home;
        QVERIFY(build(home));
        QMap<QString, QByteArray> expected = home.snapshot();
        if (kind == "hand-made") {
            QVERIFY(home.write(SteamDcs + "/Scripts/Export.lua", OtherExports + ExportLine + "\r\n"));
            QVERIFY(home.write(SteamDcs + "/Scripts/VortaneQuillar.lua", script));
            QVERIFY(home.write(Il2 + "/data/startup.cfg", StartupSetUp));
            QVERIFY(home.write(Msfs2020 + "/SimConnect.xml", simConnectXmlSetUp()));
            expected = home.snapshot();
            expected.remove(SteamDcs + "/Scripts/VortaneQuillar.lua");
            expected.insert(SteamDcs + "/Scripts/Export.lua", OtherExports);
            expected.insert(Il2 + "/data/startup.cfg", Startup);
            expected.insert(Msfs2020 + "/SimConnect.xml", SimConnectXml);
        } else if (kind == "partly") {
            // Our line without the script; our receiver with the block switched off; Condor on our port
            // but switched off.
            QVERIFY(home.write(SteamDcs + "/Scripts/Export.lua", OtherExports + ExportLine + "\r\n"));
            QByteArray off = StartupSetUp;
            off.replace("\tenable = true\n", "\tenable = false\n");
            QVERIFY(home.write(Il2 + "/data/startup.cfg", off));
            QByteArray condor = UdpIni;
            condor.replace("Port=55300", "Port=55278");
            QVERIFY(home.write(Condor + "/Settings/UDP.ini", condor));
            expected = home.snapshot();
            expected.insert(SteamDcs + "/Scripts/Export.lua", OtherExports);
            QByteArray offWithout = Startup;
            offWithout.replace("\tenable = true\n", "\tenable = false\n");
            expected.insert(Il2 + "/data/startup.cfg", offWithout);
        }
        for (const char *command : {"install", "remove", "install", "remove"}) {
            const Run run = runTool(home, {command});
            QVERIFY2(run.code == 0, qPrintable(run.out));
        }
        // A second remove changes nothing.
        const QMap<QString, QByteArray> removed = home.snapshot();
        const Run again = runTool(home, {"remove"});
        QCOMPARE(again.code, 0);
        QVERIFY2(again.out.endsWith("Nothing changed: everything was already taken out.\n"),
                 qPrintable(again.out));
        QCOMPARE(home.snapshot(), removed);
        QMap<QString, QByteArray> after = home.snapshot();
        for (auto it = after.begin(); it != after.end();) {
            it = it.key().contains(".quillar-backup") ? after.erase(it) : std::next(it);
        }
        // The folders the set-up made for DCS and for our data stay (DCS asks for its Scripts folder).
        expected.insert(WineDcs + "/Scripts/", QByteArray());
        expected.insert(".local/share/vortane-quillar/", QByteArray());
        QCOMPARE(after, expected);
        const Run status = runTool(home, {"status"});
        QVERIFY2(!status.out.contains("ready") && !status.out.contains("needs repair"),
                 qPrintable(status.out));
    }

    void theBuiltToolAnswersVersionAndHelp() {
        QProcess tool;
        tool.start(QStringLiteral(QUILLAR_SETUP_TOOL), {QStringLiteral("--version")});
        QVERIFY(tool.waitForFinished(30000));
        QCOMPARE(tool.exitCode(), 0);
        QCOMPARE(tool.readAllStandardOutput(), QByteArray("quillar-setup 240120\n"));

        tool.start(QStringLiteral(QUILLAR_SETUP_TOOL), {QStringLiteral("--help")});
        QVERIFY(tool.waitForFinished(30000));
        QCOMPARE(tool.exitCode(), 0);
        const QByteArray help = tool.readAllStandardOutput();
        QVERIFY(help.startsWith("Usage: "));
        QVERIFY(help.contains("--dry-run"));
        QVERIFY(help.contains("--home <dir>"));
        QVERIFY(help.contains("status|install|remove|doctor"));
        QVERIFY(help.contains("quillar-setup doctor --help"));

        tool.start(QStringLiteral(QUILLAR_SETUP_TOOL), {QStringLiteral("frobnicate")});
        QVERIFY(tool.waitForFinished(30000));
        QCOMPARE(tool.exitCode(), 2);

        FakeHome home;
        QVERIFY(build(home));
        tool.start(QStringLiteral(QUILLAR_SETUP_TOOL), {"--home", home.path(), "install", "dcs"});
        QVERIFY(tool.waitForFinished(30000));
        QCOMPARE(tool.exitCode(), 0);
        QCOMPARE(home.read(WineDcs + "/Scripts/VortaneQuillar.lua"), script);
    }
};

QTEST_GUILESS_MAIN(TestSetupTool)
#include "tst_setuptool.moc"
