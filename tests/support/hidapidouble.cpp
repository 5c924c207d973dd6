#include "hidapidouble.h"
#include "hidapidouble_p.h"

#include <hidapi.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <unordered_set>

// hidapi leaves the handle type opaque; the double gives it a body of its own.
struct hid_device_ {
    HidApiDouble::Device device;
    uint64_t generation; // the plug-in this handle was opened on
};

namespace HidApiDouble {
namespace {

constexpr std::size_t ReportSize = 65;

struct DeviceState {
    bool plugged = false;
    uint64_t generation = 0; // bumped on every plug-in: a re-plugged device is a new device
    unsigned char version[3] = {0, 0, 0};
    float positionA = 0;
    float positionB = 0;
    float offsetA = 0;
    float offsetB = 0;
    int featureReportResult = FullLength;
    int writeResult = FullLength;
};

struct State {
    std::mutex mutex;
    DeviceState devices[2];
    std::unordered_set<hid_device *> liveHandles;
    std::vector<CallRecord> calls;
    uint64_t sequence = 0;
    uint64_t cycle = 0;
    bool recording = true;
    int initCount = 0;
    int invalidHandleUses = 0;
};

// Function-local so the preload build can use it from its own static initialisers.
State &state() {
    static State *instance = new State; // never destroyed: hidapi calls may come during process exit
    return *instance;
}

std::atomic<detail::Observer *> observer{nullptr};

int index(Device device) {
    return device == Device::Rudder ? 1 : 0;
}

void notifyBefore() {
    if (detail::Observer *o = observer.load())
        o->beforeCall();
}

// Called with the lock held.
void record(State &s, Call call, Device device, int result, unsigned short productId, const unsigned char *bytes,
            std::size_t length) {
    ++s.sequence;
    if (detail::Observer *o = observer.load())
        o->afterCall(call, device, result, productId, bytes, length);
    if (!s.recording)
        return;
    CallRecord r;
    r.sequence = s.sequence;
    r.cycle = s.cycle;
    r.call = call;
    r.device = device;
    r.result = result;
    r.productId = productId;
    if (bytes)
        r.bytes.assign(bytes, bytes + length);
    s.calls.push_back(std::move(r));
}

bool handleUsable(const State &s, const hid_device *handle) {
    const DeviceState &d = s.devices[index(handle->device)];
    return d.plugged && d.generation == handle->generation;
}

void putFloat(unsigned char *at, float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    for (int i = 0; i < 4; ++i)
        at[i] = static_cast<unsigned char>(bits >> (8 * i));
}

} // namespace

void reset() {
    State &s = state();
    std::lock_guard lock(s.mutex);
    for (hid_device *handle : s.liveHandles)
        delete handle;
    s.liveHandles.clear();
    for (DeviceState &d : s.devices) {
        const uint64_t generation = d.generation; // kept rising, so no handle from before can come back to life
        d = DeviceState{};
        d.generation = generation + 1;
    }
    s.calls.clear();
    s.sequence = 0;
    s.cycle = 0;
    s.recording = true;
    s.initCount = 0;
    s.invalidHandleUses = 0;
}

void setPlugged(Device device, bool plugged) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    DeviceState &d = s.devices[index(device)];
    if (plugged && !d.plugged)
        ++d.generation;
    d.plugged = plugged;
}

bool isPlugged(Device device) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    return s.devices[index(device)].plugged;
}

void setVersionBytes(Device device, unsigned char b1, unsigned char b2, unsigned char b3) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    DeviceState &d = s.devices[index(device)];
    d.version[0] = b1;
    d.version[1] = b2;
    d.version[2] = b3;
}

void setPosition(Device device, float positionA, float positionB, float offsetA, float offsetB) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    DeviceState &d = s.devices[index(device)];
    d.positionA = positionA;
    d.positionB = positionB;
    d.offsetA = offsetA;
    d.offsetB = offsetB;
}

void setFeatureReportResult(Device device, int result) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    s.devices[index(device)].featureReportResult = result;
}

void setWriteResult(Device device, int result) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    s.devices[index(device)].writeResult = result;
}

void setCycle(uint64_t cycle) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    s.cycle = cycle;
}

uint64_t cycle() {
    State &s = state();
    std::lock_guard lock(s.mutex);
    return s.cycle;
}

void setRecording(bool enabled) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    s.recording = enabled;
    if (!enabled)
        s.calls.clear();
}

std::vector<CallRecord> calls() {
    State &s = state();
    std::lock_guard lock(s.mutex);
    return s.calls;
}

std::vector<CallRecord> calls(Call call, Device device) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    std::vector<CallRecord> result;
    for (const CallRecord &r : s.calls) {
        if (r.call == call && (device == Device::None || r.device == device))
            result.push_back(r);
    }
    return result;
}

std::vector<CallRecord> writes(Device device, int command) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    std::vector<CallRecord> result;
    for (const CallRecord &r : s.calls) {
        if (r.call != Call::Write || r.device != device)
            continue;
        if (command != 0 && (r.bytes.size() < 2 || r.bytes[1] != command))
            continue;
        result.push_back(r);
    }
    return result;
}

void clearCalls() {
    State &s = state();
    std::lock_guard lock(s.mutex);
    s.calls.clear();
}

