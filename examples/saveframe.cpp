// saveframe HOST PATH INDEX FILE: saves one frame of a clip as an image in the PAM format, which
// image programs read. The frames have 8 bits in each of 1 to 4 channels.
#include "lantrix/LantrixClientAPI.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <vector>

namespace {

const char* const tupleTypes[] = {"", "GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA"};

bool parse(const char* text, int& number) {
    const char* const end = text + std::strlen(text);
    const auto parsed = std::from_chars(text, end, number);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

bool isStorable(const LantrixClipFormat& format) {
    const int channels = format.numChannels();
    return channels >= 1 && channels <= 4 && format.bitsPerPixel() == 8 * channels &&
           1LL * format.width() * format.height() * channels == format.frameBufferSize();
}

bool writePam(const char* file, const LantrixClipFormat& format, const std::vector<char>& frame) {
    std::FILE* const out = std::fopen(file, "wb");
    if (out == nullptr)
        return false;
    std::fprintf(out, "P7\nWIDTH %d\nHEIGHT %d\nDEPTH %d\nMAXVAL 255\nTUPLTYPE %s\nENDHDR\n",
                 format.width(), format.height(), format.numChannels(),
                 tupleTypes[format.numChannels()]);
    const bool written = std::fwrite(frame.data(), 1, frame.size(), out) == frame.size();
    return (std::fclose(out) == 0) && written;
}

int fail(const char* what, const char* why) {
    std::fprintf(stderr, "saveframe: cannot %s. %s\n", what, why);
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    int index = 0;
    if (argc != 5 || !parse(argv[3], index)) {
        std::fprintf(stderr, "usage: saveframe HOST PATH INDEX FILE\n");
        return 2;
    }
    const LantrixServerHandle server(argv[1]);
    LantrixNodeHandle clip;
    LantrixClipFormat format;
    // Resolving does not fail when the server can't be asked at all, so that is tried first.
    if (!server.ping() || !LantrixResolveDisplayPath(server, argv[2], clip))
        return fail("find the clip", server.lastError());
    if (!clip.getClipFormat(format))
        return fail("ask for the clip's format", server.lastError());
    if (!isStorable(format))
        return fail("save this format", "Only 8 bits for each of 1 to 4 channels can be saved.");
    std::vector<char> frame(static_cast<std::size_t>(format.frameBufferSize()));
    if (!clip.readFrame(index, frame.data(), format.frameBufferSize()))
        return fail("read the frame", server.lastError());
    if (!writePam(argv[4], format, frame)) {
        std::remove(argv[4]);
        return fail("write the file", argv[4]);
    }
    return 0;
}
