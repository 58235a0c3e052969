// Rendering in batches of pixels: one body for every instruction set.
//
// To be included once, by the unit of an instruction set, after it has switched to that set and
// defined its `Lanes`: vectors with one element per pixel of a batch. Everything here is local to
// that unit. All arithmetic that decides a pixel is that of the plain path, operation by operation;
// what is not (the arctangent) comes with a bound, and pixels it leaves open go to the plain path.
#pragma once

namespace polar {
namespace {

// Positions ---------------------------------------------------------------------------------------

// atan2(y, x) for finite arguments that are not both zero.
//
// Within batchError (render/InstructionSet.h), in units of 1e-16: the argument is reduced to |t| <=
// tan(pi / 8), with three roundings that move the angle by 1.4; the polynomial is within 0.3 of the
// arctangent and rounds by 0.6; the sums with pi / 4, pi / 2 and pi round by 0.6, 1.1 and 2.2; and
// these constants are off by 0.3, 0.6 and 1.2. Together less than 9.
template <class Lanes>
[[gnu::always_inline]] inline typename Lanes::Doubles arctangent(typename Lanes::Doubles y,
                                                                 typename Lanes::Doubles x) {
    using Doubles = typename Lanes::Doubles;
    constexpr double coefficients[] = {0.021135373157693246,
                                       -0.04348052215716462,
                                       0.056883492268090106,
                                       -0.06640233930429408,
                                       0.07689953496306857,
                                       -0.09090773074808414,
                                       0.11111106180455946,
                                       -0.14285714180976467,
                                       0.1999999999885511,
                                       -0.3333333333332844,
                                       1.0};
    const Doubles ax = Lanes::Abs(x), ay = Lanes::Abs(y);
    const Doubles low = Lanes::Min(ax, ay), high = Lanes::Max(ax, ay);
    const auto far = Lanes::Lt(high * Lanes::Set(0.4142135623730951), low);
    const Doubles t =
        Lanes::IfThenElse(far, low - high, low) / Lanes::IfThenElse(far, low + high, high);
    const Doubles z = t * t;
    Doubles sum = Lanes::Set(coefficients[0]);
    for (int i = 1; i < 11; ++i) sum = Lanes::MulAdd(sum, z, Lanes::Set(coefficients[i]));
    Doubles angle =
        Lanes::MulAdd(sum, t, Lanes::IfThenElseZero(far, Lanes::Set(0.7853981633974483)));
    angle = Lanes::IfThenElse(Lanes::Lt(ax, ay), Lanes::Set(1.5707963267948966) - angle, angle);
    angle = Lanes::IfThenElse(Lanes::Lt(x, Lanes::Set(0.0)), Lanes::Set(3.141592653589793) - angle,
                              angle);
    return Lanes::CopySign(angle, y);
}

template <class Lanes>
void arctangents(const double* y, const double* x, double* angles) {
    for (int i = 0; i < 8; i += Lanes::count)
        Lanes::Store(angles + i,
                     Lanes::BitsOf(arctangent<Lanes>(Lanes::Load(y + i), Lanes::Load(x + i))));
}

// Positions in the source; wrapping, x is within job.columnError of the plain path's.
template <class Lanes>
struct Positions {
    typename Lanes::Doubles x, y;
    unsigned nearCut;  // wrapping: the lanes whose x may be off by a whole turn
};

constexpr int blockColumns = 32;
constexpr int blockRows = 64;

// What the rows of a block need to know about its columns, and how they make positions of it: a
// unit for each mapping.
template <Mapping mapping>
struct Columns;

#include "render/unwrap_batch.h"
#include "render/wrap_batch.h"

// Pixels ------------------------------------------------------------------------------------------

template <class Lanes>
struct Colours {
    typename Lanes::Doubles r, g, b, a;
};

template <class Lanes, int Factor>
[[gnu::always_inline]] inline typename Lanes::Int64s times(typename Lanes::Int64s value) {
    constexpr int rest = Factor & (Factor - 1);
    const auto power = Lanes::template ShiftLeft<std::countr_zero(unsigned{Factor})>(value);
    if constexpr (rest == 0)
        return power;
    else
        return Lanes::Add(times<Lanes, rest>(value), power);
}

// Addresses of pixels of the input.
template <class Lanes, class Pixel>
[[gnu::always_inline]] inline typename Lanes::Int64s addresses(const Job& job,
                                                               typename Lanes::Int32s column,
                                                               typename Lanes::Int32s row) {
    const auto start =
        static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(job.input.pixels));
    const auto rows = Lanes::MulEven(Lanes::Widen(row), Lanes::Set64(job.input.rowBytes));
    return Lanes::Add(Lanes::Add(Lanes::Set64(start), rows),
                      times<Lanes, sizeof(Pixel)>(Lanes::Widen(column)));
}

// Loads and stores batches of a format whose components are integers.
template <class Lanes, class PixelType>
struct Pixels {
    using Pixel = PixelType;
    using Int64s = typename Lanes::Int64s;
    using Doubles = typename Lanes::Doubles;
    static constexpr int bits = Pixel::componentBits;
    static constexpr int bytes = Pixel::pixelBytes;
    struct Pair {
        Int64s left, right;
    };
    struct Mixed {
        Int64s pixels;
    };

