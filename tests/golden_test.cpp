// Renders that must come out the same on every target and in every version.

#include <gtest/gtest.h>

#include <bit>

#include "tests/TestHost.h"

namespace {

// Smooth colours, alpha from nothing to full. The sizes are odd and prime, so that no position lies
// on a tie, where the last bit of a library function would decide.
template <class Buffer>
std::uint32_t hashOfRender(QzLong filterIndex, QzLong sampling) {
    using Component = typename Buffer::Pixel::Component;
    constexpr bool isFloat = std::is_same_v<Component, float>;
    const auto component = [](QzLong part) {  // of 60
        const unsigned max = isFloat ? 255 : Buffer::Pixel::maxValue;
        const unsigned value = static_cast<unsigned>(part % 61) * max / 60;
        return static_cast<Component>(isFloat ? value / 256.0 : value);
    };
    const QzRect source{3, 2, 37, 23}, region{1, 0, 43, 29};
    TestBitmap<Buffer> input(source, 2), output(region, 1);
    for (QzLong i = 0; i < 37 * 23; ++i) {
        const QzLong column = 3 + i % 37, row = 2 + i / 37, sum = column + row;
        input.at(column, row)
            .store({component(sum), component(2 * column), component(60 - column),
                    component(7 * sum)});
    }
    TestInstance instance(filterIndex);
    instance.describe(input.record, output.record, source, region, sampling);
    instance.prepare();
    EXPECT_EQ(instance.execute(11), 1);
    std::uint64_t hash = 14695981039346656037u;
    for (QzLong i = 0; i < 43 * 29; ++i) {
        const auto [r, g, b, a] = output.at(1 + i % 43, i / 43).load();
        using Bits = std::conditional_t<isFloat, std::uint32_t, Component>;
        // As numbers, so that byte order does not matter.
        for (const Component c : {r, g, b, a})
            hash = (hash ^ std::bit_cast<Bits>(c)) * 1099511628211u;
    }
    return static_cast<std::uint32_t>(hash ^ hash >> 32);
}

TEST(Golden, RendersAreWhatTheyWere) {
    // Unwrapped bilinearly and nearest, wrapped bilinearly and nearest.
    const std::uint32_t hashes[][4] = {
        {0x7C6DB867, 0xA02E9324, 0x5459B5C0, 0x48FFB3B7},  // RGBA8
        {0xA129AE6E, 0x1D44C9B0, 0xEEF6D180, 0xDEC4E060},  // RGBA10
        {0x4E2E2104, 0x7F389E48, 0x21746ECE, 0x068F5E8B},  // RGBA12
        {0x6F65AE39, 0xD6EB93D4, 0x59CD0201, 0x459491B8},  // RGBA16
        {0xBFC21816, 0x7BE7BD79, 0xF5BD824C, 0xC38DBB6E},  // float
    };
    forEachFormat([&]<class Buffer>() {
        for (unsigned i = 0; i < 4; ++i)
            EXPECT_EQ(hashOfRender<Buffer>(i / 2, i % 2), hashes[Buffer::bitmapType - 1][i])
                << Buffer::name << ", render " << i;
    });
}

}  // namespace
