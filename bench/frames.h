// Frames to measure with, and how.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "library/polar.h"

namespace bench {

struct Size {
    int width, height;

    std::string name() const { return std::to_string(width) + 'x' + std::to_string(height); }
    double pixels() const { return double(width) * height; }
};
// In the caches, beyond them, and so large that neighbouring rows lie on pages of their own.
constexpr Size sizes[] = {{256, 256}, {1000, 1000}, {1920, 1080}, {2880, 2880}, {8192, 8192}};

struct Format {
    const char* name;
    int code;
};
constexpr Format formats[] = {{"RGBA8", POLAR_RGBA8},
                              {"RGBA10", POLAR_RGBA10},
                              {"RGBA12", POLAR_RGBA12},
                              {"RGBA16", POLAR_RGBA16},
                              {"float", POLAR_RGBA_FLOAT}};

// Noise in colour and alpha, which leaves no shortcut to anybody.
class Frame {
  public:
    Frame(int format, Size size)
        : pixels_(polar_pixel_bytes(format) * std::size_t(size.width) * std::size_t(size.height)),
          image_{pixels_.data(), size.width, size.height, 0, format, POLAR_STRAIGHT} {
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

    const polar_image& image() const { return image_; }
    const std::vector<unsigned char>& pixels() const { return pixels_; }

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

// Nanoseconds of this thread: others, in this process and elsewhere, do not count.
template <class Work>
double threadTime(Work work) {
    const auto now = [] {
        std::timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return double(time.tv_sec) * 1e9 + double(time.tv_nsec);
    };
    const double start = now();
    work();
    return now() - start;
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace bench
