#include "adapters/Warp.h"

#include <algorithm>
#include <cstdint>

namespace adapters {

namespace {

bool isClockwise(const Warp& warp) {
    return warp.turn == Turn::automatic ? warp.groundBottom : warp.turn == Turn::clockwise;
}

polar_circle circleOf(const Warp& warp, std::int32_t width, std::int32_t height) {
    double across = width * 0.5, up = height * 0.5;
    if (warp.circle) {
        const double nearest = std::min(across * warp.pixelAspect, up);
        across = nearest / warp.pixelAspect;
        up = nearest;
    }
    return {warp.centreX * width,
            warp.centreY * height,
            warp.radius * across,
            warp.radius * up,
            warp.inner,
            warp.angle,
            1,
            isClockwise(warp) ? 1 : 0};
}

}  // namespace

Call::Call(const Warp& warp, const polar_image& from, const polar_image& to,
           const polar_rect& source, const polar_rect& whole)
    : input(from), output(to), amount_(warp.amount), source_(source), whole_(whole) {
    const bool wraps = warp.direction == POLAR_WRAP;
    const polar_rect& round = wraps ? whole_ : source_;
    circle_ = circleOf(warp, round.width, round.height);
    options.size = sizeof options;
    options.direction = warp.direction;
    options.sampling = warp.sampling;
    options.source = &source_;
    options.whole = &whole_;
    options.circle = &circle_;
    options.amount = &amount_;
    options.ground_bottom = warp.groundBottom ? 1 : 0;
}

Call::Call(const Warp& warp, const polar_image& from, const polar_image& to)
    : Call(warp, from, to, {0, 0, from.width, from.height}, {0, 0, to.width, to.height}) {}

}  // namespace adapters
