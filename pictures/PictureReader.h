// Picture files in. An object is used by one thread at a time.
#pragma once

#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "pictures/FileError.h"
#include "pictures/Rectangle.h"
#include "pictures/channels.h"
#include "pictures/conversion.h"

namespace pictures {

// Opens a file and reads its header. Throws FileError unless it holds a flat picture
// that does not move.
std::unique_ptr<OIIO::ImageInput> openPicture(const std::filesystem::path& file);

// Reads channels `first` to `end` - 1 of the picture at which `input` stands, as `type`. Throws
// FileError.
void readSamples(const std::filesystem::path& file, OIIO::ImageInput& input, int first, int end,
                 const OIIO::TypeDesc& type, void* samples);

// A flat picture in a file; most files hold one. Rectangles are in pixels.
struct PicturePart {
    OIIO::ImageSpec spec;              // the file's own description; its alpha_channel may be wrong
    int index;                         // in the file
    bool hasWindow;                    // a display window, apart from the pixels that are there
    int firstChannel, channelCount;    // those that are read
    std::vector<ChannelGroup> groups;  // one or more; channels count from firstChannel
    Alpha alpha;                       // where a group has alpha

    // What is to be seen, from (0, 0): the display window, otherwise all pixels, standing upright.
    Rectangle picture() const;
    // Where the picture's first pixel lies in the file's coordinates.
    QzLong originX() const { return hasWindow ? spec.full_x : spec.x; }
    QzLong originY() const { return hasWindow ? spec.full_y : spec.y; }
    // Where there are samples, as they are stored; the rest is transparent.
    Rectangle data() const;
    // The same in the picture.
    Rectangle filled() const { return hasWindow ? data() : picture(); }
    Orientation orientation() const;

    // The format that holds the file's values.
    QzBitmapType format() const;
    // What the samples of a group are.
    Stored stored(const ChannelGroup& group) const {
        return {{channelCount, group.at(0), group.at(1), group.at(2), group.alpha},
                alpha,
                data(),
                orientation()};
    }
};

// The name of a part; empty where the file's format has none.
std::string partName(const OIIO::ImageSpec& spec);

// The pictures in a file.
class PictureReader {
  public:
    // Reads the headers of the part or layer, or of the part with the channel, of that name; when
    // the name is empty, of all parts of an OpenEXR file and of the first of any other. Throws
    // FileError when there is no usable picture.
    PictureReader(const std::filesystem::path& file, const std::string& layer);

    const std::filesystem::path& file() const { return file_; }
    // One or more.
    const std::vector<PicturePart>& parts() const { return parts_; }
    // What of the file is not used or is lost, each on one line.
    const std::vector<std::string>& warnings() const { return warnings_; }

    // All channels of a part, interleaved. Works on at most `threads` threads, apart from OpenEXR's
    // own. Throws FileError, and std::bad_alloc when memory is out.
    Samples read(const PicturePart& part, unsigned threads);

  private:
    void addPart(const OIIO::ImageSpec& spec, int index, const Layer& layer);
    void addFirstPart();
    void addAllParts();
    void addLayer(const std::string& layer);
    void warnOfLostAlpha(const OIIO::ImageSpec& spec);

    std::filesystem::path file_;
    std::unique_ptr<OIIO::ImageInput> input_;
    std::vector<PicturePart> parts_;
    std::vector<std::string> warnings_;
};

}  // namespace pictures
