#include "discovery.h"

#include "keyvalues.h"
#include "textfile.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>
#include <QSettings>

namespace QuillarSetup {

namespace {

// What a rule's pattern is relative to.
enum class Base {
    Home,          // the home folder (the user's profile on Windows)
    SystemDrive,   // C:\ on Windows
    SteamLibrary,  // each Steam library
    ProtonUser,    // steamapps/compatdata/<app>/pfx/drive_c/users/steamuser of each library, for `app`
    AnyProtonUser, // the same in every compatdata prefix: games added to Steam by hand have their own ids
    WineDriveC,    // drive_c of each Wine prefix
    WineUser,      // each user folder in a Wine prefix's drive_c/users
};

// One place where a simulator may be. A part of the pattern may hold "*" (matched against folder names);
// a variant of "*" is the name the last part matched, and none for a plain "DCS".
struct Rule {
    Platform platform;
    Simulator simulator;
    Base base;
    QString pattern;
    QString variant;
    int app = 0;
};

const QList<Rule> &rules() {
    using P = Platform;
    using S = Simulator;
    static const QList<Rule> list = {
        // Linux: Steam's Proton prefixes, Wine prefixes (plain, Lutris, Heroic), the home folder.
        {P::Linux, S::Dcs, Base::ProtonUser, QStringLiteral("Saved Games/DCS*"), QStringLiteral("*"),
         SteamApp::Dcs},
        {P::Linux, S::Dcs, Base::AnyProtonUser, QStringLiteral("Saved Games/DCS*"), QStringLiteral("*")},
        {P::Linux, S::Dcs, Base::WineUser, QStringLiteral("Saved Games/DCS*"), QStringLiteral("*")},
        {P::Linux, S::Il2, Base::SteamLibrary,
         QStringLiteral("steamapps/common/IL-2 Sturmovik Battle of Stalingrad"), QString()},
        {P::Linux, S::Il2, Base::WineDriveC, QStringLiteral("Program Files*/IL-2 Sturmovik*"), QString()},
        {P::Linux, S::Il2, Base::WineDriveC, QStringLiteral("IL-2 Sturmovik*"), QString()},
        {P::Linux, S::Condor2, Base::WineDriveC, QStringLiteral("Condor2"), QString()},
        {P::Linux, S::Condor2, Base::WineDriveC, QStringLiteral("Program Files*/Condor2"), QString()},
        {P::Linux, S::Msfs, Base::ProtonUser, QStringLiteral("AppData/Roaming/Microsoft Flight Simulator"),
         QStringLiteral("MSFS 2020"), SteamApp::Msfs2020},
        {P::Linux, S::Msfs, Base::ProtonUser,
         QStringLiteral("AppData/Roaming/Microsoft Flight Simulator 2024"), QStringLiteral("MSFS 2024"),
         SteamApp::Msfs2024},
        {P::Linux, S::XPlane, Base::SteamLibrary, QStringLiteral("steamapps/common/X-Plane 11"),
         QStringLiteral("X-Plane 11")},
        {P::Linux, S::XPlane, Base::SteamLibrary, QStringLiteral("steamapps/common/X-Plane 12"),
         QStringLiteral("X-Plane 12")},
        {P::Linux, S::XPlane, Base::Home, QStringLiteral("X-Plane 11"), QStringLiteral("X-Plane 11")},
        {P::Linux, S::XPlane, Base::Home, QStringLiteral("X-Plane 12"), QStringLiteral("X-Plane 12")},
        {P::Linux, S::WarThunder, Base::SteamLibrary, QStringLiteral("steamapps/common/War Thunder"),
         QString()},

        // Windows: the user's profile, Steam's libraries, the system drive.
        {P::Windows, S::Dcs, Base::Home, QStringLiteral("Saved Games/DCS*"), QStringLiteral("*")},
        {P::Windows, S::Il2, Base::SteamLibrary,
         QStringLiteral("steamapps/common/IL-2 Sturmovik Battle of Stalingrad"), QString()},
        {P::Windows, S::Il2, Base::SystemDrive, QStringLiteral("Program Files*/IL-2 Sturmovik*"), QString()},
        {P::Windows, S::Il2, Base::SystemDrive, QStringLiteral("IL-2 Sturmovik*"), QString()},
        {P::Windows, S::Condor2, Base::SystemDrive, QStringLiteral("Condor2"), QString()},
        {P::Windows, S::Condor2, Base::SystemDrive, QStringLiteral("Program Files*/Condor2"), QString()},
        {P::Windows, S::Msfs, Base::Home, QStringLiteral("AppData/Roaming/Microsoft Flight Simulator"),
         QStringLiteral("MSFS 2020")},
        {P::Windows, S::Msfs, Base::Home,
         QStringLiteral("AppData/Local/Packages/Microsoft.FlightSimulator_8wekyb3d8bbwe/LocalCache"),
         QStringLiteral("MSFS 2020, Microsoft Store")},
        {P::Windows, S::Msfs, Base::Home, QStringLiteral("AppData/Roaming/Microsoft Flight Simulator 2024"),
         QStringLiteral("MSFS 2024")},
        {P::Windows, S::Msfs, Base::Home,
         QStringLiteral("AppData/Local/Packages/Microsoft.Limitless_8wekyb3d8bbwe/LocalCache"),
         QStringLiteral("MSFS 2024, Microsoft Store")},
        {P::Windows, S::XPlane, Base::SteamLibrary, QStringLiteral("steamapps/common/X-Plane 11"),
         QStringLiteral("X-Plane 11")},
        {P::Windows, S::XPlane, Base::SteamLibrary, QStringLiteral("steamapps/common/X-Plane 12"),
         QStringLiteral("X-Plane 12")},
        {P::Windows, S::XPlane, Base::SystemDrive, QStringLiteral("X-Plane 1[12]"), QStringLiteral("*")},
        {P::Windows, S::XPlane, Base::Home, QStringLiteral("Desktop/X-Plane 1[12]"), QStringLiteral("*")},
        {P::Windows, S::WarThunder, Base::SteamLibrary, QStringLiteral("steamapps/common/War Thunder"),
         QString()},
    };
    return list;
}

bool within(const QString &canonicalRoot, const QString &canonical) {
    return !canonicalRoot.isEmpty() && !canonical.isEmpty() &&
           (canonical == canonicalRoot || canonical.startsWith(canonicalRoot + QLatin1Char('/')) ||
            canonicalRoot.endsWith(QLatin1Char('/')));
}

class Finder {
public:
    Finder(const QString &home, Platform platform, const std::atomic<bool> *cancelled)
        : home(QDir::cleanPath(QDir(home).absolutePath())), platform(platform), cancelled(cancelled) {}

