#include "cli/Warp.h"

#include <OpenImageIO/strutil.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace cli {

namespace {

using OIIO::Strutil::fmt::format;
using polar::Point;
using polar::Size;

constexpr double mostPixels = 0x1p31;

double circumference(const Point& radii) {
    const auto [shorter, longer] = std::minmax(radii.x, radii.y);
    return 4 * longer * std::comp_ellint_2(std::sqrt(1 - std::pow(shorter / longer, 2)));
}

// Of a panorama that keeps the size of what lies at the rim.
Size panoramaOf(const polar_circle& circle) {
    const Point radii{circle.radius_x, circle.radius_y};
    const double columns = circumference(radii) * circle.turns;
    const double rows = std::max(radii.x, radii.y) * (1 - circle.inner);
    const double width = std::max(1.0, std::round(columns));
    const double height = std::max(1.0, std::round(rows));
    if (!(width * height <= mostPixels) || std::max(width, height) == mostPixels)
        throw WarpError(
            format("--radius {},{} makes {:.0f}x{:.0f} pixels; --size WxH of at most "
                   "{:.0f} pixels is accepted",
                   radii.x, radii.y, width, height, mostPixels));
    return {static_cast<QzLong>(width), static_cast<QzLong>(height)};
}

void requireHole(const WarpSettings& settings, double inner) {
    if (settings.scale == polar::RowScale::log && inner == 0)
        throw WarpError("--scale log needs an --inner-radius above 0");
}

polar_circle circleOf(const WarpSettings& settings, const Size& round) {
    const Point half{round.width * 0.5, round.height * 0.5};
    const double least = std::min(half.x, half.y);
    const Point centre = settings.centre.value_or(half);
    const Point radii = settings.radii.value_or(settings.circle ? Point{least, least} : half);
    const double inner = settings.innerRadius.value_or(0);
    if (inner >= radii.x)
        throw WarpError(format("--inner-radius {}; 0 to below the radius, which is {}, is accepted",
                               inner, radii.x));
    requireHole(settings, inner / radii.x);
    polar_circle circle{};
    circle.center_x = centre.x;
    circle.center_y = centre.y;
    circle.radius_x = radii.x;
    circle.radius_y = radii.y;
    circle.inner = inner / radii.x;
    // Whole turns are taken off in degrees, where that is exact.
    circle.start_turns = std::fmod(settings.angle.value_or(0), 360) / 360;
    circle.turns = settings.arc.value_or(360) / 360;
    circle.clockwise = settings.clockwise.value_or(settings.groundAtBottom) ? 1 : 0;
    return circle;
}

// How far the last row lies from the centre, in fractions of the radii.
double lastDistance(const Warp& warp) {
    const double first = polar::scaled(warp.scale, warp.circle.inner);
    const double rim = polar::scaled(warp.scale, 1);
    const double rows = warp.panorama().height;
    return polar::unscaled(warp.scale, first + (rim - first) * (rows - 1) / rows);
}

// The corners of what the panorama covers, and where that reaches farthest along the axes.
bool panoramaLiesIn(const Size& round, const Warp& warp) {
    const polar_circle& circle = warp.circle;
    const double last = lastDistance(warp);
    const auto isInside = [&](double turns, double distance) {
        constexpr double slack = 1e-9;
        const double angle = turns * 2 * std::numbers::pi;
        const double x = circle.center_x + circle.radius_x * distance * std::sin(angle);
        const double y = circle.center_y - circle.radius_y * distance * std::cos(angle);
        return x >= -slack && y >= -slack && x <= round.width - slack && y <= round.height - slack;
    };
    const double sign = circle.clockwise != 0 ? 1 : -1;
    const double end = circle.start_turns + sign * circle.turns;
    for (const double turns : {circle.start_turns, end})
        if (!isInside(turns, circle.inner) || !isInside(turns, last)) return false;
    constexpr std::array quarters{0.0, 0.25, 0.5, 0.75};
    return std::all_of(quarters.begin(), quarters.end(), [&](double turns) {
        const double fromFirst = sign * (turns - circle.start_turns);
        const bool isCovered = fromFirst - std::floor(fromFirst) <= circle.turns;
        return !isCovered || isInside(turns, last);
    });
}

bool panoramaCovers(const Size& round, const Warp& warp) {
    const polar_circle& circle = warp.circle;
    if (circle.inner > 0 || circle.turns < 1) return false;
    const double last = lastDistance(warp);
    for (const double x : {0.0, round.width - 1.0})
        for (const double y : {0.0, round.height - 1.0})
            if (std::hypot((x - circle.center_x) / circle.radius_x,
                           (y - circle.center_y) / circle.radius_y) > last)
                return false;
    return true;
}

}  // namespace

bool Warp::staysInside() const {
    return unwraps() ? panoramaLiesIn(source, *this) : panoramaCovers(result, *this);
}

Warp makeWarp(hosting::Filter filter, const WarpSettings& settings, Size source) {
    Warp warp{
        filter,         source,          settings.size.value_or(source), {},
        settings.scale, settings.cyclic, settings.amount.value_or(1),    settings.groundAtBottom};
    warp.circle = circleOf(settings, warp.unwraps() ? source : warp.result);
    if (warp.unwraps() && settings.radii && !settings.size) warp.result = panoramaOf(warp.circle);
    return warp;
}

void checkWarp(hosting::Filter filter, const WarpSettings& settings) {
    requireHole(settings, settings.innerRadius.value_or(0));
    const bool unwraps = filter == hosting::Filter::polarToRectangular;
    if (settings.radii || (!unwraps && settings.size)) makeWarp(filter, settings, {1, 1});
}

std::string toText(const Warp& warp) {
    const polar_circle& circle = warp.circle;
    return format("result {}x{}, centre {},{}, radii {},{}, ", warp.result.width,
                  warp.result.height, circle.center_x, circle.center_y, circle.radius_x,
                  circle.radius_y) +
           format("inner radius {}, angle {}, arc {} {}", circle.inner * circle.radius_x,
                  circle.start_turns * 360, circle.turns * 360,
                  circle.clockwise != 0 ? "cw" : "ccw");
}

}  // namespace cli
