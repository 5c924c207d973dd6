#include "fakesimconnect.h"
#include "simconnectseam.h"
#ifdef QUILLAR_MSFS_OVER_NETWORK
#include "fakesimconnectovernetwork.h"
#endif
#include "sourcerecords.h"
#include "telemetrysourcemsfs.h"

#include <QSignalSpy>
#include <QtTest>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#ifdef QUILLAR_MSFS_OVER_NETWORK
// Built a second time with our network client and a SimConnect server on loopback behind the seam.
using SimConnectDouble = FakeSimConnectOverNetwork;
#else
using SimConnectDouble = FakeSimConnect;
#endif

namespace {
// The data block as SimConnect lays out our definition: eighteen little-endian doubles, then the title.
namespace Offset {
constexpr int OnGround = 0;
constexpr int FlapsLeft = 8;
constexpr int FlapsRight = 16;
constexpr int AileronTrim = 24;
constexpr int ElevatorTrim = 32;
constexpr int RudderTrim = 40;
constexpr int GForce = 48;
constexpr int IncidenceAlpha = 56;
constexpr int AirspeedIndicated = 64;
constexpr int GearCenter = 72;
constexpr int GearLeft = 80;
constexpr int GearRight = 88;
constexpr int NumberOfEngines = 96;
constexpr int PropMaxRpm1 = 104;
constexpr int PropMaxRpm2 = 112;
constexpr int PropMaxRpm3 = 120;
constexpr int PropMaxRpm4 = 128;
constexpr int VerticalSpeed = 136;
constexpr int Title = 144;
} // namespace Offset
constexpr int BlockSize = 400;

class Block {
public:
    Block() : bytes(BlockSize, '\0') {}

    Block &set(int offset, double value) {
        uint64_t bits;
        std::memcpy(&bits, &value, sizeof(bits));
        for (int i = 0; i < 8; ++i)
            bytes[offset + i] = char((bits >> (8 * i)) & 0xFF);
        return *this;
    }
    // Copies the text as it stands: without a zero of its own it runs up to the end of the block.
    Block &title(const QByteArray &text) {
        std::memset(bytes.data() + Offset::Title, 0, BlockSize - Offset::Title);
        std::memcpy(bytes.data() + Offset::Title, text.constData(),
                    size_t(qMin<qsizetype>(text.size(), BlockSize - Offset::Title)));
        return *this;
    }
    QByteArray data() const { return bytes; }

private:
    QByteArray bytes;
};

MSFSTelemetry recordAt(const QSignalSpy &spy, qsizetype index) {
    return qvariant_cast<MSFSTelemetry>(spy.at(index).at(0));
}

void verifyAllZero(const MSFSTelemetry &t) {
    const MSFSTelemetry zero;
    QCOMPARE(std::memcmp(&t, &zero, sizeof(MSFSTelemetry)), 0);
}
} // namespace

class TestTelemetrySourceMSFS : public QObject {
    Q_OBJECT

    // One source over a fresh fake, with spies on all four signals and the order in which they fired.
    struct Rig {
        SimConnectDouble fake;
        std::unique_ptr<TelemetrySourceMSFS> source;
        std::unique_ptr<QSignalSpy> changed, declared, ended, landed;
        QStringList order;

