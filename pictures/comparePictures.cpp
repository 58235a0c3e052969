#include "pictures/comparePictures.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

#include "pictures/PictureReader.h"
#include "pictures/imageLibrary.h"

namespace pictures {

namespace {

struct Content {
    OIIO::ImageSpec spec;
    std::vector<float> samples;  // which hold 16-bit integers and halves exactly
};

Content load(const std::filesystem::path& file) {
    const auto input = openPicture(file);
    Content content{input->spec(), {}};
    content.samples.resize(content.spec.image_pixels() *
                           static_cast<std::size_t>(content.spec.nchannels));
    readSamples(file, *input, 0, content.spec.nchannels, OIIO::TypeDesc::FLOAT,
                content.samples.data());
    return content;
}

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

}  // namespace

Comparison comparePictures(const std::filesystem::path& fileA, const std::filesystem::path& fileB,
                           double tolerance) {
    Content a = load(fileA), b = load(fileB);
    const std::string shapeA = shapeOf(a.spec), shapeB = shapeOf(b.spec);
    if (lacksOnlyAlpha(a, b)) addOpaqueAlpha(a);
    if (lacksOnlyAlpha(b, a)) addOpaqueAlpha(b);
    if (shapeOf(a.spec) != shapeOf(b.spec))
        throw FileError(fileB, shapeB + "; " + fileA.string() + " has " + shapeA);
    const Differences found = differences(a, b);
    const auto pixels = a.spec.image_pixels();
    std::ostringstream report;
    report << fileA.string() << ' ' << fileB.string() << ": " << found.pixels << " of " << pixels
           << " pixels differ\n";
    for (std::size_t c = 0; c < found.largest.size(); ++c)
        if (found.largest[c] > 0)
            report << "  " << a.spec.channelnames[c] << ": largest " << found.largest[c]
                   << ", mean " << found.sum[c] / static_cast<double>(pixels) << '\n';
    const double largest = *std::max_element(found.largest.begin(), found.largest.end());
    return {report.str(), largest <= tolerance};
}

}  // namespace pictures