int openHandleCount() {
    State &s = state();
    std::lock_guard lock(s.mutex);
    return static_cast<int>(s.liveHandles.size());
}

int openHandleCount(Device device) {
    State &s = state();
    std::lock_guard lock(s.mutex);
    return static_cast<int>(std::count_if(s.liveHandles.begin(), s.liveHandles.end(),
                                          [device](const hid_device *h) { return h->device == device; }));
}

int initCount() {
    State &s = state();
    std::lock_guard lock(s.mutex);
    return s.initCount;
}

int invalidHandleUses() {
    State &s = state();
    std::lock_guard lock(s.mutex);
    return s.invalidHandleUses;
}

void detail::setObserver(Observer *o) {
    observer.store(o);
}

} // namespace HidApiDouble

using namespace HidApiDouble;

extern "C" {

int HID_API_EXPORT HID_API_CALL hid_init(void) {
    notifyBefore();
    State &s = state();
    std::lock_guard lock(s.mutex);
    ++s.initCount;
    record(s, Call::Init, Device::None, 0, 0, nullptr, 0);
    return 0;
}

int HID_API_EXPORT HID_API_CALL hid_exit(void) {
    notifyBefore();
    State &s = state();
    std::lock_guard lock(s.mutex);
    record(s, Call::Exit, Device::None, 0, 0, nullptr, 0);
    return 0;
}

HID_API_EXPORT hid_device *HID_API_CALL hid_open(unsigned short vendor_id, unsigned short product_id,
                                                 const wchar_t *serial_number) {
    notifyBefore();
    State &s = state();
    std::lock_guard lock(s.mutex);
    Device device = Device::None;
    if (vendor_id == VendorId && product_id == JoystickProductId)
        device = Device::Joystick;
    else if (vendor_id == VendorId && product_id == RudderProductId)
        device = Device::Rudder;
    hid_device *handle = nullptr;
    if (device != Device::None && s.devices[index(device)].plugged) {
        handle = new hid_device{device, s.devices[index(device)].generation};
        s.liveHandles.insert(handle);
    }
    record(s, Call::Open, handle ? device : Device::None, handle ? 1 : 0, product_id, nullptr, 0);
    if (s.recording && !s.calls.empty())
        s.calls.back().serialNumberPassed = serial_number != nullptr;
    return handle;
}

int HID_API_EXPORT HID_API_CALL hid_get_feature_report(hid_device *dev, unsigned char *data, size_t length) {
    notifyBefore();
    State &s = state();
    std::lock_guard lock(s.mutex);
    const std::size_t recorded = std::min(length, ReportSize);
    if (!dev || !s.liveHandles.count(dev) || !data || length == 0) {
        ++s.invalidHandleUses;
        record(s, Call::GetFeatureReport, Device::None, -1, 0, nullptr, 0);
        return -1;
    }
    const DeviceState &d = s.devices[index(dev->device)];
    unsigned char report[ReportSize] = {};
    report[0] = data[0];
    int result;
    if (!handleUsable(s, dev)) {
        result = -1;
    } else if (data[0] == 0x25) {
        std::memcpy(report + 1, d.version, 3);
        result = d.featureReportResult;
    } else if (data[0] == 0x24) {
        putFloat(report + 1, d.positionA);
        putFloat(report + 5, d.positionB);
        putFloat(report + 9, d.offsetA);
        putFloat(report + 13, d.offsetB);
        result = d.featureReportResult;
    } else {
        result = -1; // the devices know no other feature report
    }
    if (result == FullLength)
        result = static_cast<int>(recorded);
    if (result >= 1) {
        result = std::min(result, static_cast<int>(recorded));
        std::memcpy(data, report, static_cast<std::size_t>(result));
    }
    record(s, Call::GetFeatureReport, dev->device, result, 0, data, recorded);
    return result;
}

int HID_API_EXPORT HID_API_CALL hid_write(hid_device *dev, const unsigned char *data, size_t length) {
    notifyBefore();
    State &s = state();
    std::lock_guard lock(s.mutex);
    if (!dev || !s.liveHandles.count(dev) || !data) {
        ++s.invalidHandleUses;
        record(s, Call::Write, Device::None, -1, 0, data, data ? length : 0);
        return -1;
    }
    int result = -1;
    if (handleUsable(s, dev)) {
        const int configured = s.devices[index(dev->device)].writeResult;
        result = configured == FullLength ? static_cast<int>(length) : configured;
    }
    record(s, Call::Write, dev->device, result, 0, data, length);
    return result;
}

void HID_API_EXPORT HID_API_CALL hid_close(hid_device *dev) {
    notifyBefore();
    State &s = state();
    std::lock_guard lock(s.mutex);
    if (!dev) {
        // hidapi's own hid_close returns at once on a null handle; so does the double.
        record(s, Call::Close, Device::None, 0, 0, nullptr, 0);
        return;
    }
    if (!s.liveHandles.erase(dev)) {
        ++s.invalidHandleUses;
        record(s, Call::Close, Device::None, -1, 0, nullptr, 0);
        return;
    }
    const Device device = dev->device;
    delete dev;
    record(s, Call::Close, device, 0, 0, nullptr, 0);
}

} // extern "C"
