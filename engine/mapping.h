// How an output position becomes a source position, in either direction. Knows no pixels.
//
// A mapping computes what depends on the column alone once, into tables of the host's memory, and
// hands out rows, each of which yields the positions of one output row from left to right. Tables
// are released by hand: a destructor that throws would end the process, but what the host's memory
// service throws must reach the host.
#pragma once

#include <cmath>

#include "engine/Frame.h"

// A position in the input bitmap, in pixels; integers fall exactly on pixels.
struct Position {
    double x;
    double y;
};

// Turns fractions of the source rectangle into positions.
struct SourceScale {
    double width, height, x, y;  // pixels

    explicit SourceScale(const QzRectT<QzLong>& source)
        : width(source.width), height(source.height), x(source.x), y(source.y) {}

    Position position(double p, double q) const { return {p * width + x, q * height + y}; }
};

// Unwraps: a column is an angle, one full turn across the source's width; a row is a distance from
// the source's centre, the inscribed ellipse one row past the source's last.
class PolarToRectangular {
  public:
    explicit PolarToRectangular(const Frame& frame) : frame_(frame) {}

    // Asks for the tables. False, and nothing held, where memory is out or a table takes more bytes
    // than a 32-bit count can say.
    bool allocate();
    // Fills the tables; for a region that is not empty.
    void fill();
    // Returns the tables.
    void release();

    const Frame& frame() const { return frame_; }
    const double* sine() const { return sine_; }
    const double* cosine() const { return cosine_; }

    class Row {
      public:
        // From column `first` of the region on.
        Row(const PolarToRectangular& mapping, double radius, QzLong first = 0)
            : scale_(mapping.frame_.source),
              sine_(mapping.sine_ + first),
              cosine_(mapping.cosine_ + first),
              radius_(radius) {}

        Position next() {
            return scale_.position(0.5 - radius_ * *sine_++, 0.5 - radius_ * *cosine_++);
        }

      private:
        SourceScale scale_;
        const double* sine_;
        const double* cosine_;
        double radius_;  // in units of the half extents
    };

  private:
    Frame frame_;
    double* sine_ = nullptr;    // half the sine of each column's angle
    double* cosine_ = nullptr;  // half its cosine
};

// Wraps: the angle around the source's centre picks a column, the first to the last across one
// turn; the distance from the centre picks a row, one past the last on the inscribed ellipse and
// outside.
class RectangularToPolar {
  public:
    explicit RectangularToPolar(const Frame& frame) : frame_(frame) {}

    // As those of PolarToRectangular.
    bool allocate();
    void fill();
    void release();

    const Frame& frame() const { return frame_; }
    const double* squares() const { return squares_; }
    double firstOffset() const { return frame_.firstColumn - 0.5; }

    class Row {
      public:
        Row(const RectangularToPolar& mapping, double v)
            : Row(mapping, v, 0, mapping.firstOffset()) {}
        // From column `first` of the region on, which lies at offset `dx`.
        Row(const RectangularToPolar& mapping, double v, QzLong first, double dx)
            : scale_(mapping.frame_.source),
              squares_(mapping.squares_ + first),
              dx_(dx),
              dxStep_(mapping.frame_.columnStep),
              dy_(v - 0.5) {
            scale_.width -= 1.0;  // a turn ends on the last column, a radius past the last row
        }

        Position next() {
            constexpr double pi = 3.141592653589793;
            constexpr double turnsPerRadian = 0.15915494309189535;
            const double radius = std::sqrt(dy_ * dy_ + *squares_++);
            const double diameter = radius + radius;
            // The vertical offset comes second: angles start at the seam, which runs up from the
            // centre, and go on through decreasing columns.
            const double turns = (std::atan2(dx_, dy_) + pi) * turnsPerRadian;
            dx_ += dxStep_;
            return scale_.position(turns, diameter - 1.0 >= 0.0 ? 1.0 : diameter);
        }

      private:
        SourceScale scale_;
        const double* squares_;
        double dx_, dxStep_, dy_;  // offset from the centre, in units of the source's extents
    };

  private:
    Frame frame_;
    double* squares_ = nullptr;  // each column's horizontal offset from the centre, squared
};
