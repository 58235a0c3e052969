// How near area sampling comes to what it should give, how near bilinear sampling does, and what
// both take; tables in Markdown:
//   quality [SIDE [GEOMETRY]]     sources SIDE pixels wide and high (512); all, or circle, ellipse,
//                                 inner radius, half arc or ImageMagick alone
//   quality --crop FILE           instead a PPM of the centre of a wrapped picture, enlarged: taken
//                                 bilinearly and by area

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/frames.h"
#include "bench/reference.h"

namespace {

using bench::Picture, bench::Size;

polar_image imageOf(const Picture& picture) {
    return {const_cast<float*>(picture.samples.data()),
            picture.width,
            picture.height,
            0,
            POLAR_RGBA_FLOAT,
            POLAR_STRAIGHT};
}

Picture render(const Picture& from, Size size, polar_options options, int sampling) {
    Picture to(size.width, size.height);
    const polar_image input = imageOf(from), output = imageOf(to);
    options.sampling = sampling;
    if (polar_render(&input, &output, &options) != POLAR_OK) std::abort();
    return to;
}

// In decibels, of the pixels that are opaque in the reference; infinite where they are equal.
double psnr(const Picture& picture, const Picture& reference) {
    double sum = 0, count = 0;
    for (std::size_t i = 0; i < reference.samples.size(); i += 4) {
        if (reference.samples[i + 3] < 0.9999f) continue;
        for (std::size_t k = i; k < i + 3; ++k) {
            const double error = double(picture.samples[k]) - reference.samples[k];
            sum += error * error;
        }
        count += 3;
    }
    return 10 * std::log10(count / sum);
}

struct Kind {
    const char* name;
    bool isEllipse;
    double inner, turns;
};
constexpr Kind kinds[] = {{"circle", false, 0, 1},
                          {"ellipse", true, 0, 1},
                          {"inner radius", false, 0.3, 1},
                          {"half arc", false, 0, 0.5}};
constexpr double sizes[] = {1, 0.5, 2};

// The largest circle of a picture of that size, or an ellipse beside its middle.
polar_circle circleIn(Size size, const Kind& kind) {
    const double half = std::min(size.width, size.height) / 2.0;
    polar_circle circle{
        size.width / 2.0, size.height / 2.0, half, half, kind.inner, 0, kind.turns, 0};
    if (kind.isEllipse) {
        circle.radius_y = half * 0.6;
        circle.center_x += 3.3;
    }
    return circle;
}

// Median nanoseconds per pixel of 8 bits on one thread, bilinear and by area.
std::array<double, 2> times(Size source, Size size, polar_options options) {
    const bench::Frame input(POLAR_RGBA8, source), output(POLAR_RGBA8, size);
    std::array<std::vector<double>, 2> all;
    for (int turn = 0; turn < 9; ++turn)
        for (const int sampling : {POLAR_BILINEAR, POLAR_AREA}) {
            options.sampling = sampling;
            const auto work = [&] { polar_render(&input.image(), &output.image(), &options); };
            all[sampling == POLAR_AREA].push_back(bench::threadTime(work) / size.pixels());
        }
    return {bench::median(all[0]), bench::median(all[1])};
}

// Of 8 bits.
std::vector<unsigned char> bytesOf(const Picture& picture) {
    std::vector<unsigned char> bytes;
    for (const float sample : picture.samples)
        bytes.push_back(static_cast<unsigned char>(std::lrint(sample * 255)));
    return bytes;
}

// ImageMagick ------------------------------------------------------------------------------------

constexpr const char* convertTool = "/usr/bin/convert";

// Seconds of the processor that a command takes; nothing good where it fails.
double secondsOf(const std::string& command) {
    const auto used = [] {
        rusage usage{};
        getrusage(RUSAGE_CHILDREN, &usage);
        const auto seconds = [](const timeval& t) {
            return double(t.tv_sec) + double(t.tv_usec) * 1e-6;
        };
        return seconds(usage.ru_utime) + seconds(usage.ru_stime);
    };
    const double start = used();
    return std::system(command.c_str()) == 0 ? used() - start : -1;
}

// Its picture of the largest circle, and what it takes for a pixel; of no size where there is no
// ImageMagick. It takes pixels for squares whose corners have whole coordinates, half a pixel off
// both ways, and no radius below 0: wrapping, it gets the source without its first row; unwrapping,
// it gives the result without it.
Picture distort(const Picture& from, bool wraps, double& nanoseconds) {
    namespace fs = std::filesystem;
    if (!fs::exists(convertTool)) return {0, 0};
    const fs::path folder =
        fs::temp_directory_path() / ("polar-quality-" + std::to_string(getpid()));
    fs::create_directory(folder);
    const int width = from.width, height = from.height, skipped = wraps ? 1 : 0;
    const std::string size = std::to_string(width) + 'x';
    const std::string head = std::string("MAGICK_THREAD_LIMIT=1 ") + convertTool + " -size " +
                             size + std::to_string(height - skipped) +
                             " -depth 8 rgba:" + (folder / "in").string();
    const std::string tail = " -depth 8 rgba:" + (folder / "out").string();
    const double radius = width / 2.0, row = radius / height, turn = 180.0 / width;
    char arguments[300];
    std::snprintf(arguments, sizeof arguments,
                  " -virtual-pixel transparent -set option:distort:viewport %dx%d+0+0"
                  " -distort %s '%.9f,%.9f,%.9f,%.9f,%.9f,%.9f'",
                  width, height, wraps ? "Polar" : "DePolar", radius + row * (0.5 - skipped),
                  row / 2, radius + 0.5, radius + 0.5, -180 - turn, 180 - turn);
    std::ofstream(folder / "in", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytesOf(from).data()) +
                   std::ptrdiff_t{4} * width * skipped,
               std::streamsize{4} * width * (height - skipped));
    std::vector<double> seconds;
    const std::string copy = head + tail, warp = head + arguments + tail;
    for (int run = 0; run < 3; ++run) {
        const double copying = secondsOf(copy);
        seconds.push_back(secondsOf(warp) - copying);
    }
    nanoseconds = bench::median(seconds) * 1e9 / width / height;
    Picture to(width, height);
    std::ifstream file(folder / "out", std::ios::binary);
    for (std::size_t i = wraps ? 0 : 4 * std::size_t(width); i < to.samples.size(); ++i)
        to.samples[i] = static_cast<float>(file.get()) / 255;
    fs::remove_all(folder);
    return to;
}

