// The ways to compute pixels: each against the plain one, bit for bit.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "engine/Polar.h"
#include "engine/renderPath.h"
#include "pixels/QzBuffer.h"
#include "tests/TestHost.h"

namespace {

std::vector<RenderPath> batchedPaths() {
    std::vector<RenderPath> paths;
    for (const RenderPath path : {RenderPath::avx2, RenderPath::avx512})
        if (path <= bestRenderPath()) paths.push_back(path);
    return paths;
}

// Draws records and pictures that are hard on positions and colours.
struct Scene {
    std::mt19937& random;
    QzRect source{}, region{};
    QzULong mode;
    QzLong sampling, padding;
    int colours;
    bool inPlace;

    explicit Scene(std::mt19937& from)
        : random(from),
          mode(upTo(2)),
          sampling(static_cast<QzLong>(upTo(2))),
          padding(static_cast<QzLong>(upTo(4))),
          colours(static_cast<int>(upTo(5))),
          inPlace(upTo(16) == 0) {
        // Even and odd squares put positions on ties, axes and diagonals.
        source = {0, 0, 1 + side(), 1 + side()};
        if (upTo(2) == 0) source.height = source.width -= colours == 3 ? (source.width - 1) % 4 : 0;
        const QzLong far = std::numeric_limits<QzLong>::max() - 2000;
        const QzLong origins[] = {0, 0, 7, -9, far};
        source.x = origins[upTo(5)];
        source.y = origins[upTo(5)];
        region = source;
        if (upTo(2) == 0)
            region = {source.x + side() - 60, source.y + side() - 60, 1 + side(), 1 + side()};
    }

    unsigned upTo(unsigned end) { return static_cast<unsigned>(random() % end); }
    QzLong side() { return static_cast<QzLong>(upTo(upTo(8) == 0 ? 700 : 130)); }

    template <class Component>
    Component component(double largest) {
        if constexpr (std::is_same_v<Component, float>)
            if (colours == 4 && upTo(20) == 0) {
                // Of NaNs that meet, the compiler says which one goes on; so all of them are the
                // one that the processor makes.
                constexpr float special[] = {-0.0f, -1.5f, 1e38f, 1e-45f, INFINITY, -NAN};
                return special[upTo(6)];
            }
        const double part = colours == 0 ? upTo(2) : colours == 1 ? 0 : upTo(65536) / 65535.0;
        return static_cast<Component>(part * largest);
    }

    // Alpha is full in seven of eight pixels, full on one side of a column that a diagonal ends on,
    // or anything.
    template <class Buffer>
    void fill(const GuardedMemory& memory) {
        using Pixel = typename Buffer::Pixel;
        using Component = typename Pixel::Component;
        const double largest = std::is_same_v<Component, float> ? 1.0 : Pixel::maxValue;
        const std::int64_t edge = (source.width - 1) / 8 * (1 + 2 * upTo(4)) + upTo(2);
        const bool isLeft = upTo(2) == 0;
        std::int64_t pixel = 0;
        for (auto* at = memory.begin(); at < memory.end(); at += sizeof(Pixel), ++pixel) {
            double alpha = component<Component>(largest);
            if (colours < 3) alpha = upTo(8) ? largest : 0.0;
            if (colours == 1) alpha = std::is_same_v<Component, float> ? upTo(3) - 1.0 : alpha;
            if (colours == 2) alpha = upTo(2) ? largest : 1.0;
            if (colours == 3)
                alpha = (pixel % (source.width + padding) < edge) == isLeft ? largest : 0.0;
            reinterpret_cast<Pixel*>(at)->store(
                {component<Component>(largest), component<Component>(largest),
                 component<Component>(largest), static_cast<Component>(alpha)});
        }
    }

    // Rows that run upwards, or overlap, in the same memory.
    template <class Buffer>
    static void setPitch(TestBitmap<Buffer>& bitmap, const QzRect& place, QzLong pitch) {
        const std::int64_t first = pitch < 0 ? std::int64_t{1 - place.height} * pitch : 0;
        const auto before =
            static_cast<std::uintptr_t>(std::int64_t{place.y} * pitch + place.x - first);
        bitmap.record.rowLength = pitch;
        bitmap.record.pixels =
            reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(bitmap.memory.begin()) -
                                    before * sizeof(typename Buffer::Pixel));
    }

