// libFuzzer over the texts that users write on the command line.

#include <algorithm>
#include <string_view>

#include "cli/FrameRange.h"
#include "cli/Rectangle.h"
#include "cli/SequenceName.h"
#include "tests/TestHost.h"

namespace {

void checkRectangle(std::string_view text) {
    const auto rectangle = parseRectangle(text);
    if (!rectangle) return;
    require(rectangle->width > 0 && rectangle->height > 0, "sizes are positive");
    require(rectangle->x >= 0 && rectangle->y >= 0, "offsets are not negative");
    const auto again = parseRectangle(toText(*rectangle));
    require(again && bytesOf(*again) == bytesOf(*rectangle), "a rectangle reads back");
    require(contains(*rectangle, *rectangle) == (rectangle->x == 0 && rectangle->y == 0),
            "a rectangle at the origin holds itself");
}

void checkFrames(std::string_view text) {
    const auto frames = parseFrameRange(text);
    if (!frames) return;
    require(!frames->empty() && frames->size() <= maxFrames,
            "a range has frames, and not too many");
    require(*std::min_element(frames->begin(), frames->end()) >= 0, "frames are not negative");
}

void checkName(std::string_view text) {
    const auto name = SequenceName::parse(text);
    if (!name) return;
    for (const int frame : {0, 7, 12345, 2147483647}) {
        const auto file = name->at(frame).filename().string();
        require(name->frameOf(file) == frame, "a frame's name tells the frame");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    checkRectangle(text);
    checkFrames(text);
    checkName(text);
    return 0;
}
