// The C interface: what is asked for is checked, then rendered by the core.

#include "library/polar.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "library/bands.h"
#include "library/clients.h"
#include "library/renderWith.h"
#include "render/Memory.h"
#include "render/Plan.h"
#include "render/RoundToNearest.h"

namespace polar {

namespace {

// An image that was found to be in order.
struct Picture {
    Image image;
    Size size;
    const Client* client;
    Alpha alpha;
    Bytes bytes;
};

int check(const polar_image* image, Picture& picture) {
    if (image == nullptr || image->pixels == nullptr) return POLAR_NULL_POINTER;
    if (image->width < 1 || image->height < 1) return POLAR_BAD_SIZE;
    picture.client = findClient(image->format);
    if (picture.client == nullptr || image->alpha < POLAR_STRAIGHT || image->alpha > POLAR_OPAQUE)
        return POLAR_BAD_FORMAT;
    picture.alpha = !picture.client->hasAlpha ? Alpha::opaque : static_cast<Alpha>(image->alpha);
    picture.size = {image->width, image->height};
    const auto pixelBytes = static_cast<std::int64_t>(picture.client->pixelBytes);
    picture.image = {image->pixels,
                     image->row_bytes != 0 ? image->row_bytes : image->width * pixelBytes};
    const auto bytes =
        bytesOf(picture.image, pixelBytes, 0, 0, image->width - 1, image->height - 1);
    if (!bytes) return POLAR_BAD_SIZE;
    picture.bytes = *bytes;
    return POLAR_OK;
}

bool isWithin(double value, double least, double most) { return value >= least && value <= most; }

int check(const polar_circle& given, Circle& circle) {
    constexpr double farthest = 0x1p31;
    circle = {{given.center_x, given.center_y},
              {given.radius_x, given.radius_y},
              given.inner,
              given.start_turns,
              given.turns == 0 ? 1.0 : given.turns,
              given.clockwise != 0,
              circle.scale};
    const bool isFine = isWithin(circle.centre.x, -farthest, farthest) &&
                        isWithin(circle.centre.y, -farthest, farthest) &&
                        isWithin(circle.radii.x, 1 / farthest, farthest) &&
                        isWithin(circle.radii.y, 1 / farthest, farthest) && circle.inner >= 0 &&
                        circle.inner < 1 && isWithin(circle.startTurns, -farthest, farthest) &&
                        isWithin(circle.turns, 1e-100, 1);
    return isFine ? POLAR_OK : POLAR_BAD_GEOMETRY;
}

// Where rectangles are empty or end beyond 32 bits.
bool isBad(const polar_rect& rect) {
    constexpr std::int64_t most = 0x7FFFFFFF;
    return rect.width < 1 || rect.height < 1 || std::int64_t{rect.x} + rect.width > most ||
           std::int64_t{rect.y} + rect.height > most;
}

Rect intersection(const Rect& rect, Size size) {
    const auto left = std::clamp<std::int64_t>(rect.x, 0, size.width);
    const auto top = std::clamp<std::int64_t>(rect.y, 0, size.height);
    const auto right =
        std::clamp<std::int64_t>(std::int64_t{rect.x} + rect.width, left, size.width);
    const auto bottom =
        std::clamp<std::int64_t>(std::int64_t{rect.y} + rect.height, top, size.height);
    return {static_cast<QzLong>(left), static_cast<QzLong>(top), static_cast<QzLong>(right - left),
            static_cast<QzLong>(bottom - top)};
}

// What the caller's version of the record says; zeros beyond. False for a size that no version has.
bool copy(const polar_options& given, polar_options& known) {
    constexpr std::size_t first = offsetof(polar_options, scale);
    const std::size_t size = given.size == 0 ? first : given.size;
    if (size < first || (size > first && size < sizeof known)) return false;
    std::memcpy(&known, &given, std::min(size, sizeof known));
    return true;
}

// What is left to do once all is checked.
class Call {
  public:
    Call(const InstructionSet& instructions, const Threads& threads)
        : instructions_(instructions), threads_(threads) {}

