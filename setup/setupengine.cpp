#include "setupengine.h"

#include "textfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSet>

namespace QuillarSetup {

namespace {

std::optional<QByteArray> contentOf(const FileProbe &probe) {
    return probe.exists() ? std::optional<QByteArray>(probe.bytes) : std::nullopt;
}

QString withProblem(const QString &path, const QString &problem) {
    return QStringLiteral("%1: %2").arg(path, problem);
}

// A file or folder marked read-only is left alone even for a user (root) whom the system would let write.
bool isReadOnly(const QFileInfo &info) {
    return !(info.permissions() & QFileDevice::WriteOwner) || !info.isWritable();
}

QString nearestExisting(QString path) {
    while (!QFileInfo::exists(path)) {
        const QString parent = QFileInfo(path).path();
        if (parent == path) {
            break;
        }
        path = parent;
    }
    return path;
}

// Links are followed only as far as the folder the installation was found in (a Steam library, a Wine
// prefix, the home folder): a file that resolves outside it is not ours to change.
QString leadsOutside(const QString &root, const QString &path) {
    const QString canonicalRoot = QFileInfo(root).canonicalFilePath();
    const QFileInfo info(path);
    const QString resolved = info.exists() ? info.canonicalFilePath()
                                           : QFileInfo(nearestExisting(info.path())).canonicalFilePath();
    if (canonicalRoot.isEmpty() || resolved == canonicalRoot ||
        resolved.startsWith(canonicalRoot + QLatin1Char('/'))) {
        return QString();
    }
    return QStringLiteral("leads to %1, outside %2; left as it is").arg(resolved, root);
}

// Why an edit cannot be made, or an empty text when it can.
QString obstacle(const FileEdit &edit) {
    const QFileInfo info(edit.path);
    if (edit.kind == FileEdit::MakeFolder) {
        const QFileInfo existing(nearestExisting(edit.path));
        if (!existing.isDir()) {
            return QStringLiteral("%1 is not a folder").arg(existing.filePath());
        }
        return isReadOnly(existing) ? QStringLiteral("read-only folder %1").arg(existing.filePath())
                                    : QString();
    }
    if (info.isSymLink() && !info.exists()) {
        return QStringLiteral("a dangling link (to %1)").arg(info.symLinkTarget());
    }
    if (info.exists() && !info.isFile()) {
        return QStringLiteral("not a file");
    }
    if (info.exists() && isReadOnly(info)) {
        return QStringLiteral("read-only file");
    }
    const QFileInfo target(info.exists() ? info.canonicalFilePath() : edit.path);
    const QFileInfo folder(nearestExisting(target.path()));
    if (!folder.isDir()) {
        return QStringLiteral("%1 is not a folder").arg(folder.filePath());
    }
    if (isReadOnly(folder)) {
        return QStringLiteral("read-only folder %1").arg(folder.filePath());
    }
    return QString();
}

bool writeAtomically(const QString &path, const QByteArray &bytes, QString *error) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}

// <name>.quillar-backup.2, .3…: the first that does not exist.
QString freeCopyPath(const QString &path) {
    for (int n = 2;; ++n) {
        const QString candidate = SetupEngine::backupPath(path) + QLatin1Char('.') + QString::number(n);
        if (!QFileInfo::exists(candidate) && !QFileInfo(candidate).isSymLink()) {
            return candidate;
        }
    }
}

} // namespace

SetupEngine::SetupEngine(const QString &home, const QByteArray &dcsScript, const QString &dataHome,
                         Platform platform)
    : homeFolder(QDir::cleanPath(QDir(home).absolutePath())), script(dcsScript),
      dataHome(!dataHome.isEmpty()             ? QDir::cleanPath(dataHome)
               : platform == Platform::Windows ? homeFolder + QStringLiteral("/AppData/Local")
                                               : homeFolder + QStringLiteral("/.local/share")),
      system(platform) {}

QString SetupEngine::dataHomeFromEnvironment() {
    if (hostPlatform() != Platform::Linux) {
        return QString();
    }
    const QString fromEnvironment = qEnvironmentVariable("XDG_DATA_HOME");
    return QDir::isAbsolutePath(fromEnvironment) ? fromEnvironment : QString();
}

