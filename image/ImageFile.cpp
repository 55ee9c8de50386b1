#include "image/ImageFile.h"

#include "tools/report/Failure.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

enum class FileKind { Png, Exr };

FileKind kindOf(const std::string& name) {
    std::string extension = std::filesystem::path(name).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".png") {
        return FileKind::Png;
    }
    if (extension == ".exr") {
        return FileKind::Exr;
    }
    throw Failure(Status::LocalFile, "'" + name +
                                         "' is neither .png nor .exr: other files go "
                                         "through a pipe (see cat), or with --raw");
}

Image readAny(const std::string& file, bool withPixels) {
    if (::access(file.c_str(), R_OK) != 0) {
        const int error = errno;
        Failure failure = fileFailure("can't read", file, error);
        throw error == ENOENT ? Failure(Status::FrameMissing, failure.what()).with("file", file)
                              : failure;
    }
    return kindOf(file) == FileKind::Png ? readPng(file, withPixels) : readExr(file, withPixels);
}

} // namespace

Image readImageHeader(const std::string& file) {
    return readAny(file, false);
}

Image readImage(const std::string& file) {
    return readAny(file, true);
}

void checkImageName(const std::string& name, const PixelLayout& layout) {
    const bool isHalf = layout.kind == SampleKind::Half;
    if ((kindOf(name) == FileKind::Exr) != isHalf) {
        throw Failure(Status::LocalFile, "'" + name + "' can't hold " + layout.tag() +
                                             " exactly: write " + (isHalf ? ".exr" : ".png"));
    }
}

void writeImage(const Image& image, const std::string& file) {
    checkImageName(file, image.layout);
    kindOf(file) == FileKind::Png ? writePng(image, file) : writeExr(image, file);
}

void writePam(const Image& image, const PixelLayout& layout, std::FILE* out) {
    static const char* const tupleTypes[] = {"", "GRAYSCALE", "GRAYSCALE_ALPHA", "RGB",
                                             "RGB_ALPHA"};
    if (layout.kind == SampleKind::Half) {
        throw Failure(Status::Other,
                      "PAM has no " + layout.tag() + ": take --raw, or get into .exr files");
    }
    const bool isTenBits = layout.kind == SampleKind::Packed10;
    const int maximum = isTenBits ? 1023 : layout.kind == SampleKind::Integer8 ? 255 : 65535;
    Bytes samples = image.pixels;
    if (image.layout.kind == SampleKind::Integer16) {
        for (std::size_t i = 0; i + 1 < samples.size(); i += 2) { // PAM is big-endian
            unsigned sample = static_cast<unsigned char>(samples[i]) |
                              static_cast<unsigned>(static_cast<unsigned char>(samples[i + 1]))
                                  << 8U;
            sample >>= isTenBits ? 6U : 0U;
            samples[i] = static_cast<char>(sample >> 8U);
            samples[i + 1] = static_cast<char>(sample & 0xFFU);
        }
    }
    std::fprintf(out, "P7\nWIDTH %d\nHEIGHT %d\nDEPTH %d\nMAXVAL %d\nTUPLTYPE %s\nENDHDR\n",
                 image.width, image.height, image.layout.channels, maximum,
                 tupleTypes[image.layout.channels]);
    if (std::fwrite(samples.data(), 1, samples.size(), out) != samples.size()) {
        throw fileFailure("can't write to", "standard output", errno);
    }
}

AsideFile::AsideFile(std::string finalName) : finalName_(std::move(finalName)) {
    const std::filesystem::path final(finalName_);
    const std::string ending = "-" + final.filename().string();
    std::string name = (final.parent_path() / (".part-XXXXXX" + ending)).string();
    const int descriptor = ::mkstemps(name.data(), static_cast<int>(ending.size()));
    if (descriptor < 0) {
        throw fileFailure("can't write", finalName_, errno);
    }
    path_ = name;
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(descriptor, 0666 & ~mask);
    ::close(descriptor);
}

AsideFile::~AsideFile() {
    if (!path_.empty()) {
        ::unlink(path_.c_str());
    }
}

void AsideFile::write(const Bytes& bytes) const {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path_.c_str(), "wb"),
                                                               std::fclose);
    if (!file || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size() ||
        std::fflush(file.get()) != 0) {
        throw fileFailure("can't write", finalName_, errno);
    }
}

void AsideFile::commit() {
    if (std::rename(path_.c_str(), finalName_.c_str()) != 0) {
        throw fileFailure("can't write", finalName_, errno);
    }
    path_.clear();
}

Bytes readFile(const std::string& file, std::size_t most) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> input(std::fopen(file.c_str(), "rb"),
                                                                std::fclose);
    if (!input) {
        const int error = errno;
        Failure failure = fileFailure("can't read", file, error);
        throw error == ENOENT ? Failure(Status::FrameMissing, failure.what()).with("file", file)
                              : failure;
    }
    Bytes bytes(most);
    bytes.resize(std::fread(bytes.data(), 1, most, input.get()));
    if (std::ferror(input.get()) != 0) {
        throw fileFailure("can't read", file, errno);
    }
    return bytes;
}

} // namespace tool
