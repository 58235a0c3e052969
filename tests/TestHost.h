// A host for tests: instances of the module, and bitmaps that no access may leave.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>

#include "host/Parameters.h"
#include "hosting/Instance.h"
#include "pixels/QzBuffer.h"
#include "tests/TestQzLib.h"
#include "tests/platform.h"

using QzRect = hosting::Rectangle;

// Ends the test unless `holds`.
inline void require(bool holds, const std::string& what) {
    if (!holds) throw std::logic_error("not so: " + what);
}

// An exported function of the module under test. Each test program says where it comes from.
void* moduleSymbol(const char* name);
template <class Function>
Function exported(const char* name) {
    return reinterpret_cast<Function>(moduleSymbol(name));
}

// Memory with an unmapped page before and after it; it touches the first or, `atEnd`, the second.
struct GuardedMemory {
    GuardedMemory(std::size_t bytes, bool atEnd)
        : pages_(bytes), bytes_(bytes), begin_(atEnd ? pages_.end - bytes : pages_.begin) {}
    unsigned char* begin() const { return begin_; }
    unsigned char* end() const { return begin_ + bytes_; }

  private:
    GuardedPages pages_;
    std::size_t bytes_;
    unsigned char* begin_;
};

// A bitmap that holds the pixels of `place`, first `fill` in every byte, and no other; its rows are
// `padding` further pixels apart. It holds nothing where `place` is empty.
template <class Buffer>
struct TestBitmap {
    using Pixel = typename Buffer::Pixel;

    explicit TestBitmap(const QzRect& place, QzLong padding = 0, bool atEnd = true)
        : memory(bytes(place, padding), atEnd) {
        std::fill(memory.begin(), memory.end(), '\xA5');
        record.bitmapType = Buffer::bitmapType;
        setPitch(place, std::clamp<QzLong>(place.width, 0, 4096) + padding);
    }

    // Lays the rows of `place` out anew, in the same memory: upwards, or so that they overlap.
    void setPitch(const QzRect& place, QzLong pitch) {
        const std::int64_t lowest = pitch < 0 ? (std::int64_t{1} - place.height) * pitch : 0;
        const std::int64_t before = std::int64_t{place.y} * pitch + place.x - lowest;
        record.rowLength = pitch;
        const auto start = reinterpret_cast<std::uintptr_t>(memory.begin());
        record.pixels = reinterpret_cast<void*>(start - std::uintptr_t(before) * sizeof(Pixel));
    }
    Pixel& at(std::int64_t column, std::int64_t row) { return *Buffer(record).at(column, row); }
    bool operator==(const TestBitmap& other) const {
        return std::equal(memory.begin(), memory.end(), other.memory.begin(), other.memory.end());
    }

    QzBitmap record{};
    GuardedMemory memory;

  private:
    static std::size_t bytes(const QzRect& place, QzLong padding) {
        if (place.width <= 0 || place.height <= 0) return 0;
        const QzLong pixels = (place.width + padding) * (place.height - 1) + place.width;
        return sizeof(Pixel) * std::size_t(pixels);
    }
};

// An instance of the module, with a fresh log of the support library, in which Service16 is noted.
struct TestInstance : hosting::Instance {
    explicit TestInstance(QzLong filterIndex, unsigned char fill = 0x5A,
                          VexHandler entryPoint = exported<VexHandler>("ENTRYPOINT1"));

    // Setup and prepare, of a render that is described.
    void prepare() { require(entry(2) == 1 && execute(10) == 1, "setup and prepare succeed"); }

    TestQzLib& qzlib = TestQzLib::instance();
};