// Leaves out what ImageMagick lacks: the first row, or where that lies.
void leaveOut(Picture& picture, bool wraps) {
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            if (wraps ? std::hypot(x - picture.width / 2.0, y - picture.height / 2.0) < 2 : y == 0)
                picture.at(x, y)[3] = 0;
}

void comparePeers(const std::vector<Picture>& pictures) {
    const Size size{pictures[0].width, pictures[0].height};
    for (const bool wraps : {true, false}) {
        const polar_circle circle = circleIn(size, kinds[0]);
        polar_options options{};
        options.size = sizeof options;
        options.direction = wraps ? POLAR_WRAP : POLAR_UNWRAP;
        options.circle = &circle;
        options.cyclic = 1;
        options.threads = 1;
        auto wanted = bench::reference(pictures, bench::Warp(options, size.width, size.height),
                                       size.width, size.height);
        double sum = 0;
        std::string theirs, ours;
        for (std::size_t i = 0; i < pictures.size(); ++i) {
            double nanoseconds = 0;
            const Picture other = distort(pictures[i], wraps, nanoseconds);
            if (other.width == 0) return;
            sum += nanoseconds / double(pictures.size());
            leaveOut(wanted[i], wraps);
            const auto text = [&](const Picture& picture) {
                char digits[16];
                std::snprintf(digits, sizeof digits, " %.1f", psnr(picture, wanted[i]));
                return std::string(digits);
            };
            theirs += text(other);
            ours += text(render(pictures[i], size, options, POLAR_AREA));
        }
        const double area = times(size, size, options)[1];
        std::printf("| %s |%s | %.0f |%s | %.1f | %.1f |\n", wraps ? "wrap" : "unwrap",
                    theirs.c_str(), sum, ours.c_str(), area, sum / area);
        std::fflush(stdout);
    }
}

