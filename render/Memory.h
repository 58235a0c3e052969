// Which bytes an image lies in.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "render/Job.h"

namespace polar {

struct Bytes {
    std::uintptr_t begin, end;

    bool overlap(const Bytes& other) const { return begin < other.end && other.begin < end; }
};

// The bytes from the first to the last of some columns and rows, ends included; nothing where they
// do not lie in one piece of the address space.
inline std::optional<Bytes> bytesOf(const Image& image, std::int64_t pixelBytes, std::int64_t left,
                                    std::int64_t top, std::int64_t right, std::int64_t bottom) {
    if (image.rowBytes < 0) std::swap(top, bottom);
    std::int64_t first = 0, last = 0, length = 0;
    if (__builtin_mul_overflow(top, image.rowBytes, &first) ||
        __builtin_mul_overflow(bottom, image.rowBytes, &last) ||
        __builtin_add_overflow(first, left * pixelBytes, &first) ||
        __builtin_add_overflow(last, (right + 1) * pixelBytes, &last) ||
        __builtin_sub_overflow(last, first, &length))
        return std::nullopt;
    const auto base = reinterpret_cast<std::uintptr_t>(image.pixels);
    const Bytes bytes{base + static_cast<std::uintptr_t>(first),
                      base + static_cast<std::uintptr_t>(last)};
    if (bytes.end - bytes.begin != static_cast<std::uint64_t>(length) || bytes.end < bytes.begin)
        return std::nullopt;
    return bytes;
}

// Whether rows of `width` pixels, more than one, share no memory.
inline bool rowsAreApart(const Image& image, std::int64_t pixelBytes, std::int64_t width) {
    const std::int64_t rowBytes = width * pixelBytes;
    return image.rowBytes >= rowBytes || image.rowBytes <= -rowBytes;
}

}  // namespace polar
