// Frame numbers, names and rectangles as users write them.

#include <gtest/gtest.h>

#include <string>

#include "pictures/Rectangle.h"
#include "sequences/FrameRange.h"
#include "sequences/SequenceName.h"

namespace {

using namespace sequences;
using namespace pictures;

TEST(FrameRange, IsReadAsUsersWriteIt) {
    const std::pair<const char*, FrameRange> cases[] = {
        {"5-1", {5, 4, 3, 2, 1}},
        {"1-10x4", {1, 5, 9}},
        {"10-1x4", {10, 6, 2}},
        {"1-3,2-4,9", {1, 2, 3, 4, 9}},
        {"-2147483647-2147483647x2147483647", {-2147483647, 0, 2147483647}},
        {"-5--4,-1-1,1--1,-7", {-5, -4, -1, 0, 1, -7}},
    };
    for (const auto& [text, frames] : cases) EXPECT_EQ(parseFrameRange(text), frames) << text;
    for (const char* const text :
         {"", "-", "1-", "--1", "1,", ",1", "1-2x", "1-2x0", "1x2", "1-2y3", "1 ", " 1", "1---2",
          "2147483648", "-2147483648", "0-1000000", "1-2x-1", "0x10", "1-9,1-1000000"})
        EXPECT_EQ(parseFrameRange(text), std::nullopt) << text;
    EXPECT_EQ(parseFrameRange("0-999999")->size(), maxFrames);
}

TEST(FrameRange, TellsWhatIsMissing) {
    const std::pair<FrameRange, const char*> cases[] = {
        {{}, ""},
        {{1, 2, 3}, ""},
        {{1, 3, 5}, ""},
        {{1, 3}, "2"},
        {{-2, 1, 2, 4}, "-1-0,3"},
        {{1, 3, 9, 11}, "5-7x2"},
        {{-2147483647, 2147483647}, "-2147483646-2147483646"},
    };
    for (const auto& [frames, holes] : cases) EXPECT_EQ(holesIn(frames), holes);
    FrameRange pairs;
    for (int i = 0; i < 33; i += 3) pairs.insert(pairs.end(), {i, i + 1});
    EXPECT_EQ(holesIn(pairs), "2,5,8,11,14,17,20,23,26,29");
    pairs.push_back(33);
    EXPECT_EQ(holesIn(pairs), "2,5,8,11,14,17,20,23,26,29,...");
}

TEST(SequenceName, NamesFramesAndFindsThemAgain) {
    const struct {
        const char *pattern, *seventh, *millionth, *minusThird;
    } cases[] = {
        {"shot.%04d.exr", "shot.0007.exr", "shot.1000000.exr", "shot.-003.exr"},
        {"a/b.%d.png", "a/b.7.png", "a/b.1000000.png", "a/b.-3.png"},
        {"#.tif", "0007.tif", "1000000.tif", "-003.tif"},
        {"/v##/s.########", "/v##/s.00000007", "/v##/s.01000000", "/v##/s.-0000003"},
        {"v#.%02d", "v#.07", "v#.1000000", "v#.-3"},
        {"s@2x.$F4.exr", "s@2x.0007.exr", "s@2x.1000000.exr", "s@2x.-003.exr"},
        {"$F5$F_#a.@@", "$F5$F_#a.07", "$F5$F_#a.1000000", "$F5$F_#a.-3"},
        {"@@$F", "@@7", "@@1000000", "@@-3"},
    };
    for (const auto& [pattern, seventh, millionth, minusThird] : cases) {
        const auto name = SequenceName::parse(pattern);
        ASSERT_TRUE(name) << pattern;
        for (const auto& [frame, text] :
             {std::pair{7, seventh}, {1000000, millionth}, {-3, minusThird}}) {
            EXPECT_EQ(name->at(frame), text);
            EXPECT_EQ(name->frameOf(std::filesystem::path(text).filename().string()), frame);
        }
    }
    for (const char* const text : {"", "shot.exr", "%s", "%4d", "%00d", "%012d", "##########",
                                   "a#/b", "a@2x.png", "@@@@@@@@@@", "$f4", "$Fine", "$F10"})
        EXPECT_FALSE(SequenceName::parse(text)) << text;
    EXPECT_FALSE(SequenceName::parse(std::string(1000000, '#')));
    const auto name = SequenceName::parse("s.%04d.e");
    for (const char* const other :
         {"s.007.e", "s.00007.e", "s.-0007.e", "s.--07.e", "s.-000.e", "s.0x07.e", "s..e", "s.e",
          "t.0007.e", "s.0007.f", "s.99999999999.e", ""})
        EXPECT_EQ(name->frameOf(other), std::nullopt) << other;
}

TEST(Rectangle, IsReadAsUsersWriteIt) {
    for (const char* const text : {"8x9+0+0", "1x1+2147483647-7", "2147483647x2147483647-1+2"})
        EXPECT_EQ(toText(parseRectangle(text).value()), text);
    EXPECT_EQ(toText(parseRectangle("8x9").value()), "8x9+0+0");
    EXPECT_EQ(toText(parseRectangle("8x9+-1-2").value()), "8x9-1-2");
    for (const char* const text :
         {"",     "8",     "8x",     "x8",        "8x-8",     "-8x8",        "0x8",
          "8x0",  "8x8+1", "8x8+1+", "8x8+1+2+3", "8x8--1+0", "8x8+0+0junk", " 8x8",
          "8 x8", "+8x8",  "8X8",    "8.5x8",     "0x10x8",   "2147483648x1"})
        EXPECT_FALSE(parseRectangle(text)) << text;
}

}  // namespace