    // The bits of two neighbouring pixels, reading nothing beside them.
    [[gnu::always_inline]] static Pair loadPair(Int64s address) {
        if constexpr (bytes == 4) {
            const Int64s two = Lanes::Gather(address);
            return {two, two};
        } else if constexpr (bytes == 8) {
            const auto pair = Lanes::GatherPairs(address);
            return {pair.left, pair.right};
        } else {
            const Int64s left = Lanes::Gather(address);
            const Int64s right = Lanes::Gather(Lanes::Add(address, Lanes::Set64(2 * bytes - 8)));
            return {Lanes::ReverseBytes(left), Lanes::ReverseBytes(right)};
        }
    }
    [[gnu::always_inline]] static Colours<Lanes> left(const Pair& pair) {
        return colours < Pixel::packed ? 64 - 8 * bytes : 0 > (pair.left);
    }
    [[gnu::always_inline]] static Colours<Lanes> right(const Pair& pair) {
        return colours < bytes == 4 ? 32 : 0 > (pair.right);
    }

    [[gnu::always_inline]] static Doubles magnitude(Doubles value) { return value; }
    [[gnu::always_inline]] static auto areNumbers(const Colours<Lanes>& c) {
        return Lanes::Le(c.a, c.a);
    }
    // Rounds as roundToLong does: the sums' low bits are the integers.
    [[gnu::always_inline]] static Doubles rounded(Doubles value) {
        return value + Lanes::Set(4503603922337792.0);
    }
    // Which lanes round alike at both ends of their intervals.
    [[gnu::always_inline]] static auto alike(const Colours<Lanes>& low,
                                             const Colours<Lanes>& high) {
        return Lanes::And(Lanes::And(same(low.r, high.r), same(low.g, high.g)),
                          Lanes::And(same(low.b, high.b), same(low.a, high.a)));
    }
    [[gnu::always_inline]] static Mixed mixed(const Colours<Lanes>& c,
                                              typename Lanes::Mask visible) {
        const Int64s pixel =
            Lanes::Or(Lanes::Or(component<place(0)>(c.r), component<place(1)>(c.g)),
                      Lanes::Or(component<place(2)>(c.b), component<place(3)>(c.a)));
        const Int64s kept = Lanes::IfThenElseZero(visible, pixel);
        if constexpr (Pixel::packed)
            return {Lanes::ReverseBytes(Lanes::template ShiftLeft<64 - 8 * bytes>(kept))};
        else
            return {kept};
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Mixed& mixed) {
        if constexpr (bytes == 4) {
            Lanes::Store(out, Lanes::Narrow(mixed.pixels));
        } else if constexpr (bytes == 8) {
            Lanes::Store(out, mixed.pixels);
        } else {
            alignas(64) unsigned char lanes[Lanes::count][8];
            Lanes::Store(lanes, mixed.pixels);
            // Each store's excess is the next one's pixel.
            for (int i = 0; i < Lanes::count; ++i, out += bytes)
                std::memcpy(out, lanes[i], i < Lanes::count - 1 ? 8 : bytes);
        }
    }

