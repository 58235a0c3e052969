// Batches of 8 pixels, for processors with AVX-512 (F, BW, DQ, VL).

#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

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

namespace {

struct Avx512 {
    static constexpr int count = 8;
    using Doubles = __m512d;
    using Int64s = __m512i;  // 64 bits per pixel
    using Int32s = __m256i;  // 32 bits per pixel
    using Floats = __m256;
    using Mask = __mmask8;

    [[gnu::always_inline]] static Doubles Load(const double* at) { return _mm512_loadu_pd(at); }
    [[gnu::always_inline]] static Doubles Set(double value) { return _mm512_set1_pd(value); }
    [[gnu::always_inline]] static Doubles Sqrt(Doubles a) { return _mm512_sqrt_pd(a); }
    [[gnu::always_inline]] static Doubles Min(Doubles a, Doubles b) { return _mm512_min_pd(a, b); }
    [[gnu::always_inline]] static Doubles Max(Doubles a, Doubles b) { return _mm512_max_pd(a, b); }
    [[gnu::always_inline]] static Doubles MulAdd(Doubles a, Doubles b, Doubles c) {
        return _mm512_fmadd_pd(a, b, c);
    }
    [[gnu::always_inline]] static Doubles Abs(Doubles a) { return _mm512_abs_pd(a); }
    [[gnu::always_inline]] static Doubles CopySign(Doubles a, Doubles sign) {
        return _mm512_or_pd(a, _mm512_and_pd(sign, Set(-0.0)));
    }
    [[gnu::always_inline]] static Doubles Round(Doubles a) {
        return _mm512_roundscale_pd(a, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    }

    [[gnu::always_inline]] static Mask Lt(Doubles a, Doubles b) {
        return _mm512_cmp_pd_mask(a, b, _CMP_LT_OQ);
    }
    [[gnu::always_inline]] static Mask Le(Doubles a, Doubles b) {
        return _mm512_cmp_pd_mask(a, b, _CMP_LE_OQ);
    }
    [[gnu::always_inline]] static Mask Eq(Doubles a, Doubles b) {
        return _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ);
    }
    [[gnu::always_inline]] static Doubles Or(Doubles a, Doubles b) { return _mm512_or_pd(a, b); }
    [[gnu::always_inline]] static Mask IsNegativeZero(Doubles a) {
        return _mm512_cmpeq_epi64_mask(BitsOf(a), BitsOf(Set(-0.0)));
    }
    [[gnu::always_inline]] static Mask IsZero(Int32s a) {
        return _mm256_cmpeq_epi32_mask(a, _mm256_setzero_si256());
    }
    [[gnu::always_inline]] static Mask And(Mask a, Mask b) { return static_cast<Mask>(a & b); }
    [[gnu::always_inline]] static Mask Or(Mask a, Mask b) { return static_cast<Mask>(a | b); }
    [[gnu::always_inline]] static Mask AndNot(Mask no, Mask a) {
        return static_cast<Mask>(~no & a);
    }
    [[gnu::always_inline]] static unsigned Bits(Mask a) { return a; }
    [[gnu::always_inline]] static Doubles IfThenElse(Mask mask, Doubles a, Doubles b) {
        return _mm512_mask_blend_pd(mask, b, a);
    }
    [[gnu::always_inline]] static Int64s IfThenElse(Mask mask, Int64s a, Int64s b) {
        return _mm512_mask_blend_epi64(mask, b, a);
    }
    [[gnu::always_inline]] static Int32s IfThenElseZero(Mask mask, Int32s a) {
        return _mm256_maskz_mov_epi32(mask, a);
    }
    [[gnu::always_inline]] static Int64s IfThenElseZero(Mask mask, Int64s a) {
        return _mm512_maskz_mov_epi64(mask, a);
    }
    [[gnu::always_inline]] static Doubles IfThenElseZero(Mask mask, Doubles a) {
        return _mm512_maskz_mov_pd(mask, a);
    }

