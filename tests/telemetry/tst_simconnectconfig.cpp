#include "scratchworkingdirectory.h"
#include "simconnectconfig.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

class TestSimConnectConfig : public QObject {
    Q_OBJECT

    static bool write(const QString &path, const QByteArray &contents) {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
    }

private slots:
    void init() {
        // Only the cases that expect a warning announce it; any other warning fails the test.
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void withoutAFileNothingQuietly() {
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        QVERIFY(scratch.isValid());
        QVERIFY(!readSimConnectConfig(QDir(scratch.path()).filePath("SimConnect.cfg")).has_value());
    }

    void theDefaultsAreOurPortThenTheStockOne() {
        const std::vector<SimConnectEndpoint> defaults = defaultSimConnectEndpoints();
        QCOMPARE(defaults.size(), size_t(2));
        QCOMPARE(defaults[0].toString(), QStringLiteral("127.0.0.1:29779"));
        QCOMPARE(defaults[1].toString(), QStringLiteral("127.0.0.1:500"));
        QVERIFY(defaults[0].protocol == SimConnectProtocol::IPv4);
        QVERIFY(defaults[1].protocol == SimConnectProtocol::IPv4);
    }

    void readsTheSimConnectSection_data() {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("address");
        QTest::addColumn<int>("port");
        QTest::newRow("as the setup tool writes it")
            << QByteArray("[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=29779\n") << "127.0.0.1"
            << 29779;
        QTest::newRow("another PC") << QByteArray("[SimConnect]\r\nProtocol=IPv4\r\nAddress=192.168.1.20\r\n"
                                                  "Port=4506\r\n")
                                    << "192.168.1.20" << 4506;
        QTest::newRow("keys in any case, spaces, comments and other keys")
            << QByteArray("; written by hand\n[simconnect]\n  protocol = ipv4\n# the sim PC\nADDRESS = "
                          "flightsim.lan\n"
                          "port= 51111 \nMaxReceiveSize=41088\nDisableNagle=1\n")
            << "flightsim.lan" << 51111;
        QTest::newRow("with a byte order mark")
            << QByteArray("\xEF\xBB\xBF[SimConnect]\nAddress=10.0.0.2\nPort=600\n") << "10.0.0.2" << 600;
        QTest::newRow("only the first entry counts")
            << QByteArray(
                   "[SimConnect.1]\nProtocol=Pipe\nAddress=10.9.9.9\nPort=1\n[SimConnect]\nAddress=10.0.0.3\n"
                   "Port=700\n[Other]\nPort=2\n")
            << "10.0.0.3" << 700;
        QTest::newRow("entry zero by its number")
            << QByteArray("[SimConnect.0]\nProtocol=IPv4\nAddress=10.0.0.4\nPort=800\n") << "10.0.0.4" << 800;
        QTest::newRow("missing keys keep their defaults")
            << QByteArray("[SimConnect]\nPort=4242\n") << "127.0.0.1" << 4242;
        QTest::newRow("no port: ours")
            << QByteArray("[SimConnect]\nAddress=10.0.0.5\n") << "10.0.0.5" << 29779;
    }

    void readsTheSimConnectSection() {
        QFETCH(QByteArray, contents);
        QFETCH(QString, address);
        QFETCH(int, port);
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        const QString path = QDir(scratch.path()).filePath("SimConnect.cfg");
        QVERIFY(write(path, contents));
        const std::optional<SimConnectEndpoint> endpoint = readSimConnectConfig(path);
        QVERIFY(endpoint.has_value());
        QCOMPARE(endpoint->address, address);
        QCOMPARE(int(endpoint->port), port);
        QVERIFY(endpoint->protocol == SimConnectProtocol::IPv4);
    }

    void aMalformedFileGivesOneWarningAndTheDefaults_data() {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("problem");
        QTest::newRow("no section") << QByteArray("Protocol=IPv4\nAddress=10.0.0.1\nPort=500\n")
                                    << "it has no [SimConnect] section";
        QTest::newRow("empty file") << QByteArray() << "it has no [SimConnect] section";
        QTest::newRow("pipe") << QByteArray("[SimConnect]\nProtocol=Pipe\nAddress=10.0.0.1\n")
                              << "Protocol=Pipe is not supported (only IPv4 and IPv6)";
        QTest::newRow("port text") << QByteArray("[SimConnect]\nAddress=10.0.0.1\nPort=five hundred\n")
                                   << "Port=five hundred is not a port number";
        QTest::newRow("port too large")
            << QByteArray("[SimConnect]\nPort=70000\n") << "Port=70000 is not a port number";
        QTest::newRow("port zero") << QByteArray("[SimConnect]\nPort=0\n") << "Port=0 is not a port number";
        QTest::newRow("port negative")
            << QByteArray("[SimConnect]\nPort=-5\n") << "Port=-5 is not a port number";
        QTest::newRow("empty address")
            << QByteArray("[SimConnect]\nAddress=\nPort=500\n") << "Address is empty";
        QTest::newRow("a stray line") << QByteArray("[SimConnect]\nAddress 10.0.0.1\n")
                                      << "line 2 is neither a section nor a key=value entry";
        QTest::newRow("a key without a name")
            << QByteArray("[SimConnect]\n=500\n") << "line 2 is neither a section nor a key=value entry";
        QTest::newRow("an unclosed section")
            << QByteArray("\n[SimConnect\nPort=500\n") << "line 2 opens a section it does not close";
        QTest::newRow("binary") << QByteArray("\x00\x01\x02\xff\xfe", 5)
                                << "line 1 is neither a section nor a key=value entry";
        QTest::newRow("too large") << (QByteArray("[SimConnect]\nPort=600\n") + QByteArray(70000, ';'))
                                   << "it is larger than 65536 bytes";
    }

    void aMalformedFileGivesOneWarningAndTheDefaults() {
        QFETCH(QByteArray, contents);
        QFETCH(QString, problem);
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        const QString path = QDir(scratch.path()).filePath("SimConnect.cfg");
        QVERIFY(write(path, contents));
        QTest::ignoreMessage(
            QtWarningMsg,
            qPrintable(QStringLiteral("%1: %2; trying 127.0.0.1:29779 and 127.0.0.1:500 instead")
                           .arg(QFileInfo(path).absoluteFilePath(), problem)));
        QVERIFY(!readSimConnectConfig(path).has_value());
    }

    void anUnreadableFileGivesOneWarningAndTheDefaults() {
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        // A folder where the file should be: it exists, but cannot be read as a file.
        QVERIFY(QDir(scratch.path()).mkdir("SimConnect.cfg"));
        const QString path = QDir(scratch.path()).filePath("SimConnect.cfg");
        QTest::ignoreMessage(
            QtWarningMsg,
            QRegularExpression(QStringLiteral("^%1: it cannot be read \\(.*\\); trying "
                                              "127\\.0\\.0\\.1:29779 and 127\\.0\\.0\\.1:500 instead$")
                                   .arg(QRegularExpression::escape(QFileInfo(path).absoluteFilePath()))));
        QVERIFY(!readSimConnectConfig(path).has_value());
    }

    void protocolIPv6IsRead() {
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        const QString path = QDir(scratch.path()).filePath("SimConnect.cfg");
        QVERIFY(write(path, "[SimConnect]\nProtocol=IPv6\nAddress=::1\nPort=4506\n"));
        const std::optional<SimConnectEndpoint> endpoint = readSimConnectConfig(path);
        QVERIFY(endpoint.has_value());
        QVERIFY(endpoint->protocol == SimConnectProtocol::IPv6);
        QCOMPARE(endpoint->toString(), QStringLiteral("[::1]:4506"));
        QVERIFY(write(path, "[SimConnect]\nprotocol=ipv4\nAddress=flightsim.lan\n"));
        QVERIFY(readSimConnectConfig(path)->protocol == SimConnectProtocol::IPv4);
    }

    // --- the look-up ---

    void theWorkingDirectoryComesFirstThenTheDataHome() {
        QTemporaryDir scratch;
        QVERIFY(scratch.isValid());
        const QString work = scratch.filePath(QStringLiteral("work"));
        const QString data = scratch.filePath(QStringLiteral("data"));
        QVERIFY(QDir().mkpath(work));
        QVERIFY(QDir().mkpath(data + QStringLiteral("/vortane-quillar")));
        QCOMPARE(simConnectConfigCandidates(work, data),
                 (QStringList{work + QStringLiteral("/SimConnect.cfg"),
                              data + QStringLiteral("/vortane-quillar/SimConnect.cfg")}));

        // None: the defaults, and the line says where it looked.
        SimConnectEndpoints found = findSimConnectEndpoints(work, data);
        QCOMPARE(found.configFile, QString());
        QCOMPARE(found.endpoints.size(), size_t(2));
        QCOMPARE(
            found.summary(),
            QStringLiteral("SimConnect: no SimConnect.cfg (looked for %1/SimConnect.cfg and "
                           "%2/vortane-quillar/SimConnect.cfg); trying 127.0.0.1:29779 and 127.0.0.1:500 "
                           "in turn")
                .arg(work, data));

        // Only the data home's (as quillar-setup writes it): that one.
        QVERIFY(write(data + QStringLiteral("/vortane-quillar/SimConnect.cfg"),
                      "[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=29779\n"));
        found = findSimConnectEndpoints(work, data);
        QCOMPARE(found.configFile, data + QStringLiteral("/vortane-quillar/SimConnect.cfg"));
        QCOMPARE(found.endpoints.size(), size_t(1));
        QCOMPARE(found.endpoints[0].toString(), QStringLiteral("127.0.0.1:29779"));
        QCOMPARE(found.summary(), QStringLiteral("SimConnect: using %1/vortane-quillar/SimConnect.cfg: "
                                                 "127.0.0.1:29779 (IPv4)")
                                      .arg(data));

        // The working directory's as well: it wins.
        QVERIFY(write(work + QStringLiteral("/SimConnect.cfg"),
                      "[SimConnect]\nProtocol=IPv6\nAddress=flightsim.lan\nPort=600\n"));
        found = findSimConnectEndpoints(work, data);
        QCOMPARE(found.configFile, work + QStringLiteral("/SimConnect.cfg"));
        QCOMPARE(found.endpoints.size(), size_t(1));
        QCOMPARE(found.endpoints[0].toString(), QStringLiteral("flightsim.lan:600"));
        QCOMPARE(found.summary(),
                 QStringLiteral("SimConnect: using %1/SimConnect.cfg: flightsim.lan:600 (IPv6)").arg(work));

        // A working directory's file that cannot be used: one warning, the defaults, not the other file.
        QVERIFY(write(work + QStringLiteral("/SimConnect.cfg"), "[SimConnect]\nPort=0\n"));
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable(QStringLiteral("%1/SimConnect.cfg: Port=0 is not a port "
                                                       "number; trying 127.0.0.1:29779 and "
                                                       "127.0.0.1:500 instead")
                                            .arg(work)));
        found = findSimConnectEndpoints(work, data);
        QCOMPARE(found.configFile, QString());
        QCOMPARE(found.endpoints.size(), size_t(2));
        QCOMPARE(found.summary(), QStringLiteral("SimConnect: %1/SimConnect.cfg cannot be used; trying "
                                                 "127.0.0.1:29779 and 127.0.0.1:500 in turn")
                                      .arg(work));
    }

    void theProgramLooksInXdgDataHome() {
        QTemporaryDir scratch;
        QVERIFY(scratch.isValid());
        const QByteArray previous = qgetenv("XDG_DATA_HOME");
        qputenv("XDG_DATA_HOME", scratch.path().toLocal8Bit());
        const QString dataHome = simConnectDataHome();
        const QStringList searched = programSimConnectEndpoints().searched;
        if (previous.isNull())
            qunsetenv("XDG_DATA_HOME");
        else
            qputenv("XDG_DATA_HOME", previous);
        QCOMPARE(dataHome, scratch.path());
        QCOMPARE(searched, (QStringList{QDir::current().absoluteFilePath(QStringLiteral("SimConnect.cfg")),
                                        scratch.path() + QStringLiteral("/vortane-quillar/SimConnect.cfg")}));
    }
};

QTEST_GUILESS_MAIN(TestSimConnectConfig)
#include "tst_simconnectconfig.moc"
