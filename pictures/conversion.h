// Between the samples of picture files and the pixels of images.
#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "library/polar.h"
#include "pictures/FileSettings.h"
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
    overBackground,     // multiplied, over a background, and without alpha
    dropped             // straight, and without alpha
};

// Which samples of a pixel are its components.
struct Channels {
    int count;    // samples of a pixel
    int r, g, b;  // indices; the same one for grey
    int alpha;    // index, or -1: every pixel is opaque
};

// How the rows of a file lie in the picture, numbered as Exif does: 1 upright, 3 upside down, 6 to
// be turned clockwise, 8 counterclockwise, the even ones below 6 and 7 mirrored.
class Orientation {
  public:
    // The picture as it is stored has that size, in pixels. Other numbers than 1 to 8 mean 1.
    Orientation(int exif, QzLong width, QzLong height)
        : exif_(exif < 1 || exif > 8 ? 1 : exif), lastColumn_(width - 1), lastRow_(height - 1) {}

    // Whether columns are the picture's rows.
    bool isTurned() const { return exif_ >= 5; }

    struct Place {
        std::int64_t column, row;
    };
    // Where a stored pixel lies in the picture.
    Place place(std::int64_t column, std::int64_t row) const {
        const Place flipped = flip({column, row});
        return isTurned() ? Place{flipped.row, flipped.column} : flipped;
    }
    // Where a pixel of the picture is stored.
    Place stored(std::int64_t column, std::int64_t row) const {
        return flip(isTurned() ? Place{row, column} : Place{column, row});
    }

  private:
    Place flip(Place at) const {
        if (exif_ == 2 || exif_ == 3 || exif_ == 7 || exif_ == 8)
            at.column = lastColumn_ - at.column;
        if (exif_ == 3 || exif_ == 4 || exif_ == 6 || exif_ == 7) at.row = lastRow_ - at.row;
        return at;
    }

    int exif_;
    std::int64_t lastColumn_, lastRow_;
};

// Images hold straight alpha in one of QzFormats, and their row_bytes are not left to default. All
// functions round to nearest, clamp to what the target holds and work on at most `threads` threads.

// What samples of a file are: all of `data`, a rectangle of its pixels as they are stored.
struct Stored {
    Channels channels;
    Alpha alpha;
    Rectangle data;
    Orientation orientation;
};

// Writes what lies in `area` of the picture to `image`, which has that size.
void samplesToImage(const Samples& samples, const Stored& stored, const Rectangle& area,
                    const polar_image& image, unsigned threads);

// How pixels become samples.
struct Composition {
    Channels channels;  // their places; the others are left as they are
    Alpha alpha;
    bool keepsLight = false;  // associated: pixels without alpha keep their colour
    Colour background{};
};

// Writes the pixels of `image` into `samples`, which have room for them.
void imageToSamples(const polar_image& image, const Composition& composition, Samples& samples,
                    unsigned threads);

// Writes copies of the last column and row but one over the last ones.
void repeatLastPixels(const polar_image& image);

}  // namespace pictures
