// Pixels without alpha: grey, or red, green and blue. They are sampled as opaque pixels with alpha;
// what these do not cover shows a background.
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <cstring>

#include "pixels/QzBuffer.h"
#include "pixels/rounding.h"

namespace polar {

// What stands for 1.0 in a component.
template <class Pixel>
constexpr double one = std::integral<typename Pixel::Component> ? Pixel::maxValue : 1.0;

// The component that is nearest to a value, 1.0 being the largest integer.
template <class Pixel>
typename Pixel::Component quantize(double value) {
    if constexpr (std::integral<typename Pixel::Component>) {
        if (!(value > 0)) return 0;  // what is not a number, too
        return static_cast<typename Pixel::Component>(
            roundToLong(std::min(value * one<Pixel>, one<Pixel>)));
    } else {
        return static_cast<typename Pixel::Component>(value);
    }
}

// Red, green and blue, 1.0 being the largest integer. Of grey pixels red counts.
using Background = std::array<float, 3>;

// Components, and behind what they do not cover the background.
template <class Pixel>
typename Pixel::Components over(typename Pixel::Components components,
                                const Background& background) {
    constexpr auto full = static_cast<typename Pixel::Component>(one<Pixel>);
    if (components.a == full) return components;
    const double alpha = components.a / one<Pixel>;
    const auto mixed = [&](auto component, float behind) {
        return quantize<Pixel>(component / one<Pixel> * alpha + behind * (1.0 - alpha));
    };
    return {mixed(components.r, background[0]), mixed(components.g, background[1]),
            mixed(components.b, background[2]), full};
}

// One pixel as it lies in memory, with the components of `SampledPixel` but its alpha.
template <class SampledPixel, std::uint32_t Channels>
struct OpaquePixel {
    using Sampled = SampledPixel;
    using Component = typename Sampled::Component;
    static constexpr std::uint32_t channels = Channels;
    static constexpr std::uint32_t maxValue = Sampled::maxValue;
    static constexpr std::uint32_t componentBits = Sampled::componentBits;
    static constexpr std::uint32_t pixelBytes = channels * sizeof(Component);
    static constexpr bool packed = false;

    std::array<unsigned char, pixelBytes> bytes;

    operator Sampled() const {
        Sampled pixel;
        pixel.store(
            {at(0), at(channels / 2), at(channels - 1), static_cast<Component>(one<Sampled>)});
        return pixel;
    }

    // Writes the whole pixel.
    void store(const Sampled& pixel, const Background& background) {
        const auto components = over<Sampled>(pixel.load(), background);
        // One by one: memory that is written in parts is slow to be read as a whole.
        const Component values[] = {components.r, components.g, components.b};
        for (std::uint32_t i = 0; i < channels; ++i)
            std::memcpy(bytes.data() + i * sizeof(Component), values + i, sizeof(Component));
    }

  private:
    Component at(std::uint32_t index) const {
        Component value;
        std::memcpy(&value, bytes.data() + index * sizeof value, sizeof value);
        return value;
    }
};

template <class Pixel>
concept Opaque = requires {
    typename Pixel::Sampled;
};

template <unsigned code, class Buffer, std::uint32_t channels>
using OpaqueBuffer =
    QzBuffer<static_cast<QzBitmapType>(code), OpaquePixel<typename Buffer::Pixel, channels>>;

// Formats without alpha, which the module's host does not have; their codes follow those of its
// bitmaps, with a gap.
using OpaqueFormats =
    QzTypeList<OpaqueBuffer<16, QzBufferRGBA8, 1>, OpaqueBuffer<17, QzBufferRGBA16, 1>,
               OpaqueBuffer<18, QzBufferRGBAFloat, 1>, OpaqueBuffer<19, QzBufferRGBA8, 3>,
               OpaqueBuffer<20, QzBufferRGBA16, 3>, OpaqueBuffer<21, QzBufferRGBAFloat, 3>>;

// As visitFormat, of all formats that the core samples.
template <class Visitor>
constexpr bool visitSampled(unsigned code, Visitor&& visit) {
    return visitFormat(code, visit) || visitFormat(code, visit, OpaqueFormats{});
}

}  // namespace polar
