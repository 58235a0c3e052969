// The colour of a bitmap at a real-valued position, everything outside a rectangle transparent.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "pixels/QzBitmap.h"
#include "pixels/rounding.h"

// The columns and rows of a bounds rectangle that count as image. A negative origin moves the
// rectangle to 0 without shrinking it. No column or row lies at the saturated ends of QzLong.
class QzInside {
  public:
    explicit QzInside(const QzRectT<QzLong>& bounds)
        : left_(std::max<QzLong>(bounds.x, 0)),
          top_(std::max<QzLong>(bounds.y, 0)),
          right_(end(left_, bounds.width)),
          bottom_(end(top_, bounds.height)) {}

    bool column(std::int64_t c) const { return left_ <= c && c < right_; }
    bool row(std::int64_t r) const { return top_ <= r && r < bottom_; }

    // The ends, half-open; nothing is inside where they are not in order.
    QzLong left() const { return left_; }
    QzLong top() const { return top_; }
    QzLong right() const { return right_; }
    QzLong bottom() const { return bottom_; }

  private:
    static QzLong end(std::int64_t origin, std::int64_t extent) {
        return static_cast<QzLong>(
            std::min<std::int64_t>(origin + extent, std::numeric_limits<QzLong>::max()));
    }

    QzLong left_, top_, right_, bottom_;
};

// The transparent pixel of a format, one for the whole process. Its storage holds zeros from the
// start and the first use writes the same zeros, so first uses in several threads need no lock;
// only here is the thread sanitizer told not to look.
template <class Pixel>
__attribute__((no_sanitize("thread"))) const Pixel& transparentPixel() {
    static Pixel emptyPixel;
    static unsigned char isSet;
    if (isSet == 0) {
        isSet = 1;
        emptyPixel = Pixel{};
    }
    return emptyPixel;
}

// The weights of the pixels left above, right above, left below and right below a position whose
// fractions are fx and fy, each in [0, 1).
struct QzBilinearWeights {
    double w00, w10, w01, w11;

    QzBilinearWeights(double fx, double fy) {
        w11 = fx * fy;
        w01 = fy - w11;
        w10 = fx - w11;
        w00 = ((-w11 - w01) + 1.0) - w10;
    }
};

// A component as it is stored: integers rounded to nearest, ties to even, without clamping.
template <class Component>
Component toComponent(double value) {
    if constexpr (std::integral<Component>)
        return static_cast<Component>(roundToLong(value));
    else
        return static_cast<Component>(value);
}

// The alpha-weighted mean of four pixels: alpha is their plain mix, and a colour counts as much as
// it is visible. Transparent black where nothing is visible.
template <class Pixel>
[[gnu::always_inline]] inline Pixel mixPixels(const QzBilinearWeights& w, const Pixel& p00,
                                              const Pixel& p10, const Pixel& p01,
                                              const Pixel& p11) {
    const auto c00 = p00.load(), c10 = p10.load(), c01 = p01.load(), c11 = p11.load();
    const double a00 = w.w00 * c00.a;
    const double a10 = w.w10 * c10.a;
    const double a01 = w.w01 * c01.a;
    const double a11 = w.w11 * c11.a;
    const double alpha = a11 + (a01 + (a00 + a10));
    if (alpha == 0.0) return Pixel{};

    const double inverse = 1.0 / alpha;
    const double u00 = a00 * inverse;
    const double u10 = a10 * inverse;
    const double u01 = a01 * inverse;
    const double u11 = a11 * inverse;
    using Component = typename Pixel::Component;
    const auto mean = [&](auto component) {
        return toComponent<Component>(
            ((u10 * c10.*component + u00 * c00.*component) + u01 * c01.*component) +
            u11 * c11.*component);
    };
    using Components = typename Pixel::Components;
    Pixel mixed;
    mixed.store({mean(&Components::r), mean(&Components::g), mean(&Components::b),
                 toComponent<Component>(alpha)});
    return mixed;
}

// Writes to `out` the colour of `buffer` at (x, y), in pixels of the bitmap; integers fall exactly
// on pixels. `bilinear` zero takes the nearest pixel, ties to even, untouched; any other value
// mixes the four pixels around the position. Pixels outside `bounds` are transparent black and not
// read; a position that is not a number or beyond 32 bits is outside. Reentrant; `out` may lie
// anywhere. Pixels of the buffer are `Pixel`s or become such.
template <class Buffer, class Pixel>
[[gnu::always_inline]] inline void get_bilinear_color_trans_T(double x, double y,
                                                              const Buffer& buffer,
                                                              const QzRectT<QzLong>& bounds,
                                                              Pixel* out, QzLong bilinear) {
    const Pixel& emptyPixel = transparentPixel<Pixel>();
    const QzInside inside(bounds);
    if (bilinear == 0) {
        const QzLong column = roundPosition(x);
        const QzLong row = roundPosition(y);
        *out = inside.column(column) && inside.row(row) ? *buffer.at(column, row) : emptyPixel;
        return;
    }
    const std::int64_t column = floorPosition(x);
    const std::int64_t row = floorPosition(y);
    const bool left = inside.column(column), right = inside.column(column + 1);
    const bool above = inside.row(row), below = inside.row(row + 1);
    // Also keeps positions that are no numbers out of the arithmetic.
    if (!(left || right) || !(above || below)) {
        *out = emptyPixel;
        return;
    }
    using Stored = typename Buffer::Pixel;
    using Neighbour = std::conditional_t<std::same_as<Stored, Pixel>, const Pixel&, Pixel>;
    const auto neighbour = [&](bool isInside, std::uintptr_t address) -> Neighbour {
        return isInside ? *Buffer::pixelAt(address) : emptyPixel;
    };
    const std::uintptr_t upper = buffer.address(column, row), lower = buffer.below(upper);
    *out = mixPixels(
        QzBilinearWeights(x - static_cast<double>(column), y - static_cast<double>(row)),
        neighbour(left && above, upper), neighbour(right && above, upper + sizeof(Stored)),
        neighbour(left && below, lower), neighbour(right && below, lower + sizeof(Stored)));
}
