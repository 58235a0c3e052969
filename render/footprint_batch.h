// What output pixels cover in the source.
//
// A pixel is a square, one wide and high around its position. The mapping turns a point of it, `s`
// right of and `t` below the position, each within half a pixel, into a displacement in the source:
// of second order for most pixels, exact where that would not do. Bilinear sampling averages over a
// square of the source by itself; so along an axis that spans k pixels the displacement is narrowed
// to sqrt(k * k - 1) of these, and together they cover what the pixel does.
//
// Nothing here is contracted or left to a library: any unit gives the same bits.
#pragma once

#include <array>

#include "render/arctangent.h"
#include "render/unwrap_batch.h"
#include "render/wrap_batch.h"

namespace polar {
namespace {

// A target whose products and sums round separately, as those of any other do.
template <class TargetType>
struct Unfused : TargetType {
    template <class V>
    [[gnu::always_inline]] static V fma(V a, V b, V c) {
        return a * b + c;
    }
};

// An axis whose squared span is no more counts as one pixel: what narrowing leaves is too little to
// be seen.
constexpr double narrowest = 1.005;
// Samples in a row of a pixel: more make no difference, whatever it spans. Near the centre all
// directions get as many.
constexpr double mostSamples = 32, mostNear = 24;

template <class V>
[[gnu::always_inline]] inline V squared(V value) {
    return value * value;
}

// Of the magnitude.
template <class V>
[[gnu::always_inline]] inline V cubed(V value) {
    return magnitude(value) * value * value;
}

// The lanes of those bits.
template <class Lanes>
[[gnu::always_inline]] inline auto maskOf(unsigned bits) {
    typename Lanes::Words place{};
    for (int i = 0; i < Lanes::count; ++i) place[i] = std::uint64_t{1} << i;
    return (all<typename Lanes::Words>(std::uint64_t{bits}) & place) != 0;
}

// Of the source's two coordinates, for a step to the right and a step down.
template <class Lanes>
struct Gradients {
    typename Lanes::Doubles xs, xt, ys, yt;
};

// Squared; of the output's axes when unwrapping, of the source's when wrapping.
template <class Lanes>
struct Spans {
    using Doubles = typename Lanes::Doubles;
    Doubles first, second;

    [[gnu::always_inline]] auto isFirstWide() const { return first > narrowest; }
    [[gnu::always_inline]] auto isSecondWide() const { return second > narrowest; }
};

// Equally far apart, the middle at 0.
template <class Lanes>
struct Samples {
    using Doubles = typename Lanes::Doubles;
    Doubles count, step;

    [[gnu::always_inline]] Doubles at(double index) const {
        return (smaller(all<Doubles>(index), count - 1.0) - (count - 1.0) * 0.5) * step;
    }
};

// Two for each pixel that is spanned.
template <class Lanes>
[[gnu::always_inline]] inline typename Lanes::Doubles samplesFor(typename Lanes::Doubles span) {
    using Doubles = typename Lanes::Doubles;
    const Doubles needed = -Lanes::Target::floor(span * -2.0);
    return larger(smaller(needed, all<Doubles>(mostSamples)), all<Doubles>(1.0));
}

// A grid of samples, and by how much their displacements along either coordinate of the source are
// narrowed.
template <class Lanes>
struct Narrowing {
    Samples<Lanes> s, t;
    typename Lanes::Doubles x, y;
};

// A pixel's position, displacements of first order and spans; wrapping also the lanes that are near
// the centre, and the part of a turn and the row that they are at before they move.
template <class Lanes>
struct Footprint : Gradients<Lanes> {
    using Doubles = typename Lanes::Doubles;
    Doubles x, y;
    Spans<Lanes> spans;
    Doubles turned, mappedY;
    unsigned near;

    // Beyond which nothing of it lies, but for what second order adds.
    [[gnu::always_inline]] Doubles reachY() const {
        return (magnitude(this->ys) + magnitude(this->yt)) * 0.5;
    }
};

// Displacements, x = xs s + xt t + xss s s + xst s t + xtt t t.
template <class Lanes>
struct Bent : Gradients<Lanes> {
    using Doubles = typename Lanes::Doubles;
    Doubles x, y;
    Doubles xss, xst, xtt, yss, yst, ytt;

