// Picture files in. An object is used by one thread at a time.
#pragma once

#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "pictures/FileError.h"
#include "pictures/Rectangle.h"
#include "pictures/conversion.h"

namespace pictures {

// Opens a file and reads its header. Throws FileError unless it holds a flat picture.
std::unique_ptr<OIIO::ImageInput> openPicture(const std::filesystem::path& file);

// Reads channels `first` to `end` - 1 of the picture at which `input` stands, as `type`. Throws
// FileError.
void readSamples(const std::filesystem::path& file, OIIO::ImageInput& input, int first, int end,
                 const OIIO::TypeDesc& type, void* samples);

// A picture in a file: the named part or layer; without a name the first part with R, G and B, or
// simply the first.
class PictureReader {
  public:
    // Reads the header. Throws FileError when there is no usable picture.
    PictureReader(const std::filesystem::path& file, const std::string& layer);

    const std::filesystem::path& file() const { return file_; }
    // The file's own description; its alpha_channel may be wrong.
    const OIIO::ImageSpec& spec() const { return input_->spec(); }
    // What of the file is not used or is lost, each on one line.
    const std::vector<std::string>& warnings() const { return warnings_; }

    // From (0, 0): the display window of an OpenEXR file, all pixels of any other.
    Rectangle picture() const;
    // Where the picture's first pixel lies in the file's coordinates.
    QzLong originX() const { return hasWindow() ? spec().full_x : spec().x; }
    QzLong originY() const { return hasWindow() ? spec().full_y : spec().y; }
    // Where the file has samples, in pixels of the picture; the rest is transparent.
    Rectangle data() const;

    // The format that holds the file's values.
    QzBitmapType format() const;
    const Channels& channels() const { return channels_; }
    Alpha alpha() const { return alpha_; }

    // Reads the picture into `image`, which has its size and is transparent at first, otherwise as
    // for samplesToImage. Works on at most `threads` threads, apart from OpenEXR's own. Throws
    // FileError, and std::bad_alloc when memory is out.
    void read(const polar_image& image, unsigned threads);

  private:
    bool hasWindow() const;
    void warnOfUnused();
    void warnOfLostAlpha();

    std::filesystem::path file_;
    std::unique_ptr<OIIO::ImageInput> input_;
    std::vector<std::string> warnings_;
    int firstChannel_ = 0;
    Channels channels_{};
    Alpha alpha_ = Alpha::straight;
};

}  // namespace pictures
