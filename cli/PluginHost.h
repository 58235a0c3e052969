// Loads the module and drives it as its host does. One thread at a time for each instance.
#pragma once

#include <filesystem>
#include <memory>

#include "cli/Rectangle.h"
#include "host/QzLib.h"
#include "host/VexFilterInstance.h"

struct FreeBitmap {
    void operator()(QzBitmap* bitmap) const { FreeBitmapQz(bitmap); }
};
using Bitmap = std::unique_ptr<QzBitmap, FreeBitmap>;

// A transparent bitmap. Throws std::bad_alloc where memory is out.
Bitmap makeBitmap(QzLong width, QzLong height, QzBitmapType type);

// A loaded module; it must outlive its instances and whatever text they give.
class PluginModule {
  public:
    // Where the module's install name puts it, as seen from this executable.
    static std::filesystem::path installedPath();

    // Throws FileError where `path` is no module or lacks the entry.
    explicit PluginModule(const std::filesystem::path& path);

    const std::filesystem::path& path() const { return path_; }
    VexHandler entry() const { return entry_; }

  private:
    struct Unload {
        void operator()(void* library) const;
    };
    std::filesystem::path path_;
    std::unique_ptr<void, Unload> library_;
    VexHandler entry_;
};

enum class Filter { polarToRectangular = 0, rectangularToPolar = 1 };

enum class Sampling { bilinear = 0, nearest = 1 };

// One instance of a filter, described and set up. Every operation throws FileError, with the
// module's path, where the module does not answer 1.
class FilterInstance {
  public:
    FilterInstance(const PluginModule& module, Filter filter);
    ~FilterInstance();
    FilterInstance(const FilterInstance&) = delete;
    FilterInstance& operator=(const FilterInstance&) = delete;

    // What the module has written into the record.
    const VexFilterInstance& record() const { return record_; }

    // Renders `region` of `output` from `source` of `input`, two bitmaps of one format.
    void render(QzBitmap& input, QzBitmap& output, const Rectangle& source, const Rectangle& region,
                Sampling sampling);

    // Ends the instance. The destructor does the same where this was not called, but cannot throw.
    void close();

  private:
    void call(VexHandler handler, QzULong selector, const char* request);

    const PluginModule& module_;
    FilterInfo services_{};
    VexFilterInstance record_{};
    bool open_ = false;
};
