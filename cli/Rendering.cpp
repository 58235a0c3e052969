#include "cli/Rendering.h"

#include <cstdlib>
#include <new>
#include <optional>
#include <stdexcept>

namespace cli {

namespace {

using pictures::Rectangle;

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

// An image in memory of its own, transparent at first.
struct OwnImage {
    polar_image image;
    std::unique_ptr<void, Free> memory;

    // Throws std::bad_alloc.
    OwnImage(QzLong width, QzLong height, QzBitmapType format)
        : image{nullptr, width, height, 0, static_cast<std::int32_t>(format), POLAR_STRAIGHT} {
        const std::size_t rowBytes =
            static_cast<std::size_t>(width) * polar_pixel_bytes(image.format);
        // Zeros that are never touched take no memory: a window may be far larger than its data.
        memory.reset(std::calloc(static_cast<std::size_t>(height), rowBytes));
        if (memory == nullptr) throw std::bad_alloc();
        image.pixels = memory.get();
        image.row_bytes = static_cast<std::ptrdiff_t>(rowBytes);
    }
};

class LibraryRendering : public Rendering {
  public:
    LibraryRendering(QzLong width, QzLong height, QzBitmapType format, unsigned threads)
        : format_(format), threads_(threads), input_(OwnImage(width, height, format)) {}

    polar_image input() override { return input_->image; }

    polar_image render(const RenderRequest& request) override {
        const Warp& warp = request.warp;
        const Rectangle& region = request.region;
        output_.emplace(region.width, region.height, format_);
        const polar_rect whole{region.x, region.y, warp.result.width, warp.result.height};
        polar_options options{};
        options.size = sizeof options;
        options.direction = warp.unwraps() ? POLAR_UNWRAP : POLAR_WRAP;
        options.sampling = static_cast<std::int32_t>(request.sampling);
        options.threads = static_cast<std::int32_t>(threads_);
        options.whole = &whole;
        options.circle = &warp.circle;
        options.scale = static_cast<std::int32_t>(warp.scale);
        options.cyclic = warp.isCyclic ? 1 : 0;
        options.amount = &warp.amount;
        options.ground_bottom = warp.groundAtBottom ? 1 : 0;
        const int status = polar_render(&input_->image, &output_->image, &options);
        if (status == POLAR_OUT_OF_MEMORY) throw std::bad_alloc();
        if (status != POLAR_OK) throw std::runtime_error(polar_status_text(status));
        input_.reset();
        return output_->image;
    }

  private:
    QzBitmapType format_;
    unsigned threads_;
    std::optional<OwnImage> input_, output_;
};

class LibraryRenderer : public Renderer {
  public:
    std::string name() const override { return std::string("libpolar ") + polar_version(); }
    bool canRepeatEdges() const override { return true; }

    std::unique_ptr<Rendering> start(QzLong width, QzLong height, QzBitmapType format,
                                     unsigned threads) const override {
        return std::make_unique<LibraryRendering>(width, height, format, threads);
    }
};

class ModuleRendering : public Rendering {
  public:
    ModuleRendering(const hosting::Module& module, QzLong width, QzLong height, QzBitmapType format)
        : module_(module),
          width_(width),
          height_(height),
          format_(format),
          input_(hosting::makeBitmap(width, height, format)) {}

    polar_image input() override { return part(*input_, {0, 0, width_, height_}); }

    polar_image render(const RenderRequest& request) override {
        output_ = hosting::makeBitmap(width_, height_, format_);
        hosting::FilterInstance instance(module_, request.warp.filter);
        const bool isNearest = request.sampling == Sampling::nearest;
        instance.render(*input_, *output_, {0, 0, width_, height_}, request.region,
                        isNearest ? hosting::Sampling::nearest : hosting::Sampling::bilinear);
        instance.close();
        input_.reset();
        return part(*output_, request.region);
    }

  private:
    polar_image part(const QzBitmap& bitmap, const Rectangle& rectangle) const {
        const auto pixelBytes =
            static_cast<std::ptrdiff_t>(polar_pixel_bytes(static_cast<int>(format_)));
        const std::ptrdiff_t rowBytes = bitmap.rowLength * pixelBytes;
        auto* const first = static_cast<unsigned char*>(bitmap.pixels) + rectangle.y * rowBytes +
                            rectangle.x * pixelBytes;
        return {first,
                rectangle.width,
                rectangle.height,
                rowBytes,
                static_cast<std::int32_t>(format_),
                POLAR_STRAIGHT};
    }

    const hosting::Module& module_;
    QzLong width_, height_;
    QzBitmapType format_;
    hosting::Bitmap input_, output_;
};

class ModuleRenderer : public Renderer {
  public:
    explicit ModuleRenderer(const std::filesystem::path& path) : module_(path) {}

    std::string name() const override { return module_.path().string(); }
    bool canRepeatEdges() const override { return false; }

    std::unique_ptr<Rendering> start(QzLong width, QzLong height, QzBitmapType format,
                                     unsigned) const override {
        return std::make_unique<ModuleRendering>(module_, width, height, format);
    }

  private:
    hosting::Module module_;
};

}  // namespace

std::unique_ptr<Renderer> makeLibraryRenderer() { return std::make_unique<LibraryRenderer>(); }

std::unique_ptr<Renderer> makeModuleRenderer(const std::filesystem::path& path) {
    return std::make_unique<ModuleRenderer>(path);
}

}  // namespace cli