    [[gnu::always_inline]] std::array<Doubles*, 10> parts() {
        return {&this->xs, &this->xt, &xss, &xst, &xtt, &this->ys, &this->yt, &yss, &yst, &ytt};
    }
    [[gnu::always_inline]] void scale(Doubles byX, Doubles byY) {
        const auto each = parts();
        for (unsigned i = 0; i < 10; ++i) *each[i] = *each[i] * (i < 5 ? byX : byY);
    }
    // Beyond which no sample lies.
    [[gnu::always_inline]] Doubles reachX() const {
        return (magnitude(this->xs) + magnitude(this->xt)) * 0.5 +
               ((magnitude(xss) + magnitude(xst)) + magnitude(xtt)) * 0.25 + 0x1p-10;
    }
    [[gnu::always_inline]] Doubles reachY() const {
        return (magnitude(this->ys) + magnitude(this->yt)) * 0.5 +
               ((magnitude(yss) + magnitude(yst)) + magnitude(ytt)) * 0.25 + 0x1p-10;
    }
};

// Own places, and how far positions have moved from there.
template <class Lanes>
struct Moves {
    using Doubles = typename Lanes::Doubles;
    Movement movement;
    bool isPartial;

    explicit Moves(const Movement& given) : movement(given), isPartial(!given.isWhole()) {}

    [[gnu::always_inline]] Doubles ownX(double column) const {
        Doubles columns{};
        for (int i = 0; i < Lanes::count; ++i) columns[i] = column + i;
        return movement.first.x + movement.step.x * columns;
    }
    [[gnu::always_inline]] double ownY(double row) const {
        return movement.first.y + movement.step.y * row;
    }
    [[gnu::always_inline]] Doubles moved(Doubles own, Doubles to) const {
        return own + movement.amount * (to - own);
    }
    [[gnu::always_inline]] void move(Gradients<Lanes>& g) const {
        if (!isPartial) [[likely]]
            return;
        g.xs = g.xs * movement.amount + (1.0 - movement.amount) * movement.step.x;
        g.xt = g.xt * movement.amount;
        g.ys = g.ys * movement.amount;
        g.yt = g.yt * movement.amount + (1.0 - movement.amount) * movement.step.y;
    }
    [[gnu::always_inline]] void move(Footprint<Lanes>& f, double column, double row) const {
        if (!isPartial) [[likely]]
            return;
        move(static_cast<Gradients<Lanes>&>(f));
        f.x = moved(ownX(column), f.x);
        f.y = moved(all<Doubles>(ownY(row)), f.y);
    }
    // What second order adds moves in proportion.
    [[gnu::always_inline]] void move(Bent<Lanes>& f) const {
        if (!isPartial) [[likely]]
            return;
        for (Doubles* const part : {&f.xss, &f.xst, &f.xtt, &f.yss, &f.yst, &f.ytt})
            *part = *part * movement.amount;
    }
};

// Those of a job; a row is described once for all its pixels.
template <class Lanes, Mapping mapping>
class Footprints;

template <class Lanes>
class Footprints<Lanes, Mapping::unwrap> {
  public:
    using Doubles = typename Lanes::Doubles;
    using Block = Columns<Mapping::unwrap>;
    static constexpr bool hasExact = false;

    // The radius, how much it grows over the row, and by how much it bends meanwhile.
    struct Row {
        double at, growth, bend, index;
    };

    explicit Footprints(const Job& job)
        : geometry_(job.geometry),
          moves_(job.geometry.movement),
          radians_(job.geometry.columns.step * 6.283185307179586) {}

    Row row(double v, double index) const {
        const double half = geometry_.rows.step * 0.5, at = unscaled(geometry_.scale, v);
        const double before = unscaled(geometry_.scale, v - half);
        const double after = unscaled(geometry_.scale, v + half);
        return {at, after - before, (after - at) - (at - before), index};
    }

