// Unwrapping, in batches.
#pragma once

#include "render/positions_batch.h"

namespace polar {
namespace {

template <>
struct Columns<Mapping::unwrap> {
    double halfSine[blockColumns], halfCosine[blockColumns];
    Interval sines, cosines;

    void load(const Job& job, std::int64_t left, int width, double& /*offset*/) {
        sines = cosines = {};
        for (int i = 0; i < blockColumns; ++i) {
            const std::int64_t at = left + std::min(i, width - 1);
            halfSine[i] = job.tables.first[at];
            halfCosine[i] = job.tables.second[at];
            sines.add(halfSine[i]);
            cosines.add(halfCosine[i]);
        }
    }
    static double offsetAt(int) { return 0; }
};

template <class Lanes>
class AnyPositions<Lanes, Mapping::unwrap> {
  public:
    using Doubles = typename Lanes::Doubles;

    AnyPositions(const Job& job, const Columns<Mapping::unwrap>& columns)
        : columns_(columns),
          scaleX_(job.geometry.scaleX),
          scaleY_(job.geometry.scaleY),
          originX_(job.geometry.originX),
          originY_(job.geometry.originY) {}

    [[gnu::always_inline]] Position<Lanes> at(int column, double v) const {
        const auto p = 0.5 - v * load<Doubles>(columns_.halfSine + column);
        const auto q = 0.5 - v * load<Doubles>(columns_.halfCosine + column);
        return {p * scaleX_ + originX_, q * scaleY_ + originY_, 0};
    }

  protected:
    const Columns<Mapping::unwrap>& columns_;
    double scaleX_, scaleY_, originX_, originY_;
};

// Those of a chunk with the rows from `firstV` to `lastV`. Roundings are monotone: the ends of what
// positions are made of give their ends.
template <class Lanes>
class ChunkPositions<Lanes, Mapping::unwrap> : public AnyPositions<Lanes, Mapping::unwrap> {
  public:
    ChunkPositions(const Job& job, const Columns<Mapping::unwrap>& columns, int /*width*/,
                   double firstV, double lastV)
        : AnyPositions<Lanes, Mapping::unwrap>(job, columns), firstV_(firstV), lastV_(lastV) {}

    // Whether at() may be used at all.
    bool areExact() const { return true; }
    Extent extent() const {
        return {along(this->columns_.sines, this->scaleX_, this->originX_),
                along(this->columns_.cosines, this->scaleY_, this->originY_)};
    }

  private:
    Interval along(const Interval& half, double scale, double origin) const {
        Interval result;
        result.isFinite = half.isFinite;
        for (const double v : {firstV_, lastV_})
            for (const double end : {half.low, half.high})
                result.add((0.5 - v * end) * scale + origin);
        return result;
    }

    double firstV_, lastV_;
};

}  // namespace
}  // namespace polar
