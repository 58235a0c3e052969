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
    const double inner = scaled(circle.scale, circle.inner), outer = scaled(circle.scale, 1.0);
    geometry.rows.step = (outer - inner) / request.panorama.height;
    geometry.rows.first = geometry.rows.step * request.y + inner;
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
    const double inner = scaled(circle.scale, circle.inner), outer = scaled(circle.scale, 1.0);
    // A turn ends on the last column, unless that is followed by the first one; the radius ends
    // after the last row.
    geometry.scaleX = (request.panorama.width - (request.isCyclic ? 0.0 : 1.0)) / circle.turns;
    geometry.scaleY = request.panorama.height / (outer - inner);
    geometry.originX = request.source.x;
    const double end = static_cast<double>(request.source.y) + request.panorama.height;
    // Exact for an end that is not negative, and so is the way back: a rim just inside would show a
    // trace of the last row all around.
    geometry.originY = end - geometry.scaleY * outer;
    geometry.turn = turnOf(circle);
    // What has not moved lies beside its own picture's edge.
    geometry.isCyclic = request.isCyclic && circle.turns == 1.0 && request.amount > 0;
}

Movement movementOf(const Request& request) {
    const Point step{static_cast<double>(request.source.width) / request.whole.width,
                     static_cast<double>(request.source.height) / request.whole.height};
    Movement movement{
        request.amount,
        {request.source.x + step.x * request.x, request.source.y + step.y * request.y},
        step};
    if (request.isUpsideDown) {
        const double last = request.mapping == Mapping::wrap
                                ? request.source.height - 1.0
                                : step.y * (request.whole.height - 1.0);
        movement.first.y = request.source.y + (last - step.y * request.y);
        movement.step.y = -step.y;
    }
    return movement;
}

[[gnu::noinline]] void compute(const Request& request, Geometry& geometry) {
    (request.mapping == Mapping::unwrap ? unwrap : wrap)(request, geometry);
    if (request.amount != 1) geometry.movement = movementOf(request);
}

// The subtraction of 32-bit words, which wraps around.
QzLong difference(QzLong a, QzLong b) {
    return static_cast<QzLong>(static_cast<QzULong>(a) - static_cast<QzULong>(b));
}

}  // namespace

// Logarithms to the base 10, and not std::exp: std::log and that would need a newer C library than
// hosts come with.
double scaled(RowScale scale, double radius) {
    switch (scale) {
        case RowScale::log:
            return std::log10(radius);
        case RowScale::sqrt:
            return std::sqrt(radius);
        case RowScale::square:
            return radius * radius;
        default:
            return radius;
    }
}

double unscaled(RowScale scale, double place) {
    switch (scale) {
        case RowScale::log:
            return std::expm1(place * 2.302585092994046) + 1.0;
        case RowScale::sqrt:
            return place * std::abs(place);
        case RowScale::square:
            return std::copysign(std::sqrt(std::abs(place)), place);
        default:
            return place;
    }
}

Geometry around(const Request& request) {
    Geometry geometry{};
    geometry.mapping = request.mapping;
    geometry.bounds = request.bounds;
    geometry.region = request.region;
    geometry.scale = request.circle.scale;
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
