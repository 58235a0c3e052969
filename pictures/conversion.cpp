#include "pictures/conversion.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "pixels/QzBuffer.h"
#include "pixels/rounding.h"

namespace pictures {

namespace {

// What stands for 1.0 in a sample, and in a component of a pixel.
template <class Sample>
constexpr double sampleUnit = std::is_integral_v<Sample> ? std::numeric_limits<Sample>::max() : 1.0;
template <class Pixel>
constexpr double pixelUnit = std::is_integral_v<typename Pixel::Component> ? Pixel::maxValue : 1.0;

// Whether components are the same numbers in both, as most are: those are copied.
template <class Pixel, class Sample>
constexpr bool sameScale =
    std::is_same_v<typename Pixel::Component, Sample>&& sampleUnit<Sample> == pixelUnit<Pixel>;

template <class Value>
Value quantize(double value, double unit) {
    if constexpr (std::is_floating_point_v<Value>) {
        return static_cast<Value>(value);
    } else {
        const double scaled = value * unit;
        if (!(scaled > 0)) return 0;  // what is not a number, too
        return static_cast<Value>(roundToLong(std::min(scaled, unit)));
    }
}

// What straight colour is multiplied by at alpha `a`; never 0 for a picture with alpha.
double colourFactor(Alpha alpha, double a) {
    if (alpha == Alpha::straight) return 1;
    if (alpha == Alpha::overBlack) return a;
    if (a == 0) return 1;
    return alpha == Alpha::associatedInLight ? std::pow(a, 1 / 2.2) : a;
}

template <class Pixel, class Sample>
void toPixel(const Sample* in, const Channels& channels, Alpha alpha, Pixel& out) {
    using Component = typename Pixel::Component;
    const auto convert = [](Sample sample, double divisor) {
        if constexpr (sameScale<Pixel, Sample>)
            if (divisor == 1) return sample;
        return quantize<Component>(sample / sampleUnit<Sample> / divisor, pixelUnit<Pixel>);
    };
    const auto opaque = static_cast<Sample>(sampleUnit<Sample>);
    const Sample a = channels.alpha < 0 ? opaque : in[channels.alpha];
    const double divisor = colourFactor(alpha, a / sampleUnit<Sample>);
    out.store({convert(in[channels.r], divisor), convert(in[channels.g], divisor),
               convert(in[channels.b], divisor), convert(a, 1)});
}

// Returns the place after the samples written.
template <class Pixel, class Sample>
Sample* fromPixel(const Pixel& in, Alpha alpha, Sample* out) {
    const auto convert = [](typename Pixel::Component component, double factor) {
        if constexpr (sameScale<Pixel, Sample>)
            if (factor == 1) return component;
        return quantize<Sample>(component / pixelUnit<Pixel> * factor, sampleUnit<Sample>);
    };
    const auto pixel = in.load();
    const double factor = colourFactor(alpha, pixel.a / pixelUnit<Pixel>);
    for (const auto component : {pixel.r, pixel.g, pixel.b}) *out++ = convert(component, factor);
    if (alpha != Alpha::overBlack) *out++ = convert(pixel.a, 1);
    return out;
}

}  // namespace

void samplesToBitmap(const Samples& samples, const Channels& channels, Alpha alpha,
                     const Rectangle& data, QzBitmap& bitmap, const Rectangle& picture) {
    const Rectangle both = intersection(data, picture);
    const auto convert = [&]<class Buffer>(const auto* first) {
        const Buffer buffer(bitmap);
        for (QzLong row = both.y; row < both.y + both.height; ++row) {
            const auto before =
                std::ptrdiff_t{row - data.y} * data.width + std::ptrdiff_t{both.x - data.x};
            const auto* in = first + before * channels.count;
            for (QzLong column = both.x; column < both.x + both.width;
                 ++column, in += channels.count)
                toPixel(in, channels, alpha, *buffer.at(column, row));
        }
    };
    visitFormat(bitmap.bitmapType, [&]<class Buffer>() {
        std::visit([&](const auto& in) { convert.template operator()<Buffer>(in.data()); },
                   samples);
    });
}

void bitmapToSamples(const QzBitmap& bitmap, const Rectangle& region, Alpha alpha,
                     Samples& samples) {
    const auto convert = [&]<class Buffer>(auto* out) {
        const Buffer buffer(bitmap);
        for (QzLong row = region.y; row < region.y + region.height; ++row)
            for (QzLong column = region.x; column < region.x + region.width; ++column)
                out = fromPixel(*buffer.at(column, row), alpha, out);
    };
    visitFormat(bitmap.bitmapType, [&]<class Buffer>() {
        std::visit([&](auto& out) { convert.template operator()<Buffer>(out.data()); }, samples);
    });
}

}  // namespace pictures
