// What the effects of every host let their users set, and how the library renders it.
#pragma once

#include "library/polar.h"

namespace adapters {

// Which way the panorama's columns go around, from left to right. Automatic mirrors nothing.
enum class Turn { automatic, clockwise, counterclockwise };

// As it stands: the pixels that libpolar gives without a circle. Places and lengths are fractions
// of the round picture, so that smaller copies of pictures need no correction.
struct Warp {
    int direction = POLAR_UNWRAP;
    int sampling = POLAR_BILINEAR;
    double amount = 1;  // 0, the picture itself, to 1
    double angle = 0;   // where the panorama begins, in turns clockwise from straight up; any
    Turn turn = Turn::automatic;  // where it goes from there
    bool groundBottom = false;    // its last row lies in the centre, not its first one
    bool circle = false;          // instead of an ellipse of the picture's shape;
    double pixelAspect = 1;       // that looks round where pixels are so wide for their height
    double centreX = 0.5, centreY = 0.5;  // from the left and from the top
    double radius = 1;  // 1 is the largest circle or ellipse that fits into the picture; above 0
    double inner = 0;   // of the radius: where the panorama's first row lies; 0 to below 1
};

// The arguments of polar_render that render a warp; which threads work, and who hears of progress,
// is to be added to the options.
class Call {
  public:
    // The rectangles as in polar_options.
    Call(const Warp& warp, const polar_image& from, const polar_image& to, const polar_rect& source,
         const polar_rect& whole);
    // All of the input to all of the result.
    Call(const Warp& warp, const polar_image& from, const polar_image& to);
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    polar_image input, output;
    polar_options options{};

  private:
    double amount_;
    polar_circle circle_;
    polar_rect source_, whole_;
};

}  // namespace adapters
