#include "pictures/outputSpec.h"

#include <OpenImageIO/strutil.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <type_traits>

#include "pictures/encoding.h"
#include "pictures/imageLibrary.h"
#include "pixels/QzBuffer.h"

namespace pictures {

namespace {

// Attributes, as basic regular expressions, that tell of the original's samples or file rather than
// of the picture.
constexpr const char* outdated[] = {
    "oiio:BitsPerSample",
    "oiio:UnassociatedAlpha",
    "oiio:subimages",
    "openexr:chunkCount",
    "oiio:ConstantColor",
    "oiio:AverageColor",
    "oiio:SHA-1",
    "thumbnail_.*",
    "textureformat",
    "openexr:levelmode",
    "openexr:roundingmode",
    "dpx:ImageDescriptor",
    "targa:alpha_type",
    "tiff:ColorSpace",
    "tiff:PhotometricInterpretation",
    "Exif:Pixel[XY]Dimension",
};

// What the components of an image are.
struct Components {
    unsigned bits;
    bool isFloat;
};

Components componentsOf(QzBitmapType format) {
    Components components{};
    visitFormat(format, [&]<class Buffer>() {
        using Pixel = typename Buffer::Pixel;
        components = {Pixel::componentBits, std::is_floating_point_v<typename Pixel::Component>};
    });
    return components;
}

// How the picture library names a depth: its type, and the bits if not all of the type are used.
struct LibraryDepth {
    OIIO::TypeDesc::BASETYPE type;
    int bits;
};

LibraryDepth libraryDepth(Depth depth) {
    switch (depth) {
        case Depth::uint8:
            return {OIIO::TypeDesc::UINT8, 0};
        case Depth::uint10:
            return {OIIO::TypeDesc::UINT16, 10};
        case Depth::uint12:
            return {OIIO::TypeDesc::UINT16, 12};
        case Depth::uint16:
            return {OIIO::TypeDesc::UINT16, 0};
        case Depth::half:
            return {OIIO::TypeDesc::HALF, 0};
        default:
            return {OIIO::TypeDesc::FLOAT, 0};
    }
}

// What the file holds unless the user asks for another depth.
OIIO::TypeDesc sampleType(std::string_view fileFormat, const Components& components, bool wasHalf) {
    const bool isExr = fileFormat == "openexr";
    if (components.isFloat) return isExr && wasHalf ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::FLOAT;
    if (isExr) return components.bits <= 8 ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::FLOAT;
    return components.bits <= 8 ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::UINT16;
}

// Keeps the picture library from writing what its writers do not hold: they take 8 bits where they
// have no floats, some would write halves as integers and one reads 8 bits as more.
void avoidLosses(std::string_view fileFormat, OIIO::ImageSpec& spec) {
    if (spec.format == OIIO::TypeDesc::HALF && !isOneOf(fileFormat, {"openexr", "tiff"}))
        spec.set_format(OIIO::TypeDesc::FLOAT);
    if (isOneOf(fileFormat, {"pnm"})) spec.erase_attribute("oiio:BitsPerSample");
    if (spec.format.is_floating_point() && isOneOf(fileFormat, {"png", "sgi", "jpeg2000", "iff"}))
        spec.set_format(OIIO::TypeDesc::UINT16);
}

void apply(const FileSettings& settings, std::string_view fileFormat, OIIO::ImageSpec& spec) {
    if (settings.depth) {
        const LibraryDepth depth = libraryDepth(*settings.depth);
        spec.set_format(depth.type);
        spec.erase_attribute("oiio:BitsPerSample");
        if (depth.bits != 0) spec.attribute("oiio:BitsPerSample", depth.bits);
    }
    setEncoding(fileFormat, settings, spec);
}

// When the file was last changed, in UTC, as pictures write times; nothing where that is not known.
std::string timeOf(const std::filesystem::path& file) {
    struct stat status {};
    struct tm time {};
    if (stat(file.c_str(), &status) != 0 || gmtime_r(&status.st_mtime, &time) == nullptr) return {};
    char text[32];
    std::strftime(text, sizeof text, "%Y:%m:%d %H:%M:%S", &time);
    return text;
}

// Where a part lies, as far as the output can tell.
void place(OIIO::ImageSpec& spec, const OIIO::ImageOutput& output, const OutputPart& part) {
    const PicturePart& original = *part.from;
    const Rectangle& region = part.region;
    spec.x = region.x + (part.window ? 0 : original.originX());
    spec.y = region.y + (part.window ? 0 : original.originY());
    spec.width = region.width;
    spec.height = region.height;
    if (!output.supports("origin")) spec.x = spec.y = 0;
    if (!output.supports("negativeorigin")) {
        spec.x = std::max(spec.x, 0);
        spec.y = std::max(spec.y, 0);
    }
    if (original.orientation().isTurned()) {
        std::swap(spec.full_x, spec.full_y);
        std::swap(spec.full_width, spec.full_height);
        const float x = spec.get_float_attribute("XResolution");
        const float y = spec.get_float_attribute("YResolution");
        if (x != y) {
            spec.attribute("XResolution", y);
            spec.attribute("YResolution", x);
            spec.attribute("PixelAspectRatio", y / x);
        }
    }
    if (part.window) {
        spec.full_x = spec.full_y = 0;
        spec.full_width = part.window->width;
        spec.full_height = part.window->height;
    }
    if (spec.find_attribute("Orientation") != nullptr) spec.attribute("Orientation", 1);
    spec.tile_width = spec.tile_height = 0;
}

// The depths that channels had in the file, where they differ and the output keeps them so.
void keepDepths(OIIO::ImageSpec& spec, const OutputPart& part) {
    for (const OutputChannel& channel : part.channels)
        spec.channelformats.push_back(
            part.from->spec.channelformat(part.from->firstChannel + channel.from));
    const auto widest = [](OIIO::TypeDesc a, OIIO::TypeDesc b) { return b.size() > a.size(); };
    spec.format = *std::max_element(spec.channelformats.begin(), spec.channelformats.end(), widest);
    if (std::all_of(spec.channelformats.begin(), spec.channelformats.end(),
                    [&](OIIO::TypeDesc type) { return type == spec.format; }))
        spec.channelformats.clear();
}

}  // namespace

OIIO::ImageSpec describePart(const OIIO::ImageOutput& output, const PictureReader& input,
                             const OutputPart& part, bool isOnly, const FileSettings& settings) {
    const std::string_view format = output.format_name();
    const Components components = componentsOf(part.format);
    OIIO::ImageSpec spec = part.from->spec;
    place(spec, output, part);
    spec.nchannels = static_cast<int>(part.channels.size());
    spec.channelformats.clear();
    spec.channelnames.clear();
    for (const OutputChannel& channel : part.channels) spec.channelnames.push_back(channel.name);
    spec.alpha_channel = part.alphaChannel;
    spec.z_channel = -1;
    for (const char* const pattern : outdated) spec.erase_attribute(pattern);
    if (isOnly)
        for (const char* const name : {"oiio:subimagename", "name"}) spec.erase_attribute(name);
    const ChannelGroup& first = part.from->groups.front();
    const auto& places = part.groups.front().composition.channels;
    if (first.isGrey() != (places.r == places.g)) spec.erase_attribute("ICCProfile");
    // Else some writers put in the time of writing, and no two runs give the same file.
    if (spec.find_attribute("DateTime") == nullptr)
        if (const std::string time = timeOf(input.file()); !time.empty())
            spec.attribute("DateTime", time);
    const bool wasHalf = part.from->spec.format == OIIO::TypeDesc::HALF;
    spec.set_format(sampleType(format, components, wasHalf));
    if (format == "openexr" && part.from->hasWindow && components.isFloat && !settings.depth)
        keepDepths(spec, part);
    if (part.groups.front().composition.alpha == Alpha::straight)
        spec.attribute("oiio:UnassociatedAlpha", 1);
    if (components.bits % 8 != 0)
        spec.attribute("oiio:BitsPerSample", static_cast<int>(components.bits));
    apply(settings, format, spec);
    avoidLosses(format, spec);
    return spec;
}

std::vector<std::string> depthLosses(const OIIO::ImageOutput& output, QzBitmapType rendered,
                                     const FileSettings& settings) {
    const Components components = componentsOf(rendered);
    std::vector<std::string> found;
    const std::string holds = OIIO::Strutil::upper(output.format_name()) + " holds ";
    const OIIO::TypeDesc type = output.spec().format;
    const auto bits = static_cast<unsigned>(8 * type.size());
    if (settings.depth) {
        const OIIO::TypeDesc asked = libraryDepth(*settings.depth).type;
        if (type != asked) found.push_back(holds + type.c_str() + ", not " + asked.c_str());
    } else if (!type.is_floating_point() && bits < components.bits) {
        found.push_back(holds + std::to_string(bits) + " bits a component; the picture has " +
                        (components.isFloat ? "floats" : std::to_string(components.bits)));
    }
    return found;
}

}  // namespace pictures
