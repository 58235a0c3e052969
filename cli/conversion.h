// Between the samples of picture files and the pixels of bitmaps.
#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "cli/Rectangle.h"
#include "pixels/QzBitmap.h"

// Samples of a picture, those of a pixel side by side, rows from the top. The largest integer and
// the float 1.0 mean the same.
using Samples =
    std::variant<std::vector<std::uint8_t>, std::vector<std::uint16_t>, std::vector<float>>;

// What a picture's colour is in relation to its alpha.
enum class Alpha {
    straight,
    associated,         // multiplied; where alpha is 0 it is light without coverage, left alone
    associatedInLight,  // as above, in linear light, gamma being 2.2
    overBlack           // multiplied, the alpha itself dropped
};

// Which samples of a pixel are used.
struct Channels {
    int count;    // samples of a pixel
    int r, g, b;  // places from 0; the same one for grey
    int alpha;    // or -1: every pixel is opaque
};

// Writes those pixels of `bitmap`, which has the size of `picture`, that lie in `data`, from
// samples of all of `data`. Values that its format cannot hold are rounded to nearest and clamped;
// the alpha is made straight.
void samplesToBitmap(const Samples& samples, const Channels& channels, Alpha alpha,
                     const Rectangle& data, QzBitmap& bitmap, const Rectangle& picture);

// Writes `samples`, which have the size, from `region` of `bitmap`: r, g, b and, unless the picture
// lies over black, a. Rounds and clamps as above.
void bitmapToSamples(const QzBitmap& bitmap, const Rectangle& region, Alpha alpha,
                     Samples& samples);