QString SetupEngine::dataFolder() const {
    return dataHome + QStringLiteral("/vortane-quillar");
}

QString SetupEngine::simConnectCfgPath() const {
    return dataFolder() + QStringLiteral("/SimConnect.cfg");
}

QString SetupEngine::backupPath(const QString &path) {
    return path + QStringLiteral(".quillar-backup");
}

QString SetupEngine::rootOf(const Installation &installation) const {
    return installation.root.isEmpty() ? homeFolder : installation.root;
}

Discovery SetupEngine::discover(const std::atomic<bool> *cancelled) const {
    return discoverInstallations(homeFolder, system, cancelled);
}

QList<FileRules> SetupEngine::rulesFor(const Installation &installation) const {
    QList<FileRules> rules;
    switch (installation.simulator) {
    case Simulator::Dcs:
        rules = dcsRules(installation.folder, script);
        break;
    case Simulator::Il2:
        rules = il2Rules(installation.folder);
        break;
    case Simulator::Condor2:
        rules = condorRules(installation.folder);
        break;
    case Simulator::Msfs:
        rules = msfsRules(installation.folder, OurSimConnectPort);
        break;
    case Simulator::XPlane:
    case Simulator::WarThunder:
        break;
    }
    for (FileRules &file : rules) {
        if (!file.wholeFileIsOurs && !file.madeOnce) {
            file = keepingUtf16(file);
        }
    }
    return rules;
}

Assessment SetupEngine::assess(const Installation &installation) const {
    Assessment assessment;
    const QList<FileRules> rules = rulesFor(installation);
    if (rules.isEmpty()) {
        assessment.state = State::NothingToSetUp;
        return assessment;
    }
    int present = 0;
    int absent = 0;
    int counted = 0;
    for (const FileRules &file : rules) {
        if (file.madeOnce) {
            continue; // the user's settings: there or not, the set-up works
        }
        ++counted;
        const FileProbe probe = probeFile(file.path);
        if (probe.kind != FileProbe::Missing && !probe.exists()) {
            assessment.problems.append(withProblem(file.path, probe.problem));
            ++absent;
            continue;
        }
        QString problem;
        switch (file.inspect(contentOf(probe), &problem)) {
        case PartState::Present:
            ++present;
            break;
        case PartState::Absent:
            ++absent;
            break;
        case PartState::Damaged:
            break;
        case PartState::Unreadable:
            assessment.problems.append(
                withProblem(file.path, QStringLiteral("cannot be read (%1)").arg(problem)));
            ++absent;
            break;
        }
    }
    if (present == counted) {
        assessment.state = State::Ready;
    } else if (absent == counted) {
        assessment.state = State::NotSetUp;
    } else {
        assessment.state = State::NeedsRepair;
    }
    return assessment;
}

