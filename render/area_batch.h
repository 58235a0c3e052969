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
    using Words = typename Lanes::Words;
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

    // A batch of one row.
    struct Batch {
        const Block& block;
        const Row& row;
        std::int64_t left;
        int first;
        Footprint<Lanes> at[halves];
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
        Batch batch{chunk.block, chunk.rows[j], chunk.left, i, {}};
        unsigned outside = 0, inRows = 0;
        for (int half = 0; half < halves; ++half) {
            const int at = half * Lanes::count;
            Footprint<Lanes>& f = batch.at[half];
            f = footprints_.at(chunk.block, i + at, batch.row,
                               static_cast<double>(chunk.left + i + at));
            outside |= (outsideOnes(f) & ~f.near) << at;
            if constexpr (mapping == Mapping::wrap) inRows |= (rowOnes(f) & ~f.near) << at;
        }
        unsigned char* const out = addressOf(chunk.left + i, chunk.top + j);
        const int width = chunk.width - i;
        if (const unsigned those = lanes & outside; those != 0)
            write(out, Colours<Reals>{}, those, width);
        lanes &= ~outside;
        if (const unsigned those = lanes & inRows; those != 0)
            write(out, sumRows(batch, those), those, width);
        lanes &= ~inRows;
        if (lanes == 0) return;
        unsigned exact = 0;
        for (int half = 0; half < halves; ++half) {
            const int at = half * Lanes::count;
            exact |= footprints_.needExact(batch.at[half], batch.block, i + at, batch.row) << at;
        }
        if (const unsigned those = lanes & ~exact; those != 0)
            write(out, sumGrid<false>(batch, those), those, width);
        if constexpr (Map::hasExact)
            if (const unsigned those = lanes & exact; those != 0)
                write(out, sumGrid<true>(batch, those), those, width);
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

    // Whether what they cover ends above the image, or begins below it.
    [[gnu::always_inline]] unsigned outsideOnes(const Footprint<Lanes>& f) const {
        const Doubles reach = f.reachY() + 2.0;
        const Bounds& bounds = source_.bounds();
        return bitsOf<Lanes>((f.y + reach < bounds.top) | (f.y - reach > bounds.lastRow));
    }

    // Numbers of a batch, as they are summed up.
    [[gnu::always_inline]] static Reals joined(const Doubles (&parts)[halves]) {
        if constexpr (halves == 1) {
            return __builtin_convertvector(parts[0], Reals);
        } else {
            using Half = Vector<Real, Lanes::count>;
            return joined(__builtin_convertvector(parts[0], Half),
                          __builtin_convertvector(parts[1], Half),
                          std::make_index_sequence<count>{});
        }
    }
    template <class Half, std::size_t... i>
    [[gnu::always_inline]] static Reals joined(Half low, Half high, std::index_sequence<i...>) {
        return __builtin_shufflevector(low, high, i...);
    }
    static int largestOf(Doubles counts) {
        double most = counts[0];
        for (int i = 1; i < Lanes::count; ++i) most = std::max(most, counts[i]);
        return static_cast<int>(most);
    }

    // Pixels that cover several rows but not several columns: the weights of rows are those of a
    // bilinear sample, a tent, that is spread over the shadow of the pixel's square, which is a box
    // for either of its sides. Four boxes make piecewise cubics.
    struct RowSums {
        Doubles column[halves], top[halves];
        Reals fx, offset, rows;
        Reals wide, narrow;  // the boxes
        int most;
    };
    static constexpr double mostRows = 128;
    // Of boxes narrower than this, or this part of the other, only the variance counts.
    static constexpr Real leastBox = Real(0.05), leastPart = Real(0x1p-5);

    [[gnu::always_inline]] static unsigned rowOnes(const Footprint<Lanes>& f) {
        return bitsOf<Lanes>((f.spans.first <= narrowest) &
                             (f.spans.second <= mostRows * mostRows));
    }

    Colours<Reals> sumRows(const Batch& batch, unsigned lanes) const {
        RowSums sums;
        prepareRows(batch, lanes, sums);
        alignas(64) std::uint64_t addresses[count];
        unsigned inside = source_.hasAddresses() ? every : 0;
        const Bounds& bounds = source_.bounds();
        for (int half = 0; half < halves; ++half) {
            const unsigned asked = lanes >> (half * Lanes::count) & every;
            const auto isAsked = maskOf<Lanes>(asked);
            const auto fits = (sums.column[half] >= bounds.left) &
                              (sums.column[half] < bounds.lastColumn) &
                              (sums.top[half] >= bounds.top) &
                              (sums.top[half] + (sums.most - 1.0) <= bounds.lastRow);
            inside &= bitsOf<Lanes>(fits) | ~asked;
            // The others read pixels that are there.
            store(addresses + half * Lanes::count,
                  source_.addressOf(isAsked ? sums.column[half] : all<Doubles>(bounds.left),
                                    isAsked ? sums.top[half] : all<Doubles>(bounds.top)));
        }
        return (inside & every) == every ? addRows<true>(sums, addresses, lanes)
                                         : addRows<false>(sums, addresses, lanes);
    }

    [[gnu::always_inline]] void prepareRows(const Batch& batch, unsigned lanes,
                                            RowSums& sums) const {
        Doubles fx[halves], offset[halves], rows[halves], s[halves], t[halves], span[halves];
        Doubles most = all<Doubles>(1.0);
        for (int half = 0; half < halves; ++half) {
            const Footprint<Lanes>& f = batch.at[half];
            // No less than weights reach: boxes are narrowed, or the least.
            const Doubles reach = f.reachY() + 1.05;
            const Doubles top = -Lanes::Target::floor(reach - f.y);
            const Doubles column = Lanes::Target::floor(f.x);
            const auto isAsked = maskOf<Lanes>(lanes >> (half * Lanes::count) & every);
            rows[half] = isAsked ? Lanes::Target::floor(f.y + reach) - top + 1.0 : Doubles{};
            most = larger(most, rows[half]);
            sums.column[half] = column;
            sums.top[half] = top;
            fx[half] = f.x - column;
            offset[half] = top - f.y;
            s[half] = f.ys;
            t[half] = f.yt;
            span[half] = f.spans.second;
        }
        sums.fx = joined(fx);
        sums.offset = joined(offset);
        sums.rows = joined(rows);
        sums.most = largestOf(most);
        const Reals squares = joined(span);
        const Reals narrowing = Lanes::Target::sqrt((squares - Real{1}) / squares);
        const Reals a = magnitude(joined(s)) * narrowing, b = magnitude(joined(t)) * narrowing;
        sums.narrow = larger(smaller(a, b), larger(larger(a, b) * leastPart, all<Reals>(leastBox)));
        sums.wide = Lanes::Target::sqrt(larger(squared(a) + squared(b) - squared(sums.narrow),
                                               all<Reals>(leastBox * leastBox)));
    }

    template <bool isInside>
    [[gnu::noinline]] Colours<Reals> addRows(const RowSums& given, const std::uint64_t* addresses,
                                             unsigned lanes) const {
        const std::int64_t rowBytes = job_.input.rowBytes;
        const Reals fx = given.fx, offset = given.offset, own = given.rows;
        const Reals sum = (given.wide + given.narrow) * Real{0.5};
        const Reals difference = (given.wide - given.narrow) * Real{0.5};
        const Reals scale = Real{1} / (Real{12} * given.wide * given.narrow);
        const auto spread = [&](Reals at) __attribute__((always_inline)) {
            return ((cubed(at + sum) + cubed(at - sum)) -
                    (cubed(at + difference) + cubed(at - difference))) *
                   scale;
        };
        AreaSums<Reals> sums;
        Reals last = spread(offset), slope = last - spread(offset - Real{1});
        for (int j = 0; j < given.most; ++j) {
            const Reals next = spread(offset + static_cast<Real>(j + 1)), rise = next - last;
            const auto active = all<Reals>(static_cast<Real>(j)) < own;
            const Reals weight = active ? larger(rise - slope, Reals{}) : Reals{};
            last = next;
            slope = rise;
            const Reals right = weight * fx;
            if constexpr (isInside)
                sums.template add<isFloat>(Pixels::loadPair(addresses, j * rowBytes),
                                           weight - right, right, active);
            else
                sums.template add<isFloat>(pairsAt(given.column, given.top, j, lanes),
                                           weight - right, right, active);
        }
        return sums.means(all<Reals>(Real{1}));
    }

    // Of pixels that may not be there, `below` the rows given; of other lanes than those asked for,
    // of pixels that are not.
    ColourPair<Reals> pairsAt(const Doubles (&columns)[halves], const Doubles (&rows)[halves],
                              double below, unsigned lanes) const {
        alignas(64) std::uint64_t addresses[count];
        alignas(8) unsigned char pairs[count][2 * pixelBytes];
        const Bounds& bounds = source_.bounds();
        unsigned others = source_.hasAddresses() ? 0 : lanes;
        for (int half = 0; half < halves; ++half) {
            const int at = half * Lanes::count;
            const Doubles column = columns[half], row = rows[half] + below;
            const unsigned asked = lanes >> at & every;
            const auto isThere =
                maskOf<Lanes>(asked) & (row >= bounds.top) & (row <= bounds.lastRow);
            store(addresses + at, isThere ? source_.addressOf(column, row)
                                          : all<Words>(reinterpret_cast<std::uintptr_t>(nothing)));
            others |=
                (asked & ~bitsOf<Lanes>((column >= bounds.left) & (column < bounds.lastColumn)))
                << at;
        }
        for (; others != 0; others &= others - 1) {
            const int i = std::countr_zero(others), half = i / Lanes::count, k = i % Lanes::count;
            addresses[i] = source_.pairAt(columns[half][k], rows[half][k] + below, pairs[i]);
        }
        return Pixels::loadPair(addresses, 0);
    }
    static constexpr unsigned char nothing[2 * pixelBytes] = {};

    // Others: equally many bilinear samples along either side of a pixel's square.
    struct Grid {
        Bent<Lanes> at[halves];
        Narrowing<Lanes> narrowing[halves];
        Reals across, down;
        int mostAcross, mostDown;
        unsigned lanes;
        bool isInside;
    };

    template <bool isExact>
    Colours<Reals> sumGrid(const Batch& batch, unsigned lanes) const {
        Grid grid;
        grid.lanes = lanes;
        grid.isInside = source_.hasAddresses();
        Doubles mostAcross = all<Doubles>(1.0), mostDown = mostAcross;
        Doubles across[halves], down[halves];
        for (int half = 0; half < halves; ++half) {
            prepareGrid<isExact>(batch, half, lanes, grid);
            const auto isAsked = maskOf<Lanes>(lanes >> (half * Lanes::count) & every);
            across[half] = isAsked ? grid.narrowing[half].s.count : Doubles{};
            down[half] = isAsked ? grid.narrowing[half].t.count : Doubles{};
            mostAcross = larger(mostAcross, across[half]);
            mostDown = larger(mostDown, down[half]);
        }
        grid.across = joined(across);
        grid.down = joined(down);
        grid.mostAcross = largestOf(mostAcross);
        grid.mostDown = largestOf(mostDown);
        if constexpr (!isExact)
            if (grid.isInside) return addGrid<true, false>(batch, grid);
        return addGrid<false, isExact>(batch, grid);
    }

    template <bool isExact>
    [[gnu::always_inline]] void prepareGrid(const Batch& batch, int half, unsigned lanes,
                                            Grid& grid) const {
        const int at = half * Lanes::count;
        Bent<Lanes>& f = grid.at[half];
        Narrowing<Lanes>& n = grid.narrowing[half];
        f = footprints_.bend(batch.at[half], batch.block, batch.first + at, batch.row);
        n = footprints_.template sample<isExact>(batch.at[half]);
        f.scale(n.x, n.y);
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
        const Reals across = grid.across, down = grid.down;
        AreaSums<Reals> sums;
        for (int m = 0; m < grid.mostDown; ++m) {
            const auto inRow = all<Reals>(static_cast<Real>(m)) < down;
            for (int k = 0; k < grid.mostAcross; ++k) {
                Doubles columns[halves], rows[halves], fractionsX[halves], fractionsY[halves];
                for (int half = 0; half < halves; ++half) {
                    Doubles x, y;
                    place<isExact>(batch, grid, half, k, m, x, y);
                    columns[half] = Lanes::Target::floor(x);
                    rows[half] = Lanes::Target::floor(y);
                    fractionsX[half] = x - columns[half];
                    fractionsY[half] = y - rows[half];
                }
                const auto active = inRow & (all<Reals>(static_cast<Real>(k)) < across);
                const Reals fx = joined(fractionsX);
                const Reals fy = active ? joined(fractionsY) : Reals{};
                const Reals gy = active ? Real{1} - fy : Reals{};
                const Reals upper = gy * fx, lower = fy * fx;
                if constexpr (isInside) {
                    alignas(64) std::uint64_t addresses[count];
                    for (int half = 0; half < halves; ++half)
                        store(addresses + half * Lanes::count,
                              source_.addressOf(columns[half], rows[half]));
                    sums.template add<isFloat>(Pixels::loadPair(addresses, 0), gy - upper, upper,
                                               active);
                    sums.template add<isFloat>(Pixels::loadPair(addresses, rowBytes), fy - lower,
                                               lower, active);
                } else {
                    sums.template add<isFloat>(pairsAt(columns, rows, 0, grid.lanes), gy - upper,
                                               upper, active);
                    sums.template add<isFloat>(pairsAt(columns, rows, 1, grid.lanes), fy - lower,
                                               lower, active);
                }
            }
        }
        return sums.means(Real{1} / (across * down));
    }

    template <bool isExact>
    [[gnu::always_inline]] void place(const Batch& batch, const Grid& grid, int half, int k, int m,
                                      Doubles& x, Doubles& y) const {
        const Bent<Lanes>& f = grid.at[half];
        const Narrowing<Lanes>& n = grid.narrowing[half];
        const Doubles s = n.s.at(k), t = n.t.at(m);
        if constexpr (isExact) {
            const int at = batch.first + half * Lanes::count;
            footprints_.exactly(batch.block, at, batch.row, static_cast<double>(batch.left + at),
                                batch.at[half], n, s, t, x, y);
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
