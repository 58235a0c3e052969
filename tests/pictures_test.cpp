// What becomes of picture files.

#include "pictures/FileError.h"
#include "pictures/encoding.h"
#include "tests/CliTest.h"

namespace {

// Nearest sampling moves pixels as they are, through every depth and either kind of alpha.
TEST_F(Cli, NearestMovesPixelsUnchanged) {
    // Name, type, bits of a 16-bit type, steps and channels.
    const std::tuple<std::string, TypeDesc, int, unsigned, int> cases[] = {
        {"a.png", TypeDesc::UINT8, 0, 255, 3},    {"b.png", TypeDesc::UINT8, 0, 255, 4},
        {"c.png", TypeDesc::UINT16, 0, 65535, 4}, {"d.tif", TypeDesc::UINT16, 0, 65535, 4},
        {"e.dpx", TypeDesc::UINT16, 10, 1023, 3}, {"f.dpx", TypeDesc::UINT16, 12, 4095, 3},
        {"g.tif", TypeDesc::UINT16, 10, 1023, 4}, {"h.tga", TypeDesc::UINT8, 0, 255, 4},
        {"i.exr", TypeDesc::HALF, 0, 64, 4},      {"j.exr", TypeDesc::FLOAT, 0, 4096, 4},
        {"k.bmp", TypeDesc::UINT8, 0, 255, 4},
    };
    const std::vector<float> transparent(4);
    for (const auto& [name, type, bits, steps, channels] : cases) {
        OIIO::ImageSpec spec(100, 100, channels, type);
        if (bits != 0) spec.attribute("oiio:BitsPerSample", bits);
        save(name, spec, scattered(steps, channels));
        runWell("unwrap " + name + " -o o." + name + " --sampling nearest");
        const OIIO::ImageBuf in = load(name), out = load("o." + name);
        EXPECT_EQ(out.nativespec().format, type) << name;
        EXPECT_EQ(out.spec().get_int_attribute("oiio:BitsPerSample"),
                  in.spec().get_int_attribute("oiio:BitsPerSample"))
            << name;
        EXPECT_EQ(pixel(out, 0, 50), pixel(in, 50, 25)) << name;
        EXPECT_EQ(pixel(out, 25, 50), pixel(in, 25, 50)) << name;
        std::set<std::vector<float>> known{transparent};
        for (int i = 0; i < 10000; ++i) known.insert(pixel(in, i % 100, i / 100));
        for (int i = 0; i < 9900; ++i)  // the last alpha of a row of 10-bit DPX is not readable
            ASSERT_TRUE(known.contains(pixel(out, i % 99, i / 99))) << name << i;
    }
}

// Whatever a format's own conventions, its reader finds colour x alpha, and two runs give one file.
TEST_F(Cli, EveryFormatHoldsThePicture) {
    const std::vector<float> straight{0.8f, 0.4f, 0.2f, 0.4f};
    save("in.png", {64, 64, 4, TypeDesc::UINT8}, straight);
    for (const std::string type : {"png", "tif", "tga", "exr", "dpx", "sgi", "webp", "ppm"})
        for (const std::string depth : {"uint12", "half"}) {
            const std::string wrap = "polar unwrap -q in.png --depth " + depth + " -o ";
            const Outcome outcome = shell("mkdir -p a b && " + wrap + "a/o." + type + " && " +
                                          wrap + "b/o." + type + " && diff a b");
            EXPECT_EQ(outcome.status, 0) << type << depth << outcome.out << outcome.err;
            // Some versions of the picture library associate the alpha of PNG in light.
            const bool isStraight = type == "png";
            const OIIO::ImageBuf out = load("a/o." + type, !isStraight);
            const bool hasAlpha = out.nchannels() == 4;
            const std::vector<float> associated{0.32f, 0.16f, 0.08f, hasAlpha ? 0.4f : 1};
            expectNear(pixel(out, 32, 10), isStraight ? straight : associated, 0.015, type);
            if (!hasAlpha) continue;
            runWell("wrap -q a/o." + type + " -o back.png");
            expectNear(pixel(load("back.png"), 32, 40), straight, 0.03, type + depth);
        }
}

TEST_F(Cli, FormatsWithoutAlphaOrDepthSayWhatTheyLose) {
    save("in.tif", {64, 64, 4, TypeDesc::UINT16}, {0.5f, 1, 0, 0.5f});
    EXPECT_EQ(run("wrap in.tif -o o.jpg").all(),
              "0polar: o.jpg: JPEG holds no alpha; the picture lies over black\n"
              "polar: o.jpg: JPEG holds 8 bits a component; the picture has 16\n");
    expectNear(pixel(load("o.jpg"), 32, 16), {0.25f, 0.5f, 0, 1}, 0.02, "coverage of a half");
    runWell("unwrap in.tif -o o.dpx --format rgba12");
    runWell("unwrap o.dpx -o deep.dpx --format rgba16");
    EXPECT_EQ(run("unwrap in.tif -o o.png --format float").err,
              "polar: o.png: PNG holds 16 bits a component; the picture has floats\n");
    EXPECT_EQ(load("o.dpx").spec().get_int_attribute("oiio:BitsPerSample"), 12);
    EXPECT_EQ(load("deep.dpx").spec().get_int_attribute("oiio:BitsPerSample"), 16);
    EXPECT_EQ(load("o.png").nativespec().format, TypeDesc::UINT16);
}

// Unwrapping 8x8 pixels, the second row's third pixel lies half way between two columns. Colour is
// weighted by its own alpha, the rest is plain numbers; names stay.
TEST_F(Cli, ChannelsKeepTheirMeaning) {
    using Floats = std::vector<float>;
    const std::tuple<std::string, std::string, Floats, std::string, std::string, Floats> cases[] = {
        {"grey.tif", "Y", {0.2f, 0.4f}, "", "Y", {0.3f}},
        {"greyAlpha.png", "Y,A", {0.4f, 0, 0.2f, 1}, "", "Y,A", {0.1f, 0.5f}},
        {"plain.tif", "U,V", {0.2f, 0, 0.6f, 1}, "", "R,G", {0.4f, 0.5f}},
        {"uv.exr", "U,V", {-1, 0, 2, 1}, "", "U,V", {0.5f, 0.5f}},
        {"z.exr", "Z", {3, 5}, "", "Z", {4}},
        {"normal.exr", "X,Y,Z", {1, 2, 3, 3, 4, 5}, "", "X,Y,Z", {2, 3, 4}},
        {"grey.exr", "Y,A", {1, 0, 0.5f, 1}, "", "Y,A", {0.25f, 0.5f}},
        {"five.exr", "k,l,m,n,o", {1, 2, 3, 4, 5, 3, 4, 5, 6, 7}, "", "k,l,m,n,o", {2, 3, 4, 5, 6}},
        {"all.exr",
         "R,G,B,A,N.x,s.R,s.G,s.B,s.A,t.R,t.G,t.B",
         {9, 9, 9, 0, 2, 0, 1, 0, 1, 1, 1, 1, 1, 0.5f, 0, 1, 4, 9, 9, 9, 0, 3, 4, 5},
         "",
         "R,G,B,A,N.x,s.R,s.G,s.B,s.A,t.R,t.G,t.B",
         {0.5f, 0.25f, 0, 0.5f, 3, 0, 0.5f, 0, 0.5f, 2, 2.5f, 3}},
        {"b.exr", "R,b.R,b.G,b.B", {9, 1, 0, 0.5f}, "--layer b", "R,G,B", {1, 0, 0.5f}},
        {"c.exr", "R,c.Z,c.y", {9, 1, 2}, "--layer c.y", "c.y", {2}},
    };
    for (const auto& [file, names, in, options, outNames, out] : cases) {
        const auto channels = OIIO::Strutil::splits(names, ",");
        OIIO::ImageSpec spec(8, 8, int(channels.size()), TypeDesc::FLOAT);
        spec.channelnames = channels;
        if (channels.back() == "A") spec.alpha_channel = 1;
        save(file, spec, in);
        runWell("unwrap " + file + " -o o.exr --depth float " + options);
        const OIIO::ImageBuf result = load("o.exr");
        EXPECT_EQ(OIIO::Strutil::join(result.spec().channelnames, ","), outNames) << file;
        std::vector<float> samples(out.size());
        result.getpixel(2, 1, samples.data(), int(out.size()));
        expectNear(samples, out, 3e-3, file);
    }
    for (const std::string sampling : {"bilinear", "nearest"}) {  // below, where half is missing
        runWell("unwrap z.exr -o o.exr --sampling " + sampling);
        EXPECT_EQ(pixel(load("o.exr"), 4, 7)[0], 3);
    }
    EXPECT_EQ(run("unwrap all.exr -o o.png -q").all(), "0");
    EXPECT_EQ(run("unwrap all.exr -o o.tif").all(), "0");
    EXPECT_EQ(load("o.tif").nchannels(), 12);
    EXPECT_TRUE(run("unwrap all.exr -o o.png")
                    .err.starts_with("polar: o.png: PNG holds one picture; not written: s.R, s.G"));
    runBadly("unwrap uv.exr -o x.png", 1, "x.png: PNG holds no pairs of channels that are no");
}

TEST_F(Cli, AllPartsOrTheOneAskedForAreRendered) {
    OIIO::ImageSpec parts[] = {{8, 8, 2, TypeDesc::FLOAT}, {8, 8, 3, TypeDesc::HALF}};
    parts[0].channelnames = {"Z", "id"};
    parts[0].channelformats = {TypeDesc::FLOAT, TypeDesc::UINT32};
    parts[0].attribute("oiio:subimagename", "depth");
    parts[1].attribute("oiio:subimagename", "colour");
    const auto output = OIIO::ImageOutput::create("exr");
    const std::string file = (folder / "in.exr").string();
    const std::vector<float> depth(128, 1.0f / 3), one(192, 1);
    ASSERT_TRUE(output->open(file, 2, parts) &&
                output->write_image(TypeDesc::FLOAT, depth.data()) &&
                output->open(file, parts[1], OIIO::ImageOutput::AppendSubimage) &&
                output->write_image(TypeDesc::FLOAT, one.data()) && output->close());
    EXPECT_TRUE(
        run("unwrap in.exr -o all.exr").err.starts_with("polar: in.exr: id: integers of 32"));
    const auto all = OIIO::ImageInput::open((folder / "all.exr").string());
    EXPECT_EQ(all->spec(0).channelformat(0), TypeDesc::FLOAT);
    EXPECT_EQ(all->spec(0).channelformat(1), TypeDesc::UINT32);
    EXPECT_EQ(all->spec(1).format, TypeDesc::HALF);
    EXPECT_EQ(all->spec(1).get_string_attribute("oiio:subimagename"), "colour");
    EXPECT_EQ(pixel(load("all.exr"), 4, 4)[0], 1.0f / 3);
    EXPECT_NEAR(pixel(load("all.exr"), 4, 4)[1], 1.0f / 3, 1e-7);
    EXPECT_TRUE(run("wrap in.exr -o o.png")
                    .err.ends_with(
                        "polar: o.png: PNG holds one part; not written: depth (Z, id)\n"
                        "polar: o.png: PNG holds 16 bits a component; the picture has floats\n"));
    EXPECT_EQ(pixel(load("o.png"), 4, 4), (std::vector<float>{1, 1, 1, 1}));
    runWell("wrap in.exr -o z.exr --layer depth -q");
    EXPECT_EQ(load("z.exr").nchannels(), 2);
    runBadly("wrap in.exr -o x.exr --layer colours", 1,
             "in.exr: no layer colours; it has Z, colour, depth, id; did you mean colour?");
}

// Half of an alpha of 1 is none, and would let white shine over everything; what shines in the file
// stays where pixels are only moved.
TEST_F(Cli, WhatIsNotCoveredDoesNotShine) {
    const std::vector<float> rim{1 / 255.f, 1 / 255.f, 1 / 255.f, 1 / 255.f, 0, 0, 0, 0};
    const std::vector<float> light{0.4f, 0.2f, 0, 0};
    for (const std::string type : {"tif", "dpx", "sgi", "rla", "iff"}) {
        OIIO::ImageSpec spec(8, 8, 4, TypeDesc::UINT8);
        spec.attribute("oiio:UnassociatedAlpha", 0);
        save("rim." + type, spec, rim);
        save("light." + type, spec, light);
        runWell("unwrap rim." + type + " -o o." + type);
        EXPECT_EQ(pixel(load("o." + type, true), 2, 1), std::vector<float>(4)) << type;
        runWell("unwrap light." + type + " -o o." + type + " --sampling nearest");
        expectNear(pixel(load("o." + type, true), 2, 1), light, 1e-6, type);
    }
    runWell("unwrap light.tif -o o.tif --sampling nearest --background 0.2");
    expectNear(pixel(load("o.tif"), 2, 1), {0.6f, 0.4f, 0.2f, 1}, 1e-6, "light before a colour");
    save("thin.exr", {8, 8, 4, TypeDesc::FLOAT}, std::vector<float>(4, 0.001f));
    runWell("unwrap thin.exr -o o.tif --depth uint8 --sampling nearest");
    EXPECT_EQ(pixel(load("o.tif", true), 2, 1), std::vector<float>(4));
    save("deep.tif", {8, 8, 4, TypeDesc::UINT16}, {1, 1, 1, 100 / 65535.f});
    runWell("unwrap deep.tif -o o.exr --format rgba8");
    EXPECT_EQ(pixel(load("o.exr"), 2, 1), std::vector<float>(4));
    save("hidden.png", {8, 8, 4, TypeDesc::UINT8}, {1, 1, 1, 0});
    runWell("unwrap hidden.png -o o.exr --sampling nearest");
    EXPECT_EQ(pixel(load("o.exr"), 2, 1), std::vector<float>(4));
}

// Quarters of 0.2, 0.4 over 0.6, 0.8 as they are stored, and as the tag has them stand: top left,
// top right, bottom left, bottom right.
TEST_F(Cli, PicturesAreTurnedFirst) {
    const std::vector<float> upright[] = {{0.2f, 0.4f, 0.6f, 0.8f}, {0.4f, 0.2f, 0.8f, 0.6f},
                                          {0.8f, 0.6f, 0.4f, 0.2f}, {0.6f, 0.8f, 0.2f, 0.4f},
                                          {0.2f, 0.6f, 0.4f, 0.8f}, {0.6f, 0.2f, 0.8f, 0.4f},
                                          {0.8f, 0.4f, 0.6f, 0.2f}, {0.4f, 0.8f, 0.2f, 0.6f}};
    std::vector<float> stored;
    for (int i = 0; i < 32 * 16; ++i)
        stored.push_back(0.2f + 0.2f * float(i % 32 / 16) + 0.4f * float(i / 256));
    for (int tag = 1; tag <= 8; ++tag)
        for (const std::string type : {"jpg", "tif"}) {
            OIIO::ImageSpec spec(32, 16, 1, TypeDesc::UINT8);
            spec.attribute("Orientation", tag);
            save("in." + type, spec, stored);
            runWell("unwrap in." + type + " -o o." + type);
            const OIIO::ImageBuf out = load("o." + type);
            const int width = tag > 4 ? 16 : 32;
            EXPECT_EQ(out.spec().width, width);
            EXPECT_EQ(out.spec().get_int_attribute("Orientation", 1), 1);
            std::vector<float> found;  // columns go from the top counterclockwise
            for (const int eighth : {1, 7, 3, 5})
                found.push_back(pixel(out, eighth * width / 8, out.spec().height / 2)[0]);
            expectNear(found, upright[tag - 1], 0.02, type + std::to_string(tag));
            runWell("unwrap in." + type + " -o o.tif --sampling nearest --source 8x8 --region 8x8");
            const OIIO::ImageBuf corner = load("o.tif");
            for (int i = 0; i < 64; ++i)
                ASSERT_NEAR(pixel(corner, i % 8, i / 8)[0], upright[tag - 1][0], 0.02) << tag;
        }
}

// Alpha comes only where something can be missing; the colours are those of the picture with it.
TEST_F(Cli, OpaquePicturesStayOpaque) {
    OIIO::ImageSpec grey(30, 40, 1, TypeDesc::UINT8);
    const std::vector<unsigned char> profile(132, 7);
    grey.attribute("ICCProfile", TypeDesc(TypeDesc::UINT8, 132), profile.data());
    save("grey.tif", grey, {0.2f});
    save("rgb.png", {30, 40, 3, TypeDesc::UINT8}, scattered(255, 3));
    save("rgba.png", {30, 40, 4, TypeDesc::UINT8}, {1, 1, 1, 0});
    using Floats = std::vector<float>;
    const std::tuple<std::string, int, Floats> cases[] = {
        // channels, last pixel of the last row
        {"unwrap grey.tif", 1, {0.2f, 1, 1, 1}},
        {"unwrap grey.tif --sampling nearest", 1, {0.2f, 1, 1, 1}},
        {"wrap grey.tif", 2, {0, 0, 1, 1}},
        {"wrap grey.tif --background 0.4", 1, {0.4f, 1, 1, 1}},
        {"wrap grey.tif --background '#ff3300'", 3, {1, 0.2f, 0, 1}},
        {"wrap rgb.png", 4, {0, 0, 0, 0}},
        {"wrap rgb.png --alpha drop", 3, {0, 0, 0, 1}},
        {"wrap rgb.png --background 1,0.4,0 --alpha keep", 4, {0, 0, 0, 0}},
        {"wrap rgba.png --background white", 3, {1, 1, 1, 1}},
        {"unwrap rgb.png --source 30x40-3+0", 4, {}},
        {"unwrap rgb.png --source 20x20+9+9 --sampling nearest", 3, {}},
        {"wrap rgb.png --size 90x120 --radius 300 --amount 0.01 --sampling nearest", 4, {}},
        {"unwrap rgb.png --alpha keep", 4, {}},
        {"unwrap rgb.png", 3, {}},
        {"unwrap rgb.png --sampling nearest --size 99x99", 3, {}},
        {"unwrap rgb.png --sampling area", 3, {}},
        {"unwrap rgb.png --sampling area --size 7x9", 3, {}},
        {"unwrap rgb.png --sampling nearest --amount 0.9", 4, {}},
        {"unwrap rgb.png --amount 0.9 --size 99x99", 3, {}},
        {"unwrap rgb.png --center 9,10 --radius 10", 3, {}},
        {"unwrap rgb.png --center 8.9,10 --radius 10", 4, {}},
        {"unwrap rgb.png --center 21,30 --radius 10", 4, {}},
        {"unwrap rgb.png --center 0,0 --radius 20 --angle 90 --arc 90 --direction cw", 3, {}},
        {"unwrap rgb.png --center 0,0 --radius 20 --angle 90 --arc 91 --direction cw", 4, {}},
        {"unwrap rgb.png --center 30,20 --radius 9 --arc 180", 4, {}},
        {"unwrap rgb.png --arc 180 --scale log --inner-radius 1", 3, {}},
        {"wrap rgb.png --radius 26 --sampling nearest", 3, {}},
        {"wrap rgb.png --radius 25.5", 4, {}},
        {"wrap rgb.png --radius 26 --arc 359", 4, {}},
        {"wrap rgb.png --radius 26 --inner-radius 1", 4, {}},
    };
    for (const auto& [arguments, channels, last] : cases) {
        runWell(arguments + " -o o.tif");
        EXPECT_EQ(load("o.tif").nchannels(), channels) << arguments;
        if (!last.empty()) expectNear(pixel(load("o.tif"), 29, 39), last, 1e-6, arguments);
        EXPECT_EQ(load("o.tif").spec().find_attribute("ICCProfile") != nullptr, channels < 3);
    }
    int missing = 0;
    for (const auto& [arguments, channels, last] : cases) {
        const bool isCompared = arguments.find(" rgb.png") != std::string::npos &&
                                arguments.find("drop") == std::string::npos;
        if (channels != 3 || !isCompared) continue;
        runWell(arguments + " -o a.png --alpha keep");
        runWell(arguments + " -o b.png");
        const OIIO::ImageBuf with = load("a.png"), without = load("b.png");
        const int width = with.spec().width;
        for (int i = 0; i < width * with.spec().height; ++i) {
            const Floats a = pixel(with, i % width, i / width);
            const Floats b = pixel(without, i % width, i / width);
            missing += a[3] == 0;
            if (a[3] > 0)
                ASSERT_EQ(Floats(a.begin(), a.begin() + 3), Floats(b.begin(), b.begin() + 3));
            else
                EXPECT_NE(b, (Floats{0, 0, 0, 1})) << arguments;
        }
    }
    EXPECT_GT(missing, 0);
    runWell("unwrap rgb.png -o o.jpg");
    for (const std::string colour : {"#12345", "red", "1,2", "1,2,3,4", "nan", "", "#12345g"})
        runBadly("wrap rgb.png -o o.png --background '" + colour + "'", 2, "is no colour; #rrggbb");
}

TEST_F(Cli, RegionIsTheCropOfTheWholeAndSourceThatOfTheInput) {
    OIIO::ImageSpec spec(40, 30, 4, TypeDesc::FLOAT);
    spec.x = 5, spec.y = -7, spec.full_width = 200, spec.full_height = 100;
    spec.attribute("Artist", "somebody");
    spec.tile_width = spec.tile_height = 16;
    save("in.exr", spec, scattered(4096, 4));
    for (const std::string command :
         {"unwrap", "wrap", "unwrap --ground bottom", "wrap --ground bottom --cyclic"}) {
        runWell(command + " in.exr -o all.exr");
        runWell(command + " in.exr -o part.exr --region 90x80+50+10");
        const OIIO::ImageBuf all = load("all.exr"), part = load("part.exr");
        EXPECT_EQ(part.roi(), OIIO::ROI(50, 140, 10, 90, 0, 1, 0, 4));
        EXPECT_EQ(OIIO::ImageBufAlgo::compare(all, part, 0, 0, part.roi()).nfail, 0u);
        EXPECT_EQ(part.roi_full(), OIIO::ROI(0, 200, 0, 100, 0, 1, 0, 4));
        EXPECT_EQ(part.spec().get_string_attribute("Artist"), "somebody");

        // With one column without samples and two rows outside of the window.
        OIIO::ImageBuf crop = OIIO::ImageBufAlgo::cut(load("in.exr"), {4, 36, -2, 14});
        ASSERT_TRUE(crop.write((folder / "crop.exr").string()));
        const std::string region = " --region 9x8+11+6";
        runWell(command + " crop.exr -o cropped.exr" + region);
        runWell(command + " in.exr -o source.exr --source 32x16+4-2" + region);
        const OIIO::ImageBuf cropped = load("cropped.exr"), source = load("source.exr");
        EXPECT_EQ(source.roi(), OIIO::ROI(11, 20, 6, 14, 0, 1, 0, 4));
        EXPECT_EQ(source.roi_full(), OIIO::ROI(0, 32, 0, 16, 0, 1, 0, 4));
        EXPECT_EQ(OIIO::ImageBufAlgo::compare(cropped, source, 0, 0).nfail, 0u) << command;
    }
}

// What an OpenEXR file has outside of its window is seen where a source reaches there.
TEST_F(Cli, OverscanIsSource) {
    OIIO::ImageSpec spec(16, 16, 3, TypeDesc::FLOAT);
    spec.x = spec.y = -4;
    spec.full_width = spec.full_height = 8;
    std::vector<float> samples;  // green in the window, red around it
    for (int i = 0; i < 256; ++i) {
        const bool inside = i % 16 / 4 % 3 != 0 && i / 64 % 3 != 0;
        samples.insert(samples.end(), {inside ? 0.f : 1, inside ? 1.f : 0, 0});
    }
    save("in.exr", spec, samples);
    runWell("unwrap in.exr -o o.exr --sampling nearest --source 16x16-4-4");
    EXPECT_EQ(load("o.exr").roi_full(), OIIO::ROI(0, 16, 0, 16, 0, 1, 0, 3));
    EXPECT_EQ(pixel(load("o.exr"), 4, 4), (std::vector<float>{0, 1, 0, 1}));   // 2 from the centre
    EXPECT_EQ(pixel(load("o.exr"), 4, 11), (std::vector<float>{1, 0, 0, 1}));  // 5.5 from it
    runBadly("unwrap in.exr -o o.exr --source 4x4-4-4", 1,
             "--source 4x4-4-4 has nothing of the pi");
}

// Where an OpenEXR file has no samples it is transparent, and what lies outside its window is not
// seen.
TEST_F(Cli, DisplayWindowIsThePicture) {
    OIIO::ImageSpec spec(20, 40, 3, TypeDesc::FLOAT);
    spec.x = 90, spec.y = 80;
    spec.full_x = 80, spec.full_y = 90, spec.full_width = 20, spec.full_height = 20;
    save("in.exr", spec, {1, 0.5f, 0});
    runWell("unwrap in.exr -o o.exr --sampling nearest --attrib compression=piz --depth half");
    const OIIO::ImageBuf out = load("o.exr");
    EXPECT_EQ(out.roi(), OIIO::ROI(80, 100, 90, 110, 0, 1, 0, 4));
    EXPECT_EQ(out.roi_full(), out.roi());
    EXPECT_EQ(pixel(out, 5, 5), std::vector<float>(4));  // a quarter turn: the left half
    EXPECT_EQ(pixel(out, 15, 5), (std::vector<float>{1, 0.5f, 0, 1}));
    EXPECT_EQ(out.spec().get_string_attribute("compression"), "piz");
    EXPECT_EQ(out.nativespec().format, TypeDesc::HALF);
}

TEST(Encoding, WhatTheWriterWouldNotDoIsRefused) {
    // The format, attributes, and all or the start of what is said: nothing, a warning or an error.
    const std::tuple<std::string, decltype(pictures::FileSettings::attributes), std::string>
        cases[] = {
            {"tiff", {{"compression", "PackBits"}, {"tiff:zipquality", "9"}}, ""},
            {"tiff", {{"compression", "foo"}}, "o: --attrib compression=foo; TIFF takes none, lzw"},
            {"tiff", {{"Compression", "zp:3"}}, "o: --attrib Compression=zp:3; TIFF takes none"},
            {"tiff", {{"tiff:zipquality", "0"}}, "o: --attrib tiff:zipquality=0; TIFF takes 1 to"},
            {"tiff", {{"CompressionQuality", "90"}}, ""},
            {"tiff",
             {{"CompressionQuality", "90"}, {"compression", "zip"}},
             "o: --attrib CompressionQuality=90; TIFF takes zip (:1 to 9)"},
            {"tiff",
             {{"quality", "9"}, {"compression", "lzw"}},
             "--attrib quality=9 is metadata alone; TIFF has no such choice of quality"},
            {"openexr", {{"compression", "dwab:5000"}}, ""},
            {"openexr", {{"compression", "dwaa:-1"}}, "o: --attrib compression=dwaa:-1; OpenEXR "},
            {"openexr", {{"compression", "piz:3"}}, "o: --attrib compression=piz:3; OpenEXR takes"},
            {"jpeg", {{"quality", "900"}}, "o: --attrib quality=900; JPEG takes jpeg (:1 to 100)"},
            {"jpeg", {{"compression", "jpeg:90.5"}}, "o: --attrib compression=jpeg:90.5; JPEG "},
            {"jpeg", {{"jpeg:subsampling", "4:4:3"}}, "o: --attrib jpeg:subsampling=4:4:3; JPEG "},
            {"webp", {{"compression", "lossless"}, {"Artist", "foo"}}, ""},
            {"png", {{"png:filter", "12"}}, "o: --attrib png:filter=12; PNG takes 0 to 248 in"},
            {"dpx",
             {{"compression", "rle"}},
             "--attrib compression=rle is metadata alone; DPX has no such choice"},
        };
    for (const auto& [format, attributes, wanted] : cases) {
        std::string said;
        try {
            pictures::FileSettings settings;
            settings.attributes = attributes;
            for (const auto& line : pictures::checkEncoding("o", format, settings)) said += line;
        } catch (const pictures::FileError& error) {
            said = error.what();
        }
        EXPECT_TRUE(said.starts_with(wanted) && said.empty() == wanted.empty()) << said << wanted;
    }
}

TEST_F(Cli, EncodingIsTheOriginalsOrTheOneAskedFor) {
    OIIO::ImageSpec spec(64, 64, 4, TypeDesc::HALF);
    spec.attribute("compression", "rle");
    save("in.exr", spec, scattered(255, 4));
    runWell("wrap in.exr -o same.exr");
    runWell("wrap in.exr -o asked.exr --attrib Compression=ZIPS:9");
    const auto compression = [&](const std::string& file) {
        return std::string(load(file).spec().get_string_attribute("compression"));
    };
    EXPECT_EQ(compression("same.exr"), "rle");
    EXPECT_EQ(compression("asked.exr"), "zips");
}

}  // namespace
