#pragma once

#include "monotonicclock.h"
#include "telemetrysource.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QThread>
#include <functional>

// A hand-stepped clock for the sources' silence timers.
namespace ManualClock {
inline int64_t now = 100000;
inline int64_t read() { return now; }
inline void install(int64_t start = 100000) {
    now = start;
    MonotonicClock::setSource(&read);
}
inline void uninstall() { MonotonicClock::setSource(nullptr); }
} // namespace ManualClock

// Polls `poll` until `done` holds, giving loopback delivery and the event loop time; false after
// `timeoutMs` of real time.
inline bool pollUntil(const std::function<void()> &poll, const std::function<bool()> &done,
                      int timeoutMs = 5000) {
    QElapsedTimer realTime;
    realTime.start();
    while (!done()) {
        if (realTime.hasExpired(timeoutMs))
            return false;
        poll();
        QCoreApplication::processEvents();
        if (!done())
            QThread::msleep(2);
    }
    return true;
}

// Reproducible hostile bytes.
inline QByteArray randomBytes(quint32 seed, int size) {
    QRandomGenerator generator(seed);
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = char(generator.bounded(256));
    return bytes;
}
