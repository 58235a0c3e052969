// Picture files out.
#pragma once

#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "pictures/CheckedFile.h"
#include "pictures/FileSettings.h"
#include "pictures/PictureReader.h"
#include "pictures/TemporaryFile.h"
#include "pictures/outputPlan.h"

namespace pictures {

// What became of a picture, on one line each.
struct Written {
    std::string description;            // format and components of the file
    std::vector<std::string> warnings;  // what the file does not hold
};

// A picture on its way to a file. Until it is complete it lies in a temporary file beside its
// place, removed on every failure. An object is used by one thread at a time.
class PictureWriter {
  public:
    // Throws FileError when `file` cannot be written, which without `overwrite` a read-only one
    // cannot, as checkExtension() does too.
    PictureWriter(const std::filesystem::path& file, bool overwrite);

    // Begins the file, for all parts of the plan. Throws FileError.
    void open(const OutputPlan& plan, const FileSettings& settings);

    // Room for all samples of a part. Throws std::bad_alloc when memory is out.
    Samples makeSamples(std::size_t part) const;

    // Writes the samples of a part; parts are written in order. Works on at most `threads` threads,
    // apart from OpenEXR's own. Throws FileError.
    void write(std::size_t part, Samples& samples, unsigned threads);

    // Puts the file in its place. Throws FileError.
    Written finish();

  private:
    // Throws FileError unless the last step was `done` and the system stored all bytes so far.
    void require(bool done);

    std::filesystem::path file_;
    TemporaryFile temporary_;  // outlives output_, whose destructor may still write
    std::unique_ptr<CheckedFile> checked_;
    std::unique_ptr<OIIO::ImageOutput> output_;
    std::vector<OIIO::ImageSpec> specs_;  // of the parts, as the writer takes them
    std::vector<std::string> losses_;
};

}  // namespace pictures
