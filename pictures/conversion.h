// Between the samples of picture files and the pixels of bitmaps.
#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "pictures/Rectangle.h"
#include "pixels/QzBitmap.h"

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

// Writes the pixels of `bitmap` that lie in `data`, from samples of all of `data`; `picture` is the
// size of `bitmap`. Values are rounded to nearest and clamped to its format; the alpha becomes
// straight.
void samplesToBitmap(const Samples& samples, const Channels& channels, Alpha alpha,
                     const Rectangle& data, QzBitmap& bitmap, const Rectangle& picture);

// Writes `region` of `bitmap` to `samples`, which have its size: r, g, b and, unless the alpha is
// overBlack, a. Rounds and clamps as above.
void bitmapToSamples(const QzBitmap& bitmap, const Rectangle& region, Alpha alpha,
                     Samples& samples);

}  // namespace pictures