    // Returns how many pixels were compared.
    template <class Buffer>
    std::int64_t compare() {
        using Engine = Polar<Buffer, typename Buffer::Pixel>;
        const QzRect image{std::max<QzLong>(source.x, 0), std::max<QzLong>(source.y, 0),
                           source.width, source.height};
        if (inPlace) region = image;
        const bool atEnd = upTo(2) == 0;
        TestBitmap<Buffer> input(image, padding, atEnd), expected(region, padding, atEnd),
            output(region, padding, atEnd);
        fill<Buffer>(input.memory);
        if (upTo(3) == 0) setPitch(input, image, -input.record.rowLength);
        const QzLong pitch = output.record.rowLength;
        const QzLong pitches[] = {pitch, pitch, -pitch, pitch / 2 + 1};
        const QzLong drawn = pitches[upTo(4)];
        for (TestBitmap<Buffer>* const bitmap : {&output, &expected})
            setPitch(*bitmap, region, drawn);
        VexFilterInstance record{};
        record.SourceRect = source;
        record.OutputRegion = region;
        record.SamplingWord = sampling;
        const auto render = [&](RenderPath path, TestBitmap<Buffer>& to) {
            if (inPlace) std::copy(input.memory.begin(), input.memory.end(), to.memory.begin());
            record.InputBitmap = inPlace ? &to.record : &input.record;
            record.OutputBitmap = &to.record;
            ASSERT_EQ(Engine::render(path, mode, record), statusDone);
        };
        render(RenderPath::plain, expected);
        for (const RenderPath path : batchedPaths()) {
            render(path, output);
            EXPECT_EQ(output, expected)
                << "path " << int(path) << " format " << Buffer::bitmapType << " mode " << mode
                << " sampling " << sampling << " colours " << colours << " source " << source.x
                << "," << source.y << "," << source.width << "," << source.height << " region "
                << region.x << "," << region.y << "," << region.width << "," << region.height;
        }
        return std::int64_t{region.width} * region.height;
    }
};

void comparePaths(unsigned seed, std::int64_t pixels) {
    if (batchedPaths().empty()) GTEST_SKIP() << "this processor has the plain path alone";
    std::mt19937 random(seed);
    while (pixels > 0 && !testing::Test::HasFailure()) {
        Scene scene(random);
        visitFormat(1 + scene.upTo(5), [&]<class Buffer>() { pixels -= scene.compare<Buffer>(); });
    }
}

TEST(Paths, GiveTheSameBits) { comparePaths(1, 4'000'000); }
TEST(Paths, DISABLED_GiveTheSameBitsForLong) { comparePaths(2, 100'000'000); }

// On the diagonal an eighth of a turn ends halfway between two columns (61) or on one (65), or
// beside: only the last bits of the angle tell. Nothing else near there is that close.
TEST(Paths, LeaveTiesToTheLibrarysArctangent) {
    for (const RenderPath path : batchedPaths())
        for (const auto& [size, sampling] : {std::pair(61, 1), std::pair(65, 0)}) {
            const QzRect all{0, 0, size, size}, diagonal{20, 20, 8, 8};
            TestBitmap<QzBufferRGBA8> input(all), output(diagonal);
            VexFilterInstance record{};
            record.InputBitmap = &input.record;
            record.OutputBitmap = &output.record;
            record.SourceRect = all;
            record.OutputRegion = diagonal;
            record.SamplingWord = sampling;
            std::int64_t redone = 0;
            Polar<QzBufferRGBA8, QzBufferRGBA8::Pixel>::render(path, 1, record, &redone);
            EXPECT_EQ(redone, diagonal.width) << size;
        }
}

TEST(Paths, KnowHowFarTheirArctangentIsOff) {
    if (batchedPaths().empty()) GTEST_SKIP() << "this processor has the plain path alone";
    std::mt19937_64 random(5);
    const auto anywhere = [&] { return static_cast<double>(random()) / 0x1p64 - 0.5; };
    constexpr int count = 8;
    for (int trial = 0; trial < 40'000; ++trial) {
        double y[count], x[count], angles[count];
        for (int i = 0; i < count; ++i) {
            y[i] = std::ldexp(anywhere(), -static_cast<int>(random() % 4) * trial / 2'000);
            x[i] = i == 0 ? y[i] * (trial % 2 ? 0.41421356 : -1.0) : anywhere();
            if (random() % 2) std::swap(x[i], y[i]);
        }
        for (int i = 0; i < count; ++i) {
            const long double exact = std::atan2(static_cast<long double>(y[i]), x[i]);
            ASSERT_LE(std::abs(std::atan2(y[i], x[i]) - exact), libraryError * 0x1p-51L);
        }
        for (const RenderPath path : batchedPaths()) {
            approximateArctangents(path, y, x, angles);
            for (int i = 0; i < count; ++i) {
                const long double exact = std::atan2(static_cast<long double>(y[i]), x[i]);
                ASSERT_LE(std::abs(angles[i] - exact), batchError) << y[i] << ", " << x[i];
            }
        }
    }
}

}  // namespace
