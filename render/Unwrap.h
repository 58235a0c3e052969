// Unwrapping, pixel by pixel: tables and positions.
#pragma once

#include <cmath>

#include "render/Job.h"

namespace polar {

struct Unwrap {
    static constexpr Mapping mapping = Mapping::unwrap;

    static void fill(const Geometry& geometry, const Tables& tables) {
        constexpr double radiansPerTurn = 6.283185307179586;
        double turns = geometry.columns.first;
        for (QzLong i = 0; i < geometry.region.width; ++i, turns += geometry.columns.step) {
            const double angle = turns * radiansPerTurn;
            tables.first[i] = std::sin(angle) * 0.5;
            tables.second[i] = std::cos(angle) * 0.5;
        }
    }

    // What the row at `v` is known by: its radius.
    static double rowAt(const Geometry& geometry, double v) { return unscaled(geometry.scale, v); }

    // The positions of a row from left to right.
    class Row {
      public:
        Row(const Job& job, double radius) : Row(job, radius, 0, 0) {}
        // From column `first` of the region on.
        Row(const Job& job, double radius, QzLong first, double /*offset*/)
            : geometry_(job.geometry),
              halfSine_(job.tables.first + first),
              halfCosine_(job.tables.second + first),
              radius_(radius) {}

        Point next() {
            const double p = 0.5 - radius_ * *halfSine_++;
            const double q = 0.5 - radius_ * *halfCosine_++;
            return {p * geometry_.scaleX + geometry_.originX,
                    q * geometry_.scaleY + geometry_.originY};
        }

      private:
        const Geometry& geometry_;
        const double* halfSine_;
        const double* halfCosine_;
        double radius_;  // in fractions of the circle's
    };
};

}  // namespace polar
