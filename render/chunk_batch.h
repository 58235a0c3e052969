// A region, chunk by chunk.
#pragma once

#include <algorithm>
#include <bit>

#include "render/pixels_batch.h"
#include "render/unwrap_batch.h"
#include "render/wrap_batch.h"

namespace polar {
namespace {

enum class Place { inside, outside, anywhere };

// Whether all of a chunk can be sampled without a look at the bounds, or need not be; `beyond`
// columns after a pair are read with it.
inline Place placeOf(const Job& job, const Extent& extent, int beyond) {
    const auto isOutside = [](const Interval& at, double first, double last) {
        return at.isFinite && (at.high < first - 1 || at.low >= last + 1);
    };
    const auto isInside = [](const Interval& at, double first, double last) {
        return at.isFinite && at.low >= first && at.high < last;
    };
    if (isOutside(extent.x, job.left, job.lastColumn) || isOutside(extent.y, job.top, job.lastRow))
        return Place::outside;
    return isInside(extent.x, job.left, job.lastColumn - beyond) &&
                   isInside(extent.y, job.top, job.lastRow)
               ? Place::inside
               : Place::anywhere;
}

template <class Lanes, class Pixel, Mapping mapping, class Sampler>
class Renderer {
  public:
    explicit Renderer(const Job& job) : sampler_(job), job_(job) {}

    // Block by block, since neighbouring rows read the same part of the input.
    std::int64_t render(QzLong firstRow, QzLong rows) {
        const Geometry& geometry = job_.geometry;
        double v = geometry.rows.at(firstRow), vs[blockRows];
        for (std::int64_t top = 0; top < rows; top += blockRows) {
            const int height = static_cast<int>(std::min<std::int64_t>(blockRows, rows - top));
            for (int j = 0; j < height; ++j, v += geometry.rows.step)
                vs[j] = mapping == Mapping::unwrap ? unscaled(geometry.scale, v) : v;
            double offset = geometry.columns.first - 0.5;
            std::int64_t left = 0;
            for (std::int64_t next = firstBlock(); left < geometry.region.width;
                 next += blockColumns) {
                const std::int64_t end = std::min<std::int64_t>(next, geometry.region.width);
                renderBlock(left, static_cast<int>(end - left), firstRow + top, vs, height, offset);
                left = end;
            }
        }
        if (pending_ != nullptr) mix(*pending_);
        Lanes::Target::fence();
        return redone_;
    }

    // A part of a block, whose rows are known by `vs`.
    void renderNow(std::int64_t left, int width, std::int64_t top, const double* vs, int height,
                   double offset) {
        renderBlock(left, width, top, vs, height, offset);
        if (pending_ != nullptr) mix(*pending_);
        pending_ = nullptr;
    }

  private:
    using Bits = std::uint32_t;  // one for each column of a block
    static constexpr std::int64_t pixelBytes = sizeof(Pixel);

    struct Chunk {
        typename Sampler::template Spots<chunkRows * blockColumns> spots;
        const Columns<mapping>* columns;
        std::int64_t left;
        int width, height;
        unsigned char* out;
        Place place;
        double v[chunkRows];
        Bits open[chunkRows], outside[chunkRows];
    };

    std::uintptr_t addressOf(std::int64_t column, std::int64_t row) const {
        const Rect& region = job_.geometry.region;
        return reinterpret_cast<std::uintptr_t>(job_.output.pixels) +
               static_cast<std::uintptr_t>((region.y + row) * job_.output.rowBytes +
                                           (region.x + column) * pixelBytes);
    }

    // Such that the others begin with a line of the caches, where these are passed by.
    std::int64_t firstBlock() const {
        constexpr std::uintptr_t line = 64;
        for (int columns = 1; job_.isStreamed && columns < blockColumns; ++columns)
            if (addressOf(columns, 0) % line == 0) return columns;
        return blockColumns;
    }

