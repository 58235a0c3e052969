// libpolar through its C interface.

#include "library/polar.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "render/Plan.h"
#include "tests/Scene.h"
#include "tests/anyCall.h"

namespace {

// Pixels in memory that ends where they do, rows `padding` bytes apart and running upwards where
// that is asked for.
struct TestImage {
    TestImage(int format, int width, int height, int alpha = POLAR_STRAIGHT, int padding = 0,
              bool upwards = false)
        : rowBytes(std::ptrdiff_t(polar_pixel_bytes(format)) * width + padding),
          memory(std::size_t(rowBytes) * std::size_t(height), true),
          image{memory.begin(), width, height, rowBytes, format, alpha} {
        std::fill(memory.begin(), memory.end(), '\xA5');
        if (!upwards) return;
        image.pixels = memory.end() - rowBytes;
        image.row_bytes = -rowBytes;
    }
    unsigned char* row(int y) const {
        return static_cast<unsigned char*>(image.pixels) + y * image.row_bytes;
    }
    // Floats are 0 to 1, others any bits.
    void fill(unsigned seed) {
        const auto noise = randomBytes(seed, memory.end() - memory.begin());
        std::copy(noise.begin(), noise.end(), memory.begin());
        const int format = image.format;
        if (format != POLAR_RGBA_FLOAT && format != POLAR_GREY_FLOAT && format != POLAR_RGB_FLOAT)
            return;
        for (int y = 0; y < image.height; ++y)
            for (unsigned i = 0; i + 4 <= image.width * polar_pixel_bytes(format); i += 4) {
                const float value = float(row(y)[i]) / 255;
                std::memcpy(row(y) + i, &value, sizeof value);
            }
    }

