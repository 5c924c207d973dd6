#include "telemetrysourcemsfs.h"

#include "aircraftfactschannel.h"
#include "simconnectseam.h"
#include "telemetryrecorder.h"

#include <QString>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

namespace {
constexpr char ClientName[] = "Vortane";

constexpr uint32_t DefinitionId = 0;
constexpr uint32_t RequestId = 0;
constexpr uint32_t EventSimStart = 0;
constexpr uint32_t EventSimStop = 1;

struct Datum {
    const char *name;
    const char *units;
    SimConnectSeam::DataType type;
};

// The order fixes the layout of the data block below.
constexpr Datum Definition[] = {
    {"SIM ON GROUND", "Bool", SimConnectSeam::DATATYPE_FLOAT64},
    {"TRAILING EDGE FLAPS LEFT PERCENT", "percent over 100", SimConnectSeam::DATATYPE_FLOAT64},
    {"TRAILING EDGE FLAPS RIGHT PERCENT", "percent over 100", SimConnectSeam::DATATYPE_FLOAT64},
    {"AILERON TRIM PCT", "percent over 100", SimConnectSeam::DATATYPE_FLOAT64},
    {"ELEVATOR TRIM PCT", "percent over 100", SimConnectSeam::DATATYPE_FLOAT64},
    {"RUDDER TRIM PCT", "percent over 100", SimConnectSeam::DATATYPE_FLOAT64},
    {"G FORCE", "GForce", SimConnectSeam::DATATYPE_FLOAT64},
    {"INCIDENCE ALPHA", "degree", SimConnectSeam::DATATYPE_FLOAT64},
    {"AIRSPEED INDICATED", "kilometer per hour", SimConnectSeam::DATATYPE_FLOAT64},
    {"GEAR CENTER POSITION", "percent over 100", SimConnectSeam::DATATYPE_FLOAT64},
    {"GEAR LEFT POSITION", "percent over 100", SimConnectSeam::DATATYPE_FLOAT64},
    {"GEAR RIGHT POSITION", "percent over 100", SimConnectSeam::DATATYPE_FLOAT64},
    {"NUMBER OF ENGINES", "Number", SimConnectSeam::DATATYPE_FLOAT64},
    {"PROP MAX RPM PERCENT:1", "percent", SimConnectSeam::DATATYPE_FLOAT64},
    {"PROP MAX RPM PERCENT:2", "percent", SimConnectSeam::DATATYPE_FLOAT64},
    {"PROP MAX RPM PERCENT:3", "percent", SimConnectSeam::DATATYPE_FLOAT64},
    {"PROP MAX RPM PERCENT:4", "percent", SimConnectSeam::DATATYPE_FLOAT64},
    {"VERTICAL SPEED", "m/s", SimConnectSeam::DATATYPE_FLOAT64},
    {"TITLE", nullptr, SimConnectSeam::DATATYPE_STRING256},
    // Appended for the aircraft-class suggestion; the entries above and their offsets stay as they are.
    {"CATEGORY", nullptr, SimConnectSeam::DATATYPE_STRING256},
    {"ENGINE TYPE", "Enum", SimConnectSeam::DATATYPE_FLOAT64},
    {"ATC HEAVY", "Bool", SimConnectSeam::DATATYPE_FLOAT64},
};

// Byte offsets of the entries above in the data block: eighteen 64-bit floats, then the title text.
enum Offset : std::size_t {
    OnGround = 0,
    FlapsLeft = 8,
    FlapsRight = 16,
    AileronTrim = 24,
    ElevatorTrim = 32,
    RudderTrim = 40,
    GForce = 48,
    IncidenceAlpha = 56,
    AirspeedIndicated = 64,
    GearCenter = 72,
    GearLeft = 80,
    GearRight = 88,
    NumberOfEngines = 96,
    PropMaxRpm1 = 104,
    VerticalSpeed = 136,
    Title = 144,
    Category = 400,
    EngineType = 656,
    AtcHeavy = 664,
};
constexpr std::size_t TitleSize = 256;
constexpr std::size_t BlockSize = Title + TitleSize;
static_assert(BlockSize == 400);
// The block with the appended class entries. A block of at least BlockSize is flown; the class entries are
// read only when the whole of them is there.
constexpr std::size_t ClassBlockSize = AtcHeavy + 8;
static_assert(ClassBlockSize == 672);
static_assert(sizeof(Definition) / sizeof(Definition[0]) == 22);

// SimConnect delivers little-endian IEEE doubles; assembling them byte by byte keeps the decode independent
// of the host's byte order and alignment.
double readDouble(const unsigned char *block, std::size_t offset) {
    uint64_t bits = 0;
    for (int i = 7; i >= 0; --i)
        bits = (bits << 8) | block[offset + std::size_t(i)];
    double value;
    static_assert(sizeof(value) == sizeof(bits));
    std::memcpy(&value, &bits, sizeof(value));
    return value;
}

// The title ends at its terminating zero; a text that fills all 256 bytes ends with the block.
QString readText(const unsigned char *block, std::size_t offset) {
    const unsigned char *title = block + offset;
    const void *terminator = std::memchr(title, 0, TitleSize);
    const std::size_t length =
        terminator ? std::size_t(static_cast<const unsigned char *>(terminator) - title) : TitleSize;
    return QString::fromUtf8(reinterpret_cast<const char *>(title), qsizetype(length));
}

QString readTitle(const unsigned char *block) {
    return readText(block, Title);
}

// An enumeration or flag sent as a double; anything that is no small whole number counts as not reported.
int readSmallInt(const unsigned char *block, std::size_t offset) {
    const double value = readDouble(block, offset);
    if (!(value >= 0 && value <= 255) || value != std::floor(value))
        return -1;
    return int(value);
}

// "NUMBER OF ENGINES" truncated to an integer and limited to at most four. Values no int can hold (NaN,
// huge negatives) are mapped onto ones that give the same mean below, so the conversion is always defined.
int engineCount(double engines) {
    if (std::isnan(engines))
        return 0;
    if (engines >= 4.0)
        return 4;
    if (engines <= double(INT_MIN))
        return INT_MIN;
    return int(engines);
}

static_assert(std::numeric_limits<double>::is_iec559, "a craft with no engines relies on 0.0 / 0 being NaN");
} // namespace

