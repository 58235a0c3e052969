// The effects for frei0r, loaded as hosts do, against libpolar.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <future>
#include <limits>

#include "tests/TestImage.h"

extern "C" {
#include <frei0r.h>
}

namespace {

constexpr const char* files[] = {POLAR_FREI0R_UNWRAP, POLAR_FREI0R_WRAP};
enum { sampling, amount, angle, direction, ground, circle, centreX, centreY, radius, inner };
using Values = std::vector<std::pair<int, double>>;

struct Effect {
    Effect(int way, const TestImage& like, const Values& values = {})
        : file(dlopen(files[way], RTLD_NOW | RTLD_LOCAL)),
          instance(
              get<decltype(f0r_construct)>("f0r_construct")(like.image.width, like.image.height)) {
        for (auto [index, value] : values) set(index, value);
    }
    ~Effect() {
        get<decltype(f0r_destruct)>("f0r_destruct")(instance);
        dlclose(file);
    }
    template <class Function>
    Function* get(const char* name) const {
        return reinterpret_cast<Function*>(dlsym(file, name));
    }
    void set(int i, double value) const {
        get<decltype(f0r_set_param_value)>("f0r_set_param_value")(instance, &value, i);
    }
    void update(const void* from, void* to) const {
        get<decltype(f0r_update)>("f0r_update")(
            instance, 0, static_cast<const std::uint32_t*>(from), static_cast<std::uint32_t*>(to));
    }
    std::vector<unsigned char> operator()(const TestImage& input) const {
        const TestImage output(POLAR_RGBA8, input.image.width, input.image.height);
        update(input.image.pixels, output.image.pixels);
        return output.pixels();
    }

    void* file;
    f0r_instance_t instance;
};

struct Case {
    Values values;
    polar_circle circle;  // fractions of width and height; of the smaller one if isRound
    bool isRound = false, isUpsideDown = false;
    int sampling = POLAR_BILINEAR;
    double amount = 1;
};
const Case cases[] = {
    {{}, {}},
    {{{sampling, 0.5}}, {.5, .5, .5, .5, 0, 0, 1, 0}, false, false, POLAR_NEAREST},
    {{{angle, 0.525}, {direction, 0.5}}, {.5, .5, .5, .5, 0, 0.25, 1, 1}},
    {{{angle, -0.1}, {centreX, 0.25}, {centreY, 0.625}, {inner, 0.1}},
     {0.25, 0.625, .5, .5, 0.1, -6, 1, 0}},
    {{{ground, 1}}, {.5, .5, .5, .5, 0, 0, 1, 1}, false, true},
    {{{ground, 1}, {direction, 1}}, {.5, .5, .5, .5, 0, 0, 1, 0}, false, true},
    {{{circle, 1}, {radius, 0.375}, {amount, 0.5}},
     {.5, .5, 0.75, 0.75, 0, 0, 1, 0},
     true,
     false,
     POLAR_BILINEAR,
     0.5},
    {{{radius, -3}, {amount, 7}, {inner, 1}, {centreX, -0.5}},
     {-0.5, .5, 0.0005, 0.0005, 0.999, 0, 1, 0}}};

TEST(Frei0r, ParametersMeanWhatTheySay) {
    for (const auto& [width, height] : {std::pair{40, 56}, {37, 21}, {1, 1}, {640, 360}})
        for (int i = 0; i < 2 * int(std::size(cases)); ++i) {
            const Case& c = cases[i / 2];
            polar_circle its = c.circle;
            its.center_x *= width;
            its.center_y *= height;
            its.radius_x *= c.isRound ? std::min(width, height) : width;
            its.radius_y *= c.isRound ? std::min(width, height) : height;
            polar_options options{};
            options.size = sizeof options;
            options.direction = i % 2;
            options.sampling = c.sampling;
            options.circle = c.values.empty() ? nullptr : &its;  // the library's own
            options.amount = &c.amount;
            TestImage input(POLAR_RGBA8, width, height), wanted(POLAR_RGBA8, width, height);
            input.fill(7);
            polar_image in = input.image, out = wanted.image;
            if (c.isUpsideDown) {
                polar_image& flat = i % 2 == POLAR_WRAP ? in : out;
                flat.pixels = (i % 2 == POLAR_WRAP ? input : wanted).row(height - 1);
                flat.row_bytes = -input.rowBytes;
            }
            ASSERT_EQ(polar_render(&in, &out, &options), POLAR_OK);
            EXPECT_TRUE(Effect(i % 2, input, c.values)(input) == wanted.pixels()) << width << i;
        }
}

// A picture whose ground comes from below neither begins upside down nor jumps at the end.
TEST(Frei0r, PicturesMoveFromWhereTheyStand) {
    TestImage input(POLAR_RGBA8, 60, 44);
    for (int i = 0; i < 60 * 44; ++i) {
        const int pixel[] = {i % 60 * 4, i / 60 * 5, 99, 255};
        std::copy(pixel, pixel + 4, input.row(0) + std::ptrdiff_t{4} * i);
    }
    for (const int way : {POLAR_UNWRAP, POLAR_WRAP}) {
        const Effect effect(way, input, {{ground, 1}, {angle, 0.51}, {centreY, 0.4}, {inner, 0.1}});
        const auto end = effect(input);
        effect.set(amount, 1 - 1e-9);
        const auto almost = effect(input);
        int apart = 0;
        for (std::size_t i = 0; i < end.size(); ++i)
            apart += almost[i | 3] > 0 && std::abs(end[i] - almost[i]) > 1;
        EXPECT_LT(apart, 30) << way;  // components, at the rim
        effect.set(amount, 0);
        EXPECT_TRUE(effect(input) == input.pixels());
    }
}

// Rubbish is ignored; what cannot be rendered is transparent; a frame rendered in place stays.
// Bands may be rendered at once by one instance, wherever they lie.
TEST(Frei0r, HostsAreTakenAsTheyAre) {
    TestImage input(POLAR_RGBA8, 301, 230);
    input.fill(11);
    const auto pixels = input.pixels();
    const Effect effect(POLAR_WRAP, input);
    for (int times = 0; times < 2; ++times)
        EXPECT_EQ(effect.get<decltype(f0r_init)>("f0r_init")(), 1);
    const auto before = effect(input);
    for (int i = -1; i <= 10; ++i) effect.set(i, std::numeric_limits<double>::quiet_NaN());
    for (const int i : {-1, 10, INT_MAX}) effect.set(i, 0.7);
    std::vector<unsigned char> from(4 * (pixels.size() + 1)), to(from.size());
    std::vector<std::future<void>> threads;
    for (auto* at = from.data(); at < &from.back(); at += pixels.size() + 1) {
        std::copy(pixels.begin(), pixels.end(), at);
        threads.push_back(std::async(std::launch::async,
                                     [&, at] { effect.update(at, to.data() + (at - &from[0])); }));
    }
    for (auto& thread : threads) thread.get();
    for (std::size_t i = 0; i < to.size(); i += pixels.size() + 1)
        EXPECT_TRUE(std::equal(before.begin(), before.end(), &to[i])) << i;
    effect.update(input.image.pixels, input.image.pixels);
    EXPECT_TRUE(input.pixels() == pixels);
    effect.set(centreX, 1e300);
    EXPECT_TRUE(effect(input) == std::vector<unsigned char>(pixels.size()));
}

}  // namespace
