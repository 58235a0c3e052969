// libpolar through its C interface.

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <functional>
#include <set>

#include "render/Plan.h"
#include "tests/TestImage.h"

namespace {

polar_image imageOf(const TestBitmap<QzBufferRGBAFloat>& bitmap, const QzRect& place) {
    return {bitmap.record.pixels, place.width, place.height, 0, POLAR_RGBA_FLOAT, POLAR_STRAIGHT};
}

double radiusAt(int scale, double inner, double part) {
    switch (scale) {
        case POLAR_SCALE_LOG:
            return inner * std::pow(1 / inner, part);
        case POLAR_SCALE_SQRT:
            return std::pow(std::lerp(std::sqrt(inner), 1.0, part), 2);
        case POLAR_SCALE_SQUARE:
            return std::sqrt(std::lerp(inner * inner, 1.0, part));
        default:
            return std::lerp(inner, 1.0, part);
    }
}

// Pixels that hold their own position show where they were sampled, against angles and distances
// worked out here: a panorama of a circle, and that circle of it again.
TEST(Library, CirclesLieWhereTheySay) {
    const polar_circle circles[] = {{30, 25, 20, 20, 0, 0, 0, 0},
                                    {30.5, 25.25, 20, 15, 0.25, 0.25, 1, 1},
                                    {31, 24, 18, 21, 0.5, -0.4, 0.5, 0},
                                    {29, 26, 17, 17, 0.1, 2.75, 0.75, 1}};
    const QzRect places[] = {{0, 0, 40, 16}, {0, 0, 60, 50}};
    for (const polar_circle& circle : circles)
        for (int way = 0; way < 16; ++way) {
            const bool wraps = way % 2 != 0, isCyclic = way / 2 % 2 != 0;
            const QzRect from = places[wraps ? 0 : 1], to = places[wraps ? 1 : 0];
            TestBitmap<QzBufferRGBAFloat> input(from), output(to);
            for (QzLong i = 0; i < from.width * from.height; ++i)
                input.at(i, 0).store({float(i % from.width), float(i / from.width),
                                      float((i + 1) % from.width > 1), 1});
            polar_options options{};
            options.size = sizeof options;
            options.direction = wraps ? POLAR_WRAP : POLAR_UNWRAP;
            options.circle = &circle;
            options.cyclic = isCyclic;
            options.scale = way / 4;
            const polar_image in = imageOf(input, from), out = imageOf(output, to);
            if (options.scale == POLAR_SCALE_LOG && circle.inner == 0) {
                EXPECT_EQ(polar_render(&in, &out, &options), POLAR_BAD_GEOMETRY);
                continue;
            }
            ASSERT_EQ(polar_render(&in, &out, &options), POLAR_OK);
            int opaque = 0;
            for (QzLong i = 0; i < to.width * to.height; ++i) {
                const auto found = output.at(i, 0).load();
                if (found.a != 1 || (wraps && found.g < 0.5f)) continue;
                // Between the last column and the first one, their numbers are mixed.
                if (isCyclic && found.b != 1) continue;
                const polar::Point here{double(i % to.width), double(i / to.width)};
                const polar::Point there{found.r, found.g};
                const polar::Point flat = wraps ? there : here, round = wraps ? here : there;
                const double part = flat.x / (wraps && !isCyclic ? 39 : 40) *
                                    (circle.turns == 0 ? 1 : circle.turns);
                const double turns = circle.start_turns + (circle.clockwise ? part : -part);
                const double distance = radiusAt(options.scale, circle.inner, flat.y / 16);
                const double x = circle.radius_x * distance * std::sin(turns * 6.283185307179586);
                const double y = circle.radius_y * distance * std::cos(turns * 6.283185307179586);
                EXPECT_NEAR(round.x, circle.center_x + x, 1e-3) << i;
                EXPECT_NEAR(round.y, circle.center_y - y, 1e-3) << i;
                ++opaque;
            }
            EXPECT_GT(opaque, 300);
        }
}

// The seam of a panorama that goes all around, in the nearest and in the mixed colour; and pixels
// on their way, of which half is half of both ends.
TEST(Library, GoesAllAroundAndPartOfTheWay) {
    const QzRect flat{0, 0, 8, 4}, round{0, 0, 64, 64};
    TestBitmap<QzBufferRGBAFloat> input(flat), output(round), half(round);
    for (QzLong i = 0; i < 32; ++i)
        input.at(i, 0).store({float(i % 8 == 0), float(i % 8 == 7), float(i % 8 % 7 != 0), 1});
    polar_options options{};
    options.size = sizeof options;
    options.direction = POLAR_WRAP;
    options.cyclic = 1;
    const polar_image in = imageOf(input, flat), out = imageOf(output, round);
    ASSERT_EQ(polar_render(&in, &out, &options), POLAR_OK);
    // Up is column 0; a sixteenth of a turn clockwise lies column 7.5.
    const auto up = output.at(32, 10).load(), between = output.at(40, 32 - 19).load();
    EXPECT_EQ(std::make_tuple(up.r, up.g, up.b, up.a), std::make_tuple(1, 0, 0, 1));
    EXPECT_NEAR(between.r, 0.5, 0.02);
    EXPECT_NEAR(between.g, 0.5, 0.02);
    EXPECT_EQ(between.b, 0);
    EXPECT_EQ(between.a, 1);
    options.sampling = POLAR_NEAREST;
    ASSERT_EQ(polar_render(&in, &out, &options), POLAR_OK);
    EXPECT_EQ(output.at(33, 10).load().r, 1);
    EXPECT_EQ(output.at(36, 10).load().r, 1);

    for (QzLong i = 0; i < 32; ++i) input.at(i, 0).store({float(i % 8), float(i / 8), 0, 1});
    options.sampling = POLAR_BILINEAR;
    options.cyclic = 0;
    ASSERT_EQ(polar_render(&in, &out, &options), POLAR_OK);
    const polar_image middle = imageOf(half, round);
    for (const double amount : {0.0, 0.5}) {
        options.amount = &amount;
        ASSERT_EQ(polar_render(&in, &middle, &options), POLAR_OK);
        int compared = 0;
        for (QzLong i = 0; i < 64 * 64; ++i) {
            const auto found = half.at(i, 0).load(), end = output.at(i, 0).load();
            const double x = double(i % 64) / 8, y = double(i / 64) / 16;
            if (found.a != 1 || end.a != 1 || x > 7 || y > 3) continue;
            ASSERT_NEAR(found.r, x + amount * (end.r - x), 1e-5) << i;
            ASSERT_NEAR(found.g, y + amount * (end.g - y), 1e-5) << i;
            ++compared;
        }
        EXPECT_GT(compared, 1000);
    }
}

template <class Component>
double numberAt(const unsigned char* at, double unit) {
    Component component;
    std::memcpy(&component, at, sizeof component);
    return component / unit;
}

// A component of a row as a number from 0 to 1.
double number(const TestImage& image, int y, std::size_t component) {
    const auto* const at = image.row(y) + component * image.componentBytes;
    if (image.componentBytes == 1) return *at / 255.0;
    return image.componentBytes == 2 ? numberAt<std::uint16_t>(at, 65535) : numberAt<float>(at, 1);
}

// Pictures without alpha, or with one that says something else, against floats of straight alpha.
TEST(Library, ConvertsWhatIsNotStraight) {
    const struct {
        int format, alpha;
        double tolerance;
    } cases[] = {{POLAR_GREY8, 0, 0.0061}, {POLAR_GREY16, 0, 3e-5}, {POLAR_GREY_FLOAT, 0, 1e-6},
                 {POLAR_RGB8, 0, 0.0061},  {POLAR_RGB16, 0, 3e-5},  {POLAR_RGB_FLOAT, 0, 1e-6},
                 {POLAR_RGBA8, 1, 0.0021}, {POLAR_RGBA16, 1, 1e-5}, {POLAR_RGBA_FLOAT, 1, 1e-5},
                 {POLAR_RGBA8, 2, 0.0061}, {POLAR_RGBA16, 2, 3e-5}, {POLAR_RGBA_FLOAT, 2, 1e-6}};
    const polar_rect part{5, 3, 80, 60};
    polar_options options{};
    options.direction = POLAR_WRAP;
    std::copy_n(std::array{1.0f, 0.5f, 0.25f}.begin(), 3, options.background);
    options.source = &part;
    for (const auto& [format, alpha, tolerance] : cases) {
        SCOPED_TRACE(format * 10 + alpha);
        const bool isOpaque = alpha != POLAR_PREMULTIPLIED;
        const double most = format == POLAR_RGBA_FLOAT ? INFINITY : 1;
        TestImage input(format, 90, 70, alpha, 5, true), output(format, 90, 70, alpha, 2);
        TestImage straight(POLAR_RGBA_FLOAT, 90, 70), mixed(POLAR_RGBA_FLOAT, 90, 70);
        input.fill(unsigned(format));
        const std::size_t channels = input.channels;
        for (int y = 0; y < 70; ++y)
            for (std::size_t x = 0; x < 90; ++x) {
                const double a = isOpaque ? 1 : number(input, y, 4 * x + 3);
                float pixel[] = {0, 0, 0, float(a)};
                for (std::size_t k = 0; k < 3 && a > 0; ++k)
                    pixel[k] = float(number(input, y, channels * x + k % channels) / a);
                std::memcpy(straight.row(y) + x * sizeof pixel, pixel, sizeof pixel);
            }
        options.sampling = POLAR_BILINEAR;
        ASSERT_EQ(polar_render(&straight.image, &mixed.image, &options), POLAR_OK);
        ASSERT_EQ(polar_render(&input.image, &output.image, &options), POLAR_OK);
        for (int y = 0; y < 70; ++y)
            for (std::size_t i = 0; i < 90 * channels; ++i) {
                const std::size_t k = i % channels, x = i / channels * 4;
                const double colour = k == 3 ? 1 : number(mixed, y, x + k);
                const double a = number(mixed, y, x + 3);
                const double behind = isOpaque && k < 3 ? options.background[k] : isOpaque;
                const double wanted = colour * a + behind * (1 - a);
                ASSERT_NEAR(number(output, y, i), std::min(wanted, most), tolerance) << y;
            }
        if (isOpaque) continue;
        // A pixel that is copied stays as it is.
        options.sampling = POLAR_NEAREST;
        TestImage copied(format, 90, 70);
        ASSERT_EQ(polar_render(&input.image, &output.image, &options), POLAR_OK);
        input.image.alpha = POLAR_STRAIGHT;
        ASSERT_EQ(polar_render(&input.image, &copied.image, &options), POLAR_OK);
        EXPECT_EQ(output.pixels(), copied.pixels());
    }
}

TEST(Library, WrongInputGivesItsStatusAndTouchesNothing) {
    struct Arguments {
        polar_image input, output;
        polar_rect source{0, 0, 5, 5}, whole{1, 0, 8, 8};
        polar_circle circle{4, 4, 4, 4, 0, 0, 0, 0};
        double amount = 1.01;
        polar_options options{
            sizeof(polar_options), 0, 0, 0, {}, &source, &whole, &circle, {}, {}, 0, 0, {}, 0};
    };
    const std::pair<int, std::function<void(Arguments&)>> cases[] = {
        {POLAR_NULL_POINTER, [](Arguments& a) { a.input.pixels = nullptr; }},
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
        {POLAR_BAD_OPTION, [](Arguments& a) { a.options.background[1] = NAN; }},
        {POLAR_BAD_OPTION, [](Arguments& a) { a.options.scale = 4; }},
        {POLAR_BAD_GEOMETRY, [](Arguments& a) { a.options.scale = POLAR_SCALE_LOG; }},
        {POLAR_BAD_OPTION, [](Arguments& a) { a.options.amount = &a.amount; }},
        {POLAR_BAD_OPTION, [](Arguments& a) { a.source.height = 0; }},
        {POLAR_BAD_OPTION, [](Arguments& a) { a.whole.x = INT_MAX; }},
        {POLAR_BAD_GEOMETRY, [](Arguments& a) { a.circle.center_x = NAN; }},
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
        Arguments a{input.image, output.image};
        spoil(a);
        EXPECT_EQ(polar_render(&a.input, &a.output, &a.options), status);
        EXPECT_TRUE(output.isUntouched());
        texts.insert(polar_status_text(status));
    }
    EXPECT_EQ(polar_render(nullptr, nullptr, nullptr), POLAR_NULL_POINTER);
    EXPECT_GE(texts.size(), 6u);
    EXPECT_FALSE(texts.contains(polar_status_text(99)));
    EXPECT_EQ(polar_pixel_bytes(15), 0u);
}

// A row of so many pixels that their conversion needs more memory than machines have.
TEST(Library, SaysWhenMemoryIsOut) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers end the process where memory is out";
#endif
    TestImage image(POLAR_RGBA8, 2, 1);
    polar_image output = image.image;
    output.pixels = image.row(0) + 4;
    output.width = sizeof(void*) == 8 ? INT_MAX : 1 << 24;
    image.image.width = 1;
    image.image.alpha = output.alpha = POLAR_PREMULTIPLIED;
    EXPECT_EQ(polar_render(&image.image, &output, nullptr), POLAR_OUT_OF_MEMORY);
    EXPECT_EQ(image.row(0)[4], 0xA5);
}

