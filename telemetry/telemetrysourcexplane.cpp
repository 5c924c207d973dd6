#include "telemetrysourcexplane.h"

#include "aircraftfactschannel.h"
#include "telemetryrecorder.h"
#include "telemetrysourceudp.h" // MaxDatagramsPerPoll, the bound every UDP source keeps to

#include <QCoreApplication>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSettings>
#include <QStandardPaths>
#include <QThread>
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

// What each index asks for, in index order: a row of `count` indexes is one dataref, or, when `count` is
// more than 1, that many elements of an array dataref ("path[0]", "path[1]", ...). New rows go at the end.
enum class Kind { Value, NameByte };
struct Row {
    const char *dataref;
    int count;
    Kind kind;
};
constexpr Row layout[] = {
    {"sim/flightmodel/position/indicated_airspeed", 1, Kind::Value},
    {"sim/flightmodel/position/alpha", 1, Kind::Value},
    {"sim/flightmodel/position/beta", 1, Kind::Value},
    {"sim/flightmodel/position/vh_ind", 1, Kind::Value},
    {"sim/flightmodel/position/P", 1, Kind::Value},
    {"sim/flightmodel/forces/g_nrml", 1, Kind::Value},
    {"sim/cockpit2/engine/actuators/throttle_ratio_all", 1, Kind::Value},
    {"sim/flightmodel2/gear/deploy_ratio[0]", 1, Kind::Value},
    {"sim/flightmodel2/controls/flap_handle_deploy_ratio", 1, Kind::Value},
    // The surfaces' extension, 0..1. The -0.5 of an armed speedbrake is the handle's
    // (sim/cockpit2/controls/speedbrake_ratio), not this one's.
    {"sim/flightmodel2/controls/speedbrake_ratio", 1, Kind::Value},
    {"sim/flightmodel/failures/onground_any", 1, Kind::Value},
    {"sim/aircraft/view/acf_ui_name", XPlane::NameLength, Kind::NameByte},
    {"sim/aircraft/view/acf_descrip", XPlane::NameLength, Kind::NameByte},
    // The aircraft's class: never waited for, an X-Plane without one of them still flies.
    {"sim/aircraft2/metadata/is_helicopter", 1, Kind::Value},
    {"sim/aircraft/prop/acf_en_type[0]", 1, Kind::Value},
    {"sim/aircraft/weight/acf_m_max", 1, Kind::Value},
};

constexpr int layoutSize() {
    int size = 0;
    for (const Row &row : layout)
        size += row.count;
    return size;
}
static_assert(layoutSize() == XPlane::SubscriptionCount, "every index has its row");

// The row holding `index`, and the index's place in it; null outside the layout.
const Row *rowOf(int index, int *element) {
    if (index < 0)
        return nullptr;
    for (const Row &row : layout) {
        if (index < row.count) {
            *element = index;
            return &row;
        }
        index -= row.count;
    }
    return nullptr;
}

