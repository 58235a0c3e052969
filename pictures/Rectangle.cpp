#include "pictures/Rectangle.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <sstream>

#include "pictures/takeNumber.h"

namespace pictures {

namespace {

// Takes "+N", "-N" or "+-N" off the front of `text`.
std::optional<QzLong> takeOffset(std::string_view& text) {
    const bool isBelow = text.starts_with('-') || text.starts_with("+-");
    if (text.starts_with("+-")) text.remove_prefix(1);
    const auto number = takeNumber(isBelow ? '-' : '+', text);
    return number && isBelow ? -*number : number;
}

}  // namespace

std::optional<Rectangle> parseRectangle(std::string_view text) {
    const auto width = takeNumber(text);
    const auto height = takeNumber('x', text);
    const bool atOrigin = text.empty();
    const auto x = atOrigin ? 0 : takeOffset(text);
    const auto y = atOrigin ? 0 : takeOffset(text);
    if (!width || !height || !x || !y || !text.empty()) return {};
    if (*width == 0 || *height == 0) return {};
    return Rectangle{*x, *y, *width, *height};
}

std::string toText(const Rectangle& rectangle) {
    std::ostringstream text;
    text << rectangle.width << 'x' << rectangle.height << std::showpos << rectangle.x
         << rectangle.y;
    return text.str();
}

Rectangle intersection(const Rectangle& a, const Rectangle& b) {
    // The part along one axis; in 64 bits, as ends may lie beyond 32.
    const auto overlap = [](QzLong from, QzLong size, QzLong otherFrom, QzLong otherSize) {
        const std::int64_t end =
            std::min(std::int64_t{from} + size, std::int64_t{otherFrom} + otherSize);
        const std::int64_t begin = std::max(from, otherFrom);
        return static_cast<QzLong>(std::max(end - begin, std::int64_t{0}));
    };
    return {std::max(a.x, b.x), std::max(a.y, b.y), overlap(a.x, a.width, b.x, b.width),
            overlap(a.y, a.height, b.y, b.height)};
}

Rectangle boundingBox(const Rectangle& a, const Rectangle& b) {
    const auto reach = [](QzLong from, QzLong size, QzLong otherFrom, QzLong otherSize) {
        const std::int64_t end =
            std::max(std::int64_t{from} + size, std::int64_t{otherFrom} + otherSize);
        return static_cast<QzLong>(std::min<std::int64_t>(end - std::min(from, otherFrom),
                                                          std::numeric_limits<QzLong>::max()));
    };
    return {std::min(a.x, b.x), std::min(a.y, b.y), reach(a.x, a.width, b.x, b.width),
            reach(a.y, a.height, b.y, b.height)};
}

bool contains(const Rectangle& outer, const Rectangle& inner) {
    const Rectangle both = intersection(outer, inner);
    return both.width == inner.width && both.height == inner.height;
}

Rectangle nearestIn(const Rectangle& outer, const Rectangle& inner) {
    const QzLong width = std::min(inner.width, outer.width);
    const QzLong height = std::min(inner.height, outer.height);
    return {std::clamp(inner.x, QzLong{0}, outer.width - width),
            std::clamp(inner.y, QzLong{0}, outer.height - height), width, height};
}

}  // namespace pictures
