// Area sampling: an output pixel is the mean of all that it covers.
//
// Pixels that cover no more than one of the source along either axis are left to bilinear sampling.
// The others are summed up several at a time, each in its own lane, by operations that round alike
// everywhere: neither the instruction set nor the pixels beside one show in its bits.
#pragma once

#include "render/area_mix_batch.h"
#include "render/positions_batch.h"

namespace polar {
namespace {

// Part of a block, with what it needs to know.
template <class Map>
struct AreaChunk {
    const typename Map::Block& block;
    std::int64_t left, top;
    const typename Map::Row* rows;
    const double* vs;  // what rows are known by (Job::renderBilinear)
    double offset;     // of the first column, wrapping
    int width, height;
};

// Bilinear sampling, pixel by pixel.
template <Mapping mapping>
class PlainChunks {
  public:
    explicit PlainChunks(const Job& job) : job_(job) {}

    // Those of `pixels`, a bit for each column and a word for each row.
    template <class Chunk>
    void render(const Chunk& chunk, const std::uint32_t* pixels) const {
        for (int j = 0; j < chunk.height; ++j)
            for (std::uint32_t left = pixels[j]; left != 0; left &= left - 1) {
                const int i = std::countr_zero(left);
                job_.renderBilinear(job_, chunk.vs[j], static_cast<QzLong>(chunk.left + i),
                                    static_cast<QzLong>(chunk.top + j), chunk.block.offsetAt(i));
            }
    }

  private:
    const Job& job_;
};

template <class Lanes, class Pixel, Mapping mapping, class Pixels, class BilinearChunks>
class AreaRenderer {
    using Doubles = typename Lanes::Doubles;
    using Reals = typename Pixels::Reals;
    using Real = AreaReal<Pixel>;
    using Block = Columns<mapping>;
    using Map = Footprints<Lanes, mapping>;
    using Row = typename Map::Row;
    using Bits = std::uint32_t;
    static constexpr int count = Pixels::count, halves = count / Lanes::count;
    static constexpr bool isFloat = std::is_same_v<Pixel, QzBufferRGBAFloat::Pixel>;
    static constexpr std::int64_t pixelBytes = sizeof(Pixel);

  public:
    explicit AreaRenderer(const Job& job)
        : job_(job), footprints_(job_), source_(job_), bilinear_(job_) {}

    void render(QzLong firstRow, QzLong rows) {
        const Geometry& geometry = job_.geometry;
        double v = geometry.rows.at(firstRow);
        for (std::int64_t top = 0; top < rows; top += blockRows) {
            const int height = static_cast<int>(std::min<std::int64_t>(blockRows, rows - top));
            Row described[blockRows];
            double vs[blockRows];
            for (int j = 0; j < height; ++j, v += geometry.rows.step) {
                described[j] = footprints_.row(v, static_cast<double>(firstRow + top + j));
                vs[j] = mapping == Mapping::unwrap ? described[j].at : v;
            }
            double offset = geometry.columns.first - 0.5;
            for (std::int64_t left = 0; left < geometry.region.width; left += blockColumns) {
                const auto width = static_cast<int>(
                    std::min<std::int64_t>(blockColumns, geometry.region.width - left));
                Block block;
                double next = offset;
                block.load(job_, left, width, next);
                for (int j = 0; j < height; j += chunkRows)
                    renderChunk({block, left, firstRow + top + j, described + j, vs + j, offset,
                                 width, std::min(chunkRows, height - j)});
                offset = next;
            }
        }
    }

  private:
    using Chunk = AreaChunk<Map>;

    // A batch of one row, of which `lanes` are to be rendered.
    struct Batch {
        const Block& block;
        const Row& row;
        std::int64_t left;
        int first;
        unsigned lanes;
        Footprint<Lanes> at[halves];
        Spans<Lanes> spans[halves];
    };

    static constexpr unsigned allLanes = static_cast<unsigned>((std::uint64_t{1} << count) - 1);

