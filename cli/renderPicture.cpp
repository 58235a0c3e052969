#include "cli/renderPicture.h"

#include <OpenImageIO/strutil.h>

#include <chrono>
#include <new>
#include <system_error>

#include "pictures/PictureReader.h"
#include "pictures/PictureWriter.h"
#include "pictures/Rectangle.h"
#include "pixels/QzBuffer.h"

namespace cli {

namespace {

using pictures::FileError;
using pictures::PictureReader;
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

std::string describe(const PictureReader& reader, QzBitmapType format) {
    std::string name;
    visitFormat(format, [&]<class Buffer>() { name = Buffer::name; });
    return std::string(reader.spec().format.c_str()) + " components, " +
           (reader.channels().alpha < 0                     ? "no alpha"
            : reader.alpha() == pictures::Alpha::associated ? "associated alpha"
                                                            : "straight alpha") +
           ", as " + name;
}

FrameTimes render(const Renderer& renderer, const std::filesystem::path& input,
                  const std::filesystem::path& output, const FrameSettings& settings,
                  unsigned threads, PictureReader& reader, const Messages& messages) {
    const Rectangle picture = reader.picture();
    const Rectangle source = within(picture, settings.source, "--source", input);
    const Rectangle region = within(picture, settings.region, "--region", input);
    const QzBitmapType format = settings.format.value_or(reader.format());
    const bool nearest = settings.sampling == hosting::Sampling::nearest;
    messages.detail(input, toText(picture) + ", " + describe(reader, format));
    messages.detail(input, "source " + toText(source) + ", region " + toText(region) + ", " +
                               (nearest ? "nearest" : "bilinear") + ", rendered by " +
                               renderer.name());

    pictures::PictureWriter writer(output);
    Stopwatch stopwatch;
    FrameTimes times;
    const auto rendering = renderer.start(picture.width, picture.height, format, threads);
    reader.read(rendering->input(), threads);
    times.read = stopwatch.lap();

    const polar_image out = rendering->render({settings.filter, settings.sampling, source, region});
    times.render = stopwatch.lap();

    const auto written = writer.write(out, region, reader, settings.file, threads);
    for (const std::string& warning : written.warnings) messages.warning(output, warning);
    messages.detail(output, written.description);
    times.write = stopwatch.lap();
    messages.detail(output, "read in " + inMilliseconds(times.read) + ", rendered in " +
                                inMilliseconds(times.render) + ", written in " +
                                inMilliseconds(times.write));
    return times;
}

}  // namespace

FrameTimes renderPicture(const Renderer& renderer, const std::filesystem::path& input,
                         const std::filesystem::path& output, const FrameSettings& settings,
                         unsigned threads, const Messages& messages) {
    if (!settings.overwrite) refuseOwnInput(input, output);
    std::string size;
    try {
        PictureReader reader(input, settings.layer);
        for (const std::string& warning : reader.warnings()) messages.warning(input, warning);
        size = " for " + std::to_string(reader.picture().width) + "x" +
               std::to_string(reader.picture().height);
        return render(renderer, input, output, settings, threads, reader, messages);
    } catch (const std::bad_alloc&) {
        throw FileError(input, "not enough memory" + size);
    }
}

}  // namespace cli
