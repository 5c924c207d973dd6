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
#include <QNetworkDatagram>
#include <QUdpSocket>
#include <QtEndian>
#include <QtTest>
#include <algorithm>

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
        // The recorded timing, from the first record (at 30 ms) to the last (at 1.2 s): never shorter, and
        // late by no more than one busy moment, since due times are counted from one clock.
        QVERIFY2(playedMs >= 1170 - 1 && playedMs < 1170 + 150, qPrintable(QString::number(playedMs)));

        const QList<Record> second = readFile(path, &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        for (Telemetry::Source source : {Telemetry::TELEMETRY_SOURCE_DCS, Telemetry::TELEMETRY_SOURCE_IL2,
                                         Telemetry::TELEMETRY_SOURCE_CONDOR}) {
            const QList<Record> before = ofSource(first, source);
            const QList<Record> after = ofSource(second, source);
            QCOMPARE(after.size(), before.size());
            QList<int64_t> gapErrors;
            for (int i = 0; i < before.size(); ++i) {
                QCOMPARE(after[i].payload, before[i].payload);
                QCOMPARE(after[i].kind, before[i].kind);
                // No record arrives before its time counted from the first (the 2 ms poll that picks it up
                // and the millisecond the replay's timer rounds to are the only slack) ...
                const int64_t recordedOffset = before[i].micros - before[0].micros;
                const int64_t replayedOffset = after[i].micros - after[0].micros;
                QVERIFY2(replayedOffset >= recordedOffset - 3000,
                         qPrintable(QStringLiteral("record %1 at %2 us, due at %3 us")
                                        .arg(i)
                                        .arg(replayedOffset)
                                        .arg(recordedOffset)));
                if (i > 0)
                    gapErrors << std::abs((after[i].micros - after[i - 1].micros) -
                                          (before[i].micros - before[i - 1].micros));
            }
            // ... and the gaps (3 to 25 ms) keep their length: the typical one within the poll period and
            // the timer's millisecond, whatever a busy machine does to a few of them.
            std::sort(gapErrors.begin(), gapErrors.end());
            QVERIFY2(gapErrors.at(gapErrors.size() / 2) <= 4000,
                     qPrintable(QStringLiteral("median gap error %1 us").arg(gapErrors.at(gapErrors.size() / 2))));
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
        // Playing starts at the first record; a SimConnect block (never sent) at 0 keeps the first reply
        // 300 ms after the start, when the source has long subscribed.
        first.prepend(record(0, Telemetry::TELEMETRY_SOURCE_MSFS, Kind::MsfsDataBlock, "m"));
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
        QCOMPARE(replayer.recordsSent(), first.size() - 1);
        QCOMPARE(replayer.simConnectBlocksSkipped(), 1);
        const QList<Record> second = readFile(path, &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QCOMPARE(second.size(), first.size() - 1);
        for (int i = 0; i < second.size(); ++i) {
            QCOMPARE(second[i].source, uint8_t(Telemetry::TELEMETRY_SOURCE_XPLANE));
            QCOMPARE(second[i].payload, first[i + 1].payload);
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
        QElapsedTimer wall;
        QList<qint64> rewoundAtUs;
        Replayer replayer([&](Record &r) { return index < flight.size() ? (r = flight.at(index++), true) : false; },
                          [&] {
                              index = 0;
                              rewoundAtUs << wall.nsecsElapsed() / 1000;
                          },
                          endpoints);
        replayer.setSpeed(4);
        replayer.setLoop(true);
        QSignalSpy finished(&replayer, &Replayer::finished);
        wall.start();
        replayer.start();
        QTRY_VERIFY_WITH_TIMEOUT(rewoundAtUs.size() >= 3, 10000);
        // A pass is 0.4 s of records and one 20 ms period before the next, at four times the pace: 105 ms.
        // The k-th rewind follows the last record of pass k, at (k - 1) * 105 + 100 ms. Never early; late by
        // no more than one busy moment, since the passes are counted from one clock and lateness does not add up.
        for (int k = 1; k <= 3; ++k) {
            const qint64 due = (k - 1) * 105000 + 100000;
            const qint64 at = rewoundAtUs.at(k - 1);
            QVERIFY2(at >= due - 1000 && at < due + 150000,
                     qPrintable(QStringLiteral("rewind %1 at %2 us, due at %3 us").arg(k).arg(at).arg(due)));
        }
        QCOMPARE(finished.count(), 0);
        QVERIFY(replayer.recordsSent() >= 15);
    }

    // A fractional factor plays at exactly that pace: records 100 ms apart come 40 ms apart at 2.5.
    void fractionalSpeed() {
        QList<Record> flight;
        for (int i = 0; i <= 10; ++i)
            flight << record(i * 100000, Telemetry::TELEMETRY_SOURCE_CONDOR, Kind::UdpDatagram, QByteArray::number(i));
        QUdpSocket receiver;
        QVERIFY(receiver.bind(QHostAddress(QHostAddress::LocalHost), 0));
        ReplayEndpoints endpoints;
        endpoints.condor2Port = receiver.localPort();
        QElapsedTimer wall;
        QList<qint64> arrivedUs;
        connect(&receiver, &QUdpSocket::readyRead, [&] {
            while (receiver.hasPendingDatagrams()) {
                receiver.receiveDatagram();
                arrivedUs << wall.nsecsElapsed() / 1000;
            }
        });
        qsizetype index = 0;
        Replayer replayer([&](Record &r) { return index < flight.size() ? (r = flight.at(index++), true) : false; },
                          [&] { index = 0; }, endpoints);
        replayer.setSpeed(2.5);
        QSignalSpy finished(&replayer, &Replayer::finished);
        wall.start();
        replayer.start();
        QVERIFY(finished.wait(5000));
        const qint64 finishedUs = wall.nsecsElapsed() / 1000;
        QTRY_COMPARE(arrivedUs.size(), flight.size());
        // Never early (at 3 they would be); typically late by no more than a wake-up (at 2 the tenth would
        // be 100 ms late, and the median 50 ms).
        QList<qint64> lateness;
        for (int i = 0; i < arrivedUs.size(); ++i) {
            QVERIFY2(arrivedUs.at(i) >= i * 40000 - 1000,
                     qPrintable(QStringLiteral("record %1 at %2 us").arg(i).arg(arrivedUs.at(i))));
            lateness << arrivedUs.at(i) - i * 40000;
        }
        std::sort(lateness.begin(), lateness.end());
        QVERIFY2(lateness.at(lateness.size() / 2) < 20000,
                 qPrintable(QStringLiteral("median lateness %1 us").arg(lateness.at(lateness.size() / 2))));
        // The last record is due at 400 ms.
        QVERIFY2(finishedUs >= 400000 - 1000 && finishedUs < 400000 + 150000, qPrintable(QString::number(finishedUs)));
    }

    // A recording started long before the simulator: each pass starts at its first record.
    void leadingSilenceIsSkippedOnEveryPass() {
        QList<Record> flight;
        for (int i = 0; i < 3; ++i)
            flight << record(5000000 + i * 50000, Telemetry::TELEMETRY_SOURCE_CONDOR, Kind::UdpDatagram,
                             QByteArray::number(i));
        QUdpSocket receiver;
        QVERIFY(receiver.bind(QHostAddress(QHostAddress::LocalHost), 0));
        ReplayEndpoints endpoints;
        endpoints.condor2Port = receiver.localPort();
        QElapsedTimer wall;
        QList<qint64> arrivedUs;
        connect(&receiver, &QUdpSocket::readyRead, [&] {
            while (receiver.hasPendingDatagrams()) {
                receiver.receiveDatagram();
                arrivedUs << wall.nsecsElapsed() / 1000;
            }
        });
        qsizetype index = 0;
        Replayer replayer([&](Record &r) { return index < flight.size() ? (r = flight.at(index++), true) : false; },
                          [&] { index = 0; }, endpoints);
        replayer.setLoop(true);
        wall.start();
        replayer.start();
        QTRY_VERIFY_WITH_TIMEOUT(arrivedUs.size() >= 6, 3000);
        // Pass one at once, pass two one period after pass one's last record (100 + 20 ms), not 5 s later.
        QVERIFY2(arrivedUs.at(0) < 1000000, qPrintable(QString::number(arrivedUs.at(0))));
        QVERIFY2(arrivedUs.at(3) >= 120000 - 1000 && arrivedUs.at(3) < 120000 + 150000,
                 qPrintable(QString::number(arrivedUs.at(3))));
    }

    // With nothing to send, finished() still comes, from the event loop after start() returned: a caller
    // that connects quit() to it and then runs its loop ends.
    void anEmptyRecordingFinishesFromTheEventLoop() {
        for (bool loop : {false, true}) {
            Replayer replayer([](Record &) { return false; }, [] {});
            replayer.setLoop(loop);
            QSignalSpy finished(&replayer, &Replayer::finished);
            replayer.start();
            QCOMPARE(finished.count(), 0);
            QVERIFY(finished.wait(1000));
            QCOMPARE(replayer.recordsSent(), 0);
        }
    }

    // X-Plane's port is taken exclusively: a program already on it, even one that allows sharing, is noticed.
    void xplanePortIsTakenExclusively() {
        QUdpSocket other;
        QVERIFY(other.bind(QHostAddress(QHostAddress::LocalHost), 0,
                           QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint));
        ReplayEndpoints endpoints;
        endpoints.xplanePort = other.localPort();
        Replayer replayer([](Record &) { return false; }, [] {}, endpoints);
        QString error;
        QVERIFY(!replayer.listenForXPlane(&error));
        QVERIFY2(error.startsWith(QStringLiteral("cannot stand in for X-Plane on UDP port %1: ").arg(other.localPort())),
                 qPrintable(error));
        // And a second replay cannot share it with the first.
        other.close();
        Replayer first([](Record &) { return false; }, [] {}, endpoints);
        QVERIFY2(first.listenForXPlane(&error), qPrintable(error));
        Replayer second([](Record &) { return false; }, [] {}, endpoints);
        QVERIFY(!second.listenForXPlane(&error));
    }

    void warthunderServerAnswersOnlyOnceADocumentIsDue() {
        const quint16 port = freeTcpPort();
        ReplayEndpoints endpoints;
        endpoints.warthunderPort = port;
        // The recording's first record (a SimConnect block, never sent) sets when playing starts.
        QList<Record> flight{record(0, Telemetry::TELEMETRY_SOURCE_MSFS, Kind::MsfsDataBlock, "m"),
                             record(300000, Telemetry::TELEMETRY_SOURCE_WARTHUNDER, Kind::HttpBody, "{\"Ny\": 3}")};
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
