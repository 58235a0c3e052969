// Renders of the module: positions known from geometry, and every pixel against the sampler.

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "engine/mapping.h"
#include "pixels/QzBuffer.h"
#include "tests/TestHost.h"
#include "tests/anyLife.h"
#include "tests/reference.h"

namespace {

TEST(Renders, OfAnyRecordGiveWhatTheSamplerGives) {
    for (unsigned life = 0; life < 2000; ++life)
        ASSERT_NO_THROW(anyLife(life, 1 + life % 5, exported<VexHandler>("ENTRYPOINT1"))) << life;
}

template <class Mapping>
void expectPositions(bool unwraps, const VexFilterInstance& record) {
    const Frame frame(record);
    Mapping mapping(frame);
    ASSERT_TRUE(mapping.allocate());
    mapping.fill();
    const auto points = sourcePositions(unwraps, record.SourceRect, record.OutputRegion);
    auto point = points.begin();
    double v = frame.firstRow;
    for (QzLong j = 0; j < frame.region.height; ++j, v += frame.rowStep) {
        typename Mapping::Row row(mapping, v);
        for (QzLong i = 0; i < frame.region.width; ++i, ++point) {
            const Position position = row.next();
            ASSERT_EQ(position.x, point->x);
            ASSERT_EQ(position.y, point->y);
        }
    }
    mapping.release();
}

TEST(Positions, AreExactToTheLastBit) {
    std::mt19937 random(3);
    const auto upTo = [&](unsigned end) { return static_cast<QzLong>(random() % end); };
    for (int trial = 0; trial < 100; ++trial) {
        TestInstance instance(0);
        instance.record.SourceRect = {upTo(100), upTo(100), 1 + upTo(900), 1 + upTo(900)};
        instance.record.OutputRegion = {upTo(500), upTo(500), 1 + upTo(60), 1 + upTo(60)};
        expectPositions<PolarToRectangular>(true, instance.record);
        expectPositions<RectangularToPolar>(false, instance.record);
    }
}

TEST(Positions, OfUnwrappingAreKnown) {
    TestBitmap<QzBufferRGBA8> input({0, 0, 100, 100}), output({0, 0, 100, 100});
    for (unsigned char row = 0; row < 100; ++row)
        for (unsigned char column = 0; column < 100; ++column)
            input.at(column, row).store({column, row, 0, 255});
    const QzRect all{0, 0, 100, 100};
    struct Case {
        QzLong x, y;
        QzBufferRGBA8::Pixel::Components expected;
    };
    TestInstance(0).render(input.record, output.record, all, all, 1);
    for (const auto& [x, y, expected] : std::initializer_list<Case>{{0, 0, {50, 50, 0, 255}},
                                                                    {37, 0, {50, 50, 0, 255}},
                                                                    {99, 0, {50, 50, 0, 255}},
                                                                    {0, 50, {50, 25, 0, 255}},
                                                                    {25, 50, {25, 50, 0, 255}},
                                                                    {50, 50, {50, 75, 0, 255}},
                                                                    {75, 50, {75, 50, 0, 255}},
                                                                    {0, 99, {50, 0, 0, 255}},
                                                                    {25, 99, {0, 50, 0, 255}},
                                                                    {50, 99, {0, 0, 0, 0}},
                                                                    {75, 99, {0, 0, 0, 0}}})
        EXPECT_EQ(output.at(x, y).load(), expected) << x << ", " << y;
    TestInstance(0).render(input.record, output.record, all, all, 0);
    EXPECT_EQ(output.at(50, 99).load(), (QzBufferRGBA8::Pixel::Components{50, 99, 0, 127}));
}

// Pixels that hold their own position show, mixed bilinearly, where they were sampled.
TEST(Positions, OfWrappingAreKnown) {
    TestBitmap<QzBufferRGBAFloat> input({0, 0, 4, 4}), output({0, 0, 4, 4});
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            input.at(column, row).store({float(column), float(row), 0, 1});
    TestInstance(1).render(input.record, output.record, {0, 0, 4, 4}, {0, 0, 4, 4}, 0);
    const double outside = 4.0, near = std::sqrt(8.0);
    struct Point {
        double x, y;
    };
    const Point expected[4][4] = {
        {{0.375, outside}, {0.2214, outside}, {3.0, outside}, {2.7786, outside}},
        {{0.5286, outside}, {0.375, near}, {3.0, 2.0}, {2.625, near}},
        {{0.75, outside}, {0.75, 2.0}, {1.5, 0.0}, {2.25, 2.0}},
        {{0.9714, outside}, {1.125, near}, {1.5, 2.0}, {1.875, near}}};
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column) {
            const auto [x, y, b, a] = output.at(column, row).load();
            const Point& point = expected[row][column];
            EXPECT_EQ(a, point.y < outside ? 1.0f : 0.0f) << column << ", " << row;
            EXPECT_NEAR(x, point.y < outside ? point.x : 0.0, 1e-6);
            EXPECT_NEAR(y, point.y < outside ? point.y : 0.0, 1e-6);
        }
}

}  // namespace
