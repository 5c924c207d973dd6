#include "replayer.h"
#include "telemetry.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QNetworkDatagram>
#include <QUdpSocket>
#include <QtTest>
#include <algorithm>

using TelemetryRecording::Kind;
using TelemetryRecording::Record;

// Ten minutes of a 50 Hz simulator at twenty times the pace: half a minute in which the replay must neither
// fall behind nor run ahead. Due times come from one clock, so the lateness of single timer wake-ups must not
// add up over 30 000 records.
class TestReplayDrift : public QObject {
    Q_OBJECT

private slots:
    void tenMinutesAtTwentyTimesDoNotDrift() {
        constexpr int Records = 30000;     // 600 s at 20 ms
        constexpr int64_t PeriodUs = 20000;
        constexpr double Speed = 20.0;
        QUdpSocket receiver;
        QVERIFY(receiver.bind(QHostAddress(QHostAddress::LocalHost), 0));
        receiver.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 4 * 1024 * 1024);
        ReplayEndpoints endpoints;
        endpoints.condor2Port = receiver.localPort();

        QElapsedTimer wall;
        QList<qint64> latenessUs; // arrival minus due time, per record, in the order they arrive
        int received = 0;
        connect(&receiver, &QUdpSocket::readyRead, [&] {
            while (receiver.hasPendingDatagrams()) {
                const QNetworkDatagram datagram = receiver.receiveDatagram();
                const int index = datagram.data().toInt();
                const qint64 due = qint64(double(index * PeriodUs) / Speed);
                latenessUs << wall.nsecsElapsed() / 1000 - due;
                ++received;
            }
        });
        int index = 0;
        Replayer replayer(
            [&](Record &r) {
                if (index >= Records)
                    return false;
                r.micros = 7000000 + index * PeriodUs; // started 7 s before the simulator
                r.source = uint8_t(Telemetry::TELEMETRY_SOURCE_CONDOR);
                r.kind = Kind::UdpDatagram;
                r.payload = QByteArray::number(index++);
                return true;
            },
            [&] { index = 0; }, endpoints);
        replayer.setSpeed(Speed);
        QSignalSpy finished(&replayer, &Replayer::finished);
        wall.start();
        replayer.start();
        QVERIFY(finished.wait(120000));
        const qint64 playedUs = wall.nsecsElapsed() / 1000;
        QTRY_COMPARE(received, Records);

        // The last record is due at 599.98 s / 20 = 29.999 s.
        const qint64 lastDue = qint64(double((Records - 1) * PeriodUs) / Speed);
        QVERIFY2(playedUs >= lastDue - 1000 && playedUs < lastDue + 250000, qPrintable(QString::number(playedUs)));
        // Never early; and the last minute of records (the last 3000) no later than the first minute's: the
        // typical lateness stays what one wake-up costs.
        QVERIFY2(*std::min_element(latenessUs.cbegin(), latenessUs.cend()) >= -1000,
                 qPrintable(QString::number(*std::min_element(latenessUs.cbegin(), latenessUs.cend()))));
        const auto median = [](QList<qint64> values) {
            std::sort(values.begin(), values.end());
            return values.at(values.size() / 2);
        };
        const qint64 early = median(latenessUs.mid(0, 3000));
        const qint64 late = median(latenessUs.mid(Records - 3000));
        qInfo("played %lld us (last record due at %lld us); median lateness %lld us over the first 3000 records, "
              "%lld us over the last 3000",
              qlonglong(playedUs), qlonglong(lastDue), qlonglong(early), qlonglong(late));
        QVERIFY2(late < 5000 && late < early + 3000,
                 qPrintable(QStringLiteral("median lateness %1 us at the start, %2 us at the end").arg(early).arg(late)));
    }
};

QTEST_GUILESS_MAIN(TestReplayDrift)
#include "tst_replaydrift.moc"
