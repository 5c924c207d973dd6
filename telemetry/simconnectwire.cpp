#include "simconnectwire.h"

#include <cstring>

namespace SimConnectWire {
namespace {
constexpr std::size_t NameSize = 256;

class PacketWriter {
public:
    PacketWriter(uint32_t call, uint32_t sendNumber) {
        bytes.reserve(int(NameSize * 2 + 32));
        appendUint32(0); // the size, known at the end
        appendUint32(ProtocolVersion);
        appendUint32(CallMarker | call);
        appendUint32(sendNumber);
    }
    PacketWriter &appendUint32(uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8)
            bytes.append(char((value >> shift) & 0xFFu));
        return *this;
    }
    PacketWriter &appendFloat(float value) {
        uint32_t bits;
        static_assert(sizeof(bits) == sizeof(value));
        std::memcpy(&bits, &value, sizeof(bits));
        return appendUint32(bits);
    }
    PacketWriter &appendByte(unsigned char value) {
        bytes.append(char(value));
        return *this;
    }
    // A fixed-size text field: the text, cut so a terminating zero always fits, then zeros. A null text is an
    // empty field.
    PacketWriter &appendText(const char *text, std::size_t fieldSize) {
        std::size_t length = 0;
        while (text && length < fieldSize - 1 && text[length] != '\0')
            ++length;
        if (length > 0)
            bytes.append(text, qsizetype(length));
        bytes.append(qsizetype(fieldSize - length), '\0');
        return *this;
    }
    QByteArray finish() {
        const uint32_t size = uint32_t(bytes.size());
        for (int i = 0; i < 4; ++i)
            bytes[i] = char((size >> (8 * i)) & 0xFFu);
        return bytes;
    }

private:
    QByteArray bytes;
};
} // namespace

uint32_t readUint32(const unsigned char *bytes) {
    return uint32_t(bytes[0]) | (uint32_t(bytes[1]) << 8) | (uint32_t(bytes[2]) << 16) | (uint32_t(bytes[3]) << 24);
}

QByteArray openPacket(const char *applicationName, uint32_t sendNumber) {
    // After the name: a zero word and a zero byte, the three-byte protocol tag "HK", and the client version
    // (11.0, build 62651.3) that MSFS 2020's own client library reports for protocol 5.
    return PacketWriter(CallOpen, sendNumber)
        .appendText(applicationName, NameSize)
        .appendUint32(0)
        .appendByte(0)
        .appendText("HK", 3)
        .appendUint32(11)
        .appendUint32(0)
        .appendUint32(62651)
        .appendUint32(3)
        .finish();
}

QByteArray addToDataDefinitionPacket(uint32_t definitionId, const char *datumName, const char *unitsName,
                                     uint32_t datumType, float epsilon, uint32_t datumId, uint32_t sendNumber) {
    return PacketWriter(CallAddToDataDefinition, sendNumber)
        .appendUint32(definitionId)
        .appendText(datumName, NameSize)
        .appendText(unitsName, NameSize)
        .appendUint32(datumType)
        .appendFloat(epsilon)
        .appendUint32(datumId)
        .finish();
}

QByteArray requestDataOnSimObjectTypePacket(uint32_t requestId, uint32_t definitionId, uint32_t radiusMeters,
                                            uint32_t objectType, uint32_t sendNumber) {
    return PacketWriter(CallRequestDataOnSimObjectType, sendNumber)
        .appendUint32(requestId)
        .appendUint32(definitionId)
        .appendUint32(radiusMeters)
        .appendUint32(objectType)
        .finish();
}

QByteArray subscribeToSystemEventPacket(uint32_t eventId, const char *systemEventName, uint32_t sendNumber) {
    return PacketWriter(CallSubscribeToSystemEvent, sendNumber)
        .appendUint32(eventId)
        .appendText(systemEventName, NameSize)
        .finish();
}

void setSendNumber(QByteArray &packet, uint32_t sendNumber) {
    if (packet.size() < qsizetype(SendHeaderSize))
        return;
    for (int i = 0; i < 4; ++i)
        packet[12 + i] = char((sendNumber >> (8 * i)) & 0xFFu);
}

Frame inspectFrame(const unsigned char *bytes, std::size_t available, uint32_t &size) {
    if (available < 4)
        return Frame::Incomplete;
    size = readUint32(bytes);
    if (size < ReceiveHeaderSize || size > MaxMessageSize)
        return Frame::Invalid;
    return available >= size ? Frame::Complete : Frame::Incomplete;
}

void decodeMessage(const unsigned char *bytes, std::size_t size, SimConnectMessage &message) {
    message = SimConnectMessage();
    if (size < ReceiveHeaderSize)
        return;
    message.id = readUint32(bytes + 8);
    switch (message.id) {
    case SimConnectMessage::IdEvent:
        if (size >= EventIdOffset + 4)
            message.eventId = readUint32(bytes + EventIdOffset);
        break;
    case SimConnectMessage::IdSimObjectDataByType:
        if (size >= DataRequestIdOffset + 4)
            message.requestId = readUint32(bytes + DataRequestIdOffset);
        if (size > DataBlockOffset) {
            message.data = bytes + DataBlockOffset;
            message.size = size - DataBlockOffset;
        }
        break;
    default:
        break;
    }
}
} // namespace SimConnectWire
