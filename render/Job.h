// What a plan and the code that renders by it share. Plain data: units that are compiled for more
// instructions than every processor has share no function with the others.
#pragma once

#include <cstddef>
#include <cstdint>

#include "render/Geometry.h"
#include "render/OpaquePixel.h"

namespace polar {

enum class Sampling { bilinear, nearest, area };

// Pixels in memory. A view: the memory stays its owner's.
struct Image {
    void* pixels;           // address of pixel (0, 0), which itself need not lie in the memory
    std::int64_t rowBytes;  // from a pixel to the one below it; negative where rows run upwards
};

// What depends on the column alone, one value for each column of the region: of an unwrapping, half
// the sine and half the cosine of its angle; of a wrapping, its squared offset from the centre in
// fractions of the bounding box, and nothing second.
struct Tables {
    double* first;
    double* second;
};

struct Job {
    unsigned format;  // a QzBitmapType or one of OpaqueFormats, of both images
    Sampling sampling;
    Geometry geometry;
    Image input, output;
    Tables tables;
    Background background;    // of opaque formats
    unsigned char empty[16];  // a pixel, as it is written where nothing is seen

    // The rest is for batches alone. The columns and rows that count as image, at least two of
    // each, both ends included; whole numbers, as positions are compared with them.
    double left, top, lastColumn, lastRow;

    // Whether pixels are fetched ahead, and written past the caches: where the memory that the rows
    // of the input or the output extend over is larger than the caches next to a processor.
    bool isLarge, isStreamed;

    // Wrapping: how far a column computed with the approximate arctangent can be from the one that
    // std::atan2 gives, in pixels; whether there is a Turn to take, and how far the part of a turn
    // can then be off.
    double columnError;
    bool isTurned;
    double turnError;
    // By how much the weights of pixels can differ in sum for all that, what the roundings of their
    // means amount to included. They depend continuously on the column, from one pair of neighbours
    // to the next as well.
    double weightError;

    // Renders the pixel of column `column`, at offset `offset` (wrapping), of the row at `v` to
    // `out`, as the plain path does.
    void (*renderPixel)(const Job& job, double v, QzLong column, double offset, void* out);

    // Opaque formats: writes to `out` what four components, red to alpha, leave of the background.
    void (*storeOver)(const Job& job, const void* components, void* out);

    // Area sampling: whether batches may sample bilinearly what it leaves to that; and renders one
    // such pixel of the output, in any geometry, as the plain path does.
    bool hasBatches;
    void (*renderBilinear)(const Job& job, double v, QzLong column, QzLong row, double offset);
};

}  // namespace polar
