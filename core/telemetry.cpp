#include "telemetry.h"

#include <algorithm>

namespace {
// Registered by name before any thread exists, so queued signals can carry the enumeration by its name.
const int sourceMetaTypeId = qRegisterMetaType<Telemetry::Source>("Telemetry::Source");
} // namespace

float Telemetry::getAirspeed() const {
    (void)sourceMetaTypeId;
    // std::clamp lets a NaN airspeed through unchanged, and nothing further on replaces it: the effects that
    // read the airspeed compute NaN from it, and the force clamp passes NaN on as well. Only the sine table and
    // the oscillator keep a NaN from turning into undefined behaviour; they do not turn it into a number.
    return std::clamp(airspeed, 0.0f, 1000.0f);
}

float Telemetry::flowAngle(int axis) const {
    switch (axis) {
    case 0:
        return aileronsFlowAngle;
    case 1:
        return aoa;
    case 2:
        return sideslip;
    default:
        return 0;
    }
}
