// The render core without a host: any rectangles and circles, any band, any instruction set, any
// floating-point environment.

#include "render/Plan.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <random>

#include "tests/Scene.h"

namespace {

// By how much the library's arctangent is off, in parts of what it is allowed beyond its rounding.
thread_local double arctangentShift = 0;

}  // namespace

// Takes the library's place in this program.
extern "C" double atan2(double y, double x) noexcept {
    static const auto library =
        reinterpret_cast<double (*)(double, double)>(dlsym(RTLD_NEXT, "atan2"));
    if (arctangentShift == 0) return library(y, x);
    const long double exact = std::atan2(static_cast<long double>(y), x);
    const double rounding = std::ldexp(0.5, std::ilogb(static_cast<double>(exact)) - 52);
    const double allowed = polar::libraryError * 0x1p-51 - rounding;
    return static_cast<double>(exact + arctangentShift * allowed);
}

namespace {

using polar::Circle, polar::Geometry, polar::InstructionSet, polar::Mapping, polar::Plan;

polar::Image imageOf(const QzBitmap& bitmap, std::size_t pixelBytes) {
    return {bitmap.pixels, bitmap.rowLength * std::int64_t(pixelBytes)};
}

// A plan with its tables.
template <class Buffer>
struct TestPlan {
    TestPlan(const Geometry& geometry, TestBitmap<Buffer>& input, TestBitmap<Buffer>& output,
             QzLong sampling, const InstructionSet& set)
        : doubles(geometry.isEmpty() ? 0 : 2 * std::size_t(geometry.region.width)),
          plan(Buffer::bitmapType, geometry, imageOf(input.record, sizeof(typename Buffer::Pixel)),
               imageOf(output.record, sizeof(typename Buffer::Pixel)),
               sampling == 1 ? polar::Sampling::nearest : polar::Sampling::bilinear,
               {doubles.data(), doubles.data() + doubles.size() / 2}, set) {}

