// Renders of the module: any against the sampler, and positions known from geometry.

#include <gtest/gtest.h>

#include <cmath>

#include "pixels/QzBuffer.h"
#include "tests/TestHost.h"
#include "tests/anyLife.h"

namespace {

TEST(Renders, OfAnyRecordGiveWhatTheSamplerGives) {
    for (unsigned life = 0; life < 2000; ++life)
        ASSERT_NO_THROW(anyLife(life, 1 + life % 5, exported<VexHandler>("ENTRYPOINT1"))) << life;
}

// Pixels that hold their own position show, mixed bilinearly, where they were sampled.
TEST(Renders, SamplePositionsKnownFromGeometry) {
    const double near = std::sqrt(8.0);
    const struct {
        QzLong filterIndex, size, column, row;
        double x, y, alpha;
    } cases[] = {
        {0, 100, 0, 0, 50, 50, 1},     {0, 100, 37, 0, 50, 50, 1},  // all of the first row
        {0, 100, 99, 0, 50, 50, 1},    {0, 100, 0, 50, 50, 25, 1},  // and half way out
        {0, 100, 25, 50, 25, 50, 1},   {0, 100, 50, 50, 50, 75, 1},  {0, 100, 75, 50, 75, 50, 1},
        {0, 100, 0, 99, 50, 0.5, 1},   {0, 100, 25, 99, 0.5, 50, 1}, {0, 100, 50, 99, 50, 99, 0.5},
        {0, 100, 75, 99, 99, 50, 0.5}, {1, 4, 0, 0, 0, 0, 0},  // outside the ellipse
        {1, 4, 3, 0, 0, 0, 0},         {1, 4, 0, 2, 0, 0, 0},        {1, 4, 2, 2, 1.5, 0, 1},
        {1, 4, 2, 1, 3, 2, 1},  // the centre, the seam above
        {1, 4, 1, 2, 0.75, 2, 1},      {1, 4, 3, 2, 2.25, 2, 1},     {1, 4, 2, 3, 1.5, 2, 1},
        {1, 4, 1, 1, 0.375, near, 1},  {1, 4, 3, 1, 2.625, near, 1}, {1, 4, 1, 3, 1.125, near, 1},
        {1, 4, 3, 3, 1.875, near, 1},
    };
    for (const auto& [filterIndex, size, column, row, x, y, alpha] : cases) {
        const QzRect all{0, 0, size, size};
        TestBitmap<QzBufferRGBAFloat> input(all), output(all);
        for (QzLong i = 0; i < size * size; ++i)
            input.at(i % size, i / size).store({float(i % size), float(i / size), 0, 1});
        TestInstance instance(filterIndex);
        describe(instance.record, input.record, output.record, all, all, 0);
        instance.render();
        const auto found = output.at(column, row).load();
        EXPECT_NEAR(found.r, x, 1e-5) << filterIndex << ": " << column << ", " << row;
        EXPECT_NEAR(found.g, y, 1e-5) << filterIndex << ": " << column << ", " << row;
        EXPECT_NEAR(found.a, alpha, 1e-5) << filterIndex << ": " << column << ", " << row;
    }
}

}  // namespace
