#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <vector>

// A stand-in for hidapi: the C functions hid_init, hid_exit, hid_open, hid_get_feature_report, hid_write and
// hid_close, over two simulated devices (the joystick base 045B:58F9 and the rudder unit 045B:5968).
// Tests link quillar_hidapi_double instead of the real library and steer it through this API; every call
// is recorded with a sequence number and the cycle number the test last set. Thread-safe: the worker may run
// on another thread while a test steers the devices.
namespace HidApiDouble {

enum class Device : int { None = -1, Joystick = 0, Rudder = 1 };
enum class Call { Init, Exit, Open, GetFeatureReport, Write, Close };

constexpr unsigned short VendorId = 0x045B;
constexpr unsigned short JoystickProductId = 0x58F9;
constexpr unsigned short RudderProductId = 0x5968;

struct CallRecord {
    uint64_t sequence = 0;
    uint64_t cycle = 0;
    Call call = Call::Init;
    Device device = Device::None; // None: no device involved (init, exit, a failed open, a null handle)
    int result = 0;
    unsigned short productId = 0;     // hid_open only
    std::vector<unsigned char> bytes; // write: bytes sent; feature report: buffer after the call
    bool serialNumberPassed = false;  // hid_open only: a serial number was given rather than null
};

// Everything back to the start: both devices unplugged with zero positions and version bytes, full reads and
// writes, empty call log, cycle 0. Open handles are forgotten (and freed), so call it between tests.
void reset();

// Plugging a device in makes hid_open find it. Unplugging makes every handle to it fail reads and writes until
// it is closed; a re-plugged device is a new one, so handles opened before stay dead.
void setPlugged(Device device, bool plugged);
bool isPlugged(Device device);

// Bytes 1..3 of the version feature report (0x25).
void setVersionBytes(Device device, unsigned char b1, unsigned char b2, unsigned char b3);
// Slot A / slot B position and offset of the position feature report (0x24).
void setPosition(Device device, float positionA, float positionB, float offsetA, float offsetB);

constexpr int FullLength = INT_MAX;

// Result of every feature-report read: FullLength (default) fills the caller's buffer (at most 65 bytes) and
// returns the count; a value below 1 fails with that result and leaves the buffer untouched; n >= 1 copies
// only the first n bytes and returns n.
void setFeatureReportResult(Device device, int result);
// Result of every write: FullLength (default) returns the length; anything else is returned as is. The bytes
// are recorded either way, so a test can tell what the application tried to send.
void setWriteResult(Device device, int result);

// Tags every following call; tests set it before each device cycle they drive.
void setCycle(uint64_t cycle);
uint64_t cycle();

// When false, calls are no longer kept in memory (the preload build runs for hours).
void setRecording(bool enabled);

std::vector<CallRecord> calls();
std::vector<CallRecord> calls(Call call, Device device = Device::None);
// Writes that reached a live handle of `device` with the given report command byte (0x20, 0x21); 0: any.
std::vector<CallRecord> writes(Device device, int command = 0);
void clearCalls();

int openHandleCount();
int openHandleCount(Device device);
int initCount();
// Calls made with a handle that was never opened or is already closed (other than hid_close(NULL)).
int invalidHandleUses();

} // namespace HidApiDouble
