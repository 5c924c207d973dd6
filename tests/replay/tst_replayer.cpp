#include "replayer.h"
#include "telemetryrecorder.h"
#include "telemetryrecording.h"
#include "telemetrysourcecondor2.h"
#include "telemetrysourcedcs.h"
#include "telemetrysourceshturmovik.h"
#include "telemetrysourcewarthunder.h"
#include "telemetrysourcexplane.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTimer>
#include <QUdpSocket>
#include <QtEndian>
#include <QtTest>

using TelemetryRecording::Kind;
using TelemetryRecording::Record;

namespace {

Record record(int64_t micros, Telemetry::Source source, Kind kind, const QByteArray &payload) {
    Record r;
    r.micros = micros;
    r.source = uint8_t(source);
    r.kind = kind;
    r.payload = payload;
    return r;
}

// A flight as the sources would have recorded it: DCS and Condor datagrams, IL-2 packets, War Thunder documents.
QList<Record> original() {
    QList<Record> records;
    for (int i = 0; i < 40; ++i) {
        const int64_t t = 30000 + i * 25000;
        records << record(t, Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram,
                          "F-16C_50;" + QByteArray::number(300 + i) + ";0.5;4;1.25;0;0;0;90;0");
        if (i % 4 == 1)
            records << record(t + 3000, Telemetry::TELEMETRY_SOURCE_CONDOR, Kind::UdpDatagram,
                              "airspeed=" + QByteArray::number(20 + i) + "\ngforce=1.1\n");
        if (i % 5 == 2)
            records << record(t + 7000, Telemetry::TELEMETRY_SOURCE_IL2, Kind::UdpDatagram,
                              QByteArray(10, '\0') + QByteArray::fromHex("01060001") +
                                  QByteArray(4, char(i)));
        if (i % 8 == 3)
            records << record(t + 9000, Telemetry::TELEMETRY_SOURCE_WARTHUNDER, Kind::HttpBody,
                              R"({"valid": true, "IAS, km/h": )" + QByteArray::number(400 + i) + "}");
    }
    records << record(1200000, Telemetry::TELEMETRY_SOURCE_MSFS, Kind::MsfsDataBlock, QByteArray(64, 'm'));
    return records;
}

QList<Record> ofSource(const QList<Record> &records, Telemetry::Source source) {
    QList<Record> selected;
    for (const Record &r : records)
        if (r.source == source)
            selected << r;
    return selected;
}

QList<QByteArray> distinctPayloads(const QList<Record> &records) {
    QList<QByteArray> payloads;
    for (const Record &r : records)
        if (payloads.isEmpty() || payloads.last() != r.payload)
            payloads << r.payload;
    return payloads;
}

quint16 freeTcpPort() {
    QTcpServer probe;
    probe.listen(QHostAddress(QHostAddress::LocalHost), 0);
    return probe.serverPort();
}

QList<Record> readFile(const QString &path, QString *error) {
    TelemetryRecording::RecordingFile file;
    QList<Record> records;
    if (!file.open(path)) {
        *error = file.error();
        return records;
    }
    Record r;
    while (file.reader().next(r))
        records << r;
    return records;
}

} // namespace

class TestReplayer : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;

