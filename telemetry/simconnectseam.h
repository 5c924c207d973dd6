#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

// One message pulled from SimConnect, reduced to what the MSFS source reads. The bytes belong to the
// connection and stay valid only until the next getNextMessage call.
struct SimConnectMessage {
    // Receive-header identifiers the source acts on; every other identifier is ignored.
    static constexpr uint32_t IdQuit = 3;
    static constexpr uint32_t IdEvent = 4;
    static constexpr uint32_t IdSimObjectDataByType = 9;
    // Stands in for a request or event identifier the message did not carry (or was too short to carry).
    static constexpr uint32_t NoId = 0xFFFFFFFFu;

    uint32_t id = 0;
    uint32_t requestId = NoId;           // data messages
    uint32_t eventId = NoId;             // event messages
    const unsigned char *data = nullptr; // data messages: the data block, which follows the 40-byte header
    std::size_t size = 0;                // bytes available at `data`, never more than the message holds
};

// The few SimConnect calls the MSFS source makes, so the source can run against the real client library
// on Windows, against our network client elsewhere, and against a scripted double in tests. The connection handle
// lives behind the seam; the values of the enumerations and constants below are SimConnect's own.
class SimConnectSeam {
public:
    enum DataType : uint32_t {
        DATATYPE_FLOAT64 = 4,   // SIMCONNECT_DATATYPE_FLOAT64
        DATATYPE_STRING256 = 9, // SIMCONNECT_DATATYPE_STRING256
    };
    static constexpr uint32_t UnusedDatumId = 0xFFFFFFFFu; // SIMCONNECT_UNUSED
    static constexpr uint32_t ObjectTypeUser = 0;          // SIMCONNECT_SIMOBJECT_TYPE_USER

    virtual ~SimConnectSeam() = default;

    // Opens a connection with no window, no user event, no event handle and configuration index 0.
    // True when a connection handle is held afterwards.
    virtual bool open(const char *clientName) = 0;
    // `unitsName` may be null for data that has no unit (text).
    virtual void addToDataDefinition(uint32_t definitionId, const char *datumName, const char *unitsName,
                                     DataType datumType, float epsilon, uint32_t datumId) = 0;
    virtual void requestDataOnSimObjectType(uint32_t requestId, uint32_t definitionId, uint32_t radiusMeters,
                                            uint32_t objectType) = 0;
    virtual void subscribeToSystemEvent(uint32_t eventId, const char *systemEventName) = 0;
    // Takes at most one pending message; false when none was returned.
    virtual bool getNextMessage(SimConnectMessage &message) = 0;
    virtual void close() = 0;
};

// The seam of this build: the SimConnect client library on Windows builds made with the MSFS SDK, and our
// own SimConnect network client (simconnectnetwork.h) everywhere else.
std::unique_ptr<SimConnectSeam> createPlatformSimConnect();
