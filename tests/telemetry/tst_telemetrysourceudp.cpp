#include "telemetrysourceudp.h"
#include "telemetrytesting.h"
#include "udpsender.h"

#include <QHostAddress>
#include <QSignalSpy>
#include <QUdpSocket>
#include <QRegularExpression>
#include <QtTest>
#include <cstring>

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

// A socket whose datagrams and read results are scripted: a read either delivers its datagram, or fails
// after scribbling over the caller's buffer, the worst a failing read can do.
struct ScriptedSocket {
    struct Datagram {
        QByteArray bytes;
        bool fails = false;
    };
    QList<Datagram> queue;
    int reads = 0;

    bool hasPendingDatagrams() const { return !queue.isEmpty(); }
    qint64 pendingDatagramSize() const { return queue.isEmpty() ? -1 : queue.first().bytes.size(); }
    qint64 readDatagram(char *data, qint64 maxSize) {
        ++reads;
        const Datagram next = queue.takeFirst();
        if (next.fails) {
            std::memset(data, 'X', size_t(maxSize));
            return -1;
        }
        const qint64 size = qMin<qint64>(maxSize, next.bytes.size());
        std::memcpy(data, next.bytes.constData(), size_t(size));
        return size;
    }
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

    // A sender far faster than the tick: each poll reads at most 64 datagrams and decodes the newest of
    // them; the rest waits for the next ticks, so the poll always returns.
    void aFloodIsReadSixtyFourDatagramsAPoll() {
        QCOMPARE(MaxDatagramsPerPoll, 64);
        declare();
        for (int i = 1; i <= 150; ++i)
            QVERIFY(sender->send(QByteArray::number(i)));
        letDatagramsArrive();
        source->poll();
        QCOMPARE(source->parsed, QList<QByteArray>{"64"});
        source->poll();
        QCOMPARE(source->parsed, (QList<QByteArray>{"64", "128"}));
        source->poll();
        QCOMPARE(source->parsed, (QList<QByteArray>{"64", "128", "150"}));
        source->poll();
        QCOMPARE(source->parsed.size(), 3);
        QCOMPARE(source->steps, (QStringList{"parse", "hook", "emit", "parse", "hook", "emit", "parse", "hook",
                                             "emit"}));
    }

    void theReadLoopStopsAtItsBound() {
        ScriptedSocket socket;
        for (int i = 1; i <= 70; ++i)
            socket.queue.append({QByteArray::number(i)});
        QByteArray newest, scratch;
        QVERIFY(readNewestDatagram(socket, newest, scratch));
        QCOMPARE(socket.reads, 64);
        QCOMPARE(socket.queue.size(), 6);
        QCOMPARE(newest, QByteArray("64"));
        QVERIFY(readNewestDatagram(socket, newest, scratch));
        QCOMPARE(newest, QByteArray("70"));
        QCOMPARE(socket.reads, 70);
        QVERIFY(!readNewestDatagram(socket, newest, scratch));
        QCOMPARE(newest, QByteArray("70"));
        QCOMPARE(socket.reads, 70);
    }

    // A read that fails in the middle of a burst ends it; what is handed on is the last datagram read in
    // full, never the buffer the failed read wrote into.
    void aFailedReadNeverLeavesAPartlyFilledDatagram() {
        ScriptedSocket socket;
        socket.queue = {{"first datagram"}, {"second"}, {"a longer third datagram", true}, {"fourth"}};
        QByteArray newest("before"), scratch;
        QVERIFY(readNewestDatagram(socket, newest, scratch));
        QCOMPARE(newest, QByteArray("second"));
        QCOMPARE(socket.reads, 3);
        QCOMPARE(socket.queue.size(), 1);

        // A failure first in the burst hands on nothing and reports no data.
        socket.queue = {{"failing", true}, {"after"}};
        QVERIFY(!readNewestDatagram(socket, newest, scratch));
        QCOMPARE(newest, QByteArray("second"));
        QCOMPARE(socket.queue.size(), 1);

        // An empty datagram is read in full: it is what remains, yet it alone is no data.
        socket.queue = {{"data"}, {QByteArray()}, {"never read", true}};
        QVERIFY(readNewestDatagram(socket, newest, scratch));
        QCOMPARE(newest, QByteArray());
        socket.queue = {{QByteArray()}};
        QVERIFY(!readNewestDatagram(socket, newest, scratch));
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
