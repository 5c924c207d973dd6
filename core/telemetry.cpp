#include "telemetry.h"

#include <algorithm>

namespace {
// Registered by name before any thread exists, so queued signals can carry the enumeration by its name.
const int sourceMetaTypeId = qRegisterMetaType<Telemetry::Source>("Telemetry::Source");
} // namespace

float Telemetry::getAirspeed() const {
    (void)sourceMetaTypeId;
    // std::clamp lets a NaN airspeed through unchanged; the effects guard themselves against it.
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
