// Rendering in batches of pixels: one body for every instruction set.
//
// To be included once, by the unit of an instruction set, after it has switched to that set and
// defined its `Target` (render/Lanes.h). Everything here is local to that unit. What decides a
// pixel is the plain path's arithmetic, operation by operation, or comes with a bound, and then
// pixels that the bound leaves open are done again by the plain path.
//
// Blocks of columns are rendered chunk by chunk. First a chunk's positions become addresses and
// fractions, and what lies there is fetched ahead; its pixels are mixed once the next chunk is
// planned, when what they read has arrived.
#pragma once

#include "pixels/QzBuffer.h"
#include "render/area_batch.h"
#include "render/chunk_batch.h"
#include "render/sampler_batch.h"

namespace polar {
namespace {

template <class Lanes>
std::int64_t renderBatches(const Job& job, QzLong firstRow, QzLong rows) {
    std::int64_t redone = 0;
    visitSampled(job.format, [&]<class Buffer>() {
        using Pixel = typename Buffer::Pixel;
        const auto with = [&]<Mapping mapping>() {
            redone =
                job.sampling == Sampling::bilinear
                    ? Renderer<Lanes, Pixel, mapping, Bilinear<Lanes, Pixel, mapping>>(job).render(
                          firstRow, rows)
                    : Renderer<Lanes, Pixel, mapping, Nearest<Lanes, Pixel, mapping>>(job).render(
                          firstRow, rows);
        };
        if (job.geometry.mapping == Mapping::unwrap)
            with.template operator()<Mapping::unwrap>();
        else
            with.template operator()<Mapping::wrap>();
    });
    return redone;
}

// Bilinear sampling of what area sampling leaves to it, whole chunks where batches know them.
template <class Lanes, class Pixel, Mapping mapping>
// The renderer reads the job, and so comes second.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.*)
class BatchedChunks {
  public:
    explicit BatchedChunks(const Job& job) : job_(bilinear(job)), renderer_(job_), plain_(job_) {}

    template <class Chunk>
    void render(const Chunk& chunk, const std::uint32_t* pixels) {
        if (job_.hasBatches)
            renderer_.renderNow(chunk.left, chunk.width, chunk.top, chunk.vs, chunk.height,
                                chunk.offset);
        else
            plain_.render(chunk, pixels);
    }

  private:
    static Job bilinear(Job job) {
        job.sampling = Sampling::bilinear;
        job.isStreamed = false;
        return job;
    }

    const Job job_;
    Renderer<Lanes, Pixel, mapping, Bilinear<Lanes, Pixel, mapping>> renderer_;
    PlainChunks<mapping> plain_;
};

template <class Target>
void renderAreas(const Job& job, QzLong firstRow, QzLong rows) {
    using Exact = Lanes<Unfused<Target>>;
    visitArea(job, [&]<class Pixel, Mapping mapping>() {
        AreaRenderer<Exact, Pixel, mapping, AreaPixels<Exact, Pixel>,
                     BatchedChunks<Lanes<Target>, Pixel, mapping>>(job)
            .render(firstRow, rows);
    });
}

}  // namespace
}  // namespace polar
