// How the pixels of a frame are rendered.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "cli/Warp.h"
#include "hosting/Module.h"
#include "library/polar.h"
#include "pictures/Rectangle.h"

namespace cli {

// What is rendered from an input, which has the size of the warp's source, or a column and a row
// more when unwrapping: those are not the picture's, and seen where the rim falls there.
struct RenderRequest {
    const Warp& warp;
    Sampling sampling;
    pictures::Rectangle region;  // the part of the result to render
};

// The render of one frame, with the memory for it. An object is used by one thread at a time.
class Rendering {
  public:
    virtual ~Rendering() = default;

    // The input, for the caller to fill; transparent at first. Valid until render().
    virtual polar_image input() = 0;

    // Renders the region from the input, whose memory goes free. The result is valid as long as
    // this object. Throws std::bad_alloc, std::runtime_error and hosting::ModuleError.
    virtual polar_image render(const RenderRequest& request) = 0;
};

// Makes the renders of a run. May be used from several threads at once.
class Renderer {
  public:
    virtual ~Renderer() = default;

    // On one line, what renders.
    virtual std::string name() const = 0;

    // Whether renders can repeat edges.
    virtual bool canRepeatEdges() const = 0;

    // A render from an input of that size and format, in straight alpha. It works on at most
    // `threads` threads; pixels do not depend on their number. Throws std::bad_alloc.
    virtual std::unique_ptr<Rendering> start(QzLong width, QzLong height, QzBitmapType format,
                                             unsigned threads) const = 0;
};

// libpolar.
std::unique_ptr<Renderer> makeLibraryRenderer();

// A module, driven as its host does, on one thread for each render. It knows the warps that follow
// from a picture's size alone, and no area sampling. Throws hosting::ModuleError
// when it cannot be loaded.
std::unique_ptr<Renderer> makeModuleRenderer(const std::filesystem::path& path);

}  // namespace cli
