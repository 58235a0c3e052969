// Renders that must come out the same on every target and in every version.

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <type_traits>

#include "tests/TestHost.h"

namespace {

// The components of a bitmap as numbers, so that byte order does not matter.
template <class Buffer>
std::uint32_t hashOf(TestBitmap<Buffer>& bitmap, const QzRect& place) {
    std::uint64_t hash = 14695981039346656037u;
    const auto add = [&](auto component) {
        if constexpr (std::is_same_v<decltype(component), float>)
            hash = (hash ^ std::bit_cast<std::uint32_t>(component)) * 1099511628211u;
        else
            hash = (hash ^ component) * 1099511628211u;
    };
    for (QzLong row = 0; row < place.height; ++row)
        for (QzLong column = 0; column < place.width; ++column) {
            const auto [r, g, b, a] = bitmap.at(place.x + column, place.y + row).load();
            add(r), add(g), add(b), add(a);
        }
    return static_cast<std::uint32_t>(hash ^ hash >> 32);
}

// Smooth colours, alpha from nothing to full. The sizes are odd and prime, so that no position lies
// on a tie, where the last bit of a library function would decide.
template <class Buffer>
std::uint32_t hashOfRender(QzLong filterIndex, QzLong sampling) {
    using Component = typename Buffer::Pixel::Component;
    constexpr bool isFloat = std::is_same_v<Component, float>;
    constexpr unsigned max = isFloat ? 255 : Buffer::Pixel::maxValue;
    const auto component = [](QzLong part) {  // of 60
        const auto value = static_cast<unsigned>(part % 61) * max / 60;
        if constexpr (isFloat)
            return static_cast<float>(value) / 256.0f;
        else
            return static_cast<Component>(value);
    };
    const QzRect source{3, 2, 37, 23}, region{1, 0, 43, 29};
    TestBitmap<Buffer> input(source, 2), output(region, 1);
    for (QzLong row = 2; row < 25; ++row)
        for (QzLong column = 3; column < 40; ++column)
            input.at(column, row)
                .store({component(column + row), component(2 * column), component(60 - column),
                        component(7 * (column + row))});
    TestInstance(filterIndex).render(input.record, output.record, source, region, sampling);
    return hashOf(output, region);
}

TEST(Golden, RendersAreWhatTheyWere) {
    const char* const names[] = {"unwrap bilinear", "unwrap nearest", "wrap bilinear",
                                 "wrap nearest"};
    const struct {
        const char* format;
        std::array<std::uint32_t, 4> hashes;  // in the order of the names
    } table[] = {
        {"RGBA8", {0x7C6DB867, 0xA02E9324, 0x5459B5C0, 0x48FFB3B7}},
        {"RGBA10", {0xA129AE6E, 0x1D44C9B0, 0xEEF6D180, 0xDEC4E060}},
        {"RGBA12", {0x4E2E2104, 0x7F389E48, 0x21746ECE, 0x068F5E8B}},
        {"RGBA16", {0x6F65AE39, 0xD6EB93D4, 0x59CD0201, 0x459491B8}},
        {"float", {0xBFC21816, 0x7BE7BD79, 0xF5BD824C, 0xC38DBB6E}},
    };
    for (unsigned code = 1; code <= 5; ++code)
        visitFormat(code, [&]<class Buffer>() {
            const auto& [format, hashes] = table[code - 1];
            for (unsigned i = 0; i < 4; ++i)
                EXPECT_EQ(hashOfRender<Buffer>(i / 2, i % 2), hashes[i])
                    << format << ' ' << names[i];
        });
}

}  // namespace
