#include "library/clients.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

#include "library/polar.h"

namespace polar {

namespace {

template <class Pixel, class Sampled>
void loadOpaque(const void* from, std::size_t count, void* to) {
    const auto* in = static_cast<const Pixel*>(from);
    auto* out = static_cast<Sampled*>(to);
    for (std::size_t i = 0; i < count; ++i) {
        auto components = static_cast<Sampled>(in[i]).load();
        components.a = static_cast<typename Sampled::Component>(one<Sampled>);
        out[i].store(components);
    }
}

template <class Pixel, class Sampled>
void storeOpaque(const void* from, std::size_t count, const Background& background, void* to) {
    const auto* in = static_cast<const Sampled*>(from);
    auto* out = static_cast<Pixel*>(to);
    for (std::size_t i = 0; i < count; ++i) {
        if constexpr (Opaque<Pixel>)
            out[i].store(in[i], background);
        else
            out[i].store(over<Pixel>(in[i].load(), background));
    }
}

template <class Pixel>
void storeSame(const void* from, std::size_t count, const Background&, void* to) {
    std::memcpy(to, from, count * sizeof(Pixel));
}

using FloatPixel = QzBufferRGBAFloat::Pixel;

template <class Pixel>
void loadPremultiplied(const void* from, std::size_t count, void* to) {
    const auto* in = static_cast<const Pixel*>(from);
    auto* out = static_cast<FloatPixel*>(to);
    for (std::size_t i = 0; i < count; ++i) {
        const auto components = in[i].load();
        const double alpha = components.a / one<Pixel>;
        const auto straight = [=](auto component) {
            return alpha == 0 ? 0.0F : static_cast<float>(component / one<Pixel> / alpha);
        };
        out[i].store({straight(components.r), straight(components.g), straight(components.b),
                      static_cast<float>(alpha)});
    }
}

template <class Pixel>
void storePremultiplied(const void* from, std::size_t count, const Background&, void* to) {
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
            true,
            sizeof(Pixel),
            opaqueIn<Pixel, Buffer>(),
            {QzBitmapTypeRGBAFloat, sizeof(FloatPixel), loadPremultiplied<Pixel>,
             storePremultiplied<Pixel>},
            {Buffer::bitmapType, sizeof(Pixel), loadOpaque<Pixel, Pixel>, storeSame<Pixel>}};
}

// Of a format without alpha, and of the one that `Pixel::Sampled` has.
template <class Buffer>
constexpr Client withoutAlpha() {
    using Pixel = typename Buffer::Pixel;
    Client client{Buffer::bitmapType, false, sizeof(Pixel), {}, {}, {}};
    forEachFormat([&]<class Sampled>() {
        if constexpr (std::is_same_v<typename Sampled::Pixel, typename Pixel::Sampled>)
            client.opaque = opaqueIn<Pixel, Sampled>();
    });
    return client;
}

template <class... WithAlpha, class... Without>
constexpr auto tableOf(QzTypeList<WithAlpha...>, QzTypeList<Without...>) {
    return std::array{withAlpha<WithAlpha>()..., withoutAlpha<Without>()...};
}
constexpr auto clients = tableOf(QzFormats{}, OpaqueFormats{});

constexpr unsigned codes[] = {POLAR_RGBA8,      POLAR_RGBA10, POLAR_RGBA12,   POLAR_RGBA16,
                              POLAR_RGBA_FLOAT, POLAR_GREY8,  POLAR_GREY16,   POLAR_GREY_FLOAT,
                              POLAR_RGB8,       POLAR_RGB16,  POLAR_RGB_FLOAT};
static_assert(std::equal(clients.begin(), clients.end(), std::begin(codes), std::end(codes),
                         [](const Client& client, unsigned code) { return client.format == code; }),
              "formats have the codes of the core");

}  // namespace

const Client* findClient(int code) {
    const auto* const found = std::find_if(
        clients.begin(), clients.end(),
        [=](const Client& client) { return client.format == static_cast<unsigned>(code); });
    return found != clients.end() ? found : nullptr;
}

}  // namespace polar
