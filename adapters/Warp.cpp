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

// The same picture, its last row first.
void turnOver(polar_image& image) {
    if (image.row_bytes == 0)
        image.row_bytes =
            static_cast<std::ptrdiff_t>(polar_pixel_bytes(image.format)) * image.width;
    // In whole numbers: what a host gives may lead anywhere, and the library looks before it goes.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    image.pixels = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(image.pixels) +
                                           static_cast<std::uintptr_t>(image.row_bytes) *
                                               static_cast<std::uintptr_t>(image.height - 1));
    image.row_bytes = -image.row_bytes;
}

// A row from the other end; one that is beyond 32 bits is refused later.
std::int32_t fromEnd(std::int64_t rows, std::int64_t first, std::int64_t count) {
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(rows - first - count, INT32_MIN, INT32_MAX));
}

void turnOver(polar_circle& circle, std::int32_t height) {
    circle.center_y = height - 1 - circle.center_y;
    circle.start_turns = 0.5 - circle.start_turns;
    circle.clockwise = circle.clockwise == 0 ? 1 : 0;
}

}  // namespace

Call::Call(const Warp& warp, const polar_image& from, const polar_image& to,
           const polar_rect& source, const polar_rect& whole)
    : input(from), output(to), amount_(warp.amount), source_(source), whole_(whole) {
    const bool wraps = warp.direction == POLAR_WRAP;
    const polar_rect& round = wraps ? whole_ : source_;
    circle_ = circleOf(warp, round.width, round.height);
    if (warp.groundBottom) {
        wraps ? turnInput() : turnOutput();
        if (warp.amount < 1) {
            // Pixels that are under way began in a picture that stood upright.
            turnOver(circle_, round.height);
            wraps ? turnOutput() : turnInput();
        }
    }
    options.size = sizeof options;
    options.direction = warp.direction;
    options.sampling = warp.sampling;
    options.source = &source_;
    options.whole = &whole_;
    options.circle = &circle_;
    options.amount = &amount_;
}

Call::Call(const Warp& warp, const polar_image& from, const polar_image& to)
    : Call(warp, from, to, {0, 0, from.width, from.height}, {0, 0, to.width, to.height}) {}

void Call::turnInput() {
    turnOver(input);
    source_.y = fromEnd(input.height, source_.y, source_.height);
}

void Call::turnOutput() {
    turnOver(output);
    whole_.y = fromEnd(whole_.height, whole_.y, output.height);
}

}  // namespace adapters
