#include "demoprofile.h"
#include "mainwindow.h"
#include "telemetryrecorder.h"

#include <QApplication>
#include <QTextStream>

int main(int argc, char *argv[]) {
    // On Linux argv already arrives as UTF-8 bytes; only Windows needs its wide command line converted first.
    QApplication application(argc, argv);
    // --record FILE: everything the simulators send is also written to FILE (docs/recordings.md).
    const QStringList arguments = QCoreApplication::arguments();
    if (const qsizetype record = arguments.indexOf(QStringLiteral("--record")); record > 0) {
        QString error;
        if (record + 1 >= arguments.size() || !TelemetryRecorder::instance().start(arguments.at(record + 1), &error)) {
            QTextStream(stderr) << "quillar: " << (error.isEmpty() ? QStringLiteral("--record needs a FILE") : error)
                                << '\n';
            return 2;
        }
    }
    // Before the window lists the profiles, so a newcomer's demo flight finds its profile.
    installDemoProfile(QStringLiteral("effect_profiles"));
    auto *window = new MainWindow();
    window->show();
    window->centreOnPrimaryScreen();
    const int exitCode = application.exec();
    // The workers and their threads are left running on purpose: the process simply ends.
    delete window;
    return exitCode;
}
