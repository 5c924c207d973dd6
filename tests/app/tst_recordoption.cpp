#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include "programlauncher.h"

// quillar --record FILE: a file that cannot be made, or a missing FILE, ends the program at once with the
// reason and status 2, before any window opens or port is bound; so does an argument the program does not
// know, with the usage.
class TestRecordOption : public QObject {
    Q_OBJECT

private slots:
    void refusedRecordings_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("no file") << QStringList{QStringLiteral("--record")}
                                 << QByteArray("quillar: --record needs a FILE\n");
        QTest::newRow("no folder") << QStringList{QStringLiteral("--record"), QStringLiteral("/nonexistent/folder/x.qrec")}
                                   << QByteArray("quillar: cannot record to /nonexistent/folder/x.qrec: ");
        // Every spelling the parser takes is read, none silently dropped.
        QTest::newRow("--record=FILE") << QStringList{QStringLiteral("--record=/nonexistent/folder/y.qrec")}
                                       << QByteArray("quillar: cannot record to /nonexistent/folder/y.qrec: ");
        QTest::newRow("-record FILE") << QStringList{QStringLiteral("-record"), QStringLiteral("/nonexistent/z.qrec")}
                                      << QByteArray("quillar: cannot record to /nonexistent/z.qrec: ");
        QTest::newRow("misspelt") << QStringList{QStringLiteral("--recrod=/tmp/x.qrec")}
                                  << QByteArray("quillar: Unknown option 'recrod'.\nUsage: quillar [options]\n");
        QTest::newRow("stray word") << QStringList{QStringLiteral("flight.qrec")}
                                    << QByteArray("quillar: unexpected argument \"flight.qrec\"\nUsage: quillar [options]\n");
    }

    void refusedRecordings() {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, message);
        QTemporaryDir scratch;
        QVERIFY(scratch.isValid());
        QProcess program;
        startProgram(program, scratch.path(), scratch.path(), {}, QProcessEnvironment(), arguments);
        QVERIFY(program.waitForFinished(30000));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 2);
        const QByteArray output = program.readAll();
        // Qt may say something about the environment first.
        QVERIFY2(output.contains("\n" + message) || output.startsWith(message), output.constData());
        // It stopped before the profile folder was even looked at.
        QVERIFY(!QFile::exists(scratch.filePath(QStringLiteral("effect_profiles"))));
    }
};

QTEST_GUILESS_MAIN(TestRecordOption)
#include "tst_recordoption.moc"
