#include "setuptool.h"

#include "setupengine.h"

#include <QCommandLineParser>
#include <QDir>
#include <QTextStream>

#ifndef QUILLAR_VERSION
#define QUILLAR_VERSION "0"
#endif

namespace QuillarSetup {

namespace {

QString column(const QString &text, int width) {
    return text.leftJustified(width);
}

} // namespace

int runSetupTool(const QStringList &arguments, QTextStream &out, QTextStream &err,
                 const QByteArray &dcsScript) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Finds the installed flight simulators and sets them up to send their data to Vortane Quillar.\n"
        "SIM is any of dcs, il2, condor2, msfs, xplane, warthunder; none means all."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const QCommandLineOption home(
        QStringLiteral("home"), QStringLiteral("Look under <dir> instead of $HOME."), QStringLiteral("dir"));
    const QCommandLineOption dryRun(QStringLiteral("dry-run"),
                                    QStringLiteral("Print what would change; change nothing."));
    parser.addOption(home);
    parser.addOption(dryRun);
    parser.addPositionalArgument(
        QStringLiteral("command"),
        QStringLiteral("status: what is set up; install: set up; remove: undo the set-up; doctor: why the "
                       "program might do nothing (see 'quillar-setup doctor --help')."),
        QStringLiteral("status|install|remove|doctor"));
    parser.addPositionalArgument(QStringLiteral("SIM"),
                                 QStringLiteral("The simulators to look at (default: all)."),
                                 QStringLiteral("[SIM...]"));

    auto usageError = [&](const QString &message) {
        err << "quillar-setup: " << message << "\n"
            << "Usage: quillar-setup [--home DIR] [--dry-run] status|install|remove [SIM...]\n"
            << "       quillar-setup doctor [--home DIR] [--bundle FILE]\n"
            << "Try 'quillar-setup --help' for more.\n";
        err.flush();
        return 2;
    };
    if (!parser.parse(arguments)) {
        return usageError(parser.errorText());
    }
    if (parser.isSet(help)) {
        out << parser.helpText();
        out.flush();
        return 0;
    }
    if (parser.isSet(version)) {
        out << "quillar-setup " << QUILLAR_VERSION << "\n";
        out.flush();
        return 0;
    }
    QStringList positional = parser.positionalArguments();
    if (positional.isEmpty()) {
        return usageError(QStringLiteral("a command is needed: status, install, remove or doctor"));
    }
    const QString command = positional.takeFirst();
    if (command != QLatin1String("status") && command != QLatin1String("install") &&
        command != QLatin1String("remove")) {
        return usageError(QStringLiteral("unknown command \"%1\"").arg(command));
    }
    QList<Simulator> chosen;
    for (const QString &key : positional) {
        Simulator simulator;
        if (!simulatorFromKey(key, &simulator)) {
            return usageError(QStringLiteral("unknown simulator \"%1\"").arg(key));
        }
        if (!chosen.contains(simulator)) {
            chosen.append(simulator);
        }
    }
    if (chosen.isEmpty()) {
        chosen = allSimulators();
    }
    QString homeFolder = parser.isSet(home) ? parser.value(home) : QDir::homePath();
    if (homeFolder.isEmpty() || !QDir(homeFolder).exists()) {
        return usageError(QStringLiteral("no folder \"%1\"").arg(homeFolder));
    }
    if (dcsScript.isEmpty()) {
        err << "quillar-setup: this build carries no DCS export script\n";
        err.flush();
        return 1;
    }

    const SetupEngine engine(homeFolder, dcsScript, SetupEngine::dataHomeFromEnvironment());
    const Discovery discovery = engine.discover();
    for (const QString &note : discovery.notes) {
        out << "note: " << note << "\n";
    }
    const bool dry = parser.isSet(dryRun);
    if (dry && command != QLatin1String("status")) {
        out << "dry run: nothing is changed\n";
    }
    // The states line up after the longest folder listed.
    int folderWidth = 0;
    for (const Installation &installation : discovery.installations) {
        if (chosen.contains(installation.simulator)) {
            folderWidth = qMax(folderWidth, int(installation.folder.size()));
        }
    }
    bool ok = true;
    bool changedAnything = false;
    bool leftAnything = false;
    for (Simulator simulator : allSimulators()) {
        if (!chosen.contains(simulator)) {
            continue;
        }
        bool any = false;
        for (const Installation &installation : discovery.installations) {
            if (installation.simulator != simulator) {
                continue;
            }
            any = true;
            if (command == QLatin1String("status")) {
                const Assessment assessment = engine.assess(installation);
                out << column(simulatorKey(simulator), 11) << column(installation.folder, folderWidth) << "  "
                    << stateText(assessment.state) << "\n";
                for (const QString &problem : assessment.problems) {
                    out << "           " << problem << "\n";
                }
                continue;
            }
            out << column(simulatorKey(simulator), 11) << installation.folder << "\n";
            if (engine.assess(installation).state == State::NothingToSetUp) {
                out << "           nothing to set up\n";
                continue;
            }
            // Planned and applied one installation at a time, so each plan sees what the one before changed.
            const Plan plan = command == QLatin1String("install")
                                  ? engine.planInstall(installation)
                                  : engine.planRemove(installation, discovery.installations);
            const ApplyResult result = applyPlan(plan, dry);
            for (const QString &line : result.lines) {
                out << "           " << line << "\n";
            }
            ok = ok && result.ok;
            changedAnything = changedAnything || result.changed;
            leftAnything = leftAnything || result.leftAlone;
        }
        if (!any) {
            out << column(simulatorKey(simulator), 11) << "no installation found\n";
        }
    }
    if (command != QLatin1String("status")) {
        if (!ok) {
            out << "Some files could not be changed (see above).\n";
        } else if (!changedAnything && leftAnything) {
            out << "Nothing changed; the files named \"left\" above are as they were.\n";
        } else if (!changedAnything) {
            out << "Nothing changed: everything was already "
                << (command == QLatin1String("install") ? "set up" : "taken out") << ".\n";
        }
    }
    out.flush();
    return ok ? 0 : 1;
}

} // namespace QuillarSetup
