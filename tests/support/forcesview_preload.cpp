// A user who opens the Forces view, for measurements of the real program: preloaded with LD_PRELOAD, it
// presses the "Forces" button (found by its object name) once the window is up, and nothing else.
//
//   QUILLAR_FORCES_VIEW_DELAY_MS   how long after start to press it, default 500

#include <QApplication>
#include <QCoreApplication>
#include <QTimer>
#include <QToolButton>
#include <cstdio>

namespace {

void pressForcesButton() {
    for (QWidget *widget : QApplication::allWidgets()) {
        if (widget->objectName() == QLatin1String("forces_button")) {
            if (auto *button = qobject_cast<QToolButton *>(widget)) {
                button->click();
                std::fprintf(stderr, "forces view preload: opened the Forces view\n");
                return;
            }
        }
    }
    std::fprintf(stderr, "forces view preload: no Forces button found\n");
}

void startForcesViewOpener() {
    bool ok = false;
    const int delay = qEnvironmentVariableIntValue("QUILLAR_FORCES_VIEW_DELAY_MS", &ok);
    QTimer::singleShot(ok ? delay : 500, qApp, &pressForcesButton);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startForcesViewOpener)
