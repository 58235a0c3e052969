#include "adapters/openfx/render.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "adapters/openfx/parameters.h"
#include "library/polar.h"
#include "library/renderWith.h"

namespace ofx {

namespace {

std::int64_t widthOf(const RectI& rect) { return std::int64_t{rect.x2} - rect.x1; }
std::int64_t heightOf(const RectI& rect) { return std::int64_t{rect.y2} - rect.y1; }

std::int32_t to32(std::int64_t value) {
    if (value != static_cast<std::int32_t>(value)) throw Failure{statusFailed};
    return static_cast<std::int32_t>(value);
}

// Not where a rectangle is without end in a direction.
bool holdsPixels(const RectI& rect) {
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    return rect.x1 < rect.x2 && rect.y1 < rect.y2 && widthOf(rect) <= most &&
           heightOf(rect) <= most;
}

RectI intersection(const RectI& a, const RectI& b) {
    return {std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2), std::min(a.y2, b.y2)};
}

int formatOf(const ClipImage& image) {
    constexpr struct {
        std::string_view depth;
        int rgba, rgb;
    } formats[] = {{depthByte, POLAR_RGBA8, POLAR_RGB8},
                   {depthShort, POLAR_RGBA16, POLAR_RGB16},
                   {depthFloat, POLAR_RGBA_FLOAT, POLAR_RGB_FLOAT}};
    const std::string_view depth = image.text(property::depth);
    const std::string_view components = image.text(property::components);
    for (const auto& format : formats)
        if (format.depth == depth) {
            if (components == rgba) return format.rgba;
            if (components == rgb) return format.rgb;
        }
    throw Failure{statusErrImageFormat};
}

int alphaOf(const ClipImage& image) {
    const std::string_view state = image.text(property::premultiplication);
    if (state == opaque) return POLAR_OPAQUE;
    return state == premultiplied ? POLAR_PREMULTIPLIED : POLAR_STRAIGHT;
}

// The pixels of an image: rows run up from the first one's.
class Raster {
  public:
    // Throws Failure where there are none.
    explicit Raster(const ClipImage& image)
        : format_(formatOf(image)), data_(image.properties().pointer(property::data)) {
        const auto bounds = image.properties().rectangle(property::bounds);
        rowBytes_ = image.properties().integer(property::rowBytes).value_or(0);
        if (data_ == nullptr || !bounds || !holdsPixels(*bounds) || rowBytes_ == 0)
            throw Failure{statusFailed};
        bounds_ = *bounds;
    }

    const RectI& bounds() const { return bounds_; }
    int format() const { return format_; }

    // A part of it as the library sees pictures, from its uppermost row down.
    polar_image view(const RectI& part, int alpha) const {
        return {address(part.x1, part.y2 - 1),
                to32(widthOf(part)),
                to32(heightOf(part)),
                -rowBytes_,
                format_,
                alpha};
    }

    void clear(const RectI& part) const {
        const auto bytes = static_cast<std::size_t>(widthOf(part) * pixelBytes());
        for (int y = part.y1; y < part.y2; ++y) std::memset(address(part.x1, y), 0, bytes);
    }

  private:
    std::int64_t pixelBytes() const {
        return static_cast<std::int64_t>(polar_pixel_bytes(format_));
    }
    // May lie anywhere where the host is wrong; the library looks before it goes there.
    void* address(int x, int y) const {
        const std::int64_t offset = (std::int64_t{y} - bounds_.y1) * rowBytes_ +
                                    (std::int64_t{x} - bounds_.x1) * pixelBytes();
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(data_) +
                                       static_cast<std::uintptr_t>(offset));
    }

    int format_;
    void* data_;
    RectI bounds_{};
    std::int64_t rowBytes_ = 0;
};

// The whole picture, of which an image may hold a part. Neither render scales nor the clip's region
// come into it: hosts disagree about both, and fractions of the image's own need neither.
RectI pictureOf(const ClipImage& source, const RectI& bounds) {
    const auto region = source.properties().rectangle(property::region);
    return region && holdsPixels(*region) ? *region : bounds;
}

double pixelAspectOf(const ClipImage& source) {
    const double aspect = source.number(property::pixelAspect).value_or(1);
    return aspect > 1e-3 && aspect < 1e3 ? aspect : 1;
}

// Of what the library answers.
void check(int status) {
    if (status == POLAR_OUT_OF_MEMORY) throw Failure{statusErrMemory};
    if (status != POLAR_OK && status != POLAR_CANCELLED) throw Failure{statusFailed};
}

// `part` as a part of `whole`, counted from its upper left corner, and as large.
polar_rect placeOf(const RectI& part, const RectI& whole) {
    return {to32(std::int64_t{part.x1} - whole.x1), to32(std::int64_t{whole.y2} - part.y2),
            to32(widthOf(part)), to32(heightOf(part))};
}

struct Stop {
    const EffectSuite* effects;
    Effect instance;

    static int isWanted(void* user, double) {
        const auto& stop = *static_cast<const Stop*>(user);
        return stop.effects->abort(stop.instance);
    }
};

}  // namespace

void render(const Suites& suites, Effect instance, const Properties& arguments, int direction) {
    const double time = arguments.number(property::time).value_or(0);
    const ClipImage to(suites, instance, outputClip, time);
    if (!to) throw Failure{statusFailed};
    const Raster output(to);
    const RectI window = intersection(
        arguments.rectangle(property::window).value_or(output.bounds()), output.bounds());
    if (!holdsPixels(window)) return;
    const ClipImage from(suites, instance, sourceClip, time);
    if (!from || from.properties().pointer(property::data) == nullptr) return output.clear(window);
    const Raster input(from);
    if (input.format() != output.format()) throw Failure{statusErrImageFormat};
    const RectI picture = pictureOf(from, input.bounds());
    const RectI part = intersection(window, picture);
    if (part != window) output.clear(window);
    if (!holdsPixels(part)) return;

    adapters::Warp warp = warpAt(suites, instance, time);
    warp.direction = direction;
    warp.pixelAspect = pixelAspectOf(from);
    const int alpha = alphaOf(from);
    const polar_rect source = placeOf(picture, input.bounds());
    polar_rect whole = placeOf(part, picture);
    whole.width = source.width;
    whole.height = source.height;
    adapters::Call call(warp, input.view(input.bounds(), alpha),
                        output.view(part, alpha == POLAR_OPAQUE ? POLAR_STRAIGHT : alpha), source,
                        whole);
    Stop stop{suites.effects, instance};
    if (suites.effects->abort != nullptr) call.options.progress = Stop::isWanted;
    call.options.user = &stop;
    check(polar::renderWith(polar::bestInstructionSet(), HostThreads(suites.threads), &call.input,
                            &call.output, &call.options));
}

}  // namespace ofx
