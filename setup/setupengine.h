#pragma once

#include "discovery.h"
#include "filerules.h"
#include "setuptypes.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace QuillarSetup {

// The one engine behind the command-line tool and the dialog: it finds, checks, and plans; applyPlan writes.
class SetupEngine {
public:
    // `dcsScript` is the export script this build ships (dcsScriptFromResource()).
    SetupEngine(const QString &home, const QByteArray &dcsScript);

    QString home() const { return homeFolder; }
    // Where the program keeps its data under the launcher, and so our SimConnect.cfg.
    QString dataFolder() const;
    QString simConnectCfgPath() const;

    Discovery discover() const;
    Assessment assess(const Installation &installation) const;
    Plan planInstall(const Installation &installation) const;
    // `all` is every installation found: our SimConnect.cfg goes only with the last MSFS set-up.
    Plan planRemove(const Installation &installation, const QList<Installation> &all) const;

    static QString backupPath(const QString &path);

private:
    QList<FileRules> rulesFor(const Installation &installation) const;
    int simConnectPort() const;

    QString homeFolder;
    QByteArray script;
};

struct ApplyResult {
    bool ok = true;
    QStringList lines; // one per file, what was done (or would be, in a dry run) or why it could not be
    bool changed = false;
};

// Checks every file of the plan first and writes nothing when one of them cannot be written. Files are
// written through QSaveFile; a file changed for the first time keeps its original as <name>.quillar-backup.
ApplyResult applyPlan(const Plan &plan, bool dryRun);

// The export script embedded in this build.
QByteArray dcsScriptFromResource();

} // namespace QuillarSetup