TelemetrySourceMSFS::TelemetrySourceMSFS(QObject *parent)
    : TelemetrySourceMSFS(createPlatformSimConnect(), parent) {}

TelemetrySourceMSFS::TelemetrySourceMSFS(std::unique_ptr<SimConnectSeam> simConnect, QObject *parent)
    : TelemetrySource(parent), simConnect(std::move(simConnect)) {}

TelemetrySourceMSFS::~TelemetrySourceMSFS() {
    if (handle && simConnect)
        simConnect->close();
}

void TelemetrySourceMSFS::poll() {
    if (!simConnect)
        return;
    if (!handle)
        connectAndRegister();
    if (!handle)
        return;

    SimConnectMessage message;
    if (!simConnect->getNextMessage(message))
        return;

    switch (message.id) {
    case SimConnectMessage::IdEvent:
        handleEvent(message);
        break;
    case SimConnectMessage::IdSimObjectDataByType:
        handleData(message);
        break;
    case SimConnectMessage::IdQuit:
        // The handle is kept on purpose: the connection is made once, so a simulator started again is not
        // picked up until the application restarts.
        endTelemetry();
        break;
    default:
        break;
    }
}

void TelemetrySourceMSFS::connectAndRegister() {
    handle = simConnect->open(ClientName);
    if (!handle)
        return;
    for (const Datum &datum : Definition)
        simConnect->addToDataDefinition(DefinitionId, datum.name, datum.units, datum.type, 0.0f,
                                        SimConnectSeam::UnusedDatumId);
    requestData();
    simConnect->subscribeToSystemEvent(EventSimStart, "SimStart");
    simConnect->subscribeToSystemEvent(EventSimStop, "SimStop");
}

