#include "cli/renderPicture.h"

#include <OpenImageIO/strutil.h>

#include <chrono>
#include <functional>
#include <new>
#include <system_error>

#include "cli/PartRenderer.h"
#include "cli/outputFolder.h"
#include "pictures/PictureReader.h"
#include "pictures/PictureWriter.h"

namespace cli {

namespace {

using pictures::FileError;
using pictures::PictureReader;
using pictures::PictureWriter;
using pictures::Rectangle;

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

std::string sizeOf(const Rectangle& picture) {
    return std::to_string(picture.width) + "x" + std::to_string(picture.height);
}

void refuseOwnInput(const std::filesystem::path& input, const std::filesystem::path& output) {
    std::error_code error;  // missing files are not the same
    if (std::filesystem::equivalent(input, output, error))
        throw FileError(output, "is the input; --overwrite replaces it");
}

// A frame whose header is read.
struct Frame {
    PictureReader reader;
    std::vector<PartRenderer> renderers;  // of the reader's parts
    pictures::OutputPlan plan;

    // Says what is to be warned of.
    Frame(const Renderer& renderer, const std::filesystem::path& input,
          const std::filesystem::path& output, const FrameSettings& settings,
          const Messages& messages)
        : reader(input, settings.layer) {
        for (const std::string& warning : reader.warnings()) messages.warning(input, warning);
        std::vector<pictures::RenderTraits> traits;
        for (const pictures::PicturePart& part : reader.parts()) {
            renderers.emplace_back(renderer, settings, input, part);
            traits.push_back(renderers.back().traits());
        }
        plan = pictures::planOutput(reader, output, settings.file, traits);
        for (const std::string& warning : plan.warnings) messages.warning(output, warning);
        messages.detail(input, renderers.front().describeInput());
        messages.detail(input, renderers.front().describeRender());
    }

    PartRenderer& rendererOf(const pictures::OutputPart& part) {
        return renderers[static_cast<std::size_t>(part.from - reader.parts().data())];
    }
};

// Renders all groups of a part, one after the other, into samples that `makeSamples` has made.
FrameTimes renderPart(Frame& frame, std::size_t index, unsigned threads, PictureWriter& writer,
                      const std::function<pictures::Samples()>& makeSamples) {
    const pictures::OutputPart& part = frame.plan.parts[index];
    Stopwatch stopwatch;
    FrameTimes times;
    pictures::Samples in = frame.reader.read(*part.from, threads), out;
    for (const pictures::OutputGroup& group : part.groups) {
        const auto fill = [&](const Rectangle& area, const polar_image& image) {
            samplesToImage(in, part.from->stored(*group.from), area, image, threads);
            if (&group == &part.groups.back()) in = {};  // memory for the result
            times.read += stopwatch.lap();
        };
        const auto use = [&](const polar_image& image) {
            times.render += stopwatch.lap();
            if (&group == &part.groups.front()) out = makeSamples();
            imageToSamples(image, group.composition, out, threads);
        };
        frame.rendererOf(part).render(group, threads, fill, use);
        times.write += stopwatch.lap();
    }
    writer.write(index, out, threads);
    times.write += stopwatch.lap();
    return times;
}

FrameTimes render(Frame& frame, const std::filesystem::path& output, const FrameSettings& settings,
                  unsigned threads, const Messages& messages) {
    if (settings.makeFolders) makeFolder(output);
    PictureWriter writer(output, settings.overwrite);
    FrameTimes times;
    for (std::size_t i = 0; i < frame.plan.parts.size(); ++i)
        times += renderPart(frame, i, threads, writer, [&] {
            // Not before there is something to write: for a small file of a huge window, which ends
            // for want of memory, the writer would build a huge table first.
            if (i == 0) writer.open(frame.plan, settings.file);
            return writer.makeSamples(i);
        });
    Stopwatch stopwatch;
    const pictures::Written written = writer.finish();
    times.write += stopwatch.lap();

    for (const std::string& warning : written.warnings) messages.warning(output, warning);
    messages.detail(output, written.description);
    messages.detail(output, "read in " + inMilliseconds(times.read) + ", rendered in " +
                                inMilliseconds(times.render) + ", written in " +
                                inMilliseconds(times.write));
    return times;
}

}  // namespace

void checkFrame(const Renderer& renderer, const std::filesystem::path& input,
                const std::filesystem::path& output, const FrameSettings& settings,
                const Messages& messages) {
    if (!settings.overwrite) refuseOwnInput(input, output);
    const Frame frame(renderer, input, output, settings, messages);
    checkPlace(output, settings.overwrite, settings.makeFolders);
}

FrameTimes renderPicture(const Renderer& renderer, const std::filesystem::path& input,
                         const std::filesystem::path& output, const FrameSettings& settings,
                         unsigned threads, const Messages& messages) {
    if (!settings.overwrite) refuseOwnInput(input, output);
    std::string size;
    try {
        Frame frame(renderer, input, output, settings, messages);
        size = " for " + sizeOf(frame.reader.parts().front().picture());
        if (const auto& result = frame.plan.parts.front().window) size += " to " + sizeOf(*result);
        return render(frame, output, settings, threads, messages);
    } catch (const std::bad_alloc&) {
        throw FileError(input, "not enough memory" + size);
    }
}

}  // namespace cli