        Rig() {
            source = std::make_unique<TelemetrySourceMSFS>(fake.createSeam());
            changed = std::make_unique<QSignalSpy>(source.get(), &TelemetrySourceMSFS::telemetryChanged);
            declared = std::make_unique<QSignalSpy>(source.get(), &TelemetrySource::telemetrySourceChanged);
            ended = std::make_unique<QSignalSpy>(source.get(), &TelemetrySource::telemetryEnded);
            landed = std::make_unique<QSignalSpy>(source.get(), &TelemetrySource::landed);
            QObject::connect(source.get(), &TelemetrySourceMSFS::telemetryChanged, source.get(),
                             [this] { order << QStringLiteral("telemetryChanged"); });
            QObject::connect(source.get(), &TelemetrySource::telemetrySourceChanged, source.get(),
                             [this] { order << QStringLiteral("telemetrySourceChanged"); });
            QObject::connect(source.get(), &TelemetrySource::telemetryEnded, source.get(),
                             [this] { order << QStringLiteral("telemetryEnded"); });
            QObject::connect(source.get(), &TelemetrySource::landed, source.get(),
                             [this] { order << QStringLiteral("landed"); });
        }
        ~Rig() {
            changed.reset();
            declared.reset();
            ended.reset();
            landed.reset();
            source.reset(); // before the fake it runs on
        }
        int signalCount() const {
            return int(changed->count() + declared->count() + ended->count() + landed->count());
        }
        // Connects and takes the declaring message, so the next data message is decoded.
        void declare(const QByteArray &title = "Test Aircraft") {
            fake.queueData(0, Block().title(title).data());
            source->poll();
        }
        MSFSTelemetry feed(const Block &block) {
            fake.queueData(0, block.data());
            source->poll();
            return changed->isEmpty() ? MSFSTelemetry() : recordAt(*changed, changed->count() - 1);
        }
    };

private slots:
    void opensWithTheClientNameAndBuildsTheDefinitionInOrder() {
        Rig rig;
        rig.source->poll();
        QCOMPARE(rig.fake.openCalls, 1);
        QCOMPARE(rig.fake.lastClientName, QByteArray("Vortane"));

        QStringList expectedJournal{QStringLiteral("Open")};
        for (int i = 0; i < 22; ++i)
            expectedJournal << QStringLiteral("AddToDataDefinition");
        expectedJournal << QStringLiteral("RequestDataOnSimObjectType")
                        << QStringLiteral("SubscribeToSystemEvent")
                        << QStringLiteral("SubscribeToSystemEvent") << QStringLiteral("GetNextDispatch");
        QCOMPARE(rig.fake.journal, expectedJournal);

        struct Expected {
            const char *name;
            const char *units;
        };
        const Expected expected[] = {
            {"SIM ON GROUND", "Bool"},
            {"TRAILING EDGE FLAPS LEFT PERCENT", "percent over 100"},
            {"TRAILING EDGE FLAPS RIGHT PERCENT", "percent over 100"},
            {"AILERON TRIM PCT", "percent over 100"},
            {"ELEVATOR TRIM PCT", "percent over 100"},
            {"RUDDER TRIM PCT", "percent over 100"},
            {"G FORCE", "GForce"},
            {"INCIDENCE ALPHA", "degree"},
            {"AIRSPEED INDICATED", "kilometer per hour"},
            {"GEAR CENTER POSITION", "percent over 100"},
            {"GEAR LEFT POSITION", "percent over 100"},
            {"GEAR RIGHT POSITION", "percent over 100"},
            {"NUMBER OF ENGINES", "Number"},
            {"PROP MAX RPM PERCENT:1", "percent"},
            {"PROP MAX RPM PERCENT:2", "percent"},
            {"PROP MAX RPM PERCENT:3", "percent"},
            {"PROP MAX RPM PERCENT:4", "percent"},
            {"VERTICAL SPEED", "m/s"},
            {"TITLE", nullptr},
            // Appended after the list above for the aircraft-class suggestion.
            {"CATEGORY", nullptr},
            {"ENGINE TYPE", "Enum"},
            {"ATC HEAVY", "Bool"},
        };
        QCOMPARE(rig.fake.definitions.size(), size_t(22));
        for (size_t i = 0; i < 22; ++i) {
            const SimConnectDouble::DefinitionCall &call = rig.fake.definitions[i];
            QCOMPARE(call.definitionId, uint32_t(0));
            QCOMPARE(call.datumName, QByteArray(expected[i].name));
            if (expected[i].units) {
                QCOMPARE(call.unitsName, QByteArray(expected[i].units));
                QCOMPARE(call.datumType, SimConnectSeam::DATATYPE_FLOAT64);
            } else {
                QVERIFY(call.unitsName.isNull());
                QCOMPARE(call.datumType, SimConnectSeam::DATATYPE_STRING256);
            }
            QCOMPARE(call.epsilon, 0.0f);
            QCOMPARE(call.datumId, uint32_t(0xFFFFFFFFu));
        }
        QCOMPARE(int(SimConnectSeam::DATATYPE_FLOAT64), 4);
        QCOMPARE(int(SimConnectSeam::DATATYPE_STRING256), 9);
    }

