// Pixels in memory as vectors of components.
#pragma once

#include "pixels/QzBuffer.h"
#include "render/Job.h"
#include "render/Lanes.h"

namespace polar {
namespace {

template <class V>
struct Colours {
    V r{}, g{}, b{}, a{};
};

// Those of neighbouring pixels.
template <class V>
struct ColourPair {
    Colours<V> left, right;
};

// Words of memory ---------------------------------------------------------------------------------

[[gnu::always_inline]] inline const unsigned char* bytesAt(std::uint64_t address) {
    return reinterpret_cast<const unsigned char*>(address);  // NOLINT(performance-no-int-to-ptr)
}

// The bytes of a word at each of `addresses[order(i)] + offset`.
template <class Words, class Order, std::size_t... i>
[[gnu::always_inline]] inline Words gathered(const std::uint64_t* addresses, std::int64_t offset,
                                             Order order, std::index_sequence<i...>) {
    using Word = std::remove_cvref_t<decltype(Words{}[0])>;
    return Words{load<Word>(bytesAt(addresses[order(i)]) + offset)...};
}
template <class Words, class Order>
[[gnu::always_inline]] inline Words gather(const std::uint64_t* addresses, std::int64_t offset,
                                           Order order) {
    return gathered<Words>(addresses, offset, order, std::make_index_sequence<lengthOf<Words>>{});
}
template <class Words>
[[gnu::always_inline]] inline Words gather(const std::uint64_t* addresses, std::int64_t offset) {
    return gather<Words>(addresses, offset, [](int i) { return i; });
}

// Of words of 64 bits.
template <class Lanes>
struct Halves {
    typename Lanes::HalfWords low, high;
};

// Each 16 bytes of a register hold two words; those whose halves a shuffle brings together in order
// are two apart.
template <class Lanes, bool reversed>
[[gnu::always_inline]] inline Halves<Lanes> gatherHalves(const std::uint64_t* addresses,
                                                         std::int64_t offset) {
    using HalfWords = typename Lanes::HalfWords;
    using Words = typename Lanes::Words;
    using Floats = typename Lanes::Floats;
    constexpr auto order = [](int i) { return i / 2 * 4 + i % 2; };
    Words even = gather<Words>(addresses, offset, order);
    Words odd = gather<Words>(addresses + 2, offset, order);
    if constexpr (reversed) {
        even = reverseBytes(even);
        odd = reverseBytes(odd);
    }
    // Compilers shuffle floats in one step.
    return {as<HalfWords>(shuffle<0, 2, 4, 6>(as<Floats>(even), as<Floats>(odd))),
            as<HalfWords>(shuffle<1, 3, 5, 7>(as<Floats>(even), as<Floats>(odd)))};
}

// 16 bytes at every `step`th address.
template <class Lanes, int count, int step>
[[gnu::always_inline]] inline Vector<std::uint64_t, count> gather16(const std::uint64_t* addresses,
                                                                    std::int64_t offset) {
    if constexpr (count == 2)
        return load<Vector<std::uint64_t, 2>>(bytesAt(addresses[0]) + offset);
    else
        return Lanes::Target::join(
            gather16<Lanes, count / 2, step>(addresses, offset),
            gather16<Lanes, count / 2, step>(addresses + std::int64_t{count} / 4 * step, offset));
}

// The first bytes of each word; what is written beyond them is the next one's.
template <int bytes, int count, class From>
[[gnu::always_inline]] inline void storeEach(unsigned char* out, From word) {
    for (int i = 0; i < count; ++i, out += bytes) {
        const std::uint64_t value = word(i);
        std::memcpy(out, &value, i < count - 1 ? 8 : bytes);
    }
}

// Integers ----------------------------------------------------------------------------------------

// Moves bits up, or down where `by` is negative.
template <int by, class Words>
[[gnu::always_inline]] inline Words shifted(Words words) {
    if constexpr (by >= 0)
        return words << by;
    else
        return words >> -by;
}

// Values of 0 to 2^bits, 2^bits and a half added, in the bits of the sum: their integers, rounded
// to nearest, lie above `fraction` bits of how far they are from the tie below. A sum rounds by
// half a unit of these.
template <class Real, int bits>
struct Rounding {
    static constexpr int fraction = (sizeof(Real) == 4 ? 23 : 52) - bits;
    static constexpr Real offset = static_cast<Real>((std::uint64_t{1} << bits) + 0.5);

