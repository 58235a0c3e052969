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
// Samples in a row of a pixel; the second one where the centre draws angles apart without end.
constexpr double mostSamples = 64, mostNearCentre = 32;

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
    typename Lanes::Words place;
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
[[gnu::always_inline]] inline typename Lanes::Doubles samplesFor(typename Lanes::Doubles span,
                                                                 double most) {
    using Doubles = typename Lanes::Doubles;
    const Doubles needed = -Lanes::Target::floor(span * -2.0);
    return larger(smaller(needed, all<Doubles>(most)), all<Doubles>(1.0));
}

// A grid of samples, and by how much their displacements along either coordinate of the source are
// narrowed.
template <class Lanes>
struct Narrowing {
    Samples<Lanes> s, t;
    typename Lanes::Doubles x, y;
};

// Displacements of first and second order, x = xs s + xt t + xss s s + xst s t + xtt t t.
template <class Lanes>
struct Footprint : Gradients<Lanes> {
    using Doubles = typename Lanes::Doubles;
    Doubles x, y;
    Doubles xss, xst, xtt, yss, yst, ytt;

    [[gnu::always_inline]] std::array<Doubles*, 10> parts() {
        return {&this->xs, &this->xt, &xss, &xst, &xtt, &this->ys, &this->yt, &yss, &yst, &ytt};
    }
    [[gnu::always_inline]] void scale(Doubles byX, Doubles byY) {
        const auto all = parts();
        for (unsigned i = 0; i < 10; ++i) *all[i] = *all[i] * (i < 5 ? byX : byY);
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
        Doubles columns;
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
        return {squared(g.xs) + squared(g.ys), squared(g.xt) + squared(g.yt)};
    }

    [[gnu::always_inline]] Footprint<Lanes> at(const Block& block, int i, const Row& row,
                                               double column) const {
        const auto halfSine = load<Doubles>(block.halfSine + i);
        const auto halfCosine = load<Doubles>(block.halfCosine + i);
        Footprint<Lanes> f;
        static_cast<Gradients<Lanes>&>(f) = mapped(block, i, row);
        f.x = (0.5 - row.at * halfSine) * geometry_.scaleX + geometry_.originX;
        f.y = (0.5 - row.at * halfCosine) * geometry_.scaleY + geometry_.originY;
        const double turn = row.at * radians_ * radians_ * 0.5, both = -row.growth * radians_;
        const Doubles x = halfSine * geometry_.scaleX, y = halfCosine * geometry_.scaleY;
        f.xss = x * turn;
        f.xst = halfCosine * geometry_.scaleX * both;
        f.xtt = x * (-2.0 * row.bend);
        f.yss = y * turn;
        f.yst = halfSine * geometry_.scaleY * -both;
        f.ytt = y * (-2.0 * row.bend);
        moves_.move(f, column, row.index);
        return f;
    }

    static unsigned nearOnes(const Block&, int, const Row&) { return 0; }

