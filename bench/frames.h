// Frames to measure with, and how.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <vector>

#include "library/polar.h"

namespace bench {

// Noise in colour and alpha, which leaves no shortcut to anybody.
class Frame {
  public:
    Frame(int format, int width, int height)
        : pixels_(polar_pixel_bytes(format) * std::size_t(width) * std::size_t(height)),
          image_{pixels_.data(), width, height, 0, format, POLAR_STRAIGHT} {
        std::uint32_t state = 1;
        for (std::size_t i = 0; i + 4 <= pixels_.size(); i += 4) {
            state = state * 1664525u + 1013904223u;
            const std::uint32_t bits = state ^ state >> 16;
            const float number = static_cast<float>(state >> 8) / 16777216.0f;
            if (format == POLAR_RGBA_FLOAT)
                std::memcpy(&pixels_[i], &number, 4);
            else
                std::memcpy(&pixels_[i], &bits, 4);
        }
    }

    polar_image& image() { return image_; }
    std::vector<unsigned char>& pixels() { return pixels_; }

  private:
    std::vector<unsigned char> pixels_;
    polar_image image_;
};

struct Case {
    int direction, sampling;
    const char* name;
};
constexpr Case cases[] = {{POLAR_UNWRAP, POLAR_BILINEAR, "unwrap bilinear"},
                          {POLAR_UNWRAP, POLAR_NEAREST, "unwrap nearest"},
                          {POLAR_WRAP, POLAR_BILINEAR, "wrap bilinear"},
                          {POLAR_WRAP, POLAR_NEAREST, "wrap nearest"}};

// Nanoseconds, on the wall's clock.
template <class Work>
double elapsed(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
        .count();
}

// Nanoseconds of this process: others on the machine do not count.
template <class Work>
double processorTime(Work work) {
    const std::clock_t start = std::clock();
    work();
    return double(std::clock() - start) / CLOCKS_PER_SEC * 1e9;
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace bench
