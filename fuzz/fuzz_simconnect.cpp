// libFuzzer target: bytes as a SimConnect server would stream them to our client, fed to the client's own
// receive path (SimConnectReceiver in simconnectnetwork.cpp) in pieces of pseudo-random sizes, as TCP may
// cut them, and taken out message by message as the client does. Every message comes out in a buffer of
// exactly its size; a data message's block is read to its end, as the MSFS source reads it, so any read
// past the message is caught. The piece sizes are drawn from the input itself, so a run is reproducible.
#include "simconnectnetwork.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    [[maybe_unused]] static volatile unsigned sink; // keeps the reads of the block from being optimised away
    // FNV-1a of the input seeds the piece sizes.
    uint32_t random = 2166136261u;
    for (size_t i = 0; i < size; ++i)
        random = (random ^ data[i]) * 16777619u;
    auto nextPiece = [&random] {
        random = random * 1664525u + 1013904223u;
        // Mostly small pieces (a size field cut in two, a header cut short), now and then large ones.
        return (random >> 24) < 200 ? size_t(1 + (random >> 8) % 16) : size_t(1 + (random >> 8) % 70000);
    };

    SimConnectReceiver receiver;
    unsigned sum = 0;
    size_t offset = 0;
    bool invalid = false;
    while (!invalid) {
        if (offset < size) {
            const size_t piece = nextPiece();
            const size_t wanted = piece < size - offset ? piece : size - offset;
            offset +=
                size_t(receiver.append(reinterpret_cast<const char *>(data + offset), qsizetype(wanted)));
        }
        // The client takes one message per tick; taking all that are whole before the next piece is the
        // same sequence of buffer states as long as pieces are kept waiting meanwhile.
        bool took = false;
        for (;;) {
            SimConnectMessage message;
            uint32_t messageSize = 0;
            const SimConnectReceiver::Result result = receiver.next(message, messageSize);
            if (result == SimConnectReceiver::Result::Invalid) {
                invalid = true; // the client drops the connection here
                break;
            }
            if (result == SimConnectReceiver::Result::Incomplete)
                break;
            took = true;
            for (size_t i = 0; i < message.size; ++i)
                sum += message.data[i];
            if (message.size > 0 && message.data < receiver.lastMessage())
                __builtin_trap();
        }
        if (offset >= size && !took)
            break; // everything fed, nothing more will complete
    }
    sink = sum;
    return 0;
}
