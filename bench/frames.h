// Frames to measure with.
#pragma once

#include <cstdint>
#include <type_traits>

#include "hosting/Module.h"
#include "pixels/QzBuffer.h"

// A bitmap of noise in colour and alpha, which leaves nobody a shortcut.
template <class Buffer>
hosting::Bitmap makeNoise(QzLong width, QzLong height) {
    using Pixel = typename Buffer::Pixel;
    using Component = typename Pixel::Component;
    hosting::Bitmap bitmap = hosting::makeBitmap(width, height, Buffer::bitmapType);
    const Buffer buffer(*bitmap);
    std::uint32_t state = 1;
    const auto component = [&] {
        state = state * 1664525u + 1013904223u;
        if constexpr (std::is_same_v<Component, float>)
            return static_cast<float>(state >> 8) / 16777216.0f;
        else
            return static_cast<Component>(state >> 16 & Pixel::maxValue);
    };
    for (QzLong row = 0; row < height; ++row)
        for (QzLong column = 0; column < width; ++column)
            buffer.at(column, row)->store({component(), component(), component(), component()});
    return bitmap;
}
