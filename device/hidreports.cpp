#include "hidreports.h"

#include <QtEndian>
#include <cstring>

namespace HidReports {

void putFloat(Buffer &buffer, std::size_t at, float value) {
    // memcpy rather than a pointer cast: the slots are not aligned for float.
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    qToLittleEndian(bits, buffer.data() + at);
}

float getFloat(const Buffer &buffer, std::size_t at) {
    const uint32_t bits = qFromLittleEndian<uint32_t>(buffer.data() + at);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

Buffer versionRequest() {
    // Zeroed in full so a read that fails leaves exactly the report id: version 0x00000025.
    Buffer buffer{};
    buffer[0] = VersionReportId;
    return buffer;
}

Buffer positionRequest() {
    // A short read leaves the missing bytes zero, never stale.
    Buffer buffer{};
    buffer[0] = PositionReportId;
    return buffer;
}

uint32_t versionWord(const Buffer &buffer) {
    return qFromLittleEndian<uint32_t>(buffer.data());
}

PositionReading parsePosition(const Buffer &buffer) {
    PositionReading reading;
    reading.positionA = getFloat(buffer, PositionAOffset);
    reading.positionB = getFloat(buffer, PositionBOffset);
    reading.offsetA = getFloat(buffer, OffsetAOffset);
    reading.offsetB = getFloat(buffer, OffsetBOffset);
    return reading;
}

static void putSlot(Buffer &buffer, std::size_t slotShift, const DirectControlSlot &slot) {
    putFloat(buffer, SpringGainOffset + slotShift, slot.springGain);
    putFloat(buffer, ForceOffset + slotShift, slot.force);
    putFloat(buffer, PeriodicOffset + slotShift, slot.periodic);
    putFloat(buffer, StaticDampingOffset + slotShift, slot.staticDamping);
    putFloat(buffer, DynamicDampingOffset + slotShift, slot.dynamicDamping);
    putFloat(buffer, AxisOffsetOffset + slotShift, slot.axisOffset);
}

Buffer directControlReport(const DirectControlSlot &slotA, const DirectControlSlot &slotB) {
    Buffer buffer{};
    buffer[0] = OutputReportId;
    buffer[1] = DirectControlCommand;
    putSlot(buffer, 0, slotA);
    putSlot(buffer, SlotBDistance, slotB);
    return buffer;
}

Buffer directXOverrideReport(const DirectXOverrideTypeDef &values) {
    Buffer buffer{};
    buffer[0] = OutputReportId;
    buffer[1] = DirectXOverrideCommand;
    // The record goes out as it is laid out in memory: trimmer A, B, force A, B, periodic A, B.
    const float fields[6] = {values.trimmer[0], values.trimmer[1], values.force[0],
                             values.force[1],   values.periodic[0], values.periodic[1]};
    for (std::size_t i = 0; i < 6; ++i)
        putFloat(buffer, DirectXRecordOffset + i * 4, fields[i]);
    return buffer;
}

} // namespace HidReports
