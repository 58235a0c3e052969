#include "pictures/conversion.h"

#include <OpenImageIO/parallel.h>

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

// Calls `convert` with each row from `first` to before `end`.
template <class Convert>
void forEachRow(QzLong first, QzLong end, unsigned threads, const Convert& convert) {
    OIIO::parallel_for(
        first, end, [&](std::int64_t row) { convert(row); }, static_cast<int>(threads));
}

}  // namespace

void samplesToImage(const Samples& samples, const Channels& channels, Alpha alpha,
                    const Rectangle& data, const polar_image& image, unsigned threads) {
    const Rectangle both = intersection(data, {0, 0, image.width, image.height});
    const auto convert = [&]<class Buffer>(const auto* samplesOfData) {
        const Buffer buffer(image.pixels, image.row_bytes);
        forEachRow(both.y, both.y + both.height, threads, [&](std::int64_t row) {
            const std::int64_t before = (row - data.y) * data.width + (both.x - data.x);
            const auto* in = samplesOfData + before * channels.count;
            for (QzLong column = both.x; column < both.x + both.width; ++column) {
                toPixel(in, channels, alpha, *buffer.at(column, row));
                in += channels.count;
            }
        });
    };
    visitFormat(static_cast<unsigned>(image.format), [&]<class Buffer>() {
        std::visit([&](const auto& in) { convert.template operator()<Buffer>(in.data()); },
                   samples);
    });
}

void imageToSamples(const polar_image& image, Alpha alpha, Samples& samples, unsigned threads) {
    const std::int64_t rowSamples = std::int64_t{image.width} * (alpha == Alpha::overBlack ? 3 : 4);
    const auto convert = [&]<class Buffer>(auto* out) {
        const Buffer buffer(image.pixels, image.row_bytes);
        forEachRow(0, image.height, threads, [&](std::int64_t row) {
            auto* at = out + row * rowSamples;
            for (QzLong column = 0; column < image.width; ++column)
                at = fromPixel(*buffer.at(column, row), alpha, at);
        });
    };
    visitFormat(static_cast<unsigned>(image.format), [&]<class Buffer>() {
        std::visit([&](auto& out) { convert.template operator()<Buffer>(out.data()); }, samples);
    });
}

}  // namespace pictures
