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
    if (alpha == Alpha::straight || alpha == Alpha::dropped || a == 0) return 1;
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
    const Component alphaOut = convert(a, 1);
    // Coverage too small for the format: there is nothing to see, and no light either.
    if (alpha != Alpha::straight && alphaOut == 0 && a != 0) {
        out.store({});
        return;
    }
    const double divisor = colourFactor(alpha, a / sampleUnit<Sample>);
    out.store({convert(in[channels.r], divisor), convert(in[channels.g], divisor),
               convert(in[channels.b], divisor), alphaOut});
}

template <class Pixel, class Sample>
void fromPixel(const Pixel& in, const Composition& composition, Sample* out) {
    const Channels& channels = composition.channels;
    const Alpha alpha = composition.alpha;
    const auto convert = [](typename Pixel::Component component, double factor, double added) {
        if constexpr (sameScale<Pixel, Sample>)
            if (factor == 1 && added == 0) return component;
        return quantize<Sample>(component / pixelUnit<Pixel> * factor + added, sampleUnit<Sample>);
    };
    const auto pixel = in.load();
    const double a = pixel.a / pixelUnit<Pixel>;
    const bool isOver = alpha == Alpha::overBackground;
    // Where nothing is covered, light is added to what is behind.
    const bool isLight = composition.keepsLight && pixel.a == 0;
    double factor = isOver && !isLight ? a : colourFactor(alpha, a);
    if (channels.alpha >= 0) {
        out[channels.alpha] = convert(pixel.a, 1, 0);
        // Colour that nothing covers would shine; only light of the file's own does.
        if (alpha != Alpha::straight && out[channels.alpha] == 0 && !isLight) factor = 0;
    }
    const auto behind = [&](std::size_t i) {
        return isOver ? composition.background[i] * (1 - a) : 0;
    };
    out[channels.r] = convert(pixel.r, factor, behind(0));
    out[channels.g] = convert(pixel.g, factor, behind(1));
    out[channels.b] = convert(pixel.b, factor, behind(2));
}

// Calls `convert` with each row from `first` to before `end`.
template <class Convert>
void forEachRow(QzLong first, QzLong end, unsigned threads, const Convert& convert) {
    OIIO::parallel_for(
        first, end, [&](std::int64_t row) { convert(row); }, static_cast<int>(threads));
}

// The rectangle with these pixels in opposite corners.
Rectangle between(const Orientation::Place& a, const Orientation::Place& b) {
    return {static_cast<QzLong>(std::min(a.column, b.column)),
            static_cast<QzLong>(std::min(a.row, b.row)),
            static_cast<QzLong>(std::abs(a.column - b.column) + 1),
            static_cast<QzLong>(std::abs(a.row - b.row) + 1)};
}

// The stored pixels that lie in `area` of the picture; width or height is 0 when none does.
Rectangle wantedData(const Stored& stored, const Rectangle& area) {
    const auto& [x, y, width, height] = stored.data;
    const Orientation& orientation = stored.orientation;
    const Rectangle wanted = intersection(
        between(orientation.place(x, y),
                orientation.place(std::int64_t{x} + width - 1, std::int64_t{y} + height - 1)),
        area);
    if (wanted.width == 0 || wanted.height == 0) return {};
    return between(orientation.stored(wanted.x, wanted.y),
                   orientation.stored(std::int64_t{wanted.x} + wanted.width - 1,
                                      std::int64_t{wanted.y} + wanted.height - 1));
}

}  // namespace

void samplesToImage(const Samples& samples, const Stored& stored, const Rectangle& area,
                    const polar_image& image, unsigned threads) {
    const Channels& channels = stored.channels;
    const Rectangle& data = stored.data;
    const Rectangle wanted = wantedData(stored, area);
    if (wanted.width == 0) return;
    const auto convert = [&]<class Buffer>(const auto* samplesOfData) {
        const Buffer buffer(image.pixels, image.row_bytes);
        const auto address = [&](std::int64_t column, std::int64_t row) {
            const auto place = stored.orientation.place(column, row);
            return buffer.address(place.column - area.x, place.row - area.y);
        };
        forEachRow(wanted.y, wanted.y + wanted.height, threads, [&](std::int64_t row) {
            const std::int64_t before = (row - data.y) * data.width + (wanted.x - data.x);
            const auto* in = samplesOfData + before * channels.count;
            std::uintptr_t out = address(wanted.x, row);
            const std::uintptr_t step = address(std::int64_t{wanted.x} + 1, row) - out;
            for (QzLong i = 0; i < wanted.width; ++i, out += step, in += channels.count)
                toPixel(in, channels, stored.alpha, *Buffer::pixelAt(out));
        });
    };
    visitFormat(static_cast<unsigned>(image.format), [&]<class Buffer>() {
        std::visit([&](const auto& in) { convert.template operator()<Buffer>(in.data()); },
                   samples);
    });
}

void imageToSamples(const polar_image& image, const Composition& composition, Samples& samples,
                    unsigned threads) {
    const int count = composition.channels.count;
    const auto convert = [&]<class Buffer>(auto* out) {
        const Buffer buffer(image.pixels, image.row_bytes);
        forEachRow(0, image.height, threads, [&](std::int64_t row) {
            auto* at = out + row * image.width * count;
            for (QzLong column = 0; column < image.width; ++column, at += count)
                fromPixel(*buffer.at(column, row), composition, at);
        });
    };
    visitFormat(static_cast<unsigned>(image.format), [&]<class Buffer>() {
        std::visit([&](auto& out) { convert.template operator()<Buffer>(out.data()); }, samples);
    });
}

void repeatLastPixels(const polar_image& image) {
    visitFormat(static_cast<unsigned>(image.format), [&]<class Buffer>() {
        const Buffer buffer(image.pixels, image.row_bytes);
        const QzLong last = image.width - 1;
        for (QzLong row = 0; row < image.height; ++row)
            *buffer.at(last, row) = *buffer.at(last - 1, row);
        for (QzLong column = 0; column <= last; ++column)
            *buffer.at(column, image.height - 1) = *buffer.at(column, image.height - 2);
    });
}

}  // namespace pictures
