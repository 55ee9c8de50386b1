// The reader of DPX files.
#include "fuzz/ImageInput.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return takeImageFile<image::readDpx>(data, size);
}
