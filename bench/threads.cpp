// The library on one thread and on all processors, interleaved: a table in Markdown, for one frame
// of each size.

#include <cstdio>
#include <thread>

#include "bench/frames.h"

namespace {

constexpr int repetitions = 15;

double nanosecondsPerPixel(const bench::Frame& input, const bench::Frame& output,
                           const bench::Case& of, int threads) {
    polar_options options{};
    options.direction = of.direction;
    options.sampling = of.sampling;
    options.threads = threads;
    const double pixels = double(input.image().width) * input.image().height;
    return bench::elapsed([&] { polar_render(&input.image(), &output.image(), &options); }) /
           pixels;
}

void measure(int side, int format, const char* formatName) {
    const bench::Frame input(format, {side, side}), output(format, {side, side});
    for (const bench::Case& of : bench::cases) {
        std::vector<double> one, all, ratios;
        for (int i = 0; i < repetitions; ++i) {
            one.push_back(nanosecondsPerPixel(input, output, of, 1));
            all.push_back(nanosecondsPerPixel(input, output, of, 0));
            ratios.push_back(one.back() / all.back());
        }
        std::printf("| %dx%d %s %s | %.2f | %.2f | %.2f |\n", side, side, of.name, formatName,
                    bench::median(one), bench::median(all), bench::median(ratios));
        std::fflush(stdout);
    }
}

}  // namespace

int main() {
    std::printf("| frame | one thread, ns/pixel | %u threads | median ratio |\n|---|---|---|---|\n",
                std::thread::hardware_concurrency());
    for (const int side : {2880, 512, 256}) {
        measure(side, POLAR_RGBA8, "RGBA8");
        measure(side, POLAR_RGBA_FLOAT, "float");
    }
}
