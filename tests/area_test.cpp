// Area sampling: what it leaves to bilinear sampling, and what the means are of.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "library/polar.h"

namespace {

struct Picture {
    Picture(int format, int columns, int rows)
        : bytes(polar_pixel_bytes(format) * std::size_t(columns) * std::size_t(rows)),
          image{bytes.data(), columns, rows, 0, format, POLAR_STRAIGHT} {}

    std::array<float, 4> at(int column, int row) const {
        std::array<float, 4> pixel;
        std::memcpy(&pixel, &bytes[sizeof pixel * std::size_t(row * image.width + column)],
                    sizeof pixel);
        return pixel;
    }

    std::vector<unsigned char> bytes;
    polar_image image;
};

Picture noise(int format, int columns, int rows) {
    Picture picture(format, columns, rows);
    unsigned state = 1;
    for (auto& byte : picture.bytes)
        byte = static_cast<unsigned char>((state = state * 69069 + 1) >> 24);
    if (format == POLAR_RGBA_FLOAT || format == POLAR_GREY_FLOAT || format == POLAR_RGB_FLOAT)
        for (std::size_t i = 3; i < picture.bytes.size(); i += 4) picture.bytes[i] = 0x3E;
    return picture;
}

// Waves of six pixels and more, in colour and alpha.
Picture waves(int columns, int rows) {
    Picture picture(POLAR_RGBA_FLOAT, columns, rows);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x) {
            const auto wave = [](double at) { return float(0.5 + 0.4 * std::sin(at)); };
            const float pixel[] = {wave(x * 1.0), wave(y * 1.0), wave((x + y) * 0.7),
                                   wave(x * 0.2)};
            std::memcpy(&picture.bytes[sizeof pixel * std::size_t(y * columns + x)], pixel,
                        sizeof pixel);
        }
    return picture;
}

using Change = std::function<void(polar_options&, polar_circle&)>;

// Into a result with a circle in its middle; whole ones are `times` as large, and begin
// half of that before their first pixel.
Picture render(const Picture& from, int columns, int rows, int times, int sampling,
               const Change& change) {
    Picture to(from.image.format, columns * times, rows * times);
    const bool isOdd = times > 1;
    const polar_rect whole{isOdd ? -(times / 2) : 0, isOdd ? -(times / 2) : 0, columns * times,
                           rows * times};
    polar_options options{};
    options.size = sizeof options;
    options.whole = &whole;
    polar_circle circle{columns / 2.0, rows / 2.0, columns / 2.0, rows / 2.0, 0, 0, 0, 0};
    options.circle = &circle;
    options.sampling = sampling;
    change(options, circle);
    if (options.direction == POLAR_UNWRAP) {
        circle.center_x = circle.radius_x = from.image.width / 2.0;
        circle.center_y = circle.radius_y = from.image.height / 2.0;
    } else {
        for (double* const length :
             {&circle.center_x, &circle.center_y, &circle.radius_x, &circle.radius_y})
            *length *= times;
    }
    EXPECT_EQ(polar_render(&from.image, &to.image, &options), POLAR_OK);
    return to;
}

constexpr int formats[] = {POLAR_RGBA8,      POLAR_RGBA10, POLAR_RGBA12, POLAR_RGBA16,
                           POLAR_RGBA_FLOAT, POLAR_GREY8,  POLAR_RGB16,  POLAR_RGB_FLOAT};

TEST(Area, IsBilinearWhereFootprintsAreNarrow) {
    for (const int format : formats) {
        const Picture from = noise(format, 40, 40);
        const auto both = [&](int columns, int rows, int direction) {
            const Change change = [=](polar_options& options, polar_circle& circle) {
                options.direction = direction;
                circle.inner = direction == POLAR_WRAP ? 0.4 : 0;
            };
            return std::pair(render(from, columns, rows, 1, POLAR_AREA, change).bytes,
                             render(from, columns, rows, 1, POLAR_BILINEAR, change).bytes);
        };
        const auto [unwrapped, asBilinear] = both(200, 50, POLAR_UNWRAP);
        EXPECT_EQ(unwrapped, asBilinear) << format;
        const auto [wrapped, wrappedAsBilinear] = both(400, 400, POLAR_WRAP);
        EXPECT_EQ(wrapped, wrappedAsBilinear) << format;
        const auto [small, smallAsBilinear] = both(20, 20, POLAR_WRAP);
        EXPECT_NE(small, smallAsBilinear) << format;
    }
}