    int prepare(const polar_image* input, const polar_image* output, const polar_options& options) {
        for (const int status : {check(input, in_), check(output, out_)})
            if (status != POLAR_OK) return status;
        if (in_.client != out_.client || (in_.alpha != out_.alpha && !getsAlpha()))
            return POLAR_BAD_FORMAT;
        if (const int status = takeOptions(options); status != POLAR_OK) return status;
        const auto pixelBytes = static_cast<std::int64_t>(out_.client->pixelBytes);
        if (in_.bytes.overlap(out_.bytes) ||
            (out_.size.height > 1 && !rowsAreApart(out_.image, pixelBytes, out_.size.width)))
            return POLAR_OVERLAP;
        return POLAR_OK;
    }

    // Throws std::bad_alloc, before anything is written.
    int run() const {
        const Geometry geometry = around(request_);
        const auto width = static_cast<std::size_t>(out_.size.width);
        const auto doubles = std::make_unique_for_overwrite<double[]>(2 * width);
        const Tables tables{doubles.get(), doubles.get() + width};
        const bool isDone = conversion_ == nullptr ? renderInPlace(geometry, tables)
                                                   : renderConverted(geometry, tables);
        return isDone ? POLAR_OK : POLAR_CANCELLED;
    }

  private:
    int takeOptions(const polar_options& options) {
        if (options.direction != POLAR_UNWRAP && options.direction != POLAR_WRAP)
            return POLAR_BAD_OPTION;
        if (options.sampling < POLAR_BILINEAR || options.sampling > POLAR_AREA)
            return POLAR_BAD_OPTION;
        if (options.threads < 0) return POLAR_BAD_OPTION;
        for (const float component : options.background)
            if (!std::isfinite(component)) return POLAR_BAD_OPTION;
        sampling_ = static_cast<Sampling>(options.sampling);
        wantedThreads_ = options.threads;
        std::copy(std::begin(options.background), std::end(options.background),
                  background_.begin());
        progress_ = {options.progress, options.user};
        chooseConversion();
        return takeGeometry(options);
    }

    bool getsAlpha() const { return in_.alpha == Alpha::opaque && out_.alpha == Alpha::straight; }

    // Lets the panorama begin with its last row.
    bool turnOver(polar_rect& source, polar_rect& whole) {
        const bool wraps = request_.mapping == Mapping::wrap;
        Picture& panorama = wraps ? in_ : out_;
        std::int32_t& y = wraps ? source.y : whole.y;
        const std::int64_t rows = wraps ? in_.size.height : whole.height;
        const std::int64_t taken = wraps ? source.height : out_.size.height;
        const std::int64_t fromEnd = rows - taken - y;
        y = static_cast<std::int32_t>(fromEnd);
        panorama.image.pixels = address(panorama, 0, panorama.size.height - 1);
        panorama.image.rowBytes = -panorama.image.rowBytes;
        return y == fromEnd;
    }

    // A pixel that is copied may stay as it is, whatever its alpha says; and the core takes pixels
    // without alpha as they are, unless areas are sampled.
    void chooseConversion() {
        if (getsAlpha())
            conversion_ = &in_.client->opaqueToStraight;
        else if (in_.alpha == Alpha::opaque &&
                 (in_.client->hasAlpha || sampling_ == Sampling::area))
            conversion_ = &in_.client->opaque;
        else if (in_.alpha == Alpha::premultiplied && sampling_ != Sampling::nearest)
            conversion_ = &in_.client->premultiplied;
    }