    void renderChunk(const Chunk& chunk) {
        Bits wide[chunkRows], narrow[chunkRows], anyWide = 0, anyNarrow = 0;
        const Bits columns = static_cast<Bits>((std::uint64_t{1} << chunk.width) - 1);
        for (int j = 0; j < chunk.height; ++j) {
            wide[j] = wideOnes(chunk, chunk.rows[j]) & columns;
            narrow[j] = columns & ~wide[j];
            anyWide |= wide[j];
            anyNarrow |= narrow[j];
        }
        if (anyNarrow != 0) bilinear_.render(chunk, narrow);
        if (anyWide == 0) return;
        for (int j = 0; j < chunk.height; ++j)
            for (int i = 0; i < chunk.width; i += count)
                if (const unsigned lanes = wide[j] >> i & allLanes; lanes != 0)
                    renderBatch(chunk, j, i, lanes);
    }

    Bits wideOnes(const Chunk& chunk, const Row& row) const {
        Bits wide = 0;
        for (int i = 0; i < chunk.width; i += Lanes::count) {
            const auto spans = footprints_.spans(chunk.block, i, row);
            wide |= bitsOf<Lanes>(spans.isFirstWide() | spans.isSecondWide()) << i;
        }
        return wide;
    }

    [[gnu::noinline]] void renderBatch(const Chunk& chunk, int j, int i, unsigned lanes) const {
        Batch batch{chunk.block, chunk.rows[j], chunk.left, i, lanes, {}, {}};
        unsigned outside = 0, inRows = 0;
        for (int half = 0; half < halves; ++half) {
            const int at = i + half * Lanes::count;
            batch.at[half] =
                footprints_.at(chunk.block, at, batch.row, static_cast<double>(chunk.left + at));
            batch.spans[half] = footprints_.spans(chunk.block, at, batch.row);
            const unsigned near = footprints_.nearOnes(chunk.block, at, batch.row);
            outside |= (outsideOnes(batch.at[half]) & ~near) << (half * Lanes::count);
            if constexpr (mapping == Mapping::wrap)
                inRows |= (rowOnes(batch, half) & ~near) << (half * Lanes::count);
        }
        unsigned char* const out = addressOf(chunk.left + i, chunk.top + j);
        const int width = chunk.width - i;
        if (const unsigned empty = lanes & outside; empty != 0) {
            write(out, Colours<Reals>{}, empty, width);
            lanes &= ~empty;
        }
        if (lanes & inRows) write(out, sumRows(batch, lanes & inRows), lanes & inRows, width);
        lanes &= ~inRows;
        if (lanes == 0) return;
        const unsigned exact = lanes & exactOnes(batch);
        if (lanes & ~exact)
            write(out, sumGrid<false>(batch, lanes & ~exact), lanes & ~exact, width);
        if constexpr (Map::hasExact)
            if (exact != 0) write(out, sumGrid<true>(batch, exact), exact, width);
    }

    unsigned char* addressOf(std::int64_t column, std::int64_t row) const {
        const Rect& region = job_.geometry.region;
        return reinterpret_cast<unsigned char*>(  // NOLINT(performance-no-int-to-ptr)
            reinterpret_cast<std::uintptr_t>(job_.output.pixels) +
            static_cast<std::uintptr_t>((region.y + row) * job_.output.rowBytes +
                                        (region.x + column) * pixelBytes));
    }

    // Writes those of `lanes`.
    static void write(unsigned char* out, const Colours<Reals>& means, unsigned lanes, int width) {
        if (lanes == allLanes && width >= count) [[likely]] {
            Pixels::store(out, means);
            return;
        }
        unsigned char pixels[count * pixelBytes];
        Pixels::store(pixels, means);
        for (; lanes != 0; lanes &= lanes - 1) {
            const int i = std::countr_zero(lanes);
            std::memcpy(out + i * pixelBytes, pixels + i * pixelBytes, pixelBytes);
        }
    }

    // What they cover ends more than a pixel before the image begins, or behind its end.
    [[gnu::always_inline]] unsigned outsideOnes(const Footprint<Lanes>& at) const {
        const Doubles reach = at.reachY() + 2.0;
        const Bounds& bounds = source_.bounds();
        return bitsOf<Lanes>((at.y + reach < bounds.top) | (at.y - reach > bounds.lastRow));
    }
    unsigned exactOnes(const Batch& batch) const {
        unsigned lanes = 0;
        if constexpr (Map::hasExact)
            for (int half = 0; half < halves; ++half)
                lanes |=
                    footprints_.needExact(batch.block, batch.first + half * Lanes::count, batch.row)
                    << (half * Lanes::count);
        return lanes;
    }