Plan SetupEngine::planInstall(const Installation &installation) const {
    Plan plan;
    QSet<QString> folders;
    auto write = [&](const QString &path, const QByteArray &bytes, const QString &description,
                     bool keepCopy) {
        const QString folder = QFileInfo(path).path();
        if (!QFileInfo(folder).exists() && !QFileInfo(folder).isSymLink() && !folders.contains(folder)) {
            folders.insert(folder);
            plan.edits.append(FileEdit{FileEdit::MakeFolder, folder, QByteArray(), QString(), false});
        }
        plan.edits.append(FileEdit{FileEdit::Write, path, bytes, description, keepCopy});
    };
    const QString root = rootOf(installation);
    for (const FileRules &file : rulesFor(installation)) {
        const FileProbe probe = probeFile(file.path);
        if (probe.kind != FileProbe::Missing && !probe.exists()) {
            // The user's settings file is theirs: whatever is at its place, the set-up works without it.
            (file.madeOnce ? plan.notes : plan.problems).append(withProblem(file.path, probe.problem));
            continue;
        }
        if (const QString outside = leadsOutside(root, file.path); !outside.isEmpty()) {
            plan.problems.append(withProblem(file.path, outside));
            continue;
        }
        const std::optional<QByteArray> current = contentOf(probe);
        QString problem;
        const PartState state = file.inspect(current, &problem);
        if (state == PartState::Unreadable) {
            plan.problems.append(
                withProblem(file.path, QStringLiteral("cannot be read (%1); left as it is").arg(problem)));
            continue;
        }
        if (state == PartState::Present) {
            continue;
        }
        const std::optional<QByteArray> updated = file.install(current, &problem);
        if (!updated) {
            plan.problems.append(withProblem(file.path, problem));
            continue;
        }
        if (current && *updated == *current) {
            continue;
        }
        // A script that differs from ours may hold someone's edit: it is replaced only with a copy kept.
        write(file.path, *updated, file.installWords, file.wholeFileIsOurs);
    }
    if (installation.simulator == Simulator::Msfs) {
        const QString cfgPath = simConnectCfgPath();
        const FileProbe cfg = probeFile(cfgPath);
        const QByteArray ours = simConnectCfgBytes(OurSimConnectPort);
        if (const QString outside = leadsOutside(dataHome, cfgPath);
            !outside.isEmpty() && QFileInfo::exists(dataHome)) {
            plan.problems.append(withProblem(cfgPath, outside));
        } else if (cfg.kind == FileProbe::Missing) {
            write(cfgPath, ours,
                  QStringLiteral("the program connects to 127.0.0.1 port %1").arg(OurSimConnectPort), false);
        } else if (!cfg.exists()) {
            plan.problems.append(withProblem(cfgPath, cfg.problem));
        } else if (cfg.bytes == simConnectCfgBytes(500)) {
            // The one an earlier version of the set-up wrote, for a port MSFS under Wine cannot open.
            write(cfgPath, ours,
                  QStringLiteral("the program connects to 127.0.0.1 port %1").arg(OurSimConnectPort), false);
        } else if (QuillarSetup::simConnectPort(cfg.bytes) != OurSimConnectPort) {
            plan.notes.append(withProblem(
                cfgPath, QStringLiteral("names port %1, so the program connects there and not to port %2")
                             .arg(QuillarSetup::simConnectPort(cfg.bytes))
                             .arg(OurSimConnectPort)));
        }
    }
    checkEdits(&plan);
    return plan;
}

