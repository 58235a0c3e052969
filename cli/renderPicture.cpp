#include "cli/renderPicture.h"

#include <OpenImageIO/strutil.h>

#include <chrono>
#include <memory>
#include <new>
#include <system_error>

#include "cli/outputFolder.h"
#include "pictures/PictureReader.h"
#include "pictures/PictureWriter.h"
#include "pictures/Rectangle.h"
#include "pixels/QzBuffer.h"

namespace cli {

namespace {

using pictures::ChannelGroup;
using pictures::FileError;
using pictures::PicturePart;
using pictures::PictureReader;
using pictures::PictureWriter;
using pictures::Rectangle;
using pictures::toText;

class Stopwatch {
  public:
    // Seconds since the last call, or since construction.
    double lap() {
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::duration<double> time = now - last_;
        last_ = now;
        return time.count();
    }

  private:
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

std::string inMilliseconds(double seconds) {
    return OIIO::Strutil::fmt::format("{:.1f} ms", seconds * 1000);
}

// The rectangle asked for with `option`, or the whole of the picture.
Rectangle within(const Rectangle& picture, const std::optional<Rectangle>& asked,
                 const char* option, const std::filesystem::path& file) {
    const Rectangle rectangle = asked.value_or(picture);
    if (!pictures::contains(picture, rectangle))
        throw FileError(file, std::string(option) + " " + toText(rectangle) +
                                  " lies outside the picture " + toText(picture) +
                                  "; the nearest inside is " +
                                  toText(pictures::nearestIn(picture, rectangle)));
    return rectangle;
}

void refuseOwnInput(const std::filesystem::path& input, const std::filesystem::path& output) {
    std::error_code error;  // missing files are not the same
    if (std::filesystem::equivalent(input, output, error))
        throw FileError(output, "is the input; --overwrite replaces it");
}

std::string describe(const PicturePart& part, QzBitmapType format) {
    std::string name;
    visitFormat(format, [&]<class Buffer>() { name = Buffer::name; });
    const ChannelGroup& group = part.groups.front();
    return std::string(part.spec.format.c_str()) + " components, " +
           (group.alpha < 0                             ? "no alpha"
            : part.alpha == pictures::Alpha::associated ? "associated alpha"
                                                        : "straight alpha") +
           ", as " + name;
}

// The source, which may reach beyond the picture but not miss it.
Rectangle sourceOf(const Rectangle& picture, const std::optional<Rectangle>& asked,
                   const std::filesystem::path& file) {
    const Rectangle source = asked.value_or(picture);
    const Rectangle seen = pictures::intersection(picture, source);
    if (seen.width == 0 || seen.height == 0)
        throw FileError(
            file, "--source " + toText(source) + " has nothing of the picture " + toText(picture));
    return source;
}

// Renders one picture of a file; whatever its parts are, `source` and `region` lie in each alike.
class PartRenderer {
  public:
    PartRenderer(const Renderer& renderer, const FrameSettings& settings, unsigned threads,
                 const std::filesystem::path& file, const PicturePart& part)
        : renderer_(renderer),
          settings_(settings),
          threads_(threads),
          part_(part),
          picture_(part.picture()),
          source_(sourceOf(picture_, settings.source, file)),
          region_(within(picture_, settings.region, "--region", file)) {}

    const Rectangle& source() const { return source_; }
    const Rectangle& region() const { return region_; }
    QzBitmapType format() const { return settings_.format.value_or(part_.format()); }

    pictures::RenderTraits traits() const {
        const bool isNearest = settings_.sampling == hosting::Sampling::nearest;
        const bool isUnwrap = settings_.filter == hosting::Filter::polarToRectangular;
        const bool staysInside = isUnwrap && pictures::contains(part_.filled(), source_) &&
                                 pictures::contains(source_, region_) &&
                                 (!isNearest || renderer_.canRepeatEdges());
        return {!staysInside, isNearest};
    }

    // The region, rendered from a group of channels whose samples `fill` writes into an image of
    // `area` of the picture.
    template <class Fill>
    polar_image render(const pictures::OutputGroup& group, const Fill& fill) {
        // Mixing, the last row and column stand alone where their neighbours are missing; the
        // nearest pixel of the rim may itself be missing.
        const bool repeatsEdges =
            traits().keepsPixels && group.composition.alpha == pictures::Alpha::dropped;
        Rectangle area = pictures::boundingBox(picture_, source_);
        if (repeatsEdges) area = {source_.x, source_.y, source_.width + 1, source_.height + 1};
        rendering_ = renderer_.start(area.width, area.height, format(), threads_);
        const polar_image input = rendering_->input();
        fill(area, input);
        if (repeatsEdges) pictures::repeatLastPixels(input);
        return rendering_->render({settings_.filter, settings_.sampling, moved(source_, area),
                                   moved(region_, area), repeatsEdges});
    }

