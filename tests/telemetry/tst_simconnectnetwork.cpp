#include "aircraftfactschannel.h"
#include "fakesimconnectserver.h"
#include "scratchworkingdirectory.h"
#include "simconnectnetwork.h"
#include "simconnectwire.h"
#include "sourcerecords.h"
#include "telemetrysourcemsfs.h"
#include "telemetrytesting.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <cstring>
#include <memory>

namespace {
constexpr int BlockSize = 400;
constexpr int AirspeedOffset = 64;
constexpr int TitleOffset = 144;

QByteArray block(const QByteArray &title, double airspeed = 0.0) {
    QByteArray bytes(BlockSize, '\0');
    uint64_t bits;
    std::memcpy(&bits, &airspeed, sizeof(bits));
    for (int i = 0; i < 8; ++i)
        bytes[AirspeedOffset + i] = char((bits >> (8 * i)) & 0xFF);
    std::memcpy(bytes.data() + TitleOffset, title.constData(), size_t(qMin<qsizetype>(title.size(), 255)));
    return bytes;
}

QByteArray word(uint32_t value) {
    QByteArray bytes;
    for (int i = 0; i < 4; ++i)
        bytes.append(char((value >> (8 * i)) & 0xFF));
    return bytes;
}

// A data message for request 0 as the server frames it, for cutting up.
QByteArray dataMessage(const QByteArray &payload) {
    FakeSimConnect::Message message;
    message.id = SimConnectMessage::IdSimObjectDataByType;
    message.requestId = 0;
    message.data = payload;
    return FakeSimConnectServer::encode(message);
}

// A port on loopback that nothing listens on.
uint16_t closedPort() {
    FakeSimConnectServer probe;
    if (!probe.listen())
        return 0;
    const uint16_t port = probe.port();
    probe.stopListening();
    return port;
}

SimConnectEndpoint loopback(uint16_t port) {
    SimConnectEndpoint endpoint;
    endpoint.port = port;
    return endpoint;
}

// The calls of one connection, in the order they arrived.
QList<uint32_t> callsOf(const FakeSimConnectServer &server, int connection) {
    QList<uint32_t> calls;
    for (const FakeSimConnectServer::Packet &packet : server.packets)
        if (packet.connection == connection)
            calls << packet.call;
    return calls;
}

QList<QByteArray> packetsOf(const FakeSimConnectServer &server, int connection) {
    QList<QByteArray> packets;
    for (const FakeSimConnectServer::Packet &packet : server.packets)
        if (packet.connection == connection)
            packets << packet.bytes;
    return packets;
}

// A listener with a queue of one that is kept full: further connection requests are dropped, so a connect
// to it stays pending as one to a machine behind a firewall does.
class FullListener {
public:
    FullListener() {
        server.setListenBacklogSize(0);
        server.setMaxPendingConnections(1);
        server.listen(QHostAddress::LocalHost);
        for (int i = 0; i < 4; ++i) {
            auto filler = std::make_unique<QTcpSocket>();
            filler->connectToHost(QHostAddress::LocalHost, server.serverPort());
            fillers.push_back(std::move(filler));
            QElapsedTimer wait;
            wait.start();
            while (!wait.hasExpired(100))
                QCoreApplication::processEvents();
        }
    }
    uint16_t port() const { return server.serverPort(); }
    // At least one filler is left waiting: the queue is full.
    bool isFull() const {
        for (const auto &filler : fillers) {
            if (filler->state() == QAbstractSocket::ConnectingState)
                return true;
        }
        return false;
    }

private:
    QTcpServer server;
    std::vector<std::unique_ptr<QTcpSocket>> fillers;
};

QList<uint32_t> registration() {
    QList<uint32_t> calls{SimConnectWire::CallOpen};
    for (int i = 0; i < 22; ++i)
        calls << SimConnectWire::CallAddToDataDefinition;
    calls << SimConnectWire::CallRequestDataOnSimObjectType << SimConnectWire::CallSubscribeToSystemEvent
          << SimConnectWire::CallSubscribeToSystemEvent;
    return calls;
}
} // namespace

class TestSimConnectNetwork : public QObject {
    Q_OBJECT

    // The MSFS source over our client, against a server on loopback, with the time stepped by hand.
    struct Rig {
        FakeSimConnectServer server;
        SimConnectNetworkClient *client = nullptr;
        std::unique_ptr<TelemetrySourceMSFS> source;
        std::unique_ptr<QSignalSpy> changed, declared, ended;

