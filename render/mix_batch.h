// Means of four pixels.
#pragma once

#include <type_traits>

#include "render/Job.h"
#include "render/pixels_batch.h"

namespace polar {
namespace {

// Which chunks have rests: the weights that positions give the first of two neighbours. They are 1
// minus those of the second unless a neighbour is missing; narrowed to floats by themselves they
// are never off by more than their own rounding.
enum class Rests { none, notInside, all };

// What is known of the pixels of a chunk before any is read.
template <class Real, int pixels, Rests rests>
struct Spots {
    static constexpr bool hasRests = rests != Rests::none;
    alignas(64) std::uint64_t address[pixels];
    alignas(64) Real fx[pixels], fy[pixels];
    Real restX[hasRests ? pixels : 1], restY[hasRests ? pixels : 1];

    template <bool isInside, class Along>
    [[gnu::always_inline]] void setFractions(int at, const Along& x, const Along& y) {
        set(fx + at, x.fraction);
        set(fy + at, y.fraction);
        if constexpr (rests == Rests::all || (rests == Rests::notInside && !isInside)) {
            set(restX + at, x.rest);
            set(restY + at, y.rest);
        }
    }
    template <class Reals>
    [[gnu::always_inline]] Reals rest(const Real* fractions, const Real* rest, int at) const {
        if constexpr (hasRests)
            return load<Reals>(rest + at);
        else
            return Real{1} - load<Reals>(fractions + at);
    }

  private:
    template <class Doubles>
    [[gnu::always_inline]] static void set(Real* to, Doubles value) {
        store(to, __builtin_convertvector(value, Vector<Real, lengthOf<Doubles>>));
    }
};

// What means say of themselves, unless they say otherwise.
struct AnyMean {
    // How many columns mix() may read beyond a pair.
    static constexpr int columnsBeyond = 0;
    // Whether mixRim() mixes what is not in a chunk inside, and reads nothing beyond.
    static constexpr bool hasRim = false;
    // Whether their bounds hold from one pair of neighbours to the next; otherwise columns that may
    // lie on either side of a pixel are left open.
    static constexpr bool isContinuous = false;
};

// Integers. Any order of operations will do, in doubles or floats, where it can be shown that what
// is stored is the same.
//
// Pixels that are missing are transparent: they weigh nothing. Unwrapping, they are few.
template <class Lanes, class Pixel, Mapping mapping, class Real,
          class Format = IntegerPixels<Lanes, Pixel, Real>>
class IntegerMean : public AnyMean {
    using Target = typename Lanes::Target;
    using Reals = typename Format::Reals;
    static constexpr bool isSingle = std::is_same_v<Real, float>;

  public:
    static constexpr int count = Format::count;
    static constexpr bool isContinuous = true;
    template <int pixels>
    using Spots =
        polar::Spots<Real, pixels, isSingle || mapping == Mapping::wrap ? Rests::all : Rests::none>;

    explicit IntegerMean(const Job& job) : rowBytes_(job.input.rowBytes), format_(job) {
        constexpr double most = Pixel::maxValue;
        leastAlpha_ = static_cast<Real>(1.01 * job.weightError * most * most / slack);
        columnError_ = static_cast<Real>(1.01 * job.columnError);
    }