    Discovery run() {
        if (platform == Platform::Windows) {
            systemDrive = findSystemDrive();
        }
        findSteamLibraries();
        if (platform == Platform::Linux) {
            findWinePrefixes();
        }
        // Library by library, then prefix by prefix, then the fixed places: so each simulator lists its
        // installations in the order their libraries and prefixes were found.
        auto applyAll = [&](const QList<Base> &bases, const QString &onlyRoot) {
            for (const Rule &rule : rules()) {
                if (rule.platform == platform && bases.contains(rule.base) && !stopped()) {
                    apply(rule, onlyRoot);
                }
            }
        };
        for (const QString &library : libraries) {
            applyAll({Base::ProtonUser, Base::SteamLibrary}, library);
        }
        applyAll({Base::AnyProtonUser}, QString());
        for (const Place &prefix : prefixes) {
            applyAll({Base::WineUser, Base::WineDriveC}, prefix.root);
        }
        applyAll({Base::Home, Base::SystemDrive}, QString());
        Discovery discovery;
        if (stopped()) {
            return discovery;
        }
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
    // A folder searched, and the folder nothing found in it may lead out of.
    struct Place {
        QString folder;
        QString root;
        QString description;
    };

    bool stopped() const { return cancelled && cancelled->load(); }

    static QString canonicalFolder(const QString &path) {
        const QFileInfo info(path);
        return info.isDir() ? info.canonicalFilePath() : QString();
    }

    QString findSystemDrive() const {
#ifdef Q_OS_WIN
        return QDir::fromNativeSeparators(qEnvironmentVariable("SystemDrive", QStringLiteral("C:"))) +
               QLatin1Char('/');
#else
        // A Windows tree tried elsewhere: the profile is <drive>/Users/<name>, as on Windows.
        return QDir::cleanPath(home + QStringLiteral("/../.."));
#endif
    }

    void findSteamLibraries() {
        QStringList roots;
        if (platform == Platform::Linux) {
            roots = {
                home + QStringLiteral("/.local/share/Steam"),
                home + QStringLiteral("/.steam/steam"),
                home + QStringLiteral("/.steam/root"),
                home + QStringLiteral("/.steam/debian-installation"), // Debian's steam-installer
                home + QStringLiteral("/.var/app/com.valvesoftware.Steam/.local/share/Steam"),
                home + QStringLiteral("/snap/steam/common/.local/share/Steam"),
            };
        } else {
#ifdef Q_OS_WIN
            const QSettings registry(QStringLiteral("HKEY_CURRENT_USER\\Software\\Valve\\Steam"),
                                     QSettings::NativeFormat);
            const QString fromRegistry = registry.value(QStringLiteral("SteamPath")).toString();
            if (!fromRegistry.isEmpty()) {
                roots.append(QDir::fromNativeSeparators(fromRegistry));
            }
#endif
            roots.append(systemDrive + QStringLiteral("/Program Files (x86)/Steam"));
            roots.append(systemDrive + QStringLiteral("/Program Files/Steam"));
        }
        QSet<QString> seenRoots; // ~/.steam/steam and ~/.steam/root usually lead to ~/.local/share/Steam
        for (const QString &root : roots) {
            const QString canonical = canonicalFolder(root);
            if (stopped() || seenRoots.contains(canonical) || !addLibrary(root)) {
                continue;
            }
            seenRoots.insert(canonical);
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
            // Every library it lists, wherever it is: a second disk, an SD card, a mounted partition.
            for (const QString &listed : steamLibraryPaths(document)) {
                const QString path = QDir::fromNativeSeparators(listed);
                if (QDir::isRelativePath(path)) {
                    continue;
                }
                if (!QFileInfo(path + QStringLiteral("/steamapps")).isDir()) {
                    if (!missing.contains(QDir::cleanPath(path))) {
                        missing.insert(QDir::cleanPath(path));
                        notes.append(QStringLiteral("Steam library %1 (listed in %2) is not there; a drive "
                                                    "that is not mounted? Not searched")
                                         .arg(path, vdfPath));
                    }
                    continue;
                }
                addLibrary(path);
            }
        }
    }

    bool addLibrary(const QString &path) {
        const QString canonical = canonicalFolder(path);
        if (canonical.isEmpty() || !QFileInfo(path + QStringLiteral("/steamapps")).isDir()) {
            return false;
        }
        if (!seenLibraries.contains(canonical)) {
            seenLibraries.insert(canonical);
            libraries.append(QDir::cleanPath(path));
        }
        return true;
    }

    void findWinePrefixes() {
        addPrefix(home + QStringLiteral("/.wine"));
        // Lutris's and Heroic's own folders, and every prefix their game files name, wherever it is.
        for (const QString &parent :
             {home + QStringLiteral("/Games"), home + QStringLiteral("/Games/Heroic/Prefixes"),
              home + QStringLiteral("/Games/Heroic/Prefixes/default")}) {
            const QDir folder(parent);
            for (const QString &name :
                 folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name)) {
                addPrefix(folder.filePath(name));
            }
        }
        for (const QString &games :
             {home + QStringLiteral("/.config/lutris/games"),
              home + QStringLiteral("/.var/app/net.lutris.Lutris/config/lutris/games")}) {
            const QDir folder(games);
            for (const QString &name : folder.entryList({QStringLiteral("*.yml")}, QDir::Files, QDir::Name)) {
                const FileProbe yml = probeFile(folder.filePath(name));
                if (yml.exists()) {
                    // "game:" then "  prefix: /path" (quoted or not): the one line we need from the file.
                    static const QRegularExpression prefix(QStringLiteral("^\\s+prefix:\\s*(.+?)\\s*$"),
                                                           QRegularExpression::MultilineOption);
                    const QRegularExpressionMatch match = prefix.match(QString::fromUtf8(yml.bytes));
                    if (match.hasMatch()) {
                        addPrefix(unquoted(match.captured(1)));
                    }
                }
            }
        }
        for (const QString &configs :
             {home + QStringLiteral("/.config/heroic/GamesConfig"),
              home + QStringLiteral("/.var/app/com.heroicgameslauncher.hgl/config/heroic/GamesConfig")}) {
            const QDir folder(configs);
            for (const QString &name :
                 folder.entryList({QStringLiteral("*.json")}, QDir::Files, QDir::Name)) {
                const FileProbe json = probeFile(folder.filePath(name));
                const QJsonObject games = QJsonDocument::fromJson(json.bytes).object();
                for (auto game = games.begin(); game != games.end(); ++game) {
                    const QString prefix =
                        game.value().toObject().value(QStringLiteral("winePrefix")).toString();
                    if (!prefix.isEmpty()) {
                        addPrefix(prefix);
                    }
                }
            }
        }
    }

