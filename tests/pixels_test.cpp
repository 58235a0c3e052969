// Bytes of pixels, rounding, and the sampler against values worked out by hand.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "pixels/sampler.h"
#include "tests/TestHost.h"

namespace {

using Bytes = std::vector<int>;

Bytes bytesOf10(int r, int g, int b, int a) {
    return {r >> 2, (r & 0x03) << 6 | g >> 4, (g & 0x0F) << 4 | b >> 6, (b & 0x3F) << 2 | a >> 8,
            a & 0xFF};
}
Bytes bytesOf12(int r, int g, int b, int a) {
    return {r >> 4, (r & 0x0F) << 4 | g >> 8, g & 0xFF, b >> 4, (b & 0x0F) << 4 | a >> 8, a & 0xFF};
}

// Every value of every component, beside ever changing neighbours.
template <class Pixel>
void expectPacks(Bytes (*expected)(int, int, int, int)) {
    constexpr int max = Pixel::maxValue;
    for (int v = 0; v <= max; ++v) {
        const int others[] = {max - v, v * 37 & max, v * 101 & max};
        for (const auto& [r, g, b, a] : {std::array{v, others[0], others[1], others[2]},
                                         {others[0], v, others[1], others[2]},
                                         {others[0], others[1], v, others[2]},
                                         {others[0], others[1], others[2], v}}) {
            using T = typename Pixel::Component;
            const typename Pixel::Components components{T(r), T(g), T(b), T(a)};
            Pixel pixel;
            pixel.bytes.fill(0xFF);
            pixel.store(components);
            ASSERT_EQ(Bytes(pixel.bytes.begin(), pixel.bytes.end()), expected(r, g, b, a));
            ASSERT_EQ(pixel.load(), components);
        }
    }
}

TEST(Pixels, PackMostSignificantBitsFirst) {
    expectPacks<QzBufferRGBA10::Pixel>(bytesOf10);
    expectPacks<QzBufferRGBA12::Pixel>(bytesOf12);
}

TEST(Pixels, LieAsNativeComponents) {
    QzBufferRGBA8::Pixel p8;
    p8.store({1, 2, 3, 250});
    EXPECT_EQ(Bytes(p8.bytes.begin(), p8.bytes.end()), (Bytes{1, 2, 3, 250}));
    const unsigned short words[] = {0x1234, 0x5678, 0x9ABC, 0xFFFE};
    QzBufferRGBA16::Pixel p16;
    p16.store({0x1234, 0x5678, 0x9ABC, 0xFFFE});
    EXPECT_EQ(bytesOf(p16), bytesOf(words));
    const float floats[] = {-1.5f, 1e30f, 0.1f, 2.0f};
    QzBufferRGBAFloat::Pixel pFloat;
    pFloat.store({-1.5f, 1e30f, 0.1f, 2.0f});
    EXPECT_EQ(bytesOf(pFloat), bytesOf(floats));
}

TEST(Rounding, MatchesTheLibraryAndSaturates) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    const QzLong lowest = std::numeric_limits<QzLong>::min(), highest = -(lowest + 1);
    for (const double value : {2147483648.0, 1e300, inf}) {
        EXPECT_EQ(roundPosition(value), highest);
        EXPECT_EQ(floorPosition(value), highest);
        EXPECT_EQ(roundPosition(-value), lowest);
        EXPECT_EQ(floorPosition(-value), lowest);
    }
    EXPECT_EQ(roundPosition(std::nan("")), lowest);
    EXPECT_EQ(floorPosition(std::nan("")), lowest);
    std::mt19937 random(1);
    for (int i = 0; i < 100000; ++i) {
        const double half = static_cast<QzLong>(random()) / 2 + (i % 2) * 0.5;
        for (const double value : {half, std::nextafter(half, inf), std::nextafter(half, -inf)}) {
            ASSERT_EQ(roundToLong(value), std::nearbyint(value));
            ASSERT_EQ(roundPosition(value), std::nearbyint(value));
            ASSERT_EQ(floorPosition(value), std::floor(value));
        }
    }
}

// Values of such different magnitude that any other order of operations gives another result.
TEST(SamplerArithmetic, RoundsInOneOrder) {
    const double close = 1.0 - std::ldexp(1.0, -30);
    struct Case {
        double x, y;
        std::array<float, 4> alphas, colours;  // of the pixels at 00, 10, 01, 11
        float colour, alpha;
    };
    for (const auto& c : {Case{.5, .5, {1, 1, 1, 1}, {1e20f, -1e20f, 1, 1}, 0.5f, 1},
                          {.5, .5, {1, 1, 1, 1}, {1, 1, 1e20f, -1e20f}, 0, 1},
                          {.5, .5, {1, 1, 1, 1}, {1, 1e20f, -1e20f, 1}, 0.25f, 1},
                          {.5, .5, {1, 1e20f, -1e20f, 1}, {0, 0, 0, 0}, 0, 0.25f},
                          {.5, .5, {1e20f, -1e20f, 1, 1}, {0, 0, 0, 0}, 0, 0.5f},
                          {close, close, {1, 0, 0, 0}, {1, 1, 1, 1}, 0, 0}}) {
        TestBitmap<QzBufferRGBAFloat> bitmap({0, 0, 2, 2});
        for (std::size_t i = 0; i < 4; ++i)
            bitmap.at(i % 2, i / 2).store({c.colours[i], 0, 0, c.alphas[i]});
        QzBufferRGBAFloat::Pixel out;
        get_bilinear_color_trans_T(c.x, c.y, QzBufferRGBAFloat(bitmap.record), {0, 0, 2, 2}, &out,
                                   1);
        EXPECT_EQ(out.load(), (QzComponents<float>{c.colour, 0, 0, c.alpha}));
    }
    // 49 times the reciprocal of 49 is a little less than 1.
    TestBitmap<QzBufferRGBA8> bitmap({0, 0, 2, 1});
    bitmap.at(0, 0).store({1, 0, 0, 49});
    bitmap.at(1, 0).store({2, 0, 0, 49});
    QzBufferRGBA8::Pixel out;
    get_bilinear_color_trans_T(.5, 0., QzBufferRGBA8(bitmap.record), {0, 0, 2, 1}, &out, 1);
    EXPECT_EQ(out.load(), (QzComponents<unsigned char>{1, 0, 0, 49}));
}

