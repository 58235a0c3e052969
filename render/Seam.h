// The colours of panoramas that go all around: behind the last column lies the first one.
#pragma once

#include "pixels/sampler.h"
#include "render/Geometry.h"

namespace polar {

// As get_bilinear_color_trans_T, `at` between the last column, whose number is `last`, and the
// first one, which has the number `first` too.
template <class Buffer, class Pixel>
[[gnu::noinline]] void sampleAtSeam(Point at, QzLong first, QzLong last, const Buffer& buffer,
                                    const Rect& bounds, Pixel* out, QzLong bilinear) {
    const bool isBeyond = bilinear == 0 ? roundPosition(at.x) > last : at.x - last >= 1;
    if (bilinear == 0 || isBeyond) {
        const double x = isBeyond ? first : at.x;
        get_bilinear_color_trans_T(x, at.y, buffer, bounds, out, bilinear);
        return;
    }
    const QzInside inside(bounds);
    const std::int64_t row = floorPosition(at.y);
    const bool above = inside.row(row), below = inside.row(row + 1);
    *out = transparentPixel<Pixel>();
    if (!above && !below) return;
    const auto neighbour = [&](bool isInside, QzLong column, std::int64_t line) {
        return isInside && inside.column(column) ? *buffer.at(column, line) : Pixel{};
    };
    *out = mixPixels(QzBilinearWeights(at.x - last, at.y - static_cast<double>(row)),
                     neighbour(above, last, row), neighbour(above, first, row),
                     neighbour(below, last, row + 1), neighbour(below, first, row + 1));
}

// As get_bilinear_color_trans_T, for any geometry.
template <class Buffer, class Pixel>
[[gnu::always_inline]] inline void sample(Point at, const Geometry& geometry, const Buffer& buffer,
                                          Pixel* out, QzLong bilinear) {
    const double last = geometry.originX + (geometry.scaleX - 1.0);
    if (geometry.isCyclic && at.x >= last && at.x <= last + 1.0) [[unlikely]]
        sampleAtSeam(at, static_cast<QzLong>(geometry.originX), static_cast<QzLong>(last), buffer,
                     geometry.bounds, out, bilinear);
    else
        get_bilinear_color_trans_T(at.x, at.y, buffer, geometry.bounds, out, bilinear);
}

}  // namespace polar
