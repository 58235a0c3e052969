// Draws the icons of the OpenFX effects: the landscape of a panorama stored on its head, upright,
// and as the little planet that it becomes. Usage: draw_icons PANORAMA FOLDER
#include <OpenImageIO/imagebufalgo.h>

#include <cstdio>
#include <string>

#include "library/polar.h"

namespace {

constexpr int kDrawn = 1024, kSize = 128;  // pixels across

polar_image imageOf(OIIO::ImageBuf& buffer) {
    return {buffer.localpixels(), kDrawn, kDrawn, 0, POLAR_RGBA8, POLAR_STRAIGHT};
}

bool write(const OIIO::ImageBuf& drawn, int height, const std::string& path) {
    const OIIO::ROI all(0, kSize, 0, kSize, 0, 1, 0, 4);
    const OIIO::ROI middle(0, kSize, (kSize - height) / 2, (kSize + height) / 2, 0, 1, 0, 4);
    OIIO::ImageBuf scaled =
        OIIO::ImageBufAlgo::resize(drawn, "box", 0, {0, kSize, 0, height, 0, 1, 0, 4});
    OIIO::ImageBuf icon(OIIO::ImageSpec(kSize, kSize, 4, OIIO::TypeDesc::UINT8));
    return OIIO::ImageBufAlgo::zero(icon, all) &&
           OIIO::ImageBufAlgo::paste(icon, 0, middle.ybegin, 0, 0, scaled) && icon.write(path);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const OIIO::ImageBuf panorama(argv[1]);
    const int order[] = {0, 1, 2, -1};
    const float full[] = {0, 0, 0, 1};
    OIIO::ImageBuf flat =
        OIIO::ImageBufAlgo::resize(OIIO::ImageBufAlgo::channels(panorama, 4, order, full), "box", 0,
                                   {0, kDrawn, 0, kDrawn, 0, 1, 0, 4});
    OIIO::ImageBuf round(OIIO::ImageSpec(kDrawn, kDrawn, 4, OIIO::TypeDesc::UINT8));
    OIIO::ImageBuf source = flat.copy(OIIO::TypeDesc::UINT8);
    const polar_image from = imageOf(source), to = imageOf(round);
    polar_options options{};
    options.direction = POLAR_WRAP;
    const std::string folder = std::string(argv[2]) + "/org.libpolar.";
    const bool isDone =
        polar_render(&from, &to, &options) == POLAR_OK &&
        write(round, kSize, folder + "RectangularToPolar.png") &&
        write(OIIO::ImageBufAlgo::flip(source), kSize * 3 / 4, folder + "PolarToRectangular.png");
    if (!isDone) std::fprintf(stderr, "draw_icons: %s\n", OIIO::geterror().c_str());
    return isDone ? 0 : 1;
}
