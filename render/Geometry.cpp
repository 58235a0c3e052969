#include "render/Geometry.h"

#include <cmath>

#include "render/RoundToNearest.h"

namespace polar {

namespace {

void unwrap(const Request& request, Geometry& geometry) {
    const Circle& circle = request.circle;
    const double start = circle.startTurns - std::floor(circle.startTurns);
    geometry.columns.step =
        (circle.clockwise ? -circle.turns : circle.turns) / request.panorama.width;
    geometry.columns.first = geometry.columns.step * request.x - start;
    geometry.rows.step = (1.0 - circle.inner) / request.panorama.height;
    geometry.rows.first = geometry.rows.step * request.y + circle.inner;
    geometry.scaleX = circle.radii.x * 2;
    geometry.scaleY = circle.radii.y * 2;
    geometry.originX = (request.source.x + circle.centre.x) - circle.radii.x;
    geometry.originY = (request.source.y + circle.centre.y) - circle.radii.y;
}

Turn turnOf(const Circle& circle) {
    const double start = circle.startTurns - std::floor(circle.startTurns);
    Turn turn;
    turn.low = (circle.turns - 1.0) * 0.5;
    turn.high = (circle.turns + 1.0) * 0.5;
    // Such that one turn more or less is enough.
    turn.sign = circle.clockwise ? -1.0 : 1.0;
    turn.offset = circle.clockwise ? 1.0 - start : start > turn.high ? start - 1.0 : start;
    return turn;
}

void wrap(const Request& request, Geometry& geometry) {
    const Circle& circle = request.circle;
    geometry.columns.step = 1.0 / (circle.radii.x * 2);
    geometry.columns.first =
        geometry.columns.step * (request.x - (circle.centre.x - circle.radii.x));
    geometry.rows.step = 1.0 / (circle.radii.y * 2);
    geometry.rows.first = geometry.rows.step * (request.y - (circle.centre.y - circle.radii.y));
    // A turn ends on the last column, the radius after the last row.
    geometry.scaleX = (request.panorama.width - 1.0) / circle.turns;
    geometry.scaleY = request.panorama.height / (1.0 - circle.inner);
    geometry.originX = request.source.x;
    const double end = static_cast<double>(request.source.y) + request.panorama.height;
    // Exact for an end that is not negative, and so is the way back: a rim just inside would show a
    // trace of the last row all around.
    geometry.originY = end - geometry.scaleY;
    geometry.turn = turnOf(circle);
}

[[gnu::noinline]] void compute(const Request& request, Geometry& geometry) {
    (request.mapping == Mapping::unwrap ? unwrap : wrap)(request, geometry);
}

// The subtraction of 32-bit words, which wraps around.
QzLong difference(QzLong a, QzLong b) {
    return static_cast<QzLong>(static_cast<QzULong>(a) - static_cast<QzULong>(b));
}

}  // namespace

Geometry around(const Request& request) {
    Geometry geometry{};
    geometry.mapping = request.mapping;
    geometry.bounds = request.bounds;
    geometry.region = request.region;
    const RoundToNearest rounding;
    compute(request, geometry);
    return geometry;
}

Geometry fromRectangles(Mapping mapping, const Rect& source, const Rect& region) {
    const Size size{source.width, source.height};
    return around({mapping, inscribed(size), source, source, size, difference(region.x, source.x),
                   difference(region.y, source.y), region});
}

}  // namespace polar
