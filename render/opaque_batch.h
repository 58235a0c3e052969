// Means of four pixels without alpha.
#pragma once

#include <type_traits>

#include "render/Job.h"
#include "render/OpaquePixel.h"
#include "render/mix_batch.h"

namespace polar {
namespace {

// Pixels in memory -------------------------------------------------------------------------------

// As the means of floats and of integers read pairs of pixels and write single ones: `count` at a
// time, components that pixels do not have being nothing.
template <class Lanes, class Component, int channels>
struct OpaquePixels;

// The integers of registers of 32 bits, as floats.
template <class HalfWords>
[[gnu::always_inline]] inline auto floatsOf(HalfWords integers) {
    constexpr int count = lengthOf<HalfWords>;
    return __builtin_convertvector(as<Vector<std::int32_t, count>>(integers), Vector<float, count>);
}

// Two bytes at each address. Four are joined before they get into a register: measured, that takes
// less than a way in for each.
template <int count, std::size_t... i>
[[gnu::always_inline]] inline Vector<std::uint16_t, count> gatherPairs(
    const std::uint64_t* addresses, std::int64_t offset, std::index_sequence<i...>) {
    const auto joined = [&](const std::uint64_t* at) __attribute__((always_inline)) {
        std::uint64_t word = 0;
        for (int k = 0; k < 4; ++k)
            word |= std::uint64_t{load<std::uint16_t>(bytesAt(at[k]) + offset)} << 16 * k;
        return word;
    };
    using Words = Vector<std::uint64_t, count / 4>;
    return as<Vector<std::uint16_t, count>>(Words{joined(addresses + 4 * i)...});
}

template <class Lanes>
struct OpaquePixels<Lanes, unsigned char, 1> {
    using Rounding = polar::Rounding<float, 8>;
    static constexpr int count = Lanes::wide;
    static constexpr int columnsBeyond = 0;
    using Reals = typename Lanes::Floats;
    using HalfWords = typename Lanes::HalfWords;

    [[gnu::always_inline]] static ColourPair<Reals> loadPair(const std::uint64_t* addresses,
                                                             std::int64_t offset) {
        const auto pairs = __builtin_convertvector(
            gatherPairs<count>(addresses, offset, std::make_index_sequence<count / 4>{}),
            HalfWords);
        return {{floatsOf(pairs & 0xFF)}, {floatsOf(pairs >> 8)}};
    }
    [[gnu::always_inline]] static void storeRounded(unsigned char* out, const Colours<Reals>& c) {
        const auto grey = as<HalfWords>(c.r) >> Rounding::fraction;
        store(out, __builtin_convertvector(grey, Vector<std::uint8_t, count>));
    }
};

template <class Lanes>
struct OpaquePixels<Lanes, unsigned char, 3> {
    using Rounding = polar::Rounding<float, 8>;
    static constexpr int count = Lanes::wide;
    static constexpr int columnsBeyond = 1;  // loadPair() reads eight bytes
    using Reals = typename Lanes::Floats;
    using HalfWords = typename Lanes::HalfWords;

