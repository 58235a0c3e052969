#include "sequences/FrameRange.h"

#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <unordered_set>

#include "pictures/takeNumber.h"

namespace sequences {

using pictures::takeNumber;

std::optional<int> takeFrame(std::string_view& text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative) text.remove_prefix(1);
    const auto number = takeNumber(text);
    return isNegative && number ? -*number : number;
}

std::optional<FrameRange> parseFrameRange(std::string_view text) {
    FrameRange frames;
    std::unordered_set<int> known;
    for (bool more = true; more;) {
        const auto first = takeFrame(text);
        const bool single = !text.starts_with('-');
        if (!single) text.remove_prefix(1);
        const auto last = single ? first : takeFrame(text);
        const auto step = !single && text.starts_with('x') ? takeNumber('x', text) : 1;
        if (!first || !last || !step || *step == 0) return {};
        const std::int64_t count = std::abs(std::int64_t{*last} - *first) / *step + 1;
        if (count > static_cast<std::int64_t>(maxFrames - frames.size())) return {};
        const std::int64_t stride = *last < *first ? -*step : *step;
        for (std::int64_t i = 0; i < count; ++i) {
            const auto frame = static_cast<int>(*first + i * stride);
            if (known.insert(frame).second) frames.push_back(frame);
        }
        more = text.starts_with(',');
        if (more) text.remove_prefix(1);
    }
    if (!text.empty()) return {};
    return frames;
}

std::string holesIn(const FrameRange& frames) {
    std::int64_t step = frames.size() < 3 ? 1 : 0;
    for (std::size_t i = 1; i < frames.size(); ++i)
        step = std::gcd(step, std::int64_t{frames[i]} - frames[i - 1]);
    std::string holes;
    int left = 10;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        const std::int64_t first = frames[i - 1] + step, last = frames[i] - step;
        if (first > last) continue;
        if (!holes.empty()) holes += ',';
        if (left-- == 0) return holes + "...";
        holes += std::to_string(first);
        if (last > first) holes += '-' + std::to_string(last);
        if (last > first && step > 1) holes += 'x' + std::to_string(step);
    }
    return holes;
}

}  // namespace sequences
