#include "fuzz/ImageInput.h"

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

ImageInput::ImageInput()
    : descriptor_(::memfd_create("input", MFD_CLOEXEC)),
      name_("/proc/self/fd/" + std::to_string(descriptor_)) {
    require(descriptor_ >= 0);
    constexpr int keptBlocks = 32 << 20; // are not given back to the system after each input
    ::mallopt(M_MMAP_THRESHOLD, keptBlocks);
    ::mallopt(M_TRIM_THRESHOLD, 16 * keptBlocks);
}

ImageInput::~ImageInput() {
    ::close(descriptor_);
}

void ImageInput::fill(const std::uint8_t* data, std::size_t size) const {
    require(::pwrite(descriptor_, data, size, 0) == static_cast<ssize_t>(size));
    require(::ftruncate(descriptor_, static_cast<off_t>(size)) == 0);
}
