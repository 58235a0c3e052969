// Vectors of the compiler's own, one element per pixel of a batch, and what can be done with them.
//
// To be included by the unit of an instruction set, after it has switched to that set; everything
// here and in the headers of the batches is local to that unit. Arithmetic, comparisons and choices
// are operators of the language. What compilers make no good code of, a `Target` provides:
//
//   count              how many doubles a register holds: 2, 4 or 8
//   fma(a, b, c)       a * b + c, rounded once; of doubles and of floats
//   sqrt(a)            of doubles and of floats
//   floor(a)           of doubles
//   widen(a)           `count` floats as doubles; not where count is 2
//   join(a, b)         a register of two halves, of 64-bit words; 16 bytes are the least half
//   bits(mask)         a bit for each element of a mask, of 64 bits or of 32
//   stream(to, a)      writes 16 bytes to a multiple of 16, past the caches if it can; fence()
//                      comes before anything that tells others of it
#pragma once

#include <cstdint>
#include <cstring>
#include <utility>

namespace polar {
namespace {

template <class T, int count>
struct VectorOf {
    typedef T type __attribute__((vector_size(sizeof(T) * count)));
};
template <class T, int count>
using Vector = typename VectorOf<T, count>::type;

template <class TargetType>
struct Lanes {
    using Target = TargetType;
    static constexpr int count = Target::count;
    static constexpr int wide = 2 * count;  // elements of 32 bits in a register
    using Doubles = Vector<double, count>;
    using Words = Vector<std::uint64_t, count>;
    using Floats = Vector<float, wide>;
    using HalfWords = Vector<std::uint32_t, wide>;
};
using Sixteen = Vector<std::uint64_t, 2>;  // bytes

template <class V>
constexpr int lengthOf = sizeof(V) / sizeof(V{}[0]);

// The same bits.
template <class To, class From>
[[gnu::always_inline]] inline To as(From value) {
    static_assert(sizeof(To) == sizeof(From));
    return reinterpret_cast<To>(value);
}

template <class V>
[[gnu::always_inline]] inline V load(const void* from) {
    V value;
    std::memcpy(&value, from, sizeof value);
    return value;
}
template <class V>
[[gnu::always_inline]] inline void store(void* to, V value) {
    std::memcpy(to, &value, sizeof value);
}

// The same value in every element; a sum with zeros would lose the sign of a zero.
template <class V, class T>
[[gnu::always_inline]] inline V all(T value) {
    return value - V{};
}

template <class V>
[[gnu::always_inline]] inline V smaller(V a, V b) {
    return a < b ? a : b;
}
template <class V>
[[gnu::always_inline]] inline V larger(V a, V b) {
    return a > b ? a : b;
}
template <class V>
[[gnu::always_inline]] inline V magnitude(V value) {
    using Mask = decltype(value < value);
    return as<V>(as<Mask>(value) & ~as<Mask>(-V{}));
}

// A bit for each element of what a comparison gives.
template <class Lanes, class Mask>
[[gnu::always_inline]] inline unsigned bitsOf(Mask mask) {
    if constexpr (lengthOf<Mask> == Lanes::count)
        return Lanes::Target::bits(as<Vector<std::int64_t, Lanes::count>>(mask));
    else
        return Lanes::Target::bits(as<Vector<std::int32_t, Lanes::wide>>(mask));
}

// Within each 16 bytes: elements of `a` at the places that `pattern` lists, those of `b` counted on
// from there.
template <int... pattern, class V, std::size_t... i>
[[gnu::always_inline]] inline V shuffled(V a, V b, std::index_sequence<i...>) {
    constexpr int places[] = {pattern...}, group = sizeof...(pattern);
    constexpr auto pick = [](int at, const int(&from)[sizeof...(pattern)]) {
        const int place = from[at % group], first = at / group * group;
        return place < group ? first + place : lengthOf<V> + first + place - group;
    };
    return __builtin_shufflevector(a, b, pick(i, places)...);
}
template <int... pattern, class V>
[[gnu::always_inline]] inline V shuffle(V a, V b) {
    static_assert(sizeof...(pattern) * sizeof(a[0]) == 16);
    return shuffled<pattern...>(a, b, std::make_index_sequence<lengthOf<V>>{});
}
[[gnu::always_inline]] inline auto reverseBytes(auto words) {
    using Bytes = Vector<unsigned char, sizeof words>;
    const auto bytes = as<Bytes>(words);
    return as<decltype(words)>(
        shuffle<7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8>(bytes, bytes));
}

}  // namespace
}  // namespace polar
