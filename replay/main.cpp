#include "demoflight.h"
#include "replayer.h"
#include "telemetry.h"
#include "telemetryrecording.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>
#include <cstdio>

namespace {

enum ExitCode { Success = 0, UsageError = 1, FileError = 2, PortError = 3 };

int complain(const QString &text, int code) {
    QTextStream(stderr) << "quillar-replay: " << text << '\n';
    return code;
}

} // namespace

int main(int argc, char *argv[]) {
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quillar-replay"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLAR_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Sends a telemetry recording made by quillar --record back to Vortane Quillar at its recorded timing, "
        "over the simulators' own transports; or, with --demo, a built-in DCS flight of about two minutes."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption speedOption(QStringLiteral("speed"),
                                         QStringLiteral("Plays at <factor> times the recorded pace (default 1)."),
                                         QStringLiteral("factor"), QStringLiteral("1"));
    const QCommandLineOption loopOption(QStringLiteral("loop"), QStringLiteral("Starts again at the end, until stopped."));
    const QCommandLineOption demoOption(QStringLiteral("demo"),
                                        QStringLiteral("Streams the built-in demo flight instead of a file."));
    parser.addOption(speedOption);
    parser.addOption(loopOption);
    parser.addOption(demoOption);
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("A recording (docs/recordings.md)."),
                                 QStringLiteral("[FILE]"));
    parser.process(application);

    bool speedOk = false;
    const double speed = parser.value(speedOption).toDouble(&speedOk);
    if (!speedOk || !(speed >= 0.01 && speed <= 1000.0))
        return complain(QStringLiteral("--speed takes a factor from 0.01 to 1000, not \"%1\"")
                            .arg(parser.value(speedOption)),
                        UsageError);
    const QStringList files = parser.positionalArguments();
    const bool demo = parser.isSet(demoOption);
    if (demo == !files.isEmpty() || files.size() > 1)
        return complain(QStringLiteral("give one recording FILE or --demo (see --help)"), UsageError);

    TelemetryRecording::RecordingFile recording;
    QList<TelemetryRecording::Record> demoRecords;
    qsizetype demoIndex = 0;
    std::function<bool(TelemetryRecording::Record &)> next;
    std::function<void()> rewind;
    bool needsWarthunder = false;
    bool needsXPlane = false;
    if (demo) {
        demoRecords = DemoFlight::records();
        next = [&](TelemetryRecording::Record &record) {
            if (demoIndex >= demoRecords.size())
                return false;
            record = demoRecords.at(demoIndex++);
            return true;
        };
        rewind = [&] { demoIndex = 0; };
        QTextStream(stdout) << "quillar-replay: demo flight \"" << DemoFlight::FlightModule << "\", "
                            << DemoFlight::DurationMicros / 1000000 << " s of DCS telemetry to UDP port 29778"
                            << Qt::endl;
    } else {
        if (!recording.open(files.first()))
            return complain(recording.error(), FileError);
        TelemetryRecording::Record record;
        while (recording.reader().next(record)) {
            needsWarthunder = needsWarthunder || record.kind == TelemetryRecording::Kind::HttpBody;
            needsXPlane = needsXPlane || record.source == Telemetry::TELEMETRY_SOURCE_XPLANE;
        }
        recording.reader().rewind();
        next = [&](TelemetryRecording::Record &record) { return recording.reader().next(record); };
        rewind = [&] { recording.reader().rewind(); };
        QTextStream(stdout) << "quillar-replay: " << files.first() << ": " << recording.recordCount()
                            << " records over " << QString::number(double(recording.durationMicros()) / 1e6, 'f', 1)
                            << " s" << Qt::endl;
    }

    Replayer replayer(next, rewind);
    replayer.setSpeed(speed);
    replayer.setLoop(parser.isSet(loopOption));
    if (needsWarthunder) {
        QString error;
        if (!replayer.listenForWarthunder(&error))
            return complain(error, PortError);
    }
    if (needsXPlane) {
        QString error;
        if (!replayer.listenForXPlane(&error))
            return complain(error, PortError);
    }
    QObject::connect(&replayer, &Replayer::finished, &application, [&] {
        if (replayer.simConnectBlocksSkipped() > 0)
            QTextStream(stderr) << "quillar-replay: " << replayer.simConnectBlocksSkipped()
                                << " MSFS data blocks left out: SimConnect data cannot be sent to the program\n";
        QTextStream(stdout) << "quillar-replay: " << replayer.recordsSent() << " records sent" << Qt::endl;
        application.quit();
    });
    replayer.start();
    return application.exec();
}
