// Frames on their way to images and back, by the tool.
#include "tests/tools/ToolProgram.h"

namespace {

TEST_F(ToolTest, ClipToImagesToClipIsExact) {
    std::string frame = noise(std::size_t{13} * 7 * 4, 1);
    for (std::size_t at = 3; at < frame.size(); at += 4)
        frame[at] = static_cast<char>(frame[at] & 0xFC); // the two bits that hold nothing
    write("raw.0", frame);
    output({"put", "--raw", "raw.#", "/first", "--format", "13x7x30", "--tag", "rgb10"});
    output({"get", "/first", "image.%03d.png", "--verify"});
    output({"put", "image.%03d.png", "/second", "--verify", "--tag", "rgb10"});
    EXPECT_TRUE(output({"cat", "/second", "--raw"}) == frame);
    EXPECT_EQ(0,
              output({"cat", "/second"}).rfind("P7\nWIDTH 13\nHEIGHT 7\nDEPTH 3\nMAXVAL 1023", 0));
    const auto stat = json({"stat", "/second"});
    EXPECT_EQ("rgb10", stat["formatTag"]);
    EXPECT_EQ(13 * 7 * 4, stat["frameBufferSize"]);
    fails(8, {"cat", "/second", "--exr"}, {"OpenEXR images can't hold rgb10", "--pam"});
}

TEST_F(ToolTest, TimeCodesOfDpxFilesGoOnFromTheFirst) {
    makeClip("plain", {"2x2x24"}, 12, 1);
    output({"get", "/plain", "plain.dpx"});
    const std::string bytes =
        read("plain.dpx").replace(1920, 4, std::string("\x10\x59\x59\x24", 4));
    for (const char* name : {"code.0.dpx", "code.1.dpx"})
        write(name, bytes);
    output({"put", "code.#.dpx", "/code", "--rate", "25"});
    output({"get", "/code", "back.#.dpx"});
    EXPECT_EQ(std::string("\x10\x59\x59\x24", 4), read("back.0.dpx").substr(1920, 4));
    EXPECT_EQ(std::string("\x11\0\0\0", 4), read("back.1.dpx").substr(1920, 4));
}

TEST_F(ToolTest, WhatCannotBeExactIsRefused) {
    makeClip("odd", {"4x4x36", "--tag", "thing12"}, 72, 2);
    for (const Words& words :
         {Words{"get", "/odd", "x.#.png"}, Words{"cat", "/odd"}, Words{"thumb", "/odd", "x.png"}})
        fails(1, words, {"'thing12'", "--raw"});
    output({"get", "/odd", "--raw", "back.#"});
    EXPECT_EQ(read("odd.1"), read("back.1"));
    makeClip("deep", {"4x4x48"}, 96, 1);
    output({"get", "/deep", "deep.png"});
    fails(8, {"put", "deep.png", "/ten", "--tag", "rgb10"}, {"more than the 10 bits"});
    fails(3, {"stat", "/ten"}); // it had been made for nothing, and is gone again
    fails(8, {"put", "deep.png", "/eight", "--tag", "rgb8"}, {"rgb16, not rgb8"});
}

TEST_F(ToolTest, ThumbAndSheetAreSmallImages) {
    makeClip("shot", {"64x32x24"}, std::size_t{64} * 32 * 3, 5);
    EXPECT_EQ(8, json({"thumb", "/shot", "t.png", "--width", "16"})["height"]);
    const auto sheet = json({"sheet", "/shot", "s.png", "--count", "3", "--start-number", "1001"});
    EXPECT_EQ("[1001,1003,1005]", sheet["frames"].dump());
    output({"thumb", "/shot", "t.jpg", "--width", "16"});
    EXPECT_EQ("\xFF\xD8\xFF", read("t.jpg").substr(0, 3));
    fails(8, {"put", "t.jpg", "/jpeg"}, {"not read"});
    output({"put", "s.png", "/sheet"}); // it is an image, of that size
    EXPECT_EQ(sheet["width"], json({"stat", "/sheet"})["width"]);
    fails(2, {"thumb", "/shot", "t.png"}, {"Replace 't.png'?", "-y"});
}

} // namespace
