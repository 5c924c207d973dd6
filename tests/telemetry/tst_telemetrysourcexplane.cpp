#include "fakexplane.h"
#include "telemetrysourcexplane.h"
#include "telemetrytesting.h"
#include "udpsender.h"

#include <QSignalSpy>
#include <QtEndian>
#include <QtTest>

#include <cstring>
#include <limits>

namespace {
QByteArray pair(qint32 index, float value) {
    char bytes[8];
    qToLittleEndian(index, bytes);
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    qToLittleEndian(bits, bytes + 4);
    return QByteArray(bytes, 8);
}

// A level cruise of a Cessna: 100 kt, 2 degrees of alpha, flaps half out.
void cruise(FakeXPlane &xplane) {
    xplane.set("sim/flightmodel/position/indicated_airspeed", 100);
    xplane.set("sim/flightmodel/position/alpha", 2);
    xplane.set("sim/flightmodel/position/beta", -0.5f);
    xplane.set("sim/flightmodel/position/vh_ind", 1.5f);
    xplane.set("sim/flightmodel/position/P", 3);
    xplane.set("sim/flightmodel/forces/g_nrml", 1.25f);
    xplane.set("sim/cockpit2/engine/actuators/throttle_ratio_all", 0.75f);
    xplane.set("sim/flightmodel2/gear/deploy_ratio[0]", 1);
    xplane.set("sim/flightmodel2/controls/flap_handle_deploy_ratio", 0.5f);
    xplane.set("sim/flightmodel2/controls/speedbrake_ratio", -0.5f);
    xplane.set("sim/flightmodel/failures/onground_any", 0);
    xplane.setAircraftName("Cessna 172 SP");
}

// One source asking one fake X-Plane on loopback, both driven by hand: the fake answers only when told.
struct Session {
    explicit Session(FakeXPlane::Version version = FakeXPlane::Version::XPlane12,
                     FakeXPlane::Unknown unknown = FakeXPlane::Unknown::Zeros)
        : xplane(QHostAddress(QHostAddress::LocalHost), 0, nullptr, version, unknown),
          source(nullptr, endpointOf(xplane)) {
        xplane.setAnswering(false);
        QObject::connect(&source, &TelemetrySourceXPlane::telemetryChanged,
                         [this](const XPlaneTelemetry &record) {
                             records << record;
                             events << QStringLiteral("record %1").arg(record.gForce);
                         });
        QObject::connect(&source, &TelemetrySource::telemetrySourceChanged,
                         [this](Telemetry::Source s, const QString &name) {
                             events << QStringLiteral("declared %1 %2").arg(int(s)).arg(name);
                         });
        QObject::connect(&source, &TelemetrySource::telemetryEnded,
                         [this] { events << QStringLiteral("ended"); });
        QObject::connect(&source, &TelemetrySource::landed, [this](float verticalSpeed, float airspeed) {
            events << QStringLiteral("landed %1 %2").arg(verticalSpeed).arg(airspeed);
        });
    }

    static XPlane::Endpoint endpointOf(const FakeXPlane &xplane) {
        XPlane::Endpoint endpoint;
        endpoint.port = xplane.port();
        return endpoint;
    }

    // Polls until the fake holds every subscription.
    bool subscribe() {
        return pollUntil([this] { source.poll(); },
                         [this] {
                             return xplane.subscriptionsByIndex().size() ==
                                    XPlane::SubscriptionCount;
                         });
    }

    // The fake answers once; polls until the source has reacted with `reactions` more events.
    bool answerAndPoll(int reactions = 1) {
        const int before = int(events.size());
        xplane.answerNow();
        return pollUntil([this] { source.poll(); }, [&] { return events.size() >= before + reactions; });
    }

    // Sends a datagram to the source as X-Plane and waits for it to be read.
    void sendAsXPlane(const QByteArray &datagram) {
        QUdpSocket socket;
        // From X-Plane's address; X-Plane's own port does not matter to the source.
        socket.bind(QHostAddress(QHostAddress::LocalHost), 0);
        socket.writeDatagram(datagram, QHostAddress(QHostAddress::LocalHost), source.localPort());
    }

    QStringList take() {
        QStringList taken = events;
        events.clear();
        return taken;
    }

