// The stand-in support library.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>

#include "host/QzLib.h"

namespace {

TEST(QzLib, HandsOutAlignedBlocks) {
    for (const QzULong size : {0u, 1u, 15u, 17u, 4096u, 1000001u}) {
        auto* const block = static_cast<unsigned char*>(AllocMemQz(size, 0xFFFFFFFF));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
        std::fill_n(block, size, '\1');
        FreeMemQz(block);
    }
    FreeMemQz(nullptr);
    // More than half of a 32-bit address space is not to be had.
    void* const huge = AllocMemQz(0xFFFFFFFF, 0);
    EXPECT_TRUE(sizeof(void*) == 8 || huge == nullptr);
    FreeMemQz(huge);
}

TEST(QzLib, HandsOutBlackBitmaps) {
    const int pixelBytes[] = {0, 4, 5, 6, 8, 16};
    for (QzULong type = 1; type <= 5; ++type) {
        QzBitmap* const bitmap = AllocBitmapQz(33, 7, static_cast<QzBitmapType>(type), nullptr);
        ASSERT_NE(bitmap, nullptr);
        EXPECT_EQ(bitmap->rowLength, 33);
        EXPECT_EQ(bitmap->bitmapType, type);
        const auto* const pixels = static_cast<const unsigned char*>(bitmap->pixels);
        EXPECT_TRUE(std::all_of(pixels, pixels + 33 * 7 * pixelBytes[type],
                                [](unsigned char byte) { return byte == 0; }));
        FreeBitmapQz(bitmap);
    }
    FreeBitmapQz(nullptr);
}

TEST(QzLib, RefusesBitmapsThatCannotBe) {
    constexpr QzLong most = std::numeric_limits<QzLong>::max();
    struct Case {
        QzLong width, height;
        unsigned type;
    };
    // The last two take bytes that wrap around to few, in 64 and in 32 bits.
    for (const auto& [width, height, type] :
         std::initializer_list<Case>{{0, 5, 1},
                                     {5, 0, 1},
                                     {-1, 5, 1},
                                     {5, -1, 1},
                                     {-5, -5, 1},
                                     {5, 5, 0},
                                     {5, 5, 6},
                                     {5, 5, 255},
                                     {most, most, 5},
                                     {1073774592, 1073709057, 5},
                                     {sizeof(void*) == 4 ? 65537 : 0, 16384, 1}})
        EXPECT_EQ(AllocBitmapQz(width, height, static_cast<QzBitmapType>(type), nullptr), nullptr)
            << width << 'x' << height << " of type " << type;
}

}  // namespace