        Rig() {
            ManualClock::install();
            server.listen();
            auto owned = std::make_unique<SimConnectNetworkClient>(loopback(server.port()));
            client = owned.get();
            source = std::make_unique<TelemetrySourceMSFS>(std::move(owned));
            changed = std::make_unique<QSignalSpy>(source.get(), &TelemetrySourceMSFS::telemetryChanged);
            declared = std::make_unique<QSignalSpy>(source.get(), &TelemetrySource::telemetrySourceChanged);
            ended = std::make_unique<QSignalSpy>(source.get(), &TelemetrySource::telemetryEnded);
        }
        ~Rig() {
            changed.reset();
            declared.reset();
            ended.reset();
            source.reset();
            ManualClock::uninstall();
        }
        bool pollUntil(const std::function<bool()> &done) {
            return ::pollUntil([this] { source->poll(); }, done);
        }
        // Polls for a while of real time, for checking that nothing happens.
        void pollFor(int milliseconds) {
            QElapsedTimer timer;
            timer.start();
            while (!timer.hasExpired(milliseconds)) {
                source->poll();
                QCoreApplication::processEvents();
                QThread::msleep(2);
            }
        }
        // Connected, registered and declared on the served aircraft.
        bool declare() {
            server.serveOnRequest(block("Served Aircraft", 180.0));
            return pollUntil([this] { return declared->count() == 1; });
        }
        // Stops the data flow and waits until nothing of it is on its way: the source's first request that
        // the server leaves unanswered has arrived, so every block served before it has been taken.
        bool quiesce() {
            server.stopServing();
            const size_t answered = server.requests.size();
            return pollUntil([&] { return server.requests.size() > answered; });
        }
        MSFSTelemetry lastRecord() const {
            return qvariant_cast<MSFSTelemetry>(changed->at(changed->count() - 1).at(0));
        }
    };

private slots:
    // The packets of the original definition list leave exactly as before; the three class entries follow
    // them, and only the calls after them are numbered on by three.
    void theClassEntriesComeAfterTheUnchangedDefinitionPackets() {
        Rig rig;
        QVERIFY(rig.pollUntil([&] { return rig.server.packets.size() >= 26; }));
        const QList<QByteArray> packets = packetsOf(rig.server, 1);
        struct Entry {
            const char *name;
            const char *units;
            uint32_t type;
        };
        // As the program has always registered them, listed here on their own.
        const Entry original[] = {
            {"SIM ON GROUND", "Bool", 4},
            {"TRAILING EDGE FLAPS LEFT PERCENT", "percent over 100", 4},
            {"TRAILING EDGE FLAPS RIGHT PERCENT", "percent over 100", 4},
            {"AILERON TRIM PCT", "percent over 100", 4},
            {"ELEVATOR TRIM PCT", "percent over 100", 4},
            {"RUDDER TRIM PCT", "percent over 100", 4},
            {"G FORCE", "GForce", 4},
            {"INCIDENCE ALPHA", "degree", 4},
            {"AIRSPEED INDICATED", "kilometer per hour", 4},
            {"GEAR CENTER POSITION", "percent over 100", 4},
            {"GEAR LEFT POSITION", "percent over 100", 4},
            {"GEAR RIGHT POSITION", "percent over 100", 4},
            {"NUMBER OF ENGINES", "Number", 4},
            {"PROP MAX RPM PERCENT:1", "percent", 4},
            {"PROP MAX RPM PERCENT:2", "percent", 4},
            {"PROP MAX RPM PERCENT:3", "percent", 4},
            {"PROP MAX RPM PERCENT:4", "percent", 4},
            {"VERTICAL SPEED", "m/s", 4},
            {"TITLE", nullptr, 9},
        };
        QCOMPARE(packets.at(0).toHex(), SimConnectWire::openPacket("Vortane", 0).toHex());
        for (uint32_t i = 0; i < 19; ++i)
            QCOMPARE(packets.at(int(i) + 1).toHex(),
                     SimConnectWire::addToDataDefinitionPacket(0, original[i].name, original[i].units,
                                                               original[i].type, 0.0f, 0xFFFFFFFFu, i + 1)
                         .toHex());
        QCOMPARE(packets.at(20).toHex(),
                 SimConnectWire::addToDataDefinitionPacket(0, "CATEGORY", nullptr, 9, 0.0f, 0xFFFFFFFFu, 20)
                     .toHex());
        QCOMPARE(packets.at(21).toHex(),
                 SimConnectWire::addToDataDefinitionPacket(0, "ENGINE TYPE", "Enum", 4, 0.0f, 0xFFFFFFFFu, 21)
                     .toHex());
        QCOMPARE(packets.at(22).toHex(),
                 SimConnectWire::addToDataDefinitionPacket(0, "ATC HEAVY", "Bool", 4, 0.0f, 0xFFFFFFFFu, 22)
                     .toHex());
        QCOMPARE(packets.at(23).toHex(),
                 SimConnectWire::requestDataOnSimObjectTypePacket(0, 0, 0, 0, 23).toHex());
    }

