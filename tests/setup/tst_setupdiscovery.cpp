#include "discovery.h"
#include "fakehome.h"
#include "setupengine.h"
#include "setuptool.h"

#include <QTextStream>
#include <QtTest>

using namespace QuillarSetup;

namespace {

const QString DcsUser = QStringLiteral("steamapps/compatdata/223750/pfx/drive_c/users/steamuser");

// Steam's libraryfolders.vdf listing the given libraries, in its current form.
QByteArray libraryFolders(const QStringList &paths) {
    QByteArray vdf = "\"libraryfolders\"\n{\n";
    for (int i = 0; i < paths.size(); ++i) {
        vdf += "\t\"" + QByteArray::number(i) + "\"\n\t{\n\t\t\"path\"\t\t\"" + paths.at(i).toUtf8() +
               "\"\n\t\t\"label\"\t\t\"\"\n\t}\n";
    }
    return vdf + "}\n";
}

// "simulator|folder|variant|root" per installation, so a whole discovery compares at once.
QStringList listed(const Discovery &discovery) {
    QStringList lines;
    for (const Installation &installation : discovery.installations) {
        lines.append(QStringLiteral("%1|%2|%3|%4")
                         .arg(simulatorKey(installation.simulator), installation.folder, installation.variant,
                              installation.root));
    }
    return lines;
}

} // namespace

