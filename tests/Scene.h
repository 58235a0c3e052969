// Renders that are hard on positions and colours, drawn from bytes, and what must come out of them.
#pragma once

#include <cmath>
#include <limits>
#include <random>
#include <span>

#include "pixels/sampler.h"
#include "tests/TestHost.h"

inline std::vector<unsigned char> randomBytes(unsigned seed, std::size_t count) {
    std::mt19937 random(seed);
    std::vector<unsigned char> bytes(count);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
    return bytes;
}

// Decisions out of bytes; zeros once they are used up.
struct Draw {
    explicit Draw(std::span<const unsigned char> bytes) : bytes_(bytes) {}

    bool left() const { return !bytes_.empty(); }
    QzLong byte() {
        if (bytes_.empty()) return 0;
        const unsigned char first = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return first;
    }
    // One of 0 to end - 1.
    QzLong upTo(QzLong end) {
        const QzLong high = end > 256 ? byte() << 8 : 0;
        return (high + byte()) % end;
    }
    template <class Choice>
    Choice of(std::initializer_list<Choice> choices) {
        return choices.begin()[upTo(static_cast<QzLong>(choices.size()))];
    }
    // A coordinate; mostly near 0, sometimes at an end of 32 bits or far from all of these.
    QzLong word() {
        constexpr QzLong most = std::numeric_limits<QzLong>::max();
        const QzLong some = byte(), near = some % 32 - 8;
        return of<QzLong>({0, 0, 0, 0, 0, near, near, near, near, near, near, near, near,
                           most - some, -most - 1 + some, (some - 128) * 16'000'000});
    }
    QzLong side(QzLong size) { return 1 + upTo(upTo(8) == 0 ? 5 * size : size); }
    // Up to `size` columns and rows, sometimes five times as many, sometimes none. Even and odd
    // squares put positions on ties, axes and diagonals.
    QzRect rectangle(QzLong size) {
        QzRect rectangle{word(), word(), side(size), side(size)};
        if (upTo(2) == 0)
            rectangle.height = rectangle.width -= (rectangle.width - 1) % of<QzLong>({1, 4});
        if (upTo(8) == 0) {
            rectangle.width = std::min<QzLong>(word(), 0);
            rectangle.height = word();
            if (upTo(2) == 0) std::swap(rectangle.width, rectangle.height);
        }
        return rectangle;
    }

  private:
    std::span<const unsigned char> bytes_;
};

// The host's 32-bit subtraction, which wraps around.
inline QzLong difference(QzLong a, QzLong b) {
    return static_cast<QzLong>(static_cast<QzULong>(a) - static_cast<QzULong>(b));
}

// What a render is asked for; rectangles are about `size` pixels wide and high.
struct Request {
    Request(Draw& draw, QzLong size)
        : mode(draw.of<QzULong>({0, 1, 0, 1, 77})),
          sampling(draw.upTo(3)),
          padding(draw.upTo(4)),
          colours(draw.upTo(5)),
          atEnd(draw.upTo(2) == 0),
          inPlace(draw.upTo(16) == 0),
          source(draw.rectangle(size)) {
        // Opposite alphas cancel at some positions of this one, and leave a trace beside them.
        if (size > 100 && colours == 1) source = {0, 0, 191, 52};
        image = {std::max<QzLong>(source.x, 0), std::max<QzLong>(source.y, 0), source.width,
                 source.height};
        region = source;
        const QzLong choice = draw.upTo(4);
        if (choice == 0) region = draw.rectangle(size);
        const auto beside = [&](QzLong at) { return difference(at, size / 2 - draw.upTo(size)); };
        if (choice == 1)
            region = {beside(source.x), beside(source.y), draw.side(size), draw.side(size)};
        if (inPlace) region = image;
    }

    QzULong mode;
    QzLong sampling, padding, colours;
    bool atEnd, inPlace;
    QzRect source, region, image;  // the image: the pixels of the input that count
};

// The position that a render samples, written down once more and plainly: `u` and `v` are the
// fractions of the source that the pixel is right of and below its corner, `dx` is right of its
// centre.
inline std::pair<double, double> sourcePosition(const Request& request, double u, double dx,
                                                double v) {
    const auto [x, y, width, height] = request.source;
    if (request.mode == 0) {
        const double angle = u * 6.283185307179586;
        const double p = 0.5 - v * (std::sin(angle) * 0.5);
        const double q = 0.5 - v * (std::cos(angle) * 0.5);
        return {p * width + x, q * height + y};
    }
    const double dy = v - 0.5;
    const double radius = std::sqrt(dy * dy + (0.5 - u) * (0.5 - u));
    const double turns = (std::atan2(dx, dy) + 3.141592653589793) * 0.15915494309189535;
    return {turns * (width - 1.0) + x, std::min(radius + radius, 1.0) * height + y};
}

