// One picture of a file, rendered channels by channels.
#pragma once

#include <filesystem>
#include <functional>

#include "cli/Options.h"
#include "cli/Rendering.h"
#include "pictures/outputPlan.h"

namespace cli {

// How a part of a file is rendered. `renderer`, `settings` and `part` must outlive the object,
// which is used by one thread at a time.
class PartRenderer {
  public:
    // Throws pictures::FileError, for `file`, where rectangles do not suit the picture.
    PartRenderer(const Renderer& renderer, const FrameSettings& settings,
                 const std::filesystem::path& file, const pictures::PicturePart& part);

    pictures::RenderTraits traits() const;

    // On one line each, what is read and how it is rendered.
    std::string describeInput() const;
    std::string describeRender() const;

    // Writes what lies in `area` of the picture into an image of that size.
    using Fill = std::function<void(const pictures::Rectangle& area, const polar_image& image)>;

    // Calls `use` with the region, rendered from a group of channels on at most `threads` threads.
    // Throws as Rendering::render().
    void render(const pictures::OutputGroup& group, unsigned threads, const Fill& fill,
                const std::function<void(const polar_image&)>& use) const;

  private:
    pictures::Rectangle result() const { return {0, 0, warp_.result.width, warp_.result.height}; }
    // Whether the last pixels of the source are repeated beyond its end, where the rim may fall.
    bool repeatsEdges() const;

    const Renderer& renderer_;
    const FrameSettings& settings_;
    const pictures::PicturePart& part_;
    pictures::Rectangle picture_;
    pictures::Rectangle source_;  // of the picture
    Warp warp_;
    pictures::Rectangle region_;  // of the result
};

}  // namespace cli
