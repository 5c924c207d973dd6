// A user at the bar for aircraft without a profile, for whole-program tests: preloaded with LD_PRELOAD, it
// logs what the bar shows whenever that changes, and carries out the commands a test appends to a file.
//
//   QUILLAR_CLASS_BAR_LOG       file that gets one line per change of the bar (required; without it nothing
//   runs) QUILLAR_CLASS_BAR_COMMANDS  file the test appends commands to, one a line:
//                               create | notnow | choose <class> | activation on|off | template on|off
//
// Log lines, CLOCK_MONOTONIC microseconds like the hidapi double's logs:
//   <µs> bar visible=<0|1> class=<chooser text> text=<bar text>
//   <µs> done <command>

#include "preloadwidgets.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

namespace {

class BarUser : public QObject {
public:
    BarUser(const QString &logPath, const QString &commandsPath)
        : QObject(QCoreApplication::instance()), log(logPath), commandsPath(commandsPath) {
        log.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
        auto *timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, &BarUser::tick);
        timer->start(25);
    }

private:
    void tick() {
        auto *bar = widgetNamed<QWidget>(QStringLiteral("class_template_bar"));
        auto *text = widgetNamed<QLabel>(QStringLiteral("class_template_text"));
        auto *chooser = widgetNamed<QComboBox>(QStringLiteral("class_chooser"));
        if (!bar || !text || !chooser)
            return;
        const QByteArray state = "bar visible=" + QByteArray(bar->isVisible() ? "1" : "0") +
                                 " class=" + chooser->currentText().toUtf8() +
                                 " text=" + text->text().toUtf8();
        if (state != lastState) {
            lastState = state;
            write(state);
        }
        runCommands();
    }

    void runCommands() {
        QFile file(commandsPath);
        if (!file.open(QIODevice::ReadOnly))
            return;
        const QList<QByteArray> lines = file.readAll().split('\n');
        // The last part is the unfinished line (empty once the test has written its newline).
        for (; done < lines.size() - 1; ++done) {
            const QByteArray command = lines.at(done).trimmed();
            run(command);
            write("done " + command);
        }
    }

    void run(const QByteArray &command) {
        if (command == "create")
            click(QStringLiteral("create_profile"));
        else if (command == "notnow")
            click(QStringLiteral("not_now"));
        else if (command.startsWith("choose ")) {
            if (auto *chooser = widgetNamed<QComboBox>(QStringLiteral("class_chooser")))
                chooser->setCurrentText(QString::fromUtf8(command.mid(7)));
        } else if (command.startsWith("activation ")) {
            if (auto *check = widgetNamed<QCheckBox>(QStringLiteral("profile_activation")))
                check->setChecked(command.endsWith(" on"));
        } else if (command.startsWith("template ")) {
            if (auto *check = widgetNamed<QCheckBox>(QStringLiteral("use_class_template")))
                check->setChecked(command.endsWith(" on"));
        }
    }

    static void click(const QString &name) {
        if (auto *button = widgetNamed<QPushButton>(name))
            button->click();
    }

    void write(const QByteArray &text) {
        log.write(QByteArray::number(monotonicMicros()) + ' ' + text + '\n');
    }

    QFile log;
    QString commandsPath;
    QByteArray lastState;
    int done = 0;
};

void startBarUser() {
    const QString logPath = qEnvironmentVariable("QUILLAR_CLASS_BAR_LOG");
    if (logPath.isEmpty() || !qobject_cast<QApplication *>(QCoreApplication::instance()))
        return;
    new BarUser(logPath, qEnvironmentVariable("QUILLAR_CLASS_BAR_COMMANDS"));
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startBarUser)
