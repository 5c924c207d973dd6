#pragma once

#include <QMetaType>
#include <type_traits>

// One axis's share of a force computation.
struct AxisForces {
    float force = 0;      // percent of the device's maximum, limited to [-100, 100] by calculateForces
    float periodic = 0;   // sum of the shaker outputs
    float springGain = 0; // magnitude of the spring the last spring effect computed
};

// Axes in order: 0 ailerons (roll), 1 elevator (pitch), 2 rudder (yaw).
struct Forces {
    AxisForces axes[3];

    AxisForces &operator[](int axis) { return axes[axis]; }
    const AxisForces &operator[](int axis) const { return axes[axis]; }
};

static_assert(std::is_trivially_copyable_v<Forces>);

Q_DECLARE_METATYPE(Forces)
