// Draws a landscape at dusk whose left and right edges meet, to be wrapped into a little planet by
// `polar wrap --ground bottom`. Usage: draw_panorama OUTPUT.png
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numbers>
#include <vector>

namespace {

constexpr int kSize = 2048;  // columns and rows
constexpr double kRadiansPerColumn = 2 * std::numbers::pi / kSize;

struct Point {
    double x, y;  // columns to the right, rows up
};

struct Colour {
    double r, g, b;  // 0..1
};

constexpr Colour hex(int rgb) {
    return {(rgb >> 16) / 255.0, (rgb >> 8 & 255) / 255.0, (rgb & 255) / 255.0};
}

Colour mix(Colour from, Colour to, double amount) {
    const double t = std::clamp(amount, 0.0, 1.0);
    return {std::lerp(from.r, to.r, t), std::lerp(from.g, to.g, t), std::lerp(from.b, to.b, t)};
}

// A fixed number in [0, 1) for each index and salt, the same on every platform.
double random(int index, int salt) {
    std::uint32_t h = std::uint32_t(index) * 0x9E3779B1u ^ std::uint32_t(salt) * 0x85EBCA77u;
    h = (h ^ h >> 15) * 0x2C1B3C6Du;
    h = (h ^ h >> 12) * 0x297A2D39u;
    return (h ^ h >> 15) * 0x1p-32;
}

// Rows that one column is worth, at height y, on the planet. Objects are drawn narrower by this
// factor: they look slim here and come out of the wrap in their true proportions.
double columnWidth(double y) { return y * kRadiansPerColumn; }

class Canvas {
  public:
    void blend(int x, int y, Colour colour, double coverage) {
        if (y < 0 || y >= kSize) return;
        Colour& pixel = pixels_[std::size_t(kSize - 1 - y) * kSize + std::size_t(x & (kSize - 1))];
        pixel = mix(pixel, colour, coverage);
    }

    // Fills the shape of signed distance(u, v), in rows and negative inside, as far as `reach` rows
    // from `at`; u counts rows to the right of `at`, v rows above it.
    template <class Distance>
    void fill(Point at, double reach, Colour colour, Distance distance) {
        const double width = columnWidth(at.y), columns = reach / width + 1;
        for (int y = int(at.y - reach) - 1; y <= int(at.y + reach) + 1; ++y)
            for (int x = int(std::floor(at.x - columns)); x <= int(at.x + columns) + 1; ++x)
                blend(x, y, colour, 0.5 - distance((x - at.x) * width, y - at.y) / width);
    }

    void disc(Point at, double radius, Colour colour) {
        fill(at, radius, colour, [=](double u, double v) { return std::hypot(u, v) - radius; });
    }

    // A symmetric trapezium standing on `at`, `low` to `high` rows above it; widths in rows.
    void tier(Point at, double low, double high, double base, double top, Colour colour) {
        const double slope = (base - top) / 2 / (high - low);
        fill(at, std::max(high, base), colour, [=](double u, double v) {
            const double side = std::abs(u) - base / 2 + slope * (v - low);
            return std::max({low - v, v - high, side / std::hypot(1, slope)});
        });
    }

    bool write(const char* path) const {
        OIIO::ImageSpec spec(kSize, kSize, 3, OIIO::TypeDesc::UINT8);
        spec.attribute("png:compressionLevel", 9);
        const auto file = OIIO::ImageOutput::create(path);
        return file && file->open(path, spec) &&
               file->write_image(OIIO::TypeDesc::DOUBLE, pixels_.data()) && file->close();
    }