    [[gnu::always_inline]] static Int32s Truncate(Doubles a) { return _mm512_cvttpd_epi32(a); }
    [[gnu::always_inline]] static Doubles ToDoubles(Int32s a) { return _mm512_cvtepi32_pd(a); }
    [[gnu::always_inline]] static Doubles ToDoubles(Floats a) { return _mm512_cvtps_pd(a); }
    [[gnu::always_inline]] static Floats ToFloats(Doubles a) { return _mm512_cvtpd_ps(a); }
    [[gnu::always_inline]] static Int64s BitsOf(Doubles a) { return _mm512_castpd_si512(a); }
    [[gnu::always_inline]] static Int32s BitsOf(__m256d a) { return _mm256_castpd_si256(a); }
    [[gnu::always_inline]] static Int32s BitsOf(Floats a) { return _mm256_castps_si256(a); }
    [[gnu::always_inline]] static Floats FloatsOf(Int32s a) { return _mm256_castsi256_ps(a); }

    [[gnu::always_inline]] static Int64s Set64(std::int64_t value) {
        return _mm512_set1_epi64(value);
    }
    [[gnu::always_inline]] static Int64s Widen(Int32s a) { return _mm512_cvtepi32_epi64(a); }
    [[gnu::always_inline]] static Int32s Narrow(Int64s a) { return _mm512_cvtepi64_epi32(a); }
    [[gnu::always_inline]] static Int64s Add(Int64s a, Int64s b) { return _mm512_add_epi64(a, b); }
    // Of the signed low halves.
    [[gnu::always_inline]] static Int64s MulEven(Int64s a, Int64s b) {
        return _mm512_mul_epi32(a, b);
    }
    template <int Count>
    [[gnu::always_inline]] static Int64s ShiftLeft(Int64s a) {
        return _mm512_slli_epi64(a, Count);
    }
    template <int Count>
    [[gnu::always_inline]] static Int64s ShiftRight(Int64s a) {
        return _mm512_srli_epi64(a, Count);
    }
    [[gnu::always_inline]] static Int64s And(Int64s a, Int64s b) { return _mm512_and_si512(a, b); }
    [[gnu::always_inline]] static Int64s Or(Int64s a, Int64s b) { return _mm512_or_si512(a, b); }
    [[gnu::always_inline]] static Int64s ReverseBytes(Int64s a) {
        return _mm512_shuffle_epi8(a, _mm512_broadcast_i32x4(_mm_set_epi8(
                                          8, 9, 10, 11, 12, 13, 14, 15, 0, 1, 2, 3, 4, 5, 6, 7)));
    }
    [[gnu::always_inline]] static Int32s Set32(int value) { return _mm256_set1_epi32(value); }
    template <int Count>
    [[gnu::always_inline]] static Int32s ShiftRight(Int32s a) {
        return _mm256_srli_epi32(a, Count);
    }
    [[gnu::always_inline]] static Int32s And(Int32s a, Int32s b) { return _mm256_and_si256(a, b); }
    [[gnu::always_inline]] static Int32s Or(Int32s a, Int32s b) { return _mm256_or_si256(a, b); }
    [[gnu::always_inline]] static Int32s Xor(Int32s a, Int32s b) { return _mm256_xor_si256(a, b); }