    void requestsTheUserAircraftAndSubscribesStartAndStop() {
        Rig rig;
        rig.source->poll();
        QCOMPARE(rig.fake.requests.size(), size_t(1));
        QCOMPARE(rig.fake.requests[0].requestId, uint32_t(0));
        QCOMPARE(rig.fake.requests[0].definitionId, uint32_t(0));
        QCOMPARE(rig.fake.requests[0].radiusMeters, uint32_t(0));
        QCOMPARE(rig.fake.requests[0].objectType, uint32_t(0));
        QCOMPARE(rig.fake.subscriptions.size(), size_t(2));
        QCOMPARE(rig.fake.subscriptions[0].eventId, uint32_t(0));
        QCOMPARE(rig.fake.subscriptions[0].systemEventName, QByteArray("SimStart"));
        QCOMPARE(rig.fake.subscriptions[1].eventId, uint32_t(1));
        QCOMPARE(rig.fake.subscriptions[1].systemEventName, QByteArray("SimStop"));

        // Connected: later polls only fetch messages.
        rig.source->poll();
        rig.source->poll();
        QCOMPARE(rig.fake.openCalls, 1);
        QCOMPARE(rig.fake.definitions.size(), size_t(22));
        QCOMPARE(rig.fake.requests.size(), size_t(1));
        QCOMPARE(rig.fake.subscriptions.size(), size_t(2));
        QCOMPARE(rig.fake.dispatchCalls, 3);
        QCOMPARE(rig.signalCount(), 0);
    }

#ifndef QUILLAR_MSFS_OVER_NETWORK // the network client never fails an open (it connects by itself)
    void aFailedOpenIsRetriedOnEveryPoll() {
        Rig rig;
        rig.fake.setOpenSucceeds(false);
        rig.fake.queueData(0, Block().title("Waiting").data());
        for (int i = 0; i < 3; ++i)
            rig.source->poll();
        QCOMPARE(rig.fake.openCalls, 3);
        QCOMPARE(rig.fake.journal, QStringList({"Open", "Open", "Open"}));
        QCOMPARE(rig.fake.pendingMessages(), 1);
        QCOMPARE(rig.signalCount(), 0);

        rig.fake.setOpenSucceeds(true);
        rig.source->poll();
        QCOMPARE(rig.fake.openCalls, 4);
        QCOMPARE(rig.fake.definitions.size(), size_t(22));
        QCOMPARE(rig.declared->count(), 1);
    }
#endif

    void theFirstDataMessageOnlyDeclares() {
        Rig rig;
        const Block block = Block()
                                .set(Offset::AirspeedIndicated, 300.0)
                                .set(Offset::VerticalSpeed, 5.0)
                                .set(Offset::OnGround, 1.0)
                                .title("Cessna Skyhawk G1000");
        rig.fake.queueData(0, block.data());
        rig.source->poll();

        QCOMPARE(rig.declared->count(), 1);
        QCOMPARE(rig.declared->at(0).at(0).value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_MSFS);
        QCOMPARE(rig.declared->at(0).at(1).toString(), QStringLiteral("Cessna Skyhawk G1000"));
        QCOMPARE(rig.changed->count(), 0);
        QCOMPARE(rig.landed->count(), 0);
        QVERIFY(rig.source->isActive());
        QCOMPARE(rig.fake.requests.size(), size_t(2)); // the next message is asked for at once

        // The same values again are now decoded, and the source does not declare itself twice.
        const MSFSTelemetry t = rig.feed(block);
        QCOMPARE(rig.declared->count(), 1);
        QCOMPARE(rig.changed->count(), 1);
        QCOMPARE(t.getAirspeed(), 300.0f);
        QCOMPARE(t.verticalSpeed, 5.0f);
        QCOMPARE(t.onGround, true);
        QCOMPARE(rig.fake.requests.size(), size_t(3));
        QCOMPARE(rig.fake.requests[2].requestId, uint32_t(0));
    }