    std::vector<double> doubles;
    Plan plan;
};

// Circles and ellipses in and around a picture of that size, often with ties and axes on pixels.
Circle anyCircle(Draw& draw, QzLong size) {
    const auto some = [&] { return draw.upTo(4 * size) / (draw.upTo(2) == 0 ? 4.0 : 3.1); };
    Circle circle{{some(), some()}, {1 + some(), 1 + some()}};
    if (draw.upTo(2) == 0) circle.radii.y = circle.radii.x;
    circle.inner = draw.of({0.0, 0.0, 0.25, 0.7});
    circle.startTurns = draw.of({0.0, 0.25, 0.5, -0.125, 0.9, 3.3});
    circle.turns = draw.of({1.0, 1.0, 0.5, 0.25, 0.8});
    circle.clockwise = draw.upTo(2) == 0;
    return circle;
}

// Those that this processor has, the plain path first.
std::vector<const InstructionSet*> supportedSets() {
    std::vector<const InstructionSet*> supported;
    for (const InstructionSet* const set : polar::instructionSets())
        if (set->isSupported()) supported.push_back(set);
    return supported;
}
const std::vector<const InstructionSet*> sets = supportedSets();
const std::vector<const InstructionSet*> batched(sets.begin() + 1, sets.end());

template <class Buffer>
std::int64_t renderInBands(Draw& draw, const TestPlan<Buffer>& test, QzLong rows) {
    const bool inBands = test.plan.rowsIndependent() && !test.doubles.empty();
    if (!inBands) test.plan.render(0, rows);
    for (QzLong end = inBands ? rows : 0; end > 0;) {
        const QzLong first = std::max<QzLong>(0, end - 1 - draw.upTo(80));
        test.plan.render(first, end - first);
        end = first;
    }
}

// Every set against the sampler at each position. Returns how many pixels were compared.
template <class Buffer>
std::int64_t compareRectangles(unsigned seed) {
    const auto bytes = randomBytes(seed, 80);
    Draw draw(bytes);
    Scene<Buffer> scene(draw, 130);
    scene.sample();
    const auto geometry = polar::fromRectangles(scene.mode == 0 ? Mapping::unwrap : Mapping::wrap,
                                                scene.source, scene.region);
    for (const InstructionSet* const set : sets) {
        scene.reset();
        TestPlan<Buffer> test(geometry, scene.inPlace ? scene.output : scene.input, scene.output,
                              scene.sampling, *set);
        renderInBands(draw, test, scene.region.height);
        EXPECT_EQ(scene.output, scene.expected)
            << set->name << " format " << Buffer::name << " seed " << seed;
    }
    return std::max<std::int64_t>(scene.region.width, 0) * std::max<QzLong>(scene.region.height, 0);
}

// Every set in bands against the plain path at once, for circles.
template <class Buffer>
std::int64_t compareCircles(unsigned seed) {
    const auto bytes = randomBytes(seed, 200);
    Draw draw(bytes);
    Scene<Buffer> scene(draw, 130);
    if (scene.image.width <= 0 || scene.image.height <= 0) return 0;
    const QzRect place{0, 0, 1 + draw.upTo(200), 1 + draw.upTo(200)};
    const Geometry geometry = polar::around({draw.of({Mapping::unwrap, Mapping::wrap}),
                                             anyCircle(draw, 130),
                                             scene.image,
                                             scene.image,
                                             {scene.image.width, scene.image.height},
                                             draw.upTo(9) - 4,
                                             draw.upTo(9) - 4,
                                             place});
    TestBitmap<Buffer> whole(place), output(place);
    for (const InstructionSet* const set : sets) {
        TestPlan<Buffer> test(geometry, scene.input, output, scene.sampling, *set);
        if (set == sets.front())
            TestPlan<Buffer>(geometry, scene.input, whole, scene.sampling, *set)
                .plan.render(0, place.height);
        renderInBands(draw, test, place.height);
        EXPECT_EQ(output, whole) << set->name << " format " << Buffer::name << " seed " << seed;
        std::fill(output.memory.begin(), output.memory.end(), '\xA5');
    }
    return std::int64_t{place.width} * place.height;
}

void compare(unsigned seed, std::int64_t pixels, double shift) {
    arctangentShift = shift;
    for (; pixels > 0 && !testing::Test::HasFailure(); ++seed)
        visitFormat(1 + seed % QzFormats::count, [&]<class Buffer>() {
            pixels -= compareRectangles<Buffer>(seed) + compareCircles<Buffer>(seed);
        });
    arctangentShift = 0;
}

TEST(Plan, GivesTheSameBitsInAnyBandBySetsOfAnyKind) { compare(1, 10'000'000, 0); }

// Whatever the library's last bits are, pixels that they decide are left to it.
TEST(Plan, BearsAnyArctangentThatIsAllowed) {
    if (batched.empty()) GTEST_SKIP() << "this processor has the plain path alone";
    for (const double shift : {0.99, -0.99}) compare(3, 3'000'000, shift);
}

TEST(Plan, DISABLED_GivesTheSameBitsForLong) {
    for (const double shift : {0.0, 0.99, -0.99}) compare(2, 100'000'000, shift);
}

// On the diagonal an eighth of a turn ends halfway between two columns (61) or on one (65), or
// beside: only the last bits of the angle tell. Nothing else near there is that close.
TEST(Plan, LeavesTiesToTheLibrarysArctangent) {
    for (const InstructionSet* const set : batched)
        for (const auto& [size, sampling] : {std::pair(61, 1), std::pair(65, 0)}) {
            const QzRect all{0, 0, size, size}, diagonal{20, 20, 8, 8};
            TestBitmap<QzBufferRGBA8> input(all), output(diagonal);
            const auto geometry = polar::fromRectangles(Mapping::wrap, all, diagonal);
            TestPlan<QzBufferRGBA8> test(geometry, input, output, sampling, *set);
            EXPECT_EQ(test.plan.render(0, diagonal.height), diagonal.width) << size;
        }
}

// Pixels on the ray where columns end and begin again, to and from ends of the source that are
// there and that are not.
TEST(Plan, KeepsToTheSideOfTheCut) {
    const QzRect source{0, 0, 41, 20}, place{0, 0, 101, 101};
    TestBitmap<QzBufferRGBAFloat> input(source), whole(place), output(place);
    for (QzLong i = 0; i < 41 * 20; ++i) input.at(i, 0).store({float(i), float(i % 3), 1, 1});
    for (unsigned i = 0; i < 192; ++i) {
        const Circle circle{{50, 50}, {40, 40}, 0, i % 8 / 8.0, i & 8 ? 1.0 : 0.96, (i & 16) != 0};
        const QzRect bounds{i % 3 == 1 ? 11 : 0, 0, i % 3 == 0 ? 41 : 30, 20};
        const Geometry geometry =
            polar::around({Mapping::wrap, circle, source, bounds, {41, 20}, 0, 0, place});
        arctangentShift = i & 32 ? 0.99 : -0.99;
        for (const InstructionSet* const set : sets) {
            auto& to = set == sets.front() ? whole : output;
            TestPlan<QzBufferRGBAFloat>(geometry, input, to, i / 96, *set).plan.render(0, 101);
            EXPECT_TRUE(set == sets.front() || output == whole) << set->name << " " << i;
        }
    }
    arctangentShift = 0;
}

TEST(Plan, KnowsHowFarItsArctangentIsOff) {
    if (batched.empty()) GTEST_SKIP() << "this processor has the plain path alone";
    std::mt19937_64 random(5);
    const auto anywhere = [&] { return static_cast<double>(random()) / 0x1p64 - 0.5; };
    constexpr int count = 8;
    for (int trial = 0; trial < 40'000; ++trial) {
        double y[count], x[count], angles[count];
        for (int i = 0; i < count; ++i) {
            y[i] = std::ldexp(anywhere(), -static_cast<int>(random() % 4) * trial / 2'000);
            x[i] = i == 0 ? y[i] * (trial % 2 ? 0.41421356 : -1.0) : anywhere();
            if (random() % 2) std::swap(x[i], y[i]);
        }
        for (const InstructionSet* const set : batched) {
            set->arctangents(y, x, angles);
            for (int i = 0; i < count; ++i) {
                const long double exact = std::atan2(static_cast<long double>(y[i]), x[i]);
                ASSERT_LE(std::abs(angles[i] - exact), polar::batchError) << y[i] << ", " << x[i];
                ASSERT_LE(std::abs(std::atan2(y[i], x[i]) - exact), polar::libraryError * 0x1p-51L);
            }
        }
    }
}

// Pixels that hold their own position show where they were sampled, against angles and distances
// worked out here.
TEST(Plan, CirclesLieWhereTheySay) {
    constexpr double turn = 6.283185307179586;
    const Circle circles[] = {{{30, 25}, {20, 20}, 0, 0, 1, false},
                              {{30.5, 25.25}, {20, 15}, 0.25, 0.25, 1, true},
                              {{31, 24}, {18, 21}, 0.5, -0.4, 0.5, false},
                              {{29, 26}, {17, 17}, 0.1, 2.75, 0.75, true}};
    for (const Circle& circle : circles) {
        const polar::Size panorama{40, 16};
        const QzRect round{0, 0, 60, 50}, strip{0, 0, panorama.width, panorama.height};
        TestBitmap<QzBufferRGBAFloat> disc(round), flat(strip), discOut(round), flatOut(strip);
        for (QzLong i = 0; i < 60 * 50; ++i)
            disc.at(i % 60, i / 60).store({float(i % 60), float(i / 60), 0, 1});
        for (QzLong i = 0; i < 40 * 16; ++i)
            flat.at(i % 40, i / 40).store({float(i % 40), float(i / 40), 0, 1});
        TestPlan<QzBufferRGBAFloat>(
            polar::around({Mapping::unwrap, circle, round, round, panorama, 0, 0, strip}), disc,
            flatOut, 0, polar::plainPath)
            .plan.render(0, strip.height);
        TestPlan<QzBufferRGBAFloat>(
            polar::around({Mapping::wrap, circle, strip, strip, panorama, 0, 0, round}), flat,
            discOut, 0, polar::plainPath)
            .plan.render(0, round.height);
        const auto place = [&](double column, double row) {
            const double order = circle.clockwise ? 1 : -1;
            const double angle = (circle.startTurns + order * column * circle.turns) * turn;
            const double distance = circle.inner + (1 - circle.inner) * row / panorama.height;
            return polar::Point{circle.centre.x + circle.radii.x * distance * std::sin(angle),
                                circle.centre.y - circle.radii.y * distance * std::cos(angle)};
        };
        for (QzLong row = 0; row < panorama.height; ++row)
            for (QzLong column = 0; column < panorama.width; ++column) {
                const auto at = place(double(column) / panorama.width, row);
                const auto found = flatOut.at(column, row).load();
                EXPECT_NEAR(found.r, at.x, 1e-4) << column << ", " << row;
                EXPECT_NEAR(found.g, at.y, 1e-4) << column << ", " << row;
            }
        int opaque = 0;
        for (QzLong i = 0; i < 60 * 50; ++i) {
            const auto found = discOut.at(i % 60, i / 60).load();
            if (found.a != 1 || found.g < 0.5f) continue;
            const auto at = place(found.r / (panorama.width - 1.0), found.g);
            EXPECT_NEAR(at.x, double(i % 60), 1e-3);
            EXPECT_NEAR(at.y, double(i / 60), 1e-3);
            ++opaque;
        }
        EXPECT_GT(opaque, 300);
    }
}

// A rim that rounds to just inside would show a trace of the last row all around.
TEST(Plan, NothingShowsOutsideARing) {
    for (int height = 1; height < 60; ++height)
        for (double inner = 0; inner < 0.99; inner += 1 / 97.0) {
            const QzRect flat{3, 5, 9, height};
            const Geometry geometry = polar::around({Mapping::wrap,
                                                     {{50, 50}, {50, 50}, inner},
                                                     flat,
                                                     flat,
                                                     {9, height},
                                                     0,
                                                     0,
                                                     {0, 0, 9, 9}});
            ASSERT_GE(geometry.scaleY + geometry.originY, 5 + height) << inner;
        }
}

// As a host may leave it: another rounding, traps, flags raised, subnormals flushed to zero.
TEST(Plan, RoundsToNearestAndLeavesTheEnvironmentAsItWas) {
    const QzRect place{0, 0, 97, 61};
    TestBitmap<QzBufferRGBAFloat> input(place), output(place), expected(place);
    for (QzLong i = 0; i < 97 * 61; ++i)
        input.at(i % 97, i / 97).store({float(i % 7) / 3, 1e-40f, float(i % 3) - 1, float(i % 2)});
    for (const Mapping mapping : {Mapping::unwrap, Mapping::wrap})
        for (const QzLong sampling : {0, 1})
            for (const InstructionSet* const set : sets) {
                const auto render = [&](auto& to) {
                    const Geometry geometry = polar::fromRectangles(mapping, place, place);
                    TestPlan<QzBufferRGBAFloat>(geometry, input, to, sampling, *set)
                        .plan.render(0, place.height);
                };
                render(expected);
                for (const int direction : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
                    std::feclearexcept(FE_ALL_EXCEPT);
                    std::fesetround(direction);
                    std::feraiseexcept(FE_UNDERFLOW);
                    const int trapped = FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW;
                    const bool traps = feenableexcept(trapped) != -1;
                    render(output);
                    const int after = fegetround(), flags = fetestexcept(FE_ALL_EXCEPT);
                    const int stillTrapped = fegetexcept();
                    std::fesetenv(FE_DFL_ENV);
                    EXPECT_EQ(after, direction) << set->name;
                    EXPECT_EQ(flags, FE_UNDERFLOW) << set->name;
                    EXPECT_EQ(stillTrapped, traps ? trapped : 0) << set->name;
                    EXPECT_EQ(output, expected) << set->name << " " << direction;
                }
            }
}

}  // namespace
