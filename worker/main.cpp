#include "commandline.h"
#include "mainwindow.h"

#include <QApplication>
#include <cstdio>

int main(int argc, char *argv[]) {
    // --help and --version are answered before QApplication exists, so they work without a display (in a
    // terminal over ssh, in a package check). Any other command line starts the program as usual.
    QStringList arguments;
    for (int index = 0; index < argc; ++index)
        arguments << QString::fromLocal8Bit(argv[index]);
    const CommandLineRequest request = readCommandLine(arguments, MainWindow::ApplicationVersion);
    if (request.action != CommandLineRequest::Run) {
        std::fputs(request.output.toLocal8Bit().constData(), stdout);
        return 0;
    }

    // On Linux argv already arrives as UTF-8 bytes; only Windows needs its wide command line converted first.
    QApplication application(argc, argv);
    auto *window = new MainWindow();
    window->show();
    window->centreOnPrimaryScreen();
    const int exitCode = application.exec();
    // The workers and their threads are left running on purpose: the process simply ends.
    delete window;
    return exitCode;
}
