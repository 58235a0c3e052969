// Nanoseconds per pixel of the built module, through its entry, beside a copy of the frame and the
// plain path.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "bench/frames.h"
#include "engine/renderRecord.h"
#include "host/FilterServices.h"

// The services of the engine that is linked in, for the plain path.
void* fi_AllocMem(QzULong size, unsigned int flags) { return AllocMemQz(size, flags); }
void fi_FreeMem(void* block) { FreeMemQz(block); }

namespace {

using hosting::Filter;
using hosting::Sampling;

struct Size {
    QzLong width, height;
};
constexpr Size sizes[] = {{1920, 1080}, {2880, 2880}, {1001, 777}};

// Repeats `render` and reports its time by pixel of the frame.
template <class Buffer, class Render>
void measure(benchmark::State& state, const Size& size, Render render) {
    const hosting::Bitmap input = makeNoise<Buffer>(size.width, size.height);
    const hosting::Bitmap output = makeNoise<Buffer>(size.width, size.height);
    for (auto _ : state) render(*input, *output);
    state.counters["s/pixel"] = benchmark::Counter(
        double(size.width) * size.height,
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class Buffer>
void registerFormat(const hosting::Module& module, const Size& size) {
    const QzRectT<QzLong> all{0, 0, size.width, size.height};
    const std::string frame = std::string(Buffer::name) + '/' + std::to_string(size.width) + 'x' +
                              std::to_string(size.height);
    benchmark::RegisterBenchmark(("memcpy/" + frame).c_str(), [=](benchmark::State& state) {
        measure<Buffer>(state, size, [=](const QzBitmap& from, QzBitmap& to) {
            std::memcpy(to.pixels, from.pixels,
                        sizeof(typename Buffer::Pixel) * std::size_t(size.width) *
                            std::size_t(size.height));
            benchmark::ClobberMemory();
        });
    });
    for (const Filter filter : {Filter::polarToRectangular, Filter::rectangularToPolar})
        for (const Sampling sampling : {Sampling::bilinear, Sampling::nearest}) {
            const std::string name =
                std::string(filter == Filter::polarToRectangular ? "unwrap/" : "wrap/") +
                (sampling == Sampling::nearest ? "nearest/" : "bilinear/") + frame;
            benchmark::RegisterBenchmark(name.c_str(), [=, &module](benchmark::State& state) {
                hosting::FilterInstance instance(module, filter);
                measure<Buffer>(state, size, [&](QzBitmap& from, QzBitmap& to) {
                    instance.render(from, to, all, all, sampling);
                });
            });
            benchmark::RegisterBenchmark(("plain/" + name).c_str(), [=](benchmark::State& state) {
                measure<Buffer>(state, size, [&](QzBitmap& from, QzBitmap& to) {
                    VexFilterInstance record{};
                    record.InputBitmap = &from;
                    record.OutputBitmap = &to;
                    record.SourceRect = record.OutputRegion = all;
                    record.SamplingWord = static_cast<QzLong>(sampling);
                    renderRecord(record, Buffer::bitmapType, Buffer::Pixel::pixelBytes,
                                 filter == Filter::polarToRectangular ? polar::Mapping::unwrap
                                                                      : polar::Mapping::wrap,
                                 polar::plainPath);
                });
            });
        }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const hosting::Module module(POLAR_MODULE);
    for (const Size& size : sizes)
        forEachFormat([&]<class Buffer>() { registerFormat<Buffer>(module, size); });
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
