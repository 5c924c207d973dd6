// libFuzzer target: one War Thunder /state reply body.
#include "telemetrysourcewarthunder.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static WarthunderTelemetry record;
    decodeWarthunderState(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)), record);
    return 0;
}
