#include "telemetrysourcexplane.h"

#include "aircraftfactschannel.h"
#include "telemetryrecorder.h"
#include "telemetrysourceudp.h" // MaxDatagramsPerPoll, the bound every UDP source keeps to

#include <QFileInfo>
#include <QLoggingCategory>
#include <QSettings>
#include <QStandardPaths>
#include <QUdpSocket>
#include <QtEndian>

#include <cfloat>
#include <cmath>
#include <cstring>

namespace {
Q_LOGGING_CATEGORY(lcXPlane, "quillar.telemetry.xplane")

// Silence longer than this ends the telemetry; exactly this long does not.
constexpr int64_t EndAfterSilenceMs = 1000;
// X-Plane forgets its subscriptions when it restarts, so they are repeated: often while nothing answers,
// rarely once it does.
constexpr int64_t SubscribeWhileIdleMs = 1000;
constexpr int64_t SubscribeWhileActiveMs = 10000;
constexpr int HeaderSize = 5; // "RREF" and one more byte
constexpr int PairSize = 8;   // int32 index, float32 value
constexpr int PathSize = 400;
static_assert(HeaderSize + 4 + 4 + PathSize == XPlane::RequestSize);

const char *const valueDatarefs[XPlane::ValueCount] = {
    "sim/flightmodel/position/indicated_airspeed",
    "sim/flightmodel/position/alpha",
    "sim/flightmodel/position/beta",
    "sim/flightmodel/position/vh_ind",
    "sim/flightmodel/position/P",
    "sim/flightmodel/forces/g_nrml",
    "sim/cockpit2/engine/actuators/throttle_ratio_all",
    "sim/flightmodel2/gear/deploy_ratio[0]",
    "sim/flightmodel2/controls/flap_handle_deploy_ratio",
    "sim/flightmodel2/controls/speedbrake_ratio",
    "sim/flightmodel/failures/onground_any",
};

const char *const classDatarefs[XPlane::ClassSubscriptionCount] = {
    "sim/aircraft2/metadata/is_helicopter",
    "sim/aircraft/prop/acf_en_type[0]",
    "sim/aircraft/weight/acf_m_max",
};

void appendLittleEndian(QByteArray &bytes, qint32 value) {
    char raw[4];
    qToLittleEndian(value, raw);
    bytes.append(raw, 4);
}

// A reading multiplied up (× 100, × 1.852) must not overflow into infinity.
float toRecordValue(double value) {
    return float(value > FLT_MAX ? FLT_MAX : (value < -FLT_MAX ? -FLT_MAX : value));
}

bool validPort(const QString &text, quint16 *port) {
    bool ok = false;
    const uint value = text.trimmed().toUInt(&ok);
    if (!ok || value == 0 || value > 65535)
        return false;
    *port = quint16(value);
    return true;
}
} // namespace

namespace XPlane {

QByteArray dataref(int index) {
    if (index >= 0 && index < ValueCount)
        return QByteArray(valueDatarefs[index]);
    if (index >= NameFirstIndex && index < SubscriptionCount)
        return "sim/aircraft/view/acf_ui_name[" + QByteArray::number(index - NameFirstIndex) + ']';
    if (index >= IsHelicopter && index < ClassEndIndex)
        return QByteArray(classDatarefs[index - IsHelicopter]);
    return QByteArray();
}

QByteArray subscriptionRequest(int index, qint32 frequency) {
    QByteArray request("RREF", 4);
    request.append('\0');
    appendLittleEndian(request, frequency);
    appendLittleEndian(request, index);
    QByteArray path = dataref(index).left(PathSize - 1); // always NUL-terminated
    path.resize(PathSize, '\0');
    request.append(path);
    return request;
}

bool ReplyState::complete() const {
    for (bool value : received) {
        if (!value)
            return false;
    }
    return true;
}

QString ReplyState::flightModule() const {
    const void *end = std::memchr(name, 0, NameLength);
    const int length = end ? int(static_cast<const unsigned char *>(end) - name) : NameLength;
    return QString::fromUtf8(reinterpret_cast<const char *>(name), length);
}

bool decodeReply(const QByteArray &datagram, ReplyState &state) {
    if (datagram.size() < HeaderSize || !datagram.startsWith("RREF"))
        return false;
    const qsizetype pairs = (datagram.size() - HeaderSize) / PairSize; // a trailing partial pair is dropped
    const char *pair = datagram.constData() + HeaderSize;
    for (qsizetype i = 0; i < pairs; ++i, pair += PairSize) {
        const qint32 index = qFromLittleEndian<qint32>(pair);
        const quint32 bits = qFromLittleEndian<quint32>(pair + 4);
        float value;
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value))
            continue; // the last good reading stands
        if (index >= 0 && index < ValueCount) {
            state.values[index] = value;
        } else if (index >= NameFirstIndex && index < SubscriptionCount) {
            // One byte of the name as a number; X-Plane may hand bytes above 127 over as negative chars.
            if (value <= -129 || value >= 256)
                continue;
            state.name[index - NameFirstIndex] = static_cast<unsigned char>(int(value) & 0xff);
        } else if (index >= IsHelicopter && index < ClassEndIndex) {
            state.classValues[index - IsHelicopter] = value;
            state.classReceived[index - IsHelicopter] = true;
            continue;
        } else {
            continue;
        }
        state.received[index] = true;
    }
    return true;
}

