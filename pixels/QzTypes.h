// Integer words of the host interface. C++11 and later.
#pragma once

#include <cstdint>
#include <type_traits>

// The host's `long`: a signed 32-bit word on every platform, `long` itself where that is 32 bits.
using QzLong = std::conditional<sizeof(long) == 4, long, std::int32_t>::type;

// The host's `unsigned long`.
using QzULong = std::make_unsigned<QzLong>::type;

static_assert(sizeof(QzLong) == 4, "the host interface counts in 32-bit words");
