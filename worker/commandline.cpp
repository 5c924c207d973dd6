#include "commandline.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

CommandLineRequest readCommandLine(const QStringList &arguments, int version) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Vortane Quillar turns flight-simulator telemetry into force feedback for the Vortane joystick base and "
        "rudder unit.\nStart it through quillar-launch, which runs it in your data folder "
        "(~/.local/share/vortane-quillar), where the effect profiles are kept."));
    // Single-dash words are whole names, so Qt's own "-reverse" is not read as "-r -e -v ...".
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    // Our own options rather than addHelpOption(): that one also offers --help-all, whose Qt part only
    // process() can print, and process() needs an application object and exits on unknown arguments.
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Displays this help and exits."));
    const QCommandLineOption showVersion(QStringList{QStringLiteral("v"), QStringLiteral("version")},
                                         QStringLiteral("Displays the version and exits."));
    // Taken by the program itself once it runs (main.cpp); listed here so --help tells of it.
    const QCommandLineOption record(QStringLiteral("record"),
                                    QStringLiteral("Also writes everything the simulators send to <FILE>."),
                                    QStringLiteral("FILE"));
    parser.addOption(help);
    parser.addOption(showVersion);
    parser.addOption(record);
    // Unknown options make parse() report an error, but the known ones are still taken; the error is
    // ignored on purpose because those arguments belong to QApplication or to nobody.
    parser.parse(arguments);

    CommandLineRequest request;
    if (parser.isSet(help)) {
        request.action = CommandLineRequest::ShowHelp;
        // The parser takes the name from an application object, and there is none yet: the usage line is ours.
        const QString text = parser.helpText();
        request.output = QStringLiteral("Usage: quillar [options]") + text.mid(text.indexOf(QLatin1Char('\n')));
    } else if (parser.isSet(showVersion)) {
        request.action = CommandLineRequest::ShowVersion;
        request.output = QStringLiteral("quillar %1\n").arg(version);
    }
    return request;
}
