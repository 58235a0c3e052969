#include "library/clients.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

#include "library/polar.h"
#include "pixels/QzBuffer.h"
#include "pixels/rounding.h"

namespace polar {

namespace {

// What stands for 1.0 in a component.
template <class Pixel>
constexpr double unit = std::is_integral_v<typename Pixel::Component> ? Pixel::maxValue : 1.0;

template <class Pixel>
typename Pixel::Component quantize(double value) {
    if constexpr (std::is_integral_v<typename Pixel::Component>) {
        if (!(value > 0)) return 0;  // what is not a number, too
        return static_cast<typename Pixel::Component>(
            roundToLong(std::min(value * unit<Pixel>, unit<Pixel>)));
    } else {
        return static_cast<typename Pixel::Component>(value);
    }
}

// A pixel without alpha: grey, or red, green and blue.
template <class WorkingPixel, std::size_t channels>
struct OpaquePixel {
    using Component = typename WorkingPixel::Component;
    using Components = typename WorkingPixel::Components;
    static constexpr std::uint32_t maxValue = WorkingPixel::maxValue;

    std::array<unsigned char, channels * sizeof(Component)> bytes;

    Components load() const { return {at(0), at(channels / 2), at(channels - 1), Component{}}; }
    void store(const Components& components) {
        // One by one: memory that is written in parts is slow to be read as a whole.
        const Component values[] = {components.r, components.g, components.b};
        for (std::size_t i = 0; i < channels; ++i)
            std::memcpy(bytes.data() + i * sizeof(Component), values + i, sizeof(Component));
    }

  private:
    Component at(std::size_t index) const {
        Component value;
        std::memcpy(&value, bytes.data() + index * sizeof value, sizeof value);
        return value;
    }
};

template <class Pixel, class Working>
void loadOpaque(const void* from, std::size_t count, void* to) {
    const auto* in = static_cast<const Pixel*>(from);
    auto* out = static_cast<Working*>(to);
    for (std::size_t i = 0; i < count; ++i) {
        auto components = in[i].load();
        components.a = static_cast<typename Working::Component>(unit<Working>);
        out[i].store(components);
    }
}

template <class Pixel, class Working>
void storeOpaque(const void* from, std::size_t count, const float* background, void* to) {
    const auto* in = static_cast<const Working*>(from);
    auto* out = static_cast<Pixel*>(to);
    constexpr auto full = static_cast<typename Working::Component>(unit<Working>);
    for (std::size_t i = 0; i < count; ++i) {
        auto components = in[i].load();
        if (components.a != full) {
            const double alpha = components.a / unit<Working>;
            const auto over = [&](auto component, float behind) {
                return quantize<Working>(component / unit<Working> * alpha +
                                         behind * (1.0 - alpha));
            };
            components = {over(components.r, background[0]), over(components.g, background[1]),
                          over(components.b, background[2]), full};
        }
        out[i].store(components);
    }
}

template <class Pixel>
void storeSame(const void* from, std::size_t count, const float*, void* to) {
    std::memcpy(to, from, count * sizeof(Pixel));
}

using FloatPixel = QzBufferRGBAFloat::Pixel;

template <class Pixel>
void loadPremultiplied(const void* from, std::size_t count, void* to) {
    const auto* in = static_cast<const Pixel*>(from);
    auto* out = static_cast<FloatPixel*>(to);
    for (std::size_t i = 0; i < count; ++i) {
        const auto components = in[i].load();
        const double alpha = components.a / unit<Pixel>;
        const auto straight = [=](auto component) {
            return alpha == 0 ? 0.0F : static_cast<float>(component / unit<Pixel> / alpha);
        };
        out[i].store({straight(components.r), straight(components.g), straight(components.b),
                      static_cast<float>(alpha)});
    }
}

template <class Pixel>
void storePremultiplied(const void* from, std::size_t count, const float*, void* to) {
    const auto* in = static_cast<const FloatPixel*>(from);
    auto* out = static_cast<Pixel*>(to);
    for (std::size_t i = 0; i < count; ++i) {
        const auto components = in[i].load();
        const double alpha = components.a;
        out[i].store({quantize<Pixel>(components.r * alpha), quantize<Pixel>(components.g * alpha),
                      quantize<Pixel>(components.b * alpha), quantize<Pixel>(alpha)});
    }
}

template <class Pixel, class Buffer>
constexpr Conversion opaqueIn() {
    using Working = typename Buffer::Pixel;
    return {Buffer::bitmapType, sizeof(Working), loadOpaque<Pixel, Working>,
            storeOpaque<Pixel, Working>};
}

template <class Buffer>
constexpr Client withAlpha() {
    using Pixel = typename Buffer::Pixel;
    return {Buffer::bitmapType,
            Buffer::bitmapType,
            sizeof(Pixel),
            opaqueIn<Pixel, Buffer>(),
            {QzBitmapTypeRGBAFloat, sizeof(FloatPixel), loadPremultiplied<Pixel>,
             storePremultiplied<Pixel>},
            {Buffer::bitmapType, sizeof(Pixel), loadOpaque<Pixel, Pixel>, storeSame<Pixel>}};
}

template <class Buffer, std::size_t channels>
constexpr Client withoutAlpha(int code) {
    using Pixel = OpaquePixel<typename Buffer::Pixel, channels>;
    return {code, 0, sizeof(Pixel), opaqueIn<Pixel, Buffer>(), {}, {}};
}

constexpr Client withoutAlphas[] = {
    withoutAlpha<QzBufferRGBA8, 1>(POLAR_GREY8),
    withoutAlpha<QzBufferRGBA16, 1>(POLAR_GREY16),
    withoutAlpha<QzBufferRGBAFloat, 1>(POLAR_GREY_FLOAT),
    withoutAlpha<QzBufferRGBA8, 3>(POLAR_RGB8),
    withoutAlpha<QzBufferRGBA16, 3>(POLAR_RGB16),
    withoutAlpha<QzBufferRGBAFloat, 3>(POLAR_RGB_FLOAT),
};

template <class... Buffers>
constexpr auto tableOf(QzTypeList<Buffers...>) {
    return std::array{withAlpha<Buffers>()...};
}
constexpr auto withAlphas = tableOf(QzFormats{});

constexpr int codesWithAlpha[] = {POLAR_RGBA8, POLAR_RGBA10, POLAR_RGBA12, POLAR_RGBA16,
                                  POLAR_RGBA_FLOAT};
static_assert(std::equal(withAlphas.begin(), withAlphas.end(), std::begin(codesWithAlpha),
                         std::end(codesWithAlpha),
                         [](const Client& client, int code) { return client.code == code; }),
              "formats with alpha have the codes of bitmaps");

}  // namespace

const Client* findClient(int code) {
    const auto hasCode = [=](const Client& client) { return client.code == code; };
    const auto* const with = std::find_if(withAlphas.begin(), withAlphas.end(), hasCode);
    if (with != withAlphas.end()) return with;
    const auto* const without =
        std::find_if(std::begin(withoutAlphas), std::end(withoutAlphas), hasCode);
    return without != std::end(withoutAlphas) ? without : nullptr;
}

}  // namespace polar