    // Whether sums are at least so many units from a tie.
    template <std::int64_t distance, class Reals>
    [[gnu::always_inline]] static auto isClear(Reals sum) {
        static_assert(std::has_single_bit(static_cast<std::uint64_t>(distance)));
        using Mask = decltype(sum < sum);
        using Word = std::remove_cvref_t<decltype(Mask{}[0])>;
        constexpr auto kept = static_cast<Word>((std::int64_t{1} << fraction) - 2 * distance);
        return ((as<Mask>(sum) + static_cast<Word>(distance)) & kept) != 0;
    }
};

// A pixel in a 64-bit word lies at bit `start`, its components at the bits of place(). Two shapes
// of words have the same interface: vectors of 64 bits, for arithmetic in doubles, and pairs of
// vectors of 32 bits, for floats, whose lanes are in order where gatherHalves() has read them.
template <class PixelType>
struct Layout {
    using Pixel = PixelType;
    static constexpr int bits = Pixel::componentBits, bytes = Pixel::pixelBytes;
    static constexpr std::uint32_t mask = Pixel::maxValue;
    // Where the pixels of a loaded pair begin, and one that is to be stored.
    static constexpr int left = Pixel::packed ? 64 - 8 * bytes : 0;
    static constexpr int right = bytes == 4 ? 32 : 0;

    static constexpr int place(int start, int index) {
        return start + bits * (Pixel::packed ? 3 - index : index);
    }
    // How far a colour is left from the low end of its word, which multiplies it by a power of two.
    static constexpr int kept(int index) { return Pixel::packed || index == 3 ? 0 : bits * index; }
    // By which that is undone.
    static constexpr double scale(int index) {
        return 1.0 / static_cast<double>(std::uint64_t{1} << kept(index));
    }
};

template <class Lanes, class PixelType, class Real>
struct IntegerPixels;

template <class Lanes, class PixelType>
struct IntegerPixels<Lanes, PixelType, double> : Layout<PixelType> {
    explicit IntegerPixels(const Job& /*job*/) {}

    using At = Layout<PixelType>;
    using Reals = typename Lanes::Doubles;
    using Words = typename Lanes::Words;
    static constexpr int count = Lanes::count;
    // Added to what is smaller, it leaves the nearest integer in the low bits.
    static constexpr double rounding = 0x1.8p52;

    [[gnu::always_inline]] static ColourPair<Reals> loadPair(const std::uint64_t* addresses,
                                                             std::int64_t offset) {
        if constexpr (At::bytes == 8) {
            const Words even = gather16<Lanes, count, 2>(addresses, offset);
            const Words odd = gather16<Lanes, count, 2>(addresses + 1, offset);
            return {colours(shuffle<0, 2>(even, odd)), colours(shuffle<1, 3>(even, odd))};
        } else {
            const Words first = gather<Words>(addresses, offset);
            const Words last = gather<Words>(addresses, offset + 2 * At::bytes - 8);
            return {colours(reverseBytes(first)), colours<At::right>(reverseBytes(last))};
        }
    }

    // Of sums whose integers lie above `fraction` bits, 0 with `rounding`.
    template <int fraction = 0>
    [[gnu::always_inline]] static void storeRounded(unsigned char* out, const Colours<Reals>& c) {
        const Words pixels = part<fraction, 0>(c.r) | part<fraction, 1>(c.g) |
                             part<fraction, 2>(c.b) | part<fraction, 3>(c.a);
        if constexpr (At::bytes == 8) {
            store(out, pixels);
        } else {
            alignas(64) std::uint64_t lanes[count];
            store(lanes, At::Pixel::packed ? reverseBytes(pixels) : pixels);
            storeEach<At::bytes, count>(out, [&](int i) { return lanes[i]; });
        }
    }

