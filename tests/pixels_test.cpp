// Bytes of pixels, rounding, and the sampler against values worked out by hand.

#include <gtest/gtest.h>

#include <bitset>
#include <cmath>
#include <random>

#include "pixels/sampler.h"
#include "tests/TestHost.h"

namespace {

// The components as one text of their bits, of each the low ones.
template <std::size_t Bits, class... Component>
std::string bitsOf(Component... components) {
    return (std::bitset<Bits>(components).to_string() + ...);
}

// Every value of every component, beside ever changing neighbours, and values too large.
template <class Pixel, std::size_t Bits>
void expectPacks() {
    using Component = typename Pixel::Component;
    for (unsigned v = 0; v < 0x10000; ++v) {
        Pixel pixel;
        pixel.bytes.fill(0xFF);
        pixel.store({Component(v), Component(~v), Component(v * 37), Component(v * 101)});
        std::string stored;
        for (const unsigned char byte : pixel.bytes) stored += bitsOf<8>(byte);
        ASSERT_EQ(stored, bitsOf<Bits>(v, ~v, v * 37, v * 101));
        const auto [r, g, b, a] = pixel.load();
        ASSERT_EQ(stored, bitsOf<Bits>(r, g, b, a));
    }
}

TEST(Pixels, PackMostSignificantBitsFirst) {
    expectPacks<QzBufferRGBA8::Pixel, 8>();
    expectPacks<QzBufferRGBA10::Pixel, 10>();
    expectPacks<QzBufferRGBA12::Pixel, 12>();
}

TEST(Rounding, MatchesTheLibraryAndSaturates) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    constexpr QzLong lowest = std::numeric_limits<QzLong>::min(), highest = -(lowest + 1);
    EXPECT_EQ(roundPosition(std::nan("")), lowest);
    EXPECT_EQ(floorPosition(std::nan("")), lowest);
    std::mt19937 random(1);
    std::vector<double> values{inf, -inf, 1e300, -1e300};
    for (int i = 0; i < 100000; ++i) {
        // Halves, and integers some of which are too large.
        const double tie = std::ldexp(static_cast<QzLong>(random()), i % 3 - 1);
        values.insert(values.end(), {tie, std::nextafter(tie, inf), std::nextafter(tie, -inf)});
    }
    for (const double value : values) {
        const double nearest = std::nearbyint(value), below = std::floor(value);
        ASSERT_EQ(roundPosition(value), std::clamp<double>(nearest, lowest, highest)) << value;
        ASSERT_EQ(floorPosition(value), std::clamp<double>(below, lowest, highest)) << value;
    }
}

template <class Buffer>
auto sampled(double x, double y, TestBitmap<Buffer>& bitmap, const QzRect& bounds,
             QzLong bilinear) {
    typename Buffer::Pixel out;
    get_bilinear_color_trans_T(x, y, Buffer(bitmap.record), bounds, &out, bilinear);
    return out.load();
}

// Values of such different magnitude that any other order of operations gives another result.
TEST(SamplerArithmetic, RoundsInOneOrder) {
    const double close = 1.0 - 0x1p-30;
    const struct {
        double x, y;
        std::array<float, 4> alphas, colours;  // of the pixels at 00, 10, 01, 11
        float colour, alpha;
    } cases[] = {
        {.5, .5, {1, 1, 1, 1}, {1e20f, -1e20f, 1, 1}, 0.5f, 1},
        {.5, .5, {1, 1, 1, 1}, {1, 1, 1e20f, -1e20f}, 0, 1},
        {.5, .5, {1, 1, 1, 1}, {1, 1e20f, -1e20f, 1}, 0.25f, 1},
        {.5, .5, {1, 1e20f, -1e20f, 1}, {0, 0, 0, 0}, 0, 0.25f},
        {.5, .5, {1e20f, -1e20f, 1, 1}, {0, 0, 0, 0}, 0, 0.5f},
        {.5, .0, {5, 1, 0, 0}, {0x1p60f, -5 * 0x1p60f, 0, 0}, 0, 3},  // by the reciprocal of 3
        {close, close, {1, 0, 0, 0}, {1, 1, 1, 1}, 0, 0},
    };
    for (const auto& [x, y, alphas, colours, colour, alpha] : cases) {
        const QzRect all{0, 0, 2, 2};
        TestBitmap<QzBufferRGBAFloat> bitmap(all);
        for (std::size_t i = 0; i < 4; ++i) bitmap.at(i, 0).store({colours[i], 0, 0, alphas[i]});
        EXPECT_EQ(sampled(x, y, bitmap, all, 1), (QzComponents<float>{colour, 0, 0, alpha}));
    }
}

