// The stand-in support library.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "host/QzLib.h"
#include "pixels/QzBuffer.h"

namespace {

TEST(QzLib, HandsOutAlignedBlocks) {
    for (const QzULong size : {0u, 1u, 17u, 1000001u}) {
        auto* const block = static_cast<unsigned char*>(AllocMemQz(size, 0xFFFFFFFF));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
        std::fill_n(block, size, '\1');
        FreeMemQz(block);
    }
    FreeMemQz(nullptr);
    // More than half of a 32-bit address space is not to be had.
    EXPECT_TRUE(sizeof(void*) == 8 || AllocMemQz(0xFFFFFFFF, 0) == nullptr);
}

TEST(QzLib, HandsOutBlackBitmapsOrNone) {
    const auto make = [](QzLong width, QzLong height, unsigned type) {
        return AllocBitmapQz(width, height, static_cast<QzBitmapType>(type), nullptr);
    };
    forEachFormat([&]<class Buffer>() {
        QzBitmap* const bitmap = make(33, 7, Buffer::bitmapType);
        ASSERT_NE(bitmap, nullptr);
        EXPECT_EQ(bitmap->rowLength, 33);
        EXPECT_EQ(bitmap->bitmapType, Buffer::bitmapType);
        const auto* const pixels = Buffer(*bitmap).at(0, 0)->bytes.data();
        constexpr std::ptrdiff_t bytes = 33 * 7 * sizeof(typename Buffer::Pixel);
        EXPECT_EQ(std::count(pixels, pixels + bytes, 0), bytes);
        FreeBitmapQz(bitmap);
    });
    FreeBitmapQz(nullptr);
    for (const unsigned type : {0, 6, 255}) EXPECT_EQ(make(5, 5, type), nullptr) << type;
    for (const QzLong size : {0, -5}) EXPECT_EQ(make(size, 5, 1), make(5, size, 1)) << size;
    EXPECT_EQ(make(0, 5, 1), nullptr);
    // The bytes of these wrap around to few, in 64 and in 32 bits.
    EXPECT_EQ(make(1073774592, 1073709057, 5), nullptr);
    EXPECT_TRUE(sizeof(void*) == 8 || make(65537, 16384, 1) == nullptr);
}

}  // namespace