    std::ptrdiff_t rowBytes;
    GuardedMemory memory;
    polar_image image;
};

// Every format with alpha, both directions and samplings, rows of any distance, parts of a whole
// result and a circle, one thread and three: the core's pixels.
TEST(Library, GivesTheCoresPixels) {
    const QzRect source{7, 5, 311, 290}, region{-4, 9, 301, 500}, all{0, 0, 301, 500};
    const polar_rect sourceRect{7, 5, 311, 290}, part{-11, 4, 0, 0};
    const polar_circle ring{150.5, 140, 130, 120, 0.25, 0.3, 0.9, 1};
    const polar::Circle circle{{150.5, 140}, {130, 120}, 0.25, 0.3, 0.9, true};
    forEachFormat([&]<class Buffer>() {
        constexpr int format = Buffer::bitmapType;
        TestImage input(format, 320, 300, POLAR_STRAIGHT, 3, true);
        TestImage output(format, 301, 500, POLAR_STRAIGHT, 1), expected(format, 301, 500);
        input.fill(1);
        std::vector<double> tables(602);
        for (const int mode : {0, 1, 2, 3, 4, 5, 6, 7}) {
            const auto mapping = mode & 1 ? polar::Mapping::wrap : polar::Mapping::unwrap;
            auto geometry =
                mode & 4 ? polar::around({mapping, circle, source, source, {311, 290}, -11, 4, all})
                         : polar::fromRectangles(mapping, source, region);
            geometry.region = all;
            polar::Plan(format, geometry, {input.row(0), input.image.row_bytes},
                        {expected.row(0), expected.rowBytes},
                        mode & 2 ? polar::Sampling::nearest : polar::Sampling::bilinear,
                        {tables.data(), tables.data() + 301}, polar::plainPath)
                .render(0, 500);
            for (const int threads : {1, 3}) {
                polar_options options{};
                options.direction = mode & 1;
                options.sampling = mode & 2 ? POLAR_NEAREST : POLAR_BILINEAR;
                options.threads = threads;
                options.source = &sourceRect;
                options.whole = &part;
                options.circle = mode & 4 ? &ring : nullptr;
                ASSERT_EQ(polar_render(&input.image, &output.image, &options), POLAR_OK);
                for (int y = 0; y < 500; ++y)
                    ASSERT_EQ(std::memcmp(output.row(y), expected.row(y), expected.rowBytes), 0)
                        << Buffer::name << " mode " << mode << " row " << y;
                EXPECT_EQ(output.row(0)[expected.rowBytes], 0xA5) << "padding is not written";
            }
        }
    });
}

// One component as a number from 0 to 1.
double component(int format, const unsigned char* at) {
    if (format == POLAR_GREY_FLOAT || format == POLAR_RGB_FLOAT || format == POLAR_RGBA_FLOAT) {
        float value;
        std::memcpy(&value, at, sizeof value);
        return value;
    }
    if (format == POLAR_GREY8 || format == POLAR_RGB8 || format == POLAR_RGBA8) return *at / 255.0;
    std::uint16_t value;
    std::memcpy(&value, at, sizeof value);
    return value / 65535.0;
}

// Pictures without alpha, or with one that says something else, against floats of straight alpha.
TEST(Library, ConvertsWhatIsNotStraight) {
    const struct {
        int format, channels, alpha;
    } cases[] = {{POLAR_GREY8, 1, 0}, {POLAR_GREY16, 1, 0}, {POLAR_GREY_FLOAT, 1, 0},
                 {POLAR_RGB8, 3, 0},  {POLAR_RGB16, 3, 0},  {POLAR_RGB_FLOAT, 3, 0},
                 {POLAR_RGBA8, 4, 1}, {POLAR_RGBA16, 4, 1}, {POLAR_RGBA_FLOAT, 4, 1},
                 {POLAR_RGBA8, 4, 2}, {POLAR_RGBA16, 4, 2}, {POLAR_RGBA_FLOAT, 4, 2}};
    const float background[] = {1, 0.5f, 0.25f};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format * 10 + c.alpha);
        TestImage input(c.format, 90, 70, c.alpha, 5, true), output(c.format, 90, 70, c.alpha, 2);
        TestImage straight(POLAR_RGBA_FLOAT, 90, 70), mixed(POLAR_RGBA_FLOAT, 90, 70);
        input.fill(unsigned(c.format));
        const std::size_t bytes = polar_pixel_bytes(c.format), each = bytes / c.channels;
        for (int i = 0; i < 90 * 70; ++i) {
            const unsigned char* const in = input.row(i / 90) + i % 90 * bytes;
            const double a =
                c.alpha == POLAR_PREMULTIPLIED ? component(c.format, in + 3 * each) : 1;
            float pixel[4] = {0, 0, 0, float(a)};
            for (unsigned k = 0; k < 3 && a > 0; ++k)
                pixel[k] = float(component(c.format, in + (c.channels == 1 ? 0 : k * each)) / a);
            std::memcpy(straight.row(i / 90) + i % 90 * sizeof pixel, pixel, sizeof pixel);
        }
        polar_options options{};
        options.direction = POLAR_WRAP;
        std::copy(background, background + 3, options.background);
        ASSERT_EQ(polar_render(&straight.image, &mixed.image, &options), POLAR_OK);
        ASSERT_EQ(polar_render(&input.image, &output.image, &options), POLAR_OK);
        const bool isOpaque = c.alpha != POLAR_PREMULTIPLIED;
        for (int i = 0; i < 90 * 70; ++i) {
            float pixel[4];
            std::memcpy(pixel, mixed.row(i / 90) + i % 90 * sizeof pixel, sizeof pixel);
            for (int k = 0; k < c.channels; ++k) {
                const double behind = isOpaque && k < 3 ? background[k] : 0;
                const double wanted = k == 3 ? (isOpaque ? 1 : pixel[3])
                                             : pixel[k] * pixel[3] + behind * (1 - pixel[3]);
                const auto* at = output.row(i / 90) + i % 90 * bytes + k * each;
                ASSERT_NEAR(component(c.format, at), each == 4 ? wanted : std::min(wanted, 1.0),
                            each == 1 ? 0.0062 : 1e-4)
                    << i << " channel " << k;
            }
        }
        // What is copied keeps its alpha as it is.
        options.sampling = POLAR_NEAREST;
        ASSERT_EQ(polar_render(&input.image, &output.image, &options), POLAR_OK);
        if (c.alpha == POLAR_PREMULTIPLIED) {
            TestImage copied(c.format, 90, 70, POLAR_STRAIGHT, 2);
            input.image.alpha = POLAR_STRAIGHT;
            ASSERT_EQ(polar_render(&input.image, &copied.image, &options), POLAR_OK);
            EXPECT_TRUE(
                std::equal(copied.memory.begin(), copied.memory.end(), output.memory.begin()));
        }
    }
}