    void decodesTheBlockAtItsOffsets() {
        Rig rig;
        rig.declare();
        const Block block = Block()
                                .set(Offset::OnGround, 0.0)
                                .set(Offset::FlapsLeft, 0.25)
                                .set(Offset::FlapsRight, 0.5)
                                .set(Offset::AileronTrim, 0.125)
                                .set(Offset::ElevatorTrim, -0.25)
                                .set(Offset::RudderTrim, 0.0625)
                                .set(Offset::GForce, 1.75)
                                .set(Offset::IncidenceAlpha, 4.5)
                                .set(Offset::AirspeedIndicated, 250.5)
                                .set(Offset::GearCenter, 0.0)
                                .set(Offset::GearLeft, 0.75)
                                .set(Offset::GearRight, 0.75)
                                .set(Offset::NumberOfEngines, 2.0)
                                .set(Offset::PropMaxRpm1, 90.0)
                                .set(Offset::PropMaxRpm2, 70.0)
                                .set(Offset::PropMaxRpm3, 55.0)
                                .set(Offset::PropMaxRpm4, 33.0)
                                .set(Offset::VerticalSpeed, -3.25)
                                .title("Extra 330");
        const MSFSTelemetry t = rig.feed(block);
        QCOMPARE(rig.changed->count(), 1);

        QCOMPARE(t.airspeed, 250.5f);
        QCOMPARE(t.getAirspeed(), 250.5f);
        QCOMPARE(t.verticalSpeed, -3.25f);
        QCOMPARE(t.aoa, 4.5f);
        QCOMPARE(t.gForce, 1.75f);
        QCOMPARE(t.gear, 0.5f);        // (0.75 + 0.75 + 0) / 3
        QCOMPARE(t.flaps, 0.375f);     // (0.25 + 0.5) / 2
        QCOMPARE(t.propAirflow, 0.8f); // engines 1 and 2 only: (90 + 70) / 2 / 100
        QCOMPARE(t.aileronTrim, 0.125f);
        QCOMPARE(t.elevatorTrim, -0.25f);
        QCOMPARE(t.rudderTrim, 0.0625f);
        QCOMPARE(t.onGround, false);
        // Never filled by this source.
        QCOMPARE(t.trimmerRoll, 0.0f);
        QCOMPARE(t.trimmerPitch, 0.0f);
        QCOMPARE(t.trimmerYaw, 0.0f);
        QCOMPARE(t.airbrake, 0.0f);
        QCOMPARE(t.aileronsFlowAngle, 0.0f);
        QCOMPARE(t.sideslip, 0.0f);
        QCOMPARE(t.rollRate, 0.0f);
        QCOMPARE(rig.landed->count(), 0);
    }

    void computesInDoubleAndStoresFloat() {
        Rig rig;
        rig.declare();
        const double a = 0.1, b = 0.2, c = 0.7;
        const MSFSTelemetry t = rig.feed(Block()
                                             .set(Offset::GearLeft, a)
                                             .set(Offset::GearRight, b)
                                             .set(Offset::GearCenter, c)
                                             .set(Offset::FlapsLeft, a)
                                             .set(Offset::FlapsRight, c)
                                             .set(Offset::IncidenceAlpha, 1.0 / 3.0)
                                             .set(Offset::AirspeedIndicated, 123.456789012345));
        QCOMPARE(t.gear, float((a + b + c) / 3.0));
        QCOMPARE(t.flaps, float((a + c) * 0.5));
        QCOMPARE(t.aoa, float(1.0 / 3.0));
        QCOMPARE(t.airspeed, float(123.456789012345));
    }

