#pragma once

#include <QString>
#include <QStringList>

// What the program was asked to do by its command line. One parser reads every option: the program's own
// (--help, --version, --record FILE in all the spellings Qt's parser takes) and the ones Qt's application
// object takes for itself (-platform, -style, ...), which are passed on untouched. Anything else is a mistake
// the user must hear about, not an argument quietly dropped: a flight meant to be recorded would be lost.
struct CommandLineRequest {
    enum Action { Run, ShowHelp, ShowVersion, UsageError };
    Action action = Run;
    // For ShowHelp and ShowVersion the text for standard output; for UsageError the text for standard error
    // (what was wrong, then the usage); empty for Run.
    QString output;
    // --record FILE: where everything the simulators send is also written; empty when not asked for.
    QString recordPath;
};

// Status the program ends with on a UsageError, as for a recording that cannot be started.
constexpr int CommandLineUsageExitCode = 2;

// `arguments` is the whole command line, the program's own name first. Needs no QCoreApplication, so the
// answer can be given before any window system is touched.
CommandLineRequest readCommandLine(const QStringList &arguments, int version);