    // Moves `offset` on to the next block.
    void renderBlock(std::int64_t left, int width, std::int64_t top, const double* vs, int height,
                     double& offset) {
        Columns<mapping>& columns = columns_[block_++ % 2];
        columns.load(job_, left, width, offset);
        std::uintptr_t out = addressOf(left, top);
        for (int j = 0; j < height; j += chunkRows) {
            Chunk& chunk = chunks_[pending_ == chunks_];
            chunk.columns = &columns;
            chunk.left = left;
            chunk.width = width;
            chunk.height = std::min(chunkRows, height - j);
            // NOLINTNEXTLINE(performance-no-int-to-ptr)
            chunk.out = reinterpret_cast<unsigned char*>(out);
            std::copy(vs + j, vs + j + chunk.height, chunk.v);
            plan(chunk);
            if (pending_ != nullptr) mix(*pending_);
            pending_ = &chunk;
            if (!job_.isLarge) {
                if (!isDirect() || chunk.place == Place::outside) mix(chunk);
                pending_ = nullptr;
            }
            out += chunkRows * static_cast<std::uintptr_t>(job_.output.rowBytes);
        }
    }

    // Whether pixels are copied row by row, as soon as it is known where from.
    bool isDirect() const { return Sampler::isCopy && !job_.isLarge; }

    void plan(Chunk& chunk) {
        double first = chunk.v[0], last = chunk.v[chunk.height - 1];
        // Exponentials need not be in order.
        if (job_.geometry.scale != RowScale::linear) {
            first = *std::min_element(chunk.v, chunk.v + chunk.height);
            last = *std::max_element(chunk.v, chunk.v + chunk.height);
        }
        const ChunkPositions<Lanes, mapping> positions(job_, *chunk.columns, chunk.width, first,
                                                       last);
        chunk.place = placeOf(job_, positions.extent(), Sampler::columnsBeyond);
        if (chunk.place == Place::inside)
            plan<true>(chunk, positions);
        else if (chunk.place == Place::anywhere && positions.areExact())
            plan<false>(chunk, positions);
        else if (chunk.place == Place::anywhere)
            plan<false>(chunk, AnyPositions<Lanes, mapping>(job_, *chunk.columns));
    }

    template <bool isInside, class Positions>
    [[gnu::noinline]] void plan(Chunk& chunk, const Positions& at) {
        const Sampler sampler = sampler_;
        const Positions positions = at;
        const std::int64_t rowBytes = job_.input.rowBytes;
        const bool isLarge = job_.isLarge, isDirect = this->isDirect();
        // Unwrapping, rows are less than a pixel apart.
        constexpr int rowsApart = mapping == Mapping::unwrap ? 2 : 1;
        const Bits columns = static_cast<Bits>((std::uint64_t{1} << chunk.width) - 1);
        for (int j = 0; j < chunk.height; ++j) {
            Bits open = 0, outside = 0;
            unsigned char* const out = chunk.out + j * job_.output.rowBytes;
            // As many as are mixed at a time.
            for (int i = 0; i < chunk.width; i += Sampler::count) {
                const auto planned = [&](auto& spots, int first) __attribute__((always_inline)) {
                    for (int k = 0; k < Sampler::count; k += Lanes::count) {
                        const auto found = sampler.template plan<isInside>(
                            spots, first + k, positions.at(i + k, chunk.v[j]));
                        open |= (found.open & allLanes) << (i + k);
                        outside |= (found.outside & allLanes) << (i + k);
                    }
                };
                if constexpr (Sampler::isCopy)
                    if (isDirect) {
                        typename Sampler::template Spots<Sampler::count> spots;
                        planned(spots, 0);
                        mixBatch<false>(sampler, spots, 0, chunk.width - i, out + i * pixelBytes,
                                        false);
                        continue;
                    }
                const int pixel = j * blockColumns + i;
                planned(chunk.spots, pixel);
                if (isLarge && j % rowsApart == 0) prefetch(chunk.spots.address + pixel, rowBytes);
            }
            chunk.open[j] = open & columns;
            chunk.outside[j] = outside & columns;
            if (isDirect && (chunk.open[j] | chunk.outside[j]) != 0) finish(chunk, j, 0, out);
        }
    }

