#include "mainwindow.h"

#include <QApplication>
#include <QScreen>

int main(int argc, char *argv[]) {
    QApplication application(argc, argv);
    auto *window = new MainWindow();
    window->show();
    // Centred from sizes only: the primary screen's own top-left corner is not added.
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    window->move((screen.width() - window->geometry().width()) / 2,
                 (screen.height() - window->geometry().height()) / 2);
    const int exitCode = application.exec();
    delete window;
    return exitCode;
}
