// One frame, from a picture file to a picture file.
#pragma once

#include <filesystem>

#include "cli/Messages.h"
#include "cli/Options.h"
#include "cli/Rendering.h"

namespace cli {

// How long the parts of a frame took, in seconds.
struct FrameTimes {
    double read = 0, render = 0, write = 0;

    FrameTimes& operator+=(const FrameTimes& other) {
        read += other.read;
        render += other.render;
        write += other.write;
        return *this;
    }
};

// What renderPicture() would say before it renders, and about the place of the output; writes
// nothing. Throws pictures::FileError.
void checkFrame(const Renderer& renderer, const std::filesystem::path& input,
                const std::filesystem::path& output, const FrameSettings& settings,
                const Messages& messages);

// Renders `input` to `output`, which appears whole or not at all. May be called from several
// threads at once, and works on at most `threads` of its own. Throws pictures::FileError and
// hosting::ModuleError.
FrameTimes renderPicture(const Renderer& renderer, const std::filesystem::path& input,
                         const std::filesystem::path& output, const FrameSettings& settings,
                         unsigned threads, const Messages& messages);

}  // namespace cli