// The length of `bytes` without a trailing UTF-8 sequence that the end cuts short.
int withoutCutCharacter(const unsigned char *bytes, int length) {
    int continuation = 0;
    while (continuation < 3 && continuation < length && (bytes[length - 1 - continuation] & 0xC0) == 0x80)
        ++continuation;
    const int leadAt = length - 1 - continuation;
    if (leadAt < 0)
        return length;
    const unsigned char lead = bytes[leadAt];
    const int needed = (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : (lead & 0xF8) == 0xF0 ? 4 : 1;
    return needed > continuation + 1 ? leadAt : length;
}

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
    int element = 0;
    const Row *row = rowOf(index, &element);
    if (!row)
        return QByteArray();
    if (row->count == 1)
        return QByteArray(row->dataref);
    return QByteArray(row->dataref) + '[' + QByteArray::number(element) + ']';
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

bool ReplyState::valuesComplete() const {
    for (int index = 0; index < ValueCount; ++index) {
        if (!received[index])
            return false;
    }
    return true;
}

bool ReplyState::nameComplete(int firstIndex) const {
    for (int index = firstIndex; index < firstIndex + NameLength; ++index) {
        if (!received[index])
            return false;
    }
    return true;
}

QString ReplyState::name(int firstIndex) const {
    unsigned char bytes[NameLength];
    int length = 0;
    while (length < NameLength && values[firstIndex + length] != 0) {
        bytes[length] = static_cast<unsigned char>(values[firstIndex + length]);
        ++length;
    }
    if (length == NameLength)
        length = withoutCutCharacter(bytes, length);
    return QString::fromUtf8(reinterpret_cast<const char *>(bytes), length);
}

QString ReplyState::flightModule() const {
    if (nameComplete(UiNameFirstIndex)) {
        const QString uiName = name(UiNameFirstIndex);
        if (!uiName.isEmpty())
            return uiName;
    }
    return name(DescripFirstIndex);
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
        int element = 0;
        const Row *row = rowOf(index, &element);
        if (!row)
            continue;
        if (row->kind == Kind::NameByte) {
            // One byte of a name as a number; X-Plane may hand bytes above 127 over as negative chars.
            if (value <= -129 || value >= 256)
                continue;
            value = float(int(value) & 0xff);
        }
        state.values[index] = value;
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
    // The surfaces' extension is 0..1; anything outside is held to it.
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
    // The program's threads are never stopped, so this source is never destroyed: quitting is when X-Plane
    // is told to stop streaming. The signal comes on the main thread; the socket is used on this source's
    // own, which runs the stop while the main thread waits.
    if (QCoreApplication *application = QCoreApplication::instance()) {
        connect(
            application, &QCoreApplication::aboutToQuit, this,
            [this] {
                if (QThread::currentThread() == thread() || !thread()->isRunning())
                    stop();
                else
                    QMetaObject::invokeMethod(this, &TelemetrySourceXPlane::stop,
                                              Qt::BlockingQueuedConnection);
            },
            Qt::DirectConnection);
    }
}

TelemetrySourceXPlane::~TelemetrySourceXPlane() {
    unsubscribe();
}

quint16 TelemetrySourceXPlane::localPort() const {
    return socket->localPort();
}

void TelemetrySourceXPlane::setEndpoint(const XPlane::Endpoint &endpoint) {
    unsubscribe();
    if (active)
        end();
    state.clear();
    firstReplyTimer.invalidate();
    lastSubscriptionTimer.invalidate();
    xplane = endpoint;
    stopped = false;
}

void TelemetrySourceXPlane::stop() {
    unsubscribe();
    stopped = true;
}

void TelemetrySourceXPlane::unsubscribe() {
    if (!subscribed)
        return;
    subscribed = false;
    // Sent even when nothing ever answered: a subscription may have arrived while its replies were lost.
    for (int index = 0; index < XPlane::SubscriptionCount; ++index)
        socket->writeDatagram(XPlane::subscriptionRequest(index, 0), xplane.host, xplane.port);
}

void TelemetrySourceXPlane::subscribeWhenDue() {
    const int64_t interval = active ? SubscribeWhileActiveMs : SubscribeWhileIdleMs;
    if (lastSubscriptionTimer.isValid() && lastSubscriptionTimer.elapsed() < interval)
        return;
    lastSubscriptionTimer.restart();
    subscribed = true;
    // Failures (no route, X-Plane's machine unreachable) are not reported: the next round tries again.
    for (int index = 0; index < XPlane::SubscriptionCount; ++index)
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

// X-Plane 11 does not know acf_ui_name and answers it with zeros or not at all, so it is waited for only
// briefly; the flight values and acf_descrip are known to both versions and always waited for.
bool TelemetrySourceXPlane::readyToDeclare() const {
    if (!state.valuesComplete() || !state.nameComplete(XPlane::DescripFirstIndex))
        return false;
    return state.nameComplete(XPlane::UiNameFirstIndex) || firstReplyTimer.elapsed() >= XPlane::UiNameWaitMs;
}

void TelemetrySourceXPlane::end() {
    emit telemetryChanged(idleTelemetry);
    emit telemetryEnded();
    active = false;
    // Whatever answers next (X-Plane restarted, another aircraft) must tell everything again before it
    // counts, and gets asked at once.
    state.clear();
    firstReplyTimer.invalidate();
    declaredName.clear();
    nameOfLastTick.clear();
    publishedFacts = AircraftFacts();
    factsPublishedFor.clear();
    lastSubscriptionTimer.invalidate();
}

void TelemetrySourceXPlane::poll() {
    if (stopped)
        return;
    subscribeWhenDue();
    const bool replied = readReplies();
    if (replied) {
        lastReplyTimer.restart();
        if (!firstReplyTimer.isValid())
            firstReplyTimer.start();
    }

    if (!active) {
        if (!firstReplyTimer.isValid())
            return;
        if (lastReplyTimer.hasExpired(EndAfterSilenceMs)) {
            // Fell silent before it was whole: the next answer starts over.
            state.clear();
            firstReplyTimer.invalidate();
            return;
        }
        // Declared only once every value and a name are known, so the first record is a whole one.
        const QString name = state.flightModule();
        if (!readyToDeclare() || name.isEmpty())
            return;
        fillRecord(state, telemetry); // the touch-down test needs the state at the start
        active = true;
        declaredName = nameOfLastTick = name;
        emit telemetrySourceChanged(Telemetry::TELEMETRY_SOURCE_XPLANE, name);
        publishFacts();
        return;
    }

    if (!replied) {
        if (lastReplyTimer.hasExpired(EndAfterSilenceMs))
            end();
        return;
    }

    // Another aircraft: declared again so its profile can follow. The name's bytes may be split over
    // replies of two ticks, so a name counts once two ticks in a row have read it.
    const QString name = state.flightModule();
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
    if (state.received[IsHelicopter])
        facts.xplaneIsHelicopter = whole(state.values[IsHelicopter]);
    if (state.received[EngineType])
        facts.xplaneEngineType = whole(state.values[EngineType]);
    if (state.received[MaxWeight] && state.values[MaxWeight] >= 0)
        facts.xplaneMaxWeightKg = state.values[MaxWeight];
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