    // Writes `count` pixels; returns which of them may be wrong.
    //
    // Let u be the unit of a rounding and C the largest component. Weights times alpha are products
    // of three factors, of which two are rounded: each is off by 4u of itself. A mean of numbers
    // from 0 to C moves by at most 4uC / 2 for that. Its sum rounds by 4u, the total alpha by 2u,
    // their quotient by 2u: together 10uC; 12uC leaves room for squares of u. Alpha is off by 6uC.
    // The plain path's weights are off by job.weightError in sum, roundings in its means included,
    // which moves a mean by at most that times C^2 / total alpha: no more than `slack` where that
    // alpha is leastAlpha_. The sum that is compared with ties has the unit 2u(C + 1), and rounds
    // by half of it. A result nearer to a tie than all that, `distance`, is left open.
    template <class Spots>
    [[gnu::always_inline]] unsigned mix(const Spots& spots, int at, unsigned char* out,
                                        bool /*isStreamed*/) const {
        const auto fx = load<Reals>(spots.fx + at), fy = load<Reals>(spots.fy + at);
        const auto gx = spots.template rest<Reals>(spots.fx, spots.restX, at);
        const auto gy = spots.template rest<Reals>(spots.fy, spots.restY, at);
        const auto upper = Format::loadPair(spots.address + at, 0);
        const auto lower = Format::loadPair(spots.address + at, rowBytes_);
        const Reals a00 = gx * gy * upper.left.a, a10 = fx * gy * upper.right.a;
        const Reals a01 = gx * fy * lower.left.a, a11 = fx * fy * lower.right.a;
        const Reals alpha = (a00 + a10) + (a01 + a11);
        const Reals inverse = Real{1} / alpha;
        auto clear = alpha >= leastAlpha_;
        const auto rounded = [&](Reals sum) __attribute__((always_inline)) {
            clear &= Rounding::template isClear<distance>(sum);
            return sum;
        };
        const auto mean = [&](auto component, double scale) __attribute__((always_inline)) {
            Reals sum = a00 * upper.left.*component;
            sum = Target::fma(a10, upper.right.*component, sum);
            sum = Target::fma(a01, lower.left.*component, sum);
            sum = Target::fma(a11, lower.right.*component, sum);
            const Reals factor = inverse * static_cast<Real>(scale);
            return rounded(Target::fma(sum, factor, all<Reals>(Rounding::offset)));
        };
        using All = Colours<Reals>;
        const All colours{mean(&All::r, Format::scale(0)), mean(&All::g, Format::scale(1)),
                          mean(&All::b, Format::scale(2)), rounded(alpha + Rounding::offset)};
        const unsigned open = all_ & ~bitsOf<Lanes>(clear);
        if (open == 0) [[likely]] {
            format_.template storeRounded<Rounding::fraction>(out, colours);
            return 0;
        }
        // Where all four are transparent, nothing can be wrong, unless the plain path has others.
        const auto visible =
            ((upper.left.a + upper.right.a) + (lower.left.a + lower.right.a) > Reals{}) |
            (smaller(fx, gx) < columnError_);
        const auto kept = [&](Reals sum) __attribute__((always_inline)) {
            return visible ? sum : Reals{};
        };
        format_.template storeRounded<Rounding::fraction>(
            out, {kept(colours.r), kept(colours.g), kept(colours.b), kept(colours.a)});
        return open & bitsOf<Lanes>(visible);
    }

  private:
    using Rounding = polar::Rounding<Real, Pixel::componentBits>;
    static constexpr unsigned all_ = (1u << count) - 1;
    static constexpr double unit = 0x1p-24 * Pixel::maxValue;
    // In doubles roundings are nothing beside what the weights may be off.
    static constexpr double slack = isSingle ? unit : 0x1p-15;
    static constexpr double margin = isSingle ? slack + 12 * unit : 1.01 * slack;
    // In units of the sums.
    static constexpr std::int64_t one = std::int64_t{1} << Rounding::fraction;
    static constexpr std::int64_t distance = isSingle ? 8 : one >> 14;
    static_assert(margin * one + 0.5 <= distance);

    std::int64_t rowBytes_;
    Format format_;
    Real leastAlpha_, columnError_;
};

// Floats: the plain path's operations in its order. Wrapping, pixels whose column decides what is
// stored are left open.
template <class Lanes, Mapping mapping>
class FloatMean : public AnyMean {
    using Target = typename Lanes::Target;
    using Format = FloatPixels<Lanes>;
    using Doubles = typename Lanes::Doubles;
    using Floats = typename Format::Floats;
    using All = Colours<Doubles>;
    using Mask = decltype(Doubles{} < Doubles{});
    using Bits = Vector<std::int32_t, Format::count>;

  public:
    static constexpr int count = Format::count;
    template <int pixels>
    using Spots = polar::Spots<double, pixels, Rests::none>;

    explicit FloatMean(const Job& job)
        : rowBytes_(job.input.rowBytes), error_(job.weightError / (1 - mostGain)) {}

