// JPEG files by libjpeg, whose errors arrive by longjmp: no function here makes an object with a
// destructor after its setjmp. JPEG is lossy, so files are only written, for viewing.
#include "image/Error.h"
#include "image/ImageFile.h"
#include "image/ImageFormats.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <jpeglib.h>

namespace image {

namespace {

struct ErrorManager {
    jpeg_error_mgr base; // first, so that libjpeg's pointer to it is one to this
    std::jmp_buf jump;
    char text[JMSG_LENGTH_MAX];
};

[[noreturn]] void keepError(j_common_ptr jpeg) {
    auto* const manager = reinterpret_cast<ErrorManager*>(jpeg->err);
    manager->base.format_message(jpeg, manager->text);
    std::longjmp(manager->jump, 1);
}

// Rows from top to bottom without padding.
struct JpegSource {
    const unsigned char* pixels;
    int width;
    int height;
    int channels; // 1 gray, 3 RGB
};

class JpegWriter {
public:
    JpegWriter() {
        jpeg_.err = jpeg_std_error(&manager_.base);
        manager_.base.error_exit = keepError;
        jpeg_create_compress(&jpeg_);
    }
    ~JpegWriter() {
        jpeg_destroy_compress(&jpeg_);
        std::free(bytes_);
    }
    JpegWriter(const JpegWriter&) = delete;
    JpegWriter& operator=(const JpegWriter&) = delete;

    /// False with an error().
    [[nodiscard]] bool write(const JpegSource& image, int quality) {
        if (setjmp(manager_.jump) != 0)
            return false;
        jpeg_mem_dest(&jpeg_, &bytes_, &size_);
        jpeg_.image_width = static_cast<JDIMENSION>(image.width);
        jpeg_.image_height = static_cast<JDIMENSION>(image.height);
        jpeg_.input_components = image.channels;
        jpeg_.in_color_space = image.channels == 3 ? JCS_RGB : JCS_GRAYSCALE;
        jpeg_set_defaults(&jpeg_);
        jpeg_set_quality(&jpeg_, quality, TRUE);
        jpeg_start_compress(&jpeg_, TRUE);
        writeRows(image);
        jpeg_finish_compress(&jpeg_);
        return true;
    }
    [[nodiscard]] const char* error() const { return manager_.text; }
    [[nodiscard]] std::string_view bytes() const {
        return {reinterpret_cast<const char*>(bytes_), size_};
    }

private:
    void writeRows(const JpegSource& image) {
        const auto stride =
            static_cast<std::size_t>(image.channels) * static_cast<std::size_t>(image.width);
        while (jpeg_.next_scanline < jpeg_.image_height) {
            auto* row = const_cast<JSAMPROW>(image.pixels + jpeg_.next_scanline * stride);
            jpeg_write_scanlines(&jpeg_, &row, 1);
        }
    }

    ErrorManager manager_{};
    jpeg_compress_struct jpeg_{};
    unsigned char* bytes_ = nullptr;
    unsigned long size_ = 0;
};

} // namespace

void writeJpeg(const Image& image, const std::string& file, const WriteOptions& /*options*/) {
    constexpr int quality = 92;
    JpegWriter writer;
    const auto* pixels = reinterpret_cast<const unsigned char*>(image.pixels.data());
    if (!writer.write({pixels, image.width, image.height, 3}, quality))
        failFile("can't write", file, std::string(writer.error()));
    const Descriptor descriptor(file, O_WRONLY | O_CREAT | O_TRUNC);
    writeAll(descriptor.number(), writer.bytes(), file);
}

std::string bytesOfJpeg(const Viewed& viewed, int quality) {
    JpegWriter writer;
    if (!writer.write({viewed.pixels.data(), viewed.width, viewed.height, viewed.channels},
                      quality))
        throw Error(ErrorKind::TooLarge, writer.error());
    return std::string(writer.bytes());
}

} // namespace image
