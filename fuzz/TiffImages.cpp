// The reader of TIFF files.
#include "fuzz/ImageInput.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return takeImageFile<image::readTiff>(data, size);
}
