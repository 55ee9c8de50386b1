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
    Image (*read)(const std::string& file, bool withPixels);
    void (*write)(const Image& image, const std::string& file);
};

bool isInteger(const PixelLayout& held) {
    return held.samples().maximum > 0;
}

bool isHalf(const PixelLayout& held) {
    return held.kind == SampleKind::Half;
}

constexpr std::array<FileKind, 2> fileKinds{{
    {".png", isInteger, readPng, writePng},
    {".exr", isHalf, readExr, writeExr},
}};

std::string knownExtensions() {
    std::string text;
    for (const FileKind& kind : fileKinds) {
        text += (text.empty() ? "" : ", ") + std::string(kind.extension);
    }
    return text;
}

const FileKind& kindOf(const std::string& name) {
    std::string extension = std::filesystem::path(name).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const FileKind& kind : fileKinds) {
        if (extension == kind.extension) {
            return kind;
        }
    }
    throw Error(ErrorKind::UnknownFile,
                "'" + name + "' does not end like an image file (" + knownExtensions() + ")", name);
}

Image readAny(const std::string& file, bool withPixels) {
    if (::access(file.c_str(), R_OK) != 0) {
        failFile("can't read", file, errno);
    }
    return kindOf(file).read(file, withPixels);
}

} // namespace

Image readImageHeader(const std::string& file) {
    return readAny(file, false);
}

Image readImage(const std::string& file) {
    return readAny(file, true);
}

void checkImageName(const std::string& name, const PixelLayout& layout) {
    if (!kindOf(name).holds(layout.held())) {
        throw Error(ErrorKind::File,
                    "'" + name + "' can't hold " + layout.tag() + " exactly: write " +
                        layout.samples().extension,
                    name);
    }
}

void writeImage(const Image& image, const std::string& file) {
    checkImageName(file, image.layout);
    kindOf(file).write(image, file);
}

} // namespace image