    [[gnu::always_inline]] static ColourPair<Reals> loadPair(const std::uint64_t* addresses,
                                                             std::int64_t offset) {
        const auto [low, high] = gatherHalves<Lanes, false>(addresses, offset);
        return {{floatsOf(low & 0xFF), floatsOf(low >> 8 & 0xFF), floatsOf(low >> 16 & 0xFF)},
                {floatsOf(low >> 24), floatsOf(high & 0xFF), floatsOf(high >> 8 & 0xFF)}};
    }
    [[gnu::always_inline]] static ColourPair<Reals> loadRimPair(const std::uint64_t* addresses,
                                                                std::int64_t offset) {
        const auto first = gather<HalfWords>(addresses, offset);
        const auto last = gather<HalfWords>(addresses, offset + 2);
        return {{floatsOf(first & 0xFF), floatsOf(first >> 8 & 0xFF), floatsOf(first >> 16 & 0xFF)},
                {floatsOf(last >> 8 & 0xFF), floatsOf(last >> 16 & 0xFF), floatsOf(last >> 24)}};
    }
    [[gnu::always_inline]] static void storeRounded(unsigned char* out, const Colours<Reals>& c) {
        constexpr int fraction = Rounding::fraction;
        const HalfWords red = shifted<-fraction>(as<HalfWords>(c.r)) & 0xFF;
        const HalfWords green = shifted<8 - fraction>(as<HalfWords>(c.g)) & 0xFF00;
        const HalfWords blue = shifted<16 - fraction>(as<HalfWords>(c.b)) & 0xFF0000;
        using Bytes = Vector<unsigned char, 4 * count>;
        const auto spread = as<Bytes>(red | green | blue);
        const Bytes pixels =
            shuffle<0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 3, 7, 11, 15>(spread, spread);
        // What is written beyond four pixels is the next ones'.
        const auto* from = reinterpret_cast<const unsigned char*>(&pixels);
        for (int i = 0; i < count; i += 4, from += 16, out += 12)
            std::memcpy(out, from, i + 4 < count ? 16 : 12);
    }
};

template <class Lanes>
struct OpaquePixels<Lanes, unsigned short, 1> {
    using Rounding = polar::Rounding<double, 16>;
    static constexpr int count = Lanes::count;
    static constexpr int columnsBeyond = 0;
    using Reals = typename Lanes::Doubles;

    [[gnu::always_inline]] static ColourPair<Reals> loadPair(const std::uint64_t* addresses,
                                                             std::int64_t offset) {
        const auto pairs = gather<Vector<std::uint32_t, count>>(addresses, offset);
        return {{reals(pairs & 0xFFFF)}, {reals(pairs >> 16)}};
    }
    [[gnu::always_inline]] static void storeRounded(unsigned char* out, const Colours<Reals>& c) {
        const auto grey = as<typename Lanes::Words>(c.r) >> Rounding::fraction;
        store(out, __builtin_convertvector(grey, Vector<std::uint16_t, count>));
    }

  private:
    [[gnu::always_inline]] static Reals reals(Vector<std::uint32_t, count> integers) {
        return __builtin_convertvector(as<Vector<std::int32_t, count>>(integers), Reals);
    }
};

template <class Lanes>
struct OpaquePixels<Lanes, unsigned short, 3> {
    using Rounding = polar::Rounding<double, 16>;
    static constexpr int count = Lanes::count;
    static constexpr int columnsBeyond = 0;
    using Reals = typename Lanes::Doubles;
    using Words = typename Lanes::Words;

    [[gnu::always_inline]] static ColourPair<Reals> loadPair(const std::uint64_t* addresses,
                                                             std::int64_t offset) {
        const Words first = gather<Words>(addresses, offset);
        const Words last = gather<Words>(addresses, offset + 4);
        return {{reals(first), reals(first >> 16), reals(first >> 32)},
                {reals(last >> 16), reals(last >> 32), reals(last >> 48)}};
    }
    [[gnu::always_inline]] static void storeRounded(unsigned char* out, const Colours<Reals>& c) {
        constexpr int fraction = Rounding::fraction;
        constexpr std::uint64_t mask = 0xFFFF;
        const Words red = shifted<-fraction>(as<Words>(c.r)) & mask;
        const Words green = shifted<16 - fraction>(as<Words>(c.g)) & mask << 16;
        const Words blue = shifted<32 - fraction>(as<Words>(c.b)) & mask << 32;
        alignas(64) std::uint64_t pixels[count];
        store(pixels, red | green | blue);
        storeEach<6, count>(out, [&](int i) { return pixels[i]; });
    }

  private:
    // Of the low 16 bits, as IntegerPixels does it.
    [[gnu::always_inline]] static Reals reals(Words word) {
        return as<Reals>((word & 0xFFFF) | as<Words>(all<Reals>(0x1p52))) - 0x1p52;
    }
};

template <class Lanes>
struct OpaquePixels<Lanes, float, 1> {
    static constexpr int count = Lanes::count;
    using Floats = Vector<float, count>;