    [[gnu::always_inline]] static void prefetch(const std::uint64_t* addresses,
                                                std::int64_t rowBytes) {
        for (int i = 0; i < Sampler::count; ++i) {
            __builtin_prefetch(bytesAt(addresses[i]));
            if constexpr (Sampler::rowsRead == 2)
                __builtin_prefetch(bytesAt(addresses[i]) + rowBytes);
        }
    }

    [[gnu::noinline]] void mix(const Chunk& chunk) {
        if (chunk.place == Place::outside) {
            for (int j = 0; j < chunk.height; ++j)
                clear(chunk.out + j * job_.output.rowBytes, chunk.width);
            return;
        }
        if constexpr (Sampler::hasRim)
            if (chunk.place == Place::anywhere) return mixRows<true>(chunk);
        mixRows<false>(chunk);
    }

    template <bool isRim>
    [[gnu::always_inline]] void mixRows(const Chunk& chunk) {
        const Sampler sampler = sampler_;
        const bool streams = job_.isStreamed;
        for (int j = 0; j < chunk.height; ++j) {
            unsigned char* const out = chunk.out + j * job_.output.rowBytes;
            mixRow<isRim>(sampler, chunk, j, out,
                          streams && reinterpret_cast<std::uintptr_t>(out) % 16 == 0);
        }
    }

    template <bool isRim>
    [[gnu::always_inline]] void mixRow(const Sampler& sampler, const Chunk& chunk, int row,
                                       unsigned char* out, bool isStreamed) {
        Bits unsettled = 0;
        for (int i = 0; i < chunk.width; i += Sampler::count)
            unsettled |= mixBatch<isRim>(sampler, chunk.spots, row * blockColumns + i,
                                         chunk.width - i, out + i * pixelBytes, isStreamed)
                         << i;
        if ((unsettled | chunk.open[row] | chunk.outside[row]) != 0)
            finish(chunk, row, unsettled, out);
    }

    template <bool isRim, class Spots>
    [[gnu::always_inline]] static Bits mixBatch(const Sampler& sampler, const Spots& spots, int at,
                                                int width, unsigned char* out, bool isStreamed) {
        const auto mixed = [&](unsigned char* to, bool streams) __attribute__((always_inline)) {
            if constexpr (Sampler::hasRim && isRim)
                return sampler.mixRim(spots, at, to);
            else
                return sampler.mix(spots, at, to, streams);
        };
        if (width >= Sampler::count) [[likely]]
            return mixed(out, isStreamed);
        unsigned char batch[Sampler::count * pixelBytes];
        const Bits open = mixed(batch, false);
        std::memcpy(out, batch, static_cast<std::size_t>(width * pixelBytes));
        return open & ((1u << width) - 1);
    }

    // Writes the pixels of a row that are outside, open or unsettled.
    [[gnu::noinline]] void finish(const Chunk& chunk, int row, Bits unsettled, unsigned char* out) {
        for (Bits outside = chunk.outside[row]; outside != 0; outside &= outside - 1)
            clear(out + std::countr_zero(outside) * pixelBytes, 1);
        Bits open = (chunk.open[row] | unsettled) & ~chunk.outside[row];
        for (; open != 0; open &= open - 1) {
            const int i = std::countr_zero(open);
            ++redone_;
            job_.renderPixel(job_, chunk.v[row], static_cast<QzLong>(chunk.left + i),
                             chunk.columns->offsetAt(i), out + i * pixelBytes);
        }
    }

    // Writes pixels that show nothing.
    [[gnu::always_inline]] void clear(unsigned char* out, int width) const {
        if constexpr (Opaque<Pixel>)
            for (int i = 0; i < width; ++i)
                std::memcpy(out + i * pixelBytes, job_.empty, pixelBytes);
        else
            std::memset(out, 0, static_cast<std::size_t>(width * pixelBytes));
    }

    static constexpr unsigned allLanes = (1u << Lanes::count) - 1;

    Chunk chunks_[2];
    Columns<mapping> columns_[2];
    Sampler sampler_;
    const Job& job_;
    Chunk* pending_ = nullptr;
    std::int64_t redone_ = 0;
    unsigned block_ = 0;
};

}  // namespace
}  // namespace polar
