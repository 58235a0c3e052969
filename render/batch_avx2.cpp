// Batches of 4 and 8 pixels, for processors with AVX2 and FMA.

#include <immintrin.h>

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
#include "render/x86.h"

namespace {

bool isSupported() {
    constexpr std::uint32_t ymm = 0x06;
    return polar::processorHas(bit_AVX2, ymm);
}

}  // namespace

// All code from here on is compiled for these instructions; nothing of it has linkage but the
// entry.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,fma"))), apply_to = function)
#else
#pragma GCC target("avx2,fma")
#endif

#include "render/batch.h"

namespace polar {
namespace {

struct Avx2 {
    static constexpr int count = 4;
    using Doubles = Vector<double, 4>;
    using Floats = Vector<float, 8>;

    [[gnu::always_inline]] static Doubles fma(Doubles a, Doubles b, Doubles c) {
        return _mm256_fmadd_pd(a, b, c);
    }
    [[gnu::always_inline]] static Floats fma(Floats a, Floats b, Floats c) {
        return _mm256_fmadd_ps(a, b, c);
    }
    [[gnu::always_inline]] static Doubles sqrt(Doubles a) { return _mm256_sqrt_pd(a); }
    [[gnu::always_inline]] static Floats sqrt(Floats a) { return _mm256_sqrt_ps(a); }
    [[gnu::always_inline]] static Doubles floor(Doubles a) { return _mm256_floor_pd(a); }
    [[gnu::always_inline]] static Doubles widen(Vector<float, 4> a) { return _mm256_cvtps_pd(a); }
    [[gnu::always_inline]] static Vector<std::uint64_t, 4> join(Sixteen a, Sixteen b) {
        return as<Vector<std::uint64_t, 4>>(
            _mm256_inserti128_si256(_mm256_castsi128_si256(as<__m128i>(a)), as<__m128i>(b), 1));
    }
    [[gnu::always_inline]] static unsigned bits(Vector<std::int64_t, 4> mask) {
        return static_cast<unsigned>(_mm256_movemask_pd(as<__m256d>(mask)));
    }
    [[gnu::always_inline]] static unsigned bits(Vector<std::int32_t, 8> mask) {
        return static_cast<unsigned>(_mm256_movemask_ps(as<__m256>(mask)));
    }
    [[gnu::always_inline]] static void stream(unsigned char* to, Sixteen a) {
        _mm_stream_si128(reinterpret_cast<__m128i*>(to), as<__m128i>(a));
    }
    [[gnu::always_inline]] static void fence() { _mm_sfence(); }
};

}  // namespace

extern const InstructionSet avx2;
constexpr InstructionSet avx2{"AVX2", isSupported, renderBatches<Lanes<Avx2>>, renderAreas<Avx2>,
                              arctangents<Lanes<Avx2>>};

}  // namespace polar

#if defined(__clang__)
#pragma clang attribute pop
#endif