  private:
    template <int start = At::left>
    [[gnu::always_inline]] static Colours<Reals> colours(Words word) {
        return {real<start, 0>(word), real<start, 1>(word), real<start, 2>(word),
                real<start, 3>(word)};
    }
    // The bits of an integer below 2^52 are those of its sum with that.
    template <int start, int index>
    [[gnu::always_inline]] static Reals real(Words word) {
        constexpr int kept = At::kept(index);
        constexpr std::uint64_t mask = std::uint64_t{At::mask} << kept;
        const Words part = (word >> (At::place(start, index) - kept)) & mask;
        return as<Reals>(part | as<Words>(all<Reals>(0x1p52))) - 0x1p52;
    }
    template <int fraction, int index>
    [[gnu::always_inline]] static Words part(Reals rounded) {
        constexpr int place = At::place(At::left, index);
        return shifted<place - fraction>(as<Words>(rounded)) & std::uint64_t{At::mask} << place;
    }
};

template <class Lanes, class PixelType>
struct IntegerPixels<Lanes, PixelType, float> : Layout<PixelType> {
    explicit IntegerPixels(const Job& /*job*/) {}

    using At = Layout<PixelType>;
    using Reals = typename Lanes::Floats;
    using Words = typename Lanes::Words;
    using HalfWords = typename Lanes::HalfWords;
    static constexpr int count = Lanes::wide;
    static constexpr float rounding = 0x1.8p23f;

    [[gnu::always_inline]] static ColourPair<Reals> loadPair(const std::uint64_t* addresses,
                                                             std::int64_t offset) {
        const Halves first = gatherHalves<Lanes, At::Pixel::packed>(addresses, offset);
        if constexpr (At::bytes == 4)
            return {colours<At::left>(first), colours<At::right>(first)};
        else
            return {colours<At::left>(first),
                    colours<At::right>(gatherHalves<Lanes, At::Pixel::packed>(
                        addresses, offset + 2 * At::bytes - 8))};
    }

    // Of sums whose integers lie above `fraction` bits, 0 with `rounding`.
    template <int fraction = 0>
    [[gnu::always_inline]] static void storeRounded(unsigned char* out, const Colours<Reals>& c) {
        Halves pixels{};
        put<fraction, 0>(pixels, c.r);
        put<fraction, 1>(pixels, c.g);
        put<fraction, 2>(pixels, c.b);
        put<fraction, 3>(pixels, c.a);
        if constexpr (At::bytes == 4) {
            store(out, pixels.low);
        } else {
            alignas(64) std::uint64_t lanes[2][count / 2];
            store(lanes[0], reverseBytes(as<Words>(shuffle<0, 4, 1, 5>(pixels.low, pixels.high))));
            store(lanes[1], reverseBytes(as<Words>(shuffle<2, 6, 3, 7>(pixels.low, pixels.high))));
            storeEach<At::bytes, count>(out,
                                        [&](int i) { return lanes[i / 2 % 2][i / 4 * 2 + i % 2]; });
        }
    }

  private:
    using Halves = polar::Halves<Lanes>;

    template <int start>
    [[gnu::always_inline]] static Colours<Reals> colours(const Halves& words) {
        return {real<start, 0>(words), real<start, 1>(words), real<start, 2>(words),
                real<start, 3>(words)};
    }
    template <int start, int index>
    [[gnu::always_inline]] static Reals real(const Halves& words) {
        constexpr int place = At::place(start, index), kept = At::kept(index);
        HalfWords part;
        if constexpr (place >= 32)
            part = words.high >> (place - 32 - kept);
        else if constexpr (place + At::bits <= 32)
            part = words.low >> (place - kept);
        else
            part = words.low >> place | words.high << (32 - place);
        if constexpr (place + At::bits != 32 && place + At::bits != 64) part &= At::mask << kept;
        return __builtin_convertvector(as<Vector<std::int32_t, count>>(part), Reals);
    }
    template <int fraction, int index>
    [[gnu::always_inline]] static void put(Halves& words, Reals rounded) {
        constexpr int place = At::place(At::left, index);
        constexpr std::uint64_t mask = std::uint64_t{At::mask} << place;
        const auto bits = as<HalfWords>(rounded);
        constexpr auto low = static_cast<std::uint32_t>(mask);
        constexpr auto high = static_cast<std::uint32_t>(mask >> 32);
        if constexpr (low != 0) words.low |= shifted<place - fraction>(bits) & low;
        if constexpr (high != 0) words.high |= shifted<place - 32 - fraction>(bits) & high;
    }
};

// Floats ------------------------------------------------------------------------------------------

template <class Lanes>
[[gnu::always_inline]] inline typename Lanes::Doubles widen(Vector<float, Lanes::count> floats) {
    if constexpr (Lanes::count == 2)
        return __builtin_convertvector(floats, typename Lanes::Doubles);
    else
        return Lanes::Target::widen(floats);
}

template <class Lanes>
struct FloatPixels {
    using Doubles = typename Lanes::Doubles;
    static constexpr int count = Lanes::count;
    static constexpr std::int64_t bytes = 16;
    // One component of all pixels.
    using Floats = Vector<float, count>;