    FakeXPlane xplane;
    TelemetrySourceXPlane source;
    QList<XPlaneTelemetry> records;
    QStringList events;
};
} // namespace

class TestTelemetrySourceXPlane : public QObject {
    Q_OBJECT

private slots:
    void init() { ManualClock::install(); }
    void cleanup() { ManualClock::uninstall(); }

    void subscriptionsHaveTheirLayoutAndComeFromTheListeningSocket() {
        Session s;
        QVERIFY(s.xplane.isListening());
        QVERIFY(s.source.localPort() != 0);
        QVERIFY(s.subscribe());
        QCOMPARE(s.xplane.requestCount(), XPlane::SubscriptionCount);
        QCOMPARE(s.xplane.malformedRequests(), QStringList());
        const auto subscriptions = s.xplane.subscriptionsByIndex();
        for (int index = 0; index < XPlane::SubscriptionCount; ++index) {
            QCOMPARE(subscriptions.value(index).dataref, XPlane::dataref(index));
            QCOMPARE(subscriptions.value(index).frequency, 50);
        }
        QCOMPARE(subscriptions.value(0).dataref, QByteArray("sim/flightmodel/position/indicated_airspeed"));
        QCOMPARE(subscriptions.value(74).dataref, QByteArray("sim/aircraft/view/acf_ui_name[63]"));
        QCOMPARE(subscriptions.value(75).dataref, QByteArray("sim/aircraft/view/acf_descrip[0]"));
        QCOMPARE(subscriptions.value(138).dataref, QByteArray("sim/aircraft/view/acf_descrip[63]"));
        QCOMPARE(subscriptions.value(139).dataref, QByteArray("sim/aircraft2/metadata/is_helicopter"));
        QCOMPARE(subscriptions.value(141).dataref, QByteArray("sim/aircraft/weight/acf_m_max"));
        QCOMPARE(subscriptions.size(), 142);
        // X-Plane answers to where the request came from: the socket the source reads.
        QCOMPARE(s.xplane.subscriberPort(), s.source.localPort());
        QVERIFY(s.xplane.subscriberAddress().isLoopback());
        QCOMPARE(s.take(), QStringList());
    }