  private:
    [[gnu::always_inline]] static auto same(Doubles a, Doubles b) {
        return Lanes::Eq(rounded(a), rounded(b));
    }
    // How far a component lies from the lowest bit.
    static constexpr int place(int index) { return bits * (Pixel::packed ? 3 - index : index); }

    template <int Place>
    [[gnu::always_inline]] static Int64s component(Doubles value) {
        return Lanes::template ShiftLeft<Place>(
            Lanes::And(Lanes::BitsOf(rounded(value)), Lanes::Set64(Pixel::maxValue)));
    }
    template <int Place>
    [[gnu::always_inline]] static Doubles part(Int64s word) {
        typename Lanes::Int32s half;
        constexpr int last = Place + bits - 1;
        if constexpr (Place / 32 != last / 32)
            half = Lanes::Narrow(Lanes::template ShiftRight<Place>(word));
        else if constexpr (Place < 32)
            half = Lanes::template ShiftRight<Place>(Lanes::Narrow(word));
        else
            half = Lanes::template ShiftRight<Place - 32>(
                Lanes::Narrow(Lanes::template ShiftRight<32>(word)));
        if constexpr (last != 31 && last != 63)
            half = Lanes::And(half, Lanes::Set32(static_cast<int>(Pixel::maxValue)));
        return Lanes::ToDoubles(half);
    }
    template <int Start>
    [[gnu::always_inline]] static Colours<Lanes> colours(Int64s word) {
        return {part<Start + place(0)>(word), part<Start + place(1)>(word),
                part<Start + place(2)>(word), part<Start + place(3)>(word)};
    }
};

// Of the float format.
template <class Lanes>
struct FloatPixels {
    using Pixel = QzBufferRGBAFloat::Pixel;
    using Int64s = typename Lanes::Int64s;
    using Int32s = typename Lanes::Int32s;
    using Doubles = typename Lanes::Doubles;
    using Pair = typename Lanes::FloatPair;
    struct Mixed {
        typename Lanes::Floats r, g, b, a;
    };

    [[gnu::always_inline]] static Pair loadPair(Int64s address) {
        return Lanes::GatherFloats(address);
    }
    [[gnu::always_inline]] static Colours<Lanes> left(const Pair& pair) {
        return colours(pair.left);
    }
    [[gnu::always_inline]] static Colours<Lanes> right(const Pair& pair) {
        return colours(pair.right);
    }
    [[gnu::always_inline]] static Doubles magnitude(Doubles value) { return Lanes::Abs(value); }
    // Also of infinities of either sign it says no.
    [[gnu::always_inline]] static auto areNumbers(const Colours<Lanes>& c) {
        const Doubles sum = (c.r + c.g) + (c.b + c.a);
        return Lanes::Eq(sum, sum);
    }
    // Compares bits, since zeros of either sign are not alike.
    [[gnu::always_inline]] static auto alike(const Colours<Lanes>& low,
                                             const Colours<Lanes>& high) {
        return Lanes::IsZero(
            Lanes::Or(Lanes::Or(difference(low.r, high.r), difference(low.g, high.g)),
                      Lanes::Or(difference(low.b, high.b), difference(low.a, high.a))));
    }
    [[gnu::always_inline]] static Mixed mixed(const Colours<Lanes>& c,
                                              typename Lanes::Mask visible) {
        const auto kept = [&](Doubles value) {
            return Lanes::FloatsOf(
                Lanes::IfThenElseZero(visible, Lanes::BitsOf(Lanes::ToFloats(value))));
        };
        return {kept(c.r), kept(c.g), kept(c.b), kept(c.a)};
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Mixed& mixed) {
        Lanes::Store(reinterpret_cast<float*>(out), mixed.r, mixed.g, mixed.b, mixed.a);
    }

