#include "image/FrameFile.h"

#include "image/Error.h"
#include "image/ImageFile.h"
#include "image/ImageFormats.h"

#include <algorithm>
#include <utility>

namespace image {

namespace {

std::optional<PixelLayout> knownLayout(const LantrixClipFormat& format) {
    try {
        return layoutOfClip(format);
    } catch (const Error&) {
        return std::nullopt;
    }
}

const char* bestExtension(const PixelLayout& layout) {
    if (layout.kind == SampleKind::Packed10)
        return ".dpx";
    return layout.samples().maximum > 0 ? ".tif" : ".exr";
}

std::string chosenExtension(const PixelLayout& layout, const std::string& wanted) {
    if (wanted == ".raw")
        return wanted;
    try {
        checkImageName("frame" + wanted, layout);
        return wanted;
    } catch (const Error&) {
        return bestExtension(layout);
    }
}

// Rows of 8 bits begin at whole words in DPX files, and samples of 16 bits with their high byte.
bool isPlainDpx(const PixelLayout& layout, int width) {
    return layout.kind == SampleKind::Packed10 ||
           (layout.kind == SampleKind::Integer8 && frameBytes(layout, width, 1) % 4 == 0);
}

} // namespace

FrameFile::FrameFile(const LantrixClipFormat& format, const std::string& extension)
    : format_(format), layout_(knownLayout(format)),
      extension_(layout_ ? chosenExtension(*layout_, extension) : ".raw"),
      frameSize_(static_cast<std::size_t>(std::max(format.frameBufferSize(), 0))) {
    if (extension_ == ".raw") {
        size_ = frameSize_;
        return;
    }
    const Image empty = imageOf({});
    if (extension_ == ".exr") {
        isPlain_ = false;
        size_ = sizeOfExr(empty);
    } else if (extension_ == ".dpx") {
        isPlain_ = isPlainDpx(*layout_, format.width());
        head_ = headOfDpx(empty);
        size_ = sizeOfDpx(empty);
    } else {
        isPlain_ = layout_->samples().unpack == nullptr;
        head_ = headOfTiff(empty);
        size_ = head_.size() + std::uint64_t{static_cast<unsigned>(
                                   frameBytes(layout_->held(), format.width(), format.height()))};
    }
}

Image FrameFile::imageOf(Bytes frame) const {
    Image image = imageOfFrame(std::move(frame), format_);
    image.timeCode.reset(); // all frames have the same head
    return image;
}

Bytes FrameFile::encode(Bytes frame) const {
    if (extension_ == ".exr")
        return bytesOfExr(imageOf(std::move(frame)));
    Bytes file = head_;
    file.reserve(static_cast<std::size_t>(size_));
    if (!isPlain_) {
        const Image image = imageOf(std::move(frame));
        frame = extension_ == ".dpx" ? rowsOfDpx(image) : image.pixels;
    }
    file.insert(file.end(), frame.begin(), frame.end());
    return file;
}

} // namespace image
