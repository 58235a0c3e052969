#include "render/Plan.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "pixels/QzBuffer.h"
#include "pixels/sampler.h"
#include "render/Memory.h"
#include "render/RoundToNearest.h"
#include "render/Seam.h"
#include "render/Unwrap.h"
#include "render/Wrap.h"

namespace polar {

namespace {

// The list of mappings: calls `visit` with the one that `mapping` names, as
// `visit.template operator()<Map>()`.
template <class Visitor>
void visitMapping(Mapping mapping, Visitor&& visit) {
    const auto one = [&]<class Map>() {
        if (mapping == Map::mapping) visit.template operator()<Map>();
    };
    one.template operator()<Unwrap>();
    one.template operator()<Wrap>();
}

// The plain path ----------------------------------------------------------------------------------

// Writes the colour at a position to `out`.
template <class Buffer, class Pixel>
[[gnu::always_inline]] inline void samplePixel(const Job& job, Point at, const Buffer& input,
                                               Pixel* out, QzLong bilinear) {
    if constexpr (Opaque<Pixel>) {
        typename Pixel::Sampled pixel;
        sample(at, job.geometry, input, &pixel, bilinear);
        out->store(pixel, job.background);
    } else {
        sample(at, job.geometry, input, out, bilinear);
    }
}

template <class Buffer, class Map>
void renderRows(const Job& job, QzLong firstRow, QzLong rows) {
    using Pixel = typename Buffer::Pixel;
    const Buffer input(job.input.pixels, job.input.rowBytes);
    const Buffer output(job.output.pixels, job.output.rowBytes);
    const Job own = job;  // which no write can alias
    const Geometry& geometry = own.geometry;
    const Rect& region = geometry.region;
    const QzLong bilinear = own.sampling == Sampling::bilinear;
    double v = geometry.rows.at(firstRow);
    for (QzLong j = 0; j < rows; ++j, v += geometry.rows.step) {
        typename Map::Row row(own, Map::rowAt(geometry, v));
        Pixel* out = output.at(region.x, std::int64_t{region.y} + firstRow + j);
        for (QzLong i = 0; i < region.width; ++i, ++out) {
            Point source = row.next();
            if (!geometry.movement.isWhole())
                source = geometry.movement.moved(source, i, firstRow + j);
            samplePixel(own, source, input, out, bilinear);
        }
    }
}

template <class Buffer, class Map>
void renderPixel(const Job& job, double v, QzLong column, double offset, void* out) {
    const Point at = typename Map::Row(job, v, column, offset).next();
    samplePixel(job, at, Buffer(job.input.pixels, job.input.rowBytes),
                static_cast<typename Buffer::Pixel*>(out), job.sampling == Sampling::bilinear);
}

template <class Pixel>
void storeOver(const Job& job, const void* components, void* out) {
    typename Pixel::Sampled sampled;
    std::memcpy(&sampled, components, sizeof sampled);
    static_cast<Pixel*>(out)->store(sampled, job.background);
}

template <class Buffer, class Map>
void renderBilinear(const Job& job, double v, QzLong column, QzLong row, double offset) {
    const Geometry& geometry = job.geometry;
    Point at = typename Map::Row(job, v, column, offset).next();
    if (!geometry.movement.isWhole()) at = geometry.movement.moved(at, column, row);
    const Buffer output(job.output.pixels, job.output.rowBytes);
    samplePixel(
        job, at, Buffer(job.input.pixels, job.input.rowBytes),
        output.at(std::int64_t{geometry.region.x} + column, std::int64_t{geometry.region.y} + row),
        1);
}

bool areRowsIndependent(const Job& job, std::int64_t pixelBytes) {
    const Rect& region = job.geometry.region;
    const QzInside inside(job.geometry.bounds);
    const auto written = bytesOf(job.output, pixelBytes, region.x, region.y,
                                 std::int64_t{region.x} + region.width - 1,
                                 std::int64_t{region.y} + region.height - 1);
    if (!written) return false;
    if (region.height > 1 && !rowsAreApart(job.output, pixelBytes, region.width)) return false;
    if (inside.left() >= inside.right() || inside.top() >= inside.bottom()) return true;
    const auto read = bytesOf(job.input, pixelBytes, inside.left(), inside.top(),
                              inside.right() - 1, inside.bottom() - 1);
    return read && !read->overlap(*written);
}

// Batches -----------------------------------------------------------------------------------------

// Measured: from which sizes on it pays to fetch ahead and to write past the caches. What is redone
// is written twice, and then it does not; nor where blocks of pixels or rows share lines of the
// caches. Pixels without alpha are never written past them.
void findSizes(Job& job, bool mayStream) {
    const auto bytes = [](double rows, const Image& image) {
        return rows * std::abs(static_cast<double>(image.rowBytes));
    };
    const bool isNearest = job.sampling == Sampling::nearest;
    const bool isWrapping = job.geometry.mapping == Mapping::wrap;
    const double read = bytes(job.lastRow - job.top, job.input);
    bool hasLines = false;
    visitFormat(job.format,
                [&]<class Buffer>() { hasLines = sizeof(typename Buffer::Pixel) % 2 == 0; });
    job.isStreamed = mayStream && (isNearest || !isWrapping) && hasLines &&
                     job.output.rowBytes % 64 == 0 &&
                     bytes(job.geometry.region.height, job.output) > 0x1p22;
    const double enough = !isNearest ? 0x1p20 : isWrapping ? 0x1p21 : 0x1.8p24;
    job.isLarge = (isNearest && job.isStreamed) || read > enough;
}

// Whether batches know such positions and, where columns follow each other all around, their ends.
bool isForBatches(const Geometry& geometry) {
    const Rect& bounds = geometry.bounds;
    return geometry.movement.isWhole() &&
           (geometry.mapping == Mapping::unwrap || geometry.scale == RowScale::linear) &&
           (!geometry.isCyclic ||
            (bounds.x == geometry.originX && bounds.width == geometry.scaleX));
}

// What the batches want to know beside the geometry. Whether they can do the job: they read four
// pixels at a time, and compute offsets in doubles.
bool prepareBatches(Job& job) {
    job.hasBatches = isForBatches(job.geometry);
    if (!job.hasBatches && job.sampling != Sampling::area) return false;
    const QzInside inside(job.geometry.bounds);
    job.left = inside.left();
    job.top = inside.top();
    job.lastColumn = inside.right() - 1.0;
    job.lastRow = inside.bottom() - 1.0;
    findSizes(job, true);
    const double end = (job.lastRow + 1) * std::abs(static_cast<double>(job.input.rowBytes)) +
                       (job.lastColumn + 1) * sizeof(QzBufferRGBAFloat::Pixel);
    return job.left < job.lastColumn && job.top < job.lastRow && end < 0x1p50;
}

// The angle, half a turn added and so below 8; its fraction of a turn, in which a whole one is off
// by another 0.28 ulp; that of the first column; that times the span; and that moved to the source:
// errors so far, the roundings of two such computations, and that of the last sum of a chunk.
void boundErrors(Job& job) {
    constexpr double ulp = std::numeric_limits<double>::epsilon();
    const Geometry& geometry = job.geometry;
    const double span = geometry.scaleX, reach = std::abs(geometry.originX) + span;
    // Relating a turn to another start rounds two sums of at most 2.
    job.isTurned = !geometry.turn.isWhole();
    const double rounded = job.isTurned ? 3 * ulp : ulp;
    job.turnError = 1.01 * (0.16 * (arctangentError + 4 * ulp) + rounded);
    if (geometry.mapping == Mapping::wrap)
        job.columnError = span * (job.turnError + 1.01 * ulp) + 1.52 * reach * ulp;
    // Computed weights are off by 11 units of 2^-54 in sum, and the operations that lead from them
    // to a mean by 10 more of each product: less than 2^-48, of which there are two computations,
    // and what is computed to compare them.
    job.weightError = 2 * job.columnError + 0x1p-45;
}

}  // namespace

Plan::Plan(unsigned format, const Geometry& geometry, const Image& input, const Image& output,
           Sampling sampling, const Tables& tables, const InstructionSet& instructions,
           const Background& background) noexcept
    : job_{}, instructions_(&plainPath) {
    job_.format = format;
    job_.sampling = sampling;
    job_.geometry = geometry;
    job_.input = input;
    job_.output = output;
    job_.tables = tables;
    job_.background = background;
    if (geometry.isEmpty()) return;
    const RoundToNearest rounding;
    visitMapping(geometry.mapping, [&]<class Map>() {
        Map::fill(geometry, tables);
        visitSampled(format, [&]<class Buffer>() {
            using Pixel = typename Buffer::Pixel;
            if constexpr (Opaque<Pixel>) {
                Pixel empty;
                empty.store({}, background);
                std::memcpy(job_.empty, &empty, sizeof empty);
                job_.storeOver = storeOver<Pixel>;
            }
            rowsIndependent_ = areRowsIndependent(job_, sizeof(Pixel));
            job_.renderPixel = renderPixel<Buffer, Map>;
            job_.renderBilinear = renderBilinear<Buffer, Map>;
        });
    });
    if (!prepareBatches(job_) || !rowsIndependent_ || instructions.render == nullptr) return;
    boundErrors(job_);
    instructions_ = &instructions;
}

std::int64_t Plan::render(QzLong firstRow, QzLong rows) const noexcept {
    return render(job_, firstRow, rows);
}

std::int64_t Plan::renderTo(const Image& band, QzLong firstRow, QzLong rows) const noexcept {
    std::int64_t pixelBytes = 0;
    visitSampled(job_.format, [&]<class Buffer>() { pixelBytes = sizeof(typename Buffer::Pixel); });
    const Rect& region = job_.geometry.region;
    Job job = job_;
    job.output.rowBytes = band.rowBytes;
    // The caller has use for the band at once.
    findSizes(job, false);
    // The band's first pixel takes the place of the region's one in that row.
    const std::int64_t before =
        (std::int64_t{region.y} + firstRow) * band.rowBytes + region.x * pixelBytes;
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    job.output.pixels = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(band.pixels) -
                                                static_cast<std::uintptr_t>(before));
    return render(job, firstRow, rows);
}

std::int64_t Plan::render(const Job& job, QzLong firstRow, QzLong rows) const noexcept {
    if (job.geometry.isEmpty() || rows <= 0) return 0;
    const RoundToNearest rounding;
    if (job.sampling == Sampling::area) {
        instructions_->renderAreas(job, firstRow, rows);
        return 0;
    }
    if (instructions_->render != nullptr) return instructions_->render(job, firstRow, rows);
    visitMapping(job.geometry.mapping, [&]<class Map>() {
        visitSampled(job.format,
                     [&]<class Buffer>() { renderRows<Buffer, Map>(job, firstRow, rows); });
    });
    return 0;
}

}  // namespace polar
