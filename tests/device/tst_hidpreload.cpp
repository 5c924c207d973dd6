// The preloadable hidapi double, loaded the way a dynamic linker would and steered only through files.

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <dlfcn.h>

namespace {
using Init = int (*)();
using Open = void *(*)(unsigned short, unsigned short, const wchar_t *);
using GetFeatureReport = int (*)(void *, unsigned char *, size_t);
using Write = int (*)(void *, const unsigned char *, size_t);
using Close = void (*)(void *);
} // namespace

class TestHidPreload : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    void *library = nullptr;
    Init hidInit = nullptr;
    Open hidOpen = nullptr;
    GetFeatureReport hidGetFeatureReport = nullptr;
    Write hidWrite = nullptr;
    Close hidClose = nullptr;

    void writeState(const QString &name, const QByteArray &text) {
        QSaveFile file(dir.filePath(name)); // replaced in one step, as the protocol asks
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
        QVERIFY(file.commit());
        QThread::msleep(3); // the double looks at its files at most once per millisecond
    }

    QList<QByteArray> logLines(const QString &name) {
        QFile file(dir.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        QList<QByteArray> lines = file.readAll().split('\n');
        if (!lines.isEmpty() && lines.last().isEmpty())
            lines.removeLast();
        return lines;
    }

    QByteArray readFeature(void *handle, unsigned char reportId, int *result) {
        unsigned char buffer[65] = {};
        buffer[0] = reportId;
        *result = hidGetFeatureReport(handle, buffer, sizeof buffer);
        return QByteArray(reinterpret_cast<const char *>(buffer), 17).toHex();
    }

private slots:
    void initTestCase() {
        QVERIFY(dir.isValid());
        qputenv("QUILLAR_HID_DOUBLE_DIR", QFile::encodeName(dir.path()));
        library = dlopen(QUILLAR_HID_PRELOAD_PATH, RTLD_NOW | RTLD_LOCAL);
        QVERIFY2(library, dlerror());
        hidInit = reinterpret_cast<Init>(dlsym(library, "hid_init"));
        hidOpen = reinterpret_cast<Open>(dlsym(library, "hid_open"));
        hidGetFeatureReport = reinterpret_cast<GetFeatureReport>(dlsym(library, "hid_get_feature_report"));
        hidWrite = reinterpret_cast<Write>(dlsym(library, "hid_write"));
        hidClose = reinterpret_cast<Close>(dlsym(library, "hid_close"));
        QVERIFY(hidInit && hidOpen && hidGetFeatureReport && hidWrite && hidClose);
        QCOMPARE(hidInit(), 0);
    }

    void missingFileMeansUnplugged() {
        QCOMPARE(hidOpen(0x045b, 0x58f9, nullptr), nullptr);
        QCOMPARE(hidOpen(0x045b, 0x5968, nullptr), nullptr);
    }

    void stateFileDrivesTheReports() {
        writeState("joystick.state", "# a comment\nplugged=1\nversion=01 02 0a\nposition=12.5 -1\noffset=2.5 4\n");
        void *joystick = hidOpen(0x045b, 0x58f9, nullptr);
        QVERIFY(joystick);
        QCOMPARE(hidOpen(0x045b, 0x5968, nullptr), nullptr);
        int result = 0;
        QCOMPARE(readFeature(joystick, 0x25, &result), QByteArray("2501020a") + QByteArray(26, '0'));
        QCOMPARE(result, 65);
        QCOMPARE(readFeature(joystick, 0x24, &result),
                 QByteArray("24" "00004841" "000080bf" "00002040" "00008040"));

        unsigned char report[65] = {0x02, 0x20, 0xab};
        QCOMPARE(hidWrite(joystick, report, sizeof report), 65);

        writeState("joystick.state", "plugged=1\nposition=1 2\nread=5\nwrite=fail\n");
        QCOMPARE(readFeature(joystick, 0x24, &result), QByteArray("240000803f") + QByteArray(24, '0'));
        QCOMPARE(result, 5);
        QCOMPARE(hidWrite(joystick, report, sizeof report), -1);

        writeState("joystick.state", "plugged=0\n");
        QCOMPARE(readFeature(joystick, 0x24, &result), QByteArray("24") + QByteArray(32, '0'));
        QCOMPARE(result, -1);
        hidClose(joystick);

        const QList<QByteArray> writes = logLines("writes.log");
        QCOMPARE(writes.size(), 2);
        const QList<QByteArray> first = writes[0].split(' ');
        QCOMPARE(first.size(), 5);
        QVERIFY(first[0].toULongLong() > 0);
        QCOMPARE(first[1], QByteArray("joystick"));
        QCOMPARE(first[2], QByteArray("0220ab") + QByteArray(124, '0'));
        QCOMPARE(first[3], QByteArray("result=65"));
        QCOMPARE(writes[1].split(' ')[3], QByteArray("result=-1"));
        QVERIFY(writes[1].split(' ')[0].toULongLong() >= first[0].toULongLong());
    }

    void callsAreLogged() {
        const QList<QByteArray> calls = logLines("calls.log");
        QVERIFY(calls.size() >= 8);
        QVERIFY(calls[0].contains(" init none result=0 "));
        QVERIFY(calls[1].contains(" open none result=0 "));
        QVERIFY(calls[1].endsWith(" product=58f9"));
        bool sawOpen = false, sawRead = false, sawClose = false;
        for (const QByteArray &line : calls) {
            sawOpen |= line.contains(" open joystick result=1 ");
            sawRead |= line.contains(" get_feature_report joystick result=65 ") &&
                       line.contains(" report=24 bytes=2400004841");
            sawClose |= line.contains(" close joystick result=0 ");
        }
        QVERIFY(sawOpen);
        QVERIFY(sawRead);
        QVERIFY(sawClose);
    }

    void generationBumpIsARePlug() {
        writeState("rudder.state", "position=0.5 0\ngeneration=1\n");
        void *rudder = hidOpen(0x045b, 0x5968, nullptr);
        QVERIFY(rudder);
        int result = 0;
        readFeature(rudder, 0x24, &result);
        QCOMPARE(result, 65);
        writeState("rudder.state", "position=0.5 0\ngeneration=2\n");
        readFeature(rudder, 0x24, &result);
        QCOMPARE(result, -1); // the old handle belongs to the device that went away
        void *again = hidOpen(0x045b, 0x5968, nullptr);
        QVERIFY(again);
        readFeature(again, 0x24, &result);
        QCOMPARE(result, 65);
        hidClose(rudder);
        hidClose(again);
        hidClose(nullptr);
        QVERIFY(logLines("calls.log").last().contains(" close none result=0 "));
    }

    void malformedStateIsHarmless() {
        writeState("joystick.state", QByteArray("position=abc 1e99999\nversion=zz 100 -1\nread=\n=\n\xff\xfe\n") +
                                         QByteArray(8000, 'x'));
        void *joystick = hidOpen(0x045b, 0x58f9, nullptr);
        QVERIFY(joystick);
        int result = 0;
        QCOMPARE(readFeature(joystick, 0x25, &result), QByteArray("25") + QByteArray(32, '0'));
        hidClose(joystick);
    }
};

QTEST_GUILESS_MAIN(TestHidPreload)
#include "tst_hidpreload.moc"
