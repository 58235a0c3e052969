// Batches of 8 and 16 pixels, for processors with AVX-512 (F, BW, DQ, VL).

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
    constexpr std::uint32_t zmm = 0xE6;
    return polar::processorHas(bit_AVX2 | bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL,
                               zmm);
}

}  // namespace

// All code from here on is compiled for these instructions; nothing of it has linkage but the
// entry.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx512f,avx512bw,avx512dq,avx512vl,fma"))), \
                             apply_to = function)
#else
// GCC 12 takes the undefined operands in its own header for mistakes.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC target("avx512f,avx512bw,avx512dq,avx512vl,fma")
#endif

#include "render/batch.h"

namespace polar {
namespace {

struct Avx512 {
    static constexpr int count = 8;
    using Doubles = Vector<double, 8>;
    using Floats = Vector<float, 16>;
    using Words = Vector<std::uint64_t, 8>;
    using HalfWords = Vector<std::uint64_t, 4>;

    [[gnu::always_inline]] static Doubles fma(Doubles a, Doubles b, Doubles c) {
        return _mm512_fmadd_pd(a, b, c);
    }
    [[gnu::always_inline]] static Floats fma(Floats a, Floats b, Floats c) {
        return _mm512_fmadd_ps(a, b, c);
    }
    [[gnu::always_inline]] static Doubles sqrt(Doubles a) { return _mm512_sqrt_pd(a); }
    [[gnu::always_inline]] static Floats sqrt(Floats a) { return _mm512_sqrt_ps(a); }
    [[gnu::always_inline]] static Doubles floor(Doubles a) {
        return _mm512_roundscale_pd(a, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
    }
    [[gnu::always_inline]] static Doubles widen(Vector<float, 8> a) { return _mm512_cvtps_pd(a); }
    [[gnu::always_inline]] static HalfWords join(Sixteen a, Sixteen b) {
        return as<HalfWords>(
            _mm256_inserti128_si256(_mm256_castsi128_si256(as<__m128i>(a)), as<__m128i>(b), 1));
    }
    [[gnu::always_inline]] static Words join(HalfWords a, HalfWords b) {
        return as<Words>(
            _mm512_inserti64x4(_mm512_castsi256_si512(as<__m256i>(a)), as<__m256i>(b), 1));
    }
    [[gnu::always_inline]] static unsigned bits(Vector<std::int64_t, 8> mask) {
        return _mm512_movepi64_mask(as<__m512i>(mask));
    }
    [[gnu::always_inline]] static unsigned bits(Vector<std::int32_t, 16> mask) {
        return _mm512_movepi32_mask(as<__m512i>(mask));
    }
    [[gnu::always_inline]] static void stream(unsigned char* to, Sixteen a) {
        _mm_stream_si128(reinterpret_cast<__m128i*>(to), as<__m128i>(a));
    }
    [[gnu::always_inline]] static void fence() { _mm_sfence(); }
};

}  // namespace

extern const InstructionSet avx512;
constexpr InstructionSet avx512{"AVX-512", isSupported, renderBatches<Lanes<Avx512>>,
                                renderAreas<Avx512>, arctangents<Lanes<Avx512>>};

}  // namespace polar

#if defined(__clang__)
#pragma clang attribute pop
#endif