    template <int pixels>
    [[gnu::always_inline]] unsigned mix(const Spots<pixels>& spots, int at, unsigned char* out,
                                        bool isStreamed) const {
        const auto fx = load<Doubles>(spots.fx + at), fy = load<Doubles>(spots.fy + at);
        const Doubles w11 = fx * fy;
        const Doubles w01 = fy - w11;
        const Doubles w10 = fx - w11;
        const Doubles w00 = ((-w11 - w01) + 1.0) - w10;
        const auto upper = Format::loadPair(spots.address + at, 0);
        const auto lower = Format::loadPair(spots.address + at, rowBytes_);
        const Neighbours c{upper.left, upper.right, lower.left, lower.right};
        const Doubles a00 = w00 * c.c00.a;
        const Doubles a10 = w10 * c.c10.a;
        const Doubles a01 = w01 * c.c01.a;
        const Doubles a11 = w11 * c.c11.a;
        const Doubles alpha = a11 + (a01 + (a00 + a10));
        const Doubles inverse = 1.0 / alpha;
        const Doubles u00 = a00 * inverse;
        const Doubles u10 = a10 * inverse;
        const Doubles u01 = a01 * inverse;
        const Doubles u11 = a11 * inverse;
        const auto mean = [&](auto component) __attribute__((always_inline)) {
            return ((u10 * c.c10.*component + u00 * c.c00.*component) + u01 * c.c01.*component) +
                   u11 * c.c11.*component;
        };
        const All colours{mean(&All::r), mean(&All::g), mean(&All::b), alpha};
        const Mask visible = alpha != 0.0;
        Format::store(out,
                      {kept(colours.r, visible), kept(colours.g, visible), kept(colours.b, visible),
                       kept(alpha, visible)},
                      isStreamed);
        if constexpr (mapping == Mapping::unwrap) return 0;
        return ((1u << count) - 1) & ~bitsOf<Lanes>(settled(c, inverse, visible, colours));
    }

  private:
    struct Neighbours {
        All c00, c10, c01, c11;
    };

    // The lanes that are stored alike for every column within the column's error of the one they
    // were mixed for, and within the same neighbours.
    //
    // Let m be how far computed weights differ in sum, roundings included, A the largest
    // magnitude of the four alphas, C that of the four components, S the total alpha, g = A / |S|
    // and q the mean. Each product of weight and alpha moves by its part of mA, and that moves the
    // mean by its part of mg times the distance of a component from q: together by at most
    // mg(C + |q|), divided by 1 - mg where S moves with it: for mg < mostGain, less than error_
    // makes of it. Rounding to what is stored is monotone: where both ends are stored alike, so is
    // all between them. A total of zero is certain where all alphas are zero, and impossible where
    // mg < 1.
    [[gnu::always_inline]] Mask settled(const Neighbours& c, Doubles inverse, Mask visible,
                                        const All& colours) const {
        const Doubles largest = largestOf(c, &All::a);
        const Doubles gain = error_ * magnitude(largest * inverse);
        Bits differences{};
        const auto widen = [&](Doubles value, Doubles by) __attribute__((always_inline)) {
            differences |= stored(value - by) ^ stored(value + by);
        };
        // The sign of a mean of zeros depends on the signs of the weights.
        Mask signedZeros{};
        const auto colour = [&](auto component) __attribute__((always_inline)) {
            const auto bits = [&](const All& of) __attribute__((always_inline)) {
                return as<Mask>(of.*component);
            };
            signedZeros |=
                (bits(c.c00) | bits(c.c10) | bits(c.c01) | bits(c.c11)) == as<Mask>(-Doubles{});
            const Doubles value = colours.*component;
            widen(value, gain * (largestOf(c, component) + magnitude(value)));
        };
        colour(&All::r);
        colour(&All::g);
        colour(&All::b);
        widen(colours.a, error_ * largest);
        // Of infinities of either sign it also says no.
        const Doubles sum = (colours.r + colours.g) + (colours.b + colours.a);
        const Mask certain = (gain < mostGain) & (sum == sum) & ~signedZeros &
                             __builtin_convertvector(differences == 0, Mask);
        return certain | (~visible & (largest == 0.0));
    }

    [[gnu::always_inline]] static Bits stored(Doubles value) {
        return as<Bits>(__builtin_convertvector(value, Floats));
    }
    [[gnu::always_inline]] static Floats kept(Doubles value, Mask visible) {
        return __builtin_convertvector(visible ? value : Doubles{}, Floats);
    }
    [[gnu::always_inline]] static Doubles largestOf(const Neighbours& c, auto component) {
        return larger(larger(magnitude(c.c00.*component), magnitude(c.c10.*component)),
                      larger(magnitude(c.c01.*component), magnitude(c.c11.*component)));
    }

    // Any part of 1 would do, as error_ follows from it; a small one widens little.
    static constexpr double mostGain = 0x1p-6;

    std::int64_t rowBytes_;
    double error_;
};

}  // namespace
}  // namespace polar
