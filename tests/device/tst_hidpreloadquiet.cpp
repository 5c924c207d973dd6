// The preloadable hidapi double with QUILLAR_HID_DOUBLE_LOG=0, as the cost measurements run it: the devices
// behave as the files say, and no log file is written.

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <dlfcn.h>

namespace {
using Init = int (*)();
using Open = void *(*)(unsigned short, unsigned short, const wchar_t *);
using GetFeatureReport = int (*)(void *, unsigned char *, size_t);
using Write = int (*)(void *, const unsigned char *, size_t);
} // namespace

class TestHidPreloadQuiet : public QObject {
    Q_OBJECT

    QTemporaryDir dir;

private slots:
    void devicesWorkAndNothingIsLogged() {
        QVERIFY(dir.isValid());
        QSaveFile state(dir.filePath(QStringLiteral("joystick.state")));
        QVERIFY(state.open(QIODevice::WriteOnly));
        state.write("plugged=1\nposition=0.5 -0.25\n");
        QVERIFY(state.commit());
        qputenv("QUILLAR_HID_DOUBLE_DIR", QFile::encodeName(dir.path()));
        qputenv("QUILLAR_HID_DOUBLE_LOG", "0");
        void *library = dlopen(QUILLAR_HID_PRELOAD_PATH, RTLD_NOW | RTLD_LOCAL);
        QVERIFY2(library, dlerror());
        auto hidInit = reinterpret_cast<Init>(dlsym(library, "hid_init"));
        auto hidOpen = reinterpret_cast<Open>(dlsym(library, "hid_open"));
        auto hidGetFeatureReport = reinterpret_cast<GetFeatureReport>(dlsym(library, "hid_get_feature_report"));
        auto hidWrite = reinterpret_cast<Write>(dlsym(library, "hid_write"));
        QVERIFY(hidInit && hidOpen && hidGetFeatureReport && hidWrite);
        QCOMPARE(hidInit(), 0);

        void *joystick = hidOpen(0x045b, 0x58f9, nullptr);
        QVERIFY(joystick);
        QCOMPARE(hidOpen(0x045b, 0x5968, nullptr), nullptr); // no rudder file: unplugged
        unsigned char buffer[65] = {0x24};
        QCOMPARE(hidGetFeatureReport(joystick, buffer, sizeof buffer), 65);
        float position = 0;
        std::memcpy(&position, buffer + 1, sizeof position); // position A follows the report id
        QCOMPARE(position, 0.5f);
        const unsigned char report[65] = {0x02, 0x20};
        QCOMPARE(hidWrite(joystick, report, sizeof report), 65);

        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("joystick.state")});
    }
};

QTEST_GUILESS_MAIN(TestHidPreloadQuiet)
#include "tst_hidpreloadquiet.moc"
