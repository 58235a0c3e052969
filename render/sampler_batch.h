// From positions to pixels of the source.
#pragma once

#include <algorithm>
#include <bit>
#include <type_traits>

#include "render/mix_batch.h"
#include "render/opaque_batch.h"
#include "render/positions_batch.h"

namespace polar {
namespace {

// What the plan of a batch found: the lanes that are left open, and those that are outside.
struct Found {
    unsigned open, outside;
};

// Where pixels of the source lie, columns and rows given as whole numbers.
template <class Lanes>
class Addresses {
    using Doubles = typename Lanes::Doubles;
    using Words = typename Lanes::Words;

  public:
    Addresses(const Job& job, int pixelBytes)
        : rowBytes_(static_cast<double>(job.input.rowBytes)),
          pixelBytes_(pixelBytes),
          start_(reinterpret_cast<std::uintptr_t>(job.input.pixels) -
                 std::bit_cast<std::uint64_t>(whole)) {}

    // Both products are exact: offsets are small enough (prepareBatches). The sum's low bits are
    // the offset.
    [[gnu::always_inline]] Words of(Doubles column, Doubles row) const {
        using Target = typename Lanes::Target;
        const Doubles inRow = Target::fma(column, all<Doubles>(pixelBytes_), all<Doubles>(whole));
        return as<Words>(Target::fma(row, all<Doubles>(rowBytes_), inRow)) + start_;
    }

  private:
    static constexpr double whole = 0x1.8p52;
    double rowBytes_, pixelBytes_;
    std::uint64_t start_;
};

// The part of the source that counts; plain numbers, so that no write of pixels can alias them.
struct Bounds {
    explicit Bounds(const Job& job)
        : left(job.left),
          top(job.top),
          lastColumn(job.lastColumn),
          lastRow(job.lastRow),
          columnError(job.columnError),
          isCyclic(job.geometry.isCyclic) {}
    double left, top, lastColumn, lastRow, columnError;
    bool isCyclic;
};

template <class Lanes, class Pixel, Mapping mapping>
class Nearest {
    using Doubles = typename Lanes::Doubles;
    using Words = typename Lanes::Words;

  public:
    // Of packed pixels, those that fill whole words, an even number.
    static constexpr int count = std::max(Lanes::count, Pixel::packed ? 8 : 4);
    static constexpr int rowsRead = 1, columnsBeyond = 0;
    static constexpr bool isCopy = true, hasRim = false;
    template <int pixels>
    struct Spots {
        alignas(64) std::uint64_t address[pixels];
    };

    explicit Nearest(const Job& job)
        : bounds_(job), addresses_(job, sizeof(Pixel)), empty_(job.empty) {}

    template <bool isInside, class Spots>
    [[gnu::always_inline]] Found plan(Spots& spots, int i, const Position<Lanes>& at) const {
        const Doubles nearest = rounded(at.x), row = rounded(at.y);
        Doubles column = nearest;
        if constexpr (mapping == Mapping::wrap && !isInside)
            if (bounds_.isCyclic) [[unlikely]]
                column = column > bounds_.lastColumn ? all<Doubles>(bounds_.left) : column;
        Words address = addresses_.of(column, row);
        unsigned rows = ~0u;
        if constexpr (!isInside) {
            const auto rowInside = (row >= bounds_.top) & (row <= bounds_.lastRow);
            const auto inside =
                rowInside & (column >= bounds_.left) & (column <= bounds_.lastColumn);
            address = inside ? address : Words{} + reinterpret_cast<std::uintptr_t>(empty_);
            rows = bitsOf<Lanes>(rowInside);
        }
        store(spots.address + i, address);
        if constexpr (mapping == Mapping::unwrap) return {0, 0};
        const auto clear = magnitude(at.x - nearest) <= 0.5 - bounds_.columnError;
        return {rows & (~bitsOf<Lanes>(clear) | at.nearCut), 0};
    }

