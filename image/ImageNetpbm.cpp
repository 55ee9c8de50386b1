// The plain formats of the Netpbm tools: PAM, PPM and PGM with samples of 8, 10 and 16 bits.
#include "image/Error.h"
#include "image/ImageFile.h"
#include "image/ImageFormats.h"
#include "image/LocalFile.h"

#include <array>
#include <cctype>
#include <optional>

namespace image {

namespace {

constexpr std::array<const char*, 5> tupleTypes{"", "GRAYSCALE", "GRAYSCALE_ALPHA", "RGB",
                                                "RGB_ALPHA"};

// PAM is big-endian and has no samples wider than its maximum.
Bytes narrowedSamples(const Image& image, const SampleFormat& samples) {
    const unsigned unused = 16U - static_cast<unsigned>(samples.bits);
    Bytes bytes = image.pixels;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        unsigned sample = static_cast<unsigned char>(bytes[i]) |
                          static_cast<unsigned>(static_cast<unsigned char>(bytes[i + 1])) << 8U;
        sample >>= unused;
        bytes[i] = static_cast<char>(sample >> 8U);
        bytes[i + 1] = static_cast<char>(sample & 0xFFU);
    }
    return bytes;
}

// What stands before the pixels.
struct Header {
    int width = 0;
    int height = 0;
    int channels = 0;
    int maximum = 0;
    std::string tupleType; // "" when it is not given
};

constexpr std::size_t longestWord = 32;

char nextCharacter(InputBuffer& input) {
    char c = 0;
    input.read(&c, 1);
    return c;
}

bool isBlank(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// A word and the one blank behind it; comments reach to the end of their lines.
std::string nextWord(InputBuffer& input) {
    std::string word;
    for (char c = nextCharacter(input); word.empty() || !isBlank(c); c = nextCharacter(input)) {
        if (c == '#' && word.empty())
            while (c != '\n')
                c = nextCharacter(input);
        else if (!isBlank(c))
            word += c;
        if (word.size() > longestWord)
            input.fail("its header is damaged");
    }
    return word;
}

int nextNumber(InputBuffer& input) {
    constexpr std::size_t mostDigits = 9;
    const std::string word = nextWord(input);
    if (word.size() > mostDigits || word.find_first_not_of("0123456789") != std::string::npos)
        input.fail("'" + word + "' is not a number");
    return std::stoi(word);
}

Header readPamHeader(InputBuffer& input) {
    Header header;
    for (std::string word = nextWord(input); word != "ENDHDR"; word = nextWord(input))
        if (word == "WIDTH")
            header.width = nextNumber(input);
        else if (word == "HEIGHT")
            header.height = nextNumber(input);
        else if (word == "DEPTH")
            header.channels = nextNumber(input);
        else if (word == "MAXVAL")
            header.maximum = nextNumber(input);
        else if (word == "TUPLTYPE")
            header.tupleType = nextWord(input);
        else
            input.fail("'" + word + "' can't stand in the header of a PAM image");
    return header;
}

Header readHeader(InputBuffer& input) {
    const std::string magic = nextWord(input);
    if (magic == "P7")
        return readPamHeader(input);
    Header header;
    header.channels = magic == "P5" ? 1 : magic == "P6" ? 3 : 0;
    if (header.channels == 0)
        input.fail("'" + magic + "' does not begin a PAM, PPM or PGM image");
    header.width = nextNumber(input);
    header.height = nextNumber(input);
    header.maximum = nextNumber(input);
    return header;
}

PixelLayout layoutOf(const Header& header, const InputBuffer& input) {
    if (header.channels < 1 || header.channels > 4)
        input.fail("it has " + std::to_string(header.channels) + " channels, not 1 to 4");
    const char* const expected = tupleTypes.at(static_cast<std::size_t>(header.channels));
    if (!header.tupleType.empty() && header.tupleType != expected)
        input.fail("its tuples are " + header.tupleType + ", not " + expected);
    for (const SampleFormat& samples : sampleFormats()) {
        const bool fits = samples.packedChannels == 0 || samples.packedChannels == header.channels;
        if (fits && samples.maximum != 0 &&
            samples.maximum == static_cast<unsigned>(header.maximum))
            return {samples.kind, header.channels};
    }
    input.fail("samples up to " + std::to_string(header.maximum) +
               " can't be kept exactly: the largest has to be 255, 65535, or for RGB 1023");
}

// From big-endian samples to those of an Image; the reverse of narrowedSamples.
void widenSamples(Bytes& bytes, const SampleFormat& samples, const InputBuffer& input) {
    const auto bits = static_cast<unsigned>(samples.bits);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        unsigned sample = static_cast<unsigned>(static_cast<unsigned char>(bytes[i])) << 8U |
                          static_cast<unsigned char>(bytes[i + 1]);
        if (sample > samples.maximum)
            input.fail("a sample is larger than the maximum in its header");
        sample = sample << (16U - bits) | sample >> (2U * bits - 16U);
        bytes[i] = static_cast<char>(sample & 0xFFU);
        bytes[i + 1] = static_cast<char>(sample >> 8U);
    }
}

} // namespace

Image readNetpbm(InputBuffer& input) {
    const Header header = readHeader(input);
    const PixelLayout layout = layoutOf(header, input);
    Image image;
    image.layout = layout.held();
    image.source = layout;
    image.width = header.width;
    image.height = header.height;
    input.read(image.pixels,
               static_cast<std::size_t>(frameBytes(image.layout, image.width, image.height)));
    if (image.layout.kind == SampleKind::Integer16)
        widenSamples(image.pixels, layout.samples(), input);
    return image;
}

void writePam(const Image& image, int descriptor, const std::string& name) {
    const PixelLayout layout = image.source.value_or(image.layout);
    const SampleFormat& samples = layout.samples();
    if (samples.maximum == 0)
        throw Error(ErrorKind::UnknownLayout, "PAM has no " + layout.tag());
    const auto number = [](auto value) { return std::to_string(value); };
    writeAll(descriptor,
             "P7\nWIDTH " + number(image.width) + "\nHEIGHT " + number(image.height) + "\nDEPTH " +
                 number(layout.channels) + "\nMAXVAL " + number(samples.maximum) + "\nTUPLTYPE " +
                 tupleTypes.at(static_cast<std::size_t>(layout.channels)) + "\nENDHDR\n",
             name);
    const bool isWide = image.layout.kind == SampleKind::Integer16;
    writeAll(descriptor, isWide ? narrowedSamples(image, samples) : image.pixels, name);
}

} // namespace image