    // The 8 bytes at each address. Loads and inserts cost less than the gather instruction.
    [[gnu::always_inline]] static Int64s Gather(Int64s addresses) {
        const Addresses at(addresses);
        return _mm512_inserti64x4(_mm512_castsi256_si512(four(at, 0)), four(at, 4), 1);
    }
    // The 16 bytes at each address, as two words.
    struct WordPair {
        Int64s left, right;
    };
    [[gnu::always_inline]] static WordPair GatherPairs(Int64s addresses) {
        const Addresses at(addresses);
        const __m512i a = pairs(at, 0), b = pairs(at, 1);
        return {_mm512_unpacklo_epi64(a, b), _mm512_unpackhi_epi64(a, b)};
    }
    // The 8 floats at each address, those of all addresses together.
    struct FloatPair {
        Floats left[4], right[4];
    };
    [[gnu::always_inline]] static FloatPair GatherFloats(Int64s addresses) {
        const Addresses at(addresses);
        FloatPair pair;
        __m256 low[4], high[4];
        transpose(at, 0, low);
        transpose(at, 4, high);
        for (int i = 0; i < 4; ++i) {
            pair.left[i] = _mm256_permute2f128_ps(low[i], high[i], 0x20);
            pair.right[i] = _mm256_permute2f128_ps(low[i], high[i], 0x31);
        }
        return pair;
    }
    [[gnu::always_inline]] static void Store(void* to, Int64s a) { _mm512_storeu_si512(to, a); }
    [[gnu::always_inline]] static void Store(void* to, Int32s a) {
        _mm256_storeu_si256(static_cast<__m256i*>(to), a);
    }
    // Pixel by pixel.
    [[gnu::always_inline]] static void Store(float* to, Floats r, Floats g, Floats b, Floats a) {
        const __m256d rg04 = _mm256_castps_pd(_mm256_unpacklo_ps(r, g));
        const __m256d rg26 = _mm256_castps_pd(_mm256_unpackhi_ps(r, g));
        const __m256d ba04 = _mm256_castps_pd(_mm256_unpacklo_ps(b, a));
        const __m256d ba26 = _mm256_castps_pd(_mm256_unpackhi_ps(b, a));
        const __m256d p04 = _mm256_unpacklo_pd(rg04, ba04), p15 = _mm256_unpackhi_pd(rg04, ba04);
        const __m256d p26 = _mm256_unpacklo_pd(rg26, ba26), p37 = _mm256_unpackhi_pd(rg26, ba26);
        Store(to, BitsOf(_mm256_permute2f128_pd(p04, p15, 0x20)));
        Store(to + 8, BitsOf(_mm256_permute2f128_pd(p26, p37, 0x20)));
        Store(to + 16, BitsOf(_mm256_permute2f128_pd(p04, p15, 0x31)));
        Store(to + 24, BitsOf(_mm256_permute2f128_pd(p26, p37, 0x31)));
    }

  private:
    struct Addresses {
        alignas(64) const void* at[count];
        [[gnu::always_inline]] explicit Addresses(Int64s addresses) { Store(at, addresses); }
        template <class Vector>
        [[gnu::always_inline]] const Vector* as(int i) const {
            return static_cast<const Vector*>(at[i]);
        }
    };
    [[gnu::always_inline]] static __m128i two(const Addresses& from, int i) {
        return _mm_castps_si128(_mm_loadh_pi(_mm_castsi128_ps(_mm_loadl_epi64(from.as<__m128i>(i))),
                                             from.as<__m64>(i + 1)));
    }
    [[gnu::always_inline]] static __m256i four(const Addresses& from, int i) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(two(from, i)), two(from, i + 2), 1);
    }
    // 16 bytes of every second address.
    [[gnu::always_inline]] static __m512i pairs(const Addresses& from, int i) {
        const auto load = [&](int lane) __attribute__((always_inline)) {
            return _mm_loadu_si128(from.as<__m128i>(i + lane));
        };
        const __m256i low = _mm256_inserti128_si256(_mm256_castsi128_si256(load(0)), load(2), 1);
        const __m256i high = _mm256_inserti128_si256(_mm256_castsi128_si256(load(4)), load(6), 1);
        return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
    }
    // Component by component, in either half.
    [[gnu::always_inline]] static void transpose(const Addresses& from, int i, __m256 (&parts)[4]) {
        __m256 pixels[4];
        for (int k = 0; k < 4; ++k) pixels[k] = _mm256_loadu_ps(from.as<float>(i + k));
        const __m256 rg01 = _mm256_unpacklo_ps(pixels[0], pixels[1]);
        const __m256 ba01 = _mm256_unpackhi_ps(pixels[0], pixels[1]);
        const __m256 rg23 = _mm256_unpacklo_ps(pixels[2], pixels[3]);
        const __m256 ba23 = _mm256_unpackhi_ps(pixels[2], pixels[3]);
        parts[0] = _mm256_shuffle_ps(rg01, rg23, 0x44);
        parts[1] = _mm256_shuffle_ps(rg01, rg23, 0xEE);
        parts[2] = _mm256_shuffle_ps(ba01, ba23, 0x44);
        parts[3] = _mm256_shuffle_ps(ba01, ba23, 0xEE);
    }
};

}  // namespace

#include "render/batch.h"

namespace polar {

extern const InstructionSet avx512;
constexpr InstructionSet avx512{"AVX-512", isSupported, renderBatches<Avx512>, arctangents<Avx512>};

}  // namespace polar

#if defined(__clang__)
#pragma clang attribute pop
#endif