    [[gnu::always_inline]] static ColourPair<Floats> loadPair(const std::uint64_t* addresses,
                                                              std::int64_t offset) {
        if constexpr (count == 2) {
            const auto pairs = as<Vector<float, 4>>(gather<Sixteen>(addresses, offset));
            return {{Floats{pairs[0], pairs[2]}}, {Floats{pairs[1], pairs[3]}}};
        } else {
            using Words = Vector<std::uint64_t, count / 2>;
            constexpr auto order = [](int i) { return i / 2 * 4 + i % 2; };
            const auto even = as<Floats>(gather<Words>(addresses, offset, order));
            const auto odd = as<Floats>(gather<Words>(addresses + 2, offset, order));
            return {{shuffle<0, 2, 4, 6>(even, odd)}, {shuffle<1, 3, 5, 7>(even, odd)}};
        }
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Colours<Floats>& c) {
        polar::store(out, c.r);
    }
};

template <class Lanes>
struct OpaquePixels<Lanes, float, 3> {
    static constexpr int count = Lanes::count;
    using Floats = Vector<float, count>;

    // Sixteen bytes are a pixel and the red of the next one, or the blue of a pixel and the next.
    [[gnu::always_inline]] static ColourPair<Floats> loadPair(const std::uint64_t* addresses,
                                                              std::int64_t offset) {
        const auto first = FloatPixels<Lanes>::load(addresses, offset);
        const auto last = FloatPixels<Lanes>::load(addresses, offset + 8);
        return {{first.r, first.g, first.b}, {last.g, last.b, last.a}};
    }
    // What is written beyond a pixel is the next one's.
    [[gnu::always_inline]] static void store(unsigned char* out, const Colours<Floats>& c) {
        alignas(16) unsigned char pixels[16 * count];
        FloatPixels<Lanes>::store(pixels, {c.r, c.g, c.b}, false);
        const unsigned char* from = pixels;
        for (int i = 0; i < count; ++i, from += 16, out += 12)
            std::memcpy(out, from, i < count - 1 ? 16 : 12);
    }
};

// Means -------------------------------------------------------------------------------------------

// Between two pixels beside each other, then between those above and below; `offset` added, which
// as a constant 0 must not cost an addition.
template <class Target, class Reals, class Real>
[[gnu::always_inline]] inline Reals mean(Reals fx, Reals fy, Reals p00, Reals p10, Reals p01,
                                         Reals p11, Real offset) {
    const Reals above = Target::fma(fx, p10 - p00, p00);
    const Reals below = Target::fma(fx, p11 - p01, p01);
    return Target::fma(fy, below - above, offset == 0 ? above : above + offset);
}

// Pixels as those with alpha that they are sampled as, full in all that are there.
template <class Lanes, class Pixel>
class RimPixels {
    using Component = typename Pixel::Component;
    using Own = OpaquePixels<Lanes, Component, Pixel::channels>;

  public:
    using Reals = typename Own::Reals;
    static constexpr int count = Own::count;

    explicit RimPixels(const Job& job) : job_(&job) {}

    static constexpr double scale(int) { return 1; }
    [[gnu::always_inline]] static ColourPair<Reals> loadPair(const std::uint64_t* addresses,
                                                             std::int64_t offset) {
        auto pair = load(addresses, offset);
        using Real = std::remove_cvref_t<decltype(Reals{}[0])>;
        pair.left.a = pair.right.a = all<Reals>(static_cast<Real>(Pixel::maxValue));
        return pair;
    }
    template <int fraction>
    [[gnu::always_inline]] void storeRounded(unsigned char* out, const Colours<Reals>& c) const {
        const auto alpha = integers<fraction>(c.a);
        if (bitsOf<Lanes>(alpha != Pixel::maxValue) == 0)
            Own::storeRounded(out, c);
        else
            storeOver<fraction>(out, c);
    }