  private:
    [[gnu::always_inline]] static Colours<Lanes> colours(const typename Lanes::Floats (&parts)[4]) {
        return {Lanes::ToDoubles(parts[0]), Lanes::ToDoubles(parts[1]), Lanes::ToDoubles(parts[2]),
                Lanes::ToDoubles(parts[3])};
    }
    [[gnu::always_inline]] static Int32s difference(Doubles a, Doubles b) {
        return Lanes::Xor(Lanes::BitsOf(Lanes::ToFloats(a)), Lanes::BitsOf(Lanes::ToFloats(b)));
    }
};
template <class Lanes>
struct Pixels<Lanes, QzBufferRGBAFloat::Pixel> : FloatPixels<Lanes> {};

// Sampling ----------------------------------------------------------------------------------------

// A batch's result, and which of its lanes are not decided by it.
template <class Result>
struct Sampled {
    Result pixels;
    unsigned open;
};

// The nearest pixels.
template <class Lanes, class Pixel>
struct NearestSampler {
    struct Result {
        typename Lanes::Int64s addresses;
    };

    template <Mapping mapping>
    [[gnu::always_inline]] static Sampled<Result> sample(const Job& job,
                                                         const Positions<Lanes>& at) {
        const auto column = Lanes::Round(at.x), row = Lanes::Round(at.y);
        const auto rowInside = Lanes::And(Lanes::Le(Lanes::Set(job.top), row),
                                          Lanes::Le(row, Lanes::Set(job.lastRow)));
        const auto inside =
            Lanes::And(rowInside, Lanes::And(Lanes::Le(Lanes::Set(job.left), column),
                                             Lanes::Le(column, Lanes::Set(job.lastColumn))));
        const auto from =
            addresses<Lanes, Pixel>(job, Lanes::Truncate(column), Lanes::Truncate(row));
        const Result result{Lanes::IfThenElse(
            inside, from,
            Lanes::Set64(static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(zeros))))};
        if constexpr (mapping == Mapping::unwrap) {
            return {result, 0};
        } else {
            const auto clear =
                Lanes::Le(Lanes::Abs(at.x - column), Lanes::Set(0.5 - job.columnError));
            const unsigned unclear = ~Lanes::Bits(clear) | at.nearCut;
            return {result, Lanes::Bits(rowInside) & unclear};
        }
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Result& result) {
        alignas(64) const void* from[Lanes::count];
        Lanes::Store(from, result.addresses);
        for (int i = 0; i < Lanes::count; ++i, out += sizeof(Pixel)) {
            if constexpr (Pixel::packed) {
                // In one store, whose excess is the next one's pixel.
                std::uint32_t start;
                std::conditional_t<sizeof(Pixel) == 5, std::uint8_t, std::uint16_t> end;
                std::memcpy(&start, from[i], sizeof start);
                std::memcpy(&end, static_cast<const char*>(from[i]) + sizeof start, sizeof end);
                const std::uint64_t pixel = start | std::uint64_t{end} << 32;
                std::memcpy(out, &pixel, i < Lanes::count - 1 ? sizeof pixel : sizeof(Pixel));
            } else {
                std::memcpy(out, from[i], sizeof(Pixel));
            }
        }
    }

  private:
    static constexpr unsigned char zeros[sizeof(Pixel)] = {};
};

// The alpha-weighted means of four pixels.
template <class Lanes, class Pixel>
struct BilinearSampler {
    using Doubles = typename Lanes::Doubles;
    using Mask = typename Lanes::Mask;
    using Format = Pixels<Lanes, Pixel>;
    using Result = typename Format::Mixed;
    static constexpr unsigned allLanes = (1u << Lanes::count) - 1;

