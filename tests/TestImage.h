// Images for libpolar that no access may leave.
#pragma once

#include "library/polar.h"
#include "tests/Scene.h"

// Rows lie `padding` bytes further apart than they must; the memory touches an unmapped page.
struct TestImage {
    explicit TestImage(polar_image like, std::ptrdiff_t padding = 0, bool upwards = false,
                       bool atEnd = true)
        : image(like),
          memory(std::size_t((rowBytes + padding) * (like.height - 1) + rowBytes), atEnd) {
        std::fill(memory.begin(), memory.end(), '\xA5');
        image.pixels = memory.begin() + (upwards ? (rowBytes + padding) * (like.height - 1) : 0);
        image.row_bytes = upwards ? -rowBytes - padding : rowBytes + padding;
    }
    TestImage(int format, int width, int height, int alpha = POLAR_STRAIGHT,
              std::ptrdiff_t padding = 0, bool upwards = false)
        : TestImage({nullptr, width, height, 0, format, alpha}, padding, upwards) {}

    unsigned char* row(int y) const {
        return static_cast<unsigned char*>(image.pixels) + y * image.row_bytes;
    }
    // The bytes of the pixels, row by row. What lies between rows must be as it was.
    std::vector<unsigned char> pixels() const {
        std::vector<unsigned char> all;
        for (int y = 0; y < image.height; ++y) {
            all.insert(all.end(), row(y), row(y) + rowBytes);
            for (auto* at = row(y) + rowBytes; y + 1 < image.height && at < row(y + 1); ++at)
                require(*at == 0xA5, "what lies between rows is not written");
        }
        return all;
    }
    bool isUntouched() const {
        return std::all_of(memory.begin(), memory.end(), [](auto byte) { return byte == 0xA5; });
    }
    // Floats become 0 to 1, others any bits.
    void fill(unsigned seed) {
        const auto noise = randomBytes(seed, std::size_t(rowBytes));
        for (int y = 0; y < image.height; ++y) {
            for (std::ptrdiff_t i = 0; i < rowBytes; ++i)
                row(y)[i] = static_cast<unsigned char>(noise[std::size_t(i)] + y * i);
            for (std::ptrdiff_t i = 0; i < rowBytes && componentBytes == sizeof(float); i += 4) {
                const float value = float(row(y)[i]) / 255;
                std::memcpy(row(y) + i, &value, sizeof value);
            }
        }
    }

    polar_image image;
    const std::size_t pixelBytes = polar_pixel_bytes(image.format);
    const std::size_t channels = image.format < POLAR_GREY8 ? 4 : image.format < POLAR_RGB8 ? 1 : 3;
    const std::size_t componentBytes = pixelBytes / channels;  // 1 of what is packed
    const std::ptrdiff_t rowBytes = std::ptrdiff_t(pixelBytes) * image.width;
    GuardedMemory memory;
};
