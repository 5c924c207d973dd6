#include "doctor.h"
#include "faketree.h"
#include "setupengine.h"
#include "supportbundle.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTextStream>
#include <QUdpSocket>
#include <QtTest>

using namespace Diagnostics;

namespace {

struct Run {
    int code = -1;
    QString out;
    QString err;
};

bool writeFile(const QString &path, const QByteArray &bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

// `quillar-setup doctor` in-process over a fake system tree, a fake home and simulator endpoints that never
// answer; and the program itself for what does not depend on the machine (usage, an unwritable bundle).
class TestDoctor : public QObject {
    Q_OBJECT

    QTemporaryDir scratch;
    QString home;
    QTcpServer silentTcp;
    QUdpSocket silentUdp;

    DoctorSetting setting(const FakeTree &tree) const {
        DoctorSetting result;
        result.home = home;
        result.systemRoot = tree.root();
        result.system = &tree;
        result.workingFolder = QDir(home).filePath(QStringLiteral(".local/share/vortane-quillar"));
        result.dcsScript = QuillarSetup::dcsScriptFromResource();
        SimConnectEndpoint endpoint;
        endpoint.port = silentTcp.serverPort();
        result.targets.simConnect = {endpoint};
        result.targets.xplanePort = silentUdp.localPort();
        result.targets.warthunderPort = silentTcp.serverPort();
        return result;
    }

    Run doctor(const QStringList &arguments, const DoctorSetting &with) {
        Run run;
        QTextStream out(&run.out);
        QTextStream err(&run.err);
        run.code = runDoctorCommand(QStringList{QStringLiteral("quillar-setup"), QStringLiteral("doctor")} +
                                        arguments,
                                    out, err, with);
        out.flush();
        err.flush();
        return run;
    }

    static void healthy(FakeTree &tree) {
        tree.plugBoth();
        tree.installRule();
        tree.udp({});
    }

private slots:
    void initTestCase() {
        QVERIFY(scratch.isValid());
        home = scratch.filePath(QStringLiteral("home/pilot"));
        QVERIFY(QDir().mkpath(home + QStringLiteral("/X-Plane 11")));
        // Nothing of the real home is read: the state and settings folders are the fake home's.
        qputenv("XDG_STATE_HOME", QFile::encodeName(home + QStringLiteral("/.local/state")));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home + QStringLiteral("/.config")));
        qputenv("XDG_DATA_HOME", QFile::encodeName(home + QStringLiteral("/.local/share")));
        QVERIFY(writeFile(home + QStringLiteral("/.local/state/vortane-quillar/quillar.log"),
                          "2026-11-25T09:00:00.000Z warning quillar.profiles: cannot read " + home.toUtf8() +
                              "/.local/share/vortane-quillar/effect_profiles/x.json\n"));
        QVERIFY(writeFile(home + QStringLiteral("/.local/state/vortane-quillar/quillar.log.1"), "older\n"));
        QVERIFY(writeFile(home + QStringLiteral("/.config/vortane-quillar/quillar.conf"),
                          "[xplane]\nport=49000\n"));
        QVERIFY(writeFile(
            home + QStringLiteral("/.local/share/vortane-quillar/effect_profiles/GENERIC_soft.json"),
            "{\"metadata\": {}}\n"));
        QVERIFY(silentTcp.listen(QHostAddress::LocalHost));
        silentTcp.pauseAccepting();
        QVERIFY(silentUdp.bind(QHostAddress::LocalHost, 0));
    }

