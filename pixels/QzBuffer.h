// Bitmaps seen with a pixel type, and the table of the formats.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixels/QzBitmap.h"
#include "pixels/QzPixel.h"

// A bitmap seen with one pixel type. A view: the bitmap's memory stays the host's. The bitmap's own
// format code is not consulted.
template <QzBitmapType Type, class PixelType>
class QzBuffer {
  public:
    using Pixel = PixelType;
    static constexpr QzBitmapType bitmapType = Type;
    static_assert(sizeof(Pixel) == Pixel::pixelBytes && alignof(Pixel) == 1,
                  "pixels lie byte to byte");

    explicit QzBuffer(const QzBitmap& bitmap)
        : pixels_(reinterpret_cast<std::uintptr_t>(bitmap.pixels)), rowLength_(bitmap.rowLength) {}

    // In pixels; negative where the rows run upwards.
    QzLong rowLength() const { return rowLength_; }

    // How many pixels after pixel (0, 0) a pixel lies.
    std::int64_t index(std::int64_t column, std::int64_t row) const {
        return row * rowLength_ + column;
    }

    // The pixel `index` pixels after pixel (0, 0). Addresses are formed in unsigned arithmetic,
    // since pixel (0, 0) itself need not lie in the bitmap's memory.
    Pixel* at(std::int64_t index) const {
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        return reinterpret_cast<Pixel*>(pixels_ +
                                        static_cast<std::uintptr_t>(index) * sizeof(Pixel));
    }

  private:
    std::uintptr_t pixels_;
    QzLong rowLength_;
};

struct QzBufferRGBA8 : QzBuffer<QzBitmapTypeRGBA8, QzPixel<unsigned char, 255, 8, 4>> {
    using QzBuffer::QzBuffer;
};
struct QzBufferRGBA10 : QzBuffer<QzBitmapTypeRGBA10, QzPixel<unsigned short, 1023, 10, 5>> {
    using QzBuffer::QzBuffer;
};
struct QzBufferRGBA12 : QzBuffer<QzBitmapTypeRGBA12, QzPixel<unsigned short, 4095, 12, 6>> {
    using QzBuffer::QzBuffer;
};
struct QzBufferRGBA16 : QzBuffer<QzBitmapTypeRGBA16, QzPixel<unsigned short, 65535, 16, 8>> {
    using QzBuffer::QzBuffer;
};
struct QzBufferRGBAFloat : QzBuffer<QzBitmapTypeRGBAFloat, QzPixel<float, 4294967295, 32, 16>> {
    using QzBuffer::QzBuffer;
};

// A list of types, passed around as a value.
template <class... Types>
struct QzTypeList {};

// The formats. Whatever exists once per format is made from this list.
using QzFormats =
    QzTypeList<QzBufferRGBA8, QzBufferRGBA10, QzBufferRGBA12, QzBufferRGBA16, QzBufferRGBAFloat>;

// Calls `visit` with the buffer type of format `code`, as `visit.template operator()<Buffer>()`.
// Returns whether there is such a format.
template <class Visitor, class... Buffers>
bool visitFormat(unsigned code, Visitor&& visit, QzTypeList<Buffers...>) {
    return ((code == Buffers::bitmapType && (visit.template operator()<Buffers>(), true)) || ...);
}
template <class Visitor>
bool visitFormat(unsigned code, Visitor&& visit) {
    return visitFormat(code, visit, QzFormats{});
}
