// Loads a module and drives it as its host does. One thread at a time for each instance.
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "hosting/Instance.h"

namespace hosting {

// A module that cannot be loaded or that fails. The text is one line: its path and the reason.
class ModuleError : public std::runtime_error {
  public:
    ModuleError(const std::filesystem::path& module, const std::string& reason)
        : std::runtime_error(module.string() + ": " + reason) {}
};

struct FreeBitmap {
    void operator()(QzBitmap* bitmap) const { FreeBitmapQz(bitmap); }
};
using Bitmap = std::unique_ptr<QzBitmap, FreeBitmap>;

// A transparent bitmap. Throws std::bad_alloc when memory is out.
Bitmap makeBitmap(QzLong width, QzLong height, QzBitmapType type);

// A loaded module; it must outlive its instances and any text they return.
class Module {
  public:
    // Where the module is installed, relative to this executable.
    static std::filesystem::path installedPath();

    // Throws ModuleError when `path` is not a module for this processor or lacks the entry.
    explicit Module(const std::filesystem::path& path);

    const std::filesystem::path& path() const { return path_; }
    VexHandler entry() const { return entry_; }
    // The address of an exported function, or null.
    void* symbol(const char* name) const;

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

// One instance of a filter, described and set up. Every operation throws ModuleError when the
// module does not answer 1.
class FilterInstance {
  public:
    // `module` must outlive the instance.
    FilterInstance(const Module& module, Filter filter);
    ~FilterInstance();
    FilterInstance(const FilterInstance&) = delete;
    FilterInstance& operator=(const FilterInstance&) = delete;

    // What the module has written into the record.
    const VexFilterInstance& record() const { return instance_.record; }

    // Renders `region` of `output` from `source` of `input`, two bitmaps of the same format;
    // rectangles in pixels of their bitmaps.
    void render(QzBitmap& input, QzBitmap& output, const Rectangle& source, const Rectangle& region,
                Sampling sampling);

    // Ends the instance. The destructor does so too, but cannot report a failure.
    void close();

  private:
    void call(VexHandler handler, QzULong selector, const char* request);

    const Module& module_;
    Instance instance_;
    bool open_ = false;
};

}  // namespace hosting
