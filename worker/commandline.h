#pragma once

#include <QString>
#include <QStringList>

// What the program was asked to do by its command line. Only --help and --version are answered here (--record
// is the running program's, read in main.cpp); every other argument (Qt's -platform, -style, anything unknown) is left for QApplication and
// otherwise ignored, so a start with arguments behaves as one without.
struct CommandLineRequest {
    enum Action { Run, ShowHelp, ShowVersion };
    Action action = Run;
    // The text to print on standard output for ShowHelp and ShowVersion; empty for Run.
    QString output;
};

// `arguments` is the whole command line, the program's own name first. Needs no QCoreApplication, so the
// answer can be given before any window system is touched.
CommandLineRequest readCommandLine(const QStringList &arguments, int version);
