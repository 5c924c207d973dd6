#pragma once

#include <QList>
#include <QObject>
#include <QThread>
#include <QVariant>
#include <type_traits>

// Records a signal's emissions in the thread this recorder lives in. QSignalSpy appends in the emitting
// thread, so reading it while a worker thread emits is a data race; here every emission from another thread
// arrives queued, and the record is only ever touched by the recorder's own thread.
class SignalRecorder : public QObject {
public:
    template <typename Sender, typename... Args>
    SignalRecorder(const Sender *sender, void (Sender::*signal)(Args...)) {
        connect(sender, signal, this, [this](std::decay_t<Args>... args) {
            emissions.append(QVariantList{QVariant::fromValue(args)...});
            threads.append(QThread::currentThread());
        });
    }

    qsizetype count() const { return emissions.size(); }
    const QVariantList &at(qsizetype i) const { return emissions.at(i); }
    const QVariantList &last() const { return emissions.last(); }
    // The thread each emission was received in: always this recorder's.
    const QList<QThread *> &receivedIn() const { return threads; }

private:
    QList<QVariantList> emissions;
    QList<QThread *> threads;
};