// Some are rendered as they lie, others as RGBA.
TEST(Library, RendersOpaquePicturesAlike) {
    polar_options options{};
    std::copy_n(std::array{1.0f, 0.5f, 0.25f}.begin(), 3, options.background);
    for (const int sampling : {POLAR_BILINEAR, POLAR_NEAREST, POLAR_AREA})
        for (const int direction : {POLAR_UNWRAP, POLAR_WRAP}) {
            TestImage input(POLAR_RGB8, 90, 70), output(POLAR_RGB8, 90, 70);
            TestImage wide(POLAR_RGBA8, 90, 70, POLAR_OPAQUE), wideOutput(wide.image);
            input.fill(3);
            for (int y = 0; y < 70; ++y)
                for (int x = 0; x < 90; ++x)
                    std::memcpy(wide.row(y) + 4 * x, input.row(y) + 3 * x, 3);
            options.sampling = sampling;
            options.direction = direction;
            ASSERT_EQ(polar_render(&input.image, &output.image, &options), POLAR_OK);
            ASSERT_EQ(polar_render(&wide.image, &wideOutput.image, &options), POLAR_OK);
            for (int y = 0; y < 70; ++y)
                for (int x = 0; x < 90; ++x)
                    ASSERT_EQ(std::memcmp(wideOutput.row(y) + 4 * x, output.row(y) + 3 * x, 3), 0)
                        << sampling << " " << direction << " " << x << "," << y;
        }
}

