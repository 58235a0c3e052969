// Batches of 4 pixels, for processors with AVX2 and FMA.

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

namespace {

struct Avx2 {
    static constexpr int count = 4;
    using Doubles = __m256d;
    using Int64s = __m256i;  // 64 bits per pixel
    using Int32s = __m128i;  // 32 bits per pixel
    using Floats = __m128;
    using Mask = __m256d;  // of 64 ones or zeros per pixel

    [[gnu::always_inline]] static Doubles Load(const double* at) { return _mm256_loadu_pd(at); }
    [[gnu::always_inline]] static Doubles Set(double value) { return _mm256_set1_pd(value); }
    [[gnu::always_inline]] static Doubles Sqrt(Doubles a) { return _mm256_sqrt_pd(a); }
    [[gnu::always_inline]] static Doubles Min(Doubles a, Doubles b) { return _mm256_min_pd(a, b); }
    [[gnu::always_inline]] static Doubles Max(Doubles a, Doubles b) { return _mm256_max_pd(a, b); }
    [[gnu::always_inline]] static Doubles MulAdd(Doubles a, Doubles b, Doubles c) {
        return _mm256_fmadd_pd(a, b, c);
    }
    [[gnu::always_inline]] static Doubles Abs(Doubles a) { return _mm256_andnot_pd(Set(-0.0), a); }
    [[gnu::always_inline]] static Doubles CopySign(Doubles a, Doubles sign) {
        return Or(a, _mm256_and_pd(sign, Set(-0.0)));
    }
    [[gnu::always_inline]] static Doubles Round(Doubles a) {
        return _mm256_round_pd(a, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    }

    [[gnu::always_inline]] static Mask Lt(Doubles a, Doubles b) {
        return _mm256_cmp_pd(a, b, _CMP_LT_OQ);
    }
    [[gnu::always_inline]] static Mask Le(Doubles a, Doubles b) {
        return _mm256_cmp_pd(a, b, _CMP_LE_OQ);
    }
    [[gnu::always_inline]] static Mask Eq(Doubles a, Doubles b) {
        return _mm256_cmp_pd(a, b, _CMP_EQ_OQ);
    }
    [[gnu::always_inline]] static Mask IsNegativeZero(Doubles a) {
        return _mm256_castsi256_pd(_mm256_cmpeq_epi64(BitsOf(a), BitsOf(Set(-0.0))));
    }
    [[gnu::always_inline]] static Mask IsZero(Int32s a) {
        return _mm256_castsi256_pd(_mm256_cvtepi32_epi64(_mm_cmpeq_epi32(a, _mm_setzero_si128())));
    }
    [[gnu::always_inline]] static Mask And(Mask a, Mask b) { return _mm256_and_pd(a, b); }
    [[gnu::always_inline]] static Doubles Or(Doubles a, Doubles b) { return _mm256_or_pd(a, b); }
    [[gnu::always_inline]] static Mask AndNot(Mask no, Mask a) { return _mm256_andnot_pd(no, a); }
    [[gnu::always_inline]] static unsigned Bits(Mask a) {
        return static_cast<unsigned>(_mm256_movemask_pd(a));
    }
    [[gnu::always_inline]] static Doubles IfThenElse(Mask mask, Doubles a, Doubles b) {
        return _mm256_blendv_pd(b, a, mask);
    }
    [[gnu::always_inline]] static Int64s IfThenElse(Mask mask, Int64s a, Int64s b) {
        return _mm256_blendv_epi8(b, a, BitsOf(mask));
    }
    [[gnu::always_inline]] static Int32s IfThenElseZero(Mask mask, Int32s a) {
        return And(a, Narrow(BitsOf(mask)));
    }
    [[gnu::always_inline]] static Int64s IfThenElseZero(Mask mask, Int64s a) {
        return And(a, BitsOf(mask));
    }
    [[gnu::always_inline]] static Doubles IfThenElseZero(Mask mask, Doubles a) {
        return And(a, mask);
    }

    [[gnu::always_inline]] static Int32s Truncate(Doubles a) { return _mm256_cvttpd_epi32(a); }
    [[gnu::always_inline]] static Doubles ToDoubles(Int32s a) { return _mm256_cvtepi32_pd(a); }
    [[gnu::always_inline]] static Doubles ToDoubles(Floats a) { return _mm256_cvtps_pd(a); }
    [[gnu::always_inline]] static Floats ToFloats(Doubles a) { return _mm256_cvtpd_ps(a); }
    [[gnu::always_inline]] static Int64s BitsOf(Doubles a) { return _mm256_castpd_si256(a); }
    [[gnu::always_inline]] static Int32s BitsOf(Floats a) { return _mm_castps_si128(a); }
    [[gnu::always_inline]] static Floats FloatsOf(Int32s a) { return _mm_castsi128_ps(a); }

    [[gnu::always_inline]] static Int64s Set64(std::int64_t value) {
        return _mm256_set1_epi64x(value);
    }
    [[gnu::always_inline]] static Int64s Widen(Int32s a) { return _mm256_cvtepi32_epi64(a); }
    [[gnu::always_inline]] static Int32s Narrow(Int64s a) {
        return _mm256_castsi256_si128(
            _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6)));
    }
    [[gnu::always_inline]] static Int64s Add(Int64s a, Int64s b) { return _mm256_add_epi64(a, b); }
    // Of the signed low halves.
    [[gnu::always_inline]] static Int64s MulEven(Int64s a, Int64s b) {
        return _mm256_mul_epi32(a, b);
    }
    template <int Count>
    [[gnu::always_inline]] static Int64s ShiftLeft(Int64s a) {
        return _mm256_slli_epi64(a, Count);
    }
    template <int Count>
    [[gnu::always_inline]] static Int64s ShiftRight(Int64s a) {
        return _mm256_srli_epi64(a, Count);
    }
    [[gnu::always_inline]] static Int64s And(Int64s a, Int64s b) { return _mm256_and_si256(a, b); }
    [[gnu::always_inline]] static Int64s Or(Int64s a, Int64s b) { return _mm256_or_si256(a, b); }
    [[gnu::always_inline]] static Int64s ReverseBytes(Int64s a) {
        return _mm256_shuffle_epi8(a, _mm256_broadcastsi128_si256(_mm_set_epi8(
                                          8, 9, 10, 11, 12, 13, 14, 15, 0, 1, 2, 3, 4, 5, 6, 7)));
    }
    [[gnu::always_inline]] static Int32s Set32(int value) { return _mm_set1_epi32(value); }
    template <int Count>
    [[gnu::always_inline]] static Int32s ShiftRight(Int32s a) {
        return _mm_srli_epi32(a, Count);
    }
    [[gnu::always_inline]] static Int32s And(Int32s a, Int32s b) { return _mm_and_si128(a, b); }
    [[gnu::always_inline]] static Int32s Or(Int32s a, Int32s b) { return _mm_or_si128(a, b); }
    [[gnu::always_inline]] static Int32s Xor(Int32s a, Int32s b) { return _mm_xor_si128(a, b); }