    [[gnu::always_inline]] Spans<Lanes> spans(const Block& block, int i, const Row& row) const {
        Gradients<Lanes> g = mapped(block, i, row);
        moves_.move(g);
        return spansOf(g);
    }

    [[gnu::always_inline]] Footprint<Lanes> at(const Block& block, int i, const Row& row,
                                               double column) const {
        Footprint<Lanes> f;
        static_cast<Gradients<Lanes>&>(f) = mapped(block, i, row);
        f.x = (0.5 - row.at * load<Doubles>(block.halfSine + i)) * geometry_.scaleX +
              geometry_.originX;
        f.y = (0.5 - row.at * load<Doubles>(block.halfCosine + i)) * geometry_.scaleY +
              geometry_.originY;
        moves_.move(f, column, row.index);
        f.spans = spansOf(f);
        f.near = 0;
        return f;
    }

    [[gnu::always_inline]] Bent<Lanes> bend(const Footprint<Lanes>& flat, const Block& block, int i,
                                            const Row& row) const {
        Bent<Lanes> f;
        static_cast<Gradients<Lanes>&>(f) = flat;
        f.x = flat.x;
        f.y = flat.y;
        const Doubles sine = load<Doubles>(block.halfSine + i) * geometry_.scaleX;
        const Doubles cosine = load<Doubles>(block.halfCosine + i) * geometry_.scaleY;
        const double turn = row.at * radians_ * radians_ * 0.5, both = -row.growth * radians_;
        f.xss = sine * turn;
        f.xst = load<Doubles>(block.halfCosine + i) * (geometry_.scaleX * both);
        f.xtt = sine * (-2.0 * row.bend);
        f.yss = cosine * turn;
        f.yst = load<Doubles>(block.halfSine + i) * (geometry_.scaleY * -both);
        f.ytt = cosine * (-2.0 * row.bend);
        moves_.move(f);
        return f;
    }
    static unsigned needExact(const Footprint<Lanes>&, const Block&, int, const Row&) { return 0; }

    // Spaced as far apart as gives them the variance that is wanted.
    template <bool>
    [[gnu::always_inline]] static Narrowing<Lanes> sample(const Footprint<Lanes>& f) {
        return {along(f.spans.first, f.spans.isFirstWide()),
                along(f.spans.second, f.spans.isSecondWide()), all<Doubles>(1.0),
                all<Doubles>(1.0)};
    }

  private:
    [[gnu::always_inline]] Gradients<Lanes> mapped(const Block& block, int i,
                                                   const Row& row) const {
        const auto halfSine = load<Doubles>(block.halfSine + i);
        const auto halfCosine = load<Doubles>(block.halfCosine + i);
        const double turn = row.at * radians_;
        return {halfCosine * (-turn * geometry_.scaleX),
                halfSine * (-row.growth * geometry_.scaleX), halfSine * (turn * geometry_.scaleY),
                halfCosine * (-row.growth * geometry_.scaleY)};
    }
    [[gnu::always_inline]] static Spans<Lanes> spansOf(const Gradients<Lanes>& g) {
        return {squared(g.xs) + squared(g.ys), squared(g.xt) + squared(g.yt)};
    }
    template <class Mask>
    [[gnu::always_inline]] static Samples<Lanes> along(Doubles span, Mask isWide) {
        if (bitsOf<Lanes>(isWide) == 0) return {all<Doubles>(1.0), Doubles{}};
        const Doubles count = samplesFor<Lanes>(Lanes::Target::sqrt(span));
        const Doubles step = Lanes::Target::sqrt((span - 1.0) / (span * (count * count - 1.0)));
        return {isWide ? count : all<Doubles>(1.0), isWide ? step : Doubles{}};
    }

    const Geometry& geometry_;
    Moves<Lanes> moves_;
    double radians_;  // from a column to the next
};

template <class Lanes>
class Footprints<Lanes, Mapping::wrap> {
  public:
    using Doubles = typename Lanes::Doubles;
    using Block = Columns<Mapping::wrap>;
    static constexpr bool hasExact = true;