private slots:
    // Replayed through the real sources over loopback and recorded again, a recording comes back value for value.
    void recordReplayRecordRoundTrip() {
        const QList<Record> first = original();
        ReplayEndpoints endpoints;
        TelemetrySourceDCS dcs(nullptr, 0);
        TelemetrySourceShturmovik shturmovik(nullptr, 0);
        TelemetrySourceCondor2 condor2(nullptr, 0);
        endpoints.dcsPort = dcs.localPort();
        endpoints.shturmovikPort = shturmovik.localPort();
        endpoints.condor2Port = condor2.localPort();
        endpoints.warthunderPort = freeTcpPort();
        TelemetrySourceWarthunder warthunder(
            nullptr, QUrl(QStringLiteral("http://127.0.0.1:%1/state").arg(endpoints.warthunderPort)));

        qsizetype index = 0;
        Replayer replayer([&](Record &r) { return index < first.size() ? (r = first.at(index++), true) : false; },
                          [&] { index = 0; }, endpoints);
        QString error;
        QVERIFY2(replayer.listenForWarthunder(&error), qPrintable(error));

        const QString path = dir.filePath(QStringLiteral("second.qrec"));
        QVERIFY2(TelemetryRecorder::instance().start(path, &error), qPrintable(error));
        QTimer udpPoll;
        udpPoll.setTimerType(Qt::PreciseTimer);
        connect(&udpPoll, &QTimer::timeout, [&] {
            dcs.poll();
            shturmovik.poll();
            condor2.poll();
        });
        QTimer httpPoll;
        connect(&httpPoll, &QTimer::timeout, [&] { warthunder.poll(); });
        QSignalSpy finished(&replayer, &Replayer::finished);
        udpPoll.start(2);
        httpPoll.start(20);
        QElapsedTimer wall;
        wall.start();
        replayer.start();
        QVERIFY(finished.wait(10000));
        const qint64 playedMs = wall.elapsed();
        // Let the last datagrams and a last War Thunder request arrive.
        QTest::qWait(200);
        TelemetryRecorder::instance().stop();

        QCOMPARE(replayer.simConnectBlocksSkipped(), 1);
        QCOMPARE(replayer.recordsSent(), first.size() - 1);
        // The recorded timing: 1.2 s of records take at least that long, and not hugely longer.
        QVERIFY2(playedMs >= 1190 && playedMs < 6000, qPrintable(QString::number(playedMs)));

        const QList<Record> second = readFile(path, &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        for (Telemetry::Source source : {Telemetry::TELEMETRY_SOURCE_DCS, Telemetry::TELEMETRY_SOURCE_IL2,
                                         Telemetry::TELEMETRY_SOURCE_CONDOR}) {
            const QList<Record> before = ofSource(first, source);
            const QList<Record> after = ofSource(second, source);
            QCOMPARE(after.size(), before.size());
            for (int i = 0; i < before.size(); ++i) {
                QCOMPARE(after[i].payload, before[i].payload);
                QCOMPARE(after[i].kind, before[i].kind);
                // Gaps between records keep their recorded length, within a busy machine's scheduling.
                if (i > 0) {
                    const int64_t recorded = before[i].micros - before[i - 1].micros;
                    const int64_t replayed = after[i].micros - after[i - 1].micros;
                    QVERIFY2(std::abs(replayed - recorded) < 250000,
                             qPrintable(QStringLiteral("%1 vs %2").arg(replayed).arg(recorded)));
                }
            }
        }
        // War Thunder is polled, not pushed: every document comes back, each for as many polls as it was current.
        QCOMPARE(distinctPayloads(ofSource(second, Telemetry::TELEMETRY_SOURCE_WARTHUNDER)),
                 distinctPayloads(ofSource(first, Telemetry::TELEMETRY_SOURCE_WARTHUNDER)));
        QVERIFY(ofSource(second, Telemetry::TELEMETRY_SOURCE_MSFS).isEmpty());
    }

    // X-Plane answers whoever subscribed; the replay does the same with the recorded replies, which the X-Plane
    // source then takes and records again unchanged.
    void xplaneRepliesGoToTheSubscriber() {
        QList<Record> first;
        for (int i = 0; i < 30; ++i) {
            QByteArray reply("RREF,");
            for (int index : {0, 5}) {
                const float value = float(100 + i * 3 + index);
                char pair[8];
                qToLittleEndian<qint32>(index, pair);
                qToLittleEndian<float>(value, pair + 4);
                reply.append(pair, sizeof pair);
            }
            first << record(300000 + i * 20000, Telemetry::TELEMETRY_SOURCE_XPLANE, Kind::UdpDatagram, reply);
        }
        ReplayEndpoints endpoints;
        {
            QUdpSocket probe;
            QVERIFY(probe.bind(QHostAddress(QHostAddress::LocalHost), 0));
            endpoints.xplanePort = probe.localPort();
        }
        XPlane::Endpoint where;
        where.port = endpoints.xplanePort;
        TelemetrySourceXPlane xplane(nullptr, where);

        qsizetype index = 0;
        Replayer replayer([&](Record &r) { return index < first.size() ? (r = first.at(index++), true) : false; },
                          [&] { index = 0; }, endpoints);
        QString error;
        QVERIFY2(replayer.listenForXPlane(&error), qPrintable(error));
        const QString path = dir.filePath(QStringLiteral("xplane.qrec"));
        QVERIFY2(TelemetryRecorder::instance().start(path, &error), qPrintable(error));
        QTimer poll;
        connect(&poll, &QTimer::timeout, [&] { xplane.poll(); });
        poll.start(5);
        QSignalSpy finished(&replayer, &Replayer::finished);
        replayer.start();
        QVERIFY(finished.wait(10000));
        QTest::qWait(200);
        TelemetryRecorder::instance().stop();

        // The source subscribed on its first poll, well before the first reply came due.
        QCOMPARE(replayer.recordsSent(), first.size());
        const QList<Record> second = readFile(path, &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QCOMPARE(second.size(), first.size());
        for (int i = 0; i < first.size(); ++i) {
            QCOMPARE(second[i].source, uint8_t(Telemetry::TELEMETRY_SOURCE_XPLANE));
            QCOMPARE(second[i].payload, first[i].payload);
        }
    }

    void speedAndLoop() {
        QList<Record> flight;
        for (int i = 0; i < 5; ++i)
            flight << record(i * 100000, Telemetry::TELEMETRY_SOURCE_DCS, Kind::UdpDatagram, QByteArray::number(i));
        TelemetrySourceDCS dcs(nullptr, 0);
        ReplayEndpoints endpoints;
        endpoints.dcsPort = dcs.localPort();
        qsizetype index = 0;
        int rewinds = 0;
        Replayer replayer([&](Record &r) { return index < flight.size() ? (r = flight.at(index++), true) : false; },
                          [&] {
                              index = 0;
                              ++rewinds;
                          },
                          endpoints);
        replayer.setSpeed(4);
        replayer.setLoop(true);
        QSignalSpy finished(&replayer, &Replayer::finished);
        QElapsedTimer wall;
        wall.start();
        replayer.start();
        // Three passes of 0.4 s recorded time (plus one period between passes) at four times the pace.
        QTRY_VERIFY_WITH_TIMEOUT(rewinds >= 3, 10000);
        const qint64 elapsed = wall.elapsed();
        QVERIFY2(elapsed >= 3 * 420 / 4 - 5 && elapsed < 3000, qPrintable(QString::number(elapsed)));
        QCOMPARE(finished.count(), 0);
        QVERIFY(replayer.recordsSent() >= 15);
    }

    void warthunderServerAnswersOnlyOnceADocumentIsDue() {
        const quint16 port = freeTcpPort();
        ReplayEndpoints endpoints;
        endpoints.warthunderPort = port;
        QList<Record> flight{record(300000, Telemetry::TELEMETRY_SOURCE_WARTHUNDER, Kind::HttpBody, "{\"Ny\": 3}")};
        qsizetype index = 0;
        Replayer replayer([&](Record &r) { return index < flight.size() ? (r = flight.at(index++), true) : false; },
                          [&] { index = 0; }, endpoints);
        QVERIFY(replayer.listenForWarthunder(nullptr));
        Replayer second([](Record &) { return false; }, [] {}, endpoints);
        QString error;
        QVERIFY(!second.listenForWarthunder(&error));
        QVERIFY2(error.startsWith(QStringLiteral("cannot serve War Thunder on port %1: ").arg(port)), qPrintable(error));

        TelemetrySourceWarthunder source(nullptr, QUrl(QStringLiteral("http://127.0.0.1:%1/state").arg(port)));
        QSignalSpy declared(&source, &TelemetrySource::telemetrySourceChanged);
        QList<WarthunderTelemetry> records;
        connect(&source, &TelemetrySourceWarthunder::telemetryChanged,
                [&](const WarthunderTelemetry &t) { records << t; });
        replayer.start();
        QTimer poll;
        connect(&poll, &QTimer::timeout, [&] { source.poll(); });
        poll.start(20);
        QTest::qWait(150);
        QCOMPARE(declared.count(), 0); // 503 before the document's time
        QTRY_VERIFY_WITH_TIMEOUT(!records.isEmpty(), 5000);
        QCOMPARE(records.last().gForce, 3.0f);
    }
};

QTEST_GUILESS_MAIN(TestReplayer)
#include "tst_replayer.moc"