    // The 8 bytes at each address. Loads and inserts cost less than the gather instruction.
    [[gnu::always_inline]] static Int64s Gather(Int64s addresses) {
        const Addresses from(addresses);
        return joined(two(from, 0), two(from, 2));
    }
    // The 16 bytes at each address, as two words.
    struct WordPair {
        Int64s left, right;
    };
    [[gnu::always_inline]] static WordPair GatherPairs(Int64s addresses) {
        const Addresses from(addresses);
        const Int64s a = joined(from.load(0), from.load(2)), b = joined(from.load(1), from.load(3));
        return {_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b)};
    }
    // The 8 floats at each address, those of all addresses together.
    struct FloatPair {
        Floats left[4], right[4];
    };
    [[gnu::always_inline]] static FloatPair GatherFloats(Int64s addresses) {
        const Addresses from(addresses);
        FloatPair pair;
        for (int i = 0; i < 4; ++i) {
            pair.left[i] = _mm_loadu_ps(from.as<float>(i));
            pair.right[i] = _mm_loadu_ps(from.as<float>(i) + 4);
        }
        _MM_TRANSPOSE4_PS(pair.left[0], pair.left[1], pair.left[2], pair.left[3]);
        _MM_TRANSPOSE4_PS(pair.right[0], pair.right[1], pair.right[2], pair.right[3]);
        return pair;
    }
    [[gnu::always_inline]] static void Store(void* to, Int64s a) {
        _mm256_storeu_si256(static_cast<__m256i*>(to), a);
    }
    [[gnu::always_inline]] static void Store(void* to, Int32s a) {
        _mm_storeu_si128(static_cast<__m128i*>(to), a);
    }
    // Pixel by pixel.
    [[gnu::always_inline]] static void Store(float* to, Floats r, Floats g, Floats b, Floats a) {
        _MM_TRANSPOSE4_PS(r, g, b, a);
        Store(to, BitsOf(r));
        Store(to + 4, BitsOf(g));
        Store(to + 8, BitsOf(b));
        Store(to + 12, BitsOf(a));
    }

  private:
    struct Addresses {
        alignas(32) const void* at[count];
        [[gnu::always_inline]] explicit Addresses(Int64s addresses) { Store(at, addresses); }
        template <class Vector>
        [[gnu::always_inline]] const Vector* as(int i) const {
            return static_cast<const Vector*>(at[i]);
        }
        [[gnu::always_inline]] __m128i load(int i) const { return _mm_loadu_si128(as<__m128i>(i)); }
    };
    [[gnu::always_inline]] static __m128i two(const Addresses& from, int i) {
        return _mm_castps_si128(_mm_loadh_pi(_mm_castsi128_ps(_mm_loadl_epi64(from.as<__m128i>(i))),
                                             from.as<__m64>(i + 1)));
    }
    [[gnu::always_inline]] static Int64s joined(__m128i low, __m128i high) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
    }
};

}  // namespace

#include "render/batch.h"

namespace polar {

extern const InstructionSet avx2;
constexpr InstructionSet avx2{"AVX2", isSupported, renderBatches<Avx2>, arctangents<Avx2>};

}  // namespace polar

#if defined(__clang__)
#pragma clang attribute pop
#endif
