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
// Indexes of our subscriptions: the flight values first, then one per byte of the aircraft's name.
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
    Speedbrake,        // 0..1, negative while armed
    OnGround,          // 0 or 1
    ValueCount
};
constexpr int NameLength = 64;
constexpr int NameFirstIndex = ValueCount;
constexpr int SubscriptionCount = ValueCount + NameLength;

// --- aircraft class ---
// Three more subscriptions for the aircraft-class suggestion, not needed for flying: the 64 indexes after the
// name are reserved for sim/aircraft/view/acf_descrip[0..63], these come after them.
constexpr int ReservedDescriptionFirstIndex = NameFirstIndex + NameLength; // 75..138, not asked for here
constexpr int ReservedDescriptionLength = 64;
enum ClassValue {
    IsHelicopter = ReservedDescriptionFirstIndex + ReservedDescriptionLength, // 139: X-Plane 12 only
    EngineType,                                                               // 140: acf_en_type[0]
    MaxWeight,                                                                // 141: kg
    ClassEndIndex
};
constexpr int ClassSubscriptionCount = ClassEndIndex - IsHelicopter;
// --- end aircraft class ---

constexpr quint16 DefaultPort = 49000;
constexpr qint32 ReplyFrequency = 50; // per second
constexpr int RequestSize = 413;      // "RREF\0", frequency, index, 400-byte path

// The dataref asked for under one of our indexes (empty outside 0..SubscriptionCount-1).
QByteArray dataref(int index);
// The subscription datagram for one of our indexes: 413 bytes.
QByteArray subscriptionRequest(int index, qint32 frequency = ReplyFrequency);

// What the replies have told so far: the last reading of every subscribed value.
struct ReplyState {
    float values[ValueCount] = {};
    unsigned char name[NameLength] = {};
    bool received[SubscriptionCount] = {};
    // The class values, apart: an X-Plane without one of them still flies.
    float classValues[ClassSubscriptionCount] = {};
    bool classReceived[ClassSubscriptionCount] = {};

    bool complete() const;
    // The aircraft's name: its bytes up to the first 0 (all 64 when there is none), read as UTF-8.
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

    void poll() override;

    // The ephemeral port the subscriptions go out from and the replies come back to (0 when the bind failed).
    quint16 localPort() const;
    XPlane::Endpoint endpoint() const { return xplane; }

signals:
    void telemetryChanged(XPlaneTelemetry telemetry);

private:
    void subscribeWhenDue();
    bool readReplies();
    void end();
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
};
