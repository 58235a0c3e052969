// Conversions from double to the host's 32-bit integers. None has undefined behaviour.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>

#include "pixels/QzTypes.h"

// Rounds to nearest, ties to even; exact where the result fits 32 bits, some integer elsewhere.
// Adding 2^52 + 2^32 leaves a sum without fraction bits, whose low 32 bits are the integer.
inline QzLong roundToLong(double value) {
    return static_cast<QzLong>(
        static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value + 4503603922337792.0)));
}

// Calls `convert` for values inside the range of QzLong. Others saturate; not-a-number gives the
// lower end.
template <class Convert>
QzLong saturate(double value, Convert convert) {
    constexpr auto lowest = std::numeric_limits<QzLong>::min();
    constexpr auto highest = std::numeric_limits<QzLong>::max();
    if (!(value > lowest)) return lowest;
    if (!(value < highest)) return highest;
    return convert(value);
}

// roundToLong, saturating.
inline QzLong roundPosition(double value) { return saturate(value, roundToLong); }

// Rounds toward minus infinity, saturating.
inline QzLong floorPosition(double value) {
    return saturate(value, [](double inside) {
        const auto truncated = static_cast<QzLong>(inside);
        return truncated - (inside < truncated ? 1 : 0);
    });
}
