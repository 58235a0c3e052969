// The effects of the OpenFX binary beside the command line.

#include <dlfcn.h>

#include "tests/CliTest.h"
#include "tests/OfxHost.h"

namespace {

constexpr int width = 91, height = 64;

TEST_F(Cli, HostsOfOpenFxGetItsPixels) {
    void* const library = dlopen(POLAR_OPENFX, RTLD_NOW | RTLD_LOCAL);
    auto* const plugin = reinterpret_cast<ofx::Plugin* (*)(int)>(dlsym(library, "OfxGetPlugin"));
    const auto read = [&](const std::string& name, TypeDesc type) {
        std::vector<unsigned char> bytes(width * height * 4 * type.size());
        EXPECT_TRUE(load(name).get_pixels(OIIO::ROI(0, width, 0, height), type, bytes.data()));
        return bytes;
    };
    const std::tuple<TypeDesc, const char*, const char*> depths[] = {
        {TypeDesc::UINT8, ".png", "OfxBitDepthByte"},
        {TypeDesc::UINT16, ".png", "OfxBitDepthShort"},
        {TypeDesc::FLOAT, ".tif", "OfxBitDepthFloat"}};
    const char* const samplings[] = {"bilinear", "nearest", "area"};
    for (const auto& [type, extension, depth] : depths)
        for (int way = 0; way < 6; ++way) {
            const std::string from = std::string("in") + extension, to = "out" + from;
            save(from, {width, height, 4, type}, scattered(255, 4));
            runWell(std::string(way % 2 ? "wrap " : "unwrap ") + from + " -o " + to +
                    " --overwrite --sampling " + samplings[way / 2]);
            std::vector<unsigned char> input = read(from, type), output(input.size());
            OfxHost host(*plugin(way % 2));
            ASSERT_EQ(host.load(), ofx::statusOk);
            ofx::EffectRecord effect = host.describe();
            effect.parameters.all.at("sampling").value = way / 2;
            // Pictures lie in memory from the top, and hosts count from the bottom.
            const int rowBytes = int(input.size()) / height;
            for (auto& [name, clip] : effect.clips) {
                auto& pixels = name == "Source" ? input : output;
                clip.image.values = {{"OfxImagePropData", {&pixels[pixels.size() - rowBytes]}},
                                     {"OfxImagePropBounds", {0, 0, width, height}},
                                     {"OfxImagePropRowBytes", {-rowBytes}},
                                     {"OfxImageEffectPropPixelDepth", {depth}},
                                     {"OfxImageEffectPropComponents", {ofx::rgba}}};
            }
            ASSERT_EQ(host.call(ofx::action::render, &effect, &effect.properties), ofx::statusOk);
            EXPECT_TRUE(output == read(to, type)) << depth << way;
        }
    dlclose(library);
}

}  // namespace
