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
#include "render/chunk_batch.h"
#include "render/sampler_batch.h"

namespace polar {
namespace {

template <class Lanes>
std::int64_t renderBatches(const Job& job, QzLong firstRow, QzLong rows) {
    std::int64_t redone = 0;
    visitFormat(job.format, [&]<class Buffer>() {
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

}  // namespace
}  // namespace polar
