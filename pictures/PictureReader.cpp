#include "pictures/PictureReader.h"

#include <OpenImageIO/strutil.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <optional>
#include <set>
#include <system_error>
#include <type_traits>

#include "pictures/imageLibrary.h"
#include "pictures/suggestion.h"
#include "pixels/QzBuffer.h"

namespace pictures {

namespace {

void checkSize(const std::filesystem::path& file, const OIIO::ImageSpec& spec) {
    if (spec.deep || spec.depth > 1)
        throw FileError(file, spec.deep ? "a deep picture; flat ones are accepted"
                                        : "a volume; flat pictures are accepted");
    if (spec.width <= 0 || spec.height <= 0 || spec.nchannels <= 0)
        throw FileError(file, std::to_string(spec.width) + "x" + std::to_string(spec.height) +
                                  " pixels; 1x1 or more are accepted");
}

// The headers of all parts.
std::vector<OIIO::ImageSpec> partsOf(OIIO::ImageInput& input) {
    std::vector<OIIO::ImageSpec> parts;
    for (OIIO::ImageSpec spec = input.spec(0); spec.format != OIIO::TypeUnknown;
         spec = input.spec(static_cast<int>(parts.size())))
        parts.push_back(spec);
    return parts;
}

void checkAccess(const std::filesystem::path& file) {
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored))
        throw FileError(file, "is a folder, not a picture");
    if (access(file.c_str(), R_OK) == 0) return;
    const bool isMissing = errno == ENOENT || errno == ENOTDIR;
    throw FileError(file, isMissing ? "no such file"
                                    : "cannot be read: " + std::generic_category().message(errno));
}

// The picture library may lack the reader of films, and that of WebP knows nothing of motion.
bool hasMovingName(const std::filesystem::path& file) {
    const std::string extension = OIIO::Strutil::lower(file.extension().string());
    return isOneOf(extension, {".avi", ".m4v", ".mkv", ".mov", ".mp4", ".mpg", ".mxf", ".webm"});
}

bool isMovingWebp(const std::filesystem::path& file) {
    char head[21] = {};
    std::ifstream(file, std::ios::binary).read(head, sizeof head);
    return std::string_view(head + 8, 8) == "WEBPVP8X" && (head[20] & 2) != 0;
}

bool hasFrames(const std::filesystem::path& file, const OIIO::ImageInput& input) {
    if (!isOneOf(input.format_name(), {"gif", "webp", "FFmpeg movie"})) return false;
    const auto other = OIIO::ImageInput::open(file.string());  // no reader outlives a vain search
    return other && other->seek_subimage(1, 0);
}

// Its first frame would hardly be what the user wants.
void refuseMoving(const std::filesystem::path& file, const OIIO::ImageInput* input) {
    if (isMovingWebp(file) || (input == nullptr ? hasMovingName(file) : hasFrames(file, *input)))
        throw FileError(file,
                        "a moving picture; its frames are accepted as numbered files, which "
                        "ffmpeg -i FILE frame.%04d.png writes");
}

// The names of the parts, of the layers, which channel names begin with ("layer.R"), and of
// channels in none that are not the picture's.
std::vector<std::string> layersOf(const std::vector<OIIO::ImageSpec>& parts) {
    std::set<std::string> layers;
    for (const OIIO::ImageSpec& spec : parts) {
        layers.insert(partName(spec));
        for (const std::string& name : spec.channelnames) {
            const std::string prefix = layerPrefix(name);
            if (!prefix.empty())
                layers.insert(prefix.substr(0, prefix.size() - 1));
            else if (!isOneOf(name, {"R", "G", "B", "A"}))
                layers.insert(name);
        }
    }
    layers.erase("");
    return {layers.begin(), layers.end()};
}

// What of a part has that name, if anything.
std::optional<Layer> layerIn(const OIIO::ImageSpec& spec, const std::string& name) {
    const auto& names = spec.channelnames;
    const auto startsSo = [&](const std::string& channel) {
        return channel.starts_with(name + ".");
    };
    if (std::any_of(names.begin(), names.end(), startsSo)) return Layer{name + ".", ""};
    if (partName(spec) == name) return Layer{};
    if (std::find(names.begin(), names.end(), name) != names.end()) return Layer{"", name};
    return {};
}

// Some readers hand over straight alpha without saying so.
bool isStraight(const OIIO::ImageSpec& spec, std::string_view fileFormat) {
    return spec.get_int_attribute("oiio:UnassociatedAlpha") != 0 ||
           isOneOf(fileFormat, {"jpeg2000", "bmp", "ico"});
}

}  // namespace

std::string partName(const OIIO::ImageSpec& spec) {
    return std::string(spec.get_string_attribute("oiio:subimagename"));
}

std::unique_ptr<OIIO::ImageInput> openPicture(const std::filesystem::path& file) {
    checkAccess(file);
    OIIO::ImageSpec wishes;
    wishes.attribute("oiio:UnassociatedAlpha", 1);  // straight alpha stays so
    auto input = OIIO::ImageInput::open(file.string(), &wishes);
    const std::string complaint = input ? "" : OIIO::geterror();
    refuseMoving(file, input.get());
    if (!input) throw FileError(file, "not a readable picture: " + oneLine(complaint));
    return input;
}

void readSamples(const std::filesystem::path& file, OIIO::ImageInput& input, int first, int end,
                 const OIIO::TypeDesc& type, void* samples) {
    checkSize(file, input.spec());
    if (!input.read_image(input.current_subimage(), 0, first, end, type, samples))
        throw FileError(file, "cannot be read: " + oneLine(input.geterror()));
    // The JPEG library fills what is missing with grey and calls it a warning.
    const std::string complaint = input.geterror();
    if (complaint.find("Premature end") != std::string::npos)
        throw FileError(file, "cannot be read: " + oneLine(complaint));
}

