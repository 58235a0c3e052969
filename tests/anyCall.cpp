#include "tests/TestImage.h"

namespace {

TestImage anyLayout(Draw& draw, const polar_image& like) {
    const auto padding = draw.of<std::ptrdiff_t>({0, 0, 1, 7});
    return TestImage(like, padding, draw.upTo(3) == 0, draw.upTo(2) == 0);
}

// Mostly sensible numbers.
double anyNumber(Draw& draw) {
    const double some = draw.upTo(200) / 3.0;
    return draw.of({some, some, some, some, some, 0.25, 1.0, 0.0, -some, 1e-30, 1e300,
                    std::numeric_limits<double>::quiet_NaN()});
}
polar_rect anyRect(Draw& draw) { return {draw.word(), draw.word(), draw.word(), draw.word()}; }

polar_circle anyCircle(Draw& draw) {
    const double x = anyNumber(draw), y = anyNumber(draw);
    const double across = anyNumber(draw), up = anyNumber(draw);
    const double inner = draw.of({0.0, 0.3, anyNumber(draw)}), start = anyNumber(draw);
    const double turns = draw.of({0.0, 0.5, anyNumber(draw)});
    return {x, y, across, up, inner, start, turns, std::int32_t(draw.upTo(2))};
}

}  // namespace

void anyCall(std::span<const unsigned char> bytes) {
    Draw draw(bytes);
    const int format = draw.of({1, 2, 3, 4, 5, 16, 17, 18, 19, 20, 21, 1, 5, 6});
    const int alpha = draw.of({0, 0, 1, 2, 2, 3});
    const auto size = [&] { return std::int32_t(1 + draw.upTo(90)); };
    const polar_image from{nullptr, size(), size(), 0, format, alpha};
    const polar_image like{nullptr, size(), size(), 0, format, alpha};
    TestImage input = anyLayout(draw, from);
    const TestImage output = anyLayout(draw, like), other = anyLayout(draw, like);
    input.fill(static_cast<unsigned>(draw.byte()));
    polar_rect source = anyRect(draw), whole = anyRect(draw);
    polar_circle circle = anyCircle(draw);
    polar_options options{};
    options.direction = std::int32_t(draw.upTo(2));
    options.sampling = std::int32_t(draw.upTo(3));
    if (draw.upTo(2) == 0) options.source = &source;
    if (draw.upTo(2) == 0) options.whole = &whole;
    if (draw.upTo(2) == 0) options.circle = &circle;
    const double amount = draw.of({0.0, 0.5, 1.0, anyNumber(draw)});
    if (draw.upTo(2) == 0) {
        options.size = sizeof options;
        options.scale = std::int32_t(draw.upTo(5));
        options.cyclic = std::int32_t(draw.upTo(2));
        options.ground_bottom = std::int32_t(draw.upTo(2));
        if (draw.upTo(2) == 0) options.amount = &amount;
    }
    const int status = polar_render(&input.image, &output.image, &options);
    const int again = polar_render(&input.image, &other.image, &options);
    require(status == again, "the output's layout does not change the status");
    require(output.pixels() == other.pixels(), "nor the pixels");
    require(status == POLAR_OK || output.isUntouched(), "a call that is refused writes nothing");
}
