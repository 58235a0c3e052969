// Renders a picture through both effects of an OpenFX binary, in every depth, and says how long
// that takes: `openfx_render BINARY INPUT WIDTH HEIGHT OUTPUT`. INPUT holds RGBA of 8 bits, and
// OUTPUT gets all that is rendered, so that the bytes of two systems can be compared.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "hosting/loader.h"
#include "tests/OfxHost.h"

namespace {

// The same values as numbers of another type.
template <class Component>
std::vector<Component> widened(const std::vector<char>& bytes, Component unit) {
    std::vector<Component> values;
    for (const char byte : bytes)
        values.push_back(static_cast<Component>(static_cast<unsigned char>(byte) * unit));
    return values;
}

template <class Component>
bool render(ofx::Plugin& plugin, const char* depth, std::vector<Component> input, int width,
            int height, std::ofstream& file) {
    std::vector<Component> output(input.size());
    OfxHost host(plugin);
    if (host.load() != ofx::statusOk) return false;
    ofx::EffectRecord effect = host.describe();
    const int rowBytes = width * 4 * int(sizeof(Component));
    for (auto& [name, clip] : effect.clips) {
        auto& pixels = name == "Source" ? input : output;
        clip.image.values = {{"OfxImagePropData", {&pixels[std::size_t(height - 1) * width * 4]}},
                             {"OfxImagePropBounds", {0, 0, width, height}},
                             {"OfxImagePropRowBytes", {-rowBytes}},
                             {"OfxImageEffectPropPixelDepth", {depth}},
                             {"OfxImageEffectPropComponents", {ofx::rgba}}};
    }
    double best = 1e9;
    for (int time = 0; time < 9; ++time) {
        const auto start = std::chrono::steady_clock::now();
        if (host.call(ofx::action::render, &effect, &effect.properties) != ofx::statusOk)
            return false;
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        best = std::min(best, taken.count());
    }
    std::printf("%s %s: %.2f ns/pixel\n", plugin.identifier, depth, best * 1e9 / width / height);
    file.write(reinterpret_cast<const char*>(output.data()),
               std::streamsize(output.size() * sizeof(Component)));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) return 2;
    const int width = std::atoi(argv[3]), height = std::atoi(argv[4]);
    std::ifstream from(argv[2], std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(from), {});
    if (width < 1 || height < 1 || bytes.size() != std::size_t(width) * height * 4) return 2;
    void* const library = hosting::loadLibrary(argv[1]);
    auto* const get =
        reinterpret_cast<ofx::Plugin* (*)(int)>(hosting::symbolOf(library, "OfxGetPlugin"));
    std::ofstream file(argv[5], std::ios::binary);
    bool isDone = true;
    for (const int effect : {0, 1}) {
        ofx::Plugin& plugin = *get(effect);
        isDone = isDone &&
                 render<unsigned char>(plugin, "OfxBitDepthByte", widened<unsigned char>(bytes, 1),
                                       width, height, file) &&
                 render<std::uint16_t>(plugin, "OfxBitDepthShort",
                                       widened<std::uint16_t>(bytes, 257), width, height, file) &&
                 render<float>(plugin, "OfxBitDepthFloat", widened<float>(bytes, 1 / 255.0f), width,
                               height, file);
    }
    return isDone && file.flush() ? 0 : 1;
}
