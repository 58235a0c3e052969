// Batches of 4 pixels, for processors with AVX2 and FMA.

#include <immintrin.h>

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "engine/BatchJob.h"
#include "pixels/QzBuffer.h"

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
    using Words = __m256i;   // 64 bits per pixel
    using Halves = __m128i;  // 32 bits per pixel
    using Floats = __m128;
    using Mask = __m256d;  // of 64 ones or zeros per pixel

    [[gnu::always_inline]] static Doubles load(const double* at) { return _mm256_loadu_pd(at); }
    [[gnu::always_inline]] static Doubles all(double value) { return _mm256_set1_pd(value); }
    [[gnu::always_inline]] static Doubles sqrt(Doubles a) { return _mm256_sqrt_pd(a); }
    [[gnu::always_inline]] static Doubles min(Doubles a, Doubles b) { return _mm256_min_pd(a, b); }
    [[gnu::always_inline]] static Doubles max(Doubles a, Doubles b) { return _mm256_max_pd(a, b); }
    [[gnu::always_inline]] static Doubles multiplyAdd(Doubles a, Doubles b, Doubles c) {
        return _mm256_fmadd_pd(a, b, c);
    }
    [[gnu::always_inline]] static Doubles magnitude(Doubles a) {
        return _mm256_andnot_pd(all(-0.0), a);
    }
    [[gnu::always_inline]] static Doubles withSign(Doubles a, Doubles sign) {
        return either(a, _mm256_and_pd(sign, all(-0.0)));
    }
    [[gnu::always_inline]] static Doubles nearest(Doubles a) {
        return _mm256_round_pd(a, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    }

    [[gnu::always_inline]] static Mask less(Doubles a, Doubles b) {
        return _mm256_cmp_pd(a, b, _CMP_LT_OQ);
    }
    [[gnu::always_inline]] static Mask lessEqual(Doubles a, Doubles b) {
        return _mm256_cmp_pd(a, b, _CMP_LE_OQ);
    }
    [[gnu::always_inline]] static Mask equal(Doubles a, Doubles b) {
        return _mm256_cmp_pd(a, b, _CMP_EQ_OQ);
    }
    [[gnu::always_inline]] static Mask negativeZero(Doubles a) {
        return _mm256_castsi256_pd(_mm256_cmpeq_epi64(bitsOf(a), bitsOf(all(-0.0))));
    }
    [[gnu::always_inline]] static Mask zero(Halves a) {
        return _mm256_castsi256_pd(_mm256_cvtepi32_epi64(_mm_cmpeq_epi32(a, _mm_setzero_si128())));
    }
    [[gnu::always_inline]] static Mask both(Mask a, Mask b) { return _mm256_and_pd(a, b); }
    [[gnu::always_inline]] static Doubles either(Doubles a, Doubles b) {
        return _mm256_or_pd(a, b);
    }
    [[gnu::always_inline]] static Mask without(Mask a, Mask b) { return _mm256_andnot_pd(b, a); }
    [[gnu::always_inline]] static unsigned bits(Mask a) {
        return static_cast<unsigned>(_mm256_movemask_pd(a));
    }
    [[gnu::always_inline]] static Doubles select(Mask mask, Doubles a, Doubles b) {
        return _mm256_blendv_pd(b, a, mask);
    }
    [[gnu::always_inline]] static Words select(Mask mask, Words a, Words b) {
        return _mm256_blendv_epi8(b, a, bitsOf(mask));
    }
    [[gnu::always_inline]] static Halves keep(Mask mask, Halves a) {
        return both(a, narrow(bitsOf(mask)));
    }
    [[gnu::always_inline]] static Words keep(Mask mask, Words a) { return both(a, bitsOf(mask)); }
    [[gnu::always_inline]] static Doubles keep(Mask mask, Doubles a) { return both(a, mask); }

    [[gnu::always_inline]] static Halves truncate(Doubles a) { return _mm256_cvttpd_epi32(a); }
    [[gnu::always_inline]] static Doubles toDoubles(Halves a) { return _mm256_cvtepi32_pd(a); }
    [[gnu::always_inline]] static Doubles toDoubles(Floats a) { return _mm256_cvtps_pd(a); }
    [[gnu::always_inline]] static Floats toFloats(Doubles a) { return _mm256_cvtpd_ps(a); }
    [[gnu::always_inline]] static Words bitsOf(Doubles a) { return _mm256_castpd_si256(a); }
    [[gnu::always_inline]] static Halves bitsOf(Floats a) { return _mm_castps_si128(a); }
    [[gnu::always_inline]] static Floats floatsOf(Halves a) { return _mm_castsi128_ps(a); }

    [[gnu::always_inline]] static Words words(std::int64_t value) {
        return _mm256_set1_epi64x(value);
    }
    [[gnu::always_inline]] static Words widen(Halves a) { return _mm256_cvtepi32_epi64(a); }
    [[gnu::always_inline]] static Halves narrow(Words a) {
        return _mm256_castsi256_si128(
            _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6)));
    }
    [[gnu::always_inline]] static Words add(Words a, Words b) { return _mm256_add_epi64(a, b); }
    // Of the signed low halves.
    [[gnu::always_inline]] static Words multiply(Words a, Words b) {
        return _mm256_mul_epi32(a, b);
    }
    template <int Bits>
    [[gnu::always_inline]] static Words shiftLeft(Words a) {
        return _mm256_slli_epi64(a, Bits);
    }
    template <int Bits>
    [[gnu::always_inline]] static Words shiftRight(Words a) {
        return _mm256_srli_epi64(a, Bits);
    }
    [[gnu::always_inline]] static Words both(Words a, Words b) { return _mm256_and_si256(a, b); }
    [[gnu::always_inline]] static Words either(Words a, Words b) { return _mm256_or_si256(a, b); }
    [[gnu::always_inline]] static Words swapBytes(Words a) {
        return _mm256_shuffle_epi8(a, _mm256_broadcastsi128_si256(_mm_set_epi8(
                                          8, 9, 10, 11, 12, 13, 14, 15, 0, 1, 2, 3, 4, 5, 6, 7)));
    }
    [[gnu::always_inline]] static Halves halves(int value) { return _mm_set1_epi32(value); }
    template <int Bits>
    [[gnu::always_inline]] static Halves shiftRight(Halves a) {
        return _mm_srli_epi32(a, Bits);
    }
    [[gnu::always_inline]] static Halves both(Halves a, Halves b) { return _mm_and_si128(a, b); }
    [[gnu::always_inline]] static Halves either(Halves a, Halves b) { return _mm_or_si128(a, b); }
    [[gnu::always_inline]] static Halves differ(Halves a, Halves b) { return _mm_xor_si128(a, b); }

    // The 8 bytes at each address. Loads and inserts cost less than the gather instruction.
    [[gnu::always_inline]] static Words gather(Words addresses) {
        const Addresses from(addresses);
        return joined(two(from, 0), two(from, 2));
    }
    // The 16 bytes at each address, as two words.
    struct WordPair {
        Words left, right;
    };
    [[gnu::always_inline]] static WordPair gatherPairs(Words addresses) {
        const Addresses from(addresses);
        const Words a = joined(from.load(0), from.load(2)), b = joined(from.load(1), from.load(3));
        return {_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b)};
    }
    // The 8 floats at each address, those of all addresses together.
    struct FloatPair {
        Floats left[4], right[4];
    };
    [[gnu::always_inline]] static FloatPair gatherFloats(Words addresses) {
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
    [[gnu::always_inline]] static void store(void* to, Words a) {
        _mm256_storeu_si256(static_cast<__m256i*>(to), a);
    }
    [[gnu::always_inline]] static void store(void* to, Halves a) {
        _mm_storeu_si128(static_cast<__m128i*>(to), a);
    }
    // Pixel by pixel.
    [[gnu::always_inline]] static void store(float* to, Floats r, Floats g, Floats b, Floats a) {
        _MM_TRANSPOSE4_PS(r, g, b, a);
        store(to, bitsOf(r));
        store(to + 4, bitsOf(g));
        store(to + 8, bitsOf(b));
        store(to + 12, bitsOf(a));
    }

  private:
    struct Addresses {
        alignas(32) const void* at[count];
        [[gnu::always_inline]] explicit Addresses(Words addresses) { store(at, addresses); }
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
    [[gnu::always_inline]] static Words joined(__m128i low, __m128i high) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
    }
};

}  // namespace

#include "engine/batch.h"

std::int64_t renderBatchesAvx2(const BatchJob& job) { return renderBatches<Avx2>(job); }

void arctangentsAvx2(const double* y, const double* x, double* angles) {
    arctangents<Avx2>(y, x, angles);
}

#if defined(__clang__)
#pragma clang attribute pop
#endif
