#include "discovery.h"

#include "keyvalues.h"
#include "textfile.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace QuillarSetup {

namespace {

class Finder {
public:
    explicit Finder(const QString &home) : home(QDir::cleanPath(QDir(home).absolutePath())) {
        canonicalHome = QFileInfo(this->home).canonicalFilePath();
    }

    Discovery run() {
        findSteamLibraries();
        for (const QString &library : libraries) {
            searchSteamLibrary(library);
        }
        findWinePrefixes();
        for (const Prefix &prefix : prefixes) {
            searchWinePrefix(prefix);
        }
        for (const QString &name : {QStringLiteral("X-Plane 11"), QStringLiteral("X-Plane 12")}) {
            add(Simulator::XPlane, home + QLatin1Char('/') + name, name, QStringLiteral("home folder"));
        }
        Discovery discovery;
        for (Simulator simulator : allSimulators()) {
            for (const Installation &installation : found) {
                if (installation.simulator == simulator) {
                    discovery.installations.append(installation);
                }
            }
        }
        discovery.notes = notes;
        return discovery;
    }

private:
    struct Prefix {
        QString driveC;
        QString description;
    };

    // The canonical path when `path` is a folder inside the home folder, else empty.
    QString insideHome(const QString &path) const {
        const QFileInfo info(path);
        if (!info.isDir() || canonicalHome.isEmpty()) {
            return QString();
        }
        const QString canonical = info.canonicalFilePath();
        if (canonical == canonicalHome || canonical.startsWith(canonicalHome + QLatin1Char('/'))) {
            return canonical;
        }
        return QString();
    }

    void findSteamLibraries() {
        const QStringList roots = {
            home + QStringLiteral("/.local/share/Steam"),
            home + QStringLiteral("/.steam/steam"),
            home + QStringLiteral("/.var/app/com.valvesoftware.Steam/.local/share/Steam"),
        };
        for (const QString &root : roots) {
            if (!addLibrary(root)) {
                continue;
            }
            const QString vdfPath = root + QStringLiteral("/steamapps/libraryfolders.vdf");
            const FileProbe vdf = probeFile(vdfPath);
            if (vdf.kind == FileProbe::Missing) {
                continue;
            }
            if (!vdf.exists()) {
                notes.append(QStringLiteral("%1: %2").arg(vdfPath, vdf.problem));
                continue;
            }
            const KeyValuesDocument document = parseKeyValues(vdf.bytes);
            if (!document.isValid()) {
                notes.append(QStringLiteral("%1: cannot be read (%2); its other libraries were not searched")
                                 .arg(vdfPath, document.error));
                continue;
            }
            for (const QString &path : steamLibraryPaths(document)) {
                if (QDir::isRelativePath(path) || !QFileInfo(path).isDir()) {
                    continue; // a library on a drive that is not mounted now
                }
                if (insideHome(path).isEmpty()) {
                    notes.append(
                        QStringLiteral("Steam library %1: outside %2, not searched").arg(path, home));
                    continue;
                }
                addLibrary(path);
            }
        }
    }

    bool addLibrary(const QString &path) {
        const QString canonical = insideHome(path);
        if (canonical.isEmpty() || !QFileInfo(path + QStringLiteral("/steamapps")).isDir()) {
            return false;
        }
        if (!seenLibraries.contains(canonical)) {
            seenLibraries.insert(canonical);
            libraries.append(QDir::cleanPath(path));
        }
        return true;
    }

    void searchSteamLibrary(const QString &library) {
        const QString steamapps = library + QStringLiteral("/steamapps");
        const QString where = QStringLiteral("Steam library %1").arg(library);
        auto user = [&](int app) {
            return QStringLiteral("%1/compatdata/%2/pfx/drive_c/users/steamuser").arg(steamapps).arg(app);
        };
        auto proton = [&](int app) {
            return QStringLiteral("Proton prefix of Steam app %1 in %2").arg(app).arg(library);
        };

        addDcsSavedGames(user(SteamApp::Dcs), proton(SteamApp::Dcs));
        add(Simulator::Il2, steamapps + QStringLiteral("/common/IL-2 Sturmovik Battle of Stalingrad"),
            QString(), where);
        add(Simulator::Msfs,
            user(SteamApp::Msfs2020) + QStringLiteral("/AppData/Roaming/Microsoft Flight Simulator"),
            QStringLiteral("MSFS 2020"), proton(SteamApp::Msfs2020));
        add(Simulator::Msfs,
            user(SteamApp::Msfs2024) + QStringLiteral("/AppData/Roaming/Microsoft Flight Simulator 2024"),
            QStringLiteral("MSFS 2024"), proton(SteamApp::Msfs2024));
        add(Simulator::XPlane, steamapps + QStringLiteral("/common/X-Plane 11"), QStringLiteral("X-Plane 11"),
            where);
        add(Simulator::XPlane, steamapps + QStringLiteral("/common/X-Plane 12"), QStringLiteral("X-Plane 12"),
            where);
        add(Simulator::WarThunder, steamapps + QStringLiteral("/common/War Thunder"), QString(), where);
    }

    void findWinePrefixes() {
        const QString wine = home + QStringLiteral("/.wine/drive_c");
        if (!insideHome(wine).isEmpty()) {
            prefixes.append({wine, QStringLiteral("Wine prefix %1/.wine").arg(home)});
        }
        const QDir games(home + QStringLiteral("/Games"));
        const QStringList names =
            games.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
        for (const QString &name : names) {
            const QString driveC = games.filePath(name) + QStringLiteral("/drive_c");
            if (!insideHome(driveC).isEmpty()) {
                prefixes.append({driveC, QStringLiteral("Wine prefix %1").arg(games.filePath(name))});
            }
        }
    }

    void searchWinePrefix(const Prefix &prefix) {
        const QDir users(prefix.driveC + QStringLiteral("/users"));
        for (const QString &user : users.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
            addDcsSavedGames(users.filePath(user), prefix.description);
        }
        add(Simulator::Condor2, prefix.driveC + QStringLiteral("/Condor2"), QString(), prefix.description);
        const QDir driveC(prefix.driveC);
        const QStringList programFolders = driveC.entryList({QStringLiteral("Program Files*")},
                                                            QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString &programs : programFolders) {
            add(Simulator::Condor2, driveC.filePath(programs) + QStringLiteral("/Condor2"), QString(),
                prefix.description);
        }
    }

    void addDcsSavedGames(const QString &user, const QString &where) {
        add(Simulator::Dcs, user + QStringLiteral("/Saved Games/DCS"), QString(), where);
        add(Simulator::Dcs, user + QStringLiteral("/Saved Games/DCS.openbeta"),
            QStringLiteral("DCS.openbeta"), where);
    }

    void add(Simulator simulator, const QString &folder, const QString &variant, const QString &where) {
        const QString canonical = insideHome(folder);
        if (canonical.isEmpty() || seenFolders.contains(canonical)) {
            return; // .steam/steam is usually a link to .local/share/Steam: one installation, found once
        }
        seenFolders.insert(canonical);
        found.append(Installation{simulator, QDir::cleanPath(folder), variant, where});
    }

    QString home;
    QString canonicalHome;
    QStringList libraries;
    QSet<QString> seenLibraries;
    QList<Prefix> prefixes;
    QSet<QString> seenFolders;
    QList<Installation> found;
    QStringList notes;
};

} // namespace

Discovery discoverInstallations(const QString &home) {
    return Finder(home).run();
}

} // namespace QuillarSetup
