#include "mount/FrameOfFile.h"

#include "image/Error.h"
#include "image/ImageFile.h"
#include "image/LocalFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include <unistd.h>

namespace mounted {

namespace {

[[noreturn]] void refuse(const std::string& why) {
    throw image::Error(image::ErrorKind::File, why);
}

std::string extensionOf(const image::Bytes& bytes) {
    using namespace std::string_view_literals;
    static constexpr std::array<std::pair<std::string_view, const char*>, 8> kinds{
        {{"\x89PNG"sv, ".png"},
         {"\x76\x2F\x31\x01"sv, ".exr"},
         {"II*\0"sv, ".tif"},
         {"MM\0*"sv, ".tif"},
         {"II+\0"sv, ".tif"},
         {"MM\0+"sv, ".tif"},
         {"SDPX"sv, ".dpx"},
         {"XPDS"sv, ".dpx"}}};
    const std::string_view start(bytes.data(), std::min<std::size_t>(bytes.size(), 4));
    for (const auto& [mark, extension] : kinds)
        if (start == mark)
            return extension;
    refuse("it is not PNG, TIFF, DPX or OpenEXR");
}

// A file on the disk, as the readers take them, for as long as one reads it.
class PassingFile {
public:
    PassingFile(const image::Bytes& bytes, const std::string& extension) {
        const char* const folder = std::getenv("TMPDIR");
        name_ = std::string(folder != nullptr ? folder : "/tmp") + "/lantrix-XXXXXX" + extension;
        const int descriptor = ::mkstemps(name_.data(), static_cast<int>(extension.size()));
        if (descriptor < 0)
            image::failFile("can't write", name_, errno);
        try {
            image::writeAll(descriptor, bytes, name_);
        } catch (const image::Error&) {
            ::close(descriptor);
            ::unlink(name_.c_str());
            throw;
        }
        ::close(descriptor);
    }
    ~PassingFile() { ::unlink(name_.c_str()); }
    PassingFile(const PassingFile&) = delete;
    PassingFile& operator=(const PassingFile&) = delete;

    [[nodiscard]] const std::string& name() const { return name_; }

private:
    std::string name_;
};

bool isOwnFile(const image::FrameFile& kind, const image::Bytes& bytes) {
    return kind.isPlain() && bytes.size() == kind.size() &&
           std::equal(kind.head().begin(), kind.head().end(), bytes.begin());
}

} // namespace

image::Bytes frameOfFile(const Clip& clip, const image::Bytes& bytes) {
    const image::FrameFile& kind = clip.file();
    if (isOwnFile(kind, bytes))
        return {bytes.begin() + static_cast<std::ptrdiff_t>(kind.head().size()), bytes.end()};
    const PassingFile file(bytes, extensionOf(bytes));
    image::Image image = image::readImage(file.name());
    const image::PixelLayout layout = image::layoutOfClip(clip.format());
    if (image.width != clip.format().width() || image.height != clip.format().height() ||
        !(image.layout == layout.held()))
        refuse("its size or its samples are not those of the clip");
    return image::frameOfImage(std::move(image), layout);
}

} // namespace mounted