  private:
    static Rectangle moved(const Rectangle& rectangle, const Rectangle& origin) {
        return {rectangle.x - origin.x, rectangle.y - origin.y, rectangle.width, rectangle.height};
    }

    const Renderer& renderer_;
    const FrameSettings& settings_;
    unsigned threads_;
    const PicturePart& part_;
    Rectangle picture_, source_, region_;
    std::unique_ptr<Rendering> rendering_;  // owns the last result
};

// Renders all groups of a part, one after the other, into the samples of the output.
FrameTimes renderPart(PartRenderer& renderer, PictureReader& reader, PictureWriter& writer,
                      const pictures::OutputPlan& plan, std::size_t index, unsigned threads) {
    const pictures::OutputPart& part = plan.parts[index];
    Stopwatch stopwatch;
    FrameTimes times;
    pictures::Samples in = reader.read(*part.from, threads), out;
    for (const pictures::OutputGroup& group : part.groups) {
        const polar_image image =
            renderer.render(group, [&](const Rectangle& area, const polar_image& input) {
                samplesToImage(in, part.from->stored(*group.from), area, input, threads);
                if (&group == &part.groups.back()) in = {};  // memory for the result
                times.read += stopwatch.lap();
            });
        times.render += stopwatch.lap();
        if (&group == &part.groups.front()) out = writer.makeSamples(index);
        imageToSamples(image, group.composition, out, threads);
        times.write += stopwatch.lap();
    }
    writer.write(index, out, threads);
    times.write += stopwatch.lap();
    return times;
}

FrameTimes render(const Renderer& renderer, const std::filesystem::path& input,
                  const std::filesystem::path& output, const FrameSettings& settings,
                  unsigned threads, PictureReader& reader, const Messages& messages) {
    if (settings.makeFolders) makeFolder(output);
    PictureWriter writer(output, settings.file, settings.overwrite);
    for (const std::string& warning : writer.warnings()) messages.warning(output, warning);
    std::vector<PartRenderer> renderers;
    std::vector<pictures::RenderTraits> traits;
    for (const PicturePart& part : reader.parts()) {
        renderers.emplace_back(renderer, settings, threads, input, part);
        traits.push_back(renderers.back().traits());
    }
    const PartRenderer& first = renderers.front();
    const pictures::OutputPlan plan = writer.plan(reader, settings.file, traits);
    messages.detail(input, toText(reader.parts().front().picture()) + ", " +
                               describe(reader.parts().front(), first.format()));
    messages.detail(input, "source " + toText(first.source()) + ", region " +
                               toText(first.region()) + ", " +
                               (first.traits().keepsPixels ? "nearest" : "bilinear") +
                               ", rendered by " + renderer.name());

    const auto rendererOf = [&](const pictures::OutputPart& part) -> PartRenderer& {
        return renderers[static_cast<std::size_t>(part.from - reader.parts().data())];
    };
    std::vector<QzBitmapType> formats;
    for (const auto& part : plan.parts) formats.push_back(rendererOf(part).format());
    writer.open(reader, plan, first.region(), formats, settings.file);
    FrameTimes times;
    for (std::size_t i = 0; i < plan.parts.size(); ++i)
        times += renderPart(rendererOf(plan.parts[i]), reader, writer, plan, i, threads);
    Stopwatch stopwatch;
    const pictures::Written written = writer.finish();
    times.write += stopwatch.lap();

    for (const std::string& warning : plan.warnings) messages.warning(output, warning);
    for (const std::string& warning : written.warnings) messages.warning(output, warning);
    messages.detail(output, written.description);
    messages.detail(output, "read in " + inMilliseconds(times.read) + ", rendered in " +
                                inMilliseconds(times.render) + ", written in " +
                                inMilliseconds(times.write));
    return times;
}

}  // namespace

void checkFrame(const std::filesystem::path& input, const std::filesystem::path& output,
                const FrameSettings& settings, const Messages& messages) {
    if (!settings.overwrite) refuseOwnInput(input, output);
    const PictureReader reader(input, settings.layer);
    for (const std::string& warning : reader.warnings()) messages.warning(input, warning);
    requestFor(reader, settings);
    checkPlace(output, settings.makeFolders);
}

FrameTimes renderPicture(const Renderer& renderer, const std::filesystem::path& input,
                         const std::filesystem::path& output, const FrameSettings& settings,
                         unsigned threads, const Messages& messages) {
    if (!settings.overwrite) refuseOwnInput(input, output);
    std::string size;
    try {
        PictureReader reader(input, settings.layer);
        for (const std::string& warning : reader.warnings()) messages.warning(input, warning);
        const Rectangle picture = reader.parts().front().picture();
        size = " for " + std::to_string(picture.width) + "x" + std::to_string(picture.height);
        return render(renderer, input, output, settings, threads, reader, messages);
    } catch (const std::bad_alloc&) {
        throw FileError(input, "not enough memory" + size);
    }
}

}  // namespace cli