void fillRecord(const ReplyState &state, XPlaneTelemetry &record) {
    const float *v = state.values;
    record.setAirspeed(toRecordValue(double(v[IndicatedAirspeed]) * 1.852)); // knots to km/h
    record.aoa = v[Alpha];
    record.sideslip = v[Beta];
    record.verticalSpeed = v[VerticalSpeed];
    record.rollRate = v[RollRate];
    record.gForce = v[NormalLoad];
    record.propAirflow = toRecordValue(double(v[Throttle]) * 100);
    record.gear = toRecordValue(double(v[Gear]) * 100);
    record.flaps = toRecordValue(double(v[Flaps]) * 100);
    // Negative while armed: an armed speedbrake is still retracted.
    const float speedbrake = v[Speedbrake] < 0 ? 0 : (v[Speedbrake] > 1 ? 1 : v[Speedbrake]);
    record.airbrake = speedbrake * 100;
    record.onGround = v[OnGround] >= 0.5f;
}

QString settingsFilePath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/vortane-quillar/quillar.conf");
}

Endpoint configuredEndpoint() {
    return endpointFromSettings(settingsFilePath());
}

Endpoint endpointFromSettings(const QString &path) {
    Endpoint endpoint;
    // QSettings would not create the file by reading, but there is no reason to open what is not there.
    if (!QFileInfo(path).isFile())
        return endpoint;
    QSettings settings(path, QSettings::IniFormat);
    settings.beginGroup(QStringLiteral("xplane"));
    if (settings.contains(QStringLiteral("host"))) {
        const QVariant value = settings.value(QStringLiteral("host"));
        const QString text = value.typeId() == QMetaType::QString ? value.toString().trimmed() : QString();
        QHostAddress host;
        if (text.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0)
            endpoint.host = QHostAddress(QHostAddress::LocalHost);
        else if (host.setAddress(text) && !host.isNull() && host != QHostAddress(QHostAddress::Any) &&
                 host != QHostAddress(QHostAddress::AnyIPv6) && host != QHostAddress(QHostAddress::AnyIPv4))
            endpoint.host = host;
        else
            qCWarning(lcXPlane).noquote()
                << QStringLiteral(
                       "%1: [xplane] host \"%2\" is not the IP address of a machine; asking X-Plane at "
                       "%3 instead")
                       .arg(path, value.toStringList().join(QLatin1Char(',')), endpoint.host.toString());
    }
    if (settings.contains(QStringLiteral("port"))) {
        const QVariant value = settings.value(QStringLiteral("port"));
        quint16 port = 0;
        if (value.typeId() == QMetaType::QString && validPort(value.toString(), &port))
            endpoint.port = port;
        else
            qCWarning(lcXPlane).noquote()
                << QStringLiteral(
                       "%1: [xplane] port \"%2\" is not a port number (1 to 65535); asking X-Plane on "
                       "port %3 instead")
                       .arg(path, value.toStringList().join(QLatin1Char(',')))
                       .arg(endpoint.port);
    }
    settings.endGroup();
    return endpoint;
}

} // namespace XPlane

TelemetrySourceXPlane::TelemetrySourceXPlane(QObject *parent, const XPlane::Endpoint &xplane)
    : TelemetrySource(parent), xplane(xplane) {
    socket = new QUdpSocket(this);
    // X-Plane answers to the address and port a subscription came from, so one socket both asks and listens.
    socket->bind(QHostAddress::Any, 0);
}

quint16 TelemetrySourceXPlane::localPort() const {
    return socket->localPort();
}

void TelemetrySourceXPlane::subscribeWhenDue() {
    const int64_t interval = active ? SubscribeWhileActiveMs : SubscribeWhileIdleMs;
    if (lastSubscriptionTimer.isValid() && lastSubscriptionTimer.elapsed() < interval)
        return;
    lastSubscriptionTimer.restart();
    // Failures (no route, X-Plane's machine unreachable) are not reported: the next round tries again.
    for (int index = 0; index < XPlane::SubscriptionCount; ++index)
        socket->writeDatagram(XPlane::subscriptionRequest(index), xplane.host, xplane.port);
    for (int index = XPlane::IsHelicopter; index < XPlane::ClassEndIndex; ++index)
        socket->writeDatagram(XPlane::subscriptionRequest(index), xplane.host, xplane.port);
}

