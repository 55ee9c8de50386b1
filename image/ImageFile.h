// Image files on the local disk: PNG with 8 and 16 bits, OpenEXR with halves, and PAM as output.
// The kind of a file follows from its name's extension. One thread at a time per file; different
// files are independent. Failures are thrown as Failure with the status of a local file.
#ifndef IMAGE_IMAGEFILE_H
#define IMAGE_IMAGEFILE_H

#include "image/PixelLayout.h"

#include <cstdio>
#include <string>

namespace tool {

/// Reads layout, width and height; the pixels stay empty. Refuses a file that has been cut off.
[[nodiscard]] Image readImageHeader(const std::string& file);
[[nodiscard]] Image readImage(const std::string& file);

/// A kind that can't hold the image exactly is refused.
void writeImage(const Image& image, const std::string& file);
/// Refuses a name whose kind can't hold images of this layout exactly.
void checkImageName(const std::string& name, const PixelLayout& layout);

/// Writes the image as PAM. \p layout is the clip's: 10-bit samples are written as such.
void writePam(const Image& image, const PixelLayout& layout, std::FILE* out);

/// A file that is written beside its final name and takes it when it is whole.
class AsideFile {
public:
    /// Makes the file in the directory of \p finalName.
    explicit AsideFile(std::string finalName);
    /// Removes the file unless it was committed.
    ~AsideFile();
    AsideFile(const AsideFile&) = delete;
    AsideFile& operator=(const AsideFile&) = delete;

    /// Where to write; has the extension of the final name.
    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] const std::string& finalName() const { return finalName_; }
    void write(const Bytes& bytes) const;
    /// Gives the file its final name, replacing what had it.
    void commit();

private:
    std::string finalName_;
    std::string path_; // "" when committed
};

/// The whole file, at most \p most bytes of it.
[[nodiscard]] Bytes readFile(const std::string& file, std::size_t most);

// One kind of file each; the functions above choose.
[[nodiscard]] Image readPng(const std::string& file, bool withPixels);
void writePng(const Image& image, const std::string& file);
[[nodiscard]] Image readExr(const std::string& file, bool withPixels);
void writeExr(const Image& image, const std::string& file);

} // namespace tool

#endif
