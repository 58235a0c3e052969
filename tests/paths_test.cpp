// The ways to compute pixels: each against the sampler at each position, bit for bit.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "engine/VexFilterEngine.h"
#include "engine/renderRecord.h"
#include "pixels/QzBuffer.h"
#include "tests/Scene.h"

namespace {

// By how much the library's arctangent is off, in parts of what it is allowed beyond its rounding.
thread_local double arctangentShift = 0;

}  // namespace

// Takes the library's place in this program.
extern "C" double atan2(double y, double x) noexcept {
    static const auto library =
        reinterpret_cast<double (*)(double, double)>(dlsym(RTLD_NEXT, "atan2"));
    if (arctangentShift == 0) return library(y, x);
    const long double exact = std::atan2(static_cast<long double>(y), x);
    const double rounding = std::ldexp(0.5, std::ilogb(static_cast<double>(exact)) - 52);
    const double allowed = polar::libraryError * 0x1p-51 - rounding;
    return static_cast<double>(exact + arctangentShift * allowed);
}

namespace {

using polar::InstructionSet;
using polar::Mapping;

// Those that this processor has, from the `first` on.
std::vector<const InstructionSet*> supportedFrom(std::size_t first) {
    std::vector<const InstructionSet*> supported;
    for (const InstructionSet* const set : polar::instructionSets().subspan(first))
        if (set->isSupported()) supported.push_back(set);
    return supported;
}
const std::vector<const InstructionSet*> batched = supportedFrom(1);

template <class Buffer>
std::int64_t comparePaths(unsigned seed) {
    const auto bytes = randomBytes(seed, 80);
    Draw draw(bytes);
    Scene<Buffer> scene(draw, 130);
    VexFilterInstance record;
    scene.describe(record);
    for (const InstructionSet* const set : supportedFrom(0)) {
        scene.reset();
        const auto status = renderRecord(record, Buffer::bitmapType, Buffer::Pixel::pixelBytes,
                                         scene.mode == 0 ? Mapping::unwrap : Mapping::wrap, *set);
        if (set->render == nullptr && status == statusDone) scene.sample();
        EXPECT_EQ(scene.output, scene.expected)
            << set->name << " format " << Buffer::bitmapType << " seed " << seed;
    }
    return std::max<std::int64_t>(scene.region.width, 0) * std::max<QzLong>(scene.region.height, 0);
}

void comparePaths(unsigned seed, std::int64_t pixels) {
    if (batched.empty()) GTEST_SKIP() << "this processor has the plain path alone";
    for (; pixels > 0 && !testing::Test::HasFailure(); ++seed)
        visitFormat(1 + seed % QzFormats::count,
                    [&]<class Buffer>() { pixels -= comparePaths<Buffer>(seed); });
}

TEST(Paths, GiveTheSameBits) { comparePaths(1, 10'000'000); }
TEST(Paths, DISABLED_GiveTheSameBitsForLong) {
    for (const double shift : {0.0, 0.99, -0.99}) {
        arctangentShift = shift;
        comparePaths(2, 100'000'000);
    }
    arctangentShift = 0;
}

// Whatever the library's last bits are, pixels that they decide are left to it.
TEST(Paths, BearAnyArctangentThatIsAllowed) {
    for (const double shift : {0.99, -0.99}) {
        arctangentShift = shift;
        comparePaths(3, 1'000'000);
    }
    arctangentShift = 0;
}

// On the diagonal an eighth of a turn ends halfway between two columns (61) or on one (65), or
// beside: only the last bits of the angle tell. Nothing else near there is that close.
TEST(Paths, LeaveTiesToTheLibrarysArctangent) {
    for (const InstructionSet* const set : batched)
        for (const auto& [size, sampling] : {std::pair(61, 1), std::pair(65, 0)}) {
            const QzRect all{0, 0, size, size}, diagonal{20, 20, 8, 8};
            TestBitmap<QzBufferRGBA8> input(all), output(diagonal);
            VexFilterInstance record;
            describe(record, input.record, output.record, all, diagonal, sampling);
            std::int64_t redone = 0;
            renderRecord(record, QzBitmapTypeRGBA8, 4, Mapping::wrap, *set, &redone);
            EXPECT_EQ(redone, diagonal.width) << size;
        }
}

TEST(Paths, KnowHowFarTheirArctangentIsOff) {
    if (batched.empty()) GTEST_SKIP() << "this processor has the plain path alone";
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
        for (const InstructionSet* const set : batched) {
            set->arctangents(y, x, angles);
            for (int i = 0; i < count; ++i) {
                const long double exact = std::atan2(static_cast<long double>(y[i]), x[i]);
                ASSERT_LE(std::abs(angles[i] - exact), polar::batchError) << y[i] << ", " << x[i];
                ASSERT_LE(std::abs(std::atan2(y[i], x[i]) - exact), polar::libraryError * 0x1p-51L);
            }
        }
    }
}

}  // namespace