    // The offset from the centre.
    struct Row {
        double at, index;
    };

    explicit Footprints(const Job& job)
        : geometry_(job.geometry),
          moves_(job.geometry.movement),
          slope_(turnsPerRadian * geometry_.turn.sign * geometry_.scaleX),
          step_(std::max(geometry_.columns.step, geometry_.rows.step)) {}

    Row row(double v, double index) const { return {v - 0.5, index}; }

    [[gnu::always_inline]] Spans<Lanes> spans(const Block& block, int i, const Row& row) const {
        const Place place(*this, load<Doubles>(block.offset + i), row.at);
        Gradients<Lanes> g = gradients(place, growth(place));
        moves_.move(g);
        return spansOf(g, place);
    }

    [[gnu::always_inline]] Footprint<Lanes> at(const Block& block, int i, const Row& row,
                                               double column) const {
        const Place place(*this, load<Doubles>(block.offset + i), row.at);
        Footprint<Lanes> f;
        static_cast<Gradients<Lanes>&>(f) = gradients(place, growth(place));
        f.turned = turnAt(place.dx, place.dy);
        f.x = f.turned * geometry_.scaleX + geometry_.originX;
        f.y = f.mappedY = rowAt(place.radius);
        moves_.move(f, column, row.index);
        f.spans = spansOf(f, place);
        f.near = bitsOf<Lanes>(place.isNear());
        return f;
    }

    [[gnu::always_inline]] Bent<Lanes> bend(const Footprint<Lanes>& flat, const Block& block, int i,
                                            const Row& row) const {
        Bent<Lanes> f;
        static_cast<Gradients<Lanes>&>(f) = flat;
        f.x = flat.x;
        f.y = flat.y;
        const Place place(*this, load<Doubles>(block.offset + i), row.at);
        const Doubles grows = growth(place), bends = bend(place);
        const Doubles &as = place.angleS, &at = place.angleT;
        const Doubles &rs = place.radiusS, &rt = place.radiusT;
        f.xss = as * rs * -slope_;
        f.xst = (as * rt + at * rs) * -slope_;
        f.xtt = at * rt * -slope_;
        f.yss = (grows * as * as + bends * rs * rs) * 0.5;
        f.yst = grows * as * at + bends * rs * rt;
        f.ytt = (grows * at * at + bends * rt * rt) * 0.5;
        moves_.move(f);
        return f;
    }

    // The lanes for which displacements of second order will not do: near the centre, and where
    // some samples lie beyond the cut.
    [[gnu::always_inline]] unsigned needExact(const Footprint<Lanes>& f, const Block& block, int i,
                                              const Row& row) const {
        const Turn& turn = geometry_.turn;
        const auto isBeside = [&](Doubles most) __attribute__((always_inline)) {
            return bitsOf<Lanes>((magnitude(f.turned - turn.low) <= most) |
                                 (magnitude(f.turned - turn.high) <= most));
        };
        // More than the angles below amount to for any that are not near.
        if (isBeside(all<Doubles>(0.9 * turnsPerRadian / nearSteps)) == 0) [[likely]]
            return f.near;
        const Place place(*this, load<Doubles>(block.offset + i), row.at);
        return f.near | isBeside((magnitude(place.angleS) + magnitude(place.angleT)) *
                                 (0.6 * turnsPerRadian));
    }

