// The host's bitmap and rectangle records. C++11 and later.
#pragma once

#include <cstddef>

#include "pixels/QzTypes.h"

// Format codes of bitmaps. The record holds a code as one unsigned byte.
enum QzBitmapType : QzULong {
    QzBitmapTypeRGBA8 = 1,
    QzBitmapTypeRGBA10 = 2,
    QzBitmapTypeRGBA12 = 3,
    QzBitmapTypeRGBA16 = 4,
    QzBitmapTypeRGBAFloat = 5
};

// A bitmap. The host owns the record and its pixels; both outlive every call that is given them.
// Pixel (column c, row r) lies (r * rowLength + c) whole pixels after `pixels`.
struct QzBitmap {
    unsigned char reserved0[4];
    QzLong rowLength;  // pixels from the start of one row to the start of the next
    unsigned char reserved8[4];
    unsigned char bitmapType;  // a QzBitmapType
    unsigned char reserved13[11];
    void* pixels;  // address of pixel (0, 0)
};

static_assert(offsetof(QzBitmap, rowLength) == 4, "host interface");
static_assert(offsetof(QzBitmap, bitmapType) == 12, "host interface");
static_assert(offsetof(QzBitmap, pixels) == 24, "host interface");
static_assert(sizeof(QzBitmap) == 24 + sizeof(void*), "host interface");

// A rectangle of pixels: columns x to x + width - 1, rows y to y + height - 1.
// It is empty where width or height is 0 or less.
template <class Integer>
struct QzRectT {
    Integer x;
    Integer y;
    Integer width;
    Integer height;
};

static_assert(sizeof(QzRectT<QzLong>) == 16, "host interface");
