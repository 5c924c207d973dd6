#include "scratchworkingdirectory.h"
#include "simconnectconfig.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
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

    void withoutAFileTheDefaultsQuietly() {
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        QVERIFY(scratch.isValid());
        const SimConnectEndpoint endpoint = readSimConnectConfig(QDir(scratch.path()).filePath("SimConnect.cfg"));
        QCOMPARE(endpoint.address, QStringLiteral("127.0.0.1"));
        QCOMPARE(endpoint.port, uint16_t(500));
    }

    void readsTheSimConnectSection_data() {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("address");
        QTest::addColumn<int>("port");
        QTest::newRow("as the setup tool writes it")
            << QByteArray("[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=500\n") << "127.0.0.1" << 500;
        QTest::newRow("another PC") << QByteArray("[SimConnect]\r\nProtocol=IPv4\r\nAddress=192.168.1.20\r\n"
                                                  "Port=4506\r\n")
                                    << "192.168.1.20" << 4506;
        QTest::newRow("keys in any case, spaces, comments and other keys")
            << QByteArray("; written by hand\n[simconnect]\n  protocol = ipv4\n# the sim PC\nADDRESS = flightsim.lan\n"
                          "port= 51111 \nMaxReceiveSize=41088\nDisableNagle=1\n")
            << "flightsim.lan" << 51111;
        QTest::newRow("with a byte order mark")
            << QByteArray("\xEF\xBB\xBF[SimConnect]\nAddress=10.0.0.2\nPort=600\n") << "10.0.0.2" << 600;
        QTest::newRow("only the first entry counts")
            << QByteArray("[SimConnect.1]\nProtocol=Pipe\nAddress=10.9.9.9\nPort=1\n[SimConnect]\nAddress=10.0.0.3\n"
                          "Port=700\n[Other]\nPort=2\n")
            << "10.0.0.3" << 700;
        QTest::newRow("entry zero by its number")
            << QByteArray("[SimConnect.0]\nProtocol=IPv4\nAddress=10.0.0.4\nPort=800\n") << "10.0.0.4" << 800;
        QTest::newRow("missing keys keep their defaults") << QByteArray("[SimConnect]\nPort=4242\n") << "127.0.0.1"
                                                          << 4242;
    }

    void readsTheSimConnectSection() {
        QFETCH(QByteArray, contents);
        QFETCH(QString, address);
        QFETCH(int, port);
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        const QString path = QDir(scratch.path()).filePath("SimConnect.cfg");
        QVERIFY(write(path, contents));
        const SimConnectEndpoint endpoint = readSimConnectConfig(path);
        QCOMPARE(endpoint.address, address);
        QCOMPARE(int(endpoint.port), port);
    }

    void aMalformedFileGivesOneWarningAndTheDefaults_data() {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("problem");
        QTest::newRow("no section") << QByteArray("Protocol=IPv4\nAddress=10.0.0.1\nPort=500\n")
                                    << "it has no [SimConnect] section";
        QTest::newRow("empty file") << QByteArray() << "it has no [SimConnect] section";
        QTest::newRow("pipe") << QByteArray("[SimConnect]\nProtocol=Pipe\nAddress=10.0.0.1\n")
                              << "Protocol=Pipe is not supported (only IPv4)";
        QTest::newRow("IPv6") << QByteArray("[SimConnect]\nProtocol=IPv6\nAddress=::1\nPort=500\n")
                              << "Protocol=IPv6 is not supported (only IPv4)";
        QTest::newRow("port text") << QByteArray("[SimConnect]\nAddress=10.0.0.1\nPort=five hundred\n")
                                   << "Port=five hundred is not a port number";
        QTest::newRow("port too large") << QByteArray("[SimConnect]\nPort=70000\n") << "Port=70000 is not a port number";
        QTest::newRow("port zero") << QByteArray("[SimConnect]\nPort=0\n") << "Port=0 is not a port number";
        QTest::newRow("port negative") << QByteArray("[SimConnect]\nPort=-5\n") << "Port=-5 is not a port number";
        QTest::newRow("empty address") << QByteArray("[SimConnect]\nAddress=\nPort=500\n") << "Address is empty";
        QTest::newRow("a stray line") << QByteArray("[SimConnect]\nAddress 10.0.0.1\n")
                                      << "line 2 is neither a section nor a key=value entry";
        QTest::newRow("a key without a name") << QByteArray("[SimConnect]\n=500\n")
                                              << "line 2 is neither a section nor a key=value entry";
        QTest::newRow("an unclosed section") << QByteArray("\n[SimConnect\nPort=500\n")
                                             << "line 2 opens a section it does not close";
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
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable(QStringLiteral("%1: %2; connecting to 127.0.0.1 port 500 instead")
                                            .arg(QFileInfo(path).absoluteFilePath(), problem)));
        const SimConnectEndpoint endpoint = readSimConnectConfig(path);
        QCOMPARE(endpoint.address, QStringLiteral("127.0.0.1"));
        QCOMPARE(endpoint.port, uint16_t(500));
    }

    void anUnreadableFileGivesOneWarningAndTheDefaults() {
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        // A folder where the file should be: it exists, but cannot be read as a file.
        QVERIFY(QDir(scratch.path()).mkdir("SimConnect.cfg"));
        const QString path = QDir(scratch.path()).filePath("SimConnect.cfg");
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^%1: it cannot be read \\(.*\\); connecting to "
                                                               "127\\.0\\.0\\.1 port 500 instead$")
                                                    .arg(QRegularExpression::escape(QFileInfo(path).absoluteFilePath()))));
        const SimConnectEndpoint endpoint = readSimConnectConfig(path);
        QCOMPARE(endpoint.address, QStringLiteral("127.0.0.1"));
        QCOMPARE(endpoint.port, uint16_t(500));
    }
};

QTEST_GUILESS_MAIN(TestSimConnectConfig)
#include "tst_simconnectconfig.moc"
