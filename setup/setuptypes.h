#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace QuillarSetup {

// In the order the tool lists them; the key is what the command line takes.
enum class Simulator { Dcs, Il2, Condor2, Msfs, XPlane, WarThunder };

QList<Simulator> allSimulators();
QString simulatorKey(Simulator simulator);
QString simulatorName(Simulator simulator);
// False when the key names no simulator.
bool simulatorFromKey(const QString &key, Simulator *simulator);

// Where the simulators are looked for: the layouts differ (Proton and Wine prefixes on Linux, the user's
// profile and the registry on Windows).
enum class Platform { Linux, Windows };
// The system this build runs on; QUILLAR_SETUP_PLATFORM ("linux" or "windows") overrides it, so the
// Windows layouts can be tried on any machine over a fake tree.
Platform hostPlatform();

enum class State { Ready, NotSetUp, NeedsRepair, NothingToSetUp };
QString stateText(State state);

// One place where a simulator keeps what we set up: a DCS "Saved Games" folder, an IL-2 or Condor
// installation, an MSFS settings folder, or a game folder that needs nothing.
struct Installation {
    Simulator simulator = Simulator::Dcs;
    QString folder;  // absolute
    QString variant; // "MSFS 2024", "X-Plane 12", "DCS.openbeta"…; empty when there is only one kind
    // Where it was found: "Steam library …", "Wine prefix …", "home folder".
    QString foundIn;
    // The Steam library, Wine prefix or home folder it was found in. A file of the installation that
    // resolves (through links) outside this folder is not ours to change. Empty: the home folder.
    QString root;
};

// One file operation of a plan. Plans are computed in full before anything is written, so a dry run
// prints exactly what a real run does.
struct FileEdit {
    enum Kind { Write, Delete, MakeFolder };
    Kind kind = Write;
    QString path;
    QByteArray bytes;    // the whole new content of a Write
    QString description; // what changes, in words
    // A Write or Delete of a file the user may have changed: when <name>.quillar-backup already holds
    // something else, the file is first copied to the next free <name>.quillar-backup.N.
    bool keepCopy = false;
};

struct Assessment {
    State state = State::NotSetUp;
    QStringList problems; // files that cannot be read or parsed, with the reason
};

struct Plan {
    QList<FileEdit> edits;
    QStringList problems; // reasons this plan cannot be carried out; nothing is written then
    QStringList notes;    // what is left alone on purpose, and why
};

} // namespace QuillarSetup
