// What the targets of image readers share. Whatever the bytes of a file are: an image is whole, or
// an Error says why there is none; and reading it takes no more memory than two of its frames, and
// what the reader itself needs.
#ifndef FUZZ_IMAGEINPUT_H
#define FUZZ_IMAGEINPUT_H

#include "fuzz/CountedMemory.h"
#include "fuzz/FuzzInput.h"
#include "image/Error.h"
#include "image/ImageFormats.h"

#include <string>

/// A file in memory, which each input fills anew.
class ImageInput {
public:
    ImageInput();
    ~ImageInput();
    ImageInput(const ImageInput&) = delete;
    ImageInput& operator=(const ImageInput&) = delete;

    void fill(const std::uint8_t* data, std::size_t size) const;
    [[nodiscard]] const std::string& name() const { return name_; }

private:
    int descriptor_;
    std::string name_;
};

inline std::size_t frameSize(const image::Image& image) {
    return static_cast<std::size_t>(image::frameBytes(image.layout, image.width, image.height));
}

inline void requireWhole(const image::Image& image) {
    require(image.pixels.size() == frameSize(image));
}

/// What a reader itself may need, blocks of the file among it.
constexpr std::size_t memoryOfReader = std::size_t{64} << 20U;

/// False when \p read ends with an Error.
template <class Read>
bool isDone(const Read& read) {
    watchMemory();
    try {
        read();
        return true;
    } catch (const image::Error& error) {
        require(*error.what() != '\0');
        return false;
    }
}

/// One input of a target that reads files by \p Read. What is refused is mostly refused for the
/// same reason when it is only looked at: half of the inputs are enough for that.
template <image::Image (*Read)(const std::string&, image::Extent, const image::ReadOptions&)>
int takeImageFile(const std::uint8_t* data, std::size_t size, bool fit = false) {
    static const ImageInput file;
    file.fill(data, size);
    const image::ReadOptions options{"0", fit};
    std::size_t frame = 0;
    const bool isWhole = isDone([&] {
        const image::Image image = Read(file.name(), image::Extent::All, options);
        requireWhole(image);
        frame = frameSize(image);
    });
    const std::size_t memory = mostMemory();
    if (isWhole || size % 2 == 0 || memory > memoryOfReader) {
        (void)isDone([&] { frame = frameSize(Read(file.name(), image::Extent::Header, options)); });
        require(mostMemory() <= memoryOfReader);
    }
    require(memory <= 2 * frame + memoryOfReader);
    return 0;
}

#endif
