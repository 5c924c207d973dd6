// The SimConnect client library of the MSFS SDK behind our seam. Built only on Windows when
// QUILLAR_SIMCONNECT_SDK names the SDK (see docs/msfs-build.md); every other build uses
// simconnectseamnull.cpp.

#include "simconnectseam.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

// SimConnect.h relies on the Windows types being declared first.
#include <SimConnect.h>

#include <algorithm>
#include <cstddef>

namespace {
// The receive structures derive from SIMCONNECT_RECV, so offsetof is not portable on them; their layout is
// plain DWORDs, pinned here by size instead.
constexpr std::size_t EventIdEnd = 20;       // header (12), uGroupID, uEventID
constexpr std::size_t DataRequestIdEnd = 16; // header (12), dwRequestID
constexpr std::size_t DataBlockOffset = 40;  // header (12) and seven DWORDs, then the data block
static_assert(sizeof(DWORD) == 4);
static_assert(sizeof(SIMCONNECT_RECV) == 12);
static_assert(sizeof(SIMCONNECT_RECV_EVENT) == EventIdEnd + sizeof(DWORD));
static_assert(sizeof(SIMCONNECT_RECV_SIMOBJECT_DATA_BYTYPE) == DataBlockOffset + sizeof(DWORD),
              "the data block of a sim-object data message starts 40 bytes into the message");
} // namespace

static_assert(uint32_t(SIMCONNECT_RECV_ID_QUIT) == SimConnectMessage::IdQuit);
static_assert(uint32_t(SIMCONNECT_RECV_ID_EVENT) == SimConnectMessage::IdEvent);
static_assert(uint32_t(SIMCONNECT_RECV_ID_SIMOBJECT_DATA_BYTYPE) == SimConnectMessage::IdSimObjectDataByType);
static_assert(uint32_t(SIMCONNECT_DATATYPE_FLOAT64) == uint32_t(SimConnectSeam::DATATYPE_FLOAT64));
static_assert(uint32_t(SIMCONNECT_DATATYPE_STRING256) == uint32_t(SimConnectSeam::DATATYPE_STRING256));
static_assert(uint32_t(SIMCONNECT_SIMOBJECT_TYPE_USER) == SimConnectSeam::ObjectTypeUser);
static_assert(DWORD(SIMCONNECT_UNUSED) == SimConnectSeam::UnusedDatumId);

namespace {
class WindowsSimConnect final : public SimConnectSeam {
public:
    bool open(const char *clientName) override {
        // SimConnect.dll is delay-loaded: a machine without it (no simulator installed, or a test run) gets
        // "no connection" here instead of a program that cannot start. Once found, the module stays loaded.
        if (!libraryLoaded)
            libraryLoaded = LoadLibraryW(L"SimConnect.dll") != nullptr;
        if (!libraryLoaded)
            return false;
        HANDLE opened = nullptr;
        if (FAILED(SimConnect_Open(&opened, clientName, nullptr, 0, nullptr, 0)) || !opened)
            return false;
        handle = opened;
        return true;
    }

    void addToDataDefinition(uint32_t definitionId, const char *datumName, const char *unitsName,
                             DataType datumType, float epsilon, uint32_t datumId) override {
        if (handle)
            SimConnect_AddToDataDefinition(handle, static_cast<SIMCONNECT_DATA_DEFINITION_ID>(definitionId),
                                           datumName, unitsName, static_cast<SIMCONNECT_DATATYPE>(datumType),
                                           epsilon, static_cast<DWORD>(datumId));
    }

    void requestDataOnSimObjectType(uint32_t requestId, uint32_t definitionId, uint32_t radiusMeters,
                                    uint32_t objectType) override {
        if (handle)
            SimConnect_RequestDataOnSimObjectType(handle, static_cast<SIMCONNECT_DATA_REQUEST_ID>(requestId),
                                                  static_cast<SIMCONNECT_DATA_DEFINITION_ID>(definitionId),
                                                  static_cast<DWORD>(radiusMeters),
                                                  static_cast<SIMCONNECT_SIMOBJECT_TYPE>(objectType));
    }

    void subscribeToSystemEvent(uint32_t eventId, const char *systemEventName) override {
        if (handle)
            SimConnect_SubscribeToSystemEvent(handle, static_cast<SIMCONNECT_CLIENT_EVENT_ID>(eventId),
                                              systemEventName);
    }

    bool getNextMessage(SimConnectMessage &message) override {
        if (!handle)
            return false;
        SIMCONNECT_RECV *received = nullptr;
        DWORD receivedBytes = 0;
        if (FAILED(SimConnect_GetNextDispatch(handle, &received, &receivedBytes)) || !received)
            return false;

        // Trust neither size alone: read no further than both the header's dwSize and the buffer allow.
        const std::size_t size = receivedBytes >= sizeof(SIMCONNECT_RECV)
                                     ? std::min<std::size_t>(received->dwSize, receivedBytes)
                                     : 0;
        message = SimConnectMessage();
        if (size < sizeof(SIMCONNECT_RECV)) {
            message.id = SIMCONNECT_RECV_ID_NULL;
            return true;
        }
        message.id = received->dwID;
        const auto *bytes = reinterpret_cast<const unsigned char *>(received);
        switch (received->dwID) {
        case SIMCONNECT_RECV_ID_EVENT:
            if (size >= EventIdEnd)
                message.eventId = static_cast<const SIMCONNECT_RECV_EVENT *>(received)->uEventID;
            break;
        case SIMCONNECT_RECV_ID_SIMOBJECT_DATA_BYTYPE: {
            const auto *data = static_cast<const SIMCONNECT_RECV_SIMOBJECT_DATA_BYTYPE *>(received);
            if (size >= DataRequestIdEnd)
                message.requestId = data->dwRequestID;
            if (size > DataBlockOffset) {
                message.data = bytes + DataBlockOffset;
                message.size = size - DataBlockOffset;
            }
            break;
        }
        default:
            break;
        }
        return true;
    }

    void close() override {
        if (handle)
            SimConnect_Close(handle);
        handle = nullptr;
    }

private:
    bool libraryLoaded = false;
    HANDLE handle = nullptr;
};
} // namespace

std::unique_ptr<SimConnectSeam> createPlatformSimConnect() {
    return std::make_unique<WindowsSimConnect>();
}
