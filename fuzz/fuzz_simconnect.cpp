// libFuzzer target: bytes as a SimConnect server would stream them to our client. Each whole message is
// copied into a buffer of exactly its size, as the client hands it on, and decoded; a data message's block
// is read to its end, as the MSFS source reads it, so any read past the message is caught.
#include "simconnectwire.h"

#include <cstddef>
#include <cstdint>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static volatile unsigned sink; // keeps the reads of the block from being optimised away
    std::size_t offset = 0;
    unsigned sum = 0;
    for (;;) {
        uint32_t messageSize = 0;
        const SimConnectWire::Frame frame = SimConnectWire::inspectFrame(data + offset, size - offset, messageSize);
        if (frame != SimConnectWire::Frame::Complete)
            break; // incomplete: waits for more bytes; invalid: the client drops the connection
        auto message = std::make_unique<unsigned char[]>(messageSize);
        for (uint32_t i = 0; i < messageSize; ++i)
            message[i] = data[offset + i];
        SimConnectMessage decoded;
        SimConnectWire::decodeMessage(message.get(), messageSize, decoded);
        for (std::size_t i = 0; i < decoded.size; ++i)
            sum += decoded.data[i];
        offset += messageSize;
    }
    sink = sum;
    return 0;
}