  private:
    // Nothing beyond the pair.
    [[gnu::always_inline]] static ColourPair<Reals> load(const std::uint64_t* addresses,
                                                         std::int64_t offset) {
        if constexpr (Own::columnsBeyond > 0)
            return Own::loadRimPair(addresses, offset);
        else
            return Own::loadPair(addresses, offset);
    }
    template <int fraction>
    [[gnu::always_inline]] static auto integers(Reals sums) {
        using Words = std::conditional_t<sizeof(sums[0]) == 4, typename Lanes::HalfWords,
                                         typename Lanes::Words>;
        return shifted<-fraction>(as<Words>(sums)) & Pixel::maxValue;
    }
    template <int fraction>
    [[gnu::noinline]] void storeOver(unsigned char* out, const Colours<Reals>& c) const {
        const auto r = integers<fraction>(c.r), g = integers<fraction>(c.g);
        const auto b = integers<fraction>(c.b), a = integers<fraction>(c.a);
        for (int i = 0; i < count; ++i, out += sizeof(Pixel)) {
            const Component components[] = {
                static_cast<Component>(r[i]), static_cast<Component>(g[i]),
                static_cast<Component>(b[i]), static_cast<Component>(a[i])};
            job_->storeOver(*job_, components, out);
        }
    }

    const Job* job_;
};

// Integers, all four of them there; beside the rim, where they may be missing, they are mixed as
// those with alpha are.
//
// Let u be the unit of a rounding and C the largest component. Differences of pixels are exact. A
// mean of two is off by uC for its fraction's rounding and by uC for its own; the mean of those
// inherits that, and is off by another 2uC for its fraction's and its difference's rounding:
// together 4uC; 6uC leaves room for squares of u. The plain path's weights are off by
// job.weightError in sum, which moves a mean by no more than that times C. What is compared with
// ties rounds twice by half of its unit. A result nearer to a tie than all that, `distance`, is
// left open.
template <class Lanes, class Pixel, Mapping mapping>
class OpaqueIntegerMean : public AnyMean {
    using Format = OpaquePixels<Lanes, typename Pixel::Component, Pixel::channels>;
    using Reals = typename Format::Reals;
    using Real = std::remove_cvref_t<decltype(Reals{}[0])>;
    static constexpr bool isSingle = std::is_same_v<Real, float>;
    using Rounding = typename Format::Rounding;

  public:
    static constexpr int count = Format::count;
    static constexpr int columnsBeyond = Format::columnsBeyond;
    static constexpr bool hasRim = true, isContinuous = true;
    template <int pixels>
    using Spots = polar::Spots<Real, pixels, Rests::notInside>;

    explicit OpaqueIntegerMean(const Job& job)
        : rim_(job),
          rowBytes_(job.input.rowBytes),
          isExactEnough_(Pixel::maxValue * (1.01 * job.weightError + 6 * unit) * one + 1 <=
                         distance) {}

    // Writes `count` pixels; returns which of them may be wrong.
    template <int pixels>
    [[gnu::always_inline]] unsigned mix(const Spots<pixels>& spots, int at, unsigned char* out,
                                        bool /*isStreamed*/) const {
        const auto fx = load<Reals>(spots.fx + at), fy = load<Reals>(spots.fy + at);
        const auto upper = Format::loadPair(spots.address + at, 0);
        const auto lower = Format::loadPair(spots.address + at, rowBytes_);
        const auto sum = [&](auto component) __attribute__((always_inline)) {
            return mean<typename Lanes::Target>(fx, fy, upper.left.*component,
                                                upper.right.*component, lower.left.*component,
                                                lower.right.*component, Rounding::offset);
        };
        using All = Colours<Reals>;
        All colours{sum(&All::r)};
        auto clear = Rounding::template isClear<distance>(colours.r);
        if constexpr (Pixel::channels > 1) {
            colours.g = sum(&All::g);
            colours.b = sum(&All::b);
            clear &= Rounding::template isClear<distance>(colours.g) &
                     Rounding::template isClear<distance>(colours.b);
        }
        Format::storeRounded(out, colours);
        return isExactEnough_ ? all_ & ~bitsOf<Lanes>(clear) : all_;
    }
    template <int pixels>
    [[gnu::always_inline]] unsigned mixRim(const Spots<pixels>& spots, int at,
                                           unsigned char* out) const {
        return rim_.mix(spots, at, out, false);
    }

