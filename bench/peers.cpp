// The library beside cv::warpPolar:
//   peers [INSTRUCTION_SET [SIZE]]

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "bench/comparison.h"

namespace {

class WarpPolar : public bench::Peer {
  public:
    const char* name() const override { return "warpPolar"; }
    bool has(const bench::Format& format) const override { return typeOf(format.code) != -1; }
    void useThreads(int threads) override {
        cv::setNumThreads(threads == 0 ? -1 : threads);  // its own default
    }
    void render(const bench::Frame& input, const bench::Frame& output,
                const polar_options& options) override {
        const polar_image& image = input.image();
        const polar_circle& circle = *options.circle;
        const cv::Size size(image.width, image.height);
        const cv::Mat from(size, typeOf(image.format), image.pixels);
        cv::Mat to(size, from.type(),
                   output.image().pixels);  // wrapping, it takes memory of its own
        int flags = cv::WARP_POLAR_LINEAR;
        flags |= options.sampling == POLAR_NEAREST ? cv::INTER_NEAREST : cv::INTER_LINEAR;
        if (options.direction == POLAR_WRAP) flags |= cv::WARP_INVERSE_MAP;
        cv::warpPolar(from, to, size, cv::Point2d(circle.center_x, circle.center_y),
                      circle.radius_x, flags);
    }

  private:
    static int typeOf(int format) {
        switch (format) {
            case POLAR_RGBA8:
                return CV_8UC4;
            case POLAR_RGBA16:
                return CV_16UC4;
            case POLAR_RGBA_FLOAT:
                return CV_32FC4;
            default:
                return -1;
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    std::printf("OpenCV %s\n", CV_VERSION);
    WarpPolar peer;
    // Not the largest, of which nobody expects anything else than of the one before.
    return compare(peer, std::span(bench::sizes).first(4), argc > 1 ? argv[1] : "",
                   argc > 2 ? argv[2] : "");
}
