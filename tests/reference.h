// The geometry of a render written down once more, plainly: what the module's is held against.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "pixels/QzBitmap.h"

struct Point {
    double x, y;
};

// The source position of every pixel of a region, row by row.
inline std::vector<Point> sourcePositions(bool unwraps, const QzRectT<QzLong>& s,
                                          const QzRectT<QzLong>& r) {
    const double iw = 1.0 / s.width, ih = 1.0 / s.height, pi = 3.141592653589793;
    const auto difference = [](QzLong a, QzLong b) {  // of 32-bit words, which wraps around
        return static_cast<QzLong>(static_cast<QzULong>(a) - static_cast<QzULong>(b));
    };
    const double u0 = iw * difference(r.x, s.x);
    std::vector<Point> points;
    double v = ih * difference(r.y, s.y);
    for (QzLong j = 0; j < r.height; ++j, v += ih) {
        double u = u0, dx = u0 - 0.5;
        for (QzLong i = 0; i < r.width; ++i, u += iw, dx += iw) {
            if (unwraps) {
                const double angle = u * 6.283185307179586;
                const double p = 0.5 - v * (std::sin(angle) * 0.5);
                const double q = 0.5 - v * (std::cos(angle) * 0.5);
                points.push_back({p * s.width + s.x, q * s.height + s.y});
            } else {
                const double dy = v - 0.5;
                const double radius = std::sqrt(dy * dy + (0.5 - u) * (0.5 - u));
                const double turns = (std::atan2(dx, dy) + pi) * 0.15915494309189535;
                points.push_back({turns * (s.width - 1.0) + s.x,
                                  std::min(radius + radius, 1.0) * s.height + s.y});
            }
        }
    }
    return points;
}
