#include "cli/warpOptions.h"

#include <charconv>
#include <string_view>

#include "cli/optionKinds.h"
#include "pictures/takeNumber.h"

namespace cli {

namespace {

using polar::Point;
using polar::Size;

constexpr double farthest = 0x1p31;

std::optional<Size> parseSize(std::string_view text) {
    const auto width = pictures::takeNumber(text);
    const auto height = pictures::takeNumber('x', text);
    if (!width || !height || !text.empty() || *width == 0 || *height == 0) return {};
    if (std::int64_t{*width} * *height > std::int64_t{1} << 31) return {};
    return Size{*width, *height};
}

// A decimal fraction from `least` to `most`.
std::optional<double> parseNumber(std::string_view text, double least, double most) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    // The comparisons also keep out what is no number.
    const bool isFine = error == std::errc{} && rest == end && number >= least && number <= most;
    return isFine ? std::optional(number) : std::nullopt;
}

// "X,Y"
std::optional<Point> parsePair(std::string_view text, double least, double most) {
    const std::size_t comma = std::min(text.find(','), text.size());
    const auto x = parseNumber(text.substr(0, comma), least, most);
    const auto y = parseNumber(text.substr(std::min(comma + 1, text.size())), least, most);
    if (!x || !y) return {};
    return Point{*x, *y};
}

// "R", or "RX,RY"
std::optional<Point> parseRadii(const std::string& text) {
    constexpr double least = 1e-9;
    if (text.find(',') != std::string::npos) return parsePair(text, least, farthest);
    const auto radius = parseNumber(text, least, farthest);
    if (!radius) return {};
    return Point{*radius, *radius};
}

void addNumber(CLI::App& command, const std::string& name, std::optional<double>& target,
               double least, double most, const std::string& expected, const std::string& typeName,
               const std::string& help) {
    const auto parse = [=](const std::string& text) { return parseNumber(text, least, most); };
    addParsed(command, name, target, parse, expected, typeName, help);
}

void addCircle(CLI::App& command, WarpSettings& settings) {
    const auto parseCentre = [](const std::string& text) {
        return parsePair(text, -farthest, farthest);
    };
    addParsed(command, "--center", settings.centre, parseCentre,
              "X,Y in pixels, each -2147483648 to 2147483648", "X,Y",
              "Of the circle, in pixels of the round picture, fractions allowed; whole numbers "
              "fall on pixels [its width/2,height/2]");
    CLI::Option* const radius = addParsed(
        command, "--radius", settings.radii, parseRadii,
        "R or RX,RY in pixels, each 1e-9 to 2147483648", "R|RX,RY",
        "Where the row after the last one lies, in pixels [half of the round picture's width and "
        "height]");
    addNumber(command, "--inner-radius", settings.innerRadius, 0, farthest,
              "number of pixels, 0 to below the radius", "R",
              "Where the first row lies, in pixels along the horizontal axis: a donut's hole [0]");
    command
        .add_flag("--circle", settings.circle,
                  "The largest circle instead of the ellipse, without --radius")
        ->excludes(radius);
}

void addColumns(CLI::App& command, WarpSettings& settings) {
    constexpr double most = std::numeric_limits<double>::max();
    addNumber(command, "--angle", settings.angle, -most, most, "finite number of degrees", "DEG",
              "Where the first column lies: 0 is up, 90 right [0]");
    constexpr double least = std::numeric_limits<float>::min();
    addNumber(command, "--arc", settings.arc, least, 360, "number of degrees above 0 to 360", "DEG",
              "How far the columns reach [360]");
    addChoice<std::optional<bool>>(command, "--direction", {{"ccw", false}, {"cw", true}},
                                   settings.clockwise,
                                   "In which the columns go; with --ground bottom cw unless said");
    command.add_flag("--cyclic", settings.cyclic,
                     "Wrapping: let the first column follow the last one, which makes it the exact "
                     "inverse of unwrapping; else the last column is the full turn");
}

void addRows(CLI::App& command, WarpSettings& settings) {
    using polar::RowScale;
    addChoice<RowScale>(command, "--scale",
                        {{"linear", RowScale::linear},
                         {"log", RowScale::log},
                         {"sqrt", RowScale::sqrt},
                         {"square", RowScale::square}},
                        settings.scale,
                        "What rows are proportional to: the distance from the centre, its "
                        "logarithm (with --inner-radius), its root or its square (equal areas)");
    addChoice(command, "--ground", {{"top", false}, {"bottom", true}}, settings.groundAtBottom,
              "The row of the panorama that lies at the centre");
}

}  // namespace

void addWarpOptions(CLI::App& command, WarpSettings& settings) {
    addParsed(command, "--size", settings.size, parseSize,
              "WxH in whole pixels, each 1 or more, at most 2147483648 in all", "WxH",
              "Of the result [as the input; unwrapping with --radius, the circumference by the "
              "difference of the radii]");
    addCircle(command, settings);
    addColumns(command, settings);
    addRows(command, settings);
    addNumber(command, "--amount", settings.amount, 0, 1, "number from 0 to 1", "T",
              "How far every pixel has moved, on a straight line, from its own place to where the "
              "warp takes it [1]");
}

}  // namespace cli
