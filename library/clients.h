// The pixel formats of callers, and how those that the core does not know become ones that it does.
#pragma once

#include <cstddef>

#include "render/OpaquePixel.h"

namespace polar {

// What the fourth component of a caller's pixels says about the others; as in polar.h.
enum class Alpha { straight, premultiplied, opaque };

// Converts rows of a caller's pixels to and from straight RGBA.
struct Conversion {
    unsigned format;         // the QzBitmapType to render in
    std::size_t pixelBytes;  // of that
    // Reads `count` of the caller's pixels and writes as many of the format.
    void (*load)(const void* from, std::size_t count, void* to);
    // The reverse. Where pixels are opaque, what is not covered shows `background`.
    void (*store)(const void* from, std::size_t count, const Background& background, void* to);
};

struct Client {
    unsigned format;  // as in polar.h and in the core
    bool hasAlpha;
    std::size_t pixelBytes;
    Conversion opaque;
    // Of formats with alpha alone; the second one is for opaque inputs and straight outputs.
    Conversion premultiplied, opaqueToStraight;
};

// Null where there is no such format.
const Client* findClient(int code);

}  // namespace polar
