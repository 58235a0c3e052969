// The render core without a host: any circle, any band, any floating-point environment.

#include "render/Plan.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>

#include "tests/Scene.h"

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
        : doubles(2 * std::size_t(geometry.region.width)),
          plan(Buffer::bitmapType, geometry, imageOf(input.record, sizeof(typename Buffer::Pixel)),
               imageOf(output.record, sizeof(typename Buffer::Pixel)),
               sampling == 1 ? polar::Sampling::nearest : polar::Sampling::bilinear,
               {doubles.data(), doubles.data() + geometry.region.width}, set) {}

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

// Renders `geometry` in bands of random height, from the last to the first.
void renderInBands(Draw& draw, const Plan& plan, QzLong rows) {
    for (QzLong end = rows; end > 0;) {
        const QzLong first = std::max<QzLong>(0, end - 1 - draw.upTo(80));
        plan.render(first, end - first);
        end = first;
    }
}

template <class Buffer>
void compareBands(unsigned seed) {
    const auto bytes = randomBytes(seed, 200);
    Draw draw(bytes);
    Scene<Buffer> scene(draw, 130);
    if (scene.inPlace || scene.image.width <= 0 || scene.image.height <= 0) return;
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
    TestPlan<Buffer>(geometry, scene.input, whole, scene.sampling, polar::plainPath)
        .plan.render(0, place.height);
    for (const InstructionSet* const set : polar::instructionSets()) {
        if (!set->isSupported()) continue;
        TestPlan<Buffer> test(geometry, scene.input, output, scene.sampling, *set);
        ASSERT_TRUE(test.plan.rowsIndependent());
        renderInBands(draw, test.plan, place.height);
        ASSERT_EQ(output, whole) << set->name << " format " << Buffer::name << " seed " << seed;
        std::fill(output.memory.begin(), output.memory.end(), '\xA5');
    }
}

TEST(Plan, AnyBandsOfAnyCircleGiveTheBitsOfTheWhole) {
    for (unsigned seed = 0; seed < 1500 && !HasFailure(); ++seed)
        visitFormat(1 + seed % QzFormats::count,
                    [&]<class Buffer>() { compareBands<Buffer>(seed); });
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

// As a host may leave it: another rounding, traps, flags raised, subnormals flushed to zero.
TEST(Plan, RoundsToNearestAndLeavesTheEnvironmentAsItWas) {
    const QzRect place{0, 0, 97, 61};
    TestBitmap<QzBufferRGBAFloat> input(place), output(place), expected(place);
    for (QzLong i = 0; i < 97 * 61; ++i)
        input.at(i % 97, i / 97).store({float(i % 7) / 3, 1e-40f, float(i % 3) - 1, float(i % 2)});
    for (const Mapping mapping : {Mapping::unwrap, Mapping::wrap})
        for (const QzLong sampling : {0, 1})
            for (const InstructionSet* const set : polar::instructionSets()) {
                if (!set->isSupported()) continue;
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

// The proof that the arctangent's last bits do not matter must not give up on ordinary pixels.
TEST(Plan, LeavesFewPixelsToThePlainPath) {
    const QzRect place{0, 0, 400, 400};
    for (const InstructionSet* const set : polar::instructionSets().subspan(1))
        if (set->isSupported())
            forEachFormat([&]<class Buffer>() {
                TestBitmap<Buffer> input(place), output(place);
                const auto noise = randomBytes(1, input.memory.end() - input.memory.begin());
                std::copy(noise.begin(), noise.end(), input.memory.begin());
                if constexpr (Buffer::bitmapType == QzBitmapTypeRGBAFloat)
                    for (QzLong i = 0; i < 160'000; ++i)
                        input.at(i, 0).store({float(noise[i]), 1, float(noise[i + 1]), 2});
                const Geometry whole = polar::fromRectangles(Mapping::wrap, place, place);
                TestPlan<Buffer> test(whole, input, output, 0, *set);
                EXPECT_LT(test.plan.render(0, 400), 160'000 / 50) << set->name << Buffer::name;
            });
}

}  // namespace
