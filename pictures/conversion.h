// Between the samples of picture files and the pixels of images.
#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "library/polar.h"
#include "pictures/Rectangle.h"

namespace pictures {

// Samples of a picture, those of a pixel side by side, rows from the top. The largest integer and
// the float 1.0 mean the same.
using Samples =
    std::variant<std::vector<std::uint8_t>, std::vector<std::uint16_t>, std::vector<float>>;

// How a picture's colour relates to its alpha.
enum class Alpha {
    straight,
    associated,         // multiplied; where alpha is 0 it is light without coverage, left alone
    associatedInLight,  // as above, in linear light, gamma being 2.2
    overBlack           // multiplied, and without alpha
};

// Which samples of a pixel are used.
struct Channels {
    int count;    // samples of a pixel
    int r, g, b;  // indices; the same one for grey
    int alpha;    // index, or -1: every pixel is opaque
};

// Images hold straight alpha in one of QzFormats, and their row_bytes are not left to default. Both
// functions round to nearest, clamp to what the target holds and work on at most `threads` threads.

// Writes the pixels of `image` that lie in `data`, a rectangle of its pixels, from samples of all
// of `data`.
void samplesToImage(const Samples& samples, const Channels& channels, Alpha alpha,
                    const Rectangle& data, const polar_image& image, unsigned threads);

// Writes all pixels of `image` to `samples`, which have room for them: r, g, b and, unless the
// alpha is overBlack, a.
void imageToSamples(const polar_image& image, Alpha alpha, Samples& samples, unsigned threads);

}  // namespace pictures
