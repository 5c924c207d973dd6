// libFuzzer target: one X-Plane reply datagram ("RREF", one byte, then index/value pairs), applied to the
// state the earlier inputs left, then turned into a record and a name as the source does every tick.
#include "telemetrysourcexplane.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static XPlane::ReplyState state;
    static XPlaneTelemetry record;
    if (XPlane::decodeReply(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)), state)) {
        XPlane::fillRecord(state, record);
        (void)state.flightModule();
        (void)state.valuesComplete();
    }
    return 0;
}