void measure(const std::vector<Picture>& pictures, int direction, const Kind& kind, double scale) {
    const Size source{pictures[0].width, pictures[0].height};
    const Size size{int(source.width * scale), int(source.height * scale)};
    const bool wraps = direction == POLAR_WRAP;
    const polar_circle circle = circleIn(wraps ? size : source, kind);
    polar_options options{};
    options.size = sizeof options;
    options.direction = direction;
    options.circle = &circle;
    options.threads = 1;
    const polar_rect whole{0, 0, size.width, size.height};
    options.whole = &whole;
    const Size panorama = wraps ? source : size;
    const auto wanted = bench::reference(
        pictures, bench::Warp(options, panorama.width, panorama.height), size.width, size.height);
    std::printf("| %s, %s, %g |", wraps ? "wrap" : "unwrap", kind.name, scale);
    for (std::size_t i = 0; i < pictures.size(); ++i)
        std::printf(" %.1f (%.1f) |",
                    psnr(render(pictures[i], size, options, POLAR_AREA), wanted[i]),
                    psnr(render(pictures[i], size, options, POLAR_BILINEAR), wanted[i]));
    const auto [bilinear, area] = times(source, size, options);
    std::printf(" %.1f | %.1f | %.1f |\n", area, bilinear, area / bilinear);
    std::fflush(stdout);
}

int writeCrop(const char* path) {
    constexpr int side = 512, shown = 80, zoom = 3, gap = 6, half = shown * zoom;
    constexpr int width = 2 * half + gap;
    const Picture from = bench::grid(2 * side, side);
    polar_options options{};
    options.size = sizeof options;
    options.direction = POLAR_WRAP;
    const polar_rect whole{0, 0, side, side};
    options.whole = &whole;
    const std::array pictures{bytesOf(render(from, {side, side}, options, POLAR_BILINEAR)),
                              bytesOf(render(from, {side, side}, options, POLAR_AREA))};
    std::ofstream file(path, std::ios::binary);
    file << "P6 " << width << ' ' << half << " 255\n";
    for (int y = 0; y < half; ++y)
        for (int x = 0; x < width; ++x) {
            const bool isArea = x >= half + gap, isGap = x >= half && !isArea;
            const int column = (x - (isArea ? half + gap : 0)) / zoom + (side - shown) / 2;
            const int row = y / zoom + (side - shown) / 2;
            const auto* const pixel =
                &pictures[isArea][std::size_t{4} * unsigned(row * side + column)];
            for (int c = 0; c < 3; ++c) file.put(static_cast<char>(isGap ? 255 : pixel[c]));
        }
    return file.good() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--crop") return writeCrop(argv[2]);
    const int side = argc > 1 ? std::atoi(argv[1]) : 512;
    const std::string only = argc > 2 ? argv[2] : "";
    if (side < 16) return 2;
    std::vector<Picture> pictures;
    std::string names, rule;
    for (const bench::Painter& painter : bench::painters) {
        pictures.push_back(painter.paint(side, side));
        names += std::string(" ") + painter.name + " |";
        rule += "---|";
    }
    std::printf(
        "Sources of %dx%d; PSNR in dB, of bilinear sampling in parentheses; ns/pixel:\n\n"
        "| case |%s area | bilinear | ratio |\n|---|%s---|---|---|\n",
        side, side, names.c_str(), rule.c_str());
    for (const int direction : {POLAR_WRAP, POLAR_UNWRAP})
        for (const Kind& kind : kinds)
            for (const double scale : sizes)
                if (only.empty() || only == kind.name) measure(pictures, direction, kind, scale);
    if (!only.empty() && only != "ImageMagick") return 0;
    std::printf(
        "\n| | ImageMagick: dB | ns/pixel | Polar: dB | ns/pixel | ratio |\n"
        "|---|---|---|---|---|---|\n");
    comparePeers(pictures);
}
