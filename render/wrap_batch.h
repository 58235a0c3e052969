// Wrapping, in batches. Rows of the source are the plain path's, bit for bit; columns are within
// job.columnError of them.
#pragma once

#include "render/arctangent.h"
#include "render/positions_batch.h"

namespace polar {
namespace {

template <>
struct Columns<Mapping::wrap> {
    double offset[blockColumns], offsetSquared[blockColumns];
    Interval squares;

    // `offset` of the column `left` becomes that of the column after the block.
    void load(const Job& job, std::int64_t left, int width, double& dx) {
        squares = {};
        for (int i = 0; i < blockColumns; ++i) {
            offset[i] = i < width ? dx : offset[width - 1];
            offsetSquared[i] = job.tables.first[left + std::min(i, width - 1)];
            squares.add(offsetSquared[i]);
            if (i < width) dx += job.geometry.columns.step;
        }
    }
    double offsetAt(int i) const { return offset[i]; }
};

constexpr double pi = 3.141592653589793;
constexpr double turnsPerRadian = 0.15915494309189535;

template <class Lanes>
class WrapRows {
  public:
    using Doubles = typename Lanes::Doubles;

    WrapRows(const Job& job, const Columns<Mapping::wrap>& columns)
        : columns_(columns), scaleY_(job.geometry.scaleY), originY_(job.geometry.originY) {}

  protected:
    [[gnu::always_inline]] Doubles row(int column, double dy) const {
        const auto radius =
            Lanes::Target::sqrt(dy * dy + load<Doubles>(columns_.offsetSquared + column));
        const Doubles diameter = radius + radius;
        const Doubles q = diameter - 1.0 < Doubles{} ? diameter : all<Doubles>(1.0);
        return q * scaleY_ + originY_;
    }

    const Columns<Mapping::wrap>& columns_;
    double scaleY_, originY_;
};

template <class Lanes>
class AnyPositions<Lanes, Mapping::wrap> : WrapRows<Lanes> {
  public:
    using Doubles = typename Lanes::Doubles;

    AnyPositions(const Job& job, const Columns<Mapping::wrap>& columns)
        : WrapRows<Lanes>(job, columns), job_(job) {}

    [[gnu::always_inline]] Position<Lanes> at(int column, double v) const {
        const double dy = v - 0.5;
        const Doubles y = this->row(column, dy);
        const auto angle =
            arctangent<Lanes>(load<Doubles>(this->columns_.offset + column), all<Doubles>(dy));
        auto turns = (angle + pi) * turnsPerRadian;
        unsigned nearCut = 0;
        if (job_.isTurned) [[unlikely]]
            turns = relative(turns, nearCut);
        return {turns * job_.geometry.scaleX + job_.geometry.originX, y, nearCut};
    }

  private:
    // Turn::relative. `nearCut` gets the lanes so near to the cut that the plain path may be on its
    // other side.
    [[gnu::always_inline]] Doubles relative(Doubles turns, unsigned& nearCut) const {
        const Turn& turn = job_.geometry.turn;
        const Doubles turned = turns * turn.sign + turn.offset;
        nearCut = bitsOf<Lanes>((magnitude(turned - turn.low) <= job_.turnError) |
                                (magnitude(turned - turn.high) <= job_.turnError));
        return turned < turn.low ? turned + 1.0 : turned > turn.high ? turned - 1.0 : turned;
    }

    const Job& job_;
};

// Those of a chunk: columns follow from the angle between a pixel and the chunk's centre.
//
// Let the centre lie at distance R from the origin and a pixel at most r R from the centre, r =
// reach. The tangent t of the angle between them is at most r / sqrt(1 - r * r) < tan(pi / 8). In
// units of 2^-53, the product across is off by 3 r R^2, that along, at least (1 - r) R^2, by 6 R^2,
// so t by less than 6.3; the polynomial and the products with it round by 1: together less than
// 9e-16. The centre's own angle is within another 9e-16: both make batchError.
template <class Lanes>
class ChunkPositions<Lanes, Mapping::wrap> : WrapRows<Lanes> {
  public:
    using Doubles = typename Lanes::Doubles;