    void healthyMachineWithSilentSimulatorsExitsZero() {
        FakeTree tree;
        healthy(tree);
        QElapsedTimer clock;
        clock.start();
        const Run run = doctor({}, setting(tree));
        const qint64 took = clock.elapsed();
        QCOMPARE(run.code, 0);
        QVERIFY2(run.err.isEmpty(), qPrintable(run.err));
        QVERIFY(run.out.startsWith(QStringLiteral("Vortane Quillar diagnostics\n\ndevices\n")));
        QVERIFY(run.out.contains(QStringLiteral("  ok       joystick base 045B:58F9 ")));
        QVERIFY(run.out.contains(QStringLiteral("\ntelemetry ports\n")));
        // The set-up engine's own words, as `quillar-setup status` prints them.
        QVERIFY(
            run.out.contains(QStringLiteral("nothing to set up: ") + home + QStringLiteral("/X-Plane 11")));
        QVERIFY(run.out.contains(QStringLiteral("no installation found")));
        QVERIFY(run.out.contains(QStringLiteral("  warning  War Thunder 127.0.0.1:")));
        QVERIFY(run.out.endsWith(QStringLiteral(" ok\n")));
        // Three silent endpoints at one second each.
        QVERIFY2(took < 10000, qPrintable(QString::number(took)));
    }

    void aProblemExitsOne() {
        FakeTree tree;
        healthy(tree);
        tree.noAccess.insert(QStringLiteral("/dev/hidraw3"));
        const Run run = doctor({}, setting(tree));
        QCOMPARE(run.code, 1);
        QVERIFY(run.out.contains(QStringLiteral("  problem  joystick base 045B:58F9 ")));
        QVERIFY(run.out.contains(QStringLiteral(" /dev/hidraw3 is not readable and writable by you\n"
                                                "           what to do: install the udev rule")));
        QVERIFY(run.out.contains(QStringLiteral("\n1 problem, ")));
    }

    void usageErrorsExitTwo() {
        FakeTree tree;
        for (const QStringList &arguments :
             {QStringList{QStringLiteral("--frobnicate")}, QStringList{QStringLiteral("extra")},
              QStringList{QStringLiteral("--bundle")}, QStringList{QStringLiteral("--bundle=")}}) {
            const Run run = doctor(arguments, setting(tree));
            QCOMPARE(run.code, 2);
            QVERIFY(run.out.isEmpty());
            QVERIFY2(run.err.startsWith(QStringLiteral("quillar-setup: ")), qPrintable(run.err));
            QVERIFY(run.err.contains(
                QStringLiteral("Usage: quillar-setup doctor [--home DIR] [--bundle FILE]\n")));
        }
    }

    void anUnwritableBundleExitsTwoWithTheReason() {
        FakeTree tree;
        healthy(tree);
        const QString path = scratch.filePath(QStringLiteral("no/such/folder/bundle.tar.gz"));
        const Run run = doctor({QStringLiteral("--bundle"), path}, setting(tree));
        QCOMPARE(run.code, 2);
        QVERIFY2(run.err.startsWith(QStringLiteral("quillar-setup: cannot write the support bundle ") + path +
                                    QStringLiteral(": ")),
                 qPrintable(run.err));
        QVERIFY(!QFileInfo::exists(path));
    }

