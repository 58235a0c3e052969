// The module as a host sees it: the record, the handlers, memory and faults.

#include <gtest/gtest.h>

#include "tests/TestHost.h"

namespace {

using Calls = std::vector<TestQzLib::Call>;

std::string bytesOf(const VexFilterInstance& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

// After each request the record must hold what that request writes and otherwise, byte for byte,
// what the host left in it.
TEST(Shell, WritesItsFieldsAndNothingElse) {
    for (const auto& [filterIndex, fill] :
         {std::pair<QzLong, int>{0, 0}, {0, 0xC3}, {1, 0}, {7, 0xC3}, {-1, 0}}) {
        SCOPED_TRACE(filterIndex);
        const bool unwraps = filterIndex == 0;
        TestInstance instance(filterIndex, static_cast<unsigned char>(fill));
        VexFilterInstance& record = instance.record;
        VexFilterInstance expected;
        std::memcpy(static_cast<void*>(&expected), &record, sizeof record);

        EXPECT_EQ(instance.entry(1), 1);
        EXPECT_STREQ(record.Name, unwraps ? "Polar to Rectangular..." : "Rectangular to Polar...");
        EXPECT_STREQ(record.Category, "Distort");
        expected.Name = record.Name;
        expected.Category = record.Category;
        expected.InfoWord4 = expected.InfoWord16 = expected.InitWord40 = 2;
        expected.InfoWord20 = 0;
        expected.InitWord36 = 1;
        expected.InfoId92 = unwraps ? 30070 : 30072;
        expected.InfoId96 = 30004;
        EXPECT_EQ(bytesOf(record), bytesOf(expected));

        EXPECT_EQ(instance.entry(2), 1);
        Parameters* const params = expected.Params = record.Params;
        expected.InitHandler = record.InitHandler;
        expected.ExecuteHandler = record.ExecuteHandler;
        expected.SetupValue72 = 1.0;
        EXPECT_EQ(bytesOf(record), bytesOf(expected));

        for (const QzULong selector : {0u, 3u, 9u, 13u, 15u, 0x8000000Au})
            EXPECT_EQ(instance.execute(selector), 1);
        for (const QzULong query : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 0xFFFFFFFFu}) {
            QzLong answer[3] = {-1, -1, -1};
            expected.QuerySelector = record.QuerySelector = query;
            expected.QueryResult = record.QueryResult = &answer[1];
            EXPECT_EQ(instance.execute(14), 1);
            EXPECT_EQ(answer[0] + answer[2], -2);
            EXPECT_EQ(answer[1], query == 5 ? 32767 : -1);
        }
        EXPECT_EQ(record.InitHandler(&record, 3), 1);
        EXPECT_EQ(bytesOf(record), bytesOf(expected));
        EXPECT_EQ(instance.qzlib.calls, (Calls{{"AllocMemQz", params, 4},
                                               {"Service16", params, 12, unwraps ? 0u : 1u},
                                               {"FreeMemQz", params}}));
    }
    EXPECT_EQ(exported<QzLong (*)()>("ExecuteTest")(), 0);
}

TEST(Shell, FailedSetupLeavesTheHandlers) {
    TestInstance instance(1);
    Parameters earlier{};
    instance.record.Params = &earlier;
    instance.qzlib.failing = 0b1;
    EXPECT_EQ(instance.entry(2), 0);
    EXPECT_EQ(instance.record.Params, &earlier);
    EXPECT_EQ(instance.record.SetupValue72, 1.0);
    EXPECT_EQ(instance.execute(13), 1);
    instance.record.Params = nullptr;
    // Cleaning up hands on even the null pointer.
    EXPECT_EQ(instance.record.InitHandler(&instance.record, 3), 1);
    EXPECT_EQ(instance.qzlib.calls, (Calls{{"AllocMemQz", nullptr, 4}, {"FreeMemQz", nullptr}}));
    // What Service16 throws reaches the host.
    instance.qzlib.throwing = 3;
    EXPECT_THROW(instance.entry(2), std::runtime_error);
}

TEST(Shell, KeepsEnginesInTheHostsMemory) {
    for (unsigned code = 0; code < 256; ++code) {
        SCOPED_TRACE(code);
        TestInstance instance(0);
        EXPECT_EQ(instance.entry(2), 1);
        instance.qzlib.calls.clear();
        QzBitmap bitmap{};
        bitmap.bitmapType = static_cast<unsigned char>(code);
        instance.record.OutputBitmap = &bitmap;
        const bool known = code >= 1 && code <= QzFormats::count;
        EXPECT_EQ(instance.execute(10), known);
        const VexFilterEngine* const engine = instance.record.Engine;
        EXPECT_EQ(engine != nullptr, known);
        EXPECT_EQ(instance.execute(12), 1);
        EXPECT_EQ(instance.record.Engine, engine);
        const Calls calls{{"AllocMemQz", engine, 2 * sizeof(void*)}, {"FreeMemQz", engine}};
        EXPECT_EQ(instance.qzlib.calls, known ? calls : Calls{});
        instance.qzlib.failing = 0b100;
        EXPECT_EQ(instance.execute(10), 0);
        EXPECT_EQ(instance.record.Engine, nullptr);
    }
}

TEST(Shell, WrapsTheServices) {
    const TestInstance instance(0);
    void* const block = exported<decltype(&fi_AllocMem)>("fi_AllocMem")(40, 0x80000001u);
    exported<decltype(&fi_FreeMem)>("fi_FreeMem")(block);
    char name[] = "dropped";
    QzBitmap* const bitmap =
        exported<decltype(&fi_AllocBitmap)>("fi_AllocBitmap")(3, 5, QzBitmapTypeRGBA12, name);
    EXPECT_EQ(bitmap->rowLength, 15);
    EXPECT_EQ(bitmap->bitmapType, 3);
    EXPECT_EQ(bitmap->pixels, nullptr);  // where the test library puts the name
    exported<decltype(&fi_FreeBitmap)>("fi_FreeBitmap")(bitmap);
    EXPECT_EQ(instance.qzlib.calls, (Calls{{"AllocMemQz", block, 40, 0x80000001u},
                                           {"FreeMemQz", block},
                                           {"AllocBitmapQz", bitmap},
                                           {"FreeBitmapQz", bitmap}}));
}

TEST(Tables, AreAskedForAndReturnedInOrder) {
    constexpr QzLong tooWide = 0x20000000;
    const struct {
        QzLong filterIndex, sourceWidth, regionWidth, regionHeight;
        unsigned failing;  // the bits of the calls that do
        QzLong status;
        std::vector<QzULong> requests;
        std::vector<std::size_t> returns;  // which request's block; of a failed one, null
    } cases[] = {
        {0, 8, 5, 2, 0, 1, {40, 40}, {1, 0}},
        {0, 8, -1, 2, 0, 1, {0xFFFFFFF8, 0xFFFFFFF8}, {1, 0}},
        {0, 8, 5, 2, 0b01, 0, {40, 40}, {0, 1}},
        {0, 8, 5, 2, 0b10, 0, {40, 40}, {0, 1}},
        {0, 8, tooWide, 2, 0, 0, {}, {}},
        {0, 8, tooWide, 0, 0, 1, {0, 0}, {1, 0}},  // nothing would be written
        {1, 8, -2, 2, 0, 1, {64}, {0}},
        {1, 8, 11, 2, 0, 1, {88}, {0}},
        {1, 8, 5, 2, 0b1, 0, {64}, {}},
        {1, tooWide + 1, 1, 2, 0, 1, {8}, {0}},  // what is written fits
        {1, tooWide + 1, 2, 2, 0, 0, {}, {}},
        {1, 8, tooWide, 2, 0, 0, {}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        TestBitmap<QzBufferRGBA8> input({0, 0, 8, 4}), output({0, 0, 11, 4});
        TestInstance instance(c.filterIndex);
        instance.describe(input.record, output.record, {0, 0, c.sourceWidth, 0},
                          {0, 0, c.regionWidth, c.regionHeight}, 0);
        instance.prepare();
        auto& lib = instance.qzlib;
        lib.calls.clear();
        lib.failing = c.failing;
        EXPECT_EQ(instance.execute(11), c.status);
        Calls expected;
        ASSERT_GE(lib.calls.size(), c.requests.size());
        for (const QzULong size : c.requests)
            expected.push_back({"AllocMemQz", lib.calls[expected.size()].block, size});
        for (const std::size_t request : c.returns)
            expected.push_back({"FreeMemQz", lib.calls[request].block});
        EXPECT_EQ(lib.calls, expected);

        // What any of these calls throws reaches the host, which sees no further one.
        for (std::size_t faulty = 0; faulty < expected.size(); ++faulty) {
            lib.calls.clear();
            lib.throwing = faulty;
            EXPECT_THROW(instance.execute(11), std::runtime_error);
            EXPECT_EQ(lib.calls.size(), faulty + 1);
        }
    }
}

TEST(Faults, OfCreationAndReleaseEndTheProcess) {
    for (const QzULong selector : {2u, 3u, 10u, 12u}) {
        TestBitmap<QzBufferRGBA8> bitmap({0, 0, 1, 1});
        TestInstance instance(0);
        instance.record.OutputBitmap = &bitmap.record;
        instance.prepare();
        instance.qzlib.throwing = instance.qzlib.calls.size();
        const auto request = [&] {
            try {
                selector < 10 ? instance.entry(selector) : instance.execute(selector);
            } catch (...) {  // the host must not see it
            }
            std::_Exit(0);
        };
        EXPECT_EXIT(request(), isAborted, uncaught) << selector;
    }
}

TEST(Faults, ForeignSupportLibraryEndsTheProcess) {
    const std::string names[] = {"AllocMem", "FreeMem", "AllocBitmap"};
    for (const unsigned first : {0u, 1u, 2u}) {
        TestInstance instance(0);
        EXPECT_EQ(instance.entry(2), 1);
        if (first == 0) instance.services.AllocMem = [](auto, auto) -> void* { return nullptr; };
        if (first <= 1) instance.services.FreeMem = [](auto) {};
        instance.services.AllocBitmap = nullptr;
        const std::string line = "^Source/FILTMAIN:" + std::to_string(219 + first) +
                                 ": failed assertion `filterInstance->FilterInfo->" + names[first] +
                                 " == " + names[first] + "Qz'\n";
        for (const QzULong selector : {0u, 1u, 3u})
            EXPECT_EXIT(instance.entry(selector), isAborted, line);
        // The handlers do not look.
        EXPECT_EQ(instance.execute(13), 1);
        EXPECT_EQ(instance.record.InitHandler(&instance.record, 3), 1);
    }
}

}  // namespace