    ChunkPositions(const Job& job, const Columns<Mapping::wrap>& columns, int width, double firstV,
                   double lastV)
        : WrapRows<Lanes>(job, columns) {
        const double right = columns.offset[width - 1], left = columns.offset[0];
        const double above = firstV - 0.5, below = lastV - 0.5;
        x_ = (left + right) * 0.5;
        y_ = (above + below) * 0.5;
        squared_ = x_ * x_ + y_ * y_;
        const double halfWidth = (right - left) * 0.5, halfHeight = (below - above) * 0.5;
        const double distance = halfWidth * halfWidth + halfHeight * halfHeight;
        rows_ = rowsOf(above * above, below * below, above < 0 && below > 0);
        // Squares that are rounded as the bound has it.
        const bool isNormal = squared_ > 0x1p-900 && squared_ < 0x1p900;
        if (isNormal && distance < reach * reach * squared_)
            findColumns(job, std::sqrt(distance / squared_));
    }

    [[gnu::always_inline]] Position<Lanes> at(int column, double v) const {
        const double dy = v - 0.5, down = dy - y_;
        const Doubles right = load<Doubles>(this->columns_.offset + column) - x_;
        const Doubles across =
            Lanes::Target::fma(right, all<Doubles>(y_), all<Doubles>(-(down * x_)));
        const Doubles along =
            Lanes::Target::fma(right, all<Doubles>(x_), all<Doubles>(down * y_ + squared_));
        const Doubles t = across / along;
        return {
            Lanes::Target::fma(t * slope_, smallArctangent<Lanes>(t * t), all<Doubles>(column_)),
            this->row(column, dy), 0};
    }

    // Whether at() may be used at all.
    bool areExact() const { return reached_.isFinite; }
    Extent extent() const { return {reached_, rows_}; }

  private:
    static constexpr double reach = 0.38;

    // Roundings are monotone.
    Interval rowsOf(double above, double below, bool hasCentre) const {
        Interval result;
        const Interval& squares = this->columns_.squares;
        result.isFinite = squares.isFinite;
        for (const double dy : {above, below, hasCentre ? 0.0 : above})
            for (const double square : {squares.low, squares.high}) {
                const double radius = std::sqrt(dy + square), diameter = radius + radius;
                const double q = diameter - 1.0 < 0.0 ? diameter : 1.0;
                result.add(q * this->scaleY_ + this->originY_);
            }
        return result;
    }

    // Leaves the columns unknown where the cut may be among them. The arcsine of r is below 1.026
    // r; 1.04 also holds the roundings of r and of the centre.
    void findColumns(const Job& job, double r) {
        const Geometry& geometry = job.geometry;
        const double angle = arctangent<Lanes>(all<Doubles>(x_), all<Doubles>(y_))[0];
        const double turns = (angle + pi) * turnsPerRadian;
        const double turned = geometry.turn.relative(turns);
        const double most = 1.04 * turnsPerRadian * r + job.turnError;
        const auto mayBe = [&](double cut) { return std::abs(turned - cut) <= most; };
        if (mayBe(geometry.turn.low) || mayBe(geometry.turn.high)) return;
        column_ = turned * geometry.scaleX + geometry.originX;
        slope_ = turnsPerRadian * geometry.turn.sign * geometry.scaleX;
        const double far = most * std::abs(geometry.scaleX) + job.columnError;
        reached_ = {};
        reached_.add(column_ - far);
        reached_.add(column_ + far);
    }

    double x_, y_, squared_;
    double column_ = 0, slope_ = 0;
    Interval rows_, reached_{0, 0, false};
};

}  // namespace
}  // namespace polar