    void bundleHoldsEveryPartWithTheHomeAsTilde_data() {
        QTest::addColumn<QString>("name");
        QTest::newRow("tar.gz") << QStringLiteral("bundle.tar.gz");
        QTest::newRow("zip") << QStringLiteral("bundle.zip");
    }
    void bundleHoldsEveryPartWithTheHomeAsTilde() {
        QFETCH(QString, name);
        FakeTree tree;
        healthy(tree);
        const QString path = scratch.filePath(name);
        const Run run = doctor({QStringLiteral("--bundle"), path}, setting(tree));
        QCOMPARE(run.code, 0);
        QVERIFY(
            run.out.contains(QStringLiteral("\nSupport bundle written to ") + path + QStringLiteral(":\n")));

        QList<SupportBundle::File> files;
        QString error;
        QVERIFY2(readArchive(path, &files, &error), qPrintable(error));
        QStringList names;
        for (const SupportBundle::File &file : files)
            names << file.name;
        const QString top = QStringLiteral("quillar-support/");
        QCOMPARE(names, QStringList({top + "versions.txt", top + "diagnostics.txt", top + "setup-status.txt",
                                     top + "logs/quillar.log", top + "logs/quillar.log.1",
                                     top + "profiles/list.txt", top + "settings/quillar.conf"}));
        // The list printed is the archive's.
        for (const QString &entry : names)
            QVERIFY(run.out.contains(QStringLiteral("  ") + entry.mid(top.size()) + QStringLiteral("\n")));
        QByteArray all;
        for (const SupportBundle::File &file : files) {
            QVERIFY2(!file.content.contains(home.toUtf8()), qPrintable(file.name));
            QVERIFY2(!file.content.contains(scratch.path().toUtf8()), qPrintable(file.name));
            all += file.content;
        }
        const auto content = [&](const QString &entry) {
            for (const SupportBundle::File &file : files)
                if (file.name == top + entry)
                    return file.content;
            return QByteArray();
        };
        QVERIFY(content("versions.txt").startsWith("program: quillar-setup "));
        for (const char *line : {"\nbuild id: ", "\nQt: ", "\nhidapi: ", "\nkernel: ", "\ndistribution: ",
                                 "\ndesktop session: "})
            QVERIFY2(content("versions.txt").contains(line), line);
        QVERIFY(content("diagnostics.txt").startsWith("devices\n"));
        QVERIFY(content("setup-status.txt").contains("xplane     ~/X-Plane 11  nothing to set up\n"));
        QVERIFY(content("logs/quillar.log")
                    .contains("cannot read ~/.local/share/vortane-quillar/effect_profiles/x.json"));
        QCOMPARE(content("logs/quillar.log.1"), QByteArray("older\n"));
        QCOMPARE(content("profiles/list.txt"),
                 QByteArray("profile folder: ~/.local/share/vortane-quillar/effect_profiles\n"
                            "GENERIC_soft.json (17 bytes)\nactive profile: none\n"));
        QCOMPARE(content("settings/quillar.conf"), QByteArray("[xplane]\nport=49000\n"));
    }

    void hideHomeLeavesOtherPathsAlone() {
        QCOMPARE(SupportBundle::hideHome("/home/pilot/x and /home/pilotess/y, /home/pilot",
                                         QStringLiteral("/home/pilot/")),
                 QByteArray("~/x and ~ess/y, ~"));
        QCOMPARE(SupportBundle::hideHome("/etc/x", QStringLiteral("/")), QByteArray("/etc/x"));
    }

    void theProgramAnswersUsageAndUnwritableBundleWithTwo() {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home);
        environment.insert(QStringLiteral("XDG_STATE_HOME"), home + QStringLiteral("/.local/state"));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
        environment.insert(QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/.local/share"));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(QUILLAR_SETUP_TOOL),
                      {QStringLiteral("doctor"), QStringLiteral("--frobnicate")});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 2);
        QCOMPARE(process.readAllStandardError(),
                 QByteArray("quillar-setup: unknown option \"--frobnicate\"\n"
                            "Usage: quillar-setup doctor [--home DIR] [--bundle FILE]\n"));

        process.start(QStringLiteral(QUILLAR_SETUP_TOOL), {QStringLiteral("doctor"), QStringLiteral("--help")});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(process.readAllStandardOutput().startsWith(
            "Usage: quillar-setup doctor [--home DIR] [--bundle FILE]\nChecks why Vortane Quillar might do nothing"));

        const QString path = scratch.filePath(QStringLiteral("missing/bundle.zip"));
        process.start(QStringLiteral(QUILLAR_SETUP_TOOL), {QStringLiteral("doctor"), QStringLiteral("--home"),
                                                           home, QStringLiteral("--bundle"), path});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 2);
        QVERIFY(process.readAllStandardError().startsWith("quillar-setup: cannot write the support bundle " +
                                                          path.toUtf8()));
        QVERIFY(process.readAllStandardOutput().startsWith("Vortane Quillar diagnostics\n"));
    }
};

QTEST_GUILESS_MAIN(TestDoctor)
#include "tst_doctor.moc"
