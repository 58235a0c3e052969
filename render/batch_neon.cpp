// Batches of 2 and 4 pixels, for 64-bit ARM processors, all of which have NEON.

#include <arm_neon.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "pixels/QzBuffer.h"
#include "render/InstructionSet.h"
#include "render/Job.h"
#include "render/batch.h"

namespace polar {
namespace {

struct Neon {
    static constexpr int count = 2;
    using Doubles = Vector<double, 2>;
    using Floats = Vector<float, 4>;

    [[gnu::always_inline]] static Doubles fma(Doubles a, Doubles b, Doubles c) {
        return vfmaq_f64(c, a, b);
    }
    [[gnu::always_inline]] static Floats fma(Floats a, Floats b, Floats c) {
        return vfmaq_f32(c, a, b);
    }
    [[gnu::always_inline]] static Doubles sqrt(Doubles a) { return vsqrtq_f64(a); }
    [[gnu::always_inline]] static Floats sqrt(Floats a) { return vsqrtq_f32(a); }
    [[gnu::always_inline]] static Doubles floor(Doubles a) { return vrndmq_f64(a); }
    [[gnu::always_inline]] static unsigned bits(Vector<std::int64_t, 2> mask) {
        return static_cast<unsigned>((mask[0] & 1) | (mask[1] & 2));
    }
    [[gnu::always_inline]] static unsigned bits(Vector<std::int32_t, 4> mask) {
        constexpr Vector<std::int32_t, 4> places{1, 2, 4, 8};
        return static_cast<unsigned>(vaddvq_s32(mask & places));
    }
    [[gnu::always_inline]] static void stream(unsigned char* to, Sixteen a) { store(to, a); }
    [[gnu::always_inline]] static void fence() {}
};

}  // namespace

extern const InstructionSet neon;
constexpr InstructionSet neon{"NEON", [] { return true; }, renderBatches<Lanes<Neon>>,
                              renderAreas<Neon>, arctangents<Lanes<Neon>>};

}  // namespace polar
