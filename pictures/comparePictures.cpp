#include "pictures/comparePictures.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <sstream>
#include <utility>

#include "pictures/PictureReader.h"
#include "pictures/imageLibrary.h"

namespace pictures {

namespace {

struct Content {
    OIIO::ImageSpec spec;
    std::vector<float> samples;  // which hold 16-bit integers and halves exactly
};

struct File {
    explicit File(std::filesystem::path name) : path(std::move(name)), input(openPicture(path)) {
        if (isOneOf(input->format_name(), {"openexr"}))
            parts = input->spec().get_int_attribute("oiio:subimages", 1);
    }

    Content load(int part) const {
        if (!input->seek_subimage(part, 0))
            throw FileError(path, "cannot be read: " + oneLine(input->geterror()));
        Content content{input->spec(), {}};
        if (content.spec.deep)
            throw FileError(path, "part " + partName(content.spec) +
                                      " is a deep picture; flat ones are accepted");
        content.samples.resize(content.spec.image_pixels() *
                               static_cast<std::size_t>(content.spec.nchannels));
        readSamples(path, *input, 0, content.spec.nchannels, OIIO::TypeDesc::FLOAT,
                    content.samples.data());
        return content;
    }

    std::filesystem::path path;
    std::unique_ptr<OIIO::ImageInput> input;
    int parts = 1;  // that are compared
};

bool lacksOnlyAlpha(const Content& content, const Content& other) {
    std::vector<std::string> names = content.spec.channelnames;
    names.emplace_back("A");
    return names == other.spec.channelnames;
}

void addOpaqueAlpha(Content& content) {
    const auto channels = content.spec.nchannels;
    std::vector<float> samples;
    samples.reserve(content.samples.size() + content.spec.image_pixels());
    for (auto at = content.samples.begin(); at != content.samples.end(); at += channels) {
        samples.insert(samples.end(), at, at + channels);
        samples.push_back(1);
    }
    content.samples = std::move(samples);
    content.spec.channelnames.emplace_back("A");
    content.spec.nchannels = channels + 1;
}

// Where the pixels are, in which window, and what they are made of.
std::string shapeOf(const OIIO::ImageSpec& spec) {
    return toText({spec.x, spec.y, spec.width, spec.height}) + " of " +
           toText({spec.full_x, spec.full_y, spec.full_width, spec.full_height}) +
           " and channels " + OIIO::Strutil::join(spec.channelnames, ",");
}

double difference(float a, float b) {
    if (a == b || (std::isnan(a) && std::isnan(b))) return 0;
    const double distance = std::abs(double{a} - double{b});
    return std::isnan(distance) ? std::numeric_limits<double>::infinity() : distance;
}

struct Differences {
    std::vector<double> largest, sum;  // of each channel
    std::size_t pixels = 0;            // that differ in any channel
};

Differences differences(const Content& a, const Content& b) {
    const auto channels = static_cast<std::size_t>(a.spec.nchannels);
    Differences result{std::vector<double>(channels), std::vector<double>(channels)};
    for (std::size_t i = 0; i < a.samples.size(); i += channels) {
        bool differs = false;
        for (std::size_t c = 0; c < channels; ++c) {
            const double distance = difference(a.samples[i + c], b.samples[i + c]);
            result.largest[c] = std::max(result.largest[c], distance);
            result.sum[c] += distance;
            differs = differs || distance > 0;
        }
        result.pixels += differs;
    }
    return result;
}

// What is said of a part begins so.
std::string titleOf(const File& file, const OIIO::ImageSpec& spec) {
    return file.parts == 1 ? "" : "part " + partName(spec) + ": ";
}

Comparison compareParts(const File& fileA, const File& fileB, int part, double tolerance) {
    Content a = fileA.load(part), b = fileB.load(part);
    const std::string title = titleOf(fileA, a.spec);
    const std::string shapeA = title + shapeOf(a.spec),
                      shapeB = titleOf(fileB, b.spec) + shapeOf(b.spec);
    if (lacksOnlyAlpha(a, b)) addOpaqueAlpha(a);
    if (lacksOnlyAlpha(b, a)) addOpaqueAlpha(b);
    if (title + shapeOf(a.spec) != titleOf(fileB, b.spec) + shapeOf(b.spec))
        throw FileError(fileB.path, shapeB + "; " + fileA.path.string() + " has " + shapeA);
    const Differences found = differences(a, b);
    const auto pixels = a.spec.image_pixels();
    std::ostringstream report;
    report << fileA.path.string() << ' ' << fileB.path.string() << ": " << title << found.pixels
           << " of " << pixels << " pixels differ\n";
    for (std::size_t c = 0; c < found.largest.size(); ++c)
        if (found.largest[c] > 0)
            report << "  " << a.spec.channelnames[c] << ": largest " << found.largest[c]
                   << ", mean " << found.sum[c] / static_cast<double>(pixels) << '\n';
    const double largest = *std::max_element(found.largest.begin(), found.largest.end());
    return {report.str(), largest <= tolerance};
}

}  // namespace

Comparison comparePictures(const std::filesystem::path& fileA, const std::filesystem::path& fileB,
                           double tolerance) {
    const File a(fileA), b(fileB);
    if (a.parts != b.parts)
        throw FileError(fileB, "number of parts " + std::to_string(b.parts) + "; " +
                                   fileA.string() + " has " + std::to_string(a.parts));
    Comparison all{"", true};
    for (int part = 0; part < a.parts; ++part) {
        const Comparison one = compareParts(a, b, part, tolerance);
        all.report += one.report;
        all.agree = all.agree && one.agree;
    }
    return all;
}

}  // namespace pictures