bool TelemetrySourceXPlane::readReplies() {
    if (socket->state() != QAbstractSocket::BoundState)
        return false;
    bool replied = false;
    QHostAddress sender;
    for (int read = 0; read < MaxDatagramsPerPoll && socket->hasPendingDatagrams(); ++read) {
        const qint64 size = socket->pendingDatagramSize();
        buffer.resize(size > 0 ? size : 0);
        const qint64 length = socket->readDatagram(buffer.data(), buffer.size(), &sender);
        if (length < 0)
            break; // a socket error leaves the datagram queued; spinning on it would hang the tick
        buffer.resize(length);
        // Only X-Plane's machine is listened to; anyone else could otherwise feed the stick.
        if (!sender.isEqual(xplane.host, QHostAddress::ConvertV4MappedToIPv4))
            continue;
        TelemetryRecorder::noteDatagram(Telemetry::TELEMETRY_SOURCE_XPLANE, buffer, buffer.size());
        if (XPlane::decodeReply(buffer, state))
            replied = true;
    }
    return replied;
}

void TelemetrySourceXPlane::end() {
    emit telemetryChanged(idleTelemetry);
    emit telemetryEnded();
    active = false;
    // Whatever answers next (X-Plane restarted, another aircraft) must tell everything again before it
    // counts, and gets asked at once.
    state.clear();
    declaredName.clear();
    nameOfLastTick.clear();
    publishedFacts = AircraftFacts();
    factsPublishedFor.clear();
    lastSubscriptionTimer.invalidate();
}

void TelemetrySourceXPlane::poll() {
    subscribeWhenDue();
    if (!readReplies()) {
        if (active && lastReplyTimer.hasExpired(EndAfterSilenceMs))
            end();
        return;
    }
    lastReplyTimer.restart();

    const QString name = state.flightModule();
    if (!active) {
        // Declared only once every value and a name are known, so the first record is a whole one.
        if (!state.complete() || name.isEmpty())
            return;
        fillRecord(state, telemetry); // the touch-down test needs the state at the start
        active = true;
        declaredName = nameOfLastTick = name;
        emit telemetrySourceChanged(Telemetry::TELEMETRY_SOURCE_XPLANE, name);
        publishFacts();
        return;
    }

    // Another aircraft: declared again so its profile can follow. The name's bytes may be split over
    // replies of two ticks, so a name counts once two ticks in a row have read it.
    if (!name.isEmpty() && name != declaredName && name == nameOfLastTick) {
        declaredName = name;
        emit telemetrySourceChanged(Telemetry::TELEMETRY_SOURCE_XPLANE, name);
    }
    nameOfLastTick = name;
    publishFacts();

    const bool wasOnGround = telemetry.onGround;
    fillRecord(state, telemetry);
    if (!wasOnGround && telemetry.onGround)
        emit landed(telemetry.verticalSpeed, telemetry.getAirspeed());
    emit telemetryChanged(telemetry);
}

namespace XPlane {
AircraftFacts aircraftFacts(const ReplyState &state) {
    AircraftFacts facts;
    auto whole = [](float value) {
        return value >= 0 && value <= 255 && value == std::floor(value) ? int(value) : -1;
    };
    if (state.classReceived[IsHelicopter - IsHelicopter])
        facts.xplaneIsHelicopter = whole(state.classValues[IsHelicopter - IsHelicopter]);
    if (state.classReceived[EngineType - IsHelicopter])
        facts.xplaneEngineType = whole(state.classValues[EngineType - IsHelicopter]);
    if (state.classReceived[MaxWeight - IsHelicopter] && state.classValues[MaxWeight - IsHelicopter] >= 0)
        facts.xplaneMaxWeightKg = state.classValues[MaxWeight - IsHelicopter];
    return facts;
}
} // namespace XPlane

// For the declared aircraft, whenever what X-Plane tells about its class changes (the three values may come a
// reply or two after the name).
void TelemetrySourceXPlane::publishFacts() {
    const AircraftFacts facts = XPlane::aircraftFacts(state);
    if (facts == AircraftFacts() || (facts == publishedFacts && factsPublishedFor == declaredName))
        return;
    publishedFacts = facts;
    factsPublishedFor = declaredName;
    AircraftFactsChannel::instance().publish(Telemetry::TELEMETRY_SOURCE_XPLANE, declaredName, facts);
}