    [[gnu::always_inline]] static ColourPair<Doubles> loadPair(const std::uint64_t* addresses,
                                                               std::int64_t offset) {
        return {widened(load(addresses, offset)), widened(load(addresses, offset + bytes))};
    }
    // Sixteen bytes at each address. Each 16 bytes of a register hold a pixel: of 4 neighbours, or
    // 8, those that are 4 apart.
    [[gnu::always_inline]] static Colours<Floats> load(const std::uint64_t* addresses,
                                                       std::int64_t offset) {
        if constexpr (count == 2) {
            const auto a = polar::load<Vector<float, 4>>(bytesAt(addresses[0]) + offset);
            const auto b = polar::load<Vector<float, 4>>(bytesAt(addresses[1]) + offset);
            return {Floats{a[0], b[0]}, Floats{a[1], b[1]}, Floats{a[2], b[2]}, Floats{a[3], b[3]}};
        } else {
            const auto pixels = [&](int first) {
                return as<Floats>(gather16<Lanes, count / 2, 4>(addresses + first, offset));
            };
            return transposed({pixels(0), pixels(1), pixels(2), pixels(3)});
        }
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Colours<Floats>& c,
                                             bool isStreamed) {
        if constexpr (count == 2) {
            for (int i = 0; i < count; ++i, out += bytes)
                polar::store(out, Vector<float, 4>{c.r[i], c.g[i], c.b[i], c.a[i]});
        } else {
            const Colours<Floats> pixels = transposed(c);
            const Floats* const ordered[] = {&pixels.r, &pixels.g, &pixels.b, &pixels.a};
            for (int i = 0; i < count; ++i, out += bytes) {
                const auto pixel = quarter(*ordered[i % 4], i / 4);
                if (isStreamed)
                    Lanes::Target::stream(out, pixel);
                else
                    polar::store(out, pixel);
            }
        }
    }

  private:
    [[gnu::always_inline]] static Colours<Doubles> widened(const Colours<Floats>& c) {
        return {widen<Lanes>(c.r), widen<Lanes>(c.g), widen<Lanes>(c.b), widen<Lanes>(c.a)};
    }
    // Exchanges rows and columns of each 4 times 4.
    [[gnu::always_inline]] static Colours<Floats> transposed(const Colours<Floats>& c) {
        const Floats rg = shuffle<0, 4, 1, 5>(c.r, c.g), ba = shuffle<0, 4, 1, 5>(c.b, c.a);
        const Floats rg2 = shuffle<2, 6, 3, 7>(c.r, c.g), ba2 = shuffle<2, 6, 3, 7>(c.b, c.a);
        return {shuffle<0, 1, 4, 5>(rg, ba), shuffle<2, 3, 6, 7>(rg, ba),
                shuffle<0, 1, 4, 5>(rg2, ba2), shuffle<2, 3, 6, 7>(rg2, ba2)};
    }
    [[gnu::always_inline]] static Sixteen quarter(const Floats& value, int i) {
        return polar::load<Sixteen>(reinterpret_cast<const unsigned char*>(&value) + i * bytes);
    }
};

}  // namespace
}  // namespace polar
