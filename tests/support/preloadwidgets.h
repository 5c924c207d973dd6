#pragma once

// What the libraries that tests preload into the whole program share: finding a widget of the running program
// by its object name, and the clock of the hidapi double's logs.

#include <QApplication>
#include <QString>
#include <QWidget>

#include <ctime>

// CLOCK_MONOTONIC microseconds, the clock of the hidapi double's logs.
inline qint64 monotonicMicros() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return qint64(ts.tv_sec) * 1000000 + ts.tv_nsec / 1000;
}

// The first widget of the program with that object name and type, or null.
template <typename Widget> Widget *widgetNamed(const QString &name) {
    for (QWidget *widget : QApplication::allWidgets()) {
        if (widget->objectName() == name) {
            if (auto *typed = qobject_cast<Widget *>(widget))
                return typed;
        }
    }
    return nullptr;
}
