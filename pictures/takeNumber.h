// Numbers at the front of texts.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace pictures {

// Takes a number without sign, of at most 31 bits, off the front of `text`.
inline std::optional<std::int32_t> takeNumber(std::string_view& text) {
    std::int32_t number = 0;
    if (text.starts_with('-')) return {};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{}) return {};
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

// Takes `mark` and a number after it.
inline std::optional<std::int32_t> takeNumber(char mark, std::string_view& text) {
    if (!text.starts_with(mark)) return {};
    text.remove_prefix(1);
    return takeNumber(text);
}

}  // namespace pictures
