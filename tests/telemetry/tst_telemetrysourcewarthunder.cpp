#include "httpstub.h"
#include "telemetrysourcewarthunder.h"
#include "telemetrytesting.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QtTest>

namespace {
const QByteArray inFlight = R"({"valid": true, "IAS, km/h": 308, "TAS, km/h": 312, "Ny": 1.02, "AoA, deg": 1.6,
                                "gear, %": 100})";

// Polls like the telemetry worker's tick until `done` holds.
bool tickUntil(TelemetrySourceWarthunder &source, const std::function<bool()> &done) {
    QElapsedTimer realTime;
    realTime.start();
    while (!done()) {
        if (realTime.hasExpired(10000))
            return false;
        source.poll();
        QTest::qWait(5);
    }
    return true;
}
} // namespace

class TestTelemetrySourceWarthunder : public QObject {
    Q_OBJECT

    struct Session {
        explicit Session(const QUrl &url)
            : source(nullptr, url), declared(&source, &TelemetrySource::telemetrySourceChanged),
              ended(&source, &TelemetrySource::telemetryEnded), landed(&source, &TelemetrySource::landed) {
            QObject::connect(&source, &TelemetrySourceWarthunder::telemetryChanged,
                             [this](const WarthunderTelemetry &record) {
                                 records << record;
                                 order << QStringLiteral("record");
                             });
            QObject::connect(&source, &TelemetrySource::telemetryEnded, [this] { order << QStringLiteral("ended"); });
        }
        TelemetrySourceWarthunder source;
        QSignalSpy declared;
        QSignalSpy ended;
        QSignalSpy landed;
        QList<WarthunderTelemetry> records;
        QStringList order;
    };

    static quint16 closedPort() {
        QTcpServer probe;
        probe.listen(QHostAddress(QHostAddress::LocalHost), 0);
        return probe.serverPort(); // closed again when the probe goes
    }

private slots:
    void theDefaultEndpointIsTheGamesStatePage() {
        QCOMPARE(TelemetrySourceWarthunder::defaultUrl(), QUrl(QStringLiteral("http://127.0.0.1:8111/state")));
        QCOMPARE(TelemetrySourceWarthunder::TransferTimeoutMs, 100);
    }

    void withoutTheGameNothingIsEmitted() {
        QUrl url(QStringLiteral("http://127.0.0.1/state"));
        url.setPort(closedPort());
        Session s(url);
        QSignalSpy anyRecord(&s.source, &TelemetrySourceWarthunder::telemetryChanged);
        for (int i = 0; i < 20; ++i) {
            s.source.poll();
            QTest::qWait(5);
        }
        QTest::qWait(200);
        QCOMPARE(s.declared.count(), 0);
        QCOMPARE(s.ended.count(), 0);
        QCOMPARE(anyRecord.count(), 0);
        QVERIFY(!s.source.isActive());
    }

    void theFirstSuccessOnlyDeclaresThenRepliesAreDecoded() {
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(inFlight);
        Session s(stub.url());
        QVERIFY(tickUntil(s.source, [&] { return s.declared.count() == 1; }));
        QCOMPARE(s.declared[0][0].value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_WARTHUNDER);
        QCOMPARE(s.declared[0][1].toString(), QStringLiteral("Generic warbird"));
        QCOMPARE(s.records.size(), 0); // the declaring reply is not decoded
        QVERIFY(s.source.isActive());

        QVERIFY(tickUntil(s.source, [&] { return s.records.size() >= 1; }));
        QCOMPARE(s.records[0].airspeed, 308.0f);
        QCOMPARE(s.records[0].gForce, 1.02f);
        QCOMPARE(s.records[0].aoa, 1.6f);
        QCOMPARE(s.records[0].gear, 0.0f);
        QCOMPARE(s.declared.count(), 1);
        QCOMPARE(s.landed.count(), 0);
        QCOMPARE(stub.requestLines().first(), QStringLiteral("GET /state HTTP/1.1"));
    }

    void aMissingNyGivesZeroLoadFactor() {
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(inFlight);
        Session s(stub.url());
        QVERIFY(tickUntil(s.source, [&] { return s.records.size() >= 1; }));
        stub.answer(R"({"valid": true, "IAS, km/h": 200, "AoA, deg": 2})");
        const int before = stub.requestCount();
        // A reply to a request made after the switch carries the new document.
        QVERIFY(tickUntil(s.source, [&] { return stub.requestCount() > before + 1 && s.records.last().airspeed == 200; }));
        QCOMPARE(s.records.last().gForce, 0.0f);
        QCOMPARE(s.records.last().aoa, 2.0f);
    }

    void aBodyThatIsNotJsonGivesZeros() {
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(inFlight);
        Session s(stub.url());
        QVERIFY(tickUntil(s.source, [&] { return s.records.size() >= 1; }));
        stub.answer("<html>not json</html>");
        QVERIFY(tickUntil(s.source, [&] { return s.records.last().airspeed == 0; }));
        QCOMPARE(s.records.last().gForce, 0.0f);
        QCOMPARE(s.records.last().aoa, 0.0f);
        QCOMPARE(s.ended.count(), 0); // a readable reply is a success whatever its body
        QVERIFY(s.source.isActive());
    }

