#include "pictures/Rectangle.h"

#include <algorithm>
#include <cstdint>

#include "pictures/takeNumber.h"

namespace pictures {

std::optional<Rectangle> parseRectangle(std::string_view text) {
    const auto width = takeNumber(text);
    const auto height = takeNumber('x', text);
    const bool atOrigin = text.empty();
    const auto x = atOrigin ? 0 : takeNumber('+', text);
    const auto y = atOrigin ? 0 : takeNumber('+', text);
    if (!width || !height || !x || !y || !text.empty()) return {};
    if (*width == 0 || *height == 0) return {};
    return Rectangle{*x, *y, *width, *height};
}

std::string toText(const Rectangle& rectangle) {
    return std::to_string(rectangle.width) + "x" + std::to_string(rectangle.height) + "+" +
           std::to_string(rectangle.x) + "+" + std::to_string(rectangle.y);
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

bool contains(const Rectangle& outer, const Rectangle& inner) {
    return inner.x >= 0 && inner.y >= 0 && inner.width <= outer.width &&
           inner.height <= outer.height && inner.x <= outer.width - inner.width &&
           inner.y <= outer.height - inner.height;
}

Rectangle nearestIn(const Rectangle& outer, const Rectangle& inner) {
    const QzLong width = std::min(inner.width, outer.width);
    const QzLong height = std::min(inner.height, outer.height);
    return {std::clamp(inner.x, QzLong{0}, outer.width - width),
            std::clamp(inner.y, QzLong{0}, outer.height - height), width, height};
}

}  // namespace pictures
