// libFuzzer target: one Condor 2 datagram of key=value lines.
#include "telemetrysourcecondor2.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static Condor2Telemetry record;
    decodeCondorDatagram(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)), record);
    return 0;
}
