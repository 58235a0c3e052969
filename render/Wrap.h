// Wrapping, pixel by pixel: the table and positions.
#pragma once

#include <cmath>

#include "render/Job.h"

namespace polar {

struct Wrap {
    static constexpr Mapping mapping = Mapping::wrap;

    // The first column's offset from the centre.
    static double firstOffset(const Geometry& geometry) { return geometry.columns.first - 0.5; }

    static void fill(const Geometry& geometry, const Tables& tables) {
        double u = geometry.columns.first;
        for (QzLong i = 0; i < geometry.region.width; ++i, u += geometry.columns.step)
            tables.first[i] = (0.5 - u) * (0.5 - u);
    }

    static double rowAt(const Geometry&, double v) { return v; }

    // The positions of a row from left to right.
    class Row {
      public:
        Row(const Job& job, double v) : Row(job, v, 0, firstOffset(job.geometry)) {}
        // From column `first` of the region on, which lies at offset `dx`.
        Row(const Job& job, double v, QzLong first, double dx)
            : geometry_(job.geometry),
              offsetSquared_(job.tables.first + first),
              dx_(dx),
              dy_(v - 0.5),
              isWholeTurn_(geometry_.turn.isWhole()),
              isLinear_(geometry_.scale == RowScale::linear) {}

        Point next() {
            constexpr double pi = 3.141592653589793;
            constexpr double turnsPerRadian = 0.15915494309189535;
            const double radius = std::sqrt(dy_ * dy_ + *offsetSquared_++);
            const double diameter = radius + radius;
            // The vertical offset comes second: angles start at the seam, which runs up from the
            // centre, and go on counterclockwise.
            double turns = (std::atan2(dx_, dy_) + pi) * turnsPerRadian;
            if (!isWholeTurn_) turns = geometry_.turn.relative(turns);
            dx_ += geometry_.columns.step;
            double q = diameter - 1.0 >= 0.0 ? 1.0 : diameter;
            if (!isLinear_) q = scaled(geometry_.scale, q);
            return {turns * geometry_.scaleX + geometry_.originX,
                    q * geometry_.scaleY + geometry_.originY};
        }

      private:
        const Geometry& geometry_;
        const double* offsetSquared_;
        double dx_, dy_;  // offset from the centre, in fractions of the bounding box
        bool isWholeTurn_, isLinear_;
    };
};

}  // namespace polar
