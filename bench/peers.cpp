// The library against cv::warpPolar, interleaved, on one thread each and on all: a table in
// Markdown on standard output and, where a path is given, a chart of the first.

#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/frames.h"

namespace {

constexpr int side = 2880;
constexpr int repetitions = 9;

struct Format {
    const char* name;
    int format, cvType;
};
constexpr std::array formats{Format{"RGBA8", POLAR_RGBA8, CV_8UC4},
                             Format{"RGBA16", POLAR_RGBA16, CV_16UC4},
                             Format{"float", POLAR_RGBA_FLOAT, CV_32FC4}};

struct Result {
    std::string name;
    double ours, peers;        // median nanoseconds per pixel of the processor, one thread
    double allOurs, allPeers;  // on the wall's clock, all threads

    double ratio() const { return peers / ours; }
    double allRatio() const { return allPeers / allOurs; }
};

Result measure(const bench::Case& of, const Format& format) {
    bench::Frame input(format.format, side, side), output(format.format, side, side);
    const cv::Mat from(side, side, format.cvType, input.pixels().data());
    cv::Mat to(side, side, format.cvType);
    int flags = cv::WARP_POLAR_LINEAR;
    flags |= of.sampling == POLAR_NEAREST ? cv::INTER_NEAREST : cv::INTER_LINEAR;
    if (of.direction == POLAR_WRAP) flags |= cv::WARP_INVERSE_MAP;
    polar_options options{};
    options.direction = of.direction;
    options.sampling = of.sampling;
    const auto ours = [&] { polar_render(&input.image(), &output.image(), &options); };
    const auto peers = [&] {
        cv::warpPolar(from, to, {side, side}, {side / 2.0f, side / 2.0f}, side / 2.0, flags);
    };
    std::vector<double> times[4];
    for (int i = 0; i < repetitions; ++i) {
        options.threads = 1;
        cv::setNumThreads(1);
        times[0].push_back(bench::processorTime(ours));
        times[1].push_back(bench::processorTime(peers));
        options.threads = 0;
        cv::setNumThreads(-1);  // its own default
        times[2].push_back(bench::elapsed(ours));
        times[3].push_back(bench::elapsed(peers));
    }
    const auto perPixel = [&](int i) { return bench::median(times[i]) / (double(side) * side); };
    return {std::string(of.name) + " " + format.name, perPixel(0), perPixel(1), perPixel(2),
            perPixel(3)};
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
    std::vector<Result> results;
    double logarithms = 0, allLogarithms = 0;
    std::printf(
        "| case | Polar ns/pixel | warpPolar | ratio | all threads: Polar | warpPolar | ratio |\n"
        "|---|---|---|---|---|---|---|\n");
    for (const bench::Case& of : bench::cases)
        for (const Format& format : formats) {
            results.push_back(measure(of, format));
            const Result& result = results.back();
            logarithms += std::log(result.ratio());
            allLogarithms += std::log(result.allRatio());
            std::printf("| %s | %.1f | %.1f | %.2f | %.1f | %.1f | %.2f |\n", result.name.c_str(),
                        result.ours, result.peers, result.ratio(), result.allOurs, result.allPeers,
                        result.allRatio());
            std::fflush(stdout);
        }
    const auto count = static_cast<double>(results.size());
    std::printf(
        "\ngeometric mean of the ratios: %.2f, all threads %.2f (OpenCV %s, medians of %d)\n",
        std::exp(logarithms / count), std::exp(allLogarithms / count), CV_VERSION, repetitions);
    if (argc > 1) writeChart(argv[1], results);
}