    int takeGeometry(const polar_options& options) {
        const polar_rect all{0, 0, in_.size.width, in_.size.height};
        polar_rect source = options.source != nullptr ? *options.source : all;
        polar_rect whole{0, 0, out_.size.width, out_.size.height};
        if (options.whole != nullptr) whole = *options.whole;
        if (isBad(source) || whole.width < 0 || whole.height < 0) return POLAR_BAD_OPTION;
        if (whole.width == 0) whole.width = source.width;
        if (whole.height == 0) whole.height = source.height;
        const bool wraps = options.direction == POLAR_WRAP;
        request_.mapping = wraps ? Mapping::wrap : Mapping::unwrap;
        request_.isUpsideDown = options.ground_bottom != 0;
        if (request_.isUpsideDown && !turnOver(source, whole)) return POLAR_BAD_OPTION;
        if (isBad(source) || isBad({whole.x, whole.y, out_.size.width, out_.size.height}))
            return POLAR_BAD_OPTION;
        const Size result{whole.width, whole.height}, original{source.width, source.height};
        request_.source = {source.x, source.y, source.width, source.height};
        request_.bounds = intersection(request_.source, in_.size);
        request_.panorama = wraps ? original : result;
        request_.circle = inscribed(wraps ? result : original);
        request_.x = whole.x;
        request_.y = whole.y;
        request_.region = {0, 0, out_.size.width, out_.size.height};
        request_.whole = result;
        request_.isCyclic = options.cyclic != 0;
        if (options.amount != nullptr) request_.amount = *options.amount;
        if (!isWithin(request_.amount, 0, 1)) return POLAR_BAD_OPTION;
        if (options.scale < POLAR_SCALE_LINEAR || options.scale > POLAR_SCALE_SQUARE)
            return POLAR_BAD_OPTION;
        request_.circle.scale = static_cast<RowScale>(options.scale);
        if (options.circle != nullptr)
            if (const int status = check(*options.circle, request_.circle); status != POLAR_OK)
                return status;
        const bool isEndless = options.scale == POLAR_SCALE_LOG && request_.circle.inner == 0;
        return isEndless ? POLAR_BAD_GEOMETRY : POLAR_OK;
    }

    unsigned threads() const {
        return usefulThreads(threads_, wantedThreads_,
                             std::int64_t{out_.size.width} * out_.size.height);
    }

    bool renderInPlace(const Geometry& geometry, const Tables& tables) const {
        const Plan plan(in_.client->format, geometry, in_.image, out_.image, sampling_, tables,
                        instructions_, background_);
        return runBands(threads_, out_.size.height, threads(), progress_,
                        [&](unsigned, std::int64_t first, std::int64_t count) {
                            plan.render(static_cast<QzLong>(first), static_cast<QzLong>(count));
                        });
    }

    // Renders from a copy of the source that the core knows, some rows at a time, which are then
    // converted back.
    bool renderConverted(const Geometry& geometry, const Tables& tables) const {
        const Rect part = geometry.bounds;
        const std::size_t pixelBytes = conversion_->pixelBytes;
        const auto partRowBytes = static_cast<std::size_t>(part.width) * pixelBytes;
        const auto stripRowBytes = static_cast<std::size_t>(out_.size.width) * pixelBytes;
        const std::int64_t stripRows =  // NOLINTNEXTLINE(clang-analyzer-core.DivideZero)
            std::clamp<std::int64_t>(0x80000 / static_cast<std::int64_t>(stripRowBytes), 8, 4096);
        const unsigned count = threads();
        const auto copy = allocate(partRowBytes, static_cast<std::size_t>(part.height));
        const auto strips = allocate(stripRowBytes * static_cast<std::size_t>(stripRows), count);

        runBands(threads_, part.height, count, {},
                 [&](unsigned, std::int64_t first, std::int64_t rows) {
                     loadRows(part, first, rows, copy.get(), partRowBytes);
                 });
        // The copy keeps the coordinates of the original, whose pixel (0, 0) it may lack.
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        const Image input{reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(copy.get()) -
                                                  static_cast<std::size_t>(part.y) * partRowBytes -
                                                  static_cast<std::size_t>(part.x) * pixelBytes),
                          static_cast<std::int64_t>(partRowBytes)};
        const Image strip{strips.get(), static_cast<std::int64_t>(stripRowBytes)};
        const Plan plan(conversion_->format, geometry, input, {nullptr, strip.rowBytes}, sampling_,
                        tables, instructions_);
        return runBands(
            threads_, out_.size.height, count, progress_,
            [&](unsigned thread, std::int64_t first, std::int64_t rows) {
                Image own = strip;
                own.pixels =
                    strips.get() + stripRowBytes * static_cast<std::size_t>(stripRows) * thread;
                for (const std::int64_t end = first + rows; first < end; first += stripRows) {
                    const auto height = std::min(stripRows, end - first);
                    plan.renderTo(own, static_cast<QzLong>(first), static_cast<QzLong>(height));
                    storeRows(own, first, height);
                }
            });
    }