class TestSetupDiscovery : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { qunsetenv("QUILLAR_SETUP_PLATFORM"); }

    // Libraries on a second disk and on a Steam Deck SD card, listed in the vdf, are searched wherever they
    // are; a listed library that is not there is noted.
    void librariesOnOtherDisks() {
        FakeHome home;
        FakeHome disk;   // stands for /mnt/games
        FakeHome sdCard; // stands for /run/media/deck/sdcard
        const QString steam = QStringLiteral(".local/share/Steam");
        QVERIFY(home.write(steam + "/steamapps/libraryfolders.vdf",
                           libraryFolders({home.filePath(steam), disk.filePath("SteamLibrary"),
                                           sdCard.filePath("steamapps/.."), "/run/media/deck/gone"})));
        QVERIFY(disk.makeFolder("SteamLibrary/" + DcsUser + "/Saved Games/DCS"));
        QVERIFY(disk.makeFolder("SteamLibrary/steamapps/common/IL-2 Sturmovik Battle of Stalingrad/data"));
        QVERIFY(sdCard.makeFolder("steamapps/compatdata/2537590/pfx/drive_c/users/steamuser/AppData/Roaming/"
                                  "Microsoft Flight Simulator 2024"));
        const Discovery discovery = discoverInstallations(home.path());
        const QString library = disk.filePath("SteamLibrary");
        const QString card = QDir::cleanPath(sdCard.filePath("steamapps/.."));
        QCOMPARE(listed(discovery),
                 QStringList(
                     {"dcs|" + library + "/" + DcsUser + "/Saved Games/DCS||" + library,
                      "il2|" + library + "/steamapps/common/IL-2 Sturmovik Battle of Stalingrad||" + library,
                      "msfs|" + card +
                          "/steamapps/compatdata/2537590/pfx/drive_c/users/steamuser/AppData/Roaming/"
                          "Microsoft Flight Simulator 2024|MSFS 2024|" +
                          card}));
        QCOMPARE(
            discovery.notes,
            QStringList{QStringLiteral("Steam library /run/media/deck/gone (listed in %1) is not there; a "
                                       "drive that is not mounted? Not searched")
                            .arg(home.filePath(steam + "/steamapps/libraryfolders.vdf"))});
    }

    // Steam moved to another disk behind a link from the home folder; a folder inside it that leads to an
    // unrelated place is refused, and the set-up writes nothing there.
    void linkFromHomeToAnotherDisk() {
        FakeHome home;
        FakeHome disk;
        FakeHome unrelated;
        QVERIFY(disk.makeFolder("Steam/steamapps/common/War Thunder"));
        QVERIFY(disk.makeFolder("Steam/" + DcsUser + "/Saved Games/DCS/Scripts"));
        QVERIFY(unrelated.makeFolder("DCS.openbeta/Scripts"));
        QVERIFY(
            disk.link("Steam/" + DcsUser + "/Saved Games/DCS.openbeta", unrelated.filePath("DCS.openbeta")));
        QVERIFY(home.link(".local/share/Steam", disk.filePath("Steam")));
        const Discovery discovery = discoverInstallations(home.path());
        const QString steam = home.filePath(".local/share/Steam");
        QCOMPARE(listed(discovery),
                 QStringList({"dcs|" + steam + "/" + DcsUser + "/Saved Games/DCS||" + steam,
                              "warthunder|" + steam + "/steamapps/common/War Thunder||" + steam}));
        QCOMPARE(discovery.notes,
                 QStringList{steam + "/" + DcsUser + "/Saved Games/DCS.openbeta: leads to " +
                             unrelated.filePath("DCS.openbeta") + ", outside " + steam + "; not used"});

        // Installing writes through the link to the other disk, and nowhere else.
        SetupEngine engine(home.path(), "-- script\n");
        const ApplyResult result = applyPlan(engine.planInstall(discovery.installations.first()), false);
        QVERIFY2(result.ok, qPrintable(result.lines.join('\n')));
        QCOMPARE(disk.read("Steam/" + DcsUser + "/Saved Games/DCS/Scripts/VortaneQuillar.lua"),
                 QByteArray("-- script\n"));
        QCOMPARE(unrelated.snapshot().size(), 2);
    }

    void debiansSteamInstaller() {
        FakeHome home;
        QVERIFY(home.makeFolder(".steam/debian-installation/steamapps/common/War Thunder"));
        QCOMPARE(listed(discoverInstallations(home.path())),
                 QStringList{"warthunder|" + home.filePath(".steam/debian-installation") +
                             "/steamapps/common/War Thunder||" +
                             home.filePath(".steam/debian-installation")});
    }

    void snapSteamAndNonSteamDcs() {
        FakeHome home;
        const QString snap = QStringLiteral("snap/steam/common/.local/share/Steam");
        // DCS's own installer added to Steam as a non-Steam game: its prefix has the shortcut's id.
        const QString shortcut = snap + "/steamapps/compatdata/3228571234/pfx/drive_c/users/steamuser";
        QVERIFY(home.makeFolder(shortcut + "/Saved Games/DCS.openbeta"));
        QVERIFY(home.makeFolder(snap + "/steamapps/common/X-Plane 12"));
        const Discovery discovery = discoverInstallations(home.path());
        const QString root = home.filePath(snap);
        QCOMPARE(
            listed(discovery),
            QStringList({"dcs|" + home.filePath(shortcut) + "/Saved Games/DCS.openbeta|DCS.openbeta|" + root,
                         "xplane|" + root + "/steamapps/common/X-Plane 12|X-Plane 12|" + root}));
        QCOMPARE(discovery.installations.first().foundIn,
                 QStringLiteral("Proton prefix of Steam app 3228571234 in %1").arg(root));
    }

    // Lutris names its prefix in the game's yml, anywhere on any disk; Heroic in its games' settings. IL-2's
    // own installer puts the game under Program Files.
    void lutrisAndHeroicPrefixes() {
        FakeHome home;
        FakeHome disk;
        QVERIFY(
            home.write(".config/lutris/games/dcs-world-1700000000.yml",
                       "game:\n  exe: drive_c/Program Files/Eagle Dynamics/DCS World/bin/DCS_updater.exe\n"
                       "  prefix: " +
                           disk.filePath("lutris/dcs").toUtf8() + "\nname: DCS World\nrunner: wine\n"));
        QVERIFY(disk.makeFolder("lutris/dcs/drive_c/users/pilot/Saved Games/DCS/Scripts"));
        QVERIFY(home.write(".config/lutris/games/il2.yml", "game:\n  prefix: '~/Wine/il2'\nrunner: wine\n"));
        QVERIFY(home.makeFolder("Wine/il2/drive_c/Program Files/IL-2 Sturmovik Great Battles/data"));
        QVERIFY(home.write(".config/heroic/GamesConfig/Condor.json",
                           "{\"Condor\": {\"winePrefix\": \"" + disk.filePath("heroic/condor").toUtf8() +
                               "\", \"wineVersion\": {}}}"));
        QVERIFY(disk.makeFolder("heroic/condor/drive_c/Condor2/Settings"));
        QVERIFY(home.makeFolder("Games/Heroic/Prefixes/default/Sims/drive_c/users/pilot/Saved Games/DCS"));
        QVERIFY(home.write(".config/lutris/games/broken.yml", "game: [\n"));
        const Discovery discovery = discoverInstallations(home.path());
        const QString heroicDefault = home.filePath("Games/Heroic/Prefixes/default/Sims");
        QCOMPARE(listed(discovery),
                 QStringList(
                     {"dcs|" + heroicDefault + "/drive_c/users/pilot/Saved Games/DCS||" + heroicDefault,
                      "dcs|" + disk.filePath("lutris/dcs") + "/drive_c/users/pilot/Saved Games/DCS||" +
                          disk.filePath("lutris/dcs"),
                      "il2|" + home.filePath("Wine/il2") +
                          "/drive_c/Program Files/IL-2 Sturmovik Great Battles||" + home.filePath("Wine/il2"),
                      "condor2|" + disk.filePath("heroic/condor") + "/drive_c/Condor2||" +
                          disk.filePath("heroic/condor")}));
        QVERIFY(discovery.notes.isEmpty());
    }

    // The Windows rules, tried over a fake Windows tree: the profile is <drive>/Users/<name>.
    void windowsLayout() {
        FakeHome drive;
        const QString profile = QStringLiteral("Users/pilot");
        QVERIFY(drive.makeFolder(profile + "/Saved Games/DCS/Scripts"));
        QVERIFY(drive.makeFolder(profile + "/Saved Games/DCS.openbeta"));
        QVERIFY(
            drive.write(profile + "/AppData/Roaming/Microsoft Flight Simulator/UserCfg.opt", "Version 1\n"));
        QVERIFY(drive.write(profile +
                                "/AppData/Local/Packages/Microsoft.FlightSimulator_8wekyb3d8bbwe/LocalCache/"
                                "UserCfg.opt",
                            "Version 1\n"));
        QVERIFY(drive.makeFolder(profile +
                                 "/AppData/Local/Packages/Microsoft.Limitless_8wekyb3d8bbwe/LocalCache"));
        QVERIFY(drive.makeFolder("Condor2/Settings"));
        QVERIFY(drive.write(
            "Program Files (x86)/Steam/steamapps/libraryfolders.vdf",
            libraryFolders({drive.filePath("Program Files (x86)/Steam"), drive.filePath("Games")})));
        QVERIFY(drive.makeFolder("Games/steamapps/common/IL-2 Sturmovik Battle of Stalingrad/data"));
        QVERIFY(drive.makeFolder("Games/steamapps/common/War Thunder"));
        // Proton's layouts mean nothing on Windows.
        QVERIFY(drive.makeFolder(profile + "/.local/share/Steam/steamapps/common/X-Plane 12"));

        qputenv("QUILLAR_SETUP_PLATFORM", "windows");
        QString out;
        QString err;
        QTextStream outStream(&out);
        QTextStream errStream(&err);
        const int code = runSetupTool({"quillar-setup", "--home", drive.filePath(profile), "status"},
                                      outStream, errStream, "-- script\n");
        // On Windows the program's SimConnect.cfg goes to the profile's AppData/Local.
        QString installOut;
        QTextStream installStream(&installOut);
        const int installCode =
            runSetupTool({"quillar-setup", "--home", drive.filePath(profile), "install", "msfs"},
                         installStream, errStream, "-- script\n");
        qunsetenv("QUILLAR_SETUP_PLATFORM");
        QCOMPARE(installCode, 0);
        QCOMPARE(drive.read(profile + "/AppData/Local/vortane-quillar/SimConnect.cfg"),
                 QByteArray("[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=29779\n"));
        QVERIFY(drive.read(profile + "/AppData/Roaming/Microsoft Flight Simulator/SimConnect.xml")
                    .contains("<Port>29779</Port>"));
        outStream.flush();
        QCOMPARE(code, 0);
        QCOMPARE(err, QString());
        const QString user = drive.filePath(profile);
        const QString store =
            user + "/AppData/Local/Packages/Microsoft.FlightSimulator_8wekyb3d8bbwe/LocalCache";
        const QString il2 = drive.filePath("Games/steamapps/common/IL-2 Sturmovik Battle of Stalingrad");
        const int w = store.size();
        auto line = [w](const QString &key, const QString &folder, const QString &state) {
            return key.leftJustified(11) + folder.leftJustified(w) + "  " + state + "\n";
        };
        QCOMPARE(out, line("dcs", user + "/Saved Games/DCS", "not set up") +
                          line("dcs", user + "/Saved Games/DCS.openbeta", "not set up") +
                          line("il2", il2, "not set up") +
                          line("condor2", drive.filePath("Condor2"), "not set up") +
                          line("msfs", user + "/AppData/Roaming/Microsoft Flight Simulator", "not set up") +
                          line("msfs", store, "not set up") +
                          line("msfs",
                               user + "/AppData/Local/Packages/Microsoft.Limitless_8wekyb3d8bbwe/LocalCache",
                               "not set up") +
                          "xplane     no installation found\n" +
                          line("warthunder", drive.filePath("Games/steamapps/common/War Thunder"),
                               "nothing to set up"));
    }

    void aCancelledSearchEndsAtOnce() {
        FakeHome home;
        QVERIFY(home.makeFolder(".local/share/Steam/" + DcsUser + "/Saved Games/DCS"));
        const std::atomic<bool> cancelled(true);
        QVERIFY(discoverInstallations(home.path(), Platform::Linux, &cancelled).installations.isEmpty());
        QCOMPARE(discoverInstallations(home.path(), Platform::Linux).installations.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestSetupDiscovery)
#include "tst_setupdiscovery.moc"