TEST(Library, AnyCallIsRefusedOrRenders) {
    for (unsigned seed = 0; seed < 2000; ++seed)
        ASSERT_NO_THROW(anyCall(randomBytes(seed, 120))) << seed;
}

TEST(Library, TellsProgressAndCanBeCancelled) {
    // One that is converted.
    TestImage input(POLAR_RGBA8, 600, 600, POLAR_OPAQUE), output(input.image);
    input.fill(1);
    struct Told {
        double last = 0, stopAt = 2;
    };
    const auto tell = [](void* user, double done) {
        auto& told = *static_cast<Told*>(user);
        EXPECT_GT(done, told.last);
        told.last = done;
        return int(done >= told.stopAt);
    };
    polar_options options{};
    options.progress = tell;
    std::vector<unsigned char> first;
    for (const int threads : {1, 4, 0}) {
        Told all;
        options.threads = threads;
        options.user = &all;
        EXPECT_EQ(polar_render(&input.image, &output.image, &options), POLAR_OK);
        EXPECT_EQ(all.last, 1);
        if (first.empty()) first = output.pixels();
        EXPECT_EQ(output.pixels(), first) << threads;
    }
    Told half{0, 0.5};
    options.threads = 1;
    options.user = &half;
    EXPECT_EQ(polar_render(&input.image, &output.image, &options), POLAR_CANCELLED);
    EXPECT_LT(half.last, 0.8);
}

}  // namespace
