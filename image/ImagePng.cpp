// PNG files by the classic interface of libpng, whose errors arrive by longjmp: no function here
// makes an object with a destructor after its setjmp, and none that libpng calls throws.
#include "image/Error.h"
#include "image/ImageFile.h"
#include "image/ImageFormats.h"
#include "image/Ratio.h"

#include <csetjmp>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <png.h>
#include <unistd.h>
#include <vector>

namespace image {

namespace {

[[noreturn]] void keepError(png_structp png, png_const_charp text) {
    *static_cast<std::string*>(png_get_error_ptr(png)) = text;
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp /*png*/, png_const_charp /*text*/) {}

// An error of the descriptor says everything itself.
[[noreturn]] void fail(const char* what, const std::string& name, const std::string& error) {
    if (error.rfind("can't ", 0) == 0)
        throw Error(ErrorKind::File, error, name);
    failFile(what, name, error);
}

// Runs what may throw, and hands its error to libpng when all of it has been left.
template <class Work>
void guarded(png_structp png, const Work& work) {
    char text[256] = "";
    try {
        work();
    } catch (const std::exception& error) {
        std::strncpy(text, error.what(), sizeof text - 1);
        text[0] = text[0] == '\0' ? '?' : text[0];
    }
    if (text[0] != '\0')
        png_error(png, text);
}

void readBytes(png_structp png, png_bytep to, std::size_t size) {
    guarded(png, [&] {
        auto& input = *static_cast<InputBuffer*>(png_get_io_ptr(png));
        if (input.readUpTo(reinterpret_cast<char*>(to), size) != size)
            throw std::runtime_error("the data has been cut off");
    });
}

void writeBytes(png_structp png, png_bytep bytes, std::size_t size) {
    guarded(png, [&] {
        static_cast<OutputBuffer*>(png_get_io_ptr(png))
            ->write(reinterpret_cast<const char*>(bytes), size);
    });
}

void flushBytes(png_structp /*png*/) {}

unsigned long bigEndian(const unsigned char* at) {
    return static_cast<unsigned long>(at[0]) << 24U | static_cast<unsigned long>(at[1]) << 16U |
           static_cast<unsigned long>(at[2]) << 8U | at[3];
}

// Goes from chunk to chunk, none of which is looked into.
void requireEnd(int descriptor, const std::string& name) {
    constexpr off_t signatureSize = 8;
    constexpr off_t checksumSize = 4;
    unsigned char head[8]; // length and kind of a chunk
    off_t offset = signatureSize;
    while (::pread(descriptor, head, sizeof head, offset) == static_cast<ssize_t>(sizeof head)) {
        if (std::memcmp(head + 4, "IEND", 4) == 0)
            return;
        offset += static_cast<off_t>(sizeof head + bigEndian(head)) + checksumSize;
    }
    failFile("can't read", name, "the file has been cut off");
}

class PngReader {
public:
    explicit PngReader(InputBuffer& input)
        : input_(input),
          png_(png_create_read_struct(PNG_LIBPNG_VER_STRING, &error_, keepError, ignoreWarning)),
          info_(png_create_info_struct(png_)) {}
    ~PngReader() { png_destroy_read_struct(&png_, &info_, nullptr); }
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;

    /// Palettes and small depths are widened to whole samples, transparency to a channel.
    void readHeader(Image& image) {
        if (setjmp(png_jmpbuf(png_)) != 0)
            fail("can't read", input_.name(), error_);
        // What is not used is not kept: libpng makes room for as much as a chunk's length says.
        png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_AS_DEFAULT,
                                    reinterpret_cast<png_const_bytep>("pHYs"), 1);
        png_set_read_fn(png_, &input_, readBytes);
        png_read_info(png_, info_);
        png_set_expand(png_);
        png_set_swap(png_);
        passes_ = png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
        image.width = static_cast<int>(png_get_image_width(png_, info_));
        image.height = static_cast<int>(png_get_image_height(png_, info_));
        image.layout.channels = png_get_channels(png_, info_);
        image.layout.kind =
            png_get_bit_depth(png_, info_) == 16 ? SampleKind::Integer16 : SampleKind::Integer8;
        image.pixelRatio = pixelRatio();
    }

    void readPixels(Image& image) {
        if (setjmp(png_jmpbuf(png_)) != 0)
            fail("can't read", input_.name(), error_);
        readRows(image);
        png_read_end(png_, nullptr);
    }

private:
    float pixelRatio() const {
        png_uint_32 across = 0; // pixels for each unit of length
        png_uint_32 down = 0;
        int unit = 0;
        png_get_pHYs(png_, info_, &across, &down, &unit);
        return across == 0 ? 0 : static_cast<float>(down) / static_cast<float>(across);
    }

