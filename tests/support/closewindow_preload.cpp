// A user closing the program's window, for tests of the whole program: preloaded with LD_PRELOAD, it waits
// for a request file to appear, then asks the main window to close exactly as the window system does when the
// title bar's close button is pressed (a close event to the window), and logs when it did so.
//
//   QUILLAR_CLOSE_REQUEST   file whose appearance asks for the close (required; without it nothing runs)
//   QUILLAR_CLOSE_LOG       file that gets one line when the close is asked for (required)
//
// Log lines, CLOCK_MONOTONIC microseconds like the hidapi double's logs:
//   <µs> app-id <the application's desktop file name, which Wayland names its windows by>
//   <µs> closing <class name of the window's widget>

#include "preloadwidgets.h"

#include <QApplication>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QTimer>
#include <QWidget>
#include <QWindow>


namespace {

class WindowCloser : public QObject {
public:
    WindowCloser(const QString &requestPath, const QString &logPath)
        : QObject(QCoreApplication::instance()), requestPath(requestPath), log(logPath) {
        log.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
        timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, &WindowCloser::closeWhenAsked);
        timer->start(20);
    }

private:
    void closeWhenAsked() {
        if (!QFile::exists(requestPath))
            return;
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (!widget->isVisible() || !widget->windowHandle())
                continue;
            timer->stop();
            log.write(QByteArray::number(monotonicMicros()) + " app-id " +
                      QGuiApplication::desktopFileName().toUtf8() + '\n');
            log.write(QByteArray::number(monotonicMicros()) + " closing " + widget->metaObject()->className() +
                      '\n');
            // What the platform delivers for the title bar's close button.
            QCoreApplication::postEvent(widget->windowHandle(), new QCloseEvent());
            return;
        }
    }

    QString requestPath;
    QFile log;
    QTimer *timer = nullptr;
};

void startWindowCloser() {
    const QString requestPath = qEnvironmentVariable("QUILLAR_CLOSE_REQUEST");
    const QString logPath = qEnvironmentVariable("QUILLAR_CLOSE_LOG");
    if (requestPath.isEmpty() || logPath.isEmpty() || !qobject_cast<QApplication *>(QCoreApplication::instance()))
        return;
    new WindowCloser(requestPath, logPath);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startWindowCloser)
