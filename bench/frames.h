// Frames to measure with.
#pragma once

#include <cstdint>
#include <type_traits>

#include "cli/PluginHost.h"
#include "pixels/QzBuffer.h"

// A bitmap of noise in colour and alpha, which leaves no shortcut to anybody.
inline Bitmap makeNoise(QzLong width, QzLong height, QzBitmapType type) {
    Bitmap bitmap = makeBitmap(width, height, type);
    visitFormat(type, [&]<class Buffer>() {
        using Pixel = typename Buffer::Pixel;
        using Component = typename Pixel::Component;
        const Buffer buffer(*bitmap);
        std::uint32_t state = 1;
        const auto component = [&] {
            state = state * 1664525u + 1013904223u;
            if constexpr (std::is_same_v<Component, float>)
                return static_cast<float>(state >> 8) / 16777216.0f;
            else
                return static_cast<Component>(state >> 16 & Pixel::maxValue);
        };
        for (std::int64_t i = 0; i < std::int64_t{width} * height; ++i)
            buffer.at(i, 0)->store({component(), component(), component(), component()});
    });
    return bitmap;
}