    template <Mapping mapping>
    [[gnu::always_inline]] static Sampled<Result> sample(const Job& job,
                                                         const Positions<Lanes>& at) {
        Doubles x = at.x, y = at.y;
        const auto rows =
            Lanes::And(Lanes::Le(Lanes::Set(job.top), y), Lanes::Lt(y, Lanes::Set(job.lastRow)));
        const auto columns = Lanes::And(Lanes::Le(Lanes::Set(job.left), x),
                                        Lanes::Lt(x, Lanes::Set(job.lastColumn)));
        const Mask inside = Lanes::And(rows, columns);
        unsigned decided = Lanes::Bits(inside);
        unsigned outside = 0;
        if (decided != allLanes) {
            outside = Lanes::Bits(Lanes::Or(Lanes::Lt(y, Lanes::Set(job.top - 1.0)),
                                            Lanes::Le(Lanes::Set(job.lastRow + 1.0), y)));
            // A whole turn ends on the last column.
            if (mapping == Mapping::unwrap || job.isTurned) {
                const double margin = mapping == Mapping::unwrap ? 1.0 : 1.0 + job.columnError;
                const auto columnOutside =
                    Lanes::Or(Lanes::Lt(x, Lanes::Set(job.left - margin)),
                              Lanes::Le(Lanes::Set(job.lastColumn + margin), x));
                outside |= Lanes::Bits(columnOutside) & ~at.nearCut;
            }
            if (decided == 0)
                return {Format::mixed(
                            {Lanes::Set(0.0), Lanes::Set(0.0), Lanes::Set(0.0), Lanes::Set(0.0)},
                            inside),
                        allLanes & ~outside};
            // Other lanes read pixels that are there.
            x = Lanes::IfThenElse(inside, x, Lanes::Set(job.left));
            y = Lanes::IfThenElse(inside, y, Lanes::Set(job.top));
        }

        const auto column = Lanes::Truncate(x), row = Lanes::Truncate(y);
        const Doubles fx = x - Lanes::ToDoubles(column), fy = y - Lanes::ToDoubles(row);
        const Doubles w11 = fx * fy;
        const Doubles w01 = fy - w11;
        const Doubles w10 = fx - w11;
        const Doubles w00 = ((-w11 - w01) + Lanes::Set(1.0)) - w10;

        const auto above = addresses<Lanes, Pixel>(job, column, row);
        const auto upper = Format::loadPair(above);
        const auto lower = Format::loadPair(Lanes::Add(above, Lanes::Set64(job.input.rowBytes)));
        const Neighbours c{Format::left(upper), Format::right(upper), Format::left(lower),
                           Format::right(lower)};
        const Doubles a00 = w00 * c.c00.a;
        const Doubles a10 = w10 * c.c10.a;
        const Doubles a01 = w01 * c.c01.a;
        const Doubles a11 = w11 * c.c11.a;
        const Doubles alpha = a11 + (a01 + (a00 + a10));

        const Doubles inverse = Lanes::Set(1.0) / alpha;
        const Doubles u00 = a00 * inverse;
        const Doubles u10 = a10 * inverse;
        const Doubles u01 = a01 * inverse;
        const Doubles u11 = a11 * inverse;
        const auto mean = [&](auto component) {
            return ((u10 * c.c10.*component + u00 * c.c00.*component) + u01 * c.c01.*component) +
                   u11 * c.c11.*component;
        };
        using All = Colours<Lanes>;
        Colours<Lanes> colours{mean(&All::r), mean(&All::g), mean(&All::b), alpha};
        const Mask visible = Lanes::AndNot(Lanes::Eq(alpha, Lanes::Set(0.0)), inside);
        // Near the cut x is at an end of the columns or beyond, which is never settled.
        if constexpr (mapping == Mapping::wrap)
            decided &= settled(job, fx, c, inverse, visible, colours);
        return {Format::mixed(colours, visible), allLanes & ~(decided | outside)};
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Result& result) {
        Format::store(out, result);
    }

  private:
    struct Neighbours {
        Colours<Lanes> c00, c10, c01, c11;
    };

