// Where the options of the geometry take pixels.

#include <cstddef>
#include <numbers>

#include "tests/CliTest.h"

namespace {

struct Place {
    double x, y;
};

// Options, and how the panorama then lies in a round picture of 60x40 pixels.
struct Layout {
    std::string options;
    Place centre{30, 20}, radii{30, 20};
    double inner = 0;           // pixels along the horizontal axis
    double angle = 0, arc = 0;  // degrees clockwise from up
    bool fromBottom = false;
    std::string scale = "linear";
    double amount = 1;

    // Of a panorama with `steps` from its first column to where the arc ends, and so many rows.
    Place place(double column, double row, double steps, double rows) const {
        const double t = (fromBottom ? rows - 1 - row : row) / rows, first = inner / radii.x;
        double distance = first + (1 - first) * t;
        if (scale == "log") distance = first * std::pow(1 / first, t);
        if (scale == "sqrt") distance = std::pow(std::lerp(std::sqrt(first), 1, t), 2);
        if (scale == "square") distance = std::sqrt(std::lerp(first * first, 1, t));
        const double turned = (angle + arc * column / steps) * std::numbers::pi / 180;
        return {centre.x + radii.x * distance * std::sin(turned),
                centre.y - radii.y * distance * std::cos(turned)};
    }
};

const Layout layouts[] = {
    {"", {30, 20}, {30, 20}, 0, 0, -360},
    {"--circle --direction cw", {30, 20}, {20, 20}, 0, 0, 360},
    {"--center 21.5,18 --radius 14 --inner-radius 5", {21.5, 18}, {14, 14}, 5, 0, -360},
    {"--radius 40,12 --angle 30", {30, 20}, {40, 12}, 0, 30, -360},
    {"--center -7,48.5 --radius 40 --angle 1e2", {-7, 48.5}, {40, 40}, 0, 100, -360},
    {"--angle -400.5 --arc 270 --ground bottom", {30, 20}, {30, 20}, 0, -40.5, 270, true},
    {"--arc 90 --direction ccw --ground bottom --inner-radius 3 --scale log",
     {30, 20},
     {30, 20},
     3,
     0,
     -90,
     true,
     "log"},
    {"--scale sqrt --amount 0.25", {30, 20}, {30, 20}, 0, 0, -360, false, "sqrt", 0.25},
    {"--scale square --inner-radius 10", {30, 20}, {30, 20}, 10, 0, -360, false, "square"},
};

// Pictures whose red and green are the column and the row, so that results tell where each pixel
// comes from.
class Warp : public Cli {
  protected:
    void savePlaces(const std::string& name, int width, int height) const {
        std::vector<float> samples;
        for (int i = 0; i < width * height; ++i)
            samples.insert(samples.end(), {float(i % width), float(i / width), 0});
        save(name, {width, height, 3, TypeDesc::FLOAT}, samples);
    }
    // Calls `check` with pixels of `name`, made by `layout` from a picture of that size, and where
    // they would come from if they had moved all the way. Returns how many there are that were
    // mixed from four pixels.
    template <class Check>
    int forEachPlace(const std::string& name, const Layout& layout, Place from, Check check) const {
        const OIIO::ImageBuf image = load(name);
        const double stepX = from.x / image.spec().width, stepY = from.y / image.spec().height;
        int count = 0;
        for (int y = 0; y < image.spec().height; ++y)
            for (int x = 0; x < image.spec().width; ++x) {
                const auto samples = pixel(image, x, y);
                if (samples[3] < 1 || samples[0] >= from.x - 1 || samples[1] >= from.y - 1)
                    continue;
                const Place own{x * stepX, y * stepY};
                check(x, y,
                      {own.x + (samples[0] - own.x) / layout.amount,
                       own.y + (samples[1] - own.y) / layout.amount});
                ++count;
            }
        return count;
    }
};

TEST_F(Warp, UnwrapsToTheDescribedPlaces) {
    savePlaces("in.tif", 60, 40);
    for (const Layout& layout : layouts) {
        runWell("unwrap in.tif -o o.tif --size 96x50 " + layout.options);
        const auto check = [&](int x, int y, Place found) {
            const Place wanted = layout.place(x, y, 96, 50);
            ASSERT_NEAR(found.x, wanted.x, 1e-3) << layout.options << x << ',' << y;
            ASSERT_NEAR(found.y, wanted.y, 1e-3) << layout.options << x << ',' << y;
        };
        EXPECT_GT(forEachPlace("o.tif", layout, {60, 40}, check), 400) << layout.options;
    }
}

// That is, to where unwrapping with the same options would look for them.
TEST_F(Warp, WrapsBackToTheSamePlaces) {
    savePlaces("in.tif", 96, 50);
    for (const Layout& layout : layouts)
        for (const double steps : {95, 96}) {
            const std::string options = layout.options + (steps == 96 ? " --cyclic" : "");
            runWell("wrap in.tif -o o.tif --size 60x40 " + options);
            const auto check = [&](int x, int y, Place found) {
                // Beyond the last column, the first one is mixed in.
                const double turned = std::atan2((x - layout.centre.x) / layout.radii.x,
                                                 (layout.centre.y - y) / layout.radii.y) *
                                      180 / std::numbers::pi;
                const double part = (turned - layout.angle) / layout.arc * std::abs(layout.arc);
                const double fromFirst = part - 360 * std::floor(part / 360);
                const double radius = std::hypot((x - layout.centre.x) / layout.radii.x,
                                                 (y - layout.centre.y) / layout.radii.y);
                if (fromFirst > std::abs(layout.arc) * 95 / steps || radius >= 0.98) return;
                const Place wanted = layout.place(found.x, found.y, steps, 50);
                ASSERT_NEAR(x, wanted.x, 2e-3) << options << x << ',' << y;
                ASSERT_NEAR(y, wanted.y, 2e-3) << options << x << ',' << y;
            };
            EXPECT_GT(forEachPlace("o.tif", layout, {96, 50}, check), 60 * 40 / 10) << options;
        }
}

TEST_F(Warp, SizesFollowTheRadiiWhenUnwrapping) {
    save("in.png", {60, 40, 3, TypeDesc::UINT8}, {1, 0, 0});
    const std::tuple<std::string, int, int> cases[] = {
        {"unwrap in.png --circle --inner-radius 4", 60, 40},
        {"unwrap in.png --radius 20", 126, 20},                      // 2 pi 20
        {"unwrap in.png --radius 30,20 --inner-radius 6", 159, 24},  // 158.65 by 30 x 4/5
        {"unwrap in.png --radius 20 --inner-radius 5 --arc 90", 31, 15},
        {"unwrap in.png --radius 0.01", 1, 1},
        {"unwrap in.png --radius 20 --size 7x5", 7, 5},
        {"unwrap in.png --source 12x10+3+3", 12, 10},
        {"wrap in.png --radius 20", 60, 40},
    };
    for (const auto& [arguments, width, height] : cases) {
        runWell(arguments + " -o o.exr");
        OIIO::ROI wanted(0, width, 0, height, 0, 1, 0, load("o.exr").nchannels());
        EXPECT_EQ(load("o.exr").roi(), wanted) << arguments;
        EXPECT_EQ(load("o.exr").roi_full(), wanted) << arguments;
    }
}

TEST_F(Warp, AreaSamplingMixesWhatAPixelCovers) {
    save("in.tif", {64, 64, 1, TypeDesc::FLOAT}, {0, 1});  // columns
    for (const auto& [sampling, wanted] : {std::pair{"area", 0.5f}, {"bilinear", 0.f}}) {
        runWell("unwrap in.tif -o o.tif --size 16x16 --amount 0 --sampling " +
                std::string(sampling));
        EXPECT_NEAR(pixel(load("o.tif"), 8, 8)[0], wanted, 0.05) << sampling;
    }
}

// Within the circle, where a panorama of twice the size holds all that there was.
TEST_F(Warp, RoundTripsKeepThePicture) {
    const std::string picture = "'" POLAR_EXAMPLES "/panorama.png'";
    runWell("unwrap " + picture + " -o there.tif --size 4096x4096 --depth uint16");
    runWell("wrap there.tif -o back.tif --size 2048x2048 --cyclic");
    fs::copy(POLAR_EXAMPLES "/panorama.png", folder);
    std::vector<float> from(std::size_t{3} << 22), back(from.size());
    load("panorama.png").get_pixels({0, 2048, 0, 2048, 0, 1, 0, 3}, TypeDesc::FLOAT, from.data());
    load("back.tif").get_pixels({0, 2048, 0, 2048, 0, 1, 0, 3}, TypeDesc::FLOAT, back.data());
    double squares = 0, count = 0;
    for (std::size_t i = 0; i < from.size(); ++i)
        if (std::hypot(double(i / 3 % 2048) - 1024, double(i / 3 / 2048) - 1024) < 1023) {
            squares += std::pow(from[i] - back[i], 2);
            ++count;
        }
    const double decibels = -10 * std::log10(squares / count);
    RecordProperty("decibels", std::to_string(decibels));
    EXPECT_GT(decibels, 40);
}

}  // namespace
