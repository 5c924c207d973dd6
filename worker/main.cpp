#include "mainwindow.h"

#include <QApplication>

int main(int argc, char *argv[]) {
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
