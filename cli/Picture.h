// Picture files in and out. An object is used by one thread at a time.
#pragma once

#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/CheckedFile.h"
#include "cli/Messages.h"
#include "cli/TemporaryFile.h"
#include "cli/conversion.h"

// Opens a file and reads its header. Throws FileError where it holds no flat picture.
std::unique_ptr<OIIO::ImageInput> openPicture(const std::filesystem::path& file);

// Reads the samples from channel `first` to before `end` of the picture that `input` stands at.
// Throws FileError.
void readSamples(const std::filesystem::path& file, OIIO::ImageInput& input, int first, int end,
                 const OIIO::TypeDesc& type, void* samples);

// A picture in a file: the named part or layer, or else the first part that has R, G and B or,
// where none has, the first.
class PictureReader {
  public:
    // Reads the header. Warns of channels that stay unused; throws FileError where there is no
    // picture that can be used.
    PictureReader(const std::filesystem::path& file, const std::string& layer,
                  const Messages& messages);

    const std::filesystem::path& file() const { return file_; }
    // The file's own description; its alpha_channel may be wrong.
    const OIIO::ImageSpec& spec() const { return input_->spec(); }

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

    // All samples of channels(). Throws FileError, and std::bad_alloc where memory is out.
    Samples read();

  private:
    bool hasWindow() const;

    std::filesystem::path file_;
    std::unique_ptr<OIIO::ImageInput> input_;
    int firstChannel_ = 0;
    Channels channels_{};
    Alpha alpha_ = Alpha::straight;
};

// What the components of a file are.
struct Depth {
    OIIO::TypeDesc::BASETYPE type;
    int bits;  // of an integer that does not use all of its type, or 0
};

// Depths by the names that users know.
constexpr std::pair<const char*, Depth> depthNames[] = {
    {"uint8", {OIIO::TypeDesc::UINT8, 0}},    {"uint10", {OIIO::TypeDesc::UINT16, 10}},
    {"uint12", {OIIO::TypeDesc::UINT16, 12}}, {"uint16", {OIIO::TypeDesc::UINT16, 0}},
    {"half", {OIIO::TypeDesc::HALF, 0}},      {"float", {OIIO::TypeDesc::FLOAT, 0}}};

// What users ask of an output file.
struct FileSettings {
    std::optional<Depth> depth;  // else as the bitmap has it
    std::vector<std::pair<std::string, std::string>>
        attributes;  // names and values, for the writer
};

// A picture under way to its file. Until it is complete it lies in a temporary file beside its
// place, removed on every failure.
class PictureWriter {
  public:
    // Throws FileError where `file` cannot be written or its extension means no format.
    explicit PictureWriter(const std::filesystem::path& file);

    // Writes `region` of `bitmap` with the metadata of the picture that it was made from, and puts
    // the file into its place. Warns of what the file cannot hold; throws FileError.
    void write(const QzBitmap& bitmap, const Rectangle& region, const PictureReader& original,
               const FileSettings& settings, const Messages& messages);

  private:
    std::filesystem::path file_;
    TemporaryFile temporary_;  // outlives output_, which may write even when it is destroyed
    std::unique_ptr<CheckedFile> checked_;
    std::unique_ptr<OIIO::ImageOutput> output_;
};
