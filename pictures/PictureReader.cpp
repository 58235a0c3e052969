#include "pictures/PictureReader.h"

#include <OpenImageIO/strutil.h>

#include <algorithm>
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

// The index of the channel with that name, or -1.
int placeOf(const OIIO::ImageSpec& spec, const std::string& name) {
    const auto same = [&](const std::string& other) { return OIIO::Strutil::iequals(other, name); };
    const auto found = std::find_if(spec.channelnames.begin(), spec.channelnames.end(), same);
    return found == spec.channelnames.end() ? -1 : int(found - spec.channelnames.begin());
}

bool hasColour(const OIIO::ImageSpec& spec, const std::string& prefix) {
    return placeOf(spec, prefix + "R") >= 0 && placeOf(spec, prefix + "G") >= 0 &&
           placeOf(spec, prefix + "B") >= 0;
}

std::string partName(const OIIO::ImageSpec& spec) {
    return std::string(spec.get_string_attribute("oiio:subimagename"));
}

// The names of the parts, and of the layers, which channel names begin with: "layer.R".
std::vector<std::string> layersOf(OIIO::ImageInput& input) {
    std::set<std::string> layers;
    OIIO::ImageSpec spec;
    for (int part = 0; (spec = input.spec(part)).format != OIIO::TypeUnknown; ++part) {
        layers.insert(partName(spec));
        for (const std::string& name : spec.channelnames)
            layers.insert(
                name.substr(0, name.find('.') == std::string::npos ? 0 : name.rfind('.')));
    }
    layers.erase("");
    return {layers.begin(), layers.end()};
}

// Moves `input` to the part with the layer. Returns the prefix of its channel names.
std::string seekLayer(const std::filesystem::path& file, OIIO::ImageInput& input,
                      const std::string& layer) {
    const std::string prefix = layer + ".";
    OIIO::ImageSpec spec;
    for (int part = 0; (spec = input.spec(part)).format != OIIO::TypeUnknown; ++part) {
        const bool prefixed =
            std::any_of(spec.channelnames.begin(), spec.channelnames.end(),
                        [&](const std::string& name) { return name.starts_with(prefix); });
        const bool wanted =
            layer.empty() ? hasColour(spec, "") : prefixed || partName(spec) == layer;
        if (wanted && input.seek_subimage(part, 0)) return !layer.empty() && prefixed ? prefix : "";
    }
    if (layer.empty()) {
        input.seek_subimage(0, 0);
        return "";
    }
    const std::vector<std::string> layers = layersOf(input);
    throw FileError(file, "no layer " + layer + "; " +
                              (layers.empty() ? "the file has no layers"
                                              : "it has " + OIIO::Strutil::join(layers, ", ")) +
                              suggestion(layer, layers));
}

// By name if there are such names, else by number: grey, grey and alpha, RGB, RGBA.
Channels chooseChannels(const std::filesystem::path& file, const OIIO::ImageSpec& spec,
                        const std::string& prefix) {
    const auto place = [&](const char* name) { return placeOf(spec, prefix + name); };
    if (hasColour(spec, prefix))
        return {spec.nchannels, place("R"), place("G"), place("B"), place("A")};
    std::vector<int> places;
    for (int i = 0; i < spec.nchannels; ++i)
        if (std::string(spec.channel_name(i)).starts_with(prefix)) places.push_back(i);
    const auto at = [&](std::size_t i) { return places[i]; };
    switch (places.size()) {
        case 1:
            return {spec.nchannels, at(0), at(0), at(0), -1};
        case 2:
            return {spec.nchannels, at(0), at(0), at(0), at(1)};
        case 3:
            return {spec.nchannels, at(0), at(1), at(2), -1};
        case 4:
            return {spec.nchannels, at(0), at(1), at(2), at(3)};
        default:
            throw FileError(file, std::to_string(places.size()) +
                                      " channels, none named R, G, B; 1 to 4 channels, or any "
                                      "number with those names, are accepted");
    }
}

Alpha alphaOf(const OIIO::ImageInput& input, const Channels& channels) {
    // Some readers hand over straight alpha without saying so.
    const bool straight = input.spec().get_int_attribute("oiio:UnassociatedAlpha") != 0 ||
                          isOneOf(input.format_name(), {"jpeg2000", "bmp", "ico"});
    return channels.alpha < 0 || straight ? Alpha::straight : Alpha::associated;
}

}  // namespace

