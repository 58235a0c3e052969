// What users ask of a warp, and what that comes to for a picture.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "hosting/Module.h"
#include "library/polar.h"
#include "render/Geometry.h"

namespace cli {

// How source pixels are read; as in polar_options.
enum class Sampling { bilinear = POLAR_BILINEAR, nearest = POLAR_NEAREST, area = POLAR_AREA };

// As users give it; what is missing follows from the picture. Both filters mean the same by it and
// are each other's inverse. Lengths are in pixels, angles in degrees.
struct WarpSettings {
    std::optional<polar::Size> size;     // of the result
    std::optional<polar::Point> centre;  // in the round picture; else its middle
    std::optional<polar::Point> radii;   // above 0; else half of the round picture's sizes
    bool circle = false;                 // without radii: half of the smaller one, twice
    std::optional<double> innerRadius;   // along the horizontal axis; else 0
    std::optional<double> angle;         // of the first column, clockwise from up; else 0
    std::optional<double> arc;           // above 0 to 360, and else that
    std::optional<bool> clockwise;       // else counterclockwise; with ground at the bottom reverse
    bool cyclic = false;                 // as in polar_options
    polar::RowScale scale = polar::RowScale::linear;
    std::optional<double> amount;  // 0 to 1, and else that
    bool groundAtBottom = false;   // the panorama's last row lies where else the first one does
};

// A warp of one picture. Where the panorama has its ground at the bottom, its rows are counted from
// there.
struct Warp {
    hosting::Filter filter;
    polar::Size source, result;
    polar_circle circle;
    polar::RowScale scale;
    bool isCyclic;
    double amount;
    bool groundAtBottom;

    bool unwraps() const { return filter == hosting::Filter::polarToRectangular; }
    polar::Size panorama() const { return unwraps() ? result : source; }

    // Whether every pixel of the result lies on the source, or less than a pixel below or right of
    // it: opaque pictures stay so.
    bool staysInside() const;
};

// Settings that make no sense. The text is one line and says what is accepted.
class WarpError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Throws WarpError.
Warp makeWarp(hosting::Filter filter, const WarpSettings& settings, polar::Size source);

// Throws WarpError where no picture can be warped so.
void checkWarp(hosting::Filter filter, const WarpSettings& settings);

// On one line.
std::string toText(const Warp& warp);

}  // namespace cli