Rectangle PicturePart::picture() const {
    if (hasWindow) return {0, 0, spec.full_width, spec.full_height};
    if (orientation().isTurned()) return {0, 0, spec.height, spec.width};
    return {0, 0, spec.width, spec.height};
}

Rectangle PicturePart::data() const {
    return {spec.x - originX(), spec.y - originY(), spec.width, spec.height};
}

Orientation PicturePart::orientation() const {
    return {hasWindow ? 1 : spec.get_int_attribute("Orientation", 1), spec.width, spec.height};
}

QzBitmapType PicturePart::format() const {
    const bool isFloat = std::holds_alternative<std::vector<float>>(makeSamples(spec.format, 0));
    const int bits =
        spec.format == OIIO::TypeDesc::UINT8 ? 8 : spec.get_int_attribute("oiio:BitsPerSample");
    // The formats ascend in depth, so without an exact one it is the deepest of its kind.
    QzBitmapType best{};
    bool isExact = false;
    forEachFormat([&]<class Buffer>() {
        using Pixel = typename Buffer::Pixel;
        if (isExact || isFloat != std::is_floating_point_v<typename Pixel::Component>) return;
        best = Buffer::bitmapType;
        isExact = int{Pixel::componentBits} == bits;
    });
    return best;
}

PictureReader::PictureReader(const std::filesystem::path& file, const std::string& layer)
    : file_(file), input_(openPicture(file)) {
    if (!layer.empty())
        addLayer(layer);
    else if (isOneOf(input_->format_name(), {"openexr"}))
        addAllParts();
    else
        addFirstPart();
}

void PictureReader::addFirstPart() {
    const int pages = input_->spec().get_int_attribute("oiio:subimages", 1);
    if (isOneOf(input_->format_name(), {"tiff"}) && pages > 1)
        warnings_.push_back(std::to_string(pages) + " pages; the first one is used");
    addPart(input_->spec(), 0, {});
}

void PictureReader::addAllParts() {
    const std::vector<OIIO::ImageSpec> parts = partsOf(*input_);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (parts[i].deep && parts.size() > 1)
            warnings_.push_back("part " + partName(parts[i]) + " is deep and left out");
        else
            addPart(parts[i], static_cast<int>(i), {});
    }
    if (parts_.empty()) throw FileError(file_, "deep pictures; flat ones are accepted");
}

void PictureReader::addLayer(const std::string& layer) {
    const std::vector<OIIO::ImageSpec> parts = partsOf(*input_);
    for (std::size_t i = 0; i < parts.size(); ++i)
        if (const auto found = layerIn(parts[i], layer))
            return addPart(parts[i], static_cast<int>(i), *found);
    const std::vector<std::string> layers = layersOf(parts);
    throw FileError(file_, "no layer " + layer + "; " +
                               (layers.empty() ? "the file has no layers"
                                               : "it has " + OIIO::Strutil::join(layers, ", ")) +
                               suggestion(layer, layers));
}

void PictureReader::addPart(const OIIO::ImageSpec& spec, int index, const Layer& layer) {
    checkSize(file_, spec);
    const std::string_view fileFormat = input_->format_name();
    PicturePart part{spec, index, fileFormat == "openexr", 0, 0, {}, Alpha::associated};
    if (isStraight(spec, fileFormat)) part.alpha = Alpha::straight;
    part.groups = groupChannels(spec, fileFormat, layer);
    // The channels between the wanted ones are read too, the others are not.
    int last = 0;
    part.firstChannel = spec.nchannels;
    for (const ChannelGroup& group : part.groups)
        for (const int channel : {group.at(0), group.at(1), group.at(2), group.alpha}) {
            if (channel < 0) continue;
            part.firstChannel = std::min(part.firstChannel, channel);
            last = std::max(last, channel);
        }
    part.channelCount = last - part.firstChannel + 1;
    for (ChannelGroup& group : part.groups) {
        for (int& channel : group.colours) channel -= part.firstChannel;
        if (group.alpha >= 0) group.alpha -= part.firstChannel;
    }
    warnOfLostAlpha(spec);
    for (int i = 0; i < spec.nchannels; ++i)
        if (spec.channelformat(i) == OIIO::TypeDesc::UINT32)
            warnings_.push_back(std::string(spec.channel_name(i)) +
                                ": integers of 32 bits are kept to 24 bits, and only in OpenEXR of "
                                "the same depth as integers");
    parts_.push_back(std::move(part));
}

// The DPX reader skips a sample that is alone in the last 32-bit word of a row of 10-bit samples.
void PictureReader::warnOfLostAlpha(const OIIO::ImageSpec& spec) {
    if (isOneOf(input_->format_name(), {"dpx"}) && spec.nchannels == 4 && spec.width % 3 == 1 &&
        spec.get_int_attribute("oiio:BitsPerSample") == 10 &&
        spec.get_string_attribute("dpx:Packing") != "Packed")
        warnings_.push_back(
            "the alpha of the last column is lost: the picture library cannot read it in 10-bit "
            "DPX of width " +
            std::to_string(spec.width));
}

Samples PictureReader::read(const PicturePart& part, unsigned threads) {
    input_->threads(static_cast<int>(threads));
    Samples samples = makeSamples(
        part.spec.format, part.spec.image_pixels() * static_cast<std::size_t>(part.channelCount));
    if (!input_->seek_subimage(part.index, 0))
        throw FileError(file_, "cannot be read: " + oneLine(input_->geterror()));
    readSamples(file_, *input_, part.firstChannel, part.firstChannel + part.channelCount,
                typeOf(samples), dataOf(samples));
    return samples;
}

}  // namespace pictures
