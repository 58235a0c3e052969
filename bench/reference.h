// What area sampling should give, computed plainly, from many samples of each pixel.
//
// A pixel stands for the square around its position. Each of its n x n samples is mapped exactly
// and taken bilinearly; as that averages over a pixel of the source by itself, the samples'
// distance from the centre is narrowed by sqrt(1 - 1 / k^2) along an axis that spans k > 1 pixels,
// and by everything along others: axes of the source when wrapping, of the result when unwrapping.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "bench/pictures.h"
#include "library/polar.h"

namespace bench {

constexpr double pi = 3.141592653589793;

struct Place {
    double x, y;
};

// Whole turns and partial ones, from straight up and counterclockwise; rows by distance.
class Warp {
  public:
    Warp(const polar_options& options, int panoramaWidth, int panoramaHeight)
        : circle_(*options.circle),
          wraps_(options.direction == POLAR_WRAP),
          isCyclic_(options.cyclic != 0),
          width_(panoramaWidth),
          height_(panoramaHeight),
          turns_(circle_.turns == 0 ? 1 : circle_.turns) {}

    bool wraps() const { return wraps_; }
    bool isCyclic() const { return isCyclic_; }
    double columns() const { return (isCyclic_ ? width_ : width_ - 1) / turns_; }  // of a turn

    // Where a point of the result lies in the source; wrapping, x is a part of a turn.
    Place at(double column, double row) const {
        if (!wraps_) {
            const double angle = 2 * pi * turns_ * column / width_;
            const double radius = circle_.inner + (1 - circle_.inner) * row / height_;
            return {circle_.center_x - circle_.radius_x * radius * std::sin(angle),
                    circle_.center_y - circle_.radius_y * radius * std::cos(angle)};
        }
        const double u = (column - circle_.center_x) / circle_.radius_x;
        const double v = (row - circle_.center_y) / circle_.radius_y;
        const double radius = std::sqrt(u * u + v * v);
        return {(std::atan2(u, v) + pi) / (2 * pi),
                height_ * (radius - circle_.inner) / (1 - circle_.inner)};
    }
    // In the gap between the ends of an arc, the nearer one counts.
    double columnAt(double turns) const {
        if (turns < (turns_ - 1) / 2) turns += 1;
        if (turns > (turns_ + 1) / 2) turns -= 1;
        return turns * columns();
    }

    // For a step right and one down, of x and of y in pixels of the source.
    struct Steps {
        Place right, down;
    };
    Steps stepsAt(double column, double row) const {
        if (!wraps_) {
            const double angle = 2 * pi * turns_ * column / width_;
            const double radius = circle_.inner + (1 - circle_.inner) * row / height_;
            const double turn = 2 * pi * turns_ / width_, grow = (1 - circle_.inner) / height_;
            return {{-circle_.radius_x * radius * turn * std::cos(angle),
                     circle_.radius_y * radius * turn * std::sin(angle)},
                    {-circle_.radius_x * grow * std::sin(angle),
                     -circle_.radius_y * grow * std::cos(angle)}};
        }
        const double right = 1 / circle_.radius_x, below = 1 / circle_.radius_y;
        const double u = (column - circle_.center_x) * right, v = (row - circle_.center_y) * below;
        const double least = 0.25 * std::max(right, below);
        const double radius = std::max(std::sqrt(u * u + v * v), least);
        const double around = columns() / (2 * pi * radius * radius);
        const double out = height_ / (1 - circle_.inner) / radius;
        if (u == 0 && v == 0)
            return {{columns() / (2 * pi * least) * right, out * least * right},
                    {columns() / (2 * pi * least) * below, out * least * below}};
        return {{around * v * right, out * u * right}, {-around * u * below, out * v * below}};
    }

  private:
    polar_circle circle_;
    bool wraps_, isCyclic_;
    double width_, height_, turns_;
};

// Pixels multiplied by alpha, and alpha.
using Sum = std::array<double, 4>;

inline void addSample(const Picture& picture, double x, double y, bool isCyclic, double weight,
                      Sum& sum) {
    const double column = std::floor(x), row = std::floor(y);
    for (int below = 0; below < 2; ++below)
        for (int right = 0; right < 2; ++right) {
            double c = column + right;
            const double r = row + below;
            if (isCyclic && c == picture.width) c = 0;
            if (!(c >= 0 && c < picture.width && r >= 0 && r < picture.height)) continue;
            const float* const pixel = picture.at(int(c), int(r));
            const double alpha = weight * (right == 1 ? x - column : 1 - (x - column)) *
                                 (below == 1 ? y - row : 1 - (y - row)) * double(pixel[3]);
            for (unsigned i = 0; i < 3; ++i) sum[i] += alpha * pixel[i];
            sum[3] += alpha;
        }
}

// One result for each picture, all of one size.
inline std::vector<Picture> reference(const std::vector<Picture>& pictures, const Warp& warp,
                                      int width, int height) {
    std::vector<Picture> results(pictures.size(), Picture(width, height));
    const auto squared = [](double value) { return value * value; };
    const auto narrowed = [](double square) {
        return square > 1 ? std::sqrt(1 - 1 / square) : 0.0;
    };
    for (int j = 0; j < height; ++j)
        for (int i = 0; i < width; ++i) {
            const auto [right, down] = warp.stepsAt(i, j);
            const double first = warp.wraps() ? squared(right.x) + squared(down.x)
                                              : squared(right.x) + squared(right.y);
            const double second = warp.wraps() ? squared(right.y) + squared(down.y)
                                               : squared(down.x) + squared(down.y);
            const double byFirst = narrowed(first), bySecond = narrowed(second);
            // Four in each pixel that a step spans.
            const double span = std::max(
                {byFirst > 0 ? std::sqrt(first) : 0, bySecond > 0 ? std::sqrt(second) : 0});
            const int n = span == 0 ? 1 : std::clamp(int(std::ceil(span * 4)) * 2, 8, 512);
            const Place centre = warp.at(i, j);
            std::vector<Sum> sums(pictures.size(), Sum{});
            for (int b = 0; b < n; ++b)
                for (int a = 0; a < n; ++a) {
                    const double s = (a + 0.5) / n - 0.5, t = (b + 0.5) / n - 0.5;
                    Place at{};
                    if (warp.wraps()) {
                        const Place exact = warp.at(i + s, j + t);
                        double turn = exact.x - centre.x;
                        turn -= std::round(turn);
                        const bool isCentre = n == 1;
                        at = {warp.columnAt(centre.x + (isCentre ? 0 : byFirst * turn)),
                              centre.y + (isCentre ? 0 : bySecond * (exact.y - centre.y))};
                    } else {
                        at = warp.at(i + s * byFirst, j + t * bySecond);
                    }
                    for (std::size_t k = 0; k < pictures.size(); ++k)
                        addSample(pictures[k], at.x, at.y, warp.wraps() && warp.isCyclic(),
                                  1.0 / n / n, sums[k]);
                }
            for (std::size_t k = 0; k < pictures.size(); ++k) {
                const Sum& sum = sums[k];
                float* const out = results[k].at(i, j);
                for (unsigned c = 0; c < 3; ++c)
                    out[c] = sum[3] > 0 ? float(sum[c] / sum[3]) : 0.0f;
                out[3] = float(sum[3]);
            }
        }
    return results;
}

}  // namespace bench
