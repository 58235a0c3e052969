// The module against cv::warpPolar, interleaved on one thread: a table in Markdown on standard
// output and, where a path is given, a chart.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/frames.h"

namespace {

using hosting::Filter;
using hosting::Sampling;

constexpr QzLong side = 2880;
constexpr int repetitions = 9;

struct Result {
    std::string name;
    double ours, peers;  // median nanoseconds per pixel

    double ratio() const { return peers / ours; }
};

template <class Work>
double nanosecondsPerPixel(Work work) {
    const std::clock_t start =
        std::clock();  // of the processor: others on the machine do not count
    work();
    return double(std::clock() - start) / CLOCKS_PER_SEC * 1e9 / (double(side) * side);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

template <class Buffer>
Result measure(const hosting::Module& module, Filter filter, Sampling sampling) {
    using Component = typename Buffer::Pixel::Component;
    const hosting::Bitmap input = makeNoise<Buffer>(side, side);
    const hosting::Bitmap output = makeNoise<Buffer>(side, side);
    const cv::Mat from(side, side, CV_MAKETYPE(cv::DataType<Component>::depth, 4), input->pixels);
    cv::Mat to = from.clone();
    const bool wraps = filter == Filter::rectangularToPolar;
    const bool nearest = sampling == Sampling::nearest;
    int flags = cv::WARP_POLAR_LINEAR;
    flags |= nearest ? cv::INTER_NEAREST : cv::INTER_LINEAR;
    if (wraps) flags |= cv::WARP_INVERSE_MAP;
    const QzRectT<QzLong> all{0, 0, side, side};
    hosting::FilterInstance instance(module, filter);
    std::vector<double> ours, peers;
    for (int i = 0; i < repetitions; ++i) {
        ours.push_back(
            nanosecondsPerPixel([&] { instance.render(*input, *output, all, all, sampling); }));
        peers.push_back(nanosecondsPerPixel([&] {
            cv::warpPolar(from, to, {side, side}, {side / 2.0f, side / 2.0f}, side / 2.0, flags);
        }));
    }
    return {std::string(wraps ? "wrap " : "unwrap ") + (nearest ? "nearest " : "bilinear ") +
                Buffer::name,
            median(ours), median(peers)};
}

void writeChart(const char* path, const std::vector<Result>& results) {
    constexpr double left = 170, unit = 9, row = 34;
    std::ofstream svg(path);
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"760\" height=\""
        << 40 + row * double(results.size()) << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<text x=\"10\" y=\"20\">ns per pixel, 2880x2880, one thread: "
           "<tspan fill=\"#2b6cb0\">Polar</tspan>, <tspan "
           "fill=\"#c05621\">warpPolar</tspan></text>\n";
    const auto bar = [&](double y, double value, const char* colour) {
        svg << "<rect x=\"" << left << "\" y=\"" << y << "\" width=\"" << value * unit
            << "\" height=\"12\" fill=\"" << colour << "\"/><text x=\"" << left + value * unit + 4
            << "\" y=\"" << y + 10 << "\">" << std::round(value * 10) / 10 << "</text>\n";
    };
    double y = 34;
    for (const Result& result : results) {
        svg << "<text x=\"10\" y=\"" << y + 16 << "\">" << result.name << "</text>\n";
        bar(y, result.ours, "#2b6cb0");
        bar(y + 13, result.peers, "#c05621");
        y += row;
    }
    svg << "</svg>\n";
}

}  // namespace

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    const hosting::Module module(POLAR_MODULE);
    std::vector<Result> results;
    double logarithms = 0;
    std::printf("| case | Polar ns/pixel | warpPolar ns/pixel | ratio |\n|---|---|---|---|\n");
    for (const Filter filter : {Filter::polarToRectangular, Filter::rectangularToPolar})
        for (const Sampling sampling : {Sampling::bilinear, Sampling::nearest})
            forEachFormat([&]<class Buffer>() {
                if constexpr (!Buffer::Pixel::packed) {  // warpPolar has no packed formats
                    const Result result = measure<Buffer>(module, filter, sampling);
                    logarithms += std::log(result.ratio());
                    std::printf("| %s | %.1f | %.1f | %.2f |\n", result.name.c_str(), result.ours,
                                result.peers, result.ratio());
                    std::fflush(stdout);
                    results.push_back(result);
                }
            });
    std::printf("\ngeometric mean of the ratios: %.2f (OpenCV %s, medians of %d)\n",
                std::exp(logarithms / double(results.size())), CV_VERSION, repetitions);
    if (argc > 1) writeChart(argv[1], results);
}