    template <class Spots>
    [[gnu::always_inline]] unsigned mix(const Spots& spots, int at, unsigned char* out,
                                        bool isStreamed) const {
        const auto pixel = [&](int i) { return bytesAt(spots.address[at + i]); };
        if constexpr (Pixel::packed) {
            const auto word = [&](int i) __attribute__((always_inline)) {
                // Of one store; it is no more than a pixel that is read.
                std::conditional_t<sizeof(Pixel) == 5, std::uint8_t, std::uint16_t> end;
                std::memcpy(&end, pixel(i) + 4, sizeof end);
                return load<std::uint32_t>(pixel(i)) | std::uint64_t{end} << 32;
            };
            if constexpr (sizeof(Pixel) == 6)
                if (isStreamed) return streamPacked(out, word);
            storeEach<sizeof(Pixel), count>(out, word);
            return 0;
        } else if constexpr (!Opaque<Pixel>) {
            if (isStreamed) return stream(out, pixel);
        }
        for (int i = 0; i < count; ++i, out += sizeof(Pixel))
            std::memcpy(out, pixel(i), sizeof(Pixel));
        return 0;
    }

  private:
    // Eight words of 48 bits are three times 16 bytes.
    template <class Word>
    [[gnu::always_inline]] static unsigned streamPacked(unsigned char* out, Word word) {
        for (int i = 0; i < count; i += 8, out += 48) {
            const std::uint64_t b = word(i + 1), c = word(i + 2), f = word(i + 5), g = word(i + 6);
            using Target = typename Lanes::Target;
            Target::stream(out, Sixteen{word(i) | b << 48, b >> 16 | c << 32});
            Target::stream(out + 16, Sixteen{c >> 32 | word(i + 3) << 16, word(i + 4) | f << 48});
            Target::stream(out + 32, Sixteen{f >> 16 | g << 32, g >> 32 | word(i + 7) << 16});
        }
        return 0;
    }

    template <class From>
    [[gnu::always_inline]] static unsigned stream(unsigned char* out, From pixel) {
        constexpr int pixels = 16 / sizeof(Pixel);
        for (int i = 0; i < count; i += pixels, out += 16)
            Lanes::Target::stream(out, joined(std::make_index_sequence<pixels>{},
                                              [&](int k) { return pixel(i + k); }));
        return 0;
    }

    // To nearest, ties to even, as far as positions can be inside.
    [[gnu::always_inline]] static Doubles rounded(Doubles value) {
        return (value + 0x1.8p52) - 0x1.8p52;
    }

    template <class From, std::size_t... i>
    [[gnu::always_inline]] static Sixteen joined(std::index_sequence<i...>, From from) {
        if constexpr (sizeof(Pixel) == 16) {
            return load<Sixteen>(from(0));
        } else {
            using Word = std::conditional_t<sizeof(Pixel) == 4, std::uint32_t, std::uint64_t>;
            return as<Sixteen>(Vector<Word, sizeof...(i)>{load<Word>(from(i))...});
        }
    }

    Bounds bounds_;
    Addresses<Lanes> addresses_;
    const unsigned char* empty_;
};

// Of more bits, floats leave too many open.
constexpr unsigned singleBits = 10;

template <class Lanes, class Pixel, Mapping mapping>
struct MeanOf {
    using Real = std::conditional_t<Pixel::componentBits <= singleBits, float, double>;
    using type = IntegerMean<Lanes, Pixel, mapping, Real>;
};
template <class Lanes, Mapping mapping>
struct MeanOf<Lanes, QzBufferRGBAFloat::Pixel, mapping> {
    using type = FloatMean<Lanes, mapping>;
};
template <class Lanes, Opaque Pixel, Mapping mapping>
struct MeanOf<Lanes, Pixel, mapping> {
    using type =
        std::conditional_t<std::is_same_v<typename Pixel::Component, float>,
                           OpaqueFloatMean<Lanes, Pixel>, OpaqueIntegerMean<Lanes, Pixel, mapping>>;
};

template <class Lanes, class Pixel, Mapping mapping>
class Bilinear {
    using Doubles = typename Lanes::Doubles;
    using Mean = typename MeanOf<Lanes, Pixel, mapping>::type;

  public:
    static constexpr int count = Mean::count;
    static constexpr int rowsRead = 2, columnsBeyond = Mean::columnsBeyond;
    static constexpr bool isCopy = false, hasRim = Mean::hasRim;
    template <int pixels>
    using Spots = typename Mean::template Spots<pixels>;

