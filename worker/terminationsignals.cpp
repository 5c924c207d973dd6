#include "terminationsignals.h"

#include <QtGlobal>

#ifdef Q_OS_UNIX
#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// A signal handler may do next to nothing, so it only writes a byte; the event loop reads it and quits.
int signalPipe[2] = {-1, -1};

void onSignal(int) {
    const int saved = errno;
    const char byte = 1;
    // A full pipe means a quit is already on its way.
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
    errno = saved;
}
} // namespace

void quitOnTerminationSignals() {
    QCoreApplication *application = QCoreApplication::instance();
    if (!application || signalPipe[0] >= 0)
        return;
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, application);
    QObject::connect(notifier, &QSocketNotifier::activated, application, [] {
        char bytes[16];
        while (::read(signalPipe[0], bytes, sizeof bytes) > 0) {
        }
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int number : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(number, &action, nullptr);
}
#else
void quitOnTerminationSignals() {}
#endif
