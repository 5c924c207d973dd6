// A user at the profile editor, for soak runs of the real program: preloaded with LD_PRELOAD, it starts with
// the application and, at a fixed interval, changes the rudder's simple spring strength of whatever profile
// the editor shows and presses "Save", finding both widgets by their object names. The program itself writes
// the file; a script reads back from the log what each save should have left on disk.
//
//   QUILLAR_SOAK_DRIVER_LOG   file that gets one line per attempt (required; without it nothing runs)
//   QUILLAR_SOAK_SAVE_MS      interval between saves, default 7000
//
// Log lines, CLOCK_MONOTONIC microseconds like the hidapi double's logs:
//   <µs> saved source=<game combo index> module=<flight module> rudder_spring=<value>
//   <µs> skipped <why>

#include "preloadwidgets.h"

#include <QApplication>
#include <QComboBox>
#include <QCoreApplication>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>


namespace {

class ProfileSaver : public QObject {
public:
    ProfileSaver(const QString &logPath, int intervalMs)
        : QObject(QCoreApplication::instance()), log(logPath) {
        log.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
        auto *timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, &ProfileSaver::saveOnce);
        timer->start(intervalMs);
    }

private:
    void saveOnce() {
        auto *game = widgetNamed<QComboBox>(QStringLiteral("game_combo"));
        auto *module = widgetNamed<QLineEdit>(QStringLiteral("flight_module_input"));
        auto *save = widgetNamed<QPushButton>(QStringLiteral("save_profile"));
        auto *rudder = widgetNamed<QWidget>(QStringLiteral("rudder_effects_widget"));
        auto *spring =
            rudder ? rudder->findChild<QWidget *>(QStringLiteral("simple_spring_widget")) : nullptr;
        auto *strength =
            spring ? spring->findChild<QSpinBox *>(QStringLiteral("total_effect_strength")) : nullptr;
        if (!game || !module || !save || !strength) {
            write("skipped editor widgets not found");
            return;
        }
        // Before the first activation the editor holds an unnamed profile; saving it would add a file.
        if (module->text().isEmpty()) {
            write("skipped no profile loaded");
            return;
        }
        ++saves;
        const int value = 10 + saves % 50;
        strength->setValue(value);
        if (strength->value() != value) {
            write("skipped spin box refused " + QByteArray::number(value));
            return;
        }
        // Read before the click: saving loads the file back, which may redraw the editor.
        const QByteArray line = "saved source=" + QByteArray::number(game->currentIndex()) +
                                " module=" + module->text().toUtf8() +
                                " rudder_spring=" + QByteArray::number(value);
        save->click();
        write(line);
    }

    void write(const QByteArray &text) {
        log.write(QByteArray::number(monotonicMicros()) + ' ' + text + '\n');
    }

    QFile log;
    int saves = 0;
};

void startProfileSaver() {
    const QString logPath = qEnvironmentVariable("QUILLAR_SOAK_DRIVER_LOG");
    if (logPath.isEmpty() || !qobject_cast<QApplication *>(QCoreApplication::instance()))
        return;
    bool ok = false;
    int intervalMs = qEnvironmentVariableIntValue("QUILLAR_SOAK_SAVE_MS", &ok);
    if (!ok || intervalMs <= 0)
        intervalMs = 7000;
    new ProfileSaver(logPath, intervalMs);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startProfileSaver)