    // Memory is used as rows arrive, but for interlaced images, all of whose rows come at once.
    void readRows(Image& image) {
        const auto height = static_cast<std::size_t>(image.height);
        const std::size_t stride = png_get_rowbytes(png_, info_);
        image.pixels.reserve(stride * height);
        for (int pass = 0; pass < passes_; ++pass) {
            for (std::size_t row = 0; row < height; ++row) {
                if (pass == 0)
                    image.pixels.resize(passes_ > 1 ? stride * height : stride * (row + 1));
                png_read_row(png_, reinterpret_cast<png_bytep>(&image.pixels[row * stride]),
                             nullptr);
            }
        }
    }

    InputBuffer& input_;
    std::string error_;
    png_structp png_;
    png_infop info_;
    int passes_ = 1;
};

class PngWriter {
public:
    explicit PngWriter(OutputBuffer& output)
        : output_(output),
          png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, &error_, keepError, ignoreWarning)),
          info_(png_create_info_struct(png_)) {}
    ~PngWriter() { png_destroy_write_struct(&png_, &info_); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    void write(const Image& image, std::vector<png_bytep>& rows) {
        static const int colourTypes[] = {0, PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA,
                                          PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA};
        if (setjmp(png_jmpbuf(png_)) != 0)
            fail("can't write", output_.name(), error_);
        png_set_write_fn(png_, &output_, writeBytes, flushBytes);
        // A transfer is bound by the encoder: the fastest level, and one cheap filter.
        png_set_compression_level(png_, 1);
        png_set_filter(png_, 0, PNG_FILTER_SUB);
        png_set_IHDR(png_, info_, static_cast<png_uint_32>(image.width),
                     static_cast<png_uint_32>(image.height),
                     image.layout.kind == SampleKind::Integer16 ? 16 : 8,
                     colourTypes[image.layout.channels], PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        setPixelRatio(image.pixelRatio);
        png_write_info(png_, info_);
        png_set_swap(png_);
        png_write_image(png_, rows.data());
        png_write_end(png_, info_);
    }

private:
    // Square pixels are what a file that tells nothing has.
    void setPixelRatio(float ratio) {
        const Ratio parts = ratioOf(ratio);
        if (parts.numerator != parts.denominator)
            png_set_pHYs(png_, info_, parts.denominator, parts.numerator, PNG_RESOLUTION_UNKNOWN);
    }

    OutputBuffer& output_;
    std::string error_;
    png_structp png_;
    png_infop info_;
};

std::vector<png_bytep> rowsOf(const Image& image) {
    const auto height = static_cast<std::size_t>(image.height);
    const std::size_t stride = image.pixels.size() / height;
    std::vector<png_bytep> rows(height);
    for (std::size_t row = 0; row < height; ++row) {
        // libpng only reads them.
        rows[row] = reinterpret_cast<png_bytep>(const_cast<char*>(&image.pixels[row * stride]));
    }
    return rows;
}

} // namespace

Image readPng(InputBuffer& input) {
    constexpr std::uint64_t mostCompressed = 1100; // deflate reaches 1032
    Image image;
    PngReader reader(input);
    reader.readHeader(image);
    input.requireRoomFor(
        static_cast<std::uint64_t>(frameBytes(image.layout, image.width, image.height)),
        mostCompressed);
    reader.readPixels(image);
    return image;
}

Image readPng(const std::string& file, Extent extent, const ReadOptions& /*options*/) {
    const Descriptor descriptor(file, O_RDONLY);
    InputBuffer input(descriptor.number(), file);
    if (extent == Extent::All)
        return readPng(input);
    Image image;
    PngReader(input).readHeader(image);
    requireEnd(descriptor.number(), file);
    return image;
}

void writePng(const Image& image, int descriptor, const std::string& name) {
    OutputBuffer output(descriptor, name);
    PngWriter writer(output);
    std::vector<png_bytep> rows = rowsOf(image);
    writer.write(image, rows);
    output.flush();
}

void writePng(const Image& image, const std::string& file, const WriteOptions& /*options*/) {
    const Descriptor descriptor(file, O_WRONLY | O_CREAT | O_TRUNC);
    writePng(image, descriptor.number(), file);
}

} // namespace image