    static std::unique_ptr<unsigned char[]> allocate(std::size_t rowBytes, std::size_t rows) {
        std::size_t bytes = 0;
        if (__builtin_mul_overflow(rowBytes, rows, &bytes)) throw std::bad_alloc();
        return std::make_unique_for_overwrite<unsigned char[]>(bytes);
    }

    static unsigned char* address(const Picture& picture, std::int64_t column, std::int64_t row) {
        return static_cast<unsigned char*>(picture.image.pixels) + row * picture.image.rowBytes +
               column * static_cast<std::int64_t>(picture.client->pixelBytes);
    }

    void loadRows(const Rect& part, std::int64_t first, std::int64_t rows, unsigned char* copy,
                  std::size_t rowBytes) const {
        const RoundToNearest rounding;
        for (std::int64_t row = first; row < first + rows; ++row)
            conversion_->load(address(in_, part.x, part.y + row),
                              static_cast<std::size_t>(part.width),
                              copy + static_cast<std::size_t>(row) * rowBytes);
    }

    void storeRows(const Image& strip, std::int64_t first, std::int64_t rows) const {
        const RoundToNearest rounding;
        for (std::int64_t row = 0; row < rows; ++row)
            conversion_->store(static_cast<unsigned char*>(strip.pixels) + row * strip.rowBytes,
                               static_cast<std::size_t>(out_.size.width), background_,
                               address(out_, 0, first + row));
    }

    const InstructionSet& instructions_;
    const Threads& threads_;
    Picture in_{}, out_{};
    const Conversion* conversion_ = nullptr;
    Sampling sampling_ = Sampling::bilinear;
    int wantedThreads_ = 0;
    Background background_{};
    Progress progress_;
    Request request_{};
};

}  // namespace

int renderWith(const InstructionSet& instructions, const Threads& threads, const polar_image* input,
               const polar_image* output, const polar_options* options) {
    try {
        Call call(instructions, threads);
        polar_options known{};
        if (options != nullptr && !copy(*options, known)) return POLAR_BAD_OPTION;
        const int status = call.prepare(input, output, known);
        return status == POLAR_OK ? call.run() : status;
    } catch (const std::bad_alloc&) {
        return POLAR_OUT_OF_MEMORY;
    }
}

}  // namespace polar

const char* polar_status_text(int status) {
    switch (status) {
        case POLAR_OK:
            return "done";
        case POLAR_CANCELLED:
            return "cancelled";
        case POLAR_NULL_POINTER:
            return "an image or its pixels are null";
        case POLAR_BAD_SIZE:
            return "a width or height is below 1, or rows end beyond the address space";
        case POLAR_BAD_FORMAT:
            return "unknown format or kind of alpha, or two that differ";
        case POLAR_BAD_OPTION:
            return "an option is outside its range";
        case POLAR_BAD_GEOMETRY:
            return "the circle is outside its range";
        case POLAR_OVERLAP:
            return "the images share memory, or rows of the output do";
        case POLAR_OUT_OF_MEMORY:
            return "not enough memory";
        default:
            return "unknown status";
    }
}

size_t polar_pixel_bytes(int format) {
    const polar::Client* const client = polar::findClient(format);
    return client != nullptr ? client->pixelBytes : 0;
}

const char* polar_version(void) { return POLAR_VERSION; }