    void propAirflowOverTheEngines_data() {
        QTest::addColumn<double>("engines");
        QTest::addColumn<float>("expected");
        // Propellers at 80, 60, 40, 20 and (a fifth engine) 1000 percent.
        QTest::newRow("one") << 1.0 << 0.8f;
        QTest::newRow("two") << 2.0 << 0.7f;
        QTest::newRow("three") << 3.0 << 0.6f;
        QTest::newRow("four") << 4.0 << 0.5f;
        QTest::newRow("five averages the first four") << 5.0 << 0.5f;
        QTest::newRow("twelve") << 12.0 << 0.5f;
        QTest::newRow("2.9 truncates to two") << 2.9 << 0.7f;
        QTest::newRow("huge") << 1e300 << 0.5f;
    }

    void propAirflowOverTheEngines() {
        QFETCH(double, engines);
        QFETCH(float, expected);
        Rig rig;
        rig.declare();
        const MSFSTelemetry t = rig.feed(Block()
                                             .set(Offset::NumberOfEngines, engines)
                                             .set(Offset::PropMaxRpm1, 80.0)
                                             .set(Offset::PropMaxRpm2, 60.0)
                                             .set(Offset::PropMaxRpm3, 40.0)
                                             .set(Offset::PropMaxRpm4, 20.0)
                                             .set(Offset::VerticalSpeed, 1000.0)); // where a fifth would sit
        QCOMPARE(rig.changed->count(), 1);
        QCOMPARE(t.propAirflow, expected);
    }

    void propAirflowWithoutEnginesIsNotANumber_data() {
        QTest::addColumn<double>("engines");
        QTest::newRow("zero") << 0.0;
        QTest::newRow("0.5 truncates to zero") << 0.5;
        QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN();
    }

    void propAirflowWithoutEnginesIsNotANumber() {
        QFETCH(double, engines);
        Rig rig;
        rig.declare();
        const MSFSTelemetry t = rig.feed(Block()
                                             .set(Offset::NumberOfEngines, engines)
                                             .set(Offset::PropMaxRpm1, 80.0)
                                             .set(Offset::AirspeedIndicated, 100.0));
        QCOMPARE(rig.changed->count(), 1);
        QVERIFY(std::isnan(t.propAirflow));
        QCOMPARE(t.getAirspeed(), 100.0f); // the rest of the record is decoded as usual
    }

    void propAirflowWithNegativeEnginesIsNegativeZero() {
        Rig rig;
        rig.declare();
        for (const double engines : {-1.0, -7.5, -1e300}) {
            const MSFSTelemetry t =
                rig.feed(Block().set(Offset::NumberOfEngines, engines).set(Offset::PropMaxRpm1, 80.0));
            QCOMPARE(t.propAirflow, 0.0f);
            QVERIFY(std::signbit(t.propAirflow)); // 0 / n for n below zero
        }
        QCOMPARE(rig.changed->count(), 3);
    }

    void landsOnceOnTheEdge() {
        Rig rig;
        rig.declare();
        const auto sample = [](double onGround, double verticalSpeed, double airspeed) {
            return Block()
                .set(Offset::OnGround, onGround)
                .set(Offset::VerticalSpeed, verticalSpeed)
                .set(Offset::AirspeedIndicated, airspeed);
        };
        rig.feed(sample(0.0, -4.0, 180.0));
        QCOMPARE(rig.landed->count(), 0);

        rig.order.clear();
        const MSFSTelemetry t = rig.feed(sample(1.0, -2.5, 150.0));
        QCOMPARE(t.onGround, true);
        QCOMPARE(rig.landed->count(), 1);
        QCOMPARE(rig.landed->at(0).at(0).toFloat(), -2.5f);
        QCOMPARE(rig.landed->at(0).at(1).toFloat(), 150.0f);
        QCOMPARE(rig.order, QStringList({"landed", "telemetryChanged"}));

        rig.feed(sample(1.0, 0.0, 100.0));
        rig.feed(sample(0.5, 0.0, 80.0)); // anything above zero is on the ground
        QCOMPARE(rig.landed->count(), 1);

        rig.feed(sample(0.0, 3.0, 160.0));
        rig.feed(sample(-1.0, 3.0, 200.0));
        QCOMPARE(rig.landed->count(), 1);
        QCOMPARE(recordAt(*rig.changed, rig.changed->count() - 1).onGround, false);

        // A touch-down passes the limited airspeed.
        rig.feed(sample(1.0, -6.0, 1500.0));
        QCOMPARE(rig.landed->count(), 2);
        QCOMPARE(rig.landed->at(1).at(0).toFloat(), -6.0f);
        QCOMPARE(rig.landed->at(1).at(1).toFloat(), 1000.0f);
        QCOMPARE(rig.changed->count(), 7);
    }