    // A block with the class entries: the facts go out once, with the declaration, for the declared title.
    void theClassEntriesAreReadWithTheDeclaration_data() {
        QTest::addColumn<QByteArray>("category");
        QTest::addColumn<double>("engineType");
        QTest::addColumn<double>("atcHeavy");
        QTest::addColumn<int>("expectedEngine");
        QTest::addColumn<int>("expectedHeavy");
        QTest::newRow("airliner") << QByteArray("Airplane") << 1.0 << 1.0 << 1 << 1;
        QTest::newRow("helicopter") << QByteArray("Helicopter") << 3.0 << 0.0 << 3 << 0;
        QTest::newRow("glider") << QByteArray("Airplane") << 2.0 << 0.0 << 2 << 0;
        QTest::newRow("turboprop") << QByteArray("Airplane") << 5.0 << 0.0 << 5 << 0;
        QTest::newRow("not a whole number") << QByteArray("Airplane") << 1.5 << -1.0 << -1 << -1;
        QTest::newRow("nan") << QByteArray("Airplane") << std::nan("") << 1e300 << -1 << -1;
    }
    void theClassEntriesAreReadWithTheDeclaration() {
        QFETCH(QByteArray, category);
        QFETCH(double, engineType);
        QFETCH(double, atcHeavy);
        QFETCH(int, expectedEngine);
        QFETCH(int, expectedHeavy);
        auto put = [](QByteArray &bytes, int offset, double value) {
            uint64_t bits;
            std::memcpy(&bits, &value, sizeof(bits));
            for (int i = 0; i < 8; ++i)
                bytes[offset + i] = char((bits >> (8 * i)) & 0xFF);
        };
        QByteArray served = block("Served Class", 120.0) + QByteArray(272, '\0');
        std::memcpy(served.data() + 400, category.constData(), size_t(category.size()));
        put(served, 656, engineType);
        put(served, 664, atcHeavy);
        QSignalSpy facts(&AircraftFactsChannel::instance(), &AircraftFactsChannel::factsChanged);
        Rig rig;
        rig.server.serveOnRequest(served);
        QVERIFY(rig.pollUntil([&] { return rig.changed->count() >= 2; }));
        QCOMPARE(rig.lastRecord().getAirspeed(), 120.0f);
        QCOMPARE(facts.count(), 1);
        QCOMPARE(facts.at(0).at(0).value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_MSFS);
        QCOMPARE(facts.at(0).at(1).toString(), QStringLiteral("Served Class"));
        const AircraftFacts got = facts.at(0).at(2).value<AircraftFacts>();
        QCOMPARE(got.msfsCategory, QString::fromLatin1(category));
        QCOMPARE(got.msfsEngineType, expectedEngine);
        QCOMPARE(got.msfsAtcHeavy, expectedHeavy);
        QCOMPARE(got.xplaneEngineType, -1);
    }

    // A block of the original size is still flown; it just tells nothing about the class.
    void aBlockWithoutTheClassEntriesIsFlownWithoutFacts() {
        QSignalSpy facts(&AircraftFactsChannel::instance(), &AircraftFactsChannel::factsChanged);
        Rig rig;
        QVERIFY(rig.declare());
        QVERIFY(rig.pollUntil([&] { return rig.changed->count() >= 2; }));
        QCOMPARE(rig.lastRecord().getAirspeed(), 180.0f);
        QCOMPARE(facts.count(), 0);
    }

    void openReportsAHandleWithoutWaitingForTheServer() {
        ManualClock::install();
        SimConnectNetworkClient client(loopback(closedPort()));
        QVERIFY(client.open("Vortane"));
        QCOMPARE(client.connectionAttempts(), 1);
        SimConnectMessage message;
        QVERIFY(!client.getNextMessage(message));
        // The refusal arrives through the event loop; with the clock standing still, nothing is tried again.
        QElapsedTimer realTime;
        realTime.start();
        while (!realTime.hasExpired(300)) {
            QVERIFY(!client.getNextMessage(message));
            QCoreApplication::processEvents();
        }
        QVERIFY(!client.isConnected());
        QVERIFY(client.open("Vortane")); // a second open changes nothing
        QCOMPARE(client.connectionAttempts(), 1);
        ManualClock::uninstall();
    }

    void aRefusedServerIsTriedAgainOncePerSecond() {
        ManualClock::install();
        SimConnectNetworkClient client(loopback(closedPort()));
        client.open("Vortane");
        SimConnectMessage message;
        auto pumpFor = [&](int milliseconds) {
            QElapsedTimer realTime;
            realTime.start();
            while (!realTime.hasExpired(milliseconds)) {
                QVERIFY(!client.getNextMessage(message));
                QCoreApplication::processEvents();
            }
        };
        for (int second = 1; second <= 3; ++second) {
            // The refusal arrives through the event loop meanwhile; the clock stands still.
            ManualClock::now += 999;
            pumpFor(200);
            QCOMPARE(client.connectionAttempts(), second);
            ManualClock::now += 1;
            QVERIFY(FakeSimConnectServer::waitFor([&] {
                client.getNextMessage(message);
                return client.connectionAttempts() == second + 1;
            }));
        }
        ManualClock::uninstall();
    }

