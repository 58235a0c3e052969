#include "tests/anyCall.h"

#include <limits>

#include "library/polar.h"
#include "tests/Scene.h"

namespace {

// An image whose rows lie in its memory in any way.
class CallImage {
  public:
    CallImage(Draw& draw, polar_image like)
        : padding_(draw.of<std::ptrdiff_t>({0, 0, 1, 7})),
          pixelRow_(std::ptrdiff_t(polar_pixel_bytes(like.format)) * like.width),
          memory_(std::size_t((pixelRow_ + padding_) * (like.height - 1) + pixelRow_),
                  draw.upTo(2) == 0),
          image_(like) {
        std::fill(memory_.begin(), memory_.end(), '\xA5');
        image_.pixels = memory_.begin();
        image_.row_bytes = padding_ == 0 && draw.upTo(2) == 0 ? 0 : pixelRow_ + padding_;
        if (draw.upTo(3) != 0 || image_.row_bytes == 0) return;
        image_.pixels = memory_.begin() + image_.row_bytes * (image_.height - 1);
        image_.row_bytes = -image_.row_bytes;
    }

    const polar_image& image() const { return image_; }
    const GuardedMemory& memory() const { return memory_; }

    // The bytes of the pixels, row by row. What lies between rows must be as it was.
    std::vector<unsigned char> pixels() const {
        const auto pitch = image_.row_bytes == 0 ? pixelRow_ : image_.row_bytes;
        std::vector<unsigned char> all;
        for (int y = 0; y < image_.height; ++y) {
            const auto* const row = static_cast<unsigned char*>(image_.pixels) + y * pitch;
            all.insert(all.end(), row, row + pixelRow_);
            const auto* const end = std::min<const unsigned char*>(row + pitch, memory_.end());
            require(pitch < 0 || std::all_of(row + pixelRow_, end, isUntouched),
                    "what lies between rows is not written");
        }
        return all;
    }

    static bool isUntouched(unsigned char byte) { return byte == 0xA5; }

  private:
    std::ptrdiff_t padding_, pixelRow_;
    GuardedMemory memory_;
    polar_image image_;
};

// Mostly sensible numbers.
double anyNumber(Draw& draw) {
    const double some = draw.upTo(200) / 3.0;
    return draw.of({some, some, some, some, some, 0.25, 1.0, 0.0, -some, 1e-30, 1e300,
                    std::numeric_limits<double>::quiet_NaN()});
}
std::int32_t anyWord(Draw& draw) { return static_cast<std::int32_t>(draw.word()); }

polar_rect anyRect(Draw& draw) {
    return {anyWord(draw), anyWord(draw), anyWord(draw), anyWord(draw)};
}

}  // namespace

void anyCall(std::span<const unsigned char> bytes) {
    Draw draw(bytes);
    const int format = draw.of({1, 2, 3, 4, 5, 16, 17, 18, 19, 20, 21, 1, 5, 6});
    const int alpha = draw.of({0, 0, 1, 2, 2, 3});
    const auto size = [&] { return std::int32_t(1 + draw.upTo(90)); };
    const CallImage input(draw, {nullptr, size(), size(), 0, format, alpha});
    const polar_image like{nullptr, size(), size(), 0, format, alpha};
    const CallImage output(draw, like), other(draw, like);
    polar_rect source = anyRect(draw), whole = anyRect(draw);
    polar_circle circle{anyNumber(draw),
                        anyNumber(draw),
                        anyNumber(draw),
                        anyNumber(draw),
                        draw.of({0.0, 0.3, anyNumber(draw)}),
                        anyNumber(draw),
                        draw.of({0.0, 0.5, anyNumber(draw)}),
                        std::int32_t(draw.upTo(2))};
    polar_options options{};
    options.direction = std::int32_t(draw.upTo(2));
    options.sampling = std::int32_t(draw.upTo(2));
    if (draw.upTo(2) == 0) options.source = &source;
    if (draw.upTo(2) == 0) options.whole = &whole;
    if (draw.upTo(2) == 0) options.circle = &circle;
    unsigned char* const end = input.memory().end();
    for (auto* at = input.memory().begin(); at < end; ++at)
        *at = static_cast<unsigned char>(draw.byte() ^ (at - input.memory().begin()));

    const int status = polar_render(&input.image(), &output.image(), &options);
    const int again = polar_render(&input.image(), &other.image(), &options);
    require(status == again, "the output's layout does not change the status");
    const std::vector<unsigned char> pixels = output.pixels();
    require(pixels == other.pixels(), "nor the pixels");
    require(status == POLAR_OK || std::all_of(pixels.begin(), pixels.end(), CallImage::isUntouched),
            "a call that is refused writes nothing");
}
