#include "adapters/Warp.h"

#include <algorithm>

namespace adapters {

namespace {

bool isClockwise(const Warp& warp) {
    return warp.turn == Turn::automatic ? warp.groundBottom : warp.turn == Turn::clockwise;
}

polar_circle circleOf(const Warp& warp, const polar_image& round) {
    const double halfWidth = round.width * 0.5, halfHeight = round.height * 0.5;
    const double nearest = std::min(halfWidth, halfHeight);
    return {warp.centreX * round.width,
            warp.centreY * round.height,
            warp.radius * (warp.circle ? nearest : halfWidth),
            warp.radius * (warp.circle ? nearest : halfHeight),
            warp.inner,
            warp.angle,
            1,
            isClockwise(warp) ? 1 : 0};
}

// The same picture, its last row first.
polar_image flipped(polar_image image) {
    if (image.row_bytes == 0)
        image.row_bytes =
            static_cast<std::ptrdiff_t>(polar_pixel_bytes(image.format)) * image.width;
    image.pixels = static_cast<unsigned char*>(image.pixels) + image.row_bytes * (image.height - 1);
    image.row_bytes = -image.row_bytes;
    return image;
}

polar_circle flipped(polar_circle circle, const polar_image& round) {
    circle.center_y = round.height - 1 - circle.center_y;
    circle.start_turns = 0.5 - circle.start_turns;
    circle.clockwise = circle.clockwise == 0 ? 1 : 0;
    return circle;
}

}  // namespace

int render(const Warp& warp, const polar_image& input, const polar_image& output, int threads) {
    const bool wraps = warp.direction == POLAR_WRAP;
    polar_image from = input, to = output;
    polar_image& round = wraps ? to : from;
    polar_image& flat = wraps ? from : to;
    polar_circle circle = circleOf(warp, round);
    if (warp.groundBottom) {
        flat = flipped(flat);
        if (warp.amount < 1) {
            // Pixels that are under way began in a picture that stood upright.
            circle = flipped(circle, round);
            round = flipped(round);
        }
    }
    polar_options options{};
    options.size = sizeof options;
    options.direction = warp.direction;
    options.sampling = warp.sampling;
    options.threads = threads;
    options.circle = &circle;
    options.amount = &warp.amount;
    return polar_render(&from, &to, &options);
}

}  // namespace adapters
