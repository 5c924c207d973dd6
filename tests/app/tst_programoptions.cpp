#include <QDir>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QtTest>

// `quillar --help`, `quillar --version` and the launcher's same two options, run as a user runs them: in a
// terminal with no display at all. Neither may need a window system, and the launcher's must not make the
// user's data folder. The test target defines QUILLAR_EXECUTABLE, QUILLAR_LAUNCHER and QUILLAR_VERSION.
namespace {
struct Run {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

Run run(const QString &program, const QStringList &arguments, const QString &home) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // With no display and no platform plugin named, a QApplication would abort the program.
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_DATA_HOME"})
        environment.remove(QLatin1String(name));
    environment.insert(QStringLiteral("HOME"), home);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(home);
    process.start(program, arguments);
    Run result;
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

const QByteArray ProgramHelp =
    "Usage: quillar [options]\n"
    "Vortane Quillar turns flight-simulator telemetry into force feedback for the Vortane joystick base and "
    "rudder unit.\n"
    "Start it through quillar-launch, which runs it in your data folder (~/.local/share/vortane-quillar), "
    "where the effect profiles are kept.\n"
    "\n"
    "Options:\n"
    "  -h, --help       Displays this help and exits.\n"
    "  -v, --version    Displays the version and exits.\n"
    "  --record <FILE>  Also writes everything the simulators send to <FILE>.\n";
} // namespace

class TestProgramOptions : public QObject {
    Q_OBJECT

private slots:
    void programVersion_data() {
        QTest::addColumn<QString>("option");
        QTest::newRow("--version") << QStringLiteral("--version");
        QTest::newRow("-v") << QStringLiteral("-v");
    }

    void programVersion() {
        QFETCH(QString, option);
        QTemporaryDir home;
        QVERIFY(home.isValid());
        const Run result = run(QStringLiteral(QUILLAR_EXECUTABLE), {option}, home.path());
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out, QByteArray("quillar " QUILLAR_VERSION "\n"));
        QCOMPARE(result.exitCode, 0);
        // Nothing is written where it was started: no profile folder, no icon.
        QCOMPARE(QDir(home.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), QStringList());
    }

    void programHelp_data() {
        QTest::addColumn<QString>("option");
        QTest::newRow("--help") << QStringLiteral("--help");
        QTest::newRow("-h") << QStringLiteral("-h");
    }

    void programHelp() {
        QFETCH(QString, option);
        QTemporaryDir home;
        QVERIFY(home.isValid());
        const Run result = run(QStringLiteral(QUILLAR_EXECUTABLE), {option}, home.path());
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out, ProgramHelp);
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(QDir(home.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), QStringList());
    }

    void launcherVersion() {
        QTemporaryDir home;
        QVERIFY(home.isValid());
        const Run result = run(QStringLiteral("/bin/sh"),
                               {QStringLiteral(QUILLAR_LAUNCHER), QStringLiteral(QUILLAR_EXECUTABLE),
                                QStringLiteral("--version")},
                               home.path());
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out, QByteArray("launch.sh " QUILLAR_VERSION "\n"));
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(!QFileInfo::exists(home.filePath(QStringLiteral(".local"))), "--version made the data folder");
    }

    void launcherHelp() {
        QTemporaryDir home;
        QVERIFY(home.isValid());
        const Run result = run(QStringLiteral("/bin/sh"),
                               {QStringLiteral(QUILLAR_LAUNCHER), QStringLiteral(QUILLAR_EXECUTABLE),
                                QStringLiteral("--help")},
                               home.path());
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out,
                 QByteArray("Usage: launch.sh [<path-to-quillar>] [arguments...]\n"
                            "Starts Vortane Quillar in its data folder, ${XDG_DATA_HOME:-~/.local/share}/"
                            "vortane-quillar, where\n"
                            "the effect profiles are kept, making the folder first if it is missing.\n"
                            "\n"
                            "Options:\n"
                            "  -h, --help     Displays this help and exits.\n"
                            "  -v, --version  Displays the version and exits.\n"
                            "\n"
                            "A first argument holding a \"/\" is the program to start (default: the quillar "
                            "beside this launcher).\n"
                            "Every other argument is passed on to the program; \"quillar --help\" lists its own "
                            "options.\n"));
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(!QFileInfo::exists(home.filePath(QStringLiteral(".local"))), "--help made the data folder");
    }

    void launcherPassesOtherArgumentsOn() {
        // After the program's path, --version is the launcher's; the program's own help still comes through
        // when it is asked for after another argument, and then the data folder is made as on every start.
        QTemporaryDir home;
        QVERIFY(home.isValid());
        const Run result = run(QStringLiteral("/bin/sh"),
                               {QStringLiteral(QUILLAR_LAUNCHER), QStringLiteral(QUILLAR_EXECUTABLE),
                                QStringLiteral("-platform"), QStringLiteral("offscreen"), QStringLiteral("--help")},
                               home.path());
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out, ProgramHelp);
        QCOMPARE(result.exitCode, 0);
        QVERIFY(QFileInfo(home.filePath(QStringLiteral(".local/share/vortane-quillar"))).isDir());
    }

    // A relative --record FILE is where the user started the launcher, not in the data folder the program
    // runs in. A folder that does not exist makes the program say where it tried, and stop.
    void launcherResolvesARelativeRecording_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("file");
        QTest::newRow("--record=FILE") << QStringList{"--record=none/a.qrec"} << "none/a.qrec";
        QTest::newRow("--record FILE") << QStringList{"--record", "none/b c.qrec"} << "none/b c.qrec";
        QTest::newRow("-record FILE") << QStringList{"-record", "none/c.qrec"} << "none/c.qrec";
        QTest::newRow("-record=FILE") << QStringList{"-record=none/d.qrec"} << "none/d.qrec";
        QTest::newRow("absolute") << QStringList{"--record=/nonexistent/e.qrec"} << "/nonexistent/e.qrec";
    }

    void launcherResolvesARelativeRecording() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, file);
        QTemporaryDir home;
        QVERIFY(home.isValid());
        const Run result = run(QStringLiteral("/bin/sh"),
                               QStringList{QStringLiteral(QUILLAR_LAUNCHER), QStringLiteral(QUILLAR_EXECUTABLE)} +
                                   arguments,
                               home.path());
        const QString expected = file.startsWith(QLatin1Char('/')) ? file : home.filePath(file);
        QCOMPARE(result.err, ("quillar: cannot record to " + expected + ": No such file or directory\n").toUtf8());
        QCOMPARE(result.exitCode, 2);
    }

    void launcherWithoutProgram() {
        QTemporaryDir home;
        QVERIFY(home.isValid());
        const Run result = run(QStringLiteral("/bin/sh"),
                               {QStringLiteral(QUILLAR_LAUNCHER), home.filePath(QStringLiteral("quillar")),
                                QStringLiteral("--version")},
                               home.path());
        QCOMPARE(result.err, "launch.sh: no program at " + home.filePath(QStringLiteral("quillar")).toUtf8() + "\n");
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(result.exitCode, 1);
    }
};

QTEST_GUILESS_MAIN(TestProgramOptions)
#include "tst_programoptions.moc"
