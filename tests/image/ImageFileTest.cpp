// What is refused, and of which kind the error is.
#include "image/ImageFile.h"
#include "tests/image/Scratch.h"

namespace {

using image::ErrorKind;
using ImageFileTest = Scratch;

TEST_F(ImageFileTest, WhatCannotBeExactIsRefused) {
    const image::PixelLayout deep{image::SampleKind::Integer16, 3};
    const image::Image noise = image::imageOfFrame(noiseFrame(deep, 4, 4), deep, 4, 4);
    const image::PixelLayout ten = *image::layoutOfTag("rgb10");
    EXPECT_STREQ("'x.exr' can't hold rgb16 exactly: write .png",
                 errorOf([&] { image::writeImage(noise, "x.exr"); }).what());
    EXPECT_EQ(ErrorKind::File, errorOf([&] { (void)image::frameOfImage(noise, ten); }).kind());
    EXPECT_EQ(ErrorKind::TooLarge,
              errorOf([&] { (void)image::frameBytes(deep, 1 << 15, 1 << 15); }).kind());
}

TEST_F(ImageFileTest, FailuresNameTheFileAndTheirKind) {
    const std::pair<std::string, ErrorKind> cases[] = {
        {file("absent.png"), ErrorKind::Missing},
        {write("other.tga", ""), ErrorKind::UnknownFile},
        {write("empty.png", ""), ErrorKind::File},
        {write("text.exr", "no image"), ErrorKind::File}};
    for (const auto& failing : cases) {
        const image::Error error = errorOf([&] { (void)image::readImage(failing.first); });
        EXPECT_EQ(failing.second, error.kind()) << error.what();
        EXPECT_EQ(failing.first, error.file());
    }
}

} // namespace