// One message per request: the next one is asked for only once this one has been handled, so the data
// rate follows the polling tick.
void TelemetrySourceMSFS::requestData() {
    simConnect->requestDataOnSimObjectType(RequestId, DefinitionId, 0, SimConnectSeam::ObjectTypeUser);
}

void TelemetrySourceMSFS::handleEvent(const SimConnectMessage &message) {
    if (message.eventId == EventSimStart)
        requestData();
    else if (message.eventId == EventSimStop)
        endTelemetry();
}

void TelemetrySourceMSFS::handleData(const SimConnectMessage &message) {
    if (message.requestId != RequestId)
        return;
    if (message.data)
        TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_MSFS, TelemetryRecording::Kind::MsfsDataBlock,
                                reinterpret_cast<const char *>(message.data), qint64(message.size));
    // A block shorter than our definition cannot be decoded and is dropped, yet it answered our one-shot
    // request: without asking again no further data would ever come until the next "SimStart".
    if (!message.data || message.size < BlockSize) {
        requestData();
        return;
    }

    if (!active) {
        // The message that announces the aircraft only declares the source; its values are not decoded.
        active = true;
        const QString title = readTitle(message.data);
        emit telemetrySourceChanged(Telemetry::TELEMETRY_SOURCE_MSFS, title);
        if (message.size >= ClassBlockSize) {
            AircraftFacts facts;
            facts.msfsCategory = readText(message.data, Category);
            facts.msfsEngineType = readSmallInt(message.data, EngineType);
            facts.msfsAtcHeavy = readSmallInt(message.data, AtcHeavy);
            AircraftFactsChannel::instance().publish(Telemetry::TELEMETRY_SOURCE_MSFS, title, facts);
        }
    } else {
        decode(message.data);
    }
    requestData();
}

void TelemetrySourceMSFS::decode(const unsigned char *block) {
    MSFSTelemetry &t = currentTelemetry;
    // Computed in double as SimConnect delivers them, narrowed to float only when stored.
    t.setAirspeed(float(readDouble(block, AirspeedIndicated)));
    t.verticalSpeed = float(readDouble(block, VerticalSpeed));
    t.aoa = float(readDouble(block, IncidenceAlpha));
    t.gForce = float(readDouble(block, GForce));
    t.gear = float(
        (readDouble(block, GearLeft) + readDouble(block, GearRight) + readDouble(block, GearCenter)) / 3.0);
    t.flaps = float((readDouble(block, FlapsLeft) + readDouble(block, FlapsRight)) * 0.5);

    // Left unguarded on purpose: a craft with no engines yields NaN (0 / 0), and the effects cope with it.
    const int engines = engineCount(readDouble(block, NumberOfEngines));
    double rpmSum = 0.0;
    for (int i = 0; i < engines; ++i)
        rpmSum += readDouble(block, PropMaxRpm1 + std::size_t(i) * 8);
    t.propAirflow = float(rpmSum / double(engines) / 100.0);

    // The trims go to the record's own fields; the Telemetry trimmer fields stay 0.
    t.aileronTrim = float(readDouble(block, AileronTrim));
    t.elevatorTrim = float(readDouble(block, ElevatorTrim));
    t.rudderTrim = float(readDouble(block, RudderTrim));

    const bool onGround = readDouble(block, OnGround) > 0.0;
    if (!t.onGround && onGround)
        emit landed(t.verticalSpeed, t.getAirspeed());
    t.onGround = onGround;

    emit telemetryChanged(t);
}

// Also reached while inactive (a "SimStop" before any data): consumers get the neutral record either way.
void TelemetrySourceMSFS::endTelemetry() {
    active = false;
    emit telemetryChanged(idleTelemetry);
    emit telemetryEnded();
}
