// Sums of what pixels cover, each component multiplied by alpha.
#pragma once

#include <array>
#include <type_traits>

#include "render/footprint_batch.h"
#include "render/pixels_batch.h"
#include "render/sampler_batch.h"

namespace polar {
namespace {

// Floats are enough for what fits into 10 bits.
template <class Pixel>
using AreaReal = std::conditional_t<Pixel::componentBits <= singleBits, float, double>;

// How a unit reads pairs of pixels that lie beside each other, and stores means: `count` at a time.
template <class Lanes, class PixelType>
struct AreaPixels {
    using Format = IntegerPixels<Lanes, PixelType, AreaReal<PixelType>>;
    using Reals = typename Format::Reals;
    static constexpr int count = Format::count;

    [[gnu::always_inline]] static ColourPair<Reals> loadPair(const std::uint64_t* addresses,
                                                             std::int64_t offset) {
        return Format::loadPair(addresses, offset);
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Colours<Reals>& c) {
        const auto rounded = [&](Reals mean, double scale) __attribute__((always_inline)) {
            return mean * static_cast<AreaReal<PixelType>>(scale) + Format::rounding;
        };
        Format::storeRounded(out, {rounded(c.r, Format::scale(0)), rounded(c.g, Format::scale(1)),
                                   rounded(c.b, Format::scale(2)), rounded(c.a, Format::scale(3))});
    }
};
template <class Lanes>
struct AreaPixels<Lanes, QzBufferRGBAFloat::Pixel> {
    using Format = FloatPixels<Lanes>;
    using Reals = typename Lanes::Doubles;
    static constexpr int count = Format::count;

    [[gnu::always_inline]] static ColourPair<Reals> loadPair(const std::uint64_t* addresses,
                                                             std::int64_t offset) {
        return Format::loadPair(addresses, offset);
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Colours<Reals>& c) {
        Format::store(out, {narrow(c.r), narrow(c.g), narrow(c.b), narrow(c.a)}, false);
    }

  private:
    // Of NaNs that meet, the compiler says which one goes on; so all become the same.
    [[gnu::always_inline]] static typename Format::Floats narrow(Reals value) {
        const Reals number = value == value ? value : all<Reals>(__builtin_nan(""));
        return __builtin_convertvector(number, typename Format::Floats);
    }
};

// Sums of colours and of alpha.
template <class Reals>
class AreaSums {
    using Real = std::remove_cvref_t<decltype(Reals{}[0])>;

  public:
    // Adds pairs of pixels that have these weights; those of lanes that are not `active` are 0, and
    // what is read there may be no number.
    template <bool isFloat, class Mask>
    [[gnu::always_inline]] void add(const ColourPair<Reals>& pair, Reals left, Reals right,
                                    Mask active) {
        const auto kept = [&](Reals value) __attribute__((always_inline)) {
            return isFloat ? (active ? value : Reals{}) : value;
        };
        const Reals l = left * kept(pair.left.a), r = right * kept(pair.right.a);
        const auto more = [&](auto part) __attribute__((always_inline)) {
            sums_.*part = sums_.*part + (l * kept(pair.left.*part) + r * kept(pair.right.*part));
        };
        more(&Colours<Reals>::r);
        more(&Colours<Reals>::g);
        more(&Colours<Reals>::b);
        sums_.a = sums_.a + (l + r);
    }

    // Their means, alpha multiplied by `share`; nothing where nothing is visible.
    [[gnu::always_inline]] Colours<Reals> means(Reals share) const {
        const auto visible = sums_.a != Reals{};
        const Reals inverse = Real{1} / sums_.a;
        const auto mean = [&](Reals sum) __attribute__((always_inline)) {
            return visible ? sum * inverse : Reals{};
        };
        return {mean(sums_.r), mean(sums_.g), mean(sums_.b), sums_.a * share};
    }

  private:
    Colours<Reals> sums_{};
};

// Where the pixels of a source lie, also those that are not there: these are transparent.
template <class Lanes, class Pixel>
class Source {
  public:
    using Doubles = typename Lanes::Doubles;
    using Words = typename Lanes::Words;

    explicit Source(const Job& job)
        : bounds_(job),
          addresses_(job, sizeof(Pixel)),
          input_(job.input),
          first_(job.geometry.originX),
          cyclicEnd_(job.geometry.isCyclic ? first_ + (job.geometry.scaleX - 1.0)
                                           : std::numeric_limits<double>::infinity()) {}

    [[gnu::always_inline]] const Bounds& bounds() const { return bounds_; }
    // Whether addresses are exact.
    bool hasAddresses() const {
        return (bounds_.lastRow + 1) * std::abs(static_cast<double>(input_.rowBytes)) < 0x1p49;
    }
    // Of pixels that are there.
    [[gnu::always_inline]] Words addressOf(Doubles column, Doubles row) const {
        return addresses_.of(column, row);
    }

    // The address of a pixel and its right neighbour. What is not there is put together in `pair`,
    // which holds two pixels.
    [[gnu::noinline]] std::uint64_t pairAt(double column, double row, unsigned char* pair) const {
        const bool hasRow = row >= bounds_.top && row <= bounds_.lastRow;
        double right = column + 1.0;
        if (right > cyclicEnd_) right = first_ + (right - (cyclicEnd_ + 1.0));
        if (column > cyclicEnd_) column = first_ + (column - (cyclicEnd_ + 1.0));
        const auto isThere = [&](double at) {
            return hasRow && at >= bounds_.left && at <= bounds_.lastColumn;
        };
        if (isThere(column) && isThere(right) && right > column) return address(column, row);
        std::memset(pair, 0, 2 * sizeof(Pixel));
        if (isThere(column)) std::memcpy(pair, bytesAt(address(column, row)), sizeof(Pixel));
        if (isThere(right))
            std::memcpy(pair + sizeof(Pixel), bytesAt(address(right, row)), sizeof(Pixel));
        return reinterpret_cast<std::uintptr_t>(pair);
    }

  private:
    // Of a pixel that is there.
    std::uint64_t address(double column, double row) const {
        return reinterpret_cast<std::uintptr_t>(input_.pixels) +
               static_cast<std::uintptr_t>(static_cast<std::int64_t>(row) * input_.rowBytes +
                                           static_cast<std::int64_t>(column) *
                                               static_cast<std::int64_t>(sizeof(Pixel)));
    }

    Bounds bounds_;
    Addresses<Lanes> addresses_;
    Image input_;
    double first_, cyclicEnd_;
};

}  // namespace
}  // namespace polar
