#include "fakesimconnectserver.h"
#include "simconnectnetwork.h"
#include "sourcerecords.h"
#include "telemetrysourcemsfs.h"
#include "telemetrytesting.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>
#include <cstring>
#include <memory>

#ifdef Q_OS_LINUX
#include <cerrno>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

// The SimConnect client on a connection whose far end vanishes without a word (the simulator's PC loses
// power, sleeps, drops off Wi-Fi): no FIN, no RST, nothing. The process runs in a network namespace of its
// own, so taking its loopback interface down drops every packet of the connection without touching the
// machine's network; where no namespace can be made (not root, no user namespaces) that case says why and
// checks nothing. Real time throughout: it is the TCP stack's keepalive that is under test.
namespace {
QString namespaceProblem = QStringLiteral("not tried");

#ifdef Q_OS_LINUX
bool setLoopback(bool up, QString *problem) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        *problem = QString::fromLocal8Bit(std::strerror(errno));
        return false;
    }
    ifreq request = {};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    bool done = ::ioctl(fd, SIOCGIFFLAGS, &request) == 0;
    if (done) {
        request.ifr_flags = short(up ? (request.ifr_flags | IFF_UP) : (request.ifr_flags & ~IFF_UP));
        done = ::ioctl(fd, SIOCSIFFLAGS, &request) == 0;
    }
    if (!done)
        *problem = QStringLiteral("the loopback interface cannot be switched: %1")
                       .arg(QString::fromLocal8Bit(std::strerror(errno)));
    ::close(fd);
    return done;
}

// Before any thread exists, so the whole process moves into the new namespace.
void enterPrivateNetwork() {
    if (::unshare(CLONE_NEWNET) != 0) {
        namespaceProblem = QStringLiteral("no network namespace of its own can be made here (unshare: %1)")
                               .arg(QString::fromLocal8Bit(std::strerror(errno)));
        return;
    }
    QString problem;
    namespaceProblem = setLoopback(true, &problem) ? QString() : problem;
}
#else
void enterPrivateNetwork() {
    namespaceProblem = QStringLiteral("network namespaces are Linux's");
}
bool setLoopback(bool, QString *problem) {
    *problem = namespaceProblem;
    return false;
}
#endif

QByteArray block(const QByteArray &title) {
    QByteArray bytes(400, '\0');
    std::memcpy(bytes.data() + 144, title.constData(), size_t(title.size()));
    return bytes;
}

// The MSFS source over our client, declared on a served aircraft, then with the data flow stopped.
struct Flight {
    FakeSimConnectServer server;
    SimConnectNetworkClient *client = nullptr;
    std::unique_ptr<TelemetrySourceMSFS> source;
    std::unique_ptr<QSignalSpy> declared, ended;

    bool start() {
        if (!server.listen())
            return false;
        SimConnectEndpoint endpoint;
        endpoint.port = server.port();
        auto owned = std::make_unique<SimConnectNetworkClient>(endpoint);
        client = owned.get();
        source = std::make_unique<TelemetrySourceMSFS>(std::move(owned));
        declared = std::make_unique<QSignalSpy>(source.get(), &TelemetrySource::telemetrySourceChanged);
        ended = std::make_unique<QSignalSpy>(source.get(), &TelemetrySource::telemetryEnded);
        server.serveOnRequest(block("Far Away"));
        if (!pollUntil([this] { source->poll(); }, [this] { return declared->count() == 1; }))
            return false;
        // Nothing in flight any more: the source's last request stays unanswered.
        server.stopServing();
        const size_t answered = server.requests.size();
        return pollUntil([this] { source->poll(); }, [&] { return server.requests.size() > answered; });
    }
    // Polls as the telemetry worker does, every 20 ms, for `milliseconds` or until `done`.
    bool pollFor(
        qint64 milliseconds, const std::function<bool()> &done = [] { return false; }) {
        QElapsedTimer timer;
        timer.start();
        while (!timer.hasExpired(milliseconds)) {
            source->poll();
            if (done())
                return true;
            QTest::qWait(20);
        }
        return false;
    }
};
} // namespace

class TestSimConnectLiveness : public QObject {
    Q_OBJECT

private slots:
    void aVanishedPeerIsNoticedWithinTwentySeconds() {
        if (!namespaceProblem.isEmpty()) {
            qWarning().noquote() << "vanished peer not checked:" << namespaceProblem;
            return;
        }
        Flight flight;
        QVERIFY(flight.start());
        QString problem;
        QVERIFY2(setLoopback(false, &problem), qPrintable(problem));
        QElapsedTimer sinceVanished;
        sinceVanished.start();
        const bool noticed = flight.pollFor(25000, [&] { return flight.ended->count() == 1; });
        const qint64 after = sinceVanished.elapsed();
        QVERIFY2(setLoopback(true, &problem), qPrintable(problem));
        QVERIFY2(noticed, "the vanished peer was not noticed within 25 s");
        qInfo("vanished peer noticed after %lld ms", static_cast<long long>(after));
        QVERIFY2(after <= 20000, qPrintable(QString::number(after)));
        // Keepalive waits 5 s of silence before its first probe: nothing is declared lost sooner.
        QVERIFY2(after >= 5000, qPrintable(QString::number(after)));
        QCOMPARE(flight.ended->count(), 1);
        QVERIFY(!flight.source->isActive());

        // The machine is back: a new connection is made and the aircraft declared again.
        flight.server.serveOnRequest(block("Back Again"));
        QVERIFY(flight.pollFor(10000, [&] { return flight.declared->count() == 2; }));
        QCOMPARE(flight.declared->at(1).at(1).toString(), QStringLiteral("Back Again"));
        QCOMPARE(flight.ended->count(), 1);
    }

    void aPausedSimulatorIsNeverLost() {
        // The simulator sends nothing (paused, loading) but its TCP stack answers: for longer than the whole
        // keepalive budget nothing is lost, ended or reconnected.
        Flight flight;
        QVERIFY(flight.start());
        flight.pollFor(SimConnectNetworkClient::KeepAliveIdleS * 1000 +
                       SimConnectNetworkClient::KeepAliveCount * SimConnectNetworkClient::KeepAliveIntervalS *
                           1000 +
                       SimConnectNetworkClient::UserTimeoutMs / 2);
        QCOMPARE(flight.ended->count(), 0);
        QVERIFY(flight.source->isActive());
        QVERIFY(flight.client->isConnected());
        QCOMPARE(flight.client->connectionAttempts(), 1);
        QCOMPARE(flight.server.connections, 1);
        QVERIFY(flight.server.clientConnected());
    }
};

int main(int argc, char *argv[]) {
    enterPrivateNetwork();
    QCoreApplication application(argc, argv);
    TestSimConnectLiveness test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_simconnectliveness.moc"