Plan SetupEngine::planRemove(const Installation &installation, const QList<Installation> &all) const {
    Plan plan;
    const QString root = rootOf(installation);
    for (const FileRules &file : rulesFor(installation)) {
        const FileProbe probe = probeFile(file.path);
        if (probe.kind == FileProbe::Missing) {
            continue;
        }
        if (!probe.exists()) {
            (file.madeOnce ? plan.notes : plan.problems).append(withProblem(file.path, probe.problem));
            continue;
        }
        if (const QString outside = leadsOutside(root, file.path); !outside.isEmpty()) {
            plan.problems.append(withProblem(file.path, outside));
            continue;
        }
        QString problem;
        const PartState state = file.inspect(probe.bytes, &problem);
        if (state == PartState::Unreadable) {
            plan.problems.append(
                withProblem(file.path, QStringLiteral("cannot be read (%1); left as it is").arg(problem)));
            continue;
        }
        if (state == PartState::Absent) {
            continue;
        }
        const std::optional<QByteArray> made = file.install(std::nullopt, &problem);
        if (file.madeOnce) {
            if (made && *made == probe.bytes) {
                plan.edits.append(FileEdit{FileEdit::Delete, file.path, QByteArray(),
                                           QStringLiteral("the set-up made this file"), false});
            } else {
                plan.notes.append(withProblem(file.path, QStringLiteral("holds your settings")));
            }
            continue;
        }
        if (file.wholeFileIsOurs) {
            // Whatever was repaired before, remove ends with no script: a copy is kept of one that differs.
            const bool same = made && *made == probe.bytes;
            plan.edits.append(FileEdit{FileEdit::Delete, file.path, QByteArray(),
                                       same ? QStringLiteral("the set-up made this file")
                                            : QStringLiteral("differs from the script of this version"),
                                       !same});
            continue;
        }
        // The copy from before the set-up is put back only when it holds none of our part: a copy of a
        // file set up by hand would bring our part back. It still tells what the values before were.
        const FileProbe backup = probeFile(backupPath(file.path));
        const std::optional<QByteArray> before = contentOf(backup);
        const bool clean = before && file.inspect(*before, &problem) == PartState::Absent;
        problem.clear();
        // When the file is still exactly what set-up made of it, undoing is exact: the original comes back
        // from the backup, or a file set-up created goes.
        if (clean) {
            const std::optional<QByteArray> installed = file.install(before, &problem);
            if (installed && *installed == probe.bytes) {
                plan.edits.append(FileEdit{FileEdit::Write, file.path, *before,
                                           QStringLiteral("put back as it was before the set-up, from %1")
                                               .arg(QFileInfo(backupPath(file.path)).fileName()),
                                           false});
                continue;
            }
        } else if (backup.kind == FileProbe::Missing && made && *made == probe.bytes) {
            plan.edits.append(FileEdit{FileEdit::Delete, file.path, QByteArray(),
                                       QStringLiteral("the set-up made this file"), false});
            continue;
        }
        problem.clear();
        const std::optional<QByteArray> taken = file.takeOut(probe.bytes, before, &problem);
        if (!taken) {
            plan.problems.append(withProblem(file.path, problem));
            continue;
        }
        if (file.inspect(*taken, &problem) != PartState::Absent) {
            plan.notes.append(withProblem(
                file.path,
                QStringLiteral("set up by hand or changed since it was set up, so the values before "
                               "are not known")));
            continue;
        }
        if (*taken != probe.bytes) {
            plan.edits.append(FileEdit{FileEdit::Write, file.path, *taken, file.removeWords, false});
        }
    }
    if (installation.simulator == Simulator::Msfs) {
        // The shared SimConnect.cfg goes with the last MSFS set-up, and only when it is still what we wrote.
        bool othersSetUp = false;
        for (const Installation &other : all) {
            if (other.simulator == Simulator::Msfs && other.folder != installation.folder) {
                const State state = assess(other).state;
                othersSetUp = othersSetUp || state == State::Ready || state == State::NeedsRepair;
            }
        }
        const FileProbe cfg = probeFile(simConnectCfgPath());
        if (!othersSetUp && cfg.exists() &&
            (cfg.bytes == simConnectCfgBytes(OurSimConnectPort) || cfg.bytes == simConnectCfgBytes(500)) &&
            probeFile(backupPath(simConnectCfgPath())).kind == FileProbe::Missing) {
            plan.edits.append(FileEdit{FileEdit::Delete, simConnectCfgPath(), QByteArray(),
                                       QStringLiteral("the set-up made this file"), false});
        }
    }
    checkEdits(&plan);
    return plan;
}

void SetupEngine::checkEdits(Plan *plan) {
    for (const FileEdit &edit : plan->edits) {
        if (const QString why = obstacle(edit); !why.isEmpty()) {
            plan->problems.append(withProblem(edit.path, why));
        }
    }
}