    // The lanes that are stored alike for every column within e = columnError of the one they were
    // mixed for; moves `colours` within what is stored alike.
    //
    // Such columns have the same neighbours where fx is e away from 0 and 1. Between two of them
    // the exact weights differ by 2e in sum, the computed ones by less than m = 2e + 2^-46. Let A
    // be the largest magnitude of the four alphas, C that of the four components, S the total alpha
    // and g = A / |S|. Then S differs by at most mA, the sum of alpha times colour by mAC, and
    // where mg < 2^-10 their quotient, at most gC itself, by 1.01 mgC(1 + g); its own roundings add
    // less than 2^-47 gC. Twice m, mixedError, also covers the roundings made here. Rounding to
    // what is stored is monotone: where both ends are stored alike, so is all between them. A total
    // of zero is certain where all alphas are zero, and impossible where mg < 1.
    [[gnu::always_inline]] static unsigned settled(const Job& job, Doubles fx, const Neighbours& c,
                                                   Doubles inverse, Mask visible,
                                                   Colours<Lanes>& colours) {
        const Doubles error = Lanes::Set(job.columnError), margin = Lanes::Set(job.mixedError);
        const Doubles largest = largestOf(c.c00.a, c.c10.a, c.c01.a, c.c11.a);
        const Doubles gain = Lanes::Abs(largest * inverse);
        const Doubles reach = margin * gain * (gain + Lanes::Set(1.0));
        Mask certain =
            Lanes::And(Lanes::Lt(gain, Lanes::Set(job.gainLimit)), Format::areNumbers(colours));
        Colours<Lanes> high;
        const auto widen = [&](auto component) {
            Doubles most = Lanes::Set(Pixel::maxValue);
            if constexpr (std::is_same_v<typename Pixel::Component, float>) {
                most = largestOf(c.c00.*component, c.c10.*component, c.c01.*component,
                                 c.c11.*component);
                // The sign of a mean of zeros depends on the signs of the weights.
                const auto zeros = Lanes::Or(Lanes::Or(c.c00.*component, c.c10.*component),
                                             Lanes::Or(c.c01.*component, c.c11.*component));
                certain = Lanes::AndNot(Lanes::IsNegativeZero(zeros), certain);
            }
            high.*component = colours.*component + reach * most;
            colours.*component = colours.*component - reach * most;
        };
        widen(&Colours<Lanes>::r);
        widen(&Colours<Lanes>::g);
        widen(&Colours<Lanes>::b);
        high.a = colours.a + margin * largest;
        colours.a = colours.a - margin * largest;
        certain = Lanes::And(certain, Format::alike(colours, high));
        const Mask empty = Lanes::AndNot(visible, Lanes::Eq(largest, Lanes::Set(0.0)));
        const Mask sameNeighbours =
            Lanes::And(Lanes::Le(error, fx), Lanes::Le(fx, Lanes::Set(1.0) - error));
        return Lanes::Bits(Lanes::And(sameNeighbours, Lanes::Or(certain, empty)));
    }

    // The largest magnitude.
    [[gnu::always_inline]] static Doubles largestOf(Doubles a, Doubles b, Doubles c, Doubles d) {
        return Lanes::Max(Lanes::Max(Format::magnitude(a), Format::magnitude(b)),
                          Lanes::Max(Format::magnitude(c), Format::magnitude(d)));
    }
};

// The region --------------------------------------------------------------------------------------

template <class Lanes, class Sampler, class Pixel, Mapping mapping>
class Renderer {
  public:
    explicit Renderer(const Job& job) : job_(job) {}

    // Visits the rows block by block: neighbouring rows read the same part of the input.
    std::int64_t render(QzLong firstRow, QzLong rows) {
        const Geometry& geometry = job_.geometry;
        double v = geometry.rows.at(firstRow);
        for (std::int64_t top = 0; top < rows; top += blockRows) {
            const int height = static_cast<int>(std::min<std::int64_t>(blockRows, rows - top));
            for (int j = 0; j < height; ++j, v += geometry.rows.step) v_[j] = v;
            double offset = geometry.columns.first - 0.5;
            for (std::int64_t left = 0; left < geometry.region.width; left += blockColumns)
                renderBlock(left, firstRow + top, height, offset);
        }
        return redone_;
    }