    void titles_data() {
        QTest::addColumn<QByteArray>("raw");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << QByteArray("DA62") << QStringLiteral("DA62");
        QTest::newRow("empty") << QByteArray() << QString();
        QTest::newRow("utf-8") << QByteArray("A\xC3\xA9rospatiale Caravelle")
                               << QStringLiteral("A\u00e9rospatiale Caravelle");
        QTest::newRow("stops at the first zero")
            << QByteArray("Beaver\0Floats", 13) << QStringLiteral("Beaver");
        QTest::newRow("255 characters") << QByteArray(255, 'x') << QString(255, QLatin1Char('x'));
        // Nothing ends the text inside its 256 bytes: it ends with the block, which the fake sizes exactly.
        QTest::newRow("no terminating zero") << QByteArray(256, 'y') << QString(256, QLatin1Char('y'));
    }

    void titles() {
        QFETCH(QByteArray, raw);
        QFETCH(QString, expected);
        Rig rig;
        rig.declare(raw);
        QCOMPARE(rig.declared->count(), 1);
        QCOMPARE(rig.declared->at(0).at(1).toString(), expected);
        QCOMPARE(rig.declared->at(0).at(1).toString().size(), expected.size());
    }

    void simStopWhileInactiveStillEnds() {
        Rig rig;
        rig.fake.queueEvent(1);
        rig.source->poll();
        QCOMPARE(rig.changed->count(), 1);
        verifyAllZero(recordAt(*rig.changed, 0));
        QCOMPARE(rig.ended->count(), 1);
        QCOMPARE(rig.order, QStringList({"telemetryChanged", "telemetryEnded"}));
        QCOMPARE(rig.declared->count(), 0);
        QVERIFY(!rig.source->isActive());
        QCOMPARE(rig.fake.requests.size(), size_t(1)); // only the one made when connecting
    }

    void simStopEndsAndSimStartRenewsTheRequest() {
        Rig rig;
        rig.declare("Airbus A320neo");
        rig.feed(Block()
                     .set(Offset::AirspeedIndicated, 220.0)
                     .set(Offset::OnGround, 1.0)
                     .set(Offset::GearLeft, 1.0));
        QCOMPARE(rig.fake.requests.size(), size_t(3));

        rig.order.clear();
        rig.fake.queueEvent(1);
        rig.source->poll();
        QCOMPARE(rig.order, QStringList({"telemetryChanged", "telemetryEnded"}));
        verifyAllZero(recordAt(*rig.changed, rig.changed->count() - 1));
        QVERIFY(!rig.source->isActive());
        QCOMPARE(rig.fake.requests.size(), size_t(3)); // no new request after "SimStop"

        rig.order.clear();
        rig.fake.queueEvent(0);
        rig.source->poll();
        QCOMPARE(rig.order, QStringList());
        QCOMPARE(rig.fake.requests.size(), size_t(4));
        QCOMPARE(rig.fake.requests[3].requestId, uint32_t(0));
        QCOMPARE(rig.fake.requests[3].objectType, uint32_t(0));

        // Inactive again: the next data declares anew instead of being decoded.
        rig.declare("Airbus A320neo");
        QCOMPARE(rig.order, QStringList({"telemetrySourceChanged"}));
        QCOMPARE(rig.declared->count(), 2);
        QVERIFY(rig.source->isActive());
        QCOMPARE(rig.fake.openCalls, 1);
    }

