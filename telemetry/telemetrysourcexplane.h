#pragma once

#include "aircraftfacts.h"
#include "monotonicclock.h"
#include "sourcerecords.h"
#include "telemetrysource.h"

#include <QByteArray>
#include <QHostAddress>
#include <QString>

class QUdpSocket;

// X-Plane 11 and 12 through the simulator's built-in UDP interface: one "RREF" subscription per value, which
// X-Plane answers with (index, value) pairs at the requested rate to the address and port that asked.
namespace XPlane {
// Indexes of our subscriptions, laid out by the table in telemetrysourcexplane.cpp: the flight values
// first, then one per byte of the aircraft's two names. Later subscriptions are appended after the last
// index, so every index once handed out keeps its meaning.
enum Value {
    IndicatedAirspeed, // knots
    Alpha,             // degrees
    Beta,              // degrees
    VerticalSpeed,     // m/s
    RollRate,          // degrees/s
    NormalLoad,        // g
    Throttle,          // 0..1
    Gear,              // 0..1
    Flaps,             // 0..1
    Speedbrake,        // 0..1, the surfaces' extension
    OnGround,          // 0 or 1
    ValueCount
};
constexpr int NameLength = 64;
// sim/aircraft/view/acf_ui_name[0..63]: the name X-Plane 12 shows; X-Plane 11 does not know it.
constexpr int UiNameFirstIndex = ValueCount;
constexpr int NameFirstIndex = UiNameFirstIndex;
// sim/aircraft/view/acf_descrip[0..63]: the aircraft's description, in X-Plane 11 and 12.
constexpr int DescripFirstIndex = UiNameFirstIndex + NameLength;

// How long after the first reply the name waits for acf_ui_name, which an X-Plane that does not know it
// answers with zeros or not at all.
constexpr int64_t UiNameWaitMs = 500;

// --- aircraft class ---
// Three more subscriptions for the aircraft-class suggestion, not needed for flying, after the names.
enum ClassValue {
    IsHelicopter = DescripFirstIndex + NameLength, // 139: sim/aircraft2/metadata/is_helicopter, 0 or 1
    EngineType,                                    // 140: acf_en_type[0]
    MaxWeight,                                     // 141: acf_m_max, kg
    ClassEndIndex
};
constexpr int ClassSubscriptionCount = ClassEndIndex - IsHelicopter;
// --- end aircraft class ---
constexpr int SubscriptionCount = ClassEndIndex;

constexpr quint16 DefaultPort = 49000;
constexpr qint32 ReplyFrequency = 50; // per second
constexpr int RequestSize = 413;      // "RREF\0", frequency, index, 400-byte path

// The dataref asked for under one of our indexes (empty outside 0..SubscriptionCount-1).
QByteArray dataref(int index);
// The subscription datagram for one of our indexes: 413 bytes. Frequency 0 ends the subscription.
QByteArray subscriptionRequest(int index, qint32 frequency = ReplyFrequency);

// What the replies have told so far: the last reading of every subscription, by index. A name's bytes are
// kept as the byte values 0..255.
struct ReplyState {
    float values[SubscriptionCount] = {};
    bool received[SubscriptionCount] = {};

    // Every flight value has arrived.
    bool valuesComplete() const;
    // Every byte of the name starting at `firstIndex` has arrived.
    bool nameComplete(int firstIndex) const;
    // One name's bytes up to the first 0 (all 64 when there is none), read as UTF-8; a character cut by
    // the 64-byte limit is left out whole.
    QString name(int firstIndex) const;
    // The aircraft's name: acf_ui_name's text when it has arrived whole and is not empty, else
    // acf_descrip's.
    QString flightModule() const;
    void clear() { *this = ReplyState(); }
};

// Applies one reply's pairs in their order. False, with `state` untouched, for a datagram that is no reply.
// Unknown indexes, non-finite values, name bytes that are no byte and a trailing partial pair are skipped.
bool decodeReply(const QByteArray &datagram, ReplyState &state);

// What the class values received so far say (each one not received, or not a whole number, stays -1).
AircraftFacts aircraftFacts(const ReplyState &state);

// The record the replies describe, in the program's units. `onGround` is written too; touch-down is the
// source's business.
void fillRecord(const ReplyState &state, XPlaneTelemetry &record);

// Where X-Plane is: 127.0.0.1:49000, or the [xplane] host and port of the program's settings file.
struct Endpoint {
    QHostAddress host = QHostAddress(QHostAddress::LocalHost);
    quint16 port = DefaultPort;
};
// The settings file, $XDG_CONFIG_HOME/vortane-quillar/quillar.conf on Linux.
QString settingsFilePath();
// Reads the settings file (nothing is created); a bad host or port is logged once and the default is used.
Endpoint configuredEndpoint();
Endpoint endpointFromSettings(const QString &path);
} // namespace XPlane

class TelemetrySourceXPlane : public TelemetrySource {
    Q_OBJECT

public:
    explicit TelemetrySourceXPlane(QObject *parent = nullptr,
                                   const XPlane::Endpoint &xplane = XPlane::Endpoint());
    // Stops: X-Plane is told to stop streaming to this socket.
    ~TelemetrySourceXPlane() override;

    void poll() override;

    // The ephemeral port the subscriptions go out from and the replies come back to (0 when the bind failed).
    quint16 localPort() const;
    XPlane::Endpoint endpoint() const { return xplane; }
    // Asks another X-Plane from now on. The old one is told to stop streaming first, and whatever was
    // active ends as for silence.
    void setEndpoint(const XPlane::Endpoint &endpoint);
    // Tells X-Plane to stop streaming: frequency 0 for every index subscribed, from the socket that
    // subscribed. Done by itself on destruction and when the application is about to quit. Polling does
    // nothing afterwards, until setEndpoint.
    void stop();

signals:
    void telemetryChanged(XPlaneTelemetry telemetry);

private:
    void subscribeWhenDue();
    bool readReplies();
    bool readyToDeclare() const;
    void end();
    void unsubscribe();
    void publishFacts();

    QUdpSocket *socket = nullptr;
    XPlane::Endpoint xplane;
    XPlane::ReplyState state;
    QByteArray buffer; // reused for every datagram
    QString declaredName;
    QString nameOfLastTick; // a new name is declared once two ticks in a row have read it
    AircraftFacts publishedFacts;
    QString factsPublishedFor;
    XPlaneTelemetry telemetry;
    const XPlaneTelemetry idleTelemetry{};
    ElapsedClock lastReplyTimer;
    ElapsedClock lastSubscriptionTimer;
    ElapsedClock firstReplyTimer; // since the first reply after a (re)start
    bool subscribed = false;      // requests went out that X-Plane has not been told to forget
    bool stopped = false;
};