    // A pixel's own displacements, narrowed along either axis of the source. Exact ones are even in
    // number: equally many on either side of a cut through the middle.
    template <bool isExact>
    [[gnu::always_inline]] static Narrowing<Lanes> sample(const Footprint<Lanes>& f) {
        const auto isX = f.spans.isFirstWide(), isY = f.spans.isSecondWide();
        const auto needed = [&](Doubles x, Doubles y) __attribute__((always_inline)) {
            return enough<isExact>(
                larger(isX ? magnitude(x) : Doubles{}, isY ? magnitude(y) : Doubles{}));
        };
        Narrowing<Lanes> n;
        n.s.count = needed(f.xs, f.ys);
        n.t.count = needed(f.xt, f.yt);
        const Doubles across = 1.0 - 1.0 / squared(n.s.count);
        const Doubles down = 1.0 - 1.0 / squared(n.t.count);
        Doubles varianceX = squared(f.xs) * across + squared(f.xt) * down;
        Doubles varianceY = squared(f.ys) * across + squared(f.yt) * down;
        if (f.near != 0) [[unlikely]] {
            const auto isNear = maskOf<Lanes>(f.near);
            const Doubles count =
                smaller(enough<isExact>(Lanes::Target::sqrt(larger(f.spans.first, f.spans.second))),
                        all<Doubles>(mostNear));
            const Doubles part = 1.0 - 1.0 / squared(count);
            n.s.count = isNear ? count : n.s.count;
            n.t.count = isNear ? count : n.t.count;
            varianceX = isNear ? f.spans.first * part : varianceX;
            varianceY = isNear ? f.spans.second * part : varianceY;
        }
        n.s.step = 1.0 / n.s.count;
        n.t.step = 1.0 / n.t.count;
        n.x = isX ? Lanes::Target::sqrt((f.spans.first - 1.0) / varianceX) : Doubles{};
        n.y = isY ? Lanes::Target::sqrt((f.spans.second - 1.0) / varianceY) : Doubles{};
        return n;
    }

    // The exact position of a sample.
    [[gnu::always_inline]] void exactly(const Block& block, int i, const Row& row, double column,
                                        const Footprint<Lanes>& f, const Narrowing<Lanes>& n,
                                        Doubles s, Doubles t, Doubles& x, Doubles& y) const {
        const Doubles dx = load<Doubles>(block.offset + i), dy = all<Doubles>(row.at);
        const Doubles right = dx + s * geometry_.columns.step, below = dy + t * geometry_.rows.step;
        Doubles turn = turnAt(right, below) - f.turned;
        turn = turn > 0.5 ? turn - 1.0 : turn < -0.5 ? turn + 1.0 : turn;
        const Doubles radius =
            larger(Lanes::Target::sqrt(squared(right) + squared(below)), all<Doubles>(least()));
        x = kept(f.turned + turn * n.x) * geometry_.scaleX + geometry_.originX;
        y = f.mappedY + (rowAt(radius) - f.mappedY) * n.y;
        if (!moves_.isPartial) [[likely]]
            return;
        const Point step = geometry_.movement.step;
        x = moves_.moved(moves_.ownX(column) + s * n.x * step.x, x);
        y = moves_.moved(moves_.ownY(row.index) + t * n.y * step.y, y);
    }

  private:
    static constexpr double nearSteps = 2, leastSteps = 0.25;

    // Where a pixel lies about the centre, and what a step right and one down change of its angle
    // and of the logarithm of its distance.
    struct Place {
        Doubles dx, dy, square, radius, angleS, angleT, radiusS, radiusT;
        double step;

        [[gnu::always_inline]] Place(const Footprints& of, Doubles x, double y)
            : dx(x), dy(all<Doubles>(y)), square(x * x + y * y), step(of.step_) {
            const Doubles inverse = 1.0 / larger(square, all<Doubles>(of.least() * of.least()));
            radius = larger(Lanes::Target::sqrt(square), all<Doubles>(of.least()));
            const Doubles right = inverse * of.geometry_.columns.step;
            const Doubles down = inverse * of.geometry_.rows.step;
            angleS = dy * right;
            angleT = -(dx * down);
            radiusS = dx * right;
            radiusT = dy * down;
        }
        [[gnu::always_inline]] auto isNear() const {
            return square < nearSteps * step * (nearSteps * step);
        }
    };

    double least() const { return leastSteps * step_; }

    template <bool isEven>
    [[gnu::always_inline]] static Doubles enough(Doubles span) {
        if (!isEven) return samplesFor<Lanes>(span);
        return smaller(samplesFor<Lanes>(span * 0.5) * 2.0, all<Doubles>(mostSamples));
    }