TEST(Library, WrongInputGivesItsStatusAndTouchesNothing) {
    struct Arguments {
        polar_image input, output;
        polar_options options;
        polar_circle circle;
        polar_rect rect;
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::pair<int, std::function<void(Arguments&)>> cases[] = {
        {POLAR_NULL_POINTER, [](Arguments& a) { a.input.pixels = nullptr; }},
        {POLAR_NULL_POINTER, [](Arguments& a) { a.output.pixels = nullptr; }},
        {POLAR_BAD_SIZE, [](Arguments& a) { a.input.width = 0; }},
        {POLAR_BAD_SIZE, [](Arguments& a) { a.output.height = -3; }},
        {POLAR_BAD_SIZE, [](Arguments& a) { a.input.row_bytes = PTRDIFF_MAX; }},
        {POLAR_BAD_SIZE, [](Arguments& a) { a.output.row_bytes = PTRDIFF_MIN; }},
        {POLAR_BAD_FORMAT, [](Arguments& a) { a.input.format = a.output.format = 6; }},
        {POLAR_BAD_FORMAT, [](Arguments& a) { a.output.format = POLAR_RGBA16; }},
        {POLAR_BAD_FORMAT, [](Arguments& a) { a.output.alpha = POLAR_OPAQUE; }},
        {POLAR_BAD_FORMAT, [](Arguments& a) { a.input.alpha = a.output.alpha = 3; }},
        {POLAR_BAD_OPTION, [](Arguments& a) { a.options.size = 8; }},
        {POLAR_BAD_OPTION, [](Arguments& a) { a.options.direction = 2; }},
        {POLAR_BAD_OPTION, [](Arguments& a) { a.options.sampling = -1; }},
        {POLAR_BAD_OPTION, [](Arguments& a) { a.options.threads = -1; }},
        {POLAR_BAD_OPTION, [=](Arguments& a) { a.options.background[1] = float(nan); }},
        {POLAR_BAD_OPTION,
         [](Arguments& a) {
             a.options.source = &(a.rect = {0, 0, 5, 0});
         }},
        {POLAR_BAD_OPTION,
         [](Arguments& a) {
             a.options.whole = &(a.rect = {1, 0, INT_MAX, 1});
         }},
        {POLAR_BAD_GEOMETRY, [=](Arguments& a) { a.circle.center_x = nan; }},
        {POLAR_BAD_GEOMETRY, [](Arguments& a) { a.circle.radius_y = 0; }},
        {POLAR_BAD_GEOMETRY, [](Arguments& a) { a.circle.inner = 1; }},
        {POLAR_BAD_GEOMETRY, [](Arguments& a) { a.circle.start_turns = INFINITY; }},
        {POLAR_BAD_GEOMETRY, [](Arguments& a) { a.circle.turns = 1.01; }},
        {POLAR_OVERLAP, [](Arguments& a) { a.output.pixels = a.input.pixels; }},
        {POLAR_OVERLAP, [](Arguments& a) { a.output.row_bytes = -31; }},
    };
    std::set<std::string> texts;
    for (const auto& [status, spoil] : cases) {
        SCOPED_TRACE(&status - &cases[0].first);
        TestImage input(POLAR_RGBA8, 8, 8), output(POLAR_RGBA8, 8, 8);
        Arguments a{input.image, output.image, {}, {4, 4, 4, 4, 0, 0, 0, 0}, {}};
        a.options.circle = &a.circle;
        spoil(a);
        EXPECT_EQ(polar_render(&a.input, &a.output, &a.options), status);
        EXPECT_TRUE(std::all_of(output.memory.begin(), output.memory.end(),
                                [](unsigned char byte) { return byte == 0xA5; }));
        texts.insert(polar_status_text(status));
    }
    EXPECT_EQ(polar_render(nullptr, nullptr, nullptr), POLAR_NULL_POINTER);
    EXPECT_GE(texts.size(), 6u);
    EXPECT_FALSE(texts.contains(polar_status_text(99)));
    EXPECT_EQ(polar_pixel_bytes(15), 0u);
}

// A row of 2^31 pixels that need conversion, and so more memory than machines have.
TEST(Library, SaysWhenMemoryIsOut) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers end the process where memory is out";
#endif
    TestImage image(POLAR_RGBA8, 2, 1);
    polar_image output = image.image;
    output.pixels = image.row(0) + 4;
    output.width = sizeof(void*) == 8 ? INT_MAX : INT_MAX / 8;
    image.image.width = 1;
    image.image.alpha = output.alpha = POLAR_PREMULTIPLIED;
    EXPECT_EQ(polar_render(&image.image, &output, nullptr), POLAR_OUT_OF_MEMORY);
    EXPECT_EQ(image.row(0)[4], 0xA5);
}

TEST(Library, AnyCallIsRefusedOrRenders) {
    for (unsigned seed = 0; seed < 2000; ++seed)
        ASSERT_NO_THROW(anyCall(randomBytes(seed, 120))) << seed;
}

TEST(Library, TellsProgressAndCanBeCancelled) {
    TestImage input(POLAR_RGBA8, 600, 600), output(POLAR_RGBA8, 600, 600);
    struct Told {
        double last = 0, stopAt = 2;
    };
    const auto tell = [](void* user, double done) {
        auto& told = *static_cast<Told*>(user);
        EXPECT_GT(done, told.last);
        told.last = done;
        return int(done >= told.stopAt);
    };
    for (const int threads : {0, 1, 4}) {
        Told all, half{0, 0.5};
        polar_options options{};
        options.threads = threads;
        options.progress = tell;
        options.user = &all;
        EXPECT_EQ(polar_render(&input.image, &output.image, &options), POLAR_OK);
        EXPECT_EQ(all.last, 1);
        if (threads != 1) continue;
        options.user = &half;
        EXPECT_EQ(polar_render(&input.image, &output.image, &options), POLAR_CANCELLED);
        EXPECT_LT(half.last, 0.8);
    }
}

}  // namespace
