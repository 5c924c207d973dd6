// libFuzzer target: one IL-2 packet. The decoder and its shared ring persist between inputs, as they do
// between datagrams in the program.
#include "telemetrysourceshturmovik.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static ShturmovikDecoder decoder;
    static ShturmovikTelemetry record;
    bool landed = false;
    decoder.decode(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)), record, &landed);
    return 0;
}