  private:
    // Moves `offset` on to the next block.
    [[gnu::always_inline]] void renderBlock(std::int64_t left, std::int64_t top, int height,
                                            double& offset) {
        const Rect& region = job_.geometry.region;
        const int width =
            static_cast<int>(std::min<std::int64_t>(blockColumns, region.width - left));
        Columns<mapping> columns;
        for (int i = 0; i < blockColumns; ++i) {
            columns.load(job_, i, left + std::min(i, width - 1), offset);
            if (i < width) offset += job_.geometry.columns.step;
        }
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        unsigned char* out = reinterpret_cast<unsigned char*>(
            reinterpret_cast<std::uintptr_t>(job_.output.pixels) +
            static_cast<std::uintptr_t>((region.y + top) * job_.output.rowBytes +
                                        (region.x + left) * std::int64_t{sizeof(Pixel)}));
        for (int j = 0; j < height; ++j, out += job_.output.rowBytes)
            renderRow(columns, v_[j], left, width, out);
    }

    [[gnu::always_inline]] void renderRow(const Columns<mapping>& columns, double v,
                                          std::int64_t left, int width, unsigned char* out) {
        for (int i = 0; i < width; i += Lanes::count, out += sizeof(Pixel) * Lanes::count) {
            const auto positions = columns.template positions<Lanes>(job_, i, v);
            const auto sampled = Sampler::template sample<mapping>(job_, positions);
            if (sampled.open == 0 && width - i >= Lanes::count) [[likely]] {
                Sampler::store(out, sampled.pixels);
                continue;
            }
            unsigned char batch[sizeof(Pixel) * Lanes::count];
            Sampler::store(batch, sampled.pixels);
            finish(columns, v, left, i, std::min(Lanes::count, width - i), sampled.open, batch,
                   out);
        }
    }

    // Writes the first `count` pixels of a batch, those that are open by the plain path.
    [[gnu::noinline]] void finish(const Columns<mapping>& columns, double v, std::int64_t left,
                                  int first, int count, unsigned open, unsigned char* batch,
                                  unsigned char* out) {
        for (int i = 0; i < count; ++i) {
            if ((open >> i & 1) == 0) continue;
            ++redone_;
            job_.renderPixel(job_, v, static_cast<QzLong>(left + first + i),
                             columns.offsetAt(first + i),
                             batch + sizeof(Pixel) * static_cast<unsigned>(i));
        }
        std::memcpy(out, batch, sizeof(Pixel) * static_cast<unsigned>(count));
    }

    const Job& job_;
    double v_[blockRows];
    std::int64_t redone_ = 0;
};

template <class Lanes, class Pixel, class Sampler>
std::int64_t renderWith(const Job& job, QzLong firstRow, QzLong rows) {
    if (job.geometry.mapping == Mapping::unwrap)
        return Renderer<Lanes, Sampler, Pixel, Mapping::unwrap>(job).render(firstRow, rows);
    return Renderer<Lanes, Sampler, Pixel, Mapping::wrap>(job).render(firstRow, rows);
}

template <class Lanes>
std::int64_t renderBatches(const Job& job, QzLong firstRow, QzLong rows) {
    std::int64_t redone = 0;
    visitFormat(job.format, [&]<class Buffer>() {
        using Pixel = typename Buffer::Pixel;
        redone = job.sampling == Sampling::bilinear
                     ? renderWith<Lanes, Pixel, BilinearSampler<Lanes, Pixel>>(job, firstRow, rows)
                     : renderWith<Lanes, Pixel, NearestSampler<Lanes, Pixel>>(job, firstRow, rows);
    });
    return redone;
}

}  // namespace
}  // namespace polar