ApplyResult applyPlan(const Plan &plan, bool dryRun) {
    ApplyResult result;
    for (const QString &problem : plan.problems) {
        result.lines.append(QStringLiteral("cannot change %1").arg(problem));
        result.ok = false;
    }
    // Checked again: a file may have been made read-only since the plan was made.
    for (const FileEdit &edit : plan.edits) {
        const QString why = result.ok ? obstacle(edit) : QString();
        if (!why.isEmpty()) {
            result.lines.append(QStringLiteral("cannot change %1: %2").arg(edit.path, why));
            result.ok = false;
        }
    }
    if (!result.ok) {
        result.lines.append(QStringLiteral("nothing changed here"));
        return result;
    }
    for (const QString &note : plan.notes) {
        result.lines.append(QStringLiteral("left %1").arg(note));
        result.leftAlone = true;
    }
    if (plan.edits.isEmpty()) {
        result.lines.append(QStringLiteral("nothing to change"));
        return result;
    }
    for (const FileEdit &edit : plan.edits) {
        const QString described =
            edit.description.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(edit.description);
        if (edit.kind == FileEdit::MakeFolder) {
            if (!dryRun && !QDir().mkpath(edit.path)) {
                result.lines.append(QStringLiteral("cannot create folder %1").arg(edit.path));
                result.ok = false;
                return result;
            }
            result.lines.append(QStringLiteral("%1 %2").arg(dryRun ? QStringLiteral("would create folder")
                                                                   : QStringLiteral("created folder"),
                                                            edit.path));
            result.changed = true;
            continue;
        }
        // A file that may hold someone's edit keeps a copy that no later run overwrites.
        QString copy;
        if (edit.keepCopy) {
            const FileProbe current = probeFile(edit.path);
            const FileProbe backup = probeFile(SetupEngine::backupPath(edit.path));
            if (current.exists() && backup.kind != FileProbe::Missing && backup.bytes != current.bytes) {
                copy = freeCopyPath(edit.path);
                QString error;
                if (!dryRun && !writeAtomically(copy, current.bytes, &error)) {
                    result.lines.append(
                        QStringLiteral("cannot keep a copy of %1 as %2: %3").arg(edit.path, copy, error));
                    result.ok = false;
                    return result;
                }
            }
        }
        const QString copied = copy.isEmpty()
                                   ? QString()
                                   : QStringLiteral("; a copy %1 kept as %2")
                                         .arg(dryRun ? QStringLiteral("would be") : QStringLiteral("is"),
                                              QFileInfo(copy).fileName());
        if (edit.kind == FileEdit::Delete) {
            const bool makeBackup = edit.keepCopy && copy.isEmpty() &&
                                    probeFile(SetupEngine::backupPath(edit.path)).kind == FileProbe::Missing;
            QString error;
            if (!dryRun && makeBackup &&
                !writeAtomically(SetupEngine::backupPath(edit.path), probeFile(edit.path).bytes, &error)) {
                result.lines.append(QStringLiteral("cannot keep a copy of %1 as %2: %3")
                                        .arg(edit.path, SetupEngine::backupPath(edit.path), error));
                result.ok = false;
                return result;
            }
            const QString kept = makeBackup
                                     ? QStringLiteral("; a copy %1 kept as %2")
                                           .arg(dryRun ? QStringLiteral("would be") : QStringLiteral("is"),
                                                QFileInfo(SetupEngine::backupPath(edit.path)).fileName())
                                     : copied;
            if (!dryRun && !QFile::remove(edit.path)) {
                result.lines.append(QStringLiteral("cannot delete %1").arg(edit.path));
                result.ok = false;
                return result;
            }
            result.lines.append(QStringLiteral("%1 %2%3%4")
                                    .arg(dryRun ? QStringLiteral("would delete") : QStringLiteral("deleted"),
                                         edit.path, described, kept));
            result.changed = true;
            continue;
        }
        const QFileInfo info(edit.path);
        const bool exists = info.exists();
        const QString target = exists ? info.canonicalFilePath() : edit.path;
        const QString backup = SetupEngine::backupPath(edit.path);
        const bool makeBackup = exists && !QFileInfo(backup).exists() && !QFileInfo(backup).isSymLink();
        QString error;
        if (!dryRun) {
            if (makeBackup) {
                const FileProbe original = probeFile(edit.path);
                if (!original.exists() || !writeAtomically(backup, original.bytes, &error)) {
                    result.lines.append(
                        QStringLiteral("cannot keep a copy of %1 as %2: %3").arg(edit.path, backup, error));
                    result.ok = false;
                    return result;
                }
            }
            if (!writeAtomically(target, edit.bytes, &error)) {
                result.lines.append(QStringLiteral("cannot write %1: %2").arg(edit.path, error));
                result.ok = false;
                return result;
            }
        }
        QString line = QStringLiteral("%1 %2%3").arg(
            exists ? (dryRun ? QStringLiteral("would change") : QStringLiteral("changed"))
                   : (dryRun ? QStringLiteral("would create") : QStringLiteral("created")),
            edit.path, described);
        if (makeBackup) {
            line += QStringLiteral("; the original %1 kept as %2")
                        .arg(dryRun ? QStringLiteral("would be") : QStringLiteral("is"),
                             QFileInfo(backup).fileName());
        }
        result.lines.append(line + copied);
        result.changed = true;
    }
    return result;
}

QByteArray dcsScriptFromResource() {
    QFile file(QStringLiteral(":/quillar-setup/VortaneQuillar.lua"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace QuillarSetup
