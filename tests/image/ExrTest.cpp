// What only OpenEXR files have: parts, two windows, and a choice of compression.
#include "image/ImageFile.h"
#include "tests/image/Scratch.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfMultiPartOutputFile.h>
#include <OpenEXR/ImfOutputPart.h>
#include <OpenEXR/ImfPartType.h>

#include <fcntl.h>

namespace {

using Floats = std::vector<float>;

/// A file of gray floats, with a part for each name; all samples of a part are its number + 1.
class ExrTest : public Scratch {
protected:
    std::string writeParts(const std::vector<std::string>& names, const Imath::Box2i& display,
                           const Imath::Box2i& data) const {
        std::vector<Imf::Header> headers;
        for (const std::string& part : names) {
            headers.emplace_back(display, data);
            headers.back().setName(part);
            headers.back().setType(Imf::SCANLINEIMAGE);
            headers.back().channels().insert("Y", Imf::Channel(Imf::FLOAT));
        }
        std::string name = file("parts.exr");
        Imf::MultiPartOutputFile output(name.c_str(), headers.data(),
                                        static_cast<int>(headers.size()));
        for (int i = 0; i < output.parts(); ++i) {
            Floats line(static_cast<std::size_t>(data.max.x + 1), static_cast<float>(i + 1));
            auto* const origin = reinterpret_cast<char*>(line.data());
            Imf::FrameBuffer buffer;
            buffer.insert("Y", Imf::Slice(Imf::FLOAT, origin, sizeof(float), 0));
            Imf::OutputPart part(output, i);
            part.setFrameBuffer(buffer);
            part.writePixels(data.max.y - data.min.y + 1);
        }
        return name;
    }

    static Floats samplesOf(const image::Image& image) {
        Floats samples(image.pixels.size() / sizeof(float));
        std::memcpy(samples.data(), image.pixels.data(), image.pixels.size());
        return samples;
    }
};

TEST_F(ExrTest, OnePartOfSeveralHasToBeChosen) {
    const Imath::Box2i window({0, 0}, {1, 0});
    const std::string name = writeParts({"left", "right"}, window, window);
    for (const auto read : {image::readImage, image::readImageHeader}) {
        EXPECT_EQ("can't take '" + name +
                      "': it has 2 parts, of which one has to be chosen: 0 'left', 1 'right'",
                  errorOf([&] { (void)read(name, {}); }).what());
    }
    EXPECT_EQ((Floats{2, 2}), samplesOf(image::readImage(name, {"right", false})));
    EXPECT_EQ((Floats{1, 1}), samplesOf(image::readImage(name, {"0", false})));
    EXPECT_EQ(image::ErrorKind::File, errorOf([&] {
                                          (void)image::readImage(name, {"2", false});
                                      }).kind());
}

TEST_F(ExrTest, DataOutsideAndHolesInsideTheDisplayWindowAreFittedOnlyOnRequest) {
    const std::string name = writeParts({"all"}, {{10, 10}, {12, 11}}, {{11, 9}, {40, 10}});
    EXPECT_EQ(image::ErrorKind::File, errorOf([&] { (void)image::readImage(name); }).kind());
    const image::Image image = image::readImage(name, {"", true});
    EXPECT_EQ(3, image.width);
    EXPECT_EQ((Floats{0, 1, 1, 0, 0, 0}), samplesOf(image));
}

TEST_F(ExrTest, FilesThatCannotHoldTheirPixelsGetNoMemory) {
    const Imath::Box2i window({0, 0}, {3, 3});
    writeParts({"all"}, window, window);
    std::string bytes = read("parts.exr");
    std::string text = bytes; // an attribute that is said to be longer than the file
    text.replace(text.find("string") + 7, 4, "\xFF\xFF\xFF\x3F");
    const std::string last("\x03\0\0\0\x03\0\0\0", 8); // the last pixel of each window
    for (std::size_t at = 0; (at = bytes.find(last, at)) != std::string::npos;)
        bytes.replace(at, 8, std::string("\xFF\x3F\0\0\xFF\x3F\0\0", 8));
    const std::string table(std::size_t{128} << 10, '\0'); // of the places of so many lines
    const std::string name = write("huge.exr", bytes + table);
    const long before = largestMemory();
    const std::string list = bytes.substr(0, bytes.find("chlist") + 7 + 4 + 3); // and less of it
    for (const std::string& bad : {name, write("text.exr", text), write("list.exr", list)}) {
        for (const auto read : {image::readImage, image::readImageHeader}) {
            EXPECT_EQ("can't read '" + bad + "': the file has been cut off",
                      errorOf([&] { (void)read(bad, {}); }).what());
        }
    }
    for (const auto& [type, attribute] :
         {std::pair("chlist", "channels"), {"lineOrder", "lineOrder"}}) {
        std::string wrong = bytes; // a size that the type does not have
        ++wrong[wrong.find(type, wrong.find(attribute) + 1) + std::strlen(type) + 1];
        const std::string bad = write("wrong.exr", wrong);
        EXPECT_EQ("can't read '" + bad + "': the attribute '" + attribute + "' has a wrong size",
                  errorOf([&] { (void)image::readImage(bad); }).what());
    }
    EXPECT_LT(largestMemory(), before + (64 << 10));
}

TEST_F(ExrTest, CompressionIsChosen) {
    const image::PixelLayout layout = *image::layoutOfTag("gray32f");
    const image::Image flat =
        image::imageOfFrame(image::Bytes(std::size_t{64} * 64 * 4), layout, 64, 64);
    const auto size = [&](const std::string& compression) {
        image::writeImage(flat, file("flat.exr"), {compression});
        EXPECT_TRUE(image::readImage(file("flat.exr")).pixels == flat.pixels) << compression;
        return std::filesystem::file_size(file("flat.exr"));
    };
    size("piz");
    const image::Descriptor output(write("piped.exr", ""), O_WRONLY);
    image::writeExr(flat, output.number(), "output", {"piz"});
    EXPECT_TRUE(read("flat.exr") == read("piped.exr"));
    EXPECT_LT(size("zip"), size(""));
    EXPECT_LT(size(""), size("none"));
    EXPECT_LT(size("piz"), size("none"));
    EXPECT_EQ(image::ErrorKind::Argument, errorOf([&] { size("jpeg"); }).kind());
}

} // namespace
