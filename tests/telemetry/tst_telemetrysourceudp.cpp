#include "telemetrysourceudp.h"
#include "telemetrytesting.h"
#include "udpsender.h"

#include <QHostAddress>
#include <QSignalSpy>
#include <QUdpSocket>
#include <QRegularExpression>
#include <QtTest>

namespace {
// Records every step the read loop takes, in order.
class RecordingSource : public TelemetrySourceUdp {
public:
    explicit RecordingSource(quint16 port) : TelemetrySourceUdp(nullptr, port) {}

    QStringList steps;
    QList<QByteArray> parsed;
    QList<float> hookSeconds;

protected:
    void parseDatagram(const QByteArray &datagram) override {
        steps << QStringLiteral("parse");
        parsed << datagram;
    }
    QString flightModuleName(const QByteArray &datagram) override {
        return QStringLiteral("module of ") + QString::fromLatin1(datagram.left(16));
    }
    Telemetry::Source source() override { return Telemetry::TELEMETRY_SOURCE_CONDOR; }
    void firstSecondHook(float seconds) override {
        steps << QStringLiteral("hook");
        hookSeconds << seconds;
    }
    void emitTelemetry() override { steps << QStringLiteral("emit"); }
    void emitIdleTelemetry() override { steps << QStringLiteral("idle"); }
};

// Gives loopback delivery ample time so a burst is wholly pending before the next poll.
void letDatagramsArrive() {
    QTest::qWait(150);
}
} // namespace

class TestTelemetrySourceUdp : public QObject {
    Q_OBJECT

    std::unique_ptr<RecordingSource> source;
    std::unique_ptr<UdpSender> sender;

    void declare(const QByteArray &datagram = "first") {
        QSignalSpy declared(source.get(), &TelemetrySource::telemetrySourceChanged);
        QVERIFY(sender->send(datagram));
        QVERIFY(pollUntil([this] { source->poll(); }, [&] { return declared.count() == 1; }));
        QVERIFY(source->isActive());
    }

    void receive(const QByteArray &datagram) {
        const int before = source->parsed.size();
        QVERIFY(sender->send(datagram));
        QVERIFY(pollUntil([this] { source->poll(); }, [&] { return source->parsed.size() == before + 1; }));
    }

private slots:
    void init() {
        ManualClock::install();
        source = std::make_unique<RecordingSource>(0);
        QVERIFY(source->localPort() != 0);
        sender = std::make_unique<UdpSender>(source->localPort());
    }
    void cleanup() {
        source.reset();
        sender.reset();
        ManualClock::uninstall();
    }

    void theFirstDatagramOnlyDeclares() {
        QSignalSpy declared(source.get(), &TelemetrySource::telemetrySourceChanged);
        QVERIFY(!source->isActive());
        declare("F-16C_50;1;2");
        QCOMPARE(declared.count(), 1);
        QCOMPARE(source->steps, QStringList());
        receive("second");
        QCOMPARE(source->parsed, QList<QByteArray>{"second"});
        QCOMPARE(source->steps, (QStringList{"parse", "hook", "emit"}));
    }

    void declarationCarriesTheSourceAndTheModuleName() {
        QSignalSpy declared(source.get(), &TelemetrySource::telemetrySourceChanged);
        QVERIFY(sender->send("Ka-50;0;0"));
        QVERIFY(pollUntil([this] { source->poll(); }, [&] { return declared.count() == 1; }));
        QCOMPARE(declared[0][0].value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_CONDOR);
        QCOMPARE(declared[0][1].toString(), QStringLiteral("module of Ka-50;0;0"));
    }

    void aBurstDecodesOnlyTheNewestDatagram() {
        declare();
        QVERIFY(sender->send("one"));
        QVERIFY(sender->send("two, a longer one"));
        QVERIFY(sender->send("three"));
        letDatagramsArrive();
        source->poll();
        QCOMPARE(source->parsed, QList<QByteArray>{"three"});
        source->poll();
        QCOMPARE(source->parsed.size(), 1);
    }