    // While the simulator is not running the client tries once a second; the log says so once, not once a
    // second.
    void aRunOfRefusalsIsLoggedOnce() {
        static int refusalLines = 0;
        refusalLines = 0;
        const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &context, const QString &text) {
                if (type == QtInfoMsg && qstrcmp(context.category, "quillar.telemetry.msfs") == 0 &&
                    text.startsWith(QStringLiteral("no SimConnect server at")))
                    ++refusalLines;
            });
        ManualClock::install();
        {
            SimConnectNetworkClient client(loopback(closedPort()));
            client.open("Vortane");
            SimConnectMessage message;
            for (int second = 1; second <= 4; ++second) {
                // Each attempt's refusal has come through the event loop before the next attempt starts.
                QVERIFY(FakeSimConnectServer::waitFor([&] {
                    client.getNextMessage(message);
                    return client.connectionAttempts() == second && !client.isConnecting();
                }));
                ManualClock::now += 1000;
            }
            QCOMPARE(client.connectionAttempts(), 4);
        }
        ManualClock::uninstall();
        qInstallMessageHandler(previous);
        QCOMPARE(refusalLines, 1);
    }

    void aConnectionThatDoesNotCompleteIsGivenUpAfterFiveSeconds() {
        // A listener whose queue is full drops further connection requests, so a connect to it hangs as one
        // to a firewalled or vanished machine does, on any machine.
        FullListener hanging;
        QVERIFY2(hanging.isFull(), "the listener's queue could not be filled");
        static QStringList lines;
        lines.clear();
        const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &context, const QString &text) {
                if (type == QtInfoMsg && qstrcmp(context.category, "quillar.telemetry.msfs") == 0)
                    lines << text;
            });
        ManualClock::install();
        SimConnectNetworkClient client(loopback(hanging.port()));
        client.open("Vortane");
        SimConnectMessage message;
        QElapsedTimer realTime;
        realTime.start();
        while (!realTime.hasExpired(300)) {
            QVERIFY(!client.getNextMessage(message));
            QCoreApplication::processEvents();
        }
        QVERIFY(client.isConnecting());
        ManualClock::now += 4999;
        QVERIFY(!client.getNextMessage(message));
        QVERIFY(client.isConnecting());
        QCOMPARE(client.connectionAttempts(), 1);
        ManualClock::now += 1;
        QVERIFY(!client.getNextMessage(message)); // given up
        QVERIFY(!client.isConnecting());
        QVERIFY(!client.getNextMessage(message)); // and, more than a second after it began, tried again
        QVERIFY(client.isConnecting());
        QCOMPARE(client.connectionAttempts(), 2);
        ManualClock::uninstall();
        qInstallMessageHandler(previous);
        // The log says what to check, not "Unknown error".
        QCOMPARE(lines,
                 QStringList{QStringLiteral("no SimConnect server at 127.0.0.1:%1: no answer within 5 s "
                                            "(firewall, or nothing listening at 127.0.0.1:%1?)")
                                 .arg(hanging.port())});
    }

    // --- where the client connects ---

    void withoutAFileOurPortAndTheStockOneAreTriedInTurn_data() {
        QTest::addColumn<int>("listening"); // which of the two endpoints has a server
        QTest::newRow("a server on the first (our port) only") << 0;
        QTest::newRow("a server on the second (the stock port) only") << 1;
    }

    void withoutAFileOurPortAndTheStockOneAreTriedInTurn() {
        QFETCH(int, listening);
        ManualClock::install();
        FakeSimConnectServer server;
        QVERIFY(server.listen());
        const uint16_t nobody = closedPort();
        std::vector<SimConnectEndpoint> endpoints{loopback(listening == 0 ? server.port() : nobody),
                                                  loopback(listening == 1 ? server.port() : nobody)};
        SimConnectNetworkClient client(endpoints);
        QCOMPARE(client.currentEndpoint().port, endpoints[0].port);
        client.open("Vortane");
        SimConnectMessage message;
        if (listening == 1) {
            // The first is refused; a second later the second is tried, and answers.
            QVERIFY(FakeSimConnectServer::waitFor([&] {
                client.getNextMessage(message);
                return !client.isConnecting();
            }));
            QCOMPARE(server.connections, 0);
            QCOMPARE(client.currentEndpoint().port, endpoints[1].port);
            ManualClock::now += 1000;
        }
        QVERIFY(
            FakeSimConnectServer::waitFor([&] { return client.getNextMessage(message) && message.id == 2; }));
        QCOMPARE(server.connections, 1);
        QCOMPARE(client.connectionAttempts(), listening + 1);
        QVERIFY(client.isConnected());
        ManualClock::uninstall();
    }

    void theProgramsDefaultsAreOurPortAndTheStockOne_data() {
        QTest::addColumn<int>("listening");
        QTest::newRow("a server on 29779 only") << int(SimConnectPorts::Own);
        QTest::newRow("a server on 500 only") << int(SimConnectPorts::Stock);
    }

    void theProgramsDefaultsAreOurPortAndTheStockOne() {
        QFETCH(int, listening);
        // The build's own look-up, with no SimConnect.cfg anywhere, and a server on one of the two ports.
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        QTemporaryDir dataHome;
        const QByteArray previous = qgetenv("XDG_DATA_HOME");
        qputenv("XDG_DATA_HOME", dataHome.path().toLocal8Bit());
        const SimConnectEndpoints found = programSimConnectEndpoints();
        if (previous.isNull())
            qunsetenv("XDG_DATA_HOME");
        else
            qputenv("XDG_DATA_HOME", previous);
        QCOMPARE(found.configFile, QString());
        QCOMPARE(found.endpoints.size(), size_t(2));
        QCOMPARE(found.endpoints[0].toString(), QStringLiteral("127.0.0.1:29779"));
        QCOMPARE(found.endpoints[1].toString(), QStringLiteral("127.0.0.1:500"));
        FakeSimConnectServer server;
        if (!server.listen(uint16_t(listening))) {
            // Only root may listen below 1024 on a stock Linux, which is the very reason for port 29779.
            QVERIFY2(listening < 1024, qPrintable(server.listenError()));
            qWarning().noquote() << "a server on port" << listening << "not checked: this test may not listen there ("
                                 << server.listenError() << ")";
            return;
        }
        SimConnectNetworkClient client(found.endpoints);
        client.open("Vortane");
        SimConnectMessage message;
        // Refused on 29779 first when the server is on 500: one attempt a second, so it answers within two.
        QVERIFY(FakeSimConnectServer::waitFor([&] { return client.getNextMessage(message) && message.id == 2; }));
        QCOMPARE(int(client.currentEndpoint().port), listening);
        QCOMPARE(client.connectionAttempts(), listening == SimConnectPorts::Own ? 1 : 2);
        QCOMPARE(server.connections, 1);
    }

    void protocolDecidesTheAddressFamily_data() {
        QTest::addColumn<int>("protocol");
        QTest::newRow("IPv4") << int(SimConnectProtocol::IPv4);
        QTest::newRow("IPv6") << int(SimConnectProtocol::IPv6);
    }

    void protocolDecidesTheAddressFamily() {
        QFETCH(int, protocol);
        // One server on 127.0.0.1 and another on ::1, on the same port.
        FakeSimConnectServer four, six;
        QVERIFY(four.listen());
        QVERIFY2(six.listen(QHostAddress(QHostAddress::LocalHostIPv6), four.port()),
                 qPrintable(six.listenError()));
        FakeSimConnectServer &expected = protocol == int(SimConnectProtocol::IPv6) ? six : four;
        FakeSimConnectServer &other = protocol == int(SimConnectProtocol::IPv6) ? four : six;

        // An address of the family.
        SimConnectEndpoint endpoint = loopback(four.port());
        endpoint.protocol = SimConnectProtocol(protocol);
        endpoint.address =
            protocol == int(SimConnectProtocol::IPv6) ? QStringLiteral("::1") : QStringLiteral("127.0.0.1");
        {
            SimConnectNetworkClient client(endpoint);
            client.open("Vortane");
            SimConnectMessage message;
            QVERIFY(FakeSimConnectServer::waitFor(
                [&] { return client.getNextMessage(message) && message.id == 2; }));
            QCOMPARE(expected.connections, 1);
            QCOMPARE(other.connections, 0);
        }
        // A host name is resolved to that family only: "localhost" never reaches the other family's server
        // (where the system has no IPv6 name for it, it reaches none).
        endpoint.address = QStringLiteral("localhost");
        ManualClock::install();
        SimConnectNetworkClient client(endpoint);
        client.open("Vortane");
        SimConnectMessage message;
        QVERIFY(FakeSimConnectServer::waitFor(
            [&] {
                client.getNextMessage(message);
                return !client.isConnecting();
            },
            10000));
        QCOMPARE(other.connections, 0);
        if (protocol == int(SimConnectProtocol::IPv4))
            QCOMPARE(four.connections, 2);
        ManualClock::uninstall();
    }

    // --- a peer that is not SimConnect, or does not answer ---

    void anOpenWithoutAnAnswerIsClosedAfterTenSeconds() {
        Rig rig;
        rig.server.answerOpen = false;
        QVERIFY(rig.pollUntil([&] { return rig.server.packets.size() == 26; }));
        QVERIFY(rig.client->isConnected());
        ManualClock::now += 9999;
        rig.pollFor(100);
        QVERIFY(rig.client->isConnected());
        QVERIFY(rig.server.clientConnected());
        QCOMPARE(rig.server.connections, 1);
        QCOMPARE(rig.client->connectionAttempts(), 1);
        // Closed and tried again (at once: the last attempt began more than a second ago); a server that
        // answers this time is taken.
        rig.server.answerOpen = true;
        rig.server.serveOnRequest(block("Answered"));
        ManualClock::now += 1;
        QVERIFY(rig.pollUntil([&] { return rig.declared->count() == 1; }));
        QCOMPARE(rig.server.connections, 2);
        QCOMPARE(rig.client->connectionAttempts(), 2);
        QCOMPARE(rig.ended->count(), 0);
    }

    void aPeerThatIsNotSimConnectIsLoggedOncePerEndpoint() {
        static QStringList lines;
        lines.clear();
        const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &context, const QString &text) {
                if (type != QtDebugMsg && qstrcmp(context.category, "quillar.telemetry.msfs") == 0)
                    lines << text;
            });
        ManualClock::install();
        {
            // A web server where SimConnect was expected: every connection gets an HTTP reply.
            QTcpServer web;
            QVERIFY(web.listen(QHostAddress::LocalHost));
            QObject::connect(&web, &QTcpServer::newConnection, &web, [&web] {
                while (QTcpSocket *peer = web.nextPendingConnection())
                    peer->write("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
            });
            SimConnectNetworkClient client(loopback(web.serverPort()));
            client.open("Vortane");
            SimConnectMessage message;
            for (int second = 1; second <= 4; ++second) {
                QVERIFY(FakeSimConnectServer::waitFor([&] {
                    client.getNextMessage(message);
                    return client.connectionAttempts() == second && !client.isConnected() &&
                           !client.isConnecting();
                }));
                ManualClock::now += 1000;
            }
        }
        ManualClock::uninstall();
        qInstallMessageHandler(previous);
        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines[0].startsWith(QStringLiteral("the service at 127.0.0.1:")) &&
                     lines[0].contains(QStringLiteral("is not SimConnect")),
                 qPrintable(lines.join('\n')));
        QVERIFY2(lines[1].contains(QStringLiteral("ended before the server answered")),
                 qPrintable(lines.join('\n')));
    }

    void sendsTheOpenAndTheCallsMadeBeforeTheConnection() {
        FakeSimConnectServer server;
        QVERIFY(server.listen());
        SimConnectNetworkClient client(loopback(server.port()));
        client.open("Vortane");
        client.addToDataDefinition(0, "G FORCE", "GForce", SimConnectSeam::DATATYPE_FLOAT64, 0.0f,
                                   0xFFFFFFFFu);
        client.requestDataOnSimObjectType(0, 0, 0, 0);
        client.subscribeToSystemEvent(1, "SimStop");
        client.requestDataOnSimObjectType(0, 0, 0, 0); // the same request again, still unconnected: sent once

        SimConnectMessage message;
        QList<uint32_t> handedOut;
        auto take = [&] {
            if (client.getNextMessage(message))
                handedOut << message.id;
        };
        QVERIFY(FakeSimConnectServer::waitFor([&] {
            take();
            return server.packets.size() == 4;
        }));
        QCOMPARE(callsOf(server, 1), QList<uint32_t>({0x01, 0x0C, 0x0F, 0x17}));
        for (uint32_t i = 0; i < 4; ++i) {
            QCOMPARE(server.packets[i].sendNumber, i);
            QCOMPARE(server.packets[i].protocol, 5u);
        }
        QCOMPARE(server.packets[0].bytes.toHex(), SimConnectWire::openPacket("Vortane", 0).toHex());
        QCOMPARE(server.packets[1].bytes.toHex(),
                 SimConnectWire::addToDataDefinitionPacket(0, "G FORCE", "GForce", 4, 0.0f, 0xFFFFFFFFu, 1)
                     .toHex());
        QCOMPARE(server.clientName, QByteArray("Vortane"));

        // The server's answer to the open is handed on like any message.
        QVERIFY(FakeSimConnectServer::waitFor([&] {
            take();
            return !handedOut.isEmpty();
        }));
        QCOMPARE(handedOut, QList<uint32_t>({2}));

        // Connected: a call leaves at once, numbered on.
        client.requestDataOnSimObjectType(0, 0, 0, 0);
        QVERIFY(FakeSimConnectServer::waitFor([&] { return server.packets.size() == 5; }));
        QCOMPARE(server.packets[4].call, 0x0Fu);
        QCOMPARE(server.packets[4].sendNumber, 4u);
        QCOMPARE(server.connections, 1);
    }

    void aLostConnectionEndsTheTelemetryOnceAndIsMadeAgain() {
        Rig rig;
        QVERIFY(rig.declare());
        QVERIFY(rig.pollUntil([&] { return rig.changed->count() >= 2; }));
        QCOMPARE(rig.lastRecord().getAirspeed(), 180.0f);
        QCOMPARE(callsOf(rig.server, 1).mid(0, 26), registration());
        const QList<QByteArray> firstRegistration = packetsOf(rig.server, 1).mid(0, 26);

        rig.server.stopServing();
        rig.server.closeClient();
        QVERIFY(rig.pollUntil([&] { return rig.ended->count() == 1; }));
        const MSFSTelemetry idle = rig.lastRecord();
        const MSFSTelemetry zero;
        QCOMPARE(std::memcmp(&idle, &zero, sizeof(MSFSTelemetry)), 0);
        QVERIFY(!rig.source->isActive());

        // Nothing more until a second has passed since the last attempt began; the clock stands still.
        rig.pollFor(300);
        QCOMPARE(rig.ended->count(), 1);
        QCOMPARE(rig.server.connections, 1);

        ManualClock::now += 1000;
        rig.server.serveOnRequest(block("Served Again", 90.0));
        QVERIFY(rig.pollUntil([&] { return rig.declared->count() == 2; }));
        QCOMPARE(rig.server.connections, 2);
        QCOMPARE(rig.declared->at(1).at(1).toString(), QStringLiteral("Served Again"));
        QCOMPARE(rig.client->connectionAttempts(), 2);
        // The new connection carries the same open and registration, numbered from zero again.
        QCOMPARE(packetsOf(rig.server, 2).mid(0, 26), firstRegistration);
        QCOMPARE(rig.ended->count(), 1);
    }

    void aConnectionLostBeforeTheServerAnsweredEndsNothing() {
        Rig rig;
        rig.server.answerOpen = false;
        QVERIFY(rig.pollUntil([&] { return rig.server.packets.size() == 26; }));
        rig.server.closeClient();
        rig.pollFor(300);
        QCOMPARE(rig.ended->count(), 0);
        QCOMPARE(rig.changed->count(), 0);
        ManualClock::now += 1000;
        QVERIFY(rig.pollUntil([&] { return rig.server.packets.size() == 52; }));
        QCOMPARE(rig.server.connections, 2);
        QCOMPARE(callsOf(rig.server, 2), registration());
        QCOMPARE(rig.ended->count(), 0);
    }

    void theSimulatorsQuitIsFinal() {
        Rig rig;
        QVERIFY(rig.declare());
        rig.server.stopServing();
        rig.server.sendQuit();
        QVERIFY(rig.pollUntil([&] { return rig.ended->count() == 1; }));
        QVERIFY(!rig.source->isActive());
        for (int i = 0; i < 5; ++i) {
            ManualClock::now += 1000;
            rig.pollFor(60);
        }
        QCOMPARE(rig.server.connections, 1);
        QCOMPARE(rig.client->connectionAttempts(), 1);
        QCOMPARE(rig.ended->count(), 1);
        QCOMPARE(rig.declared->count(), 1);
        // The quit closed our side of the connection.
        QVERIFY(FakeSimConnectServer::waitFor([&] { return !rig.server.clientConnected(); }));
    }

    void hostileStreamsEndTheTelemetryAndReconnect_data() {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<bool>("thenClose");
        const QByteArray tail = word(5) + word(9);
        QTest::newRow("size zero") << (word(0) + tail) << false;
        QTest::newRow("size below the header") << (word(11) + tail) << false;
        QTest::newRow("size above 1 MiB") << (word((1u << 20) + 1) + tail) << false;
        QTest::newRow("size with every bit set") << (word(0xFFFFFFFFu) + tail) << false;
        QTest::newRow("closed mid-message") << dataMessage(block("Cut")).left(100) << true;
        QTest::newRow("closed inside a size field") << QByteArray::fromHex("9001") << true;
        QTest::newRow("closed after the header of a large message") << (word(1u << 20) + tail) << true;
        QTest::newRow("random bytes") << randomBytes(13, 64) << true;
    }

    void hostileStreamsEndTheTelemetryAndReconnect() {
        QFETCH(QByteArray, stream);
        QFETCH(bool, thenClose);
        Rig rig;
        QVERIFY(rig.declare());
        QVERIFY(rig.pollUntil([&] { return rig.changed->count() >= 1; }));
        QVERIFY(rig.quiesce());
        rig.server.sendRaw(stream);
        if (thenClose)
            rig.server.closeClient();
        QVERIFY(rig.pollUntil([&] { return rig.ended->count() == 1; }));
        QVERIFY(!rig.source->isActive());
        rig.pollFor(100);
        QCOMPARE(rig.ended->count(), 1);

        ManualClock::now += 1000;
        rig.server.serveOnRequest(block("After", 120.0));
        QVERIFY(rig.pollUntil([&] { return rig.declared->count() == 2; }));
        QCOMPARE(rig.server.connections, 2);
    }

    void messagesItDoesNotUseLeaveTheConnectionUp_data() {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<int>("records");
        QTest::newRow("unknown id") << FakeSimConnectServer::message(12345, word(0) + block("x")) << 0;
        QTest::newRow("exception") << FakeSimConnectServer::message(1, word(7) + word(3) + word(2)) << 0;
        QTest::newRow("cut exception") << FakeSimConnectServer::message(1, word(7)) << 0;
        QTest::newRow("event for no subscription")
            << FakeSimConnectServer::message(4, word(0xFFFFFFFFu) + word(9) + word(0)) << 0;
        QTest::newRow("event without its id") << FakeSimConnectServer::message(4, word(0xFFFFFFFFu)) << 0;
        QTest::newRow("data without its request id")
            << FakeSimConnectServer::message(9, QByteArray("\x00\x00", 2)) << 0;
        QTest::newRow("short block") << dataMessage(block("Short").left(399)) << 0;
        QTest::newRow("header-only data") << dataMessage(QByteArray()) << 0;
        QTest::newRow("long block") << dataMessage(block("Long", 210.0) + QByteArray(600, '\x7f')) << 1;
        QTest::newRow("a block of almost 1 MiB")
            << dataMessage(block("Huge", 220.0) + QByteArray((1 << 20) - 40 - BlockSize, '\x01')) << 1;
    }

    void messagesItDoesNotUseLeaveTheConnectionUp() {
        QFETCH(QByteArray, stream);
        QFETCH(int, records);
        Rig rig;
        QVERIFY(rig.declare());
        QVERIFY(rig.quiesce());
        const int before = int(rig.changed->count());
        const size_t packetsBefore = rig.server.packets.size();
        rig.server.sendRaw(stream);
        // Something recognisable behind it shows that the stream is still in step.
        FakeSimConnect::Message stop;
        stop.id = SimConnectMessage::IdEvent;
        stop.eventId = 1;
        rig.server.sendRaw(FakeSimConnectServer::encode(stop));
        QVERIFY(rig.pollUntil([&] { return rig.ended->count() == 1; }));
        QCOMPARE(int(rig.changed->count()), before + records + 1); // the records, then the idle one
        QCOMPARE(rig.server.connections, 1);
        QVERIFY(rig.server.clientConnected());
        QCOMPARE(rig.server.malformedPackets, 0);
        // The client is still on its first connection, and what it sends still arrives on it.
        QCOMPARE(rig.client->connectionAttempts(), 1);
        QVERIFY(rig.client->isConnected());
        rig.client->subscribeToSystemEvent(7, "Pause");
        const auto subscribedAgain = [&] {
            for (size_t i = packetsBefore; i < rig.server.packets.size(); ++i) {
                const FakeSimConnectServer::Packet &packet = rig.server.packets[i];
                if (packet.call == SimConnectWire::CallSubscribeToSystemEvent &&
                    packet.bytes.contains("Pause"))
                    return packet.connection == 1;
            }
            return false;
        };
        QVERIFY(rig.pollUntil(subscribedAgain));
    }

    void aStalledMessageWaitsForItsRest() {
        Rig rig;
        QVERIFY(rig.declare());
        QVERIFY(rig.quiesce());
        const int before = int(rig.changed->count());
        const QByteArray message = dataMessage(block("Stalled", 333.0));
        rig.server.sendRaw(message.left(150));
        rig.pollFor(300);
        QCOMPARE(int(rig.changed->count()), before);
        QCOMPARE(rig.ended->count(), 0);
        rig.server.sendRaw(message.mid(150));
        QVERIFY(rig.pollUntil([&] { return rig.changed->count() == before + 1; }));
        QCOMPARE(rig.lastRecord().getAirspeed(), 333.0f);
        QCOMPARE(rig.server.connections, 1);
    }

    void aStalledServerHoldsNothingUp() {
        Rig rig;
        rig.server.setStalled(true);
        rig.pollFor(300);
        QCOMPARE(rig.declared->count(), 0);
        QCOMPARE(rig.ended->count(), 0);
        QCOMPARE(rig.server.connections, 1);
        rig.server.serveOnRequest(block("Woke Up"));
        rig.server.setStalled(false);
        QVERIFY(rig.pollUntil([&] { return rig.declared->count() == 1; }));
    }

    void theBuildsSourceFollowsSimConnectCfg() {
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        QVERIFY(scratch.isValid());
        FakeSimConnectServer server;
        QVERIFY(server.listen());
        server.serveOnRequest(block("Configured"));
        QFile cfg(QDir(scratch.path()).filePath("SimConnect.cfg"));
        QVERIFY(cfg.open(QIODevice::WriteOnly));
        cfg.write(QStringLiteral("[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=%1\n")
                      .arg(server.port())
                      .toLatin1());
        cfg.close();

        TelemetrySourceMSFS source;
        QSignalSpy declared(&source, &TelemetrySource::telemetrySourceChanged);
        QVERIFY(pollUntil([&] { source.poll(); }, [&] { return declared.count() == 1; }));
        QCOMPARE(declared.at(0).at(1).toString(), QStringLiteral("Configured"));
        QCOMPARE(server.clientName, QByteArray("Vortane"));
        QCOMPARE(callsOf(server, 1).mid(0, 26), registration());
    }
};

QTEST_GUILESS_MAIN(TestSimConnectNetwork)
#include "tst_simconnectnetwork.moc"
