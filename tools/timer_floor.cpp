// The cost floor of the program's timers, for scripts/perf/measure_scope.py: a Qt application with the same
// threads and timers as Vortane Quillar and no work at all. One thread runs a 10 ms precise timer and posts one
// queued call per tick to the GUI thread (the device cycle and its positionChanged); another runs a 20 ms
// precise timer (the telemetry tick). Whatever the program costs beyond this is its work.

#include <QApplication>
#include <QObject>
#include <QThread>
#include <QTimer>

namespace {

class Ticker : public QObject {
public:
    Ticker(int intervalMs, QObject *gui) : intervalMs(intervalMs), gui(gui) {}

    void start() {
        auto *timer = new QTimer(this);
        timer->setTimerType(Qt::PreciseTimer);
        connect(timer, &QTimer::timeout, this, [this] {
            ++ticks;
            if (gui)
                QMetaObject::invokeMethod(gui, [] {}, Qt::QueuedConnection);
        });
        timer->start(intervalMs);
    }

private:
    int intervalMs;
    QObject *gui;
    unsigned long long ticks = 0;
};

QThread *startInThread(Ticker *ticker, const char *name) {
    auto *thread = new QThread();
    thread->setObjectName(QString::fromLatin1(name));
    ticker->moveToThread(thread);
    QObject::connect(thread, &QThread::started, ticker, &Ticker::start);
    thread->start();
    return thread;
}

} // namespace

int main(int argc, char *argv[]) {
    QApplication application(argc, argv);
    QObject guiReceiver;
    // Never stopped: like the program, the process simply ends.
    startInThread(new Ticker(10, &guiReceiver), "device cycle");
    startInThread(new Ticker(20, nullptr), "telemetry");
    return application.exec();
}