    static QString unquoted(QString text) {
        if (text.size() >= 2 && (text.startsWith(QLatin1Char('"')) || text.startsWith(QLatin1Char('\''))) &&
            text.endsWith(text.at(0))) {
            text = text.mid(1, text.size() - 2);
        }
        return text;
    }

    void addPrefix(QString path) {
        if (path.startsWith(QStringLiteral("~/"))) {
            path = home + path.mid(1);
        }
        if (QDir::isRelativePath(path)) {
            return;
        }
        const QString canonical = canonicalFolder(path + QStringLiteral("/drive_c"));
        if (canonical.isEmpty() || seenPrefixes.contains(canonical)) {
            return;
        }
        seenPrefixes.insert(canonical);
        prefixes.append({QDir::cleanPath(path) + QStringLiteral("/drive_c"), QDir::cleanPath(path),
                         QStringLiteral("Wine prefix %1").arg(QDir::cleanPath(path))});
    }

    // Every folder a rule's base stands for.
    QList<Place> places(const Rule &rule) const {
        QList<Place> list;
        switch (rule.base) {
        case Base::Home:
            list.append({home, home, QStringLiteral("home folder")});
            break;
        case Base::SystemDrive:
            list.append({systemDrive, systemDrive, QStringLiteral("drive %1").arg(systemDrive)});
            break;
        case Base::SteamLibrary:
            for (const QString &library : libraries) {
                list.append({library, library, QStringLiteral("Steam library %1").arg(library)});
            }
            break;
        case Base::ProtonUser:
        case Base::AnyProtonUser:
            for (const QString &library : libraries) {
                const QDir compatdata(library + QStringLiteral("/steamapps/compatdata"));
                const QStringList apps =
                    rule.base == Base::ProtonUser
                        ? QStringList{QString::number(rule.app)}
                        : compatdata.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
                for (const QString &app : apps) {
                    list.append({compatdata.filePath(app) + QStringLiteral("/pfx/drive_c/users/steamuser"),
                                 library,
                                 QStringLiteral("Proton prefix of Steam app %1 in %2").arg(app, library)});
                }
            }
            break;
        case Base::WineDriveC:
            for (const Place &prefix : prefixes) {
                list.append(prefix);
            }
            break;
        case Base::WineUser:
            for (const Place &prefix : prefixes) {
                const QDir users(prefix.folder + QStringLiteral("/users"));
                for (const QString &user : users.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
                    list.append({users.filePath(user), prefix.root, prefix.description});
                }
            }
            break;
        }
        return list;
    }

