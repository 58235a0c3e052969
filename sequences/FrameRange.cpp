#include "sequences/FrameRange.h"

#include <cstdint>
#include <cstdlib>
#include <unordered_set>

#include "pictures/takeNumber.h"

namespace sequences {

std::optional<FrameRange> parseFrameRange(std::string_view text) {
    using pictures::takeNumber;
    FrameRange frames;
    std::unordered_set<int> known;
    for (bool more = true; more;) {
        const auto first = takeNumber(text);
        const bool single = !text.starts_with('-');
        const auto last = single ? first : takeNumber('-', text);
        const auto step = !single && text.starts_with('x') ? takeNumber('x', text) : 1;
        if (!first || !last || !step || *step == 0) return {};
        const std::int64_t count = std::abs(std::int64_t{*last} - *first) / *step + 1;
        if (count > static_cast<std::int64_t>(maxFrames - frames.size())) return {};
        const int stride = *last < *first ? -*step : *step;
        for (int i = 0; i < count; ++i) {
            const int frame = *first + i * stride;
            if (known.insert(frame).second) frames.push_back(frame);
        }
        more = text.starts_with(',');
        if (more) text.remove_prefix(1);
    }
    if (!text.empty()) return {};
    return frames;
}

}  // namespace sequences