  private:
    // The highest row first.
    std::vector<Colour> pixels_ = std::vector<Colour>(std::size_t(kSize) * kSize);
};

constexpr Point kSun{1800, 950};

Colour skyColour(double x, double y) {
    constexpr std::array kBands{hex(0xFFD093), hex(0xF3967F), hex(0xC0648B), hex(0x7A4A8E),
                                hex(0x46397B), hex(0x272A5E), hex(0x141A40)};
    const double band = std::clamp((y - 680) / 230, 0.0, double(kBands.size()) - 1.001);
    const auto i = std::size_t(band);
    // Measured on the planet, where the glow is to be round.
    const double half = std::sin((x - kSun.x) * kRadiansPerColumn / 2);
    const double toSun = std::hypot(y - kSun.y, 2 * half * std::sqrt(y * kSun.y));
    return mix(mix(kBands[i], kBands[i + 1], band - double(i)), hex(0xFFE9B0),
               0.9 * std::exp(-toSun / 300));
}

void drawSky(Canvas& canvas) {
    for (int y = 0; y < kSize; ++y)
        for (int x = 0; x < kSize; ++x) canvas.blend(x, y, skyColour(x, y), 1);
    for (int i = 0; i < 220; ++i) {
        const Point at{kSize * random(i, 1), 1250 + 800 * std::sqrt(random(i, 2))};
        canvas.disc(at, 3 + 4 * random(i, 3), mix(skyColour(at.x, at.y), hex(0xFFF6DC), 0.8));
    }
    canvas.disc(kSun, 135, hex(0xFFF7DA));
}

// Puffs on a flat base.
void drawCloud(Canvas& canvas, Point at, double size) {
    const Colour colour = mix(skyColour(at.x, at.y), hex(0xFFD2BC), 0.6);
    canvas.tier(at, 0, 0.4 * size, 1.25 * size, 1.25 * size, colour);
    for (const auto [across, radius] : {Point{-0.65, 0.26}, {-0.05, 0.4}, {0.6, 0.3}}) {
        const Point centre{at.x + across * size / columnWidth(at.y), at.y + radius * size};
        canvas.disc(centre, radius * size, colour);
    }
}

constexpr Colour kTrunk = hex(0x4A3540), kLamp = hex(0xFFC857);

void drawConifer(Canvas& canvas, Point foot, double height, Colour colour) {
    canvas.tier(foot, 0, 0.2 * height, 0.08 * height, 0.08 * height, kTrunk);
    for (double t : {0.1, 0.32, 0.54})
        canvas.tier(foot, t * height, (t + 0.46) * height, (0.56 - 0.5 * t) * height, 0,
                    mix(colour, kLamp, 0.3 * t));
}

void drawRoundTree(Canvas& canvas, Point foot, double height, Colour colour) {
    canvas.tier(foot, 0, 0.5 * height, 0.09 * height, 0.06 * height, kTrunk);
    canvas.disc({foot.x, foot.y + 0.62 * height}, 0.3 * height, colour);
    canvas.disc({foot.x, foot.y + 0.67 * height}, 0.21 * height, mix(colour, kLamp, 0.15));
}

void drawHouse(Canvas& canvas, Point foot, double width) {
    canvas.tier(foot, -0.2 * width, 0.6 * width, width, width, hex(0xF3E3CF));
    canvas.tier(foot, 0.55 * width, 1.1 * width, 1.25 * width, 0, hex(0xB5483F));
    canvas.tier(foot, 0.1 * width, 0.4 * width, 0.25 * width, 0.25 * width, kLamp);
}

struct Range {
    double height, relief;  // rows
    int waves;              // per turn
    int objects;
    Colour crest, valley;
    double objectHeight;  // rows
    double houses;        // share of the objects
};

// Far to near.
constexpr Range kRanges[] = {
    {770, 80, 7, 0, hex(0xA9678C), hex(0xF0A58C), 0, 0},
    {700, 45, 5, 0, hex(0x6B5285), hex(0xB0788C), 0, 0},
    {635, 40, 4, 36, hex(0x35566F), hex(0x5E8088), 270, 0},
    {510, 40, 3, 30, hex(0x2F6A66), hex(0x4E957A), 210, 0.2},
    {365, 35, 3, 14, hex(0x4C8C5C), hex(0x76B06A), 130, 0},
    {215, 22, 2, 0, hex(0x86B860), hex(0xA6CC6C), 0, 0},
};

double hillHeight(const Range& range, double x) {
    const double angle = range.waves * x * kRadiansPerColumn;
    const double detail = (2 * range.waves + 3) * x * kRadiansPerColumn;
    return range.height + range.relief * (0.6 * std::sin(angle + range.height) +
                                          0.4 * std::sin(detail) + 0.1 * std::sin(3 * detail));
}

void drawHills(Canvas& canvas, const Range& range) {
    for (int x = 0; x < kSize; ++x) {
        const double top = hillHeight(range, x);
        for (int y = 0; y < top + 1; ++y) {
            const double depth = (range.height + range.relief - y) / 200;
            canvas.blend(x, y, mix(range.crest, range.valley, depth), top - y + 0.5);
        }
    }
}

void drawObjects(Canvas& canvas, const Range& range) {
    const int seed = int(range.height);
    const Colour needles = mix(range.crest, hex(0x0E2C3A), 0.5);
    for (int i = 0; i < range.objects; ++i) {
        const double x = kSize * (i + 0.5 * random(i, seed)) / range.objects;
        const Point foot{x, hillHeight(range, x) - 8 - 20 * random(i, seed + 1)};
        const double height = range.objectHeight * (0.6 + 0.4 * random(i, seed + 2));
        const double kind = random(i, seed + 3);
        if (kind < range.houses)
            drawHouse(canvas, foot, range.objectHeight / 2);
        else if (kind < 0.65)
            drawConifer(canvas, foot, height, needles);
        else
            drawRoundTree(canvas, foot, height, mix(needles, hex(0x6A8C3A), 0.35));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: draw_panorama OUTPUT.png\n", stderr);
        return 2;
    }
    Canvas canvas;
    drawSky(canvas);
    for (int i = 0; i < 9; ++i)
        drawCloud(canvas, {kSize * (i + 0.5 * random(i, 4)) / 9, 1130 + 370 * random(i, 5)},
                  140 + 70 * random(i, 6));
    for (const Range& range : kRanges) {
        drawHills(canvas, range);
        drawObjects(canvas, range);
    }
    if (canvas.write(argv[1])) return 0;
    std::fprintf(stderr, "draw_panorama: %s: cannot be written\n", argv[1]);
    return 1;
}
