#include "logfilesink.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QtTest>
#include <thread>

Q_LOGGING_CATEGORY(lcSinkTest, "quillar.test.sink")

namespace {

QByteArray readAll(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// The log file: what reaches it, when it turns over, and what happens when it cannot be written.
class TestLogFileSink : public QObject {
    Q_OBJECT

private slots:
    void lineFormat() {
        // 2026-11-25 09:05:51.123 UTC
        const qint64 when = QDateTime(QDate(2026, 11, 25), QTime(9, 5, 51, 123), Qt::UTC).toMSecsSinceEpoch();
        QCOMPARE(LogFileSink::formatLine(QtWarningMsg, "quillar.telemetry.msfs", QStringLiteral("no answer"),
                                         when),
                 QByteArray("2026-11-25T09:05:51.123Z warning quillar.telemetry.msfs: no answer\n"));
        QCOMPARE(LogFileSink::formatLine(QtInfoMsg, nullptr, QStringLiteral("two\nlines"), when),
                 QByteArray("2026-11-25T09:05:51.123Z info default: two\\nlines\n"));
    }

    void defaultFolderFollowsXdgStateHome() {
        const QByteArray before = qgetenv("XDG_STATE_HOME");
        qputenv("XDG_STATE_HOME", "/somewhere/state");
        QCOMPARE(LogFileSink::defaultFolder(), QStringLiteral("/somewhere/state/vortane-quillar"));
        qputenv("XDG_STATE_HOME", "relative/is/ignored");
        QCOMPARE(LogFileSink::defaultFolder(),
                 QDir::homePath() + QStringLiteral("/.local/state/vortane-quillar"));
        qunsetenv("XDG_STATE_HOME");
        QCOMPARE(LogFileSink::defaultFolder(),
                 QDir::homePath() + QStringLiteral("/.local/state/vortane-quillar"));
        if (!before.isNull())
            qputenv("XDG_STATE_HOME", before);
    }

    void qtMessagesReachTheFileAndStandardErrorStill() {
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("state/vortane-quillar"));
        LogFileSink sink(folder);
        QVERIFY(sink.isWriting());
        QCOMPARE(sink.filePath(), folder + QStringLiteral("/quillar.log"));
        LogFileSink::install(&sink);
        qCWarning(lcSinkTest) << "first line";
        qCInfo(lcSinkTest, "second %d", 2);
        LogFileSink::install(nullptr);
        qCWarning(lcSinkTest) << "after uninstalling";
        sink.flush();
        const QList<QByteArray> lines = readAll(sink.filePath()).split('\n');
        QCOMPARE(lines.size(), 3); // two lines and the empty rest after the last newline
        QVERIFY2(lines[0].endsWith(" warning quillar.test.sink: first line"), lines[0]);
        QVERIFY2(lines[1].endsWith(" info quillar.test.sink: second 2"), lines[1]);
        QCOMPARE(lines[0].size(),
                 int(strlen("2026-11-25T09:05:51.123Z warning quillar.test.sink: first line")));
    }

    void appendsToWhatIsThere() {
        QTemporaryDir dir;
        {
            LogFileSink sink(dir.path());
            sink.append("one\n");
        }
        {
            LogFileSink sink(dir.path());
            sink.append("two\n");
        }
        QCOMPARE(readAll(dir.filePath(QStringLiteral("quillar.log"))), QByteArray("one\ntwo\n"));
    }

    void rotatesAtTheSizeKeepingThree() {
        QTemporaryDir dir;
        const QByteArray line(99, 'x');
        // 100-byte lines and a 1000-byte limit: ten lines a file.
        LogFileSink sink(dir.path(), 1000, 3);
        for (int file = 0; file < 5; ++file) {
            for (int index = 0; index < 10; ++index)
                sink.append(QByteArray(1, char('a' + file)) + line.left(98) + '\n');
            sink.flush();
        }
        sink.append("last\n");
        sink.flush();
        const QString base = dir.filePath(QStringLiteral("quillar.log"));
        QCOMPARE(readAll(base), QByteArray("last\n"));
        // Files a and b are gone; e, d and c are the kept ones, newest first.
        QCOMPARE(readAll(base + ".1").size(), 1000);
        QVERIFY(readAll(base + ".1").startsWith('e'));
        QVERIFY(readAll(base + ".2").startsWith('d'));
        QVERIFY(readAll(base + ".3").startsWith('c'));
        QVERIFY(!QFile::exists(base + ".4"));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files).size(), 4);
    }

    void theDefaultLimitIsFiveMebibytesAndThreeFiles() {
        QCOMPARE(LogFileSink::DefaultRotateBytes, qint64(5242880));
        QCOMPARE(LogFileSink::DefaultKeep, 3);
    }

    void anUnwritableFolderGivesOneLineAndTheProgramRunsOn() {
        QTemporaryDir dir;
        // A file where the folder should be: no user, not even root, can make a folder inside it.
        QFile blocker(dir.filePath(QStringLiteral("state")));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QStringList errors;
        LogFileSink sink(dir.filePath(QStringLiteral("state/vortane-quillar")),
                         LogFileSink::DefaultRotateBytes, LogFileSink::DefaultKeep,
                         [&](const QString &line) { errors << line; });
        QVERIFY(!sink.isWriting());
        QCOMPARE(errors.size(), 1);
        QVERIFY2(errors[0].startsWith(QStringLiteral("quillar: cannot make the log folder ")),
                 qPrintable(errors[0]));
        QVERIFY(errors[0].endsWith(QStringLiteral("; the log goes to standard error only")));
        LogFileSink::install(&sink);
        for (int index = 0; index < 100; ++index)
            qCWarning(lcSinkTest) << "still running" << index;
        LogFileSink::install(nullptr);
        sink.flush(); // returns at once: nothing is waiting
        QCOMPARE(errors.size(), 1);
    }

    void aFileThatCannotBeOpenedGivesOneLine() {
        QTemporaryDir dir;
        // A folder in the log file's place.
        QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("quillar.log")));
        QStringList errors;
        LogFileSink sink(dir.path(), 1000, 3, [&](const QString &line) { errors << line; });
        QVERIFY(!sink.isWriting());
        QCOMPARE(errors.size(), 1);
        QVERIFY2(errors[0].startsWith(QStringLiteral("quillar: cannot write the log file ")),
                 qPrintable(errors[0]));
    }

    void manyThreadsLoseNoLine() {
        QTemporaryDir dir;
        LogFileSink sink(dir.path(), 0, 3); // 0: never rotate
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([thread, &sink] {
                for (int index = 0; index < 2000; ++index)
                    sink.append(QByteArray("t") + QByteArray::number(thread) + ' ' +
                                QByteArray::number(index) + '\n');
            });
        for (std::thread &thread : threads)
            thread.join();
        sink.flush();
        const QByteArray all = readAll(sink.filePath());
        QCOMPARE(all.count('\n'), 8000);
        for (int thread = 0; thread < 4; ++thread)
            QVERIFY(all.contains(QByteArray("t") + QByteArray::number(thread) + " 1999\n"));
    }
};

QTEST_GUILESS_MAIN(TestLogFileSink)
#include "tst_logfilesink.moc"
