// What the bytes of a frame mean, for each format tag.
#include "tests/tools/ToolProgram.h"

namespace {

class PixelTest : public ToolTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(PixelTest, ClipToImagesToClipIsExact) {
    const std::string& tag = GetParam();
    const std::size_t digits = tag.find('1') != std::string::npos ? tag.find('1') : tag.find('8');
    const int channels = (tag[0] == 'g' ? 0 : 2) + (tag[digits - 1] == 'a' ? 2 : 1);
    const int bits = std::stoi(tag.substr(digits)) * channels;
    const bool isPacked = tag == "rgb10";
    const std::size_t size = std::size_t{13} * 7 * static_cast<unsigned>(isPacked ? 32 : bits) / 8;
    std::string all;
    for (unsigned i = 0; i < 3; ++i) {
        std::string frame = noise(size, i);
        for (std::size_t at = 3; isPacked && at < size; at += 4)
            frame[at] = static_cast<char>(frame[at] & 0xFC); // the two bits that hold nothing
        write("raw." + std::to_string(i), frame);
        all += frame;
    }
    const std::string format = "13x7x" + std::to_string(bits) + "x" + std::to_string(channels);
    output({"put", "--raw", "raw.#", "/first", "--format", format, "--tag", tag});
    const std::string images = tag.back() == 'f' ? "image.%03d.exr" : "image.%03d.png";
    output({"get", "/first", images, "--verify"});
    output(Words{"put", images, "/second", "--verify"} +
           (isPacked ? Words{"--tag", tag} : Words{}));
    EXPECT_TRUE(output({"cat", "/second", "--raw"}) == all);
    const auto stat = json({"stat", "/second"});
    EXPECT_EQ(tag, stat["formatTag"]);
    EXPECT_EQ(size, stat["frameBufferSize"]);
}

INSTANTIATE_TEST_SUITE_P(Tags, PixelTest,
                         ::testing::Values("gray8", "graya8", "rgb8", "rgba8", "gray16", "graya16",
                                           "rgb16", "rgba16", "gray16f", "graya16f", "rgb16f",
                                           "rgba16f", "rgb10"),
                         [](const auto& tag) { return tag.param; });

TEST_F(ToolTest, PamShowsRowsChannelsAndByteOrder) {
    const auto pam = [](const std::string& size, const std::string& rest) {
        return "P7\nWIDTH 1\nHEIGHT " + size + "\nENDHDR\n" + rest;
    };
    const std::string tenBits("\xFF\xC0\x18\x00", 4); // red 0x3FF, green 0x001, blue 0x200
    const std::tuple<Words, std::string, std::string> cases[] = {
        {{"1x2x24"}, "RGBrgb", pam("2\nDEPTH 3\nMAXVAL 255\nTUPLTYPE RGB", "RGBrgb")},
        {{"1x2x16x1"}, "lhLH", pam("2\nDEPTH 1\nMAXVAL 65535\nTUPLTYPE GRAYSCALE", "hlHL")},
        {{"1x1x30", "--tag", "rgb10"},
         tenBits,
         pam("1\nDEPTH 3\nMAXVAL 1023\nTUPLTYPE RGB", {"\x03\xFF\x00\x01\x02\x00", 6})}};
    for (const auto& [format, frame, image] : cases) {
        write("frame", frame);
        output(Words{"put", "--raw", "frame", "/" + format[0], "--format"} + format);
        EXPECT_EQ(image, output({"cat", "/" + format[0], "--pam"}));
        EXPECT_EQ(frame, output({"cat", "/" + format[0], "--raw"}));
    }
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
    fails(8, {"put", "deep.png", "/eight", "--tag", "rgb8"}, {"rgb16, not rgb8"});
}

TEST_F(ToolTest, ThumbAndSheetAreSmallImages) {
    makeClip("shot", {"64x32x24"}, 64 * 32 * 3, 5);
    EXPECT_EQ(8, json({"thumb", "/shot", "t.png", "--width", "16"})["height"]);
    const auto sheet = json({"sheet", "/shot", "s.png", "--count", "3", "--start-number", "1001"});
    EXPECT_EQ("[1001,1003,1005]", sheet["frames"].dump());
    output({"put", "s.png", "/sheet"}); // it is an image, of that size
    EXPECT_EQ(sheet["width"], json({"stat", "/sheet"})["width"]);
    fails(2, {"thumb", "/shot", "t.png"}, {"Replace 't.png'?", "-y"});
}

} // namespace
