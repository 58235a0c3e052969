#include "pictures/colour.h"

#include <charconv>
#include <cmath>
#include <string_view>

namespace pictures {

namespace {

// Digits of base 16, one or two for each component.
std::optional<Colour> parseHexadecimal(std::string_view digits) {
    const std::size_t each = digits.size() / 3;
    if (digits.size() != 3 && digits.size() != 6) return {};
    Colour colour{};
    for (std::size_t i = 0; i < 3; ++i) {
        unsigned value = 0;
        const char* const end = digits.data() + (i + 1) * each;
        if (std::from_chars(end - each, end, value, 16).ptr != end) return {};
        colour[i] = static_cast<float>(value) / (each == 1 ? 15.F : 255.F);
    }
    return colour;
}

}  // namespace

std::optional<Colour> parseColour(const std::string& text) {
    if (text == "black") return Colour{0, 0, 0};
    if (text == "white") return Colour{1, 1, 1};
    if (text.starts_with('#')) return parseHexadecimal(std::string_view(text).substr(1));
    Colour colour{};
    std::size_t count = 0;
    for (const char *at = text.data(), *const end = at + text.size();; ++at) {
        const auto [next, error] = std::from_chars(at, end, colour[count]);
        if (error != std::errc{} || !std::isfinite(colour[count])) return {};
        ++count;
        at = next;
        if (at == end) break;
        if (*at != ',' || count == 3) return {};
    }
    if (count == 1) return Colour{colour[0], colour[0], colour[0]};
    return count == 3 ? std::optional(colour) : std::nullopt;
}

}  // namespace pictures
