#pragma once

#include "hidapidouble.h"

// The seam between the in-process double and its preload build, which steers the devices from files and logs
// every call to files (hidapidouble_preload.cpp).
namespace HidApiDouble::detail {

class Observer {
public:
    virtual ~Observer() = default;
    // Before every call, without the double's lock held: may call the control API to update the devices.
    virtual void beforeCall() = 0;
    // After every call, with the lock held (so log lines keep the call order); must not call the control API.
    virtual void afterCall(Call call, Device device, int result, unsigned short productId,
                           const unsigned char *bytes, std::size_t length) = 0;
};

// Installs (or, with nullptr, removes) the one observer. The observer must outlive every hid_* call.
void setObserver(Observer *observer);

} // namespace HidApiDouble::detail
