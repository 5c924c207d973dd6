#include "fakesimconnectserver.h"
#include "fakexplane.h"
#include "httpstub.h"
#include "probes.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QUdpSocket>
#include <QtTest>

using namespace Diagnostics;

namespace {

// A port nobody answers on: a TCP listener that never accepts (the kernel completes the connection, nothing
// ever reads), or a bound UDP socket that never reads.
struct SilentPorts {
    QTcpServer tcp;
    QUdpSocket udp;
    SilentPorts() {
        tcp.listen(QHostAddress::LocalHost);
        tcp.pauseAccepting();
        udp.bind(QHostAddress::LocalHost, 0);
    }
};

// A port nothing listens on: bound, learnt, released.
quint16 closedTcpPort() {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    const quint16 port = server.serverPort();
    server.close();
    return port;
}

SimConnectEndpoint loopback(quint16 port) {
    SimConnectEndpoint endpoint;
    endpoint.port = port;
    return endpoint;
}

} // namespace

// The network probes against the test fakes of the simulators over real loopback sockets, and against ports
// that never answer: each gives up within its second.
class TestProbes : public QObject {
    Q_OBJECT

private slots:
    void simConnectAnswersTheOpen() {
        FakeSimConnectServer server;
        QVERIFY(server.listen());
        const ProbeResult result = probeSimConnect(loopback(server.port()));
        QVERIFY2(result.answered, qPrintable(result.detail));
        QVERIFY2(result.detail.startsWith(QStringLiteral("answered the open in ")),
                 qPrintable(result.detail));
        QVERIFY(server.clientOpened());
    }

    void simConnectThatAcceptsButNeverOpens() {
        FakeSimConnectServer server;
        server.answerOpen = false;
        QVERIFY(server.listen());
        QElapsedTimer clock;
        clock.start();
        const ProbeResult result = probeSimConnect(loopback(server.port()));
        const qint64 took = clock.elapsed();
        QVERIFY(!result.answered);
        QCOMPARE(result.detail,
                 QStringLiteral("accepted the connection, but did not answer the open within 1 s"));
        QVERIFY2(took >= 950 && took < 1500, qPrintable(QString::number(took)));
    }

    void simConnectRefused() {
        const ProbeResult result = probeSimConnect(loopback(closedTcpPort()));
        QVERIFY(!result.answered);
        QCOMPARE(result.detail, QStringLiteral("connection refused"));
    }

    void xplaneAnswersOneSubscriptionAndIsUnsubscribed() {
        FakeXPlane xplane;
        QVERIFY(xplane.isListening());
        const ProbeResult result = probeXPlane(QHostAddress(QHostAddress::LocalHost), xplane.port());
        QVERIFY2(result.answered, qPrintable(result.detail));
        QVERIFY(result.detail.startsWith(QStringLiteral("answered a subscription in ")));
        // The unsubscription is on its way; let the fake read it.
        QTRY_COMPARE(xplane.requestCount(), 2);
        QVERIFY(xplane.malformedRequests().isEmpty());
        const auto subscriptions = xplane.subscriptionsByIndex();
        QVERIFY(!subscriptions.contains(4242) || subscriptions.value(4242).frequency == 0);
    }

    void xplaneSilent() {
        SilentPorts silent;
        QElapsedTimer clock;
        clock.start();
        const ProbeResult result = probeXPlane(QHostAddress(QHostAddress::LocalHost), silent.udp.localPort());
        const qint64 took = clock.elapsed();
        QVERIFY(!result.answered);
        QCOMPARE(result.detail, QStringLiteral("no answer within 1 s"));
        QVERIFY2(took >= 950 && took < 1500, qPrintable(QString::number(took)));
    }

    void warThunderStandInAnswers() {
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(R"({"valid": false})");
        const ProbeResult result = probeWarThunder(QHostAddress(QHostAddress::LocalHost), stub.port());
        QVERIFY2(result.answered, qPrintable(result.detail));
        QCOMPARE(stub.requestLines(), QStringList{QStringLiteral("GET /state HTTP/1.1")});
    }