    // A server that streams without end: past 1 MiB the request is aborted and counts as a failed reply,
    // so the telemetry ends at once instead of the request staying open with its body growing.
    void anEndlessReplyIsCutAtTheCapAndFails() {
        QCOMPARE(TelemetrySourceWarthunder::MaxBodyBytes, qint64(1048576));
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(inFlight);
        Session s(stub.url());
        QVERIFY(tickUntil(s.source, [&] { return s.records.size() >= 1; }));
        stub.setMode(HttpStub::Mode::Stream);
        QVERIFY(tickUntil(s.source, [&] { return s.ended.count() == 1; }));
        QVERIFY(!s.source.isActive());
        QCOMPARE(s.order.mid(s.order.size() - 2), (QStringList{"record", "ended"}));
        QCOMPARE(s.records.last().airspeed, 0.0f);
        QVERIFY(QTest::qWaitFor([&] { return stub.closedStreams() >= 1; }, 10000));

        // While inactive an endless reply is dropped like any failure: nothing is declared, and the next
        // tick asks again.
        Session fresh(stub.url());
        const int before = stub.requestCount();
        QVERIFY(tickUntil(fresh.source, [&] { return stub.requestCount() >= before + 2; }));
        QCOMPARE(fresh.declared.count(), 0);
        QCOMPARE(fresh.ended.count(), 0);
        QCOMPARE(fresh.records.size(), 0);
    }

    // The cap is on the body's size: a document of exactly 1 MiB is read, one byte more is a failure even
    // when the server announces its length.
    void theBodyCapIsOneMebibyte() {
        QByteArray whole = R"({"valid": true, "IAS, km/h": 250, "Ny": 2, "AoA, deg": 3})";
        whole += QByteArray(TelemetrySourceWarthunder::MaxBodyBytes - whole.size(), ' ');
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(inFlight);
        Session s(stub.url());
        QVERIFY(tickUntil(s.source, [&] { return s.records.size() >= 1; }));
        stub.answer(whole);
        QVERIFY(tickUntil(s.source, [&] { return s.records.last().airspeed == 250; }));
        QCOMPARE(s.records.last().gForce, 2.0f);
        QCOMPARE(s.ended.count(), 0);
        stub.answer(whole + ' ');
        QVERIFY(tickUntil(s.source, [&] { return s.ended.count() == 1; }));
        QCOMPARE(s.records.last().airspeed, 0.0f);
        QVERIFY(!s.source.isActive());
    }

    void atMostOneRequestIsInFlight() {
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.setMode(HttpStub::Mode::Silent);
        Session s(stub.url());
        s.source.poll();
        QVERIFY(QTest::qWaitFor([&] { return stub.requestCount() == 1; }, 5000));
        for (int i = 0; i < 5; ++i)
            s.source.poll();
        QTest::qWait(30);
        QCOMPARE(stub.requestCount(), 1);
        // The silent request times out after 100 ms; then the next poll may ask again.
        QVERIFY(tickUntil(s.source, [&] { return stub.requestCount() == 2; }));
        QCOMPARE(s.declared.count(), 0);
        QCOMPARE(s.ended.count(), 0);
    }

    void oneFailureEndsAtOnceAndTheNextSuccessDeclaresAgain_data() {
        QTest::addColumn<int>("failure");
        QTest::newRow("slower than 100 ms") << 0;
        QTest::newRow("no answer") << 1;
        QTest::newRow("connection closed") << 2;
        QTest::newRow("HTTP 404") << 3;
        QTest::newRow("HTTP 500") << 4;
    }
    void oneFailureEndsAtOnceAndTheNextSuccessDeclaresAgain() {
        QFETCH(int, failure);
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(inFlight);
        Session s(stub.url());
        QVERIFY(tickUntil(s.source, [&] { return s.records.size() >= 2; }));
        switch (failure) {
        case 0:
            stub.answer(inFlight, 200, 600);
            break;
        case 1:
            stub.setMode(HttpStub::Mode::Silent);
            break;
        case 2:
            stub.setMode(HttpStub::Mode::Close);
            break;
        case 3:
            stub.answer("{}", 404);
            break;
        case 4:
            stub.answer(inFlight, 500);
            break;
        }
        QVERIFY(tickUntil(s.source, [&] { return s.ended.count() == 1; }));
        QVERIFY(!s.source.isActive());
        QCOMPARE(s.order.mid(s.order.size() - 2), (QStringList{"record", "ended"}));
        const WarthunderTelemetry idle = s.records.last();
        QCOMPARE(idle.airspeed, 0.0f);
        QCOMPARE(idle.gForce, 0.0f);
        QCOMPARE(idle.aoa, 0.0f);

        const int recordsAtEnd = s.records.size();
        stub.answer(R"({"IAS, km/h": 500, "Ny": 3, "AoA, deg": 7})");
        QVERIFY(tickUntil(s.source, [&] { return s.declared.count() == 2; }));
        QCOMPARE(s.declared[1][1].toString(), QStringLiteral("Generic warbird"));
        QCOMPARE(s.records.size(), recordsAtEnd); // the declaring reply is not decoded
        QVERIFY(tickUntil(s.source, [&] { return s.records.size() > recordsAtEnd; }));
        QCOMPARE(s.records.last().airspeed, 500.0f);
        QCOMPARE(s.records.last().gForce, 3.0f);
        QCOMPARE(s.ended.count(), 1);
        QCOMPARE(s.landed.count(), 0);
    }
};

QTEST_GUILESS_MAIN(TestTelemetrySourceWarthunder)
#include "tst_telemetrysourcewarthunder.moc"
