#include <QtTest>

#include "commandline.h"

// The program's own options in every spelling, Qt's options passed on, and anything else refused with the usage.
class TestCommandLine : public QObject {
    Q_OBJECT

private slots:
    void startsWithoutArguments() {
        const CommandLineRequest request = readCommandLine({QStringLiteral("quillar")}, 240120);
        QCOMPARE(request.action, CommandLineRequest::Run);
        QCOMPARE(request.output, QString());
    }

    void startsWithAnEmptyCommandLine() {
        // Linux lets a parent start a program with no argv[0] at all.
        const CommandLineRequest request = readCommandLine({}, 240120);
        QCOMPARE(request.action, CommandLineRequest::Run);
        QCOMPARE(request.output, QString());
    }

    void version_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("--version") << QStringList{"quillar", "--version"};
        QTest::newRow("-v") << QStringList{"quillar", "-v"};
        QTest::newRow("-version") << QStringList{"quillar", "-version"};
        // --version answers whatever else the line holds.
        QTest::newRow("after an unknown option") << QStringList{"quillar", "--frobnicate", "--version"};
        QTest::newRow("after Qt's -platform") << QStringList{"quillar", "-platform", "offscreen", "--version"};
    }

    void version() {
        QFETCH(QStringList, arguments);
        const CommandLineRequest request = readCommandLine(arguments, 240120);
        QCOMPARE(request.action, CommandLineRequest::ShowVersion);
        QCOMPARE(request.output, QStringLiteral("quillar 240120\n"));
    }

    void versionIsTheOneGiven() {
        const CommandLineRequest request = readCommandLine({QStringLiteral("quillar"), QStringLiteral("--version")}, 7);
        QCOMPARE(request.output, QStringLiteral("quillar 7\n"));
    }

    void help_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("--help") << QStringList{"quillar", "--help"};
        QTest::newRow("-h") << QStringList{"quillar", "-h"};
        QTest::newRow("-help") << QStringList{"quillar", "-help"};
        QTest::newRow("before --version") << QStringList{"quillar", "--help", "--version"};
        QTest::newRow("after --version") << QStringList{"quillar", "--version", "--help"};
        // The name the program was started by does not change the text.
        QTest::newRow("full path") << QStringList{"/usr/bin/quillar", "--help"};
    }

    void help() {
        QFETCH(QStringList, arguments);
        const CommandLineRequest request = readCommandLine(arguments, 240120);
        QCOMPARE(request.action, CommandLineRequest::ShowHelp);
        QCOMPARE(request.output,
                 QStringLiteral(
                     "Usage: quillar [options]\n"
                     "Vortane Quillar turns flight-simulator telemetry into force feedback for the Vortane joystick "
                     "base and rudder unit.\n"
                     "Start it through quillar-launch, which runs it in your data folder "
                     "(~/.local/share/vortane-quillar), where the effect profiles are kept.\n"
                     "\n"
                     "Options:\n"
                     "  -h, --help       Displays this help and exits.\n"
                     "  -v, --version    Displays the version and exits.\n"
                     "  --record <FILE>  Also writes everything the simulators send to <FILE>.\n"));
    }

    void qtOptionsStartTheProgram_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("Qt's -platform") << QStringList{"quillar", "-platform", "offscreen"};
        QTest::newRow("Qt's --platform=") << QStringList{"quillar", "--platform=offscreen"};
        // Read letter by letter this would hold a -v.
        QTest::newRow("Qt's -reverse") << QStringList{"quillar", "-reverse"};
        QTest::newRow("Qt's -style=") << QStringList{"quillar", "-style=fusion"};
        QTest::newRow("Qt's -qwindowgeometry") << QStringList{"quillar", "-qwindowgeometry", "800x600+0+0"};
        QTest::newRow("Qt's -qmljsdebugger=") << QStringList{"quillar", "-qmljsdebugger=port:3768"};
    }

    void qtOptionsStartTheProgram() {
        QFETCH(QStringList, arguments);
        const CommandLineRequest request = readCommandLine(arguments, 240120);
        QCOMPARE(request.action, CommandLineRequest::Run);
        QCOMPARE(request.output, QString());
        QCOMPARE(request.recordPath, QString());
    }

    void recordSpellings_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("path");
        QTest::newRow("--record FILE") << QStringList{"quillar", "--record", "flight.qrec"} << "flight.qrec";
        QTest::newRow("--record=FILE") << QStringList{"quillar", "--record=flight.qrec"} << "flight.qrec";
        QTest::newRow("-record FILE") << QStringList{"quillar", "-record", "flight.qrec"} << "flight.qrec";
        QTest::newRow("-record=FILE") << QStringList{"quillar", "-record=flight.qrec"} << "flight.qrec";
        QTest::newRow("beside Qt's options")
            << QStringList{"quillar", "-platform", "xcb", "--record=/tmp/a b.qrec", "-reverse"} << "/tmp/a b.qrec";
        QTest::newRow("a name like an option") << QStringList{"quillar", "--record", "-x.qrec"} << "-x.qrec";
    }

    void recordSpellings() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, path);
        const CommandLineRequest request = readCommandLine(arguments, 240120);
        QCOMPARE(request.action, CommandLineRequest::Run);
        QCOMPARE(request.output, QString());
        QCOMPARE(request.recordPath, path);
    }

    void mistakes_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("unknown option") << QStringList{"quillar", "--frobnicate"} << "Unknown option 'frobnicate'.";
        QTest::newRow("misspelt --record") << QStringList{"quillar", "--recrod=x.qrec"} << "Unknown option 'recrod'.";
        QTest::newRow("--help-all") << QStringList{"quillar", "--help-all"} << "Unknown option 'help-all'.";
        QTest::newRow("a word") << QStringList{"quillar", "version"} << "unexpected argument \"version\"";
        QTest::newRow("after --") << QStringList{"quillar", "--", "--version"} << "unexpected argument \"--version\"";
        QTest::newRow("empty argument") << QStringList{"quillar", ""} << "unexpected argument \"\"";
        QTest::newRow("lone dash") << QStringList{"quillar", "-"} << "unexpected argument \"-\"";
        QTest::newRow("--record without FILE") << QStringList{"quillar", "--record"} << "--record needs a FILE";
        QTest::newRow("--record= without FILE") << QStringList{"quillar", "--record="} << "--record needs a FILE";
        QTest::newRow("two recordings") << QStringList{"quillar", "--record=a", "--record", "b"}
                                        << "--record is given more than once";
        QTest::newRow("a value for a flag") << QStringList{"quillar", "--reverse=yes"}
                                            << "Unexpected value after '--reverse'.";
    }

    void mistakes() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const CommandLineRequest request = readCommandLine(arguments, 240120);
        QCOMPARE(request.action, CommandLineRequest::UsageError);
        QCOMPARE(request.recordPath, QString());
        // What was wrong, then the same usage text --help prints.
        const QString usage = readCommandLine({QStringLiteral("quillar"), QStringLiteral("--help")}, 240120).output;
        QCOMPARE(request.output, QStringLiteral("quillar: ") + message + QLatin1Char('\n') + usage);
        QCOMPARE(CommandLineUsageExitCode, 2);
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
