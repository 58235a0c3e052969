// Pictures that show what a resampling does wrong, opaque and of 8 bits, and floats of any.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace bench {

struct Picture {
    int width, height;
    std::vector<float> samples;  // red, green, blue and alpha of each pixel, row by row, up to 1

    Picture(int columns, int rows)
        : width(columns),
          height(rows),
          samples(std::size_t{4} * std::size_t(columns) * std::size_t(rows), 1.0f) {}

    float* at(int column, int row) { return &samples[offset(column, row)]; }
    const float* at(int column, int row) const { return &samples[offset(column, row)]; }

  private:
    std::size_t offset(int column, int row) const {
        return 4 * (std::size_t(row) * std::size_t(width) + std::size_t(column));
    }
};

template <class Colour>
Picture paint(int width, int height, Colour colour) {
    Picture picture(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const std::array<double, 3> rgb = colour(x, y);
            for (unsigned i = 0; i < 3; ++i)
                picture.at(x, y)[i] =
                    static_cast<float>(std::rint(std::clamp(rgb[i], 0.0, 1.0) * 255) / 255);
        }
    return picture;
}

// Shades, edges and grain.
inline Picture photo(int width, int height) {
    std::uint32_t state = 7;
    return paint(width, height, [&](int x, int y) {
        const double u = double(x) / width, v = double(y) / height;
        const double hills = std::sin(17 * u + 3 * std::sin(9 * v)) * std::sin(13 * v + 2 * u);
        const double edge = std::fmod(u * 5 + v * 2, 1.0) < 0.5 ? 0.12 : 0;
        state = state * 1664525u + 1013904223u;
        const double grain = (double(state >> 8) / 0x1p24 - 0.5) * 0.06;
        return std::array{0.45 + 0.25 * hills + edge + grain, 0.4 + 0.3 * v - edge + grain,
                          0.5 - 0.25 * hills + 0.2 * u + grain};
    });
}

// White lines of one pixel on black.
inline Picture grid(int width, int height) {
    return paint(width, height, [](int x, int y) {
        const double line = x % 16 == 0 || y % 16 == 0 ? 1 : 0;
        return std::array{line, line, line};
    });
}

// All frequencies up to the highest.
inline Picture zonePlate(int width, int height) {
    return paint(width, height, [=](int x, int y) {
        const double u = x - width / 2.0, v = (y - height / 2.0) * width / height;
        const double wave = 0.5 + 0.5 * std::cos(3.141592653589793 * (u * u + v * v) / width);
        return std::array{wave, wave, wave};
    });
}

// Black on white, letters of 5 by 7 pixels and of twice that.
inline Picture text(int width, int height) {
    constexpr std::uint8_t letters[][7] = {
        {14, 17, 17, 31, 17, 17, 17}, {30, 17, 30, 17, 17, 17, 30}, {15, 16, 16, 16, 16, 16, 15},
        {31, 16, 30, 16, 16, 16, 31}, {17, 17, 21, 21, 21, 27, 17}, {17, 10, 4, 4, 4, 10, 17},
        {31, 1, 2, 4, 8, 16, 31},     {14, 17, 1, 6, 8, 16, 31}};
    return paint(width, height, [&](int x, int y) {
        const int size = y / 64 % 2 + 1, column = x / (6 * size), row = y / (9 * size);
        const int u = x / size % 6, v = y / size % 9;
        const std::uint32_t letter =
            (std::uint32_t(column) * 2654435761u ^ std::uint32_t(row) * 40503u) >> 5;
        const bool isInk = u < 5 && v < 7 && (letters[letter % 8][v] >> (4 - u) & 1) != 0;
        const double white = isInk ? 0 : 1;
        return std::array{white, white, white};
    });
}

struct Painter {
    const char* name;
    Picture (*paint)(int width, int height);
};
constexpr Painter painters[] = {
    {"photo", photo}, {"grid", grid}, {"zone plate", zonePlate}, {"text", text}};

}  // namespace bench