    void apply(const Rule &rule, const QString &onlyRoot) {
        for (const Place &place : places(rule)) {
            if (!onlyRoot.isEmpty() && place.root != onlyRoot) {
                continue;
            }
            QStringList matches = {place.folder};
            for (const QString &part : rule.pattern.split(QLatin1Char('/'))) {
                QStringList next;
                for (const QString &folder : matches) {
                    if (!part.contains(QLatin1Char('*')) && !part.contains(QLatin1Char('['))) {
                        next.append(folder + QLatin1Char('/') + part);
                        continue;
                    }
                    const QDir dir(folder);
                    for (const QString &name :
                         dir.entryList({part}, QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
                        next.append(dir.filePath(name));
                    }
                }
                matches = next;
            }
            for (const QString &folder : matches) {
                QString variant = rule.variant;
                if (variant == QLatin1String("*")) {
                    variant = QFileInfo(folder).fileName();
                    if (variant == QLatin1String("DCS")) {
                        variant.clear();
                    }
                }
                add(rule.simulator, folder, variant, place);
            }
        }
    }

    void add(Simulator simulator, const QString &folder, const QString &variant, const Place &place) {
        const QString canonical = canonicalFolder(folder);
        if (canonical.isEmpty() || seenFolders.contains(canonical)) {
            return; // .steam/steam is usually a link to .local/share/Steam: one installation, found once
        }
        // A folder that leads out of its library or prefix is somebody else's: refused, and said so.
        if (!within(canonicalFolder(place.root), canonical)) {
            notes.append(
                QStringLiteral("%1: leads to %2, outside %3; not used").arg(folder, canonical, place.root));
            seenFolders.insert(canonical);
            return;
        }
        seenFolders.insert(canonical);
        found.append(
            Installation{simulator, QDir::cleanPath(folder), variant, place.description, place.root});
    }

    QString home;
    Platform platform;
    const std::atomic<bool> *cancelled;
    QString systemDrive;
    QStringList libraries;
    QSet<QString> seenLibraries;
    QSet<QString> missing;
    QList<Place> prefixes;
    QSet<QString> seenPrefixes;
    QSet<QString> seenFolders;
    QList<Installation> found;
    QStringList notes;
};

} // namespace

Discovery discoverInstallations(const QString &home, Platform platform, const std::atomic<bool> *cancelled) {
    return Finder(home, platform, cancelled).run();
}

} // namespace QuillarSetup
