#include <QtTest>

#include "commandline.h"

// The program's own two options, and that every other command line still starts the program.
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

    void otherArgumentsStartTheProgram_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("Qt's -platform") << QStringList{"quillar", "-platform", "offscreen"};
        // Read letter by letter this would hold a -v.
        QTest::newRow("Qt's -reverse") << QStringList{"quillar", "-reverse"};
        QTest::newRow("unknown option") << QStringList{"quillar", "--frobnicate"};
        QTest::newRow("--help-all") << QStringList{"quillar", "--help-all"};
        QTest::newRow("a word") << QStringList{"quillar", "version"};
        QTest::newRow("after --") << QStringList{"quillar", "--", "--version"};
        QTest::newRow("empty argument") << QStringList{"quillar", ""};
        QTest::newRow("lone dash") << QStringList{"quillar", "-"};
    }

    void otherArgumentsStartTheProgram() {
        QFETCH(QStringList, arguments);
        const CommandLineRequest request = readCommandLine(arguments, 240120);
        QCOMPARE(request.action, CommandLineRequest::Run);
        QCOMPARE(request.output, QString());
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