    void quitEndsAndNothingReconnects() {
        Rig rig;
        rig.declare();
        rig.feed(Block().set(Offset::AirspeedIndicated, 200.0));
        rig.order.clear();
        rig.fake.queueQuit();
        rig.source->poll();
        QCOMPARE(rig.order, QStringList({"telemetryChanged", "telemetryEnded"}));
        verifyAllZero(recordAt(*rig.changed, rig.changed->count() - 1));
        QVERIFY(!rig.source->isActive());
        const size_t requestsAtQuit = rig.fake.requests.size();

        rig.order.clear();
        for (int i = 0; i < 50; ++i)
            rig.source->poll();
        QCOMPARE(rig.fake.openCalls, 1);
        QCOMPARE(rig.fake.closeCalls, 0); // the handle is kept
        QCOMPARE(rig.fake.definitions.size(), size_t(22));
        QCOMPARE(rig.fake.requests.size(), requestsAtQuit);
        QCOMPARE(rig.order, QStringList());
    }

    void closesOnDestructionOnlyWhenConnected() {
        SimConnectDouble connected;
        {
            TelemetrySourceMSFS source(connected.createSeam());
            source.poll();
            connected.queueQuit();
            source.poll();
            QCOMPARE(connected.closeCalls, 0);
        }
        QCOMPARE(connected.closeCalls, 1);

#ifndef QUILLAR_MSFS_OVER_NETWORK // the network client never fails an open (it connects by itself)
        FakeSimConnect neverOpened;
        neverOpened.setOpenSucceeds(false);
        {
            TelemetrySourceMSFS source(neverOpened.createSeam());
            source.poll();
        }
        QCOMPARE(neverOpened.openCalls, 1);
        QCOMPARE(neverOpened.closeCalls, 0);
#endif
    }

    void takesAtMostOneMessagePerPoll() {
        Rig rig;
        rig.fake.queueData(0, Block().title("One").data());
        rig.fake.queueData(0, Block().set(Offset::GForce, 2.0).data());
        rig.fake.queueEvent(1);
        rig.source->poll();
        QCOMPARE(rig.fake.pendingMessages(), 2);
        QCOMPARE(rig.order, QStringList({"telemetrySourceChanged"}));
        rig.source->poll();
        QCOMPARE(rig.fake.pendingMessages(), 1);
        QCOMPARE(rig.order, QStringList({"telemetrySourceChanged", "telemetryChanged"}));
        QCOMPARE(recordAt(*rig.changed, 0).gForce, 2.0f);
        rig.source->poll();
        QCOMPARE(rig.fake.pendingMessages(), 0);
        QCOMPARE(rig.ended->count(), 1);
    }

    void ignoresWhatItDoesNotUse_data() {
        QTest::addColumn<quint32>("id");
        QTest::addColumn<quint32>("requestId");
        QTest::addColumn<quint32>("eventId");
        QTest::addColumn<int>("dataSize");
        const quint32 none = SimConnectMessage::NoId;
        QTest::newRow("null message") << 0u << none << none << 0;
        QTest::newRow("exception") << 1u << none << none << 0;
        QTest::newRow("open") << 2u << none << none << 0;
        QTest::newRow("object added or removed") << 5u << none << none << 0;
        QTest::newRow("sim-object data by id") << 8u << 0u << none << BlockSize;
        QTest::newRow("unknown id") << 12345u << 0u << 1u << BlockSize;
        QTest::newRow("data for request 1") << 9u << 1u << none << BlockSize;
        QTest::newRow("data without request id") << 9u << none << none << BlockSize;
        QTest::newRow("event 2") << 4u << none << 2u << 0;
        QTest::newRow("event without id") << 4u << none << none << 0;
    }