    // Rows
    // -----------------------------------------------------------------------------------------

    // Pixels that cover several rows but not several columns: the weights of rows are those of a
    // bilinear sample, a tent, that is spread over the shadow of the pixel's square, which is a box
    // for either of its sides. Four boxes make piecewise cubics.
    struct RowSums {
        alignas(64) std::uint64_t address[count];
        alignas(64) double column[count], top[count];
        alignas(64) Real fx[count], offset[count], wide[count], narrow[count], rows[count];
    };
    static constexpr double mostRows = 128;
    // Of boxes narrower than this, or this part of the other, only the variance counts.
    static constexpr double leastBox = 0.05, leastPart = 0x1p-5;

    [[gnu::always_inline]] unsigned rowOnes(const Batch& batch, int half) const {
        const Spans<Lanes>& spans = batch.spans[half];
        return bitsOf<Lanes>((spans.first <= narrowest) & (spans.second <= mostRows * mostRows));
    }

    template <class V>
    [[gnu::always_inline]] static void put(Real* to, V value) {
        store(to, __builtin_convertvector(value, Vector<Real, lengthOf<V>>));
    }

    Colours<Reals> sumRows(const Batch& batch, unsigned lanes) const {
        RowSums sums;
        for (int half = 0; half < halves; ++half) prepareRows(batch, half, sums);
        if (lanes != allLanes) {
            const int one = std::countr_zero(lanes);
            for (unsigned others = allLanes & ~lanes; others != 0; others &= others - 1) {
                const int i = std::countr_zero(others);
                sums.column[i] = sums.column[one];
                sums.top[i] = sums.top[one];
                sums.rows[i] = 0;
            }
        }
        int rows = 0;
        for (const Real each : sums.rows) rows = std::max(rows, static_cast<int>(each));
        unsigned inside = source_.hasAddresses() ? every : 0;
        const Bounds& bounds = source_.bounds();
        for (int i = 0; i < count; i += Lanes::count) {
            const auto column = load<Doubles>(sums.column + i), top = load<Doubles>(sums.top + i);
            inside &= bitsOf<Lanes>((column >= bounds.left) & (column < bounds.lastColumn) &
                                    (top >= bounds.top) & (top + (rows - 1.0) <= bounds.lastRow));
            store(sums.address + i, source_.addressOf(column, top));
        }
        return inside == every ? addRows<true>(sums, rows) : addRows<false>(sums, rows);
    }

    [[gnu::always_inline]] void prepareRows(const Batch& batch, int half, RowSums& sums) const {
        const int at = half * Lanes::count;
        const Footprint<Lanes>& f = batch.at[half];
        const Doubles span = batch.spans[half].second;
        const Doubles narrowing = Lanes::Target::sqrt((span - 1.0) / span);
        const Doubles a = magnitude(f.ys) * narrowing, b = magnitude(f.yt) * narrowing;
        const Doubles most = larger(a, b);
        const Doubles narrow =
            larger(smaller(a, b), larger(most * leastPart, all<Doubles>(leastBox)));
        const Doubles rest = squared(a) + squared(b) - squared(narrow);
        const Doubles wide = Lanes::Target::sqrt(larger(rest, all<Doubles>(leastBox * leastBox)));
        const Doubles reach = (wide + narrow) * 0.5 + 1.0;
        const Doubles top = -Lanes::Target::floor(reach - f.y);
        const Doubles column = Lanes::Target::floor(f.x);
        store(sums.column + at, column);
        store(sums.top + at, top);
        put(sums.fx + at, f.x - column);
        put(sums.offset + at, top - f.y);
        put(sums.wide + at, wide);
        put(sums.narrow + at, narrow);
        put(sums.rows + at, Lanes::Target::floor(f.y + reach) - top + 1.0);
    }

