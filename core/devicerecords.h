#pragma once

#include <QMetaType>
#include <type_traits>

// Axis positions (or offsets) as the devices report them, in axis order.
struct PositionInput {
    float roll = 0;
    float pitch = 0;
    float yaw = 0;
};

// The 24 bytes of a DirectX override report: three (slot A, slot B) pairs.
struct DirectXOverrideTypeDef {
    float trimmer[2] = {0, 0};
    float force[2] = {0, 0};
    float periodic[2] = {0, 0};
};

static_assert(std::is_trivially_copyable_v<PositionInput>);
static_assert(sizeof(DirectXOverrideTypeDef) == 24);

Q_DECLARE_METATYPE(PositionInput)
Q_DECLARE_METATYPE(DirectXOverrideTypeDef)
