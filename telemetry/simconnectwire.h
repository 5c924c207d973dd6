#pragma once

#include "simconnectseam.h"

#include <QByteArray>
#include <cstddef>
#include <cstdint>

// SimConnect's network protocol as the MSFS source needs it: the packets it sends and the messages it reads,
// all little-endian. Every function here is pure, so the bytes can be checked without a socket
// (docs/msfs-network.md lists where each number comes from).
namespace SimConnectWire {
// Version 5 is the protocol of MSFS 2020, which MSFS 2024 still accepts.
constexpr uint32_t ProtocolVersion = 5;

// Client packets: size, protocol, 0xF0000000 | call, send number, then the call's fields.
constexpr std::size_t SendHeaderSize = 16;
constexpr uint32_t CallMarker = 0xF0000000u;
enum Call : uint32_t {
    CallOpen = 0x01,
    CallAddToDataDefinition = 0x0C,
    CallRequestDataOnSimObjectType = 0x0F,
    CallSubscribeToSystemEvent = 0x17,
};
constexpr std::size_t OpenPacketSize = 296;
constexpr std::size_t AddToDataDefinitionPacketSize = 544;
constexpr std::size_t RequestDataOnSimObjectTypePacketSize = 32;
constexpr std::size_t SubscribeToSystemEventPacketSize = 276;

// Server messages: size, protocol, message id, then the message's fields.
constexpr std::size_t ReceiveHeaderSize = 12;
// Far above anything the source asks for (a data block is 400 bytes); a larger size field means the stream
// is not SimConnect or is hostile.
constexpr uint32_t MaxMessageSize = 1u << 20;
constexpr uint32_t IdException = 1;
constexpr uint32_t IdOpen = 2;
// Where the fields the source reads sit in a message.
constexpr std::size_t EventIdOffset = 16;      // after the group id
constexpr std::size_t DataRequestIdOffset = 12;
constexpr std::size_t DataBlockOffset = 40;    // request, object, definition, flags, entry, out of, count

// The send number sits at bytes 12..15 of every client packet; the caller numbers the packets of a
// connection in the order they leave.
QByteArray openPacket(const char *applicationName, uint32_t sendNumber);
QByteArray addToDataDefinitionPacket(uint32_t definitionId, const char *datumName, const char *unitsName,
                                     uint32_t datumType, float epsilon, uint32_t datumId, uint32_t sendNumber);
QByteArray requestDataOnSimObjectTypePacket(uint32_t requestId, uint32_t definitionId, uint32_t radiusMeters,
                                            uint32_t objectType, uint32_t sendNumber);
QByteArray subscribeToSystemEventPacket(uint32_t eventId, const char *systemEventName, uint32_t sendNumber);
void setSendNumber(QByteArray &packet, uint32_t sendNumber);

// What the start of the received stream holds.
enum class Frame {
    Incomplete, // the size field or the rest of the message has not arrived yet
    Complete,   // a whole message of `size` bytes is there
    Invalid,    // the size field cannot be SimConnect's: the stream has lost its framing
};
Frame inspectFrame(const unsigned char *bytes, std::size_t available, uint32_t &size);

// Fills `message` from one whole message of `size` bytes (at least the receive header). Fields the message
// is too short to carry stay SimConnectMessage::NoId; a data message's block is whatever follows its
// 40-byte header, possibly nothing.
void decodeMessage(const unsigned char *bytes, std::size_t size, SimConnectMessage &message);

uint32_t readUint32(const unsigned char *bytes);
} // namespace SimConnectWire
