#include <OpenImageIO/strutil.h>

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <system_error>

#include "cli/Picture.h"
#include "cli/imageLibrary.h"
#include "cli/nearestWord.h"
#include "pixels/QzBuffer.h"

namespace {

// Attributes, as basic regular expressions, that tell of the original's samples or file rather than
// of the picture.
constexpr const char* outdated[] = {
    "oiio:BitsPerSample",
    "oiio:UnassociatedAlpha",
    "oiio:subimages",
    "oiio:subimagename",
    "name",
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

unsigned bitsOf(QzBitmapType format) {
    unsigned bits = 0;
    visitFormat(format, [&]<class Buffer>() { bits = Buffer::Pixel::componentBits; });
    return bits;
}

// What the format's writer wants.
Alpha alphaOf(const OIIO::ImageOutput& output, const PictureReader& original) {
    const std::string_view fileFormat = output.format_name();
    if (!output.supports("alpha")) return Alpha::overBlack;
    if (fileFormat == "tiff") return original.alpha();
    if (fileFormat == "webp") return Alpha::associatedInLight;  // its writer divides so
    return isOneOf(fileFormat, {"png", "targa", "jpeg2000", "heif", "bmp", "ico"})
               ? Alpha::straight
               : Alpha::associated;
}

// What the file is to hold, as long as the user does not say so.
OIIO::TypeDesc sampleType(std::string_view fileFormat, QzBitmapType format, bool wasHalf) {
    const bool exr = fileFormat == "openexr";
    switch (format) {
        case QzBitmapTypeRGBA8:
            return exr ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT8;
        case QzBitmapTypeRGBAFloat:
            return exr && wasHalf ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::FLOAT;
        default:
            return exr ? OIIO::TypeDesc::FLOAT : OIIO::TypeDesc::UINT16;
    }
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

// The value as the type that it looks like.
void setAttribute(OIIO::ImageSpec& spec, const std::string& name, const std::string& value) {
    if (OIIO::Strutil::string_is_int(value))
        spec.attribute(name, OIIO::Strutil::stoi(value));
    else if (OIIO::Strutil::string_is_float(value))
        spec.attribute(name, OIIO::Strutil::stof(value));
    else
        spec.attribute(name, value);
}

void apply(const FileSettings& settings, OIIO::ImageSpec& spec) {
    if (settings.depth) {
        spec.set_format(settings.depth->type);
        spec.erase_attribute("oiio:BitsPerSample");
        if (settings.depth->bits != 0) spec.attribute("oiio:BitsPerSample", settings.depth->bits);
    }
    for (const auto& [name, value] : settings.attributes) setAttribute(spec, name, value);
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

// The description of `region` of the original as R, G, B and perhaps A.
OIIO::ImageSpec describe(const OIIO::ImageOutput& output, const PictureReader& original,
                         const Rectangle& region, QzBitmapType format, Alpha alpha,
                         const FileSettings& settings) {
    OIIO::ImageSpec spec = original.spec();
    spec.x = original.originX() + region.x;
    spec.y = original.originY() + region.y;
    spec.width = region.width;
    spec.height = region.height;
    if (!output.supports("origin")) spec.x = spec.y = 0;
    if (!output.supports("negativeorigin")) {
        spec.x = std::max(spec.x, 0);
        spec.y = std::max(spec.y, 0);
    }
    spec.tile_width = spec.tile_height = 0;
    spec.nchannels = alpha == Alpha::overBlack ? 3 : 4;
    spec.channelformats.clear();
    spec.default_channel_names();
    for (const char* const pattern : outdated) spec.erase_attribute(pattern);
    const bool wasGrey = original.channels().r == original.channels().g;
    if (wasGrey) spec.erase_attribute("ICCProfile");
    // Else some writers put in the time of writing, and no two runs give the same file.
    if (spec.find_attribute("DateTime") == nullptr)
        if (const std::string time = timeOf(original.file()); !time.empty())
            spec.attribute("DateTime", time);
    const bool wasHalf = original.spec().format == OIIO::TypeDesc::HALF;
    spec.set_format(sampleType(output.format_name(), format, wasHalf));
    if (alpha == Alpha::straight) spec.attribute("oiio:UnassociatedAlpha", 1);
    if (format == QzBitmapTypeRGBA10 || format == QzBitmapTypeRGBA12)
        spec.attribute("oiio:BitsPerSample", static_cast<int>(bitsOf(format)));
    apply(settings, spec);
    avoidLosses(output.format_name(), spec);
    return spec;
}

void warnOfLosses(const std::filesystem::path& file, const OIIO::ImageOutput& output,
                  QzBitmapType format, Alpha alpha, const FileSettings& settings,
                  const Messages& messages) {
    const std::string holds = OIIO::Strutil::upper(output.format_name()) + " holds ";
    if (alpha == Alpha::overBlack)
        messages.warning(file, holds + "no alpha; the picture lies over black");
    const OIIO::TypeDesc type = output.spec().format;
    if (settings.depth) {
        if (type != settings.depth->type)
            messages.warning(file, holds + type.c_str() + ", not " +
                                       OIIO::TypeDesc(settings.depth->type).c_str());
        return;
    }
    const auto bits = static_cast<unsigned>(8 * type.size());
    if (!type.is_floating_point() && bits < bitsOf(format))
        messages.warning(
            file,
            holds + std::to_string(bits) + " bits a component; the picture has " +
                (format == QzBitmapTypeRGBAFloat ? "floats" : std::to_string(bitsOf(format))));
}

// Where a format's header holds the name of its file, and in how many bytes. Writers put in that of
// the temporary file or what is in memory, and no two runs would give the same file.
struct NameField {
    std::string_view format;
    std::streamoff offset;
    std::size_t size;
};
constexpr NameField nameFields[] = {{"dpx", 36, 100}, {"sgi", 24, 80}};

void writeName(std::string_view format, const std::filesystem::path& written,
               const std::filesystem::path& file) {
    for (const NameField& field : nameFields) {
        if (field.format != format) continue;
        std::string name = file.filename().string().substr(0, field.size - 1);
        name.resize(field.size);
        std::fstream stream(written, std::ios::binary | std::ios::in | std::ios::out);
        if (!stream.seekp(field.offset).write(name.data(), std::ssize(name)).flush())
            throw FileError(file, "cannot be written: its header stays incomplete");
    }
}

// Of all files that the picture library writes.
std::vector<std::string> extensions() {
    std::vector<std::string> all;
    for (const auto& [format, known] : OIIO::get_extension_map())
        for (const std::string& extension : known)
            if (!isOneOf(format, {"null", "term"}) && OIIO::ImageOutput::create(extension))
                all.push_back(extension);
    return all;
}

// Some writers do not see that the system stores no more, or that they have failed. Where a file
// ends too early, its first or its last row is not there, whichever the format puts last.
void requireReadable(const std::filesystem::path& written, const std::filesystem::path& file,
                     const OIIO::ImageSpec& wanted) {
    const auto input = OIIO::ImageInput::open(written.string());
    const auto refuse = [&](const std::string& reason) {
        throw FileError(file, "cannot be written: what was written " + reason);
    };
    if (!input) return refuse("cannot be read again: " + oneLine(OIIO::geterror()));
    const OIIO::ImageSpec& spec = input->spec();
    if (spec.width != wanted.width || spec.height != wanted.height ||
        spec.nchannels < wanted.nchannels)
        return refuse("is another picture; the format may not hold this one");
    if (spec.tile_width != 0) return;  // as in IFF, whose writer looks
    std::vector<float> row(static_cast<std::size_t>(spec.width) *
                           static_cast<std::size_t>(spec.nchannels));
    for (const int y : {spec.y, spec.y + spec.height - 1})
        if (!input->read_scanline(y, 0, OIIO::TypeDesc::FLOAT, row.data()))
            return refuse("cannot be read again: " + oneLine(input->geterror()));
}

}  // namespace

PictureWriter::PictureWriter(const std::filesystem::path& file)
    : file_(file), temporary_(file), output_(OIIO::ImageOutput::create(file.string())) {
    if (!output_) {
        const std::string extension =
            OIIO::Strutil::lower(file.extension().string().substr(file.has_extension() ? 1 : 0));
        throw FileError(file, "no picture format that can be written has the extension \"" +
                                  extension + "\"" + suggestion(extension, extensions()));
    }
    // libtiff also reads what it has written, and looks for itself.
    if (output_->supports("ioproxy") && !isOneOf(output_->format_name(), {"tiff"})) {
        checked_ = std::make_unique<CheckedFile>(temporary_.path().string());
        output_->set_ioproxy(checked_.get());
    }
}

void PictureWriter::write(const QzBitmap& bitmap, const Rectangle& region,
                          const PictureReader& original, const FileSettings& settings,
                          const Messages& messages) {
    const auto require = [&](bool done) {
        const int error = checked_ == nullptr ? 0 : checked_->finish();
        if (!done || error != 0)
            throw FileError(
                file_, "cannot be written: " + (error != 0 ? std::generic_category().message(error)
                                                           : oneLine(output_->geterror())));
    };
    const auto format = static_cast<QzBitmapType>(bitmap.bitmapType);
    const Alpha alpha = alphaOf(*output_, original);
    require(output_->open(temporary_.path().string(),
                          describe(*output_, original, region, format, alpha, settings)));
    const OIIO::ImageSpec& spec = output_->spec();
    warnOfLosses(file_, *output_, format, alpha, settings, messages);
    Samples samples =
        makeSamples(spec.format, spec.image_pixels() * static_cast<std::size_t>(spec.nchannels));
    bitmapToSamples(bitmap, region, alpha, samples);
    require(output_->write_image(typeOf(samples), dataOf(samples)));
    require(output_->close());
    writeName(output_->format_name(), temporary_.path(), file_);
    if (checked_ == nullptr) temporary_.reserveSpace();
    requireReadable(temporary_.path(), file_, spec);
    messages.detail(file_, std::string(output_->format_name()) + " of " + spec.format.c_str());
    temporary_.moveToTarget();
}
