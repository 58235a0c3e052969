// A stand-in for the host's support library, over the C++ standard library.

#include "host/QzLib.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "pixels/QzBuffer.h"

namespace {

// Bytes of a bitmap's pixels; 0 where there is no such bitmap.
std::size_t pixelBytes(QzLong width, QzLong height, QzBitmapType type) {
    std::uint64_t perPixel = 0;
    visitFormat(type, [&]<class Buffer>() { perPixel = sizeof(typename Buffer::Pixel); });
    if (width <= 0 || height <= 0) return 0;
    const std::uint64_t rowBytes = perPixel * static_cast<QzULong>(width);
    const auto rows = static_cast<QzULong>(height);
    constexpr std::uint64_t most = std::numeric_limits<std::ptrdiff_t>::max();
    return rowBytes <= most / rows ? static_cast<std::size_t>(rowBytes * rows) : 0;
}

}  // namespace

void* AllocMemQz(QzULong size, QzULong /*flags*/) {
    return std::malloc(std::max<QzULong>(size, 1));
}

void FreeMemQz(void* block) { std::free(block); }

QzBitmap* AllocBitmapQz(QzLong width, QzLong height, QzBitmapType type, char* /*name*/) {
    const std::size_t bytes = pixelBytes(width, height, type);
    if (bytes == 0) return nullptr;
    auto* const bitmap = static_cast<QzBitmap*>(std::calloc(1, sizeof(QzBitmap)));
    void* const pixels = std::calloc(bytes, 1);
    if (bitmap == nullptr || pixels == nullptr) {
        std::free(bitmap);
        std::free(pixels);
        return nullptr;
    }
    bitmap->rowLength = width;
    bitmap->bitmapType = static_cast<unsigned char>(type);
    bitmap->pixels = pixels;
    return bitmap;
}

void FreeBitmapQz(QzBitmap* bitmap) {
    if (bitmap == nullptr) return;
    std::free(bitmap->pixels);
    std::free(bitmap);
}