    void ignoresWhatItDoesNotUse() {
        QFETCH(quint32, id);
        QFETCH(quint32, requestId);
        QFETCH(quint32, eventId);
        QFETCH(int, dataSize);
        SimConnectDouble::Message message;
        message.id = id;
        message.requestId = requestId;
        message.eventId = eventId;
        message.data = Block()
                           .set(Offset::AirspeedIndicated, 250.0)
                           .set(Offset::OnGround, 1.0)
                           .title("Ignored")
                           .data()
                           .left(dataSize);

        // While inactive: no declaration.
        Rig rig;
        rig.fake.queueMessage(message);
        rig.source->poll();
        QCOMPARE(rig.fake.pendingMessages(), 0);
        QCOMPARE(rig.signalCount(), 0);
        QVERIFY(!rig.source->isActive());
        QCOMPARE(rig.fake.requests.size(), size_t(1));

        // While active: no record and no touch-down.
        rig.declare();
        rig.fake.queueMessage(message);
        rig.source->poll();
        QCOMPARE(rig.fake.pendingMessages(), 0);
        QCOMPARE(rig.order, QStringList({"telemetrySourceChanged"}));
        QVERIFY(rig.source->isActive());
        QCOMPARE(rig.fake.requests.size(), size_t(2));
    }

    void aShortBlockIsDroppedAndAskedForAgain_data() {
        QTest::addColumn<int>("dataSize");
        QTest::newRow("data one byte short") << BlockSize - 1;
        QTest::newRow("data without the title") << 144;
        QTest::newRow("data of 8 bytes") << 8;
        QTest::newRow("data without bytes") << 0;
    }

    // A block for our request that is too short to decode changes nothing, but the data keeps flowing:
    // the one-shot request it answered is made again, and the next full block is used.
    void aShortBlockIsDroppedAndAskedForAgain() {
        QFETCH(int, dataSize);
        const QByteArray shortBlock =
            Block().set(Offset::AirspeedIndicated, 250.0).set(Offset::OnGround, 1.0).title("Ignored").data().left(
                dataSize);

        // While inactive: no declaration, and a new request.
        Rig rig;
        rig.fake.queueData(0, shortBlock);
        rig.source->poll();
        QCOMPARE(rig.fake.pendingMessages(), 0);
        QCOMPARE(rig.signalCount(), 0);
        QVERIFY(!rig.source->isActive());
        QCOMPARE(rig.fake.requests.size(), size_t(2));
        rig.declare(QByteArrayLiteral("After short"));
        QCOMPARE(rig.declared->count(), 1);
        QCOMPARE(rig.declared->at(0).at(1).toString(), QStringLiteral("After short"));
        QCOMPARE(rig.fake.requests.size(), size_t(3));

        // While active: no record and no touch-down, a new request, and the next block is decoded.
        rig.fake.queueData(0, shortBlock);
        rig.source->poll();
        QCOMPARE(rig.order, QStringList({"telemetrySourceChanged"}));
        QVERIFY(rig.source->isActive());
        QCOMPARE(rig.fake.requests.size(), size_t(4));
        for (size_t i = 0; i < rig.fake.requests.size(); ++i) {
            QCOMPARE(rig.fake.requests[i].requestId, 0u);
            QCOMPARE(rig.fake.requests[i].definitionId, 0u);
        }
        const MSFSTelemetry next = rig.feed(Block().set(Offset::AirspeedIndicated, 180.0));
        QCOMPARE(rig.changed->count(), 1);
        QCOMPARE(next.airspeed, 180.0f);
        QCOMPARE(rig.fake.requests.size(), size_t(5));
    }

    void theBuildsOwnSourceStaysSilent() {
        // With no SimConnect server to reach, the source stays silent however often it is polled.
        TelemetrySourceMSFS source;
        QSignalSpy changed(&source, &TelemetrySourceMSFS::telemetryChanged);
        QSignalSpy declared(&source, &TelemetrySource::telemetrySourceChanged);
        QSignalSpy ended(&source, &TelemetrySource::telemetryEnded);
        QSignalSpy landed(&source, &TelemetrySource::landed);
        QVERIFY(changed.isValid() && declared.isValid() && ended.isValid() && landed.isValid());
        for (int i = 0; i < 500; ++i)
            source.poll();
        QCOMPARE(changed.count(), 0);
        QCOMPARE(declared.count(), 0);
        QCOMPARE(ended.count(), 0);
        QCOMPARE(landed.count(), 0);
        QVERIFY(!source.isActive());
    }
};

QTEST_GUILESS_MAIN(TestTelemetrySourceMSFS)
#include "tst_telemetrysourcemsfs.moc"
