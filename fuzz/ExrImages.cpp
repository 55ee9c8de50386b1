// The reader of OpenEXR files.
#include "fuzz/ImageInput.h"

#include <cstring>

namespace {

bool isSmall(const char* bounds) {
    constexpr std::int64_t mostPixels = std::int64_t{1} << 22U;
    std::int32_t window[4]; // left, top, right, bottom
    std::memcpy(window, bounds, sizeof window);
    const std::int64_t width = std::int64_t{window[2]} - window[0] + 1;
    const std::int64_t height = std::int64_t{window[3]} - window[1] + 1;
    return width > 0 && height > 0 && width <= mostPixels / height;
}

// What is outside of the data window is black, however little the file holds: a frame of gigabytes
// is what such a file asks for, and would take seconds. Of several windows the last one holds.
bool hasSmallWindow(std::string_view bytes) {
    constexpr std::string_view attribute("displayWindow\0box2i\0\x10\0\0\0", 24);
    constexpr std::size_t size = attribute.size() + 4 * sizeof(std::int32_t);
    std::size_t count = 0;
    for (std::size_t at = bytes.find(attribute); at != std::string_view::npos;
         at = bytes.find(attribute, at + 1), ++count)
        if (bytes.size() - at < size || !isSmall(&bytes[at + attribute.size()]))
            return false;
    return count > 0;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool fit = hasSmallWindow({reinterpret_cast<const char*>(data), size});
    return takeImageFile<image::readExr>(data, size, fit);
}