template <class... Types>
testing::Types<Types...> asTestTypes(QzTypeList<Types...>);

template <class Buffer>
struct Sampler : testing::Test {};
using AllFormats = decltype(asTestTypes(QzFormats{}));
TYPED_TEST_SUITE(Sampler, AllFormats);

// Pixel (c, r) holds (20c, 10r, 50) at alpha 255; column 6 is transparent red, column 7 half so.
TYPED_TEST(Sampler, GivesTheValuesWorkedOut) {
    using Pixel = typename TypeParam::Pixel;
    using Component = typename Pixel::Component;
    TestBitmap<TypeParam> bitmap({0, 0, 12, 10}, 3);
    for (int r = 0; r < 10; ++r)
        for (int c = 0; c < 12; ++c)
            bitmap.at(c, r).store({Component(c == 6 ? 255 : 20 * c), Component(10 * r), 50,
                                   Component(c == 6   ? 0
                                             : c == 7 ? 128
                                                      : 255)});
    constexpr double nan = std::numeric_limits<double>::quiet_NaN(), big = 4294967296.0;
    struct Case {
        QzRect bounds;
        double x, y;
        QzLong bilinear;
        std::array<double, 4> expected;
    };
    const QzRect all{0, 0, 12, 10}, inner{2, 3, 3, 4}, negative{-5, -2, 5, 4}, low{0, 0, 12, -1};
    for (const auto& [bounds, x, y, bilinear, expected] : std::initializer_list<Case>{
             {all, 3, 4, 1, {60, 40, 50, 255}},           // exactly on a pixel
             {all, 6, 4, 1, {0, 0, 0, 0}},                // on a transparent one
             {all, 6, 4, 0, {255, 40, 50, 0}},            // which nearest copies as it is
             {all, 3.25, 4.5, -7, {65, 45, 50, 255}},     // between opaque pixels
             {all, 0.125, 0.25, 1, {2.5, 2.5, 50, 255}},  // ties go to even: 2
             {all, 0.175, 0, 1, {3.5, 0, 50, 255}},       // and to 4
             {all, 5.25, 1, 1, {100, 10, 50, 191.25}},    // transparent red does not tint
             {all, 6.5, 1, 1, {140, 10, 50, 64}},
             {inner, 4, 6, 1, {80, 60, 50, 255}},  // the last pixel; neighbours weigh nothing
             {inner, 4.25, 6, 1, {80, 60, 50, 191.25}},
             {inner, 1.5, 3, 1, {40, 30, 50, 127.5}},
             {inner, 1.5, 2.5, 1, {40, 30, 50, 63.75}},  // one neighbour of four
             {inner, 4.5, 6.5, 1, {80, 60, 50, 63.75}},
             {inner, 1, 4, 1, {0, 0, 0, 0}},
             {inner, 5, 4, 1, {0, 0, 0, 0}},
             {inner, 3, 7, 1, {0, 0, 0, 0}},
             {inner, 2.5, 3.5, 0, {40, 40, 50, 255}},  // halves to even
             {inner, 3.5, 4.5, 0, {80, 40, 50, 255}},
             {inner, 4.5, 6.5, 0, {80, 60, 50, 255}},
             {inner, 1.5, 3, 0, {40, 30, 50, 255}},
             {inner, 2, 2.5, 0, {0, 0, 0, 0}},
             {inner, 3, 6.51, 0, {0, 0, 0, 0}},
             {negative, 4, 3, 1, {80, 30, 50, 255}},  // a negative origin moves, it does not cut
             {negative, 4.75, 3, 1, {80, 30, 50, 63.75}},
             {negative, -0.25, -0.5, 1, {0, 0, 50, 95.625}},
             {negative, -0.5, -0.5, 0, {0, 0, 50, 255}},
             {negative, 5, 0, 0, {0, 0, 0, 0}},
             {{7, 0, std::numeric_limits<QzLong>::max(), 10}, 11, 0, 0, {220, 0, 50, 255}},
             {low, 3, 0, 1, {0, 0, 0, 0}},
             {low, 3, 0, 0, {0, 0, 0, 0}},
             {all, nan, 2, 1, {0, 0, 0, 0}},
             {all, 2, nan, 0, {0, 0, 0, 0}},
             {all, big, 2, 0, {0, 0, 0, 0}},  // whose low 32 bits would be column 0
             {all, 2, -big, 0, {0, 0, 0, 0}},
             {all, 2, big, 1, {0, 0, 0, 0}},
             {all, -1e308, big * big, 1, {0, 0, 0, 0}}}) {
        Pixel out;
        get_bilinear_color_trans_T(x, y, TypeParam(bitmap.record), bounds, &out, bilinear);
        const auto [r, g, b, a] = out.load();
        const std::array<double, 4> found{double(r), double(g), double(b), double(a)};
        for (std::size_t i = 0; i < 4; ++i) {
            const double stored =
                std::is_same_v<Component, float> ? expected[i] : std::nearbyint(expected[i]);
            EXPECT_FLOAT_EQ(static_cast<float>(found[i]), static_cast<float>(stored))
                << x << ", " << y << ", bilinear " << bilinear << ", component " << i;
        }
    }
}

}  // namespace
