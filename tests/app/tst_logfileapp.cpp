#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include "programlauncher.h"

namespace {

QByteArray readAll(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void stop(QProcess &program) {
    program.kill();
    program.waitForFinished(10000);
}

} // namespace

// The whole program writes its log to $XDG_STATE_HOME/vortane-quillar/quillar.log, a line per message with
// time, level and category; a folder it cannot make costs one line on standard error and nothing more.
class TestLogFileApp : public QObject {
    Q_OBJECT

private slots:
    void theProgramLogsToItsFile() {
        QTemporaryDir scratch;
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("work")));
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("hid")));
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("XDG_STATE_HOME"), scratch.filePath(QStringLiteral("state")));
        // The MSFS source says at debug level that nothing answers: a line that comes without a simulator.
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("quillar.*.debug=true"));
        QProcess program;
        startProgram(program, scratch.filePath(QStringLiteral("work")),
                     scratch.filePath(QStringLiteral("hid")), {}, environment);
        QVERIFY2(program.waitForStarted(30000), qPrintable(program.errorString()));
        const QString log = scratch.filePath(QStringLiteral("state/vortane-quillar/quillar.log"));
        QTRY_VERIFY_WITH_TIMEOUT(readAll(log).contains(" quillar.telemetry.msfs: no SimConnect server"), 20000);
        stop(program);
        const QRegularExpression line(QStringLiteral(
            R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z (debug|info|warning|critical|fatal) [A-Za-z0-9._-]+: .*$)"));
        const QList<QByteArray> lines = readAll(log).split('\n');
        QVERIFY(lines.size() >= 2);
        for (int index = 0; index + 1 < lines.size(); ++index)
            QVERIFY2(line.match(QString::fromUtf8(lines[index])).hasMatch(), lines[index].constData());
        // Standard error still has every line.
        const QByteArray output = program.readAll();
        QVERIFY(output.contains("no SimConnect server"));
    }

    void anUnwritableLogFolderIsOneLineAndTheProgramRunsOn() {
        QTemporaryDir scratch;
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("work")));
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("hid")));
        // A file where the state folder should be: no user, not even root, can make the log folder in it.
        QFile blocker(scratch.filePath(QStringLiteral("state")));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("XDG_STATE_HOME"), scratch.filePath(QStringLiteral("state")));
        QProcess program;
        startProgram(program, scratch.filePath(QStringLiteral("work")),
                     scratch.filePath(QStringLiteral("hid")), {}, environment);
        QVERIFY2(program.waitForStarted(30000), qPrintable(program.errorString()));
        QByteArray output;
        QTRY_VERIFY_WITH_TIMEOUT(
            (output += program.readAll()).contains("the log goes to standard error only\n"), 20000);
        // Still running a while later, and still logging to standard error.
        QTest::qWait(1500);
        QCOMPARE(program.state(), QProcess::Running);
        output += program.readAll();
        stop(program);
        QCOMPARE(output.count("cannot make the log folder"), 1);
        QVERIFY(output.contains("quillar: cannot make the log folder " +
                                QFile::encodeName(scratch.filePath(QStringLiteral("state/vortane-quillar"))) +
                                "; the log goes to standard error only\n"));
    }
};

QTEST_GUILESS_MAIN(TestLogFileApp)
#include "tst_logfileapp.moc"