// A request with its bitmaps.
template <class Buffer>
struct Scene : Request {
    Scene(Draw& draw, QzLong size)
        : Request(draw, size),
          input(image, padding, atEnd),
          output(region, padding, atEnd),
          expected(region, padding, atEnd) {
        fill(static_cast<unsigned>(draw.upTo(65536)));
        const QzLong pitch = output.record.rowLength;
        const QzLong drawn = draw.of({pitch, pitch, -pitch, pitch / 2 + 1});
        output.setPitch(region, drawn);
        expected.setPitch(region, drawn);
        if (draw.upTo(3) == 0) input.setPitch(image, -input.record.rowLength);
        reset();
    }

    // Puts the output back to what it is before a render.
    void reset() {
        std::fill(output.memory.begin(), output.memory.end(), '\xA5');
        if (inPlace) std::ranges::copy(input.memory, output.memory.begin());
        if (!isSampled_) std::ranges::copy(output.memory, expected.memory.begin());
    }

    // Expects what the sampler gives at each position, rather than an untouched output.
    void sample() {
        isSampled_ = true;
        if (region.width <= 0 || region.height <= 0) return;
        const double iw = 1.0 / source.width, ih = 1.0 / source.height;
        const Buffer from(inPlace ? expected.record : input.record);
        double v = ih * difference(region.y, source.y);
        for (std::int64_t j = 0; j < region.height; ++j, v += ih) {
            double u = iw * difference(region.x, source.x), dx = u - 0.5;
            for (std::int64_t i = 0; i < region.width; ++i, u += iw, dx += iw) {
                const auto [x, y] = sourcePosition(*this, u, dx, v);
                auto* const out = &expected.at(region.x + i, region.y + j);
                get_bilinear_color_trans_T(x, y, from, source, out, sampling != 1);
            }
        }
    }

    TestBitmap<Buffer> input, output, expected;

  private:
    // Alpha is full in seven of eight pixels, full or nothing of either sign, full or 1, full on
    // one side of a column that a diagonal ends on, or anything.
    void fill(unsigned seed) {
        using Pixel = typename Buffer::Pixel;
        using Component = typename Pixel::Component;
        constexpr bool isFloat = std::is_same_v<Component, float>;
        const double largest = isFloat ? 1.0 : Pixel::maxValue;
        std::minstd_rand random(seed);
        const auto upTo = [&](unsigned end) { return static_cast<unsigned>(random() % end); };
        // Of NaNs that meet, the compiler says which one goes on; so all are the processor's own.
        const volatile float zero = 0.0f;
        const float special[] = {-0.0f, -1.5f, 1e38f, 1e-45f, INFINITY, zero * INFINITY};
        const auto component = [&] {
            if (isFloat && colours == 4 && upTo(20) == 0) return Component(special[upTo(6)]);
            const double parts[] = {1.0 * upTo(2), upTo(2) ? 0.0 : -0.0, upTo(65536) / 65535.0};
            return Component(largest * parts[std::min<QzLong>(colours, 2)]);
        };
        const std::int64_t eighth = (source.width - std::int64_t{1}) / 8;
        const std::int64_t edge = eighth * (1 + 2 * upTo(4)) + upTo(2);
        const bool isLeft = upTo(2) == 0;
        std::int64_t pixel = 0;
        for (auto* at = input.memory.begin(); at < input.memory.end(); at += sizeof(Pixel)) {
            const bool isBeside = (pixel++ % (source.width + padding) < edge) == isLeft;
            const double alphas[] = {
                upTo(8) ? largest : 0.0, isFloat ? upTo(3) - 1.0 : upTo(2) * largest,
                upTo(2) ? largest : 1.0, isBeside ? largest : 0.0, double(component())};
            reinterpret_cast<Pixel*>(at)->store(
                {component(), component(), component(), Component(alphas[colours])});
        }
    }

    bool isSampled_ = false;
};

// Lives through the life of an instance of the module with that entry: requests in any order a host
// may make them, records a host may get wrong, a memory service that fails. No access may leave a
// bitmap, every render must give what the sampler gives at each position, and all memory must come
// back. Throws std::logic_error otherwise. Any number of threads may do so at once.
void anyLife(std::span<const unsigned char> bytes, VexHandler entryPoint);

// Renders by libpolar likewise, with any options. What is refused must leave the output alone, and
// pixels must not depend on how the output's rows lie.
void anyCall(std::span<const unsigned char> bytes);
