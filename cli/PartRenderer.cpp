#include "cli/PartRenderer.h"

#include <limits>

#include "pictures/FileError.h"
#include "pixels/QzBuffer.h"

namespace cli {

namespace {

using pictures::FileError;
using pictures::Rectangle;
using pictures::toText;

// The part of the result that is rendered.
Rectangle regionOf(const Rectangle& result, const std::optional<Rectangle>& asked,
                   const std::filesystem::path& file) {
    const Rectangle region = asked.value_or(result);
    if (!pictures::contains(result, region))
        throw FileError(file, "--region " + toText(region) + " lies outside the result " +
                                  toText(result) + "; the nearest inside is " +
                                  toText(pictures::nearestIn(result, region)));
    return region;
}

// The source, which may reach beyond the picture but not miss it.
Rectangle sourceOf(const Rectangle& picture, const std::optional<Rectangle>& asked,
                   const std::filesystem::path& file) {
    const Rectangle source = asked.value_or(picture);
    const Rectangle seen = pictures::intersection(picture, source);
    if (seen.width == 0 || seen.height == 0)
        throw FileError(
            file, "--source " + toText(source) + " has nothing of the picture " + toText(picture));
    constexpr QzLong most = std::numeric_limits<QzLong>::max();
    const Rectangle both = pictures::boundingBox(picture, source);
    if (both.width == most || both.height == most)
        throw FileError(file, "--source " + toText(source) + " reaches too far from the picture " +
                                  toText(picture) + "; less than 2147483647 pixels are accepted");
    return source;
}

const char* nameOf(Sampling sampling) {
    return sampling == Sampling::nearest ? "nearest"
           : sampling == Sampling::area  ? "area"
                                         : "bilinear";
}

Warp warpOf(const Rectangle& source, const FrameSettings& settings,
            const std::filesystem::path& file) {
    try {
        return makeWarp(settings.filter, settings.warp, {source.width, source.height});
    } catch (const WarpError& error) {
        throw FileError(file, error.what());
    }
}

}  // namespace

PartRenderer::PartRenderer(const Renderer& renderer, const FrameSettings& settings,
                           const std::filesystem::path& file, const pictures::PicturePart& part)
    : renderer_(renderer),
      settings_(settings),
      part_(part),
      picture_(part.picture()),
      source_(sourceOf(picture_, settings.source, file)),
      warp_(warpOf(source_, settings, file)),
      region_(regionOf(result(), settings.region, file)) {}

bool PartRenderer::repeatsEdges() const {
    return warp_.unwraps() && settings_.sampling == Sampling::nearest;
}

pictures::RenderTraits PartRenderer::traits() const {
    // Repeated pixels would stretch what moves only a part of the way.
    const bool showsEdges = settings_.sampling != Sampling::nearest ||
                            (warp_.amount == 1 && (!warp_.unwraps() || renderer_.canRepeatEdges()));
    const bool staysInside =
        pictures::contains(part_.filled(), source_) && warp_.staysInside() && showsEdges;
    const bool keepsPlace =
        !settings_.source && result().width == picture_.width && result().height == picture_.height;
    return {!staysInside, settings_.sampling == Sampling::nearest, region_,
            keepsPlace ? std::nullopt : std::optional(result()),
            settings_.format.value_or(part_.format())};
}

std::string PartRenderer::describeInput() const {
    std::string name;
    visitFormat(traits().format, [&]<class Buffer>() { name = Buffer::name; });
    return toText(picture_) + ", " + part_.spec.format.c_str() + " components, " +
           (part_.groups.front().alpha < 0               ? "no alpha"
            : part_.alpha == pictures::Alpha::associated ? "associated alpha"
                                                         : "straight alpha") +
           ", as " + name;
}

std::string PartRenderer::describeRender() const {
    return "source " + toText(source_) + ", " + toText(warp_) + ", region " + toText(region_) +
           ", " + nameOf(settings_.sampling) + ", rendered by " + renderer_.name();
}

void PartRenderer::render(const pictures::OutputGroup& group, unsigned threads, const Fill& fill,
                          const std::function<void(const polar_image&)>& use) const {
    // At the rim, where half of the pixels to mix may be missing, the others stand for them; the
    // nearest one has no others.
    const bool isOpaque = group.composition.alpha == pictures::Alpha::dropped;
    Rectangle area = source_;
    if (isOpaque && repeatsEdges()) {
        ++area.width;
        ++area.height;
    }
    const auto rendering = renderer_.start(area.width, area.height, traits().format, threads);
    const polar_image input = rendering->input();
    fill(area, input);
    if (area.width > source_.width) pictures::repeatLastPixels(input);
    use(rendering->render({warp_, settings_.sampling, region_}));
}

}  // namespace cli
