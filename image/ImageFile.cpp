#include "image/ImageFile.h"

#include "image/Error.h"
#include "image/ImageFormats.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <unistd.h>

namespace image {

namespace {

// One kind of image file.
struct FileKind {
    const char* extension;
    bool (*holds)(const PixelLayout& held); // exactly
    const char* compressions; // that can be asked for, with a blank on both sides of each
    // Null where files are only written, for viewing.
    Image (*read)(const std::string& file, Extent extent, const ReadOptions& options);
    void (*write)(const Image& image, const std::string& file, const WriteOptions& options);
};

bool isInteger(const PixelLayout& held) {
    return held.samples().maximum > 0;
}

bool isAny(const PixelLayout& /*held*/) {
    return true;
}

bool isIntegerOfDpx(const PixelLayout& held) {
    return isInteger(held) && held.channels != 2;
}

bool isNone(const PixelLayout& /*held*/) {
    return false;
}

bool isFloating(const PixelLayout& held) {
    return held.samples().maximum == 0;
}

constexpr std::array<FileKind, 7> fileKinds{{
    {".png", isInteger, " ", readPng, writePng},
    {".exr", isFloating, " none zips zip piz dwaa ", readExr, writeExr},
    {".tif", isAny, " none deflate lzw ", readTiff, writeTiff},
    {".tiff", isAny, " none deflate lzw ", readTiff, writeTiff},
    {".dpx", isIntegerOfDpx, " ", readDpx, writeDpx},
    {".jpg", isNone, " ", nullptr, writeJpeg},
    {".jpeg", isNone, " ", nullptr, writeJpeg},
}};

std::string knownExtensions() {
    std::string text;
    for (const FileKind& kind : fileKinds)
        if (kind.read != nullptr)
            text += (text.empty() ? "" : ", ") + std::string(kind.extension);
    return text;
}

const FileKind& kindOf(const std::string& name) {
    std::string extension = std::filesystem::path(name).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const FileKind& kind : fileKinds)
        if (extension == kind.extension)
            return kind;
    throw Error(ErrorKind::UnknownFile,
                "'" + name + "' does not end like an image file (" + knownExtensions() + ")", name);
}

Image readAny(const std::string& file, Extent extent, const ReadOptions& options) {
    if (::access(file.c_str(), R_OK) != 0)
        failFile("can't read", file, errno);
    const FileKind& kind = kindOf(file);
    if (kind.read == nullptr)
        failFile("can't read", file, "JPEG files can be written, but not read");
    return kind.read(file, extent, options);
}

} // namespace

Image readImageHeader(const std::string& file, const ReadOptions& options) {
    return readAny(file, Extent::Header, options);
}

Image readImage(const std::string& file, const ReadOptions& options) {
    return readAny(file, Extent::All, options);
}

void checkImageName(const std::string& name, const PixelLayout& layout,
                    const WriteOptions& options) {
    const FileKind& kind = kindOf(name);
    if (!kind.holds(layout.held())) {
        throw Error(ErrorKind::File,
                    "'" + name + "' can't hold " + layout.tag() + " exactly: write " +
                        layout.samples().extension,
                    name);
    }
    const std::string known = kind.compressions;
    if (!options.compression.empty() &&
        known.find(" " + options.compression + " ") == std::string::npos) {
        throw Error(ErrorKind::Argument, std::string(kind.extension) +
                                             " files have no choice of compression called '" +
                                             options.compression + "', only:" + known);
    }
}

void writeImage(const Image& image, const std::string& file, const WriteOptions& options) {
    checkImageName(file, image.layout, options);
    kindOf(file).write(image, file, options);
}

void checkPictureName(const std::string& name) {
    const FileKind& kind = kindOf(name);
    if (kind.read != nullptr)
        checkImageName(name, {SampleKind::Integer8, 3});
}

void writePicture(const Image& image, const std::string& file) {
    checkPictureName(file);
    kindOf(file).write(image, file, {});
}

} // namespace image
