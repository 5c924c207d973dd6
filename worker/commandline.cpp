#include "commandline.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

namespace {

// The options QGuiApplication and QApplication take out of the command line themselves (Qt 6), with and
// without a value. They are known here only so they are not mistaken for unknown ones; Qt reads them.
const char *const QtValueOptions[] = {"platform", "platformpluginpath", "platformtheme", "plugin", "qwindowgeometry",
                                      "geometry", "qwindowtitle", "title", "qwindowicon", "icon", "session",
                                      "display", "name", "style", "stylesheet", "qmljsdebugger"};
const char *const QtFlagOptions[] = {"reverse", "widgetcount", "nograb", "dograb", "sync", "testability"};

QString usageText(const QCommandLineParser &parser) {
    // The parser takes the name from an application object, and there is none yet: the usage line is ours.
    const QString text = parser.helpText();
    return QStringLiteral("Usage: quillar [options]") + text.mid(text.indexOf(QLatin1Char('\n')));
}

CommandLineRequest usageError(const QCommandLineParser &parser, const QString &what) {
    CommandLineRequest request;
    request.action = CommandLineRequest::UsageError;
    request.output = QStringLiteral("quillar: %1\n").arg(what) + usageText(parser);
    return request;
}

} // namespace

CommandLineRequest readCommandLine(const QStringList &arguments, int version) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Vortane Quillar turns flight-simulator telemetry into force feedback for the Vortane joystick base and "
        "rudder unit.\nStart it through quillar-launch, which runs it in your data folder "
        "(~/.local/share/vortane-quillar), where the effect profiles are kept."));
    // Single-dash words are whole names, so Qt's own "-reverse" is not read as "-r -e -v ...".
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    // Our own options rather than addHelpOption(): that one also offers --help-all, whose Qt part only
    // process() can print, and process() needs an application object.
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Displays this help and exits."));
    const QCommandLineOption showVersion(QStringList{QStringLiteral("v"), QStringLiteral("version")},
                                         QStringLiteral("Displays the version and exits."));
    const QCommandLineOption record(QStringLiteral("record"),
                                    QStringLiteral("Also writes everything the simulators send to <FILE>."),
                                    QStringLiteral("FILE"));
    parser.addOption(help);
    parser.addOption(showVersion);
    parser.addOption(record);
    for (const char *name : QtValueOptions) {
        QCommandLineOption option(QString::fromLatin1(name), QString(), QStringLiteral("value"));
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.addOption(option);
    }
    for (const char *name : QtFlagOptions) {
        QCommandLineOption option(QString::fromLatin1(name), QString());
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.addOption(option);
    }

    // Linux lets a parent start a program with no argv[0] at all; the parser skips the first entry.
    QStringList line = arguments;
    if (line.isEmpty())
        line << QStringLiteral("quillar");
    const bool understood = parser.parse(line);

    // --help and --version answer whatever else the line holds, as they always have.
    CommandLineRequest request;
    if (parser.isSet(help)) {
        request.action = CommandLineRequest::ShowHelp;
        request.output = usageText(parser);
        return request;
    }
    if (parser.isSet(showVersion)) {
        request.action = CommandLineRequest::ShowVersion;
        request.output = QStringLiteral("quillar %1\n").arg(version);
        return request;
    }
    if (!understood) {
        // A --record at the end of the line has no FILE; say it in the words the program always used.
        const QString last = line.last();
        if (last == QLatin1String("--record") || last == QLatin1String("-record"))
            return usageError(parser, QStringLiteral("--record needs a FILE"));
        return usageError(parser, parser.errorText());
    }
    if (!parser.positionalArguments().isEmpty())
        return usageError(parser,
                          QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().first()));
    if (parser.isSet(record)) {
        const QStringList paths = parser.values(record);
        if (paths.size() > 1)
            return usageError(parser, QStringLiteral("--record is given more than once"));
        if (paths.first().isEmpty())
            return usageError(parser, QStringLiteral("--record needs a FILE"));
        request.recordPath = paths.first();
    }
    return request;
}
