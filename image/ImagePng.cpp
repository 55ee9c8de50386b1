// PNG files by the classic interface of libpng, whose errors arrive by longjmp: no function here
// makes an object with a destructor after its setjmp.
#include "image/Error.h"
#include "image/ImageFormats.h"

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <png.h>

namespace image {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File openFile(const std::string& name, const char* mode) {
    File file(std::fopen(name.c_str(), mode), std::fclose);
    if (!file) {
        failFile("can't open", name, errno);
    }
    return file;
}

[[noreturn]] void keepError(png_structp png, png_const_charp text) {
    *static_cast<std::string*>(png_get_error_ptr(png)) = text;
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp /*png*/, png_const_charp /*text*/) {}

std::vector<png_bytep> rowsOf(const Image& image) {
    const auto height = static_cast<std::size_t>(image.height);
    const std::size_t stride = image.pixels.size() / height;
    std::vector<png_bytep> rows(height);
    for (std::size_t row = 0; row < height; ++row) {
        rows[row] = reinterpret_cast<png_bytep>(const_cast<char*>(&image.pixels[row * stride]));
    }
    return rows;
}

unsigned long bigEndian(const unsigned char* at) {
    return static_cast<unsigned long>(at[0]) << 24U | static_cast<unsigned long>(at[1]) << 16U |
           static_cast<unsigned long>(at[2]) << 8U | at[3];
}

// Goes from chunk to chunk, none of which is looked into.
void requireEnd(const std::string& name) {
    constexpr long signatureSize = 8;
    constexpr long checksumSize = 4;
    const File file = openFile(name, "rb");
    unsigned char head[8]; // length and kind of a chunk
    std::fseek(file.get(), signatureSize, SEEK_SET);
    while (std::fread(head, 1, sizeof head, file.get()) == sizeof head) {
        if (std::memcmp(head + 4, "IEND", 4) == 0) {
            return;
        }
        std::fseek(file.get(), static_cast<long>(bigEndian(head)) + checksumSize, SEEK_CUR);
    }
    failFile("can't read", name, "the file has been cut off");
}

class PngReader {
public:
    explicit PngReader(const std::string& name)
        : name_(name), file_(openFile(name, "rb")),
          png_(png_create_read_struct(PNG_LIBPNG_VER_STRING, &error_, keepError, ignoreWarning)),
          info_(png_create_info_struct(png_)) {}
    ~PngReader() { png_destroy_read_struct(&png_, &info_, nullptr); }
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;

    /// Palettes and small depths are widened to whole samples, transparency to a channel.
    void readHeader(Image& image) {
        if (setjmp(png_jmpbuf(png_)) != 0) {
            failFile("can't read", name_, error_);
        }
        png_init_io(png_, file_.get());
        png_read_info(png_, info_);
        png_set_expand(png_);
        png_set_swap(png_);
        png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
        image.width = static_cast<int>(png_get_image_width(png_, info_));
        image.height = static_cast<int>(png_get_image_height(png_, info_));
        image.layout.channels = png_get_channels(png_, info_);
        image.layout.kind =
            png_get_bit_depth(png_, info_) == 16 ? SampleKind::Integer16 : SampleKind::Integer8;
    }

    void readPixels(std::vector<png_bytep>& rows) {
        if (setjmp(png_jmpbuf(png_)) != 0) {
            failFile("can't read", name_, error_);
        }
        png_read_image(png_, rows.data());
        png_read_end(png_, nullptr);
    }

private:
    std::string name_;
    std::string error_;
    File file_;
    png_structp png_;
    png_infop info_;
};

class PngWriter {
public:
    explicit PngWriter(const std::string& name)
        : name_(name), file_(openFile(name, "wb")),
          png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, &error_, keepError, ignoreWarning)),
          info_(png_create_info_struct(png_)) {}
    ~PngWriter() { png_destroy_write_struct(&png_, &info_); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    void write(const Image& image, std::vector<png_bytep>& rows) {
        static const int colourTypes[] = {0, PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA,
                                          PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA};
        if (setjmp(png_jmpbuf(png_)) != 0) {
            failFile("can't write", name_, error_);
        }
        png_init_io(png_, file_.get());
        // A transfer is bound by the encoder: the fastest level, and one cheap filter.
        png_set_compression_level(png_, 1);
        png_set_filter(png_, 0, PNG_FILTER_SUB);
        png_set_IHDR(png_, info_, static_cast<png_uint_32>(image.width),
                     static_cast<png_uint_32>(image.height),
                     image.layout.kind == SampleKind::Integer16 ? 16 : 8,
                     colourTypes[image.layout.channels], PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png_, info_);
        png_set_swap(png_);
        png_write_image(png_, rows.data());
        png_write_end(png_, info_);
    }

    void close() {
        if (std::fflush(file_.get()) != 0) {
            failFile("can't write", name_, errno);
        }
    }

private:
    std::string name_;
    std::string error_;
    File file_;
    png_structp png_;
    png_infop info_;
};

} // namespace

Image readPng(const std::string& file, bool withPixels) {
    Image image;
    PngReader reader(file);
    reader.readHeader(image);
    if (!withPixels) {
        requireEnd(file);
    } else {
        image.pixels.resize(
            static_cast<std::size_t>(frameBytes(image.layout, image.width, image.height)));
        std::vector<png_bytep> rows = rowsOf(image);
        reader.readPixels(rows);
    }
    return image;
}

void writePng(const Image& image, const std::string& file) {
    PngWriter writer(file);
    std::vector<png_bytep> rows = rowsOf(image);
    writer.write(image, rows);
    writer.close();
}

} // namespace image