TEST(Area, KeepsWhatIsTheSameEverywhere) {
    for (const int format : formats)
        for (const int direction : {POLAR_WRAP, POLAR_UNWRAP}) {
            Picture from = noise(format, 120, 120);
            const std::size_t pixelBytes = polar_pixel_bytes(format);
            for (std::size_t i = pixelBytes; i < from.bytes.size(); ++i)
                from.bytes[i] = from.bytes[i - pixelBytes];
            const Picture to = render(from, 41, 41, 1, POLAR_AREA,
                                      [=](auto& options, auto&) { options.direction = direction; });
            // The centre's row, up to where the rim is mixed with nothing.
            for (std::size_t i = 20 * 41 + 5; i < 20 * 41 + 36; ++i)
                EXPECT_EQ(std::memcmp(&to.bytes[pixelBytes * i], from.bytes.data(), pixelBytes), 0)
                    << format << ", pixel " << i;
        }
}

// The distance of two pictures, the second one's squares of `times` pixels taken for one: colours
// weighted by alpha, root of the mean of squares.
double distance(const Picture& picture, const Picture& fine, int times) {
    double sum = 0;
    for (int y = 0; y < picture.image.height; ++y)
        for (int x = 0; x < picture.image.width; ++x) {
            double mean[4] = {};
            for (int i = 0; i < times * times; ++i) {
                const auto pixel = fine.at(x * times + i % times, y * times + i / times);
                for (unsigned c = 0; c < 4; ++c)
                    mean[c] += (c < 3 ? pixel[c] : 1.0) * pixel[3] / (times * times);
            }
            const auto pixel = picture.at(x, y);
            for (unsigned c = 0; c < 4; ++c)
                sum += std::pow((c < 3 ? pixel[c] : 1.0) * pixel[3] - mean[c], 2);
        }
    return std::sqrt(sum / (4.0 * picture.image.width * picture.image.height));
}

// Whatever the geometry, means are those of a picture that has nine times nine pixels for each.
TEST(Area, IsTheMeanOfWhatAPixelCovers) {
    const Picture from = waves(200, 160);
    const std::pair<const char*, Change> cases[] = {
        {"plain", [](auto&, auto&) {}},
        {"ellipse beside the middle", [](auto&, auto& c) { c.radius_x = 18, c.center_y += 4.3; }},
        {"ring, clockwise",
         [](auto&, auto& c) { c.inner = 0.3, c.start_turns = 0.15, c.clockwise = 1; }},
        {"arc", [](auto&, auto& c) { c.turns = 0.6, c.start_turns = 0.8; }},
        {"cyclic", [](auto& o, auto&) { o.cyclic = 1; }},
        {"log", [](auto& o, auto& c) { o.scale = POLAR_SCALE_LOG, c.inner = 0.1; }},
        {"root", [](auto& o, auto&) { o.scale = POLAR_SCALE_SQRT; }},
        {"square", [](auto& o, auto&) { o.scale = POLAR_SCALE_SQUARE; }},
        {"part of the way", [](auto& o, auto&) {
             static constexpr double amount = 0.6;
             o.amount = &amount;
         }}};
    for (const int direction : {POLAR_WRAP, POLAR_UNWRAP})
        for (const auto& [name, change] : cases) {
            const auto with = [&, &of = change](int times, int sampling) {
                return render(from, 61, 53, times, sampling, [&](auto& options, auto& circle) {
                    options.direction = direction;
                    of(options, circle);
                });
            };
            const Picture fine = with(9, POLAR_BILINEAR);
            const double area = distance(with(1, POLAR_AREA), fine, 9);
            const double bilinear = distance(with(1, POLAR_BILINEAR), fine, 9);
            EXPECT_LT(area, 0.02) << name << direction;
            EXPECT_LT(area, bilinear / 3) << name << direction;
        }
}

}  // namespace
