// libFuzzer target: one DCS datagram, decoded into a record that carries over between inputs.
#include "telemetrysourcedcs.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static DCSTelemetry record;
    const QByteArray datagram(reinterpret_cast<const char *>(data), qsizetype(size));
    bool landed = false;
    decodeDcsDatagram(datagram, record, &landed);
    dcsFlightModuleName(datagram);
    return 0;
}