    explicit Bilinear(const Job& job)
        : mean_(job),
          bounds_(job),
          addresses_(job, sizeof(Pixel)),
          isTurned_(mapping == Mapping::unwrap || job.isTurned) {}

    template <bool isInside, class Spots>
    [[gnu::always_inline]] Found plan(Spots& spots, int i, const Position<Lanes>& at) const {
        const Doubles column = Lanes::Target::floor(at.x), row = Lanes::Target::floor(at.y);
        Along x{column, at.x - column}, y{row, at.y - row};
        Found found{at.nearCut, 0};
        if constexpr (mapping == Mapping::wrap && !Mean::isContinuous) {
            const auto sameNeighbours =
                (x.fraction >= bounds_.columnError) & (x.fraction <= 1.0 - bounds_.columnError);
            found.open |= ~bitsOf<Lanes>(sameNeighbours);
        }
        if constexpr (!isInside) {
            const auto inside = (row >= bounds_.top) & (row < bounds_.lastRow) &
                                (column >= bounds_.left) & (column < bounds_.lastColumn);
            if (bitsOf<Lanes>(inside) != (1u << Lanes::count) - 1) {
                found.outside = outside(at);
                found.open |= ~bitsOf<Lanes>(Spots::hasRests ? isNear(column, row) : inside);
                if constexpr (mapping == Mapping::wrap && Spots::hasRests)
                    if (bounds_.isCyclic) [[unlikely]]  // the first column is no neighbour here
                        found.open |= bitsOf<Lanes>(column >= bounds_.lastColumn);
                x.keepIn(bounds_.left, bounds_.lastColumn);
                y.keepIn(bounds_.top, bounds_.lastRow);
            }
        }
        store(spots.address + i, addresses_.of(x.first, y.first));
        spots.template setFractions<isInside>(i, x, y);
        return found;
    }

    template <class Spots>
    [[gnu::always_inline]] unsigned mix(const Spots& spots, int at, unsigned char* out,
                                        bool isStreamed) const {
        return mean_.mix(spots, at, out, isStreamed);
    }
    template <class Spots>
    [[gnu::always_inline]] unsigned mixRim(const Spots& spots, int at, unsigned char* out) const {
        return mean_.mixRim(spots, at, out);
    }

  private:
    // Two neighbours along an axis, of which the first weighs `rest` and the other `fraction`.
    struct Along {
        Along(Doubles first_, Doubles fraction_) : first(first_), fraction(fraction_) {}
        Doubles first, fraction, rest = 1.0 - fraction;

        // One that is missing weighs nothing, and another one is read in its place.
        [[gnu::always_inline]] void keepIn(double least, double last) {
            const auto before = first < least, beyond = first >= last;
            first = smaller(larger(first, all<Doubles>(least)), all<Doubles>(last - 1.0));
            const Doubles weight = before ? Doubles{} : beyond ? rest : fraction;
            rest = before ? fraction : beyond ? Doubles{} : rest;
            fraction = weight;
        }
    };

    // Whether one of the neighbours is there.
    [[gnu::always_inline]] auto isNear(Doubles column, Doubles row) const {
        return (row >= bounds_.top - 1.0) & (row <= bounds_.lastRow) &
               (column >= bounds_.left - 1.0) & (column <= bounds_.lastColumn);
    }
    // The lanes that certainly have no neighbours.
    [[gnu::always_inline]] unsigned outside(const Position<Lanes>& at) const {
        unsigned lanes =
            bitsOf<Lanes>((at.y < bounds_.top - 1.0) | (at.y >= bounds_.lastRow + 1.0));
        // A whole turn ends on the last column.
        if (isTurned_) {
            const double margin = mapping == Mapping::unwrap ? 1.0 : 1.0 + bounds_.columnError;
            lanes |= bitsOf<Lanes>((at.x < bounds_.left - margin) |
                                   (at.x >= bounds_.lastColumn + margin)) &
                     ~at.nearCut;
        }
        return lanes;
    }

    Mean mean_;
    Bounds bounds_;
    Addresses<Lanes> addresses_;
    bool isTurned_;
};

}  // namespace
}  // namespace polar
