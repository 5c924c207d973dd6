#include "commandline.h"
#include "demoprofile.h"
#include "logfilesink.h"
#include "mainwindow.h"
#include "telemetryrecorder.h"
#include "telemetryring.h"
#include "terminationsignals.h"

#include <QApplication>
#include <QTextStream>
#include <cstdio>

int main(int argc, char *argv[]) {
    TelemetryRecorder::ignoreBrokenPipes();
    // --help and --version are answered before QApplication exists, so they work without a display (in a
    // terminal over ssh, in a package check). Any other command line starts the program as usual.
    QStringList arguments;
    for (int index = 0; index < argc; ++index)
        arguments << QString::fromLocal8Bit(argv[index]);
    const CommandLineRequest request = readCommandLine(arguments, MainWindow::ApplicationVersion);
    if (request.action == CommandLineRequest::UsageError) {
        std::fputs(request.output.toLocal8Bit().constData(), stderr);
        return CommandLineUsageExitCode;
    }
    if (request.action != CommandLineRequest::Run) {
        std::fputs(request.output.toLocal8Bit().constData(), stdout);
        return 0;
    }

    // Every log line also goes to the log file (docs/troubleshooting.md), from the first one on. Never deleted:
    // threads still running at the end may log until the process is gone.
    auto *logFile = new LogFileSink(LogFileSink::defaultFolder());
    LogFileSink::install(logFile);
    // The last minute of telemetry, for the Diagnostics window's support bundle.
    TelemetryRing::instance().enable();

    // --record FILE: everything the simulators send is also written to FILE (docs/recordings.md). A file that
    // cannot be made ends the program before any window system is touched.
    if (!request.recordPath.isEmpty()) {
        QString error;
        if (!TelemetryRecorder::instance().start(request.recordPath, &error)) {
            QTextStream(stderr) << "quillar: " << error << '\n';
            logFile->flush();
            return CommandLineUsageExitCode;
        }
    }

    // On Linux argv already arrives as UTF-8 bytes; only Windows needs its wide command line converted first.
    QApplication application(argc, argv);
    quitOnTerminationSignals();
    // Wayland names the window by this id; it matches the installed desktop entry, so the desktop shows the
    // program's own name and icon for it.
    QGuiApplication::setDesktopFileName(QStringLiteral("vortane-quillar"));
    // Before the window lists the profiles, so a newcomer's demo flight finds its profile.
    installDemoProfile(QStringLiteral("effect_profiles"));
    auto *window = new MainWindow();
    window->show();
    window->centreOnPrimaryScreen();
    const int exitCode = application.exec();
    // What the recording's writer still holds goes to the file before the process ends.
    TelemetryRecorder::instance().stop();
    // The workers and their threads are left running on purpose: the process simply ends.
    delete window;
    logFile->flush();
    return exitCode;
}
