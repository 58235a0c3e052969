// Nanoseconds per pixel of a render on one thread, by every instruction set that the machine has,
// beside a copy of the frame.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "bench/frames.h"
#include "pixels/QzBuffer.h"
#include "render/Plan.h"

namespace {

struct Size {
    int width, height;
};
constexpr Size sizes[] = {{1920, 1080}, {2880, 2880}, {1001, 777}};

// Reports the time of `work(input, output)` by pixel of the frame.
template <class Work>
void measure(const std::string& name, Size size, int format, Work work) {
    const auto run = [=](benchmark::State& state) {
        bench::Frame input(format, size.width, size.height);
        bench::Frame output(format, size.width, size.height);
        for (auto _ : state) work(input, output);
        state.counters["s/pixel"] = benchmark::Counter(
            double(size.width) * size.height,
            benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    };
    benchmark::RegisterBenchmark(name.c_str(), run);
}

template <class Buffer>
void render(const polar::InstructionSet& set, const bench::Case& of, bench::Frame& input,
            bench::Frame& output) {
    const polar_image& image = input.image();
    const auto width = static_cast<std::size_t>(image.width);
    const polar::Rect all{0, 0, image.width, image.height};
    std::vector<double> tables(2 * width);
    const auto rowBytes = static_cast<std::int64_t>(width * sizeof(typename Buffer::Pixel));
    const auto mapping = of.direction == POLAR_WRAP ? polar::Mapping::wrap : polar::Mapping::unwrap;
    const auto sampling =
        of.sampling == POLAR_NEAREST ? polar::Sampling::nearest : polar::Sampling::bilinear;
    polar::Plan(Buffer::bitmapType, polar::fromRectangles(mapping, all, all),
                {image.pixels, rowBytes}, {output.image().pixels, rowBytes}, sampling,
                {tables.data(), tables.data() + width}, set)
        .render(0, image.height);
}

template <class Buffer>
void registerFormat(Size size) {
    const std::string frame = std::string(Buffer::name) + '/' + std::to_string(size.width) + 'x' +
                              std::to_string(size.height);
    measure("memcpy/" + frame, size, Buffer::bitmapType,
            [](bench::Frame& input, bench::Frame& output) {
                std::memcpy(output.pixels().data(), input.pixels().data(), input.pixels().size());
                benchmark::ClobberMemory();
            });
    for (const bench::Case& of : bench::cases)
        for (const polar::InstructionSet* const set : polar::instructionSets())
            if (set->isSupported())
                measure(std::string(set->name) + '/' + of.name + '/' + frame, size,
                        Buffer::bitmapType, [=, &of](bench::Frame& input, bench::Frame& output) {
                            render<Buffer>(*set, of, input, output);
                        });
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (const Size size : sizes)
        forEachFormat([&]<class Buffer>() { registerFormat<Buffer>(size); });
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
