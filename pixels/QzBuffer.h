// Bitmaps seen with a pixel type, and the table of the formats.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixels/QzBitmap.h"
#include "pixels/QzPixel.h"

// Pixels in memory seen with one pixel type. A view: the memory stays its owner's.
template <QzBitmapType Type, class PixelType>
class QzBuffer {
  public:
    using Pixel = PixelType;
    static constexpr QzBitmapType bitmapType = Type;
    static_assert(sizeof(Pixel) == Pixel::pixelBytes && alignof(Pixel) == 1,
                  "pixels lie byte to byte");

    // `pixels` is the address of pixel (0, 0), which itself need not lie in the memory; `rowBytes`
    // lead from a pixel to the one below it and are negative where rows run upwards.
    QzBuffer(const void* pixels, std::int64_t rowBytes)
        : pixels_(reinterpret_cast<std::uintptr_t>(pixels)),
          rowBytes_(static_cast<std::uintptr_t>(rowBytes)) {}
    // The bitmap's own format code is not consulted.
    explicit QzBuffer(const QzBitmap& bitmap)
        : QzBuffer(bitmap.pixels, std::int64_t{bitmap.rowLength} * std::int64_t{sizeof(Pixel)}) {}

    // Addresses are formed in unsigned arithmetic: many are never read, and may lie anywhere.
    std::uintptr_t address(std::int64_t column, std::int64_t row) const {
        return pixels_ + static_cast<std::uintptr_t>(row) * rowBytes_ +
               static_cast<std::uintptr_t>(column) * sizeof(Pixel);
    }
    std::uintptr_t below(std::uintptr_t address) const { return address + rowBytes_; }

    static Pixel* pixelAt(std::uintptr_t address) {
        return reinterpret_cast<Pixel*>(address);  // NOLINT(performance-no-int-to-ptr)
    }
    Pixel* at(std::int64_t column, std::int64_t row) const { return pixelAt(address(column, row)); }

  private:
    std::uintptr_t pixels_;
    std::uintptr_t rowBytes_;
};

struct QzBufferRGBA8 : QzBuffer<QzBitmapTypeRGBA8, QzPixel<unsigned char, 255, 8, 4>> {
    using QzBuffer::QzBuffer;
    static constexpr const char* name = "rgba8";
};
struct QzBufferRGBA10 : QzBuffer<QzBitmapTypeRGBA10, QzPixel<unsigned short, 1023, 10, 5>> {
    using QzBuffer::QzBuffer;
    static constexpr const char* name = "rgba10";
};
struct QzBufferRGBA12 : QzBuffer<QzBitmapTypeRGBA12, QzPixel<unsigned short, 4095, 12, 6>> {
    using QzBuffer::QzBuffer;
    static constexpr const char* name = "rgba12";
};
struct QzBufferRGBA16 : QzBuffer<QzBitmapTypeRGBA16, QzPixel<unsigned short, 65535, 16, 8>> {
    using QzBuffer::QzBuffer;
    static constexpr const char* name = "rgba16";
};
struct QzBufferRGBAFloat : QzBuffer<QzBitmapTypeRGBAFloat, QzPixel<float, 4294967295, 32, 16>> {
    using QzBuffer::QzBuffer;
    static constexpr const char* name = "float";
};

// A list of types, passed around as a value.
template <class... Types>
struct QzTypeList {
    static constexpr unsigned count = sizeof...(Types);
};

// The formats. Whatever exists once per format is made from this list; `name` is what users call
// one.
using QzFormats =
    QzTypeList<QzBufferRGBA8, QzBufferRGBA10, QzBufferRGBA12, QzBufferRGBA16, QzBufferRGBAFloat>;

// Calls `visit` with every buffer type, as `visit.template operator()<Buffer>()`.
template <class Visitor, class... Buffers>
constexpr void forEachFormat(Visitor&& visit, QzTypeList<Buffers...>) {
    (visit.template operator()<Buffers>(), ...);
}
template <class Visitor>
constexpr void forEachFormat(Visitor&& visit) {
    forEachFormat(visit, QzFormats{});
}

// Calls `visit` likewise with the buffer type of format `code` alone. Returns whether there is such
// a format.
template <class Visitor, class Formats = QzFormats>
constexpr bool visitFormat(unsigned code, Visitor&& visit, Formats formats = {}) {
    bool found = false;
    const auto one = [&]<class Buffer>() {
        if (code != Buffer::bitmapType) return;
        found = true;
        visit.template operator()<Buffer>();
    };
    forEachFormat(one, formats);
    return found;
}
