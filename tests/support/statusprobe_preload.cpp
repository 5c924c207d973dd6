// Lets a test read what the whole program shows: preloaded with LD_PRELOAD, it starts with the application
// and, every 20 ms, reads the status panel's source and flight module and the profile editor's game and
// flight module (by their object names); whenever one of them changed it appends a line to a log.
//
//   QUILLAR_STATUS_PROBE_LOG   the log file (required; without it nothing runs)
//
// Log lines, CLOCK_MONOTONIC microseconds like the hidapi double's logs, fields separated by tabs:
//   <µs>\tsource=<telemetry_data_source>\tmodule=<flight_module>\tgame=<game_combo
//   index>\tprofile=<flight_module_input>

#include "preloadwidgets.h"

#include <QApplication>
#include <QComboBox>
#include <QCoreApplication>
#include <QFile>
#include <QLineEdit>
#include <QTimer>


namespace {

class StatusProbe : public QObject {
public:
    explicit StatusProbe(const QString &logPath) : QObject(QCoreApplication::instance()), log(logPath) {
        log.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
        auto *timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, &StatusProbe::look);
        timer->start(20);
    }

private:
    void look() {
        auto *source = widgetNamed<QLineEdit>(QStringLiteral("telemetry_data_source"));
        auto *module = widgetNamed<QLineEdit>(QStringLiteral("flight_module"));
        auto *game = widgetNamed<QComboBox>(QStringLiteral("game_combo"));
        auto *profile = widgetNamed<QLineEdit>(QStringLiteral("flight_module_input"));
        if (!source || !module || !game || !profile)
            return;
        const QByteArray line = "source=" + source->text().toUtf8() + "\tmodule=" + module->text().toUtf8() +
                                "\tgame=" + QByteArray::number(game->currentIndex()) +
                                "\tprofile=" + profile->text().toUtf8();
        if (line == last)
            return;
        last = line;
        log.write(QByteArray::number(monotonicMicros()) + '\t' + line + '\n');
    }

    QFile log;
    QByteArray last;
};

void startStatusProbe() {
    const QString logPath = qEnvironmentVariable("QUILLAR_STATUS_PROBE_LOG");
    if (logPath.isEmpty() || !qobject_cast<QApplication *>(QCoreApplication::instance()))
        return;
    new StatusProbe(logPath);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startStatusProbe)