    template <bool isInside>
    [[gnu::noinline]] Colours<Reals> addRows(RowSums& given, int rows) const {
        const std::int64_t rowBytes = job_.input.rowBytes;
        const auto fx = load<Reals>(given.fx), offset = load<Reals>(given.offset);
        const auto wide = load<Reals>(given.wide), narrow = load<Reals>(given.narrow);
        const auto own = load<Reals>(given.rows);
        const Reals sum = (wide + narrow) * Real{0.5}, difference = (wide - narrow) * Real{0.5};
        const Reals scale = Real{1} / (Real{12} * wide * narrow);
        const auto spread = [&](Reals t) __attribute__((always_inline)) {
            return ((cubed(t + sum) + cubed(t - sum)) -
                    (cubed(t + difference) + cubed(t - difference))) *
                   scale;
        };
        AreaSums<Reals> sums;
        Reals last = spread(offset), slope = last - spread(offset - Real{1});
        for (int j = 0; j < rows; ++j) {
            const Reals next = spread(offset + static_cast<Real>(j + 1)), rise = next - last;
            const auto active = all<Reals>(static_cast<Real>(j)) < own;
            const Reals weight = active ? larger(rise - slope, Reals{}) : Reals{};
            last = next;
            slope = rise;
            ColourPair<Reals> pair;
            if constexpr (isInside) {
                pair = Pixels::loadPair(given.address, j * rowBytes);
            } else {
                alignas(64) std::uint64_t addresses[count];
                alignas(8) unsigned char pairs[count][2 * pixelBytes];
                for (int i = 0; i < count; ++i)
                    addresses[i] = source_.pairAt(given.column[i], given.top[i] + j, pairs[i]);
                pair = Pixels::loadPair(addresses, 0);
            }
            const Reals right = weight * fx;
            sums.template add<isFloat>(pair, weight - right, right, active);
        }
        return sums.means(all<Reals>(Real{1}));
    }

    // Grids
    // ----------------------------------------------------------------------------------------

    struct Grid {
        Footprint<Lanes> at[halves];
        Narrowing<Lanes> narrowing[halves];
        alignas(64) Real across[count], down[count];
        int mostAcross = 1, mostDown = 1;
        bool isInside;
    };

    template <bool isExact>
    Colours<Reals> sumGrid(const Batch& batch, unsigned lanes) const {
        Grid grid;
        grid.isInside = source_.hasAddresses();
        for (int half = 0; half < halves; ++half) prepareGrid(batch, half, lanes, grid);
        for (int i = 0; i < count; ++i) {
            if ((lanes >> i & 1) == 0) grid.across[i] = grid.down[i] = 0;
            grid.mostAcross = std::max(grid.mostAcross, static_cast<int>(grid.across[i]));
            grid.mostDown = std::max(grid.mostDown, static_cast<int>(grid.down[i]));
        }
        if constexpr (!isExact)
            if (grid.isInside) return addGrid<true, false>(batch, grid);
        return addGrid<false, isExact>(batch, grid);
    }

    [[gnu::always_inline]] void prepareGrid(const Batch& batch, int half, unsigned lanes,
                                            Grid& grid) const {
        const int at = half * Lanes::count;
        Footprint<Lanes>& f = grid.at[half];
        Narrowing<Lanes>& n = grid.narrowing[half];
        f = batch.at[half];
        n = footprints_.sample(f, batch.spans[half], batch.block, batch.first + at, batch.row);
        f.scale(n.x, n.y);
        put(grid.across + at, n.s.count);
        put(grid.down + at, n.t.count);
        const Doubles reachX = f.reachX(), reachY = f.reachY();
        const Bounds& bounds = source_.bounds();
        const unsigned inside =
            bitsOf<Lanes>((f.x - reachX >= bounds.left) & (f.x + reachX < bounds.lastColumn) &
                          (f.y - reachY >= bounds.top) & (f.y + reachY < bounds.lastRow));
        const unsigned asked = lanes >> at & every;
        grid.isInside = grid.isInside && (asked & ~inside) == 0;
        if (asked == every) return;
        // The others read pixels that are there.
        const auto isAsked = maskOf<Lanes>(asked);
        const auto only = [&](Doubles & value, double other) __attribute__((always_inline)) {
            value = isAsked ? value : all<Doubles>(other);
        };
        only(f.x, bounds.left);
        only(f.y, bounds.top);
        for (Doubles* const part : f.parts()) only(*part, 0.0);
    }

