#pragma once

#include "discovery.h"
#include "filerules.h"
#include "setuptypes.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <atomic>

namespace QuillarSetup {

// The one engine behind the command-line tool and the dialog: it finds, checks, and plans; applyPlan writes.
class SetupEngine {
public:
    // `dcsScript` is the export script this build ships (dcsScriptFromResource()). `dataHome` is the
    // user's data folder ($XDG_DATA_HOME); empty means <home>/.local/share (on Windows <home>/AppData/Local).
    SetupEngine(const QString &home, const QByteArray &dcsScript, const QString &dataHome = QString(),
                Platform platform = hostPlatform());

    // $XDG_DATA_HOME when it is set to an absolute path (on Linux), else empty.
    static QString dataHomeFromEnvironment();

    QString home() const { return homeFolder; }
    Platform platform() const { return system; }
    // Where the program keeps its data, and so our SimConnect.cfg: <data home>/vortane-quillar.
    QString dataFolder() const;
    QString simConnectCfgPath() const;

    // `cancelled`, when given, is checked between steps: once it is set the search ends early.
    Discovery discover(const std::atomic<bool> *cancelled = nullptr) const;
    Assessment assess(const Installation &installation) const;
    Plan planInstall(const Installation &installation) const;
    // `all` is every installation found: our SimConnect.cfg goes only with the last MSFS set-up.
    Plan planRemove(const Installation &installation, const QList<Installation> &all) const;

    static QString backupPath(const QString &path);

private:
    QList<FileRules> rulesFor(const Installation &installation) const;
    QString rootOf(const Installation &installation) const;
    // Moves every edit that cannot be made (read-only, dangling link…) into the plan's problems, so a
    // preview shows it and nothing is offered that would fail.
    static void checkEdits(Plan *plan);

    QString homeFolder;
    QByteArray script;
    QString dataHome;
    Platform system;
};

struct ApplyResult {
    bool ok = true;
    QStringList lines; // one per file, what was done (or would be, in a dry run) or why it could not be
    bool changed = false;
    bool leftAlone = false; // a file was left as it is on purpose (a "left" line)
};

// Checks every file of the plan first and writes nothing when one of them cannot be written. Files are
// written through QSaveFile; a file changed for the first time keeps its original as <name>.quillar-backup.
ApplyResult applyPlan(const Plan &plan, bool dryRun);

// The export script embedded in this build.
QByteArray dcsScriptFromResource();

} // namespace QuillarSetup
