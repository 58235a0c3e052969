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
    // Throws FileError when `file` cannot be written or its extension stands for no format.
    explicit PictureWriter(const std::filesystem::path& file);

    // Writes `image`, as for imageToSamples, with the metadata of the picture that it was made from
    // and of which it is `region`, and puts the file in its place. Works on at most `threads`
    // threads, apart from OpenEXR's own. Throws FileError, and std::bad_alloc when memory is out.
    Written write(const polar_image& image, const Rectangle& region, const PictureReader& original,
                  const FileSettings& settings, unsigned threads);

  private:
    // Throws FileError unless the last step was `done` and the system stored all bytes so far.
    void require(bool done);

    std::filesystem::path file_;
    TemporaryFile temporary_;  // outlives output_, whose destructor may still write
    std::unique_ptr<CheckedFile> checked_;
    std::unique_ptr<OIIO::ImageOutput> output_;
};

}  // namespace pictures
