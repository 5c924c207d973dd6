// Reads the whole program's status panel and profile editor from inside, for tests that run the program as
// its own process: preloaded with LD_PRELOAD, it looks at a few widgets by their object names every 50 ms
// and appends a line to a file whenever what they show changes.
//
//   QUILLAR_STATUS_PROBE_LOG   file that gets the lines (required; without it nothing runs)
//
// Line: source=<telemetry_data_source>|module=<flight_module>|editor_source=<game_combo index>|
//       editor_module=<flight_module_input>

#include <QApplication>
#include <QComboBox>
#include <QCoreApplication>
#include <QFile>
#include <QLineEdit>
#include <QTimer>

namespace {

template <typename Widget> Widget *widgetNamed(const QString &name) {
    for (QWidget *widget : QApplication::allWidgets()) {
        if (widget->objectName() == name) {
            if (auto *typed = qobject_cast<Widget *>(widget))
                return typed;
        }
    }
    return nullptr;
}

class StatusProbe : public QObject {
public:
    explicit StatusProbe(const QString &logPath) : QObject(QCoreApplication::instance()), log(logPath) {
        log.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
        auto *timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, &StatusProbe::look);
        timer->start(50);
    }

private:
    static QString textOf(const QString &name) {
        auto *edit = widgetNamed<QLineEdit>(name);
        return edit ? edit->text() : QStringLiteral("<none>");
    }

    void look() {
        auto *game = widgetNamed<QComboBox>(QStringLiteral("game_combo"));
        const QString line = QStringLiteral("source=%1|module=%2|editor_source=%3|editor_module=%4")
                                 .arg(textOf(QStringLiteral("telemetry_data_source")),
                                      textOf(QStringLiteral("flight_module")),
                                      game ? QString::number(game->currentIndex()) : QStringLiteral("<none>"),
                                      textOf(QStringLiteral("flight_module_input")));
        if (line == last)
            return;
        last = line;
        log.write(line.toUtf8() + '\n');
    }

    QFile log;
    QString last;
};

void startStatusProbe() {
    const QString logPath = qEnvironmentVariable("QUILLAR_STATUS_PROBE_LOG");
    if (logPath.isEmpty() || !qobject_cast<QApplication *>(QCoreApplication::instance()))
        return;
    new StatusProbe(logPath);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startStatusProbe)
