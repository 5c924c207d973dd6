#pragma once

#include "devicerecords.h"

#include <array>
#include <cstddef>
#include <cstdint>

// The reports of the joystick base and the rudder unit, built and parsed over fixed 65-byte buffers.
// Nothing here talks to a device: the worker hands these buffers to hidapi.
namespace HidReports {

constexpr std::size_t ReportSize = 65;
using Buffer = std::array<unsigned char, ReportSize>;

constexpr unsigned char VersionReportId = 0x25;
constexpr unsigned char PositionReportId = 0x24;
constexpr unsigned char OutputReportId = 0x02;
constexpr unsigned char DirectControlCommand = 0x20;
constexpr unsigned char DirectXOverrideCommand = 0x21;

// Byte offsets of slot A in the direct-control report; slot B follows 4 bytes later.
constexpr std::size_t SpringGainOffset = 2;
constexpr std::size_t ForceOffset = 10;
constexpr std::size_t PeriodicOffset = 18;
constexpr std::size_t StaticDampingOffset = 26;
constexpr std::size_t DynamicDampingOffset = 34;
constexpr std::size_t AxisOffsetOffset = 42;
constexpr std::size_t SlotBDistance = 4;

// Byte offsets in the position feature report.
constexpr std::size_t PositionAOffset = 1;
constexpr std::size_t PositionBOffset = 5;
constexpr std::size_t OffsetAOffset = 9;
constexpr std::size_t OffsetBOffset = 13;

// Start of the DirectX override record in its report.
constexpr std::size_t DirectXRecordOffset = 2;

// Little-endian 32-bit float in and out of a buffer; `at` + 4 must lie within the buffer.
void putFloat(Buffer &buffer, std::size_t at, float value);
float getFloat(const Buffer &buffer, std::size_t at);

// A zeroed buffer carrying only the report id, ready for hid_get_feature_report.
Buffer versionRequest();
Buffer positionRequest();

// The version is the little-endian word of bytes 0..3, report id included, so its low byte is always 0x25.
uint32_t versionWord(const Buffer &buffer);

struct PositionReading {
    float positionA = 0;
    float positionB = 0;
    float offsetA = 0;
    float offsetB = 0;
};
PositionReading parsePosition(const Buffer &buffer);

// What one axis puts into its slot of a direct-control report. An absent slot (the rudder's slot B) is all zero.
struct DirectControlSlot {
    float springGain = 0;
    float force = 0;
    float periodic = 0;
    float staticDamping = 0;
    float dynamicDamping = 0;
    float axisOffset = 0;
};
Buffer directControlReport(const DirectControlSlot &slotA, const DirectControlSlot &slotB);

// 0x02, 0x21, the 24-byte record (trimmer, force, periodic pairs in slot order), then zeros.
Buffer directXOverrideReport(const DirectXOverrideTypeDef &values);

} // namespace HidReports
