// The OpenFX binary in a host.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>
#include <sstream>

#include "hosting/loader.h"
#include "tests/OfxFrame.h"

namespace {

using namespace ofx;
namespace fs = std::filesystem;

const fs::path binary = POLAR_OPENFX;

Plugin& plugin(int index) {
    static void* const library = hosting::loadLibrary(binary);
    static auto* const get =
        reinterpret_cast<Plugin* (*)(int)>(hosting::symbolOf(library, "OfxGetPlugin"));
    return *get(index);
}

// A loaded effect.
struct Effects : testing::TestWithParam<int> {
    Effects() {
        OfxHost::manners() = {};
        EXPECT_EQ(host.load(), statusOk);
        options.size = sizeof options;
        options.direction = direction;
    }

    // Of one piece.
    OfxFrame frame(int format, int alpha, int width = 97, int height = 61) {
        const RectI all{0, 0, width, height};
        return OfxFrame(host.describe(), {format, alpha, all, all, all, all});
    }

    const int direction = GetParam();
    OfxHost host{plugin(direction)};
    polar_options options{};
};
INSTANTIATE_TEST_SUITE_P(OpenFx, Effects, testing::Values(POLAR_UNWRAP, POLAR_WRAP));

TEST_P(Effects, SayWhatTheyAreForEver) {
    const EffectRecord record = host.describe();
    std::ostringstream told;
    const auto tell = [&](const PropertySetRecord& properties, const std::string& name) {
        for (const auto& value : properties.values.at("Ofx" + name))
            std::visit([&](const auto& plain) { told << plain << ' '; }, value);
    };
    for (const char* const name :
         {"PropSupportedContexts", "PropSupportedPixelDepths", "PluginPropGrouping",
          "PluginRenderThreadSafety", "PluginPropHostFrameThreading", "PropSupportsTiles",
          "PluginPropFieldRenderTwiceAlways"})
        tell(record.properties, std::string("ImageEffect") + name);
    for (const auto& [name, clip] : record.clips) {
        told << '\n' << name << ' ';
        tell(clip.properties, "ImageEffectPropSupportsTiles");
        tell(clip.properties, "ImageEffectPropSupportedComponents");
    }
    for (const auto& [name, parameter] : record.parameters.all) {
        EXPECT_GT(parameter.properties.at<std::string>("OfxParamPropHint").size(), 20u);
        told << '\n' << name << ' ';
        for (const char* const of :
             {"Animates", "Default", "Min", "Max", "DisplayMin", "DisplayMax"})
            tell(parameter.properties, std::string("ParamProp") + of);
        if (std::holds_alternative<int>(parameter.value))
            tell(parameter.properties, "ParamPropChoiceOption");
    }
    EXPECT_EQ(told.str(),
              "OfxImageEffectContextFilter OfxImageEffectContextGeneral OfxBitDepthByte "
              "OfxBitDepthShort OfxBitDepthFloat Distort OfxImageEffectRenderFullySafe 0 0 0 \n"
              "Output 0 OfxImageComponentRGBA OfxImageComponentRGB \n"
              "Source 0 OfxImageComponentRGBA OfxImageComponentRGB \n"
              "amount 1 1 0 1 0 1 \n"
              "angle 1 0 -1e+06 1e+06 -360 360 \n"
              "centreX 1 0.5 -10 10 0 1 \n"
              "centreY 1 0.5 -10 10 0 1 \n"
              "direction 0 0 0 0 0 0 Automatic Clockwise Counterclockwise \n"
              "ground 0 0 0 0 0 0 Top Bottom \n"
              "innerRadius 1 0 0 0.999 0 0.999 \n"
              "radius 1 1 0.001 100 0.001 2 \n"
              "sampling 0 0 0 0 0 0 Bilinear Nearest Area \n"
              "shape 0 0 0 0 0 0 Ellipse Circle ");
    const Plugin& effect = host.plugin;
    const std::string label =
        direction == POLAR_WRAP ? "Rectangular to Polar" : "Polar to Rectangular";
    EXPECT_EQ(record.properties.at<std::string>("OfxPropLabel"), label);
    const std::string identifier =
        std::string("org.libpolar.") +
        (direction == POLAR_WRAP ? "RectangularToPolar" : "PolarToRectangular");
    EXPECT_EQ(std::string(effect.api) + effect.identifier + std::to_string(effect.major),
              "OfxImageEffectPluginAPI" + identifier + "1");
    const fs::path icons = binary.parent_path().parent_path() / "Resources";
    EXPECT_GT(fs::file_size(icons / (identifier + ".png")), 1000u);
    EXPECT_EQ(record.properties.at<std::string>("OfxPropIcon", 1), identifier + ".png");
}

// The whole frame, as it comes out of the command line: one render of the library, all defaults,
// whatever the host's threads do.
TEST_P(Effects, GiveTheLibrarysPixels) {
    int cases = 0;
    for (const int format :
         {POLAR_RGBA8, POLAR_RGBA16, POLAR_RGBA_FLOAT, POLAR_RGB8, POLAR_RGB16, POLAR_RGB_FLOAT})
        for (const int sampling : {POLAR_BILINEAR, POLAR_NEAREST, POLAR_AREA})
            for (const int alpha : {0, 1, 2, 3}) {
                OfxFrame all = frame(format, alpha, 397, 331);
                all.instance.parameters.all.at("sampling").value = options.sampling = sampling;
                OfxHost::manners().threads = static_cast<OfxManners::Threads>(cases++ / 4 % 4);
                ASSERT_EQ(all.render(host), statusOk);
                ASSERT_NO_THROW(all.requireResult(&options)) << format << alpha << sampling;
            }
}

TEST_P(Effects, DoWhatTheirParametersSay) {
    const struct {
        std::map<std::string, std::variant<int, double>> values;
        polar_circle circle;  // counterclockwise from straight up
        double pixelAspect = 1, amount = 1;
        bool isGroundBottom = false;
    } cases[] = {
        {{{"angle", 450.0}}, {48.5, 30.5, 48.5, 30.5, 0, 0.25, 1, 0}},
        {{{"amount", 0.25}}, {48.5, 30.5, 48.5, 30.5, 0, 0, 1, 0}, 1, 0.25},
        {{{"amount", -7.0}}, {48.5, 30.5, 48.5, 30.5, 0, 0, 1, 0}, 1, 0},
        {{{"centreX", 0.25}, {"centreY", 0.25}}, {24.25, 45.75, 48.5, 30.5, 0, 0, 1, 0}},
        {{{"radius", 0.5}, {"innerRadius", 0.25}}, {48.5, 30.5, 24.25, 15.25, 0.25, 0, 1, 0}},
        {{{"shape", 1}}, {48.5, 30.5, 30.5, 30.5, 0, 0, 1, 0}},
        {{{"shape", 1}}, {48.5, 30.5, 15.25, 30.5, 0, 0, 1, 0}, 2},
        {{{"shape", 1}}, {48.5, 30.5, 48.5, 24.25, 0, 0, 1, 0}, 0.5},
        {{{"direction", 1}}, {48.5, 30.5, 48.5, 30.5, 0, 0, 1, 1}},
        {{{"ground", 1}}, {48.5, 30.5, 48.5, 30.5, 0, 0, 1, 1}, 1, 1, true},
        {{{"ground", 1}, {"direction", 2}}, {48.5, 30.5, 48.5, 30.5, 0, 0, 1, 0}, 1, 1, true},
    };
    for (const auto& [values, circle, pixelAspect, amount, isGroundBottom] : cases) {
        OfxFrame all = frame(POLAR_RGBA16, POLAR_STRAIGHT);
        for (const auto& [name, value] : values) all.instance.parameters.all.at(name).value = value;
        all.instance.clips["Source"].properties.values["OfxImagePropPixelAspectRatio"] = {
            pixelAspect};
        options.circle = &circle;
        options.amount = &amount;
        ASSERT_EQ(all.render(host), statusOk);
        EXPECT_NO_THROW(all.requireResult(&options, isGroundBottom)) << values.begin()->first;
    }
}

TEST_P(Effects, AnswerCleanlyWhateverIsMissing) {
    using Spoil = std::function<void(OfxFrame&, OfxManners&)>;
    const auto lacks = [](const char* name) {
        return [=](OfxFrame&, OfxManners& manners) { manners.missing = {name}; };
    };
    const std::pair<Status, Spoil> cases[] = {
        {statusOk, lacks("OfxImagePropRegionOfDefinition")},
        {statusOk, lacks("OfxImageEffectPropRenderWindow")},
        {statusOk, [](OfxFrame&, OfxManners& m) { m.tellsValues = false; }},
        {statusOk, [](OfxFrame& f, OfxManners&) { f.instance.parameters.all.clear(); }},
        {statusFailed, lacks("OfxImagePropBounds")},
        {statusFailed, lacks("OfxImagePropRowBytes")},
        {statusErrImageFormat, lacks("OfxImageEffectPropPixelDepth")},
        {statusErrImageFormat,
         [](OfxFrame& f, OfxManners&) {
             f.instance.clips["Output"].image.values["OfxImageEffectPropComponents"] = {rgb};
         }},
        {statusFailed,
         [](OfxFrame& f, OfxManners&) { f.instance.clips["Output"].hasImage = false; }},
        {statusFailed, [](OfxFrame&, OfxManners& m) { m.callsLeft = 12; }},
        {statusErrMemory,
         [](OfxFrame& f, OfxManners&) {
             auto& values = f.instance.clips["Source"].image.values;
             values["OfxImagePropBounds"] = {0, 0, 1 << 30, 1 << 30};
             values["OfxImagePropRegionOfDefinition"] = {0, 0, 1 << 30, 1 << 30};
             values["OfxImagePropRowBytes"] = {16};
             values["OfxImagePropData"] = {
                 reinterpret_cast<void*>(std::uintptr_t{1} << 44)};  // far from all else
         }},
    };
    for (const auto& [status, spoil] : cases) {
        OfxFrame all = frame(POLAR_RGBA_FLOAT, POLAR_PREMULTIPLIED);
        spoil(all, OfxHost::manners());
        EXPECT_EQ(all.render(host), status) << &status - &cases[0].first;
        OfxHost::manners() = {};
        for (const auto& [name, clip] : all.instance.clips) EXPECT_EQ(clip.held, 0) << name;
        if (status == statusOk)
            EXPECT_NO_THROW(all.requireResult(&options));
        else
            EXPECT_TRUE(all.output.isUntouched());
    }
    // An abort leaves what is done; nothing to bend is nothing to see.
    OfxFrame all = frame(POLAR_RGBA8, POLAR_STRAIGHT, 600, 600);
    all.instance.pollsLeft = 3;
    OfxHost::manners().processors = 1;
    EXPECT_EQ(all.render(host), statusOk);
    const auto found = all.output.pixels();
    EXPECT_GT(std::count(found.begin(), found.end(), 0xA5), 600 * 600);
    all.instance.clips["Source"].hasImage = false;
    EXPECT_EQ(all.render(host), statusOk);
    EXPECT_EQ(all.output.pixels(), std::vector<unsigned char>(found.size()));

    for (const char* const suite :
         {"OfxPropertySuite", "OfxImageEffectSuite", "OfxParameterSuite", ""}) {
        OfxHost::manners().missing = {suite};
        OfxHost::manners().hasEmptySuites = *suite == 0;
        EXPECT_EQ(host.load(), statusErrMissingHostFeature) << suite;
    }
    EXPECT_EQ(host.call("OfxActionDescribe", nullptr), statusErrBadHandle);
    EXPECT_EQ(host.call("OfxImageEffectActionIsIdentity", &all.instance), statusReplyDefault);
}

TEST_P(Effects, TellWhereTransparencyAppears) {
    for (const auto& [alpha, format, status] :
         {std::tuple<int, int, Status>(POLAR_OPAQUE, POLAR_RGBA8, statusOk),
          {POLAR_OPAQUE, POLAR_RGB8, statusReplyDefault},
          {POLAR_STRAIGHT, POLAR_RGBA8, statusReplyDefault},
          {POLAR_PREMULTIPLIED, POLAR_RGBA_FLOAT, statusReplyDefault}}) {
        OfxFrame all = frame(format, alpha);
        PropertySetRecord out;
        const auto ask = [&](const char* action) {
            return host.call(action, &all.instance, &all.arguments, &out);
        };
        EXPECT_EQ(ask(action::getClipPreferences), status);
        EXPECT_EQ(out.values.contains("OfxImageEffectPropPreMultiplication"), status == statusOk);
        EXPECT_EQ(ask(action::getRegionsOfInterest), statusOk);
        EXPECT_EQ(out.at<double>("OfxImageClipPropRoI_Source", 2), 48.5);
        all.instance.clips["Source"].region.x2 = INT_MAX;
        EXPECT_EQ(ask(action::getRegionsOfInterest), statusReplyDefault);
    }
}

TEST_P(Effects, EndAnyLifeWell) {
    for (unsigned life = 0; life < 1500; ++life)
        ASSERT_NO_THROW(anyOfxLife(randomBytes(life, 160), host.plugin, direction)) << life;
}

// Load and Describe for every frame, and several frames at once.
TEST(OpenFx, FourThreadsRenderAtOnceAsAlone) {
    std::vector<std::future<void>> threads;
    for (unsigned thread = 0; thread < 4; ++thread)
        threads.push_back(std::async(std::launch::async, [=] {
            for (unsigned life = 0; life < 100; ++life)
                anyOfxLife(randomBytes(thread + life, 160), plugin(life % 2), int(life % 2));
        }));
    for (auto& thread : threads) EXPECT_NO_THROW(thread.get());
}

// By hand, on a machine at rest: an effect's time beside the library's, in turns.
TEST_P(Effects, DISABLED_TakeTheLibrarysTime) {
    OfxFrame all = frame(POLAR_RGBA_FLOAT, POLAR_STRAIGHT, 3840, 2160);
    std::vector<double> times[2];
    for (int turn = 0; turn < 82; ++turn) {
        const auto start = std::chrono::steady_clock::now();
        ASSERT_EQ(turn % 2 ? polar_render(&all.input.image, &all.output.image, &options)
                           : all.render(host),
                  0);
        const std::chrono::duration<double, std::milli> passed =
            std::chrono::steady_clock::now() - start;
        times[turn % 2].push_back(passed.count());
    }
    for (auto& each : times) std::ranges::nth_element(each, each.begin() + 20);
    std::printf("OpenFX %.2f ms, the library %.2f ms, ratio %.3f\n", times[0][20], times[1][20],
                times[0][20] / times[1][20]);
}

}  // namespace
