// The render core without a host: any rectangles and circles, any band, any instruction set, any
// floating-point environment.

#include "render/Plan.h"

#include <gtest/gtest.h>

#include <cfenv>

#include "tests/Scene.h"

// By how much the library's arctangent is off, in parts of what it is allowed beyond its rounding.
static thread_local double arctangentShift = 0;

// Takes the library's place in this program.
extern "C" double atan2(double y, double x) noexcept {
    if (arctangentShift == 0) return libraryArctangent(y, x);
    const long double exact = std::atan2(static_cast<long double>(y), x);
    const double rounding = std::exp2(std::logb(static_cast<double>(exact)) - 53);
    const double allowed = polar::libraryError * 0x1p-51 - rounding;
    return static_cast<double>(exact + arctangentShift * allowed);
}

namespace {

using polar::Circle, polar::Geometry, polar::InstructionSet, polar::Mapping, polar::Plan;

template <class Buffer>
polar::Image imageOf(const TestBitmap<Buffer>& bitmap) {
    const std::int64_t pixelBytes = sizeof(typename Buffer::Pixel);
    return {bitmap.record.pixels, bitmap.record.rowLength * pixelBytes};
}

// Beside what hosts ask for: 1 is nearest, anything else bilinear.
constexpr QzLong area = 77;

// A plan with its tables.
template <class Buffer>
struct TestPlan {
    TestPlan(const Geometry& geometry, const TestBitmap<Buffer>& input,
             const TestBitmap<Buffer>& output, QzLong sampling, const InstructionSet& set,
             const polar::Background& background = {})
        : doubles(geometry.isEmpty() ? 0 : 2 * std::size_t(geometry.region.width)),
          plan(Buffer::bitmapType, geometry, imageOf(input), imageOf(output),
               sampling == area ? polar::Sampling::area
               : sampling == 1  ? polar::Sampling::nearest
                                : polar::Sampling::bilinear,
               {doubles.data(), doubles.data() + doubles.size() / 2}, set, background) {}

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
    if (circle.inner > 0 || draw.upTo(4) == 0) {
        using enum polar::RowScale;
        circle.scale = draw.of({linear, linear, log, sqrt, square});
        if (circle.scale == log) circle.inner = std::max(circle.inner, 0.01);
    }
    return circle;
}

// Those that this processor has, the plain path first.
const auto sets = [] {
    std::vector<const InstructionSet*> supported;
    for (const InstructionSet* const set : polar::instructionSets())
        if (set->isSupported()) supported.push_back(set);
    return supported;
}();
const std::vector<const InstructionSet*> batched(sets.begin() + 1, sets.end());

// Renders bands of random height, from the last to the first, where rows are independent.
template <class Buffer>
void renderInBands(Draw& draw, const TestPlan<Buffer>& test, QzLong rows) {
    const bool inBands = test.plan.rowsIndependent() && !test.doubles.empty();
    do {
        const QzLong first = inBands ? std::max<QzLong>(0, rows - 1 - draw.upTo(80)) : 0;
        test.plan.render(first, rows - first);
        rows = first;
    } while (rows > 0);
}

// Calls `work` with another rounding, traps and a flag raised, all of which must be so afterwards.
template <class Work>
void inEnvironment(int direction, Work work) {
    constexpr int fatal = FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW;
    std::feclearexcept(FE_ALL_EXCEPT);
    std::fesetround(direction);
    std::feraiseexcept(FE_UNDERFLOW);
    const int raised = std::fetestexcept(FE_ALL_EXCEPT);  // some processors add FE_INEXACT
    const bool traps = trap(fatal);
    work();
    const std::array after{fegetround(), fetestexcept(FE_ALL_EXCEPT), trapped()};
    std::fesetenv(FE_DFL_ENV);
    std::fesetround(FE_TONEAREST);  // Windows' fesetenv() forgets some registers
    EXPECT_EQ(after, (std::array{direction, raised, traps ? fatal : 0}));
}

// Every set against the sampler at each position.
template <class Buffer>
void compareRectangles(Draw draw, Scene<Buffer>& scene, int direction) {
    scene.sample();
    for (const InstructionSet* const set : sets) {
        scene.reset();
        inEnvironment(direction, [&] {
            const auto geometry = polar::fromRectangles(
                scene.mode == 0 ? Mapping::unwrap : Mapping::wrap, scene.source, scene.region);
            const auto& input = scene.inPlace ? scene.output : scene.input;
            TestPlan test(geometry, input, scene.output, scene.sampling, *set);
            renderInBands(draw, test, scene.region.height);
        });
        EXPECT_EQ(scene.output, scene.expected) << set->name;
    }
}

// Pixels without alpha, by every set, against opaque ones that are put over the background.
template <class Buffer, class WithAlpha>
void compareOpaque(Draw& draw, Scene<WithAlpha>& scene, const Geometry& geometry) {
    const QzRect &from = scene.image, &place = geometry.region;
    const polar::Background background{0.2F, draw.of({0.0F, 1.0F}), -0.5F};
    TestBitmap<Buffer> input(from), expected(place);
    TestBitmap<WithAlpha> opaque(from), whole(place);
    for (std::int64_t y = from.y; y < std::int64_t{from.y} + from.height; ++y)
        for (std::int64_t x = from.x; x < std::int64_t{from.x} + from.width; ++x) {
            auto components = scene.input.at(x, y).load();
            components.a = polar::one<typename WithAlpha::Pixel>;
            opaque.at(x, y).store(components);
            input.at(x, y).store(opaque.at(x, y), {});
            opaque.at(x, y) = input.at(x, y);
        }
    TestPlan(geometry, opaque, whole, scene.sampling, polar::plainPath)
        .plan.render(0, place.height);
    for (QzLong y = 0; y < place.height; ++y)
        for (QzLong x = 0; x < place.width; ++x)
            expected.at(x, y).store(whole.at(x, y), background);
    for (const InstructionSet* const set : sets) {
        const TestBitmap<Buffer> output(place);
        const TestPlan test(geometry, input, output, scene.sampling, *set, background);
        renderInBands(draw, test, place.height);
        EXPECT_EQ(output, expected) << set->name << ", " << Buffer::Pixel::channels << " channels";
    }
}

// Every set in bands against the plain path at once, for circles.
template <class Buffer>
void compareCircles(Draw draw, Scene<Buffer>& scene) {
    const QzRect& from = scene.image;
    if (from.width <= 0 || from.height <= 0) return;
    const QzRect place{0, 0, 1 + draw.upTo(200), 1 + draw.upTo(200)};
    const auto mapping = draw.of({Mapping::unwrap, Mapping::wrap});
    const Circle circle = anyCircle(draw, 130);
    const QzLong x = draw.upTo(9) - 4, y = draw.upTo(9) - 4;
    QzRect bounds = from;
    if (draw.upTo(4) == 0) {
        const QzLong missing = draw.upTo(bounds.width);
        bounds.x += missing / 2;
        bounds.width -= missing;
    }
    const bool isCyclic = draw.upTo(2) == 0;
    const double amount = draw.of({1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 0.7, 0.0});
    const Geometry geometry = polar::around({mapping,
                                             circle,
                                             from,
                                             bounds,
                                             {from.width, from.height},
                                             x,
                                             y,
                                             place,
                                             isCyclic,
                                             amount,
                                             {place.width, place.height}});
    for (const QzLong sampling : {scene.sampling, area}) {
        const TestBitmap<Buffer> whole(place);
        TestPlan(geometry, scene.input, whole, sampling, polar::plainPath)
            .plan.render(0, place.height);
        for (const InstructionSet* const set : sets) {
            const TestBitmap<Buffer> output(place);
            const TestPlan test(geometry, scene.input, output, sampling, *set);
            renderInBands(draw, test, place.height);
            EXPECT_EQ(output, whole) << set->name << (sampling == area ? ", area" : "");
        }
    }
    const auto opaque = [&]<class Without>() {
        if constexpr (std::is_same_v<typename Without::Pixel::Sampled, typename Buffer::Pixel>)
            compareOpaque<Without>(draw, scene, geometry);
    };
    forEachFormat(opaque, polar::OpaqueFormats{});
}

void compare(unsigned first, unsigned scenes, double shift) {
    constexpr int directions[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};
    arctangentShift = shift;
    for (unsigned seed = first; seed < first + scenes && !testing::Test::HasFailure(); ++seed)
        visitFormat(1 + seed % QzFormats::count, [&]<class Buffer>() {
            SCOPED_TRACE(Buffer::name + std::to_string(seed));
            const auto bytes = randomBytes(seed, 200);
            Draw draw(bytes);
            Scene<Buffer> scene(draw, 130);
            compareRectangles(draw, scene, directions[seed / QzFormats::count % 4]);
            compareCircles(draw, scene);
        });
    arctangentShift = 0;
}

TEST(Plan, GivesTheSameBitsInAnyBandBySetsOfAnyKind) { compare(1, batched.empty() ? 100 : 500, 0); }

// Whatever the library's last bits are, pixels that they decide are left to it.
TEST(Plan, BearsAnyArctangentThatIsAllowed) {
    if (batched.empty()) GTEST_SKIP() << "this processor has the plain path alone";
    for (const double shift : {0.99, -0.99}) compare(3, 160, shift);
}

TEST(Plan, DISABLED_GivesTheSameBitsForLong) {
    for (const double shift : {0.0, 0.99, -0.99}) compare(2, 5000, shift);
}

// Pixels on the ray where columns end and begin again, to and from ends of the source that are
// there and that are not.
TEST(Plan, KeepsToTheSideOfTheCut) {
    const QzRect source{0, 0, 41, 20}, place{0, 0, 169, 169};
    TestBitmap<QzBufferRGBAFloat> input(source), whole(place), output(place);
    for (QzLong i = 0; i < 41 * 20; ++i) input.at(i, 0).store({float(i), float(i % 3), 1, 1});
    // Some just beside straight up, where turns begin again.
    constexpr double starts[] = {0, 0.125, 0.25, 0.95, 0.5, 0.99, 0.01, 0.875};
    for (unsigned i = 0; i < 192; ++i) {
        const Circle circle{{i & 64 ? 76.0 : 92.0, 84}, {80, 80},     0, starts[i % 8],
                            i & 8 ? 1.0 : 0.96,         (i & 16) != 0};
        const QzRect bounds{i % 3 == 1 ? 11 : 0, 0, i % 3 == 0 ? 41 : 30, 20};
        const Geometry geometry =
            polar::around({Mapping::wrap, circle, source, bounds, {41, 20}, 0, 0, place});
        arctangentShift = i & 32 ? 0.99 : -0.99;
        for (const InstructionSet* const set : sets) {
            auto& to = set == sets.front() ? whole : output;
            const auto redone = TestPlan(geometry, input, to, i / 96, *set).plan.render(0, 169);
            EXPECT_LT(redone, 169 * 169 / 3) << "most are decided in batches";
            EXPECT_TRUE(set == sets.front() || output == whole) << set->name << " " << i;
        }
    }
    arctangentShift = 0;
}

// What a pixel has of these components.
template <class Pixel, class Component>
void put(Pixel& pixel, const QzComponents<Component>& components) {
    if constexpr (polar::Opaque<Pixel>) {
        typename Pixel::Sampled sampled;
        sampled.store(components);
        pixel.store(sampled, {});
    } else {
        pixel.store(components);
    }
}

// Diagonals and axes that lie within a few roundings of a tie or of a column, beside which pixels
// differ from their neighbours by everything.
TEST(Plan, LeavesOpenWhatTheArctangentDecides) {
    if (batched.empty()) GTEST_SKIP() << "this processor has the plain path alone";
    const QzRect place{0, 0, 65, 65};
    for (const int width : {109, 113})
        for (int rounding = -12; rounding <= 12; ++rounding) {
            const auto compareSets = [&]<class Buffer>() {
                using Pixel = typename Buffer::Pixel;
                const QzRect source{0, 0, width, 20};
                TestBitmap<Buffer> input(source), whole(place), output(place);
                using Component = typename Pixel::Component;
                const double full = Pixel::maxValue;
                for (QzLong i = 0; i < width * 20; ++i) {
                    const double red = polar::Opaque<Pixel> ? i % width / 2 % 2 * full : i % 7;
                    const double alpha = polar::Opaque<Pixel> ? full : i % 2 * full;
                    put<Pixel, Component>(input.at(i, 0), {Component(red), Component(i % 5),
                                                           Component(i % 3), Component(alpha)});
                }
                const Circle circle{{32, 32}, {32, 32}, 0, 0.625 + rounding * 0x1p-53, 1.0, false};
                const Geometry geometry = polar::around(
                    {Mapping::wrap, circle, source, source, {width, 20}, 0, 0, place});
                for (const int variant : {0, 1, 2, 3}) {
                    arctangentShift = variant & 2 ? 0.99 : -0.99;
                    for (const InstructionSet* const set : sets) {
                        auto& to = set == sets.front() ? whole : output;
                        TestPlan(geometry, input, to, variant & 1, *set).plan.render(0, 65);
                        EXPECT_TRUE(set == sets.front() || output == whole)
                            << set->name << " " << Buffer::bitmapType << " " << width << " "
                            << rounding;
                    }
                }
                arctangentShift = 0;
            };
            forEachFormat(compareSets);
            forEachFormat(compareSets, polar::OpaqueFormats{});
        }
}

// Means as near to a tie as some hundred tries come, each of pixels of its own.
template <class Buffer>
void compareTies(unsigned seed) {
    using Pixel = typename Buffer::Pixel;
    using Component = typename Pixel::Component;
    constexpr bool isFloat = std::is_same_v<Component, float>;
    constexpr int side = 128, size = 960, tries = isFloat ? 1 : 300;
    constexpr auto largest = static_cast<QzLong>(isFloat ? 1 << 20 : Pixel::maxValue);
    const QzRect source{0, 0, size, size}, place{0, 0, side, side - 32};
    const Geometry geometry = polar::around({Mapping::unwrap,
                                             polar::inscribed({size, size}),
                                             source,
                                             source,
                                             {side, side},
                                             0,
                                             32,
                                             place});
    TestBitmap<Buffer> input(source), whole(place), output(place);
    TestPlan test(geometry, input, whole, 0, polar::plainPath);
    std::minstd_rand random(seed);
    const auto any = [&] {
        return QzLong(random() % 3 ? random() % (largest + 1) : random() % 2 * largest);
    };
    for (int pixel = 0; pixel < side * (side - 32); ++pixel) {
        const double v = geometry.rows.at(pixel / side);
        const auto at = [&](int table) {
            return (0.5 - v * test.doubles[std::size_t(table * side + pixel % side)]) * size;
        };
        const double x = at(0), y = at(1), fx = x - std::floor(x), fy = y - std::floor(y);
        const double weights[] = {(1 - fx) * (1 - fy), fx * (1 - fy), (1 - fx) * fy, fx * fy};
        QzLong alphas[4], colours[3][4] = {};
        double total = 0;
        for (int i = 0; i < 4; ++i)
            total += weights[i] * (alphas[i] = polar::Opaque<Pixel> ? largest : any());
        for (auto& best : colours)
            for (double nearest = 1, i = 0; i < tries; ++i) {
                QzLong tried[4];
                double mean = 0.5;
                for (int k = 0; k < 4; ++k)
                    mean += weights[k] * alphas[k] / total * (tried[k] = any());
                if (std::abs(mean - std::round(mean)) >= nearest) continue;
                nearest = std::abs(mean - std::round(mean));
                std::ranges::copy(tried, best);
            }
        for (int i = 0; i < 4; ++i)
            put<Pixel, Component>(input.at(QzLong(x) + i % 2, QzLong(y) + i / 2),
                                  {Component(colours[0][i]), Component(colours[1][i]),
                                   Component(colours[2][i]), Component(alphas[i])});
        if constexpr (isFloat) {
            // The last of the four takes the mean to a tie, as far as its own roundings go.
            double sum = 0;
            for (int i = 0; i < 3; ++i) sum += weights[i] * double(colours[0][i]);
            const double below = float(sum), unit = std::exp2(std::logb(below) - 24);
            const auto last = Component((below + (below > sum ? 1 : 3) * unit - sum) / weights[3]);
            put<Pixel, Component>(input.at(QzLong(x) + 1, QzLong(y) + 1), {last, last, last, 1});
        }
    }
    test.plan.render(0, side - 32);
    for (const InstructionSet* const set : batched) {
        TestPlan(geometry, input, output, 0, *set).plan.render(0, side - 32);
        EXPECT_TRUE(output == whole) << set->name << " " << Buffer::bitmapType << " " << seed;
    }
}

TEST(Plan, LeavesOpenWhatRoundingsDecide) {
    if (batched.empty()) GTEST_SKIP() << "this processor has the plain path alone";
    compareTies<QzBufferRGBA8>(1);
    // One of the three seeds below 60 that tell a sixth of the margin from all of it.
    compareTies<QzBufferRGBA10>(7);
    const auto opaque = []<class Buffer>() {
        if constexpr (Buffer::Pixel::componentBits != 16) compareTies<Buffer>(1);
    };
    forEachFormat(opaque, polar::OpaqueFormats{});
}

// Just right of a power of two, where rounding moves positions by nearly as much as bounds allow
// for, and beside a column of little alpha, where means make nearly as much of that as bounds allow
// for. The column has `part` of full alpha.
template <class Buffer>
void compareFarOut(unsigned seed, double part) {
    using Component = typename Buffer::Pixel::Component;
    constexpr bool isFloat = std::is_same_v<Component, float>;
    constexpr double most = Buffer::Pixel::maxValue;
    constexpr int side = 128, x = isFloat ? 1 << 13 : int(0x1p33 / (most + 1));
    constexpr int width = x / 16 + 1, radius = 64 * side * (width - 1), middle = x + width / 4;
    const QzRect place{0, 0, side, side}, source{x, 0, width, width};
    const QzRect bounds{middle - 2, width - 8, 5, 8};
    const Circle circle{{radius, radius}, {radius, radius}};
    // Its left end, some rows from the rim.
    const Geometry geometry = polar::around({Mapping::wrap,
                                             circle,
                                             source,
                                             bounds,
                                             {width, width},
                                             200 * side,
                                             radius - side / 2,
                                             place});
    TestBitmap<Buffer> input(bounds), whole(place), output(place);
    std::minstd_rand random(seed);
    for (int i = 0; i < 5 * 8; ++i) {
        const bool isMiddle = i % 5 == 2;
        const auto any = [&](bool isLarge) {
            const double some = static_cast<double>(random() % 65536) / 0x1p21;
            return Component(most * (isLarge ? 1 - some : some));
        };
        put<typename Buffer::Pixel, Component>(input.at(bounds.x + i % 5, bounds.y + i / 5),
                                               {any(isMiddle), any(!isMiddle), any(!isMiddle),
                                                Component(isMiddle ? most * part : most)});
    }
    TestPlan(geometry, input, whole, 0, polar::plainPath).plan.render(0, side);
    for (const InstructionSet* const set : batched) {
        const auto redone = TestPlan(geometry, input, output, 0, *set).plan.render(0, side);
        EXPECT_TRUE(output == whole) << set->name << " " << Buffer::bitmapType << " " << seed;
        if (isFloat || part > 0.1) {
            EXPECT_LT(redone, side * side * 2 / 3) << "most are decided in batches";
        }
    }
}

// Batches of integers need 0.26 of full alpha here: a bit more than it, and than a tenth of it.
TEST(Plan, LeavesOpenWhatRoundedPositionsDecide) {
    if (batched.empty()) GTEST_SKIP() << "this processor has the plain path alone";
    for (unsigned seed = 1; seed <= 100; ++seed) {
        arctangentShift = seed % 2 ? 0.99 : -0.99;
        const double part = seed % 4 < 2 ? 0.268 : 0.0268;
        compareFarOut<QzBufferRGBA12>(seed, part);
        compareFarOut<QzBufferRGBA16>(seed, part);
        compareFarOut<QzBufferRGBAFloat>(seed, part);
        const auto opaque = [&]<class Buffer>() {
            if constexpr (Buffer::Pixel::componentBits > 8) compareFarOut<Buffer>(seed, part);
        };
        forEachFormat(opaque, polar::OpaqueFormats{});
    }
    arctangentShift = 0;
}

// In frames too large for the caches, which are read ahead and written past them.
TEST(Plan, GivesTheSameBitsInLargeFrames) {
    if (batched.empty()) GTEST_SKIP() << "this processor has the plain path alone";
    const QzRect all{0, 0, 1088, 1088};
    const auto compareSets = [&]<class Buffer>() {
        using Pixel = typename Buffer::Pixel;
        TestBitmap<Buffer> input(all), whole(all), output(all);
        std::minstd_rand random(1);
        for (QzLong i = 0; i < all.width * all.height; ++i) {
            using Component = typename Pixel::Component;
            const auto any = [&] { return Component(random() & Pixel::maxValue); };
            put<Pixel, Component>(
                input.at(i, 0),
                {any(), any(), any(), polar::Opaque<Pixel> ? Component(Pixel::maxValue) : any()});
        }
        for (const int variant : {0, 1, 2, 3}) {
            const auto geometry =
                polar::fromRectangles(variant & 2 ? Mapping::wrap : Mapping::unwrap, all, all);
            TestPlan(geometry, input, whole, variant & 1, polar::plainPath).plan.render(0, 1088);
            for (const InstructionSet* const set : batched) {
                TestPlan(geometry, input, output, variant & 1, *set).plan.render(0, 1088);
                EXPECT_TRUE(output == whole)
                    << set->name << " " << Buffer::bitmapType << " " << variant;
            }
        }
    };
    forEachFormat(compareSets);
    forEachFormat(compareSets, polar::OpaqueFormats{});
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

// A rim that rounds to just inside would show a trace of the last row all around.
TEST(Plan, NothingShowsOutsideARing) {
    for (int height = 1; height < 60; ++height)
        for (double inner = 0; inner < 0.99; inner += 1 / 97.0) {
            const QzRect flat{3, 5, 9, height};
            const Circle ring{{50, 50}, {50, 50}, inner};
            const Geometry geometry =
                polar::around({Mapping::wrap, ring, flat, flat, {9, height}, 0, 0, flat});
            ASSERT_GE(geometry.scaleY + geometry.originY, 5 + height) << inner;
        }
}

}  // namespace
