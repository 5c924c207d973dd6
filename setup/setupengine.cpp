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

// Links are followed only as far as the home folder: a file that resolves outside it is not ours to change.
QString leadsOutside(const QString &home, const QString &path) {
    const QString canonicalHome = QFileInfo(home).canonicalFilePath();
    const QFileInfo info(path);
    const QString resolved = info.exists() ? info.canonicalFilePath()
                                           : QFileInfo(nearestExisting(info.path())).canonicalFilePath();
    if (canonicalHome.isEmpty() || resolved == canonicalHome ||
        resolved.startsWith(canonicalHome + QLatin1Char('/'))) {
        return QString();
    }
    return QStringLiteral("leads to %1, outside %2; left as it is").arg(resolved, home);
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

} // namespace

SetupEngine::SetupEngine(const QString &home, const QByteArray &dcsScript)
    : homeFolder(QDir::cleanPath(QDir(home).absolutePath())), script(dcsScript) {}

QString SetupEngine::dataFolder() const {
    return homeFolder + QStringLiteral("/.local/share/vortane-quillar");
}

QString SetupEngine::simConnectCfgPath() const {
    return dataFolder() + QStringLiteral("/SimConnect.cfg");
}

QString SetupEngine::backupPath(const QString &path) {
    return path + QStringLiteral(".quillar-backup");
}

int SetupEngine::simConnectPort() const {
    return QuillarSetup::simConnectPort(contentOf(probeFile(simConnectCfgPath())));
}

Discovery SetupEngine::discover() const {
    return discoverInstallations(homeFolder);
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
        rules = msfsRules(installation.folder, simConnectPort());
        break;
    case Simulator::XPlane:
    case Simulator::WarThunder:
        break;
    }
    for (FileRules &file : rules) {
        if (!file.wholeFileIsOurs) {
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
    for (const FileRules &file : rules) {
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
    if (present == rules.size()) {
        assessment.state = State::Ready;
    } else if (absent == rules.size()) {
        assessment.state = State::NotSetUp;
    } else {
        assessment.state = State::NeedsRepair;
    }
    return assessment;
}

Plan SetupEngine::planInstall(const Installation &installation) const {
    Plan plan;
    QSet<QString> folders;
    auto write = [&](const QString &path, const QByteArray &bytes, const QString &description) {
        const QString folder = QFileInfo(path).path();
        if (!QFileInfo(folder).exists() && !QFileInfo(folder).isSymLink() && !folders.contains(folder)) {
            folders.insert(folder);
            plan.edits.append(FileEdit{FileEdit::MakeFolder, folder, QByteArray(), QString()});
        }
        plan.edits.append(FileEdit{FileEdit::Write, path, bytes, description});
    };
    for (const FileRules &file : rulesFor(installation)) {
        const FileProbe probe = probeFile(file.path);
        if (probe.kind != FileProbe::Missing && !probe.exists()) {
            plan.problems.append(withProblem(file.path, probe.problem));
            continue;
        }
        if (const QString outside = leadsOutside(homeFolder, file.path); !outside.isEmpty()) {
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
        write(file.path, *updated, file.installWords);
    }
    if (installation.simulator == Simulator::Msfs) {
        const FileProbe cfg = probeFile(simConnectCfgPath());
        if (const QString outside = leadsOutside(homeFolder, simConnectCfgPath()); !outside.isEmpty()) {
            plan.problems.append(withProblem(simConnectCfgPath(), outside));
        } else if (cfg.kind == FileProbe::Missing) {
            write(simConnectCfgPath(), simConnectCfgBytes(simConnectPort()),
                  QStringLiteral("the address the program connects to"));
        } else if (!cfg.exists()) {
            plan.problems.append(withProblem(simConnectCfgPath(), cfg.problem));
        }
    }
    return plan;
}

Plan SetupEngine::planRemove(const Installation &installation, const QList<Installation> &all) const {
    Plan plan;
    for (const FileRules &file : rulesFor(installation)) {
        const FileProbe probe = probeFile(file.path);
        if (probe.kind == FileProbe::Missing) {
            continue;
        }
        if (!probe.exists()) {
            plan.problems.append(withProblem(file.path, probe.problem));
            continue;
        }
        if (const QString outside = leadsOutside(homeFolder, file.path); !outside.isEmpty()) {
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
        // When the file is still exactly what set-up made of it, undoing is exact: the original comes back
        // from the backup, or a file set-up created goes.
        const FileProbe backup = probeFile(backupPath(file.path));
        if (backup.exists()) {
            const std::optional<QByteArray> installed = file.install(backup.bytes, &problem);
            if (installed && *installed == probe.bytes) {
                plan.edits.append(FileEdit{FileEdit::Write, file.path, backup.bytes,
                                           QStringLiteral("put back as it was before the set-up, from %1")
                                               .arg(QFileInfo(backupPath(file.path)).fileName())});
                continue;
            }
        } else if (backup.kind == FileProbe::Missing) {
            const std::optional<QByteArray> created = file.install(std::nullopt, &problem);
            if (created && *created == probe.bytes) {
                plan.edits.append(FileEdit{FileEdit::Delete, file.path, QByteArray(),
                                           QStringLiteral("the set-up made this file")});
                continue;
            }
        }
        if (file.wholeFileIsOurs) {
            plan.notes.append(
                withProblem(file.path, QStringLiteral("differs from what the set-up wrote; kept")));
            continue;
        }
        problem.clear();
        const std::optional<QByteArray> taken = file.takeOut(probe.bytes, &problem);
        if (!taken) {
            plan.problems.append(withProblem(file.path, problem));
            continue;
        }
        if (*taken != probe.bytes) {
            plan.edits.append(FileEdit{FileEdit::Write, file.path, *taken, file.removeWords});
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
        if (!othersSetUp && cfg.exists() && cfg.bytes == simConnectCfgBytes(500) &&
            probeFile(backupPath(simConnectCfgPath())).kind == FileProbe::Missing) {
            plan.edits.append(FileEdit{FileEdit::Delete, simConnectCfgPath(), QByteArray(),
                                       QStringLiteral("the set-up made this file")});
        }
    }
    return plan;
}

ApplyResult applyPlan(const Plan &plan, bool dryRun) {
    ApplyResult result;
    for (const QString &problem : plan.problems) {
        result.lines.append(QStringLiteral("cannot change %1").arg(problem));
        result.ok = false;
    }
    for (const FileEdit &edit : plan.edits) {
        const QString why = obstacle(edit);
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
        if (edit.kind == FileEdit::Delete) {
            if (!dryRun && !QFile::remove(edit.path)) {
                result.lines.append(QStringLiteral("cannot delete %1").arg(edit.path));
                result.ok = false;
                return result;
            }
            result.lines.append(QStringLiteral("%1 %2%3").arg(
                dryRun ? QStringLiteral("would delete") : QStringLiteral("deleted"), edit.path, described));
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
        result.lines.append(line);
        result.changed = true;
    }
    return result;
}

QByteArray dcsScriptFromResource() {
    QFile file(QStringLiteral(":/quillar-setup/VortaneQuillar.lua"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace QuillarSetup