  private:
    static constexpr unsigned all_ = (1u << count) - 1;
    static constexpr double unit = isSingle ? 0x1p-24 : 0x1p-53;
    // In units of the sums.
    static constexpr std::int64_t one = std::int64_t{1} << Rounding::fraction;
    static constexpr std::int64_t distance = isSingle ? 8 : one >> 14;

    IntegerMean<Lanes, Pixel, mapping, Real, RimPixels<Lanes, Pixel>> rim_;
    std::int64_t rowBytes_;
    bool isExactEnough_;
};

// Floats: where one of the four is missing, or another order of operations or another column within
// its error might change what is stored, the pixel is left open.
//
// Let M be the largest magnitude of the four components. The mean, as it is computed here, is off
// by 6 units of 2^-53 M, and that of the plain path by job.weightError M for its column and the
// roundings of both. Rounding to what is stored is monotone: where both ends are stored alike, so
// is all between them.
template <class Lanes, class Pixel>
class OpaqueFloatMean : public AnyMean {
    using Format = OpaquePixels<Lanes, float, Pixel::channels>;
    using Doubles = typename Lanes::Doubles;
    using Floats = typename Format::Floats;
    using Bits = Vector<std::int32_t, Lanes::count>;

  public:
    static constexpr int count = Format::count;
    template <int pixels>
    using Spots = polar::Spots<double, pixels, Rests::none>;

    explicit OpaqueFloatMean(const Job& job)
        : rowBytes_(job.input.rowBytes), error_(job.weightError) {}

    // Writes `count` pixels; returns which of them may be wrong.
    template <int pixels>
    [[gnu::always_inline]] unsigned mix(const Spots<pixels>& spots, int at, unsigned char* out,
                                        bool /*isStreamed*/) const {
        const auto fx = load<Doubles>(spots.fx + at), fy = load<Doubles>(spots.fy + at);
        const auto upper = Format::loadPair(spots.address + at, 0);
        const auto lower = Format::loadPair(spots.address + at, rowBytes_);
        Bits largest{};
        auto clear = largest == largest;
        const auto stored = [&](auto component) __attribute__((always_inline)) {
            const Floats p00 = upper.left.*component, p10 = upper.right.*component;
            const Floats p01 = lower.left.*component, p11 = lower.right.*component;
            const Doubles value =
                mean<typename Lanes::Target>(fx, fy, widen<Lanes>(p00), widen<Lanes>(p10),
                                             widen<Lanes>(p01), widen<Lanes>(p11), 0.0);
            // Magnitudes are in the order of their bits.
            const auto most = larger(larger(as<Bits>(magnitude(p00)), as<Bits>(magnitude(p10))),
                                     larger(as<Bits>(magnitude(p01)), as<Bits>(magnitude(p11))));
            largest = larger(largest, most);
            const Doubles by = error_ * widen<Lanes>(as<Floats>(most));
            const Floats low = narrow(value - by), high = narrow(value + by);
            // The sign of a mean of zeros depends on the signs of the weights.
            const Bits bits = as<Bits>(p00) | as<Bits>(p10) | as<Bits>(p01) | as<Bits>(p11);
            clear &= (as<Bits>(low) == as<Bits>(high)) & (bits != as<Bits>(-Floats{}));
            return low;
        };
        using All = Colours<Floats>;
        All colours{};
        colours.r = stored(&All::r);
        if constexpr (Pixel::channels > 1) {
            colours.g = stored(&All::g);
            colours.b = stored(&All::b);
        }
        Format::store(out, colours);
        clear &= largest < infinity;
        return all_ & ~bitsOf<Lanes>(__builtin_convertvector(clear, decltype(fx < fx)));
    }

  private:
    static constexpr unsigned all_ = (1u << count) - 1;
    static constexpr std::int32_t infinity = 0x7F800000;

    [[gnu::always_inline]] static Floats narrow(Doubles value) {
        return __builtin_convertvector(value, Floats);
    }

    std::int64_t rowBytes_;
    double error_;
};

}  // namespace
}  // namespace polar