    template <bool isInside, bool isExact>
    [[gnu::noinline]] Colours<Reals> addGrid(const Batch& batch, const Grid& grid) const {
        const std::int64_t rowBytes = job_.input.rowBytes;
        const auto across = load<Reals>(grid.across), down = load<Reals>(grid.down);
        AreaSums<Reals> sums;
        alignas(64) std::uint64_t upper[count], lower[isInside ? 1 : count];
        alignas(64) Real fractionsX[count], fractionsY[count];
        for (int m = 0; m < grid.mostDown; ++m) {
            const auto inRow = all<Reals>(static_cast<Real>(m)) < down;
            for (int k = 0; k < grid.mostAcross; ++k) {
                alignas(8) unsigned char pairs[isInside ? 1 : 2 * count][2 * pixelBytes];
                for (int half = 0; half < halves; ++half) {
                    const int at = half * Lanes::count;
                    Doubles x, y;
                    place<isExact>(batch, grid, half, k, m, x, y);
                    const Doubles column = Lanes::Target::floor(x), row = Lanes::Target::floor(y);
                    put(fractionsX + at, x - column);
                    put(fractionsY + at, y - row);
                    if constexpr (isInside)
                        store(upper + at, source_.addressOf(column, row));
                    else
                        for (int i = 0; i < Lanes::count; ++i) {
                            upper[at + i] = source_.pairAt(column[i], row[i], pairs[2 * (at + i)]);
                            lower[at + i] =
                                source_.pairAt(column[i], row[i] + 1.0, pairs[2 * (at + i) + 1]);
                        }
                }
                const auto active = inRow & (all<Reals>(static_cast<Real>(k)) < across);
                const auto fx = load<Reals>(fractionsX);
                const Reals fy = active ? load<Reals>(fractionsY) : Reals{};
                const Reals gy = active ? Real{1} - fy : Reals{};
                const Reals right = gy * fx, lowerRight = fy * fx;
                sums.template add<isFloat>(Pixels::loadPair(upper, 0), gy - right, right, active);
                sums.template add<isFloat>(
                    Pixels::loadPair(isInside ? upper : lower, isInside ? rowBytes : 0),
                    fy - lowerRight, lowerRight, active);
            }
        }
        return sums.means(Real{1} / (across * down));
    }

    template <bool isExact>
    [[gnu::always_inline]] void place(const Batch& batch, const Grid& grid, int half, int k, int m,
                                      Doubles& x, Doubles& y) const {
        const Footprint<Lanes>& f = grid.at[half];
        const Narrowing<Lanes>& n = grid.narrowing[half];
        const Doubles s = n.s.at(k), t = n.t.at(m);
        if constexpr (isExact) {
            const int at = batch.first + half * Lanes::count;
            footprints_.exactly(batch.block, at, batch.row, static_cast<double>(batch.left + at), n,
                                s, t, x, y);
        } else {
            x = f.x + t * (f.xt + f.xtt * t) + s * ((f.xs + f.xst * t) + f.xss * s);
            y = f.y + t * (f.yt + f.ytt * t) + s * ((f.ys + f.yst * t) + f.yss * s);
        }
    }

    static constexpr unsigned every = (1u << Lanes::count) - 1;

    const Job job_;
    Map footprints_;
    Source<Lanes, Pixel> source_;
    BilinearChunks bilinear_;
};

// Calls `visit` with the job's pixel type and mapping.
template <class Visitor>
void visitArea(const Job& job, Visitor&& visit) {
    visitFormat(job.format, [&]<class Buffer>() {
        if (job.geometry.mapping == Mapping::unwrap)
            visit.template operator()<typename Buffer::Pixel, Mapping::unwrap>();
        else
            visit.template operator()<typename Buffer::Pixel, Mapping::wrap>();
    });
}

}  // namespace
}  // namespace polar
