// The reader of images that come one behind the other: PAM, PPM and PGM, and PNG among them.
#include "fuzz/ImageInput.h"
#include "image/ImageStream.h"

#include <fcntl.h>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ImageInput file;
    file.fill(data, size);
    (void)isDone([] {
        const image::Descriptor descriptor(file.name(), O_RDONLY);
        image::ImageStream stream(descriptor.number(), "stream");
        image::Image image;
        while (stream.next(image))
            requireWhole(image);
    });
    require(mostMemory() <= memoryOfReader);
    return 0;
}
