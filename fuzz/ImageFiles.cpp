// The readers of image files and of images in a stream: whatever the bytes are, an image is whole
// or an Error says why there is none.
#include "fuzz/FuzzInput.h"
#include "image/Error.h"
#include "image/ImageFormats.h"
#include "image/ImageStream.h"

#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <string>
#include <unistd.h>

namespace {

/// One file, which each input fills anew.
class InputFile {
public:
    InputFile() : descriptor_(::mkstemp(name_)) { require(descriptor_ >= 0); }
    ~InputFile() { ::unlink(name_); }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    void fill(std::string_view text) const {
        require(::ftruncate(descriptor_, 0) == 0);
        require(::pwrite(descriptor_, text.data(), text.size(), 0) ==
                static_cast<ssize_t>(text.size()));
    }
    [[nodiscard]] std::string name() const { return name_; }

private:
    char name_[32] = "/tmp/lantrix-fuzz-XXXXXX";
    int descriptor_;
};

void requireWhole(const image::Image& image) {
    require(image.pixels.size() ==
            static_cast<std::size_t>(image::frameBytes(image.layout, image.width, image.height)));
}

template <image::Image (*Read)(const std::string&, image::Extent, const image::ReadOptions&)>
void takeFile(const std::string& name) {
    const image::ReadOptions options{"0", true};
    requireWhole(Read(name, image::Extent::All, options));
    (void)Read(name, image::Extent::Header, options);
}

void takeStream(const std::string& name) {
    const image::Descriptor descriptor(name, O_RDONLY);
    image::ImageStream stream(descriptor.number(), "stream");
    image::Image image;
    while (stream.next(image))
        requireWhole(image);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Take = void (*)(const std::string& name);
    constexpr Take takes[] = {takeStream, takeFile<image::readPng>, takeFile<image::readDpx>,
                              takeFile<image::readTiff>, takeFile<image::readExr>};
    static const InputFile file;
    FuzzInput input(data, size);
    const Take take = takes[input.control() % std::size(takes)];
    file.fill(input.text());
    try {
        take(file.name());
    } catch (const image::Error& error) {
        require(*error.what() != '\0');
    }
    return 0;
}