    void warThunderSilent() {
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.setMode(HttpStub::Mode::Silent);
        QElapsedTimer clock;
        clock.start();
        const ProbeResult result = probeWarThunder(QHostAddress(QHostAddress::LocalHost), stub.port());
        const qint64 took = clock.elapsed();
        QVERIFY(!result.answered);
        QCOMPARE(result.detail, QStringLiteral("accepted the connection, but did not answer within 1 s"));
        QVERIFY2(took >= 950 && took < 1500, qPrintable(QString::number(took)));
    }

    void warThunderClosesWithoutAnswer() {
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.setMode(HttpStub::Mode::Close);
        const ProbeResult result = probeWarThunder(QHostAddress(QHostAddress::LocalHost), stub.port());
        QVERIFY(!result.answered);
        QCOMPARE(result.detail, QStringLiteral("accepted the connection, then closed it without answering"));
    }

    void everythingSilentStaysWithinTenSeconds() {
        SilentPorts silent;
        NetworkTargets targets;
        targets.simConnect = {loopback(silent.tcp.serverPort()), loopback(silent.tcp.serverPort())};
        targets.xplanePort = silent.udp.localPort();
        targets.warthunderPort = silent.tcp.serverPort();
        QElapsedTimer clock;
        clock.start();
        const QList<Check> checks = networkChecks(targets);
        const qint64 took = clock.elapsed();
        QCOMPARE(checks.size(), 4);
        for (const Check &check : checks) {
            QCOMPARE(check.verdict, Verdict::Warning);
            QVERIFY(!check.advice.isEmpty());
        }
        QVERIFY2(took < 10000, qPrintable(QString::number(took)));
        QCOMPARE(checks[0].name, QStringLiteral("MSFS SimConnect 127.0.0.1:%1").arg(silent.tcp.serverPort()));
    }

    void simConnectEndpointLookUp() {
        QTemporaryDir working;
        QTemporaryDir dataHome;
        // The program's data folder, as under ~/.local/share.
        QVERIFY(QDir(dataHome.path()).mkpath(QStringLiteral("vortane-quillar")));
        const QDir data(dataHome.filePath(QStringLiteral("vortane-quillar")));
        // Neither folder has a SimConnect.cfg: our port, then the simulator's usual one.
        QList<SimConnectEndpoint> endpoints = simConnectEndpoints(working.path(), data.path());
        QCOMPARE(endpoints.size(), 2);
        QCOMPARE(endpoints[0].address, QStringLiteral("127.0.0.1"));
        QCOMPARE(endpoints[0].port, 29779);
        QCOMPARE(endpoints[1].port, 500);
        // The data folder's file.
        QFile dataCfg(data.filePath(QStringLiteral("SimConnect.cfg")));
        QVERIFY(dataCfg.open(QIODevice::WriteOnly));
        dataCfg.write("[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=4711\n");
        dataCfg.close();
        endpoints = simConnectEndpoints(working.path(), data.path());
        QCOMPARE(endpoints.size(), 1);
        QCOMPARE(endpoints[0].port, 4711);
        // The working folder's wins.
        QFile workingCfg(working.filePath(QStringLiteral("SimConnect.cfg")));
        QVERIFY(workingCfg.open(QIODevice::WriteOnly));
        workingCfg.write("[SimConnect]\nProtocol=IPv4\nAddress=192.168.1.20\nPort=500\n");
        workingCfg.close();
        endpoints = simConnectEndpoints(working.path(), data.path());
        QCOMPARE(endpoints.size(), 1);
        QCOMPARE(endpoints[0].address, QStringLiteral("192.168.1.20"));
        QCOMPARE(endpoints[0].port, 500);
    }
};

QTEST_GUILESS_MAIN(TestProbes)
#include "tst_probes.moc"