    // Near the centre, as if rows and columns lay in the direction of the largest gradient.
    [[gnu::always_inline]] Spans<Lanes> spansOf(const Gradients<Lanes>& g,
                                                const Place& place) const {
        Spans<Lanes> spans{squared(g.xs) + squared(g.xt), squared(g.ys) + squared(g.yt)};
        const auto isNear = place.isNear();
        if (bitsOf<Lanes>(isNear) != 0) [[unlikely]] {
            const double amount = geometry_.movement.amount;
            const auto largest = [&](Doubles mapped, double own) __attribute__((always_inline)) {
                const Doubles step = step_ / place.radius;
                return squared(mapped * amount * step + (1.0 - amount) * own);
            };
            const Point own = geometry_.movement.step;
            const Doubles slope = all<Doubles>(std::abs(slope_));
            spans.first = isNear ? largest(slope, own.x) : spans.first;
            spans.second = isNear ? largest(growth(place), own.y) : spans.second;
        }
        return spans;
    }

    [[gnu::always_inline]] Gradients<Lanes> gradients(const Place& place, Doubles grows) const {
        return {place.angleS * slope_, place.angleT * slope_, place.radiusS * grows,
                place.radiusT * grows};
    }

    // The part of a turn from the first column on; Wrap::Row's but for the last bits.
    [[gnu::always_inline]] Doubles turnAt(Doubles dx, Doubles dy) const {
        const auto isCentre = (dx == 0.0) & (dy == 0.0);
        const Doubles away = isCentre ? all<Doubles>(1.0) : dy;
        const Doubles turns = (arctangent<Lanes>(dx, away) + pi) * turnsPerRadian;
        return kept(turns * geometry_.turn.sign + geometry_.turn.offset);
    }
    [[gnu::always_inline]] Doubles kept(Doubles turned) const {
        const Turn& turn = geometry_.turn;
        return turned < turn.low ? turned + 1.0 : turned > turn.high ? turned - 1.0 : turned;
    }

    [[gnu::always_inline]] Doubles rowAt(Doubles radius) const {
        Doubles place = radius + radius;
        // Otherwise what lies beyond the rim is outside of the source either way.
        if (moves_.isPartial) [[unlikely]]
            place = smaller(place, all<Doubles>(1.0));
        if (geometry_.scale != RowScale::linear) [[unlikely]]
            for (int i = 0; i < Lanes::count; ++i) place[i] = scaled(geometry_.scale, place[i]);
        return place * geometry_.scaleY + geometry_.originY;
    }
    // The derivative of a row by the logarithm of the distance from the centre; and the second one
    // by the distance, times its square.
    [[gnu::always_inline]] Doubles growth(const Place& place) const {
        const Doubles diameter = place.radius + place.radius;
        const Doubles growth = growthAt(diameter);
        return moves_.isPartial ? (diameter < 1.0 ? growth : Doubles{}) : growth;
    }
    [[gnu::always_inline]] Doubles growthAt(Doubles diameter) const {
        switch (geometry_.scale) {
            case RowScale::log:
                return all<Doubles>(perDecade * geometry_.scaleY);
            case RowScale::sqrt:
                return Lanes::Target::sqrt(diameter) * (0.5 * geometry_.scaleY);
            case RowScale::square:
                return diameter * diameter * (2.0 * geometry_.scaleY);
            default:
                return diameter * geometry_.scaleY;
        }
    }
    [[gnu::always_inline]] Doubles bend(const Place& place) const {
        switch (geometry_.scale) {
            case RowScale::log:
                return -growth(place);
            case RowScale::sqrt:
                return growth(place) * -0.5;
            case RowScale::square:
                return growth(place);
            default:
                return Doubles{};
        }
    }

    static constexpr double perDecade = 0.4342944819032518;

    const Geometry& geometry_;
    Moves<Lanes> moves_;
    double slope_;  // columns for a radian
    double step_;   // the larger one
};

}  // namespace
}  // namespace polar
