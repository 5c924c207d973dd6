#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include "devicelog.h"
#include "programlauncher.h"

// The whole program, started as a user would with both devices plugged in, then closed through its window:
// the process ends on its own with status 0, with no crash or sanitizer report, and the devices get nothing
// but the cycle's usual direct-control reports until it is gone.
namespace {
// A complete line of the double's logs: time, device, then the rest.
struct LogLine {
    qint64 micros = 0;
    QByteArray kind; // writes.log: "write"; calls.log: the call's name
    QByteArray device;
    QByteArray bytes; // writes.log only
};

QList<LogLine> writesIn(const QByteArray &log) {
    QList<LogLine> lines;
    for (const QByteArray &line : log.split('\n')) {
        const QList<QByteArray> parts = line.split(' ');
        if (parts.size() >= 4)
            lines << LogLine{parts[0].toLongLong(), "write", parts[1], QByteArray::fromHex(parts[2])};
    }
    return lines;
}

QList<LogLine> callsIn(const QByteArray &log) {
    QList<LogLine> lines;
    for (const QByteArray &line : log.split('\n')) {
        const QList<QByteArray> parts = line.split(' ');
        if (parts.size() >= 3)
            lines << LogLine{parts[0].toLongLong(), parts[1], parts[2], {}};
    }
    return lines;
}

bool directControlFrom(const QList<LogLine> &writes, const QByteArray &device) {
    for (const LogLine &write : writes) {
        if (write.device == device && write.bytes.size() == 65 && write.bytes.at(1) == 0x20)
            return true;
    }
    return false;
}
} // namespace

class TestNormalExit : public QObject {
    Q_OBJECT

private slots:
    void closingTheWindowEndsTheProgram() {
        QTemporaryDir scratch;
        QVERIFY(scratch.isValid());
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("work/effect_profiles")));
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("hid")));
        const QString hid = scratch.filePath(QStringLiteral("hid"));
        QVERIFY(writeAtomically(hid + QStringLiteral("/joystick.state"),
                                "plugged=1\nversion=0c 01 00\nposition=0.5 -0.25\noffset=0.125 0\n"));
        QVERIFY(writeAtomically(hid + QStringLiteral("/rudder.state"),
                                "plugged=1\nversion=03 00 00\nposition=0.25 0\noffset=0 0\n"));

        const QString request = scratch.filePath(QStringLiteral("close.request"));
        const QString closeLog = scratch.filePath(QStringLiteral("close.log"));
        QProcessEnvironment closer;
        closer.insert(QStringLiteral("QUILLAR_CLOSE_REQUEST"), request);
        closer.insert(QStringLiteral("QUILLAR_CLOSE_LOG"), closeLog);
        QProcess program;
        startProgram(program, scratch.filePath(QStringLiteral("work")), hid,
                     {QStringLiteral(QUILLAR_CLOSE_WINDOW)}, closer);
        QVERIFY2(program.waitForStarted(30000), qPrintable(program.errorString()));

        // Both devices found and driven by the cycle before the user closes the window.
        const auto running = [&] {
            const QList<LogLine> writes = writesIn(readAll(hid + QStringLiteral("/writes.log")));
            return directControlFrom(writes, "joystick") && directControlFrom(writes, "rudder");
        };
        QVERIFY2(QTest::qWaitFor(running, 60000), program.readAll().constData());
        QTest::qWait(200);
        QVERIFY(writeAtomically(request, "close\n"));

        QVERIFY2(program.waitForFinished(60000), "the program is still running after its window was closed");
        const QByteArray output = program.readAll();
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QVERIFY2(program.exitCode() == 0, output.constData());
        for (const char *report : {"Sanitizer", "runtime error", "QThread: Destroyed", "QFATAL", "Segmentation"})
            QVERIFY2(!output.contains(report), output.constData());

        QList<QByteArray> closing;
        QList<QByteArray> appIds;
        for (const QByteArray &line : readAll(closeLog).split('\n')) {
            if (line.contains(" closing "))
                closing << line;
            if (line.contains(" app-id "))
                appIds << line.mid(line.indexOf(" app-id ") + 8);
        }
        // The window's app id names the installed desktop entry, vortane-quillar.desktop, so a Wayland desktop
        // shows the program's own name and icon for it.
        QCOMPARE(appIds, QList<QByteArray>{"vortane-quillar"});
        QVERIFY(QFile::exists(QStringLiteral(QUILLAR_SOURCE_DIR "/packaging/linux/") + appIds.value(0) +
                              QStringLiteral(".desktop.in")));
        QCOMPARE(closing.size(), 1);
        QVERIFY2(closing[0].endsWith(" closing MainWindow"), closing[0].constData());
        const qint64 closedAt = closing[0].split(' ').first().toLongLong();

        // From the close on, each device gets at most the cycle's own report again: the same direct-control
        // bytes it was getting, never an override and never a write on a handle the double did not give out.
        const QList<LogLine> writes = writesIn(readAll(hid + QStringLiteral("/writes.log")));
        QByteArray steady[2];
        int afterClose = 0;
        for (const LogLine &write : writes) {
            QVERIFY2(write.device == "joystick" || write.device == "rudder", write.device.constData());
            QCOMPARE(write.bytes.size(), 65);
            QCOMPARE(int(write.bytes.at(0)), 0x02);
            const int device = write.device == "joystick" ? 0 : 1;
            if (write.micros < closedAt) {
                if (write.bytes.at(1) == 0x20)
                    steady[device] = write.bytes;
                continue;
            }
            ++afterClose;
            QCOMPARE(write.bytes.toHex(), steady[device].toHex());
        }
        QVERIFY(!steady[0].isEmpty() && !steady[1].isEmpty());
        // The devices are only read after the close, as in every cycle: nothing is opened or closed again.
        for (const LogLine &call : callsIn(readAll(hid + QStringLiteral("/calls.log")))) {
            if (call.micros >= closedAt)
                QVERIFY2(call.kind == "get_feature_report" || call.kind == "exit", call.kind.constData());
        }
        qInfo("%d direct-control reports after the close", afterClose);
    }
};

QTEST_GUILESS_MAIN(TestNormalExit)
#include "tst_normalexit.moc"