    void theWholeOfALargeDatagramIsRead() {
        declare();
        const QByteArray large = randomBytes(7, 65507); // the largest IPv4 UDP payload
        receive(large);
        QCOMPARE(source->parsed.last(), large);
    }

    void emptyDatagramsNeitherDeclareNorKeepAlive() {
        QVERIFY(sender->send(QByteArray()));
        letDatagramsArrive();
        source->poll();
        QVERIFY(!source->isActive());
        QCOMPARE(source->steps, QStringList());

        declare(); // at t = 100000
        ManualClock::now += 600;
        QVERIFY(sender->send(QByteArray()));
        letDatagramsArrive();
        source->poll();
        QCOMPARE(source->steps, QStringList());
        ManualClock::now += 401; // 1001 ms after the last datagram with data
        source->poll();
        QCOMPARE(source->steps, QStringList{"idle"});
        QVERIFY(!source->isActive());
    }

    void anEmptyDatagramLastInABurstIsWhatRemains() {
        declare();
        QVERIFY(sender->send("data"));
        QVERIFY(sender->send(QByteArray()));
        letDatagramsArrive();
        source->poll();
        QCOMPARE(source->parsed, QList<QByteArray>{QByteArray()});
    }

    void exactlyOneSecondOfSilenceDoesNotEnd() {
        QSignalSpy ended(source.get(), &TelemetrySource::telemetryEnded);
        declare();
        receive("data");
        source->steps.clear();
        ManualClock::now += 1000;
        source->poll();
        QCOMPARE(ended.count(), 0);
        QVERIFY(source->isActive());
        ManualClock::now += 1;
        source->poll();
        QCOMPARE(ended.count(), 1);
        QCOMPARE(source->steps, QStringList{"idle"}); // the idle record went out before the end
        QVERIFY(!source->isActive());
        source->poll();
        QCOMPARE(ended.count(), 1);
    }

    void theIdleRecordPrecedesTheEnd() {
        QStringList order;
        connect(source.get(), &TelemetrySource::telemetryEnded, this, [&] {
            order << source->steps.join(QLatin1Char(',')) + QStringLiteral("|ended");
        });
        declare();
        ManualClock::now += 1001;
        source->poll();
        QCOMPARE(order, QStringList{"idle|ended"});
    }

    void afterTheEndTheNextDatagramDeclaresAgain() {
        QSignalSpy declared(source.get(), &TelemetrySource::telemetrySourceChanged);
        declare();
        ManualClock::now += 1001;
        source->poll();
        QVERIFY(!source->isActive());
        source->steps.clear();
        QVERIFY(sender->send("again"));
        QVERIFY(pollUntil([this] { source->poll(); }, [&] { return declared.count() == 2; }));
        QCOMPARE(declared[1][1].toString(), QStringLiteral("module of again"));
        QCOMPARE(source->steps, QStringList());
    }

    void theFirstSecondHookSeesWholeSeconds() {
        declare(); // active since t = 100000
        receive("at 0 ms");
        ManualClock::now += 999;
        receive("at 999 ms");
        ManualClock::now += 1;
        receive("at 1000 ms");
        QCOMPARE(source->hookSeconds, (QList<float>{0.0f, 0.0f}));
        QCOMPARE(source->steps, (QStringList{"parse", "hook", "emit", "parse", "hook", "emit", "parse", "emit"}));
    }

    void aTakenPortIsNotReported() {
        QUdpSocket holder;
        QVERIFY(holder.bind(QHostAddress::Any, 0));
        RecordingSource second(holder.localPort());
        QCOMPARE(second.localPort(), quint16(0));
        UdpSender toHolder(holder.localPort());
        QVERIFY(toHolder.send("for the holder"));
        letDatagramsArrive();
        // Polling a source that never bound stays quiet: no warning on every tick.
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".+")));
        second.poll();
        second.poll();
        QVERIFY(!second.isActive());
        QCOMPARE(second.steps, QStringList());
    }
};

QTEST_GUILESS_MAIN(TestTelemetrySourceUdp)
#include "tst_telemetrysourceudp.moc"