// Pixel (c, r) holds (20c, 10r, 50) at alpha 255; column 6 is transparent red, column 7 half so.
template <class Buffer>
void expectValuesWorkedOut() {
    using Component = typename Buffer::Pixel::Component;
    TestBitmap<Buffer> bitmap({0, 0, 12, 10}, 3);
    for (int i = 0; i < 120; ++i) {
        const int c = i % 12, r = i / 12, red = c == 6 ? 255 : 20 * c;
        const int alpha = c == 6 ? 0 : c == 7 ? 128 : 255;
        bitmap.at(c, r).store({Component(red), Component(10 * r), 50, Component(alpha)});
    }
    const auto stored = [](double value) {
        return Component(std::is_same_v<Component, float> ? value : std::nearbyint(value));
    };
    constexpr double nan = std::numeric_limits<double>::quiet_NaN(), big = 4294967296.0;
    const QzRect all{0, 0, 12, 10}, inner{2, 3, 3, 4}, negative{-5, -2, 5, 4}, low{0, 0, 12, -1};
    const struct {
        QzRect bounds;
        double x, y;
        QzLong bilinear;
        double r, g, b, a;
    } cases[] = {
        {all, 3, 4, 1, 60, 40, 50, 255},           // exactly on a pixel
        {all, 6, 4, 1, 0, 0, 0, 0},                // on a transparent one
        {all, 6, 4, 0, 255, 40, 50, 0},            // which nearest copies as it is
        {all, 3.25, 4.5, -7, 65, 45, 50, 255},     // between opaque pixels
        {all, 0.125, 0.25, 1, 2.5, 2.5, 50, 255},  // ties go to even: 2
        {all, 5.25, 1, 1, 100, 10, 50, 191.25},    // transparent red does not tint
        {all, 6.5, 1, 1, 140, 10, 50, 64},
        {inner, 4, 6, 1, 80, 60, 50, 255},        // the last pixel; neighbours weigh nothing
        {inner, 1.5, 2.5, 1, 40, 30, 50, 63.75},  // one neighbour of four
        {inner, 4.25, 6.5, 1, 80, 60, 50, 95.625},
        {inner, 1, 4, 1, 0, 0, 0, 0},
        {inner, 5, 4, 1, 0, 0, 0, 0},
        {inner, 2.5, 3.5, 0, 40, 40, 50, 255},      // halves to even
        {negative, 4.75, 3, 1, 80, 30, 50, 63.75},  // a negative origin moves, it does not cut
        {negative, -0.25, -0.5, 1, 0, 0, 50, 95.625},
        {negative, -0.5, -0.5, 0, 0, 0, 50, 255},
        {negative, 5, 0, 0, 0, 0, 0, 0},
        {{7, 0, 0x7FFFFFFF, 10}, 11, 0, 0, 220, 0, 50, 255},
        {low, 3, 0, 1, 0, 0, 0, 0},
        {all, nan, 2, 1, 0, 0, 0, 0},
        {all, 2, nan, 0, 0, 0, 0, 0},
        {all, big, 2, 0, 0, 0, 0, 0},  // whose low 32 bits would be column 0
        {all, -1e308, big * big, 1, 0, 0, 0, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(sampled(c.x, c.y, bitmap, c.bounds, c.bilinear),
                  (QzComponents<Component>{stored(c.r), stored(c.g), stored(c.b), stored(c.a)}))
            << Buffer::name << c.x << ", " << c.y << ", bilinear " << c.bilinear;
}

TEST(Sampler, GivesTheValuesWorkedOut) {
    forEachFormat([]<class Buffer>() { expectValuesWorkedOut<Buffer>(); });
}

}  // namespace
