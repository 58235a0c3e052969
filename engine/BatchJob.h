// What a render hands to the code that computes its pixels in batches: plain data, so that such
// code, compiled for more instructions than every processor has, shares no function with the rest.
#pragma once

#include <cstdint>

#include "pixels/QzTypes.h"

struct BatchJob {
    bool unwraps;
    bool bilinear;
    unsigned format;  // a QzBitmapType

    // The input bitmap: address of pixel (0, 0), pixels from row to row, and the columns and rows
    // that count as image, at least two of each; the ends belong to it.
    std::uintptr_t input;
    QzLong inputRowLength;
    QzLong left, top, lastColumn, lastRow;

    // The region of the output bitmap: address of its first pixel, bytes from row to row.
    unsigned char* output;
    std::int64_t outputRowBytes;
    QzLong width, height;

    // The mapping: how fractions become positions, per column half a sine and half a cosine
    // (unwrapping) or a squared offset (wrapping, `second` null), the first row's fraction and the
    // first column's offset from the centre, and their steps.
    double scaleX, scaleY, originX, originY;
    const double* first;
    const double* second;
    double firstRow, rowStep;
    double firstOffset, offsetStep;

    // Wrapping: how far a column computed with the approximate arctangent can be from the one that
    // std::atan2 gives, in pixels, and what follows for a mixed component
    // (BilinearSampler::settled).
    double columnError, mixedError, gainLimit;

    // Renders one pixel to `out` as the plain path does: that of column `column`, at offset
    // `offset` (wrapping), of the row of fraction `v`.
    void (*renderPixel)(const BatchJob& job, double v, QzLong column, double offset, void* out);
    const void* context;  // for renderPixel
};

// Renders a job's region in batches. Returns how many pixels were left to renderPixel because the
// arctangent's last bits decide them, or because only some of their neighbours are inside.
std::int64_t renderBatchesAvx2(const BatchJob& job);
std::int64_t renderBatchesAvx512(const BatchJob& job);

// approximateArctangents (engine/renderPath.h).
void arctangentsAvx2(const double* y, const double* x, double* angles);
void arctangentsAvx512(const double* y, const double* x, double* angles);