    // Spaced as far apart as gives them the variance that is wanted.
    [[gnu::always_inline]] static Narrowing<Lanes> sample(const Footprint<Lanes>&,
                                                          const Spans<Lanes>& spans, const Block&,
                                                          int, const Row&) {
        return {along(spans.first, spans.isFirstWide()), along(spans.second, spans.isSecondWide()),
                all<Doubles>(1.0), all<Doubles>(1.0)};
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
    template <class Mask>
    [[gnu::always_inline]] static Samples<Lanes> along(Doubles span, Mask isWide) {
        const Doubles count = samplesFor<Lanes>(Lanes::Target::sqrt(span), mostSamples);
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
        Spans<Lanes> spans{squared(g.xs) + squared(g.xt), squared(g.ys) + squared(g.yt)};
        const auto isNear = place.isNear();
        // There, as if they went in the direction of the largest one.
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

    [[gnu::always_inline]] Footprint<Lanes> at(const Block& block, int i, const Row& row,
                                               double column) const {
        const Place place(*this, load<Doubles>(block.offset + i), row.at);
        const Doubles grows = growth(place), bends = bend(place);
        Footprint<Lanes> f;
        static_cast<Gradients<Lanes>&>(f) = gradients(place, grows);
        f.x = turnAt(place.dx, place.dy) * geometry_.scaleX + geometry_.originX;
        f.y = rowAt(place.radius);
        const Doubles& as = place.angleS;
        const Doubles &at = place.angleT, &rs = place.radiusS, &rt = place.radiusT;
        f.xss = as * rs * -slope_;
        f.xst = (as * rt + at * rs) * -slope_;
        f.xtt = at * rt * -slope_;
        f.yss = (grows * as * as + bends * rs * rs) * 0.5;
        f.yst = grows * as * at + bends * rs * rt;
        f.ytt = (grows * at * at + bends * rt * rt) * 0.5;
        moves_.move(f, column, row.index);
        return f;
    }

    [[gnu::always_inline]] unsigned nearOnes(const Block& block, int i, const Row& row) const {
        return bitsOf<Lanes>(Place(*this, load<Doubles>(block.offset + i), row.at).isNear());
    }
    // Where displacements of second order will not do, once samples are known: near the centre, and
    // where some lie beyond the cut.
    [[gnu::always_inline]] unsigned needExact(const Block& block, int i, const Row& row) const {
        const Place place(*this, load<Doubles>(block.offset + i), row.at);
        const Doubles turned = turnAt(place.dx, place.dy);
        const Doubles most =
            (magnitude(place.angleS) + magnitude(place.angleT)) * (0.6 * turnsPerRadian);
        const Turn& turn = geometry_.turn;
        return bitsOf<Lanes>(place.isNear() | (magnitude(turned - turn.low) <= most) |
                             (magnitude(turned - turn.high) <= most));
    }

    // A pixel's own displacements, narrowed along either axis of the source.
    [[gnu::always_inline]] Narrowing<Lanes> sample(const Footprint<Lanes>& f,
                                                   const Spans<Lanes>& spans, const Block& block,
                                                   int i, const Row& row) const {
        const auto isX = spans.isFirstWide(), isY = spans.isSecondWide();
        const auto needed = [&](Doubles x, Doubles y) __attribute__((always_inline)) {
            return samplesFor<Lanes>(
                larger(isX ? magnitude(x) : Doubles{}, isY ? magnitude(y) : Doubles{}),
                mostSamples);
        };
        Narrowing<Lanes> n;
        n.s.count = needed(f.xs, f.ys);
        n.t.count = needed(f.xt, f.yt);
        const Doubles across = 1.0 - 1.0 / squared(n.s.count);
        const Doubles down = 1.0 - 1.0 / squared(n.t.count);
        Doubles varianceX = squared(f.xs) * across + squared(f.xt) * down;
        Doubles varianceY = squared(f.ys) * across + squared(f.yt) * down;
        const auto isNear = Place(*this, load<Doubles>(block.offset + i), row.at).isNear();
        if (bitsOf<Lanes>(isNear) != 0) [[unlikely]] {
            const Doubles count = samplesFor<Lanes>(
                Lanes::Target::sqrt(larger(spans.first, spans.second)), mostNearCentre);
            const Doubles part = 1.0 - 1.0 / squared(count);
            n.s.count = isNear ? count : n.s.count;
            n.t.count = isNear ? count : n.t.count;
            varianceX = isNear ? spans.first * part : varianceX;
            varianceY = isNear ? spans.second * part : varianceY;
        }
        n.s.step = 1.0 / n.s.count;
        n.t.step = 1.0 / n.t.count;
        n.x = isX ? Lanes::Target::sqrt((spans.first - 1.0) / varianceX) : Doubles{};
        n.y = isY ? Lanes::Target::sqrt((spans.second - 1.0) / varianceY) : Doubles{};
        return n;
    }

    // The exact position of a sample.
    [[gnu::always_inline]] void exactly(const Block& block, int i, const Row& row, double column,
                                        const Narrowing<Lanes>& n, Doubles s, Doubles t, Doubles& x,
                                        Doubles& y) const {
        const Doubles dx = load<Doubles>(block.offset + i), dy = all<Doubles>(row.at);
        const Place centre(*this, dx, row.at);
        const Doubles right = dx + s * geometry_.columns.step, below = dy + t * geometry_.rows.step;
        const Doubles from = turnAt(dx, dy);
        Doubles turn = turnAt(right, below) - from;
        turn = turn > 0.5 ? turn - 1.0 : turn < -0.5 ? turn + 1.0 : turn;
        const Doubles radius =
            larger(Lanes::Target::sqrt(squared(right) + squared(below)), all<Doubles>(least()));
        const Doubles start = rowAt(centre.radius);
        x = kept(from + turn * n.x) * geometry_.scaleX + geometry_.originX;
        y = start + (rowAt(radius) - start) * n.y;
        if (!moves_.isPartial) [[likely]]
            return;
        const Point step = geometry_.movement.step;
        x = moves_.moved(moves_.ownX(column) + s * n.x * step.x, x);
        y = moves_.moved(moves_.ownY(row.index) + t * n.y * step.y, y);
    }

  private:
    static constexpr double nearSteps = 8, leastSteps = 0.25;

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

    [[gnu::always_inline]] Gradients<Lanes> gradients(const Place& place, Doubles grows) const {
        return {place.angleS * slope_, place.angleT * slope_, place.radiusS * grows,
                place.radiusT * grows};
    }

    // The part of a turn from the first column on; Wrap::Row's but for the last bits.
    [[gnu::always_inline]] Doubles turnAt(Doubles dx, Doubles dy) const {
        const Doubles away = (dx == 0.0) & (dy == 0.0) ? all<Doubles>(1.0) : dy;
        const Doubles turns = (arctangent<Lanes>(dx, away) + pi) * turnsPerRadian;
        return kept(turns * geometry_.turn.sign + geometry_.turn.offset);
    }
    [[gnu::always_inline]] Doubles kept(Doubles turned) const {
        const Turn& turn = geometry_.turn;
        return turned < turn.low ? turned + 1.0 : turned > turn.high ? turned - 1.0 : turned;
    }

    [[gnu::always_inline]] Doubles rowAt(Doubles radius) const {
        Doubles place = radius + radius;
        if (geometry_.scale != RowScale::linear) [[unlikely]]
            for (int i = 0; i < Lanes::count; ++i) place[i] = scaled(geometry_.scale, place[i]);
        return place * geometry_.scaleY + geometry_.originY;
    }
    // The first and the second derivative of a row by the logarithm... of the distance
    [[gnu::always_inline]] Doubles growth(const Place& place) const {
        const Doubles diameter = place.radius + place.radius;
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