std::unique_ptr<OIIO::ImageInput> openPicture(const std::filesystem::path& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (!std::filesystem::exists(status)) throw FileError(file, "no such file");
    if (std::filesystem::is_directory(status)) throw FileError(file, "is a folder, not a picture");
    OIIO::ImageSpec wishes;
    wishes.attribute("oiio:UnassociatedAlpha", 1);  // straight alpha stays so
    auto input = OIIO::ImageInput::open(file.string(), &wishes);
    if (!input) throw FileError(file, "not a readable picture: " + oneLine(OIIO::geterror()));
    checkSize(file, input->spec());
    return input;
}

void readSamples(const std::filesystem::path& file, OIIO::ImageInput& input, int first, int end,
                 const OIIO::TypeDesc& type, void* samples) {
    if (!input.read_image(input.current_subimage(), 0, first, end, type, samples))
        throw FileError(file, "cannot be read: " + oneLine(input.geterror()));
    // The JPEG library fills what is missing with grey and calls it a warning.
    const std::string complaint = input.geterror();
    if (complaint.find("Premature end") != std::string::npos)
        throw FileError(file, "cannot be read: " + oneLine(complaint));
}

PictureReader::PictureReader(const std::filesystem::path& file, const std::string& layer)
    : file_(file), input_(openPicture(file)) {
    const std::string prefix = seekLayer(file_, *input_, layer);
    checkSize(file_, spec());
    channels_ = chooseChannels(file_, spec(), prefix);
    // Whoever asks for a layer does not expect the others.
    if (layer.empty()) warnOfUnused();
    warnOfLostAlpha();
    alpha_ = alphaOf(*input_, channels_);
    // The channels between the used ones are read too, the others are not.
    const int alpha = channels_.alpha < 0 ? channels_.r : channels_.alpha;
    const auto [first, last] = std::minmax({channels_.r, channels_.g, channels_.b, alpha});
    firstChannel_ = first;
    channels_ = {last - first + 1, channels_.r - first, channels_.g - first, channels_.b - first,
                 std::max(channels_.alpha - first, -1)};
}

void PictureReader::warnOfUnused() {
    const int used = (channels_.r == channels_.g ? 1 : 3) + (channels_.alpha < 0 ? 0 : 1);
    if (channels_.count > used)
        warnings_.push_back(std::to_string(channels_.count) + " channels; R, G, B" +
                            (channels_.alpha < 0 ? "" : ", A") + " are used");
}

// The DPX reader skips a sample that is alone in the last 32-bit word of a row of 10-bit samples.
void PictureReader::warnOfLostAlpha() {
    if (isOneOf(input_->format_name(), {"dpx"}) && spec().nchannels == 4 && spec().width % 3 == 1 &&
        spec().get_int_attribute("oiio:BitsPerSample") == 10 &&
        spec().get_string_attribute("dpx:Packing") != "Packed")
        warnings_.push_back(
            "the alpha of the last column is lost: the picture library cannot read it in 10-bit "
            "DPX of width " +
            std::to_string(spec().width));
}

bool PictureReader::hasWindow() const { return isOneOf(input_->format_name(), {"openexr"}); }

Rectangle PictureReader::picture() const {
    if (hasWindow()) return {0, 0, spec().full_width, spec().full_height};
    return {0, 0, spec().width, spec().height};
}

Rectangle PictureReader::data() const {
    return {spec().x - originX(), spec().y - originY(), spec().width, spec().height};
}

QzBitmapType PictureReader::format() const {
    const bool isFloat = std::holds_alternative<std::vector<float>>(makeSamples(spec().format, 0));
    const int bits =
        spec().format == OIIO::TypeDesc::UINT8 ? 8 : spec().get_int_attribute("oiio:BitsPerSample");
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

void PictureReader::read(const polar_image& image, unsigned threads) {
    input_->threads(static_cast<int>(threads));
    Samples samples = makeSamples(
        spec().format, spec().image_pixels() * static_cast<std::size_t>(channels_.count));
    readSamples(file_, *input_, firstChannel_, firstChannel_ + channels_.count, typeOf(samples),
                dataOf(samples));
    samplesToImage(samples, channels_, alpha_, data(), image, threads);
}

}  // namespace pictures