    // 142 requests a round: the 11 flight values, the two 64-byte names and the 3 of the aircraft class.
    void subscriptionsAreRepeatedEverySecondUntilAnswered() {
        Session s;
        s.source.poll();
        QTRY_COMPARE(s.xplane.requestCount(), XPlane::SubscriptionCount);
        ManualClock::now += 999;
        s.source.poll();
        QTest::qWait(50);
        QCOMPARE(s.xplane.requestCount(), XPlane::SubscriptionCount);
        ManualClock::now += 1;
        s.source.poll();
        QTRY_COMPARE(s.xplane.requestCount(), 2 * XPlane::SubscriptionCount);
        // Once answered, every 10 s.
        cruise(s.xplane);
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"declared 6 Cessna 172 SP"});
        const int before = s.xplane.requestCount();
        ManualClock::now += 1000;
        QVERIFY(s.answerAndPoll());
        ManualClock::now += 8999;
        QVERIFY(s.answerAndPoll());
        QTest::qWait(50);
        QCOMPARE(s.xplane.requestCount(), before);
        ManualClock::now += 1;
        QVERIFY(s.answerAndPoll());
        QTRY_COMPARE(s.xplane.requestCount(), before + XPlane::SubscriptionCount);
        QCOMPARE(s.xplane.malformedRequests(), QStringList());
    }

    void declaresOnceEveryValueAndANameAreKnown() {
        Session s;
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        s.xplane.setAircraftName(QByteArray());
        // Every value but no name yet (X-Plane still loading): nothing.
        s.xplane.answerNow();
        QTest::qWait(50);
        for (int i = 0; i < 5; ++i)
            s.source.poll();
        QCOMPARE(s.take(), QStringList());
        QVERIFY(!s.source.isActive());

        s.xplane.setAircraftName("Cessna 172 SP");
        QVERIFY(s.answerAndPoll());
        // The declaring tick only declares; the first record comes with the next replies.
        QCOMPARE(s.take(), QStringList{"declared 6 Cessna 172 SP"});
        QVERIFY(s.source.isActive());
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"record 1.25"});
        const XPlaneTelemetry &r = s.records.last();
        QCOMPARE(r.airspeed, 185.2f);
        QCOMPARE(r.aoa, 2.0f);
        QCOMPARE(r.sideslip, -0.5f);
        QCOMPARE(r.verticalSpeed, 1.5f);
        QCOMPARE(r.rollRate, 3.0f);
        QCOMPARE(r.gForce, 1.25f);
        QCOMPARE(r.propAirflow, 75.0f);
        QCOMPARE(r.gear, 100.0f);
        QCOMPARE(r.flaps, 50.0f);
        QCOMPARE(r.airbrake, 0.0f);
        QCOMPARE(r.onGround, false);
    }

    void aMissingValueHoldsTheDeclarationBack() {
        Session s;
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        // Every subscription but the speedbrake's is answered.
        QByteArray datagram("RREF,", 5);
        for (int index = 0; index < XPlane::SubscriptionCount; ++index) {
            if (index != XPlane::Speedbrake) {
                datagram += pair(index, s.xplane.value(XPlane::dataref(index)));
            }
        }
        s.sendAsXPlane(datagram);
        QTest::qWait(50);
        for (int i = 0; i < 5; ++i)
            s.source.poll();
        QCOMPARE(s.take(), QStringList());
        s.sendAsXPlane(QByteArray("RREF,", 5) + pair(XPlane::Speedbrake, 0.25f));
        QVERIFY(pollUntil([&] { s.source.poll(); }, [&] { return !s.events.isEmpty(); }));
        QCOMPARE(s.take(), QStringList{"declared 6 Cessna 172 SP"});
    }

    void repliesOfOneTickAreAppliedInArrivalOrder() {
        Session s;
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        QVERIFY(s.answerAndPoll());
        s.take();
        // Three replies, split unevenly, read in one tick: each value keeps its last reading.
        s.sendAsXPlane(QByteArray("RREF,", 5) + pair(XPlane::NormalLoad, 2) + pair(XPlane::Alpha, 5));
        s.sendAsXPlane(QByteArray("RREF,", 5) + pair(XPlane::NormalLoad, 3));
        s.sendAsXPlane(QByteArray("RREF,", 5) + pair(XPlane::Alpha, 6) + pair(XPlane::Flaps, 1));
        QTest::qWait(100);
        s.source.poll();
        QCOMPARE(s.take(), QStringList{"record 3"});
        QCOMPARE(s.records.last().aoa, 6.0f);
        QCOMPARE(s.records.last().flaps, 100.0f);
        QCOMPARE(s.records.last().getAirspeed(), 185.2f);
    }

    void aFloodIsReadSixtyFourDatagramsPerTick() {
        Session s;
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        QVERIFY(s.answerAndPoll());
        s.take();
        QUdpSocket sender;
        sender.bind(QHostAddress(QHostAddress::LocalHost), 0);
        for (int i = 1; i <= 130; ++i) {
            const QByteArray datagram = QByteArray("RREF,", 5) + pair(XPlane::NormalLoad, float(i));
            QCOMPARE(
                sender.writeDatagram(datagram, QHostAddress(QHostAddress::LocalHost), s.source.localPort()),
                qint64(datagram.size()));
        }
        QTest::qWait(200);
        s.source.poll();
        s.source.poll();
        s.source.poll();
        QCOMPARE(s.take(), (QStringList{"record 64", "record 128", "record 130"}));
    }

    void aNewAircraftIsDeclaredAgain() {
        Session s;
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        QVERIFY(s.answerAndPoll());
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), (QStringList{"declared 6 Cessna 172 SP", "record 1.25"}));

        s.xplane.setAircraftName("Boeing 737-800");
        s.xplane.set("sim/flightmodel/forces/g_nrml", 1);
        QVERIFY(s.answerAndPoll());
        // A name counts once it reads the same on two ticks: a name split over two ticks' replies is not
        // declared half-way.
        QCOMPARE(s.take(), QStringList{"record 1"});
        QVERIFY(s.answerAndPoll(2));
        QCOMPARE(s.take(), (QStringList{"declared 6 Boeing 737-800", "record 1"}));
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"record 1"});

        // A name cut short in one tick's replies is never declared.
        s.sendAsXPlane(QByteArray("RREF,", 5) + pair(XPlane::NameFirstIndex + 3, 0));
        QVERIFY(pollUntil([&] { s.source.poll(); }, [&] { return !s.events.isEmpty(); }));
        QCOMPARE(s.take(), QStringList{"record 1"});
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"record 1"});
        QVERIFY(s.source.isActive());
    }

    void touchDownIsReportedOnceBeforeItsRecord() {
        Session s;
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        QVERIFY(s.answerAndPoll());
        s.take();
        s.xplane.set("sim/flightmodel/position/vh_ind", -2.5f);
        s.xplane.set("sim/flightmodel/failures/onground_any", 1);
        QVERIFY(s.answerAndPoll(2));
        QCOMPARE(s.take(), (QStringList{"landed -2.5 185.2", "record 1.25"}));
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"record 1.25"});
        // Airborne again, then down again: a second touch-down.
        s.xplane.set("sim/flightmodel/failures/onground_any", 0);
        QVERIFY(s.answerAndPoll());
        s.xplane.set("sim/flightmodel/failures/onground_any", 1);
        s.xplane.set("sim/flightmodel/position/indicated_airspeed", 1000); // 1852 km/h, limited to 1000
        QVERIFY(s.answerAndPoll(2));
        QCOMPARE(s.take(), (QStringList{"record 1.25", "landed -2.5 1000", "record 1.25"}));
    }

    void startingOnTheGroundIsNoTouchDown() {
        Session s;
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        s.xplane.set("sim/flightmodel/failures/onground_any", 1);
        QVERIFY(s.answerAndPoll());
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), (QStringList{"declared 6 Cessna 172 SP", "record 1.25"}));
        QCOMPARE(s.records.last().onGround, true);
    }

    void silenceEndsTheTelemetryAndEverythingStartsOver() {
        Session s;
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        QVERIFY(s.answerAndPoll());
        QVERIFY(s.answerAndPoll());
        s.take();
        const int requests = s.xplane.requestCount();
        ManualClock::now += 1000;
        s.source.poll();
        QCOMPARE(s.take(), QStringList());
        ManualClock::now += 1;
        s.source.poll();
        QCOMPARE(s.take(), (QStringList{"record 0", "ended"}));
        QCOMPARE(s.records.last().getAirspeed(), 0.0f);
        QCOMPARE(s.records.last().onGround, false);
        QVERIFY(!s.source.isActive());
        // Asked again at once (X-Plane may have restarted), and declared again only once all is known anew.
        s.source.poll();
        QTRY_COMPARE(s.xplane.requestCount(), requests + XPlane::SubscriptionCount);
        s.sendAsXPlane(QByteArray("RREF,", 5) + pair(XPlane::NormalLoad, 2));
        QTest::qWait(50);
        s.source.poll();
        QCOMPARE(s.take(), QStringList());
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"declared 6 Cessna 172 SP"});
    }

    void repliesFromAnotherMachineAreIgnored() {
        Session s;
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        QByteArray datagram("RREF,", 5);
        for (int index = 0; index < XPlane::SubscriptionCount; ++index)
            datagram += pair(index, s.xplane.value(XPlane::dataref(index)));
        // 127.0.0.2 is loopback too on Linux, but it is not where X-Plane was said to be.
        QUdpSocket stranger;
        QVERIFY2(stranger.bind(QHostAddress(QStringLiteral("127.0.0.2")), 0),
                 qPrintable(stranger.errorString()));
        QCOMPARE(
            stranger.writeDatagram(datagram, QHostAddress(QHostAddress::LocalHost), s.source.localPort()),
            qint64(datagram.size()));
        QTest::qWait(100);
        for (int i = 0; i < 5; ++i)
            s.source.poll();
        QCOMPARE(s.take(), QStringList());
        // The same reply from X-Plane's address counts.
        s.sendAsXPlane(datagram);
        QVERIFY(pollUntil([&] { s.source.poll(); }, [&] { return !s.events.isEmpty(); }));
        QCOMPARE(s.take(), QStringList{"declared 6 Cessna 172 SP"});
    }

    void hostileDatagramsChangeNothingAndStallNothing() {
        Session s;
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        QVERIFY(s.answerAndPoll());
        QVERIFY(s.answerAndPoll());
        s.take();
        QList<QByteArray> hostile;
        for (quint32 seed = 1; seed <= 40; ++seed)
            hostile << randomBytes(seed, int(seed * 37 % 1500));
        hostile << QByteArray() << QByteArray("RREF") << QByteArray("DATA*") << QByteArray(60000, '\xff');
        for (const QByteArray &datagram : hostile)
            s.sendAsXPlane(datagram);
        QTest::qWait(200);
        for (int i = 0; i < 5; ++i)
            s.source.poll();
        // None of it was a reply (random bytes never start with "RREF" for these seeds), so nothing happened.
        QCOMPARE(s.take(), QStringList());
        // Replies with hostile contents: an oversized one, unknown indexes, non-finite values.
        QByteArray big("RREF,", 5);
        for (int i = 0; i < 7000; ++i)
            big += pair(i % 2 ? XPlane::SubscriptionCount + i : -1 - i, float(i));
        big += pair(XPlane::NormalLoad, 4) +
               pair(XPlane::NormalLoad, std::numeric_limits<float>::quiet_NaN()) +
               QByteArray("\x05\x00\x00", 3);
        s.sendAsXPlane(big);
        QVERIFY(pollUntil([&] { s.source.poll(); }, [&] { return !s.events.isEmpty(); }));
        QCOMPARE(s.take(), QStringList{"record 4"});
        QVERIFY(s.source.isActive());
        QCOMPARE(s.records.last().getAirspeed(), 185.2f);
        QCOMPARE(s.records.last().flaps, 50.0f);
    }

    void withNothingAnsweringPollingStaysQuiet() {
        XPlane::Endpoint nobody;
        nobody.port = UdpSender::freePort();
        TelemetrySourceXPlane source(nullptr, nobody);
        QSignalSpy declared(&source, &TelemetrySource::telemetrySourceChanged);
        QSignalSpy records(&source, &TelemetrySourceXPlane::telemetryChanged);
        QSignalSpy ended(&source, &TelemetrySource::telemetryEnded);
        // Refused subscriptions (ICMP port unreachable on loopback) must not upset the socket.
        for (int i = 0; i < 30; ++i) {
            source.poll();
            QCoreApplication::processEvents();
            QThread::msleep(5);
            ManualClock::now += 500;
        }
        QCOMPARE(declared.count(), 0);
        QCOMPARE(records.count(), 0);
        QCOMPARE(ended.count(), 0);
        QVERIFY(!source.isActive());
    }

    // --- the aircraft's name on X-Plane 11 and 12 ---

    void xplane11AnsweringUnknownDatarefsWithZerosIsNamedByItsDescription() {
        Session s(FakeXPlane::Version::XPlane11, FakeXPlane::Unknown::Zeros);
        QVERIFY(s.subscribe());
        cruise(s.xplane); // sets acf_ui_name too, which X-Plane 11 does not know: it answers zeros
        s.xplane.setAircraftDescription("Cessna 172SP Skyhawk");
        // Every byte of both names arrives at once, so there is nothing to wait for.
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"declared 6 Cessna 172SP Skyhawk"});
    }

    void xplane11IgnoringUnknownDatarefsIsNamedByItsDescriptionAfterHalfASecond() {
        Session s(FakeXPlane::Version::XPlane11, FakeXPlane::Unknown::Silence);
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        s.xplane.setAircraftDescription("Cessna 172SP Skyhawk");
        s.xplane.answerNow();
        QTest::qWait(50);
        s.source.poll();
        QCOMPARE(s.take(), QStringList());
        // 499 ms after the first reply acf_ui_name is still waited for, with replies coming all along.
        for (int step = 0; step < 499; step += 20) {
            ManualClock::now += step + 20 > 499 ? 499 - step : 20;
            s.xplane.answerNow();
            QTest::qWait(5);
            s.source.poll();
        }
        QTest::qWait(50);
        s.source.poll();
        QCOMPARE(s.take(), QStringList());
        QVERIFY(!s.source.isActive());
        ManualClock::now += 1;
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"declared 6 Cessna 172SP Skyhawk"});
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"record 1.25"});
    }

    void xplane12IsNamedByItsUiNameAtOnce() {
        Session s(FakeXPlane::Version::XPlane12, FakeXPlane::Unknown::Silence);
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        s.xplane.setAircraftDescription("Cessna 172SP Skyhawk");
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"declared 6 Cessna 172 SP"});
    }

    void theDescriptionIsAlwaysWaitedFor() {
        Session s(FakeXPlane::Version::XPlane12);
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        // Everything but the description's last byte.
        const int descriptionLastByte = XPlane::DescripFirstIndex + XPlane::NameLength - 1;
        QByteArray datagram("RREF,", 5);
        for (int index = 0; index < XPlane::SubscriptionCount; ++index)
            if (index != descriptionLastByte)
                datagram += pair(index, s.xplane.value(XPlane::dataref(index)));
        s.sendAsXPlane(datagram);
        QTest::qWait(50);
        s.source.poll();
        ManualClock::now += 600;
        s.sendAsXPlane(datagram);
        QTest::qWait(50);
        s.source.poll();
        QCOMPARE(s.take(), QStringList());
        s.sendAsXPlane(QByteArray("RREF,", 5) + pair(descriptionLastByte, 0));
        QVERIFY(pollUntil([&] { s.source.poll(); }, [&] { return !s.events.isEmpty(); }));
        QCOMPARE(s.take(), QStringList{"declared 6 Cessna 172 SP"});
    }

    void withBothNamesEmptyNothingIsDeclared() {
        Session s(FakeXPlane::Version::XPlane11, FakeXPlane::Unknown::Silence);
        QVERIFY(s.subscribe());
        cruise(s.xplane);
        for (int i = 0; i < 10; ++i) {
            s.xplane.answerNow();
            QTest::qWait(10);
            s.source.poll();
            ManualClock::now += 100;
        }
        QCOMPARE(s.take(), QStringList());
        QVERIFY(!s.source.isActive());
    }

    // --- unsubscribing ---

    void stopTellsXPlaneToForgetEveryIndexFromTheSubscribingSocket() {
        Session s;
        s.xplane.setAnswering(true); // by itself, at the subscribed rate
        cruise(s.xplane);
        QVERIFY(s.subscribe());
        QVERIFY(pollUntil([&] { s.source.poll(); }, [&] { return s.source.isActive(); }));
        const int requests = s.xplane.requestCount();
        s.source.stop();
        QTRY_COMPARE(s.xplane.requestCount(), requests + XPlane::SubscriptionCount);
        QCOMPARE(s.xplane.subscribers().size(), 1);
        const FakeXPlane::Subscriber subscriber = s.xplane.subscribers().first();
        QCOMPARE(subscriber.port, s.source.localPort());
        QCOMPARE(subscriber.subscriptions.size(), 0);
        QCOMPARE(subscriber.unsubscribed.size(), XPlane::SubscriptionCount);
        QCOMPARE(s.xplane.malformedRequests(), QStringList());
        // Nothing comes any more, and polling asks for nothing again.
        QTest::qWait(100);
        const int replies = s.xplane.repliesSent();
        for (int i = 0; i < 10; ++i) {
            ManualClock::now += 2000;
            s.source.poll();
            QTest::qWait(20);
        }
        QCOMPARE(s.xplane.repliesSent(), replies);
        QCOMPARE(s.xplane.requestCount(), requests + XPlane::SubscriptionCount);
    }

    void destroyingTheSourceUnsubscribes() {
        FakeXPlane xplane;
        cruise(xplane);
        quint16 port = 0;
        {
            TelemetrySourceXPlane source(nullptr, Session::endpointOf(xplane));
            port = source.localPort();
            source.poll();
            QTRY_COMPARE(xplane.subscriptionsByIndex().size(), XPlane::SubscriptionCount);
        }
        QTRY_COMPARE(xplane.subscriptionsByIndex().size(), 0);
        QCOMPARE(xplane.subscribers().size(), 1);
        QCOMPARE(xplane.subscribers().first().port, port);
        QCOMPARE(xplane.subscribers().first().unsubscribed.size(), XPlane::SubscriptionCount);
    }

    void aNewEndpointUnsubscribesTheOldOne() {
        Session s;
        cruise(s.xplane);
        QVERIFY(s.subscribe());
        QVERIFY(s.answerAndPoll());
        QCOMPARE(s.take(), QStringList{"declared 6 Cessna 172 SP"});
        FakeXPlane other;
        cruise(other);
        other.setAircraftName("Boeing 737-800");
        other.setAnswering(false);
        s.source.setEndpoint(Session::endpointOf(other));
        // What was active ends; the old X-Plane forgets us, the new one is asked.
        QCOMPARE(s.take(), (QStringList{"record 0", "ended"}));
        QTRY_COMPARE(s.xplane.subscriptionsByIndex().size(), 0);
        QCOMPARE(s.xplane.subscribers().first().unsubscribed.size(), XPlane::SubscriptionCount);
        QVERIFY(pollUntil([&] { s.source.poll(); },
                          [&] { return other.subscriptionsByIndex().size() == XPlane::SubscriptionCount; }));
        QCOMPARE(other.subscriberPort(), s.source.localPort());
        other.answerNow();
        QVERIFY(pollUntil([&] { s.source.poll(); }, [&] { return !s.events.isEmpty(); }));
        QCOMPARE(s.take(), QStringList{"declared 6 Boeing 737-800"});
    }

    void theFakeAnswersEverySubscriberOnItsOwn() {
        FakeXPlane xplane;
        cruise(xplane);
        xplane.setAnswering(false);
        TelemetrySourceXPlane first(nullptr, Session::endpointOf(xplane));
        TelemetrySourceXPlane second(nullptr, Session::endpointOf(xplane));
        QSignalSpy firstDeclared(&first, &TelemetrySource::telemetrySourceChanged);
        QSignalSpy secondDeclared(&second, &TelemetrySource::telemetrySourceChanged);
        // Each source asks again every second until answered. The fake reads the first one's requests before
        // the second one asks: two bursts at once may overflow its receive buffer.
        QVERIFY(pollUntil(
            [&] {
                ManualClock::now += 100;
                first.poll();
                QTest::qWait(5);
                second.poll();
            },
            [&] {
                const QList<FakeXPlane::Subscriber> senders = xplane.subscribers();
                return senders.size() == 2 && senders[0].subscriptions.size() == XPlane::SubscriptionCount &&
                       senders[1].subscriptions.size() == XPlane::SubscriptionCount;
            }));
        xplane.answerNow();
        QVERIFY(pollUntil(
            [&] {
                first.poll();
                second.poll();
            },
            [&] { return firstDeclared.count() == 1 && secondDeclared.count() == 1; }));
        first.stop();
        QTRY_COMPARE(xplane.subscribers().at(0).subscriptions.size() +
                         xplane.subscribers().at(1).subscriptions.size(),
                     qsizetype(XPlane::SubscriptionCount));
    }

    void theFakeAnswersAtTheRequestedRate() {
        ManualClock::uninstall(); // real time: the source asks, the fake answers by itself
        FakeXPlane xplane;
        cruise(xplane);
        TelemetrySourceXPlane source(nullptr, Session::endpointOf(xplane));
        QSignalSpy declared(&source, &TelemetrySource::telemetrySourceChanged);
        QSignalSpy records(&source, &TelemetrySourceXPlane::telemetryChanged);
        QTimer tick;
        connect(&tick, &QTimer::timeout, &source, &TelemetrySourceXPlane::poll);
        tick.start(20);
        QTRY_COMPARE_WITH_TIMEOUT(declared.count(), 1, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(records.count() >= 10, 10000);
        QCOMPARE(declared[0][0].value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_XPLANE);
        QCOMPARE(declared[0][1].toString(), QStringLiteral("Cessna 172 SP"));
        QCOMPARE(records.last()[0].value<XPlaneTelemetry>().getAirspeed(), 185.2f);
        // 50 replies a second, each of every value in one datagram.
        QVERIFY(xplane.repliesSent() >= 10);
    }
};

QTEST_GUILESS_MAIN(TestTelemetrySourceXPlane)
#include "tst_telemetrysourcexplane.moc"
