// The reader of PNG files. Checksums are set right again in most inputs, which would otherwise be
// refused for them before anything else is looked at.
#include "fuzz/ImageInput.h"

#include <algorithm>
#include <zlib.h>

extern "C" {
std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room);
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t room,
                                    unsigned seed);
}

namespace {

constexpr std::size_t signatureSize = 8;
constexpr std::size_t wordSize = 4;

std::size_t wordAt(const std::uint8_t* at) {
    return std::size_t{at[0]} << 24U | std::size_t{at[1]} << 16U | std::size_t{at[2]} << 8U | at[3];
}

// Chunks are a length, a kind, as many bytes, and the checksum of kind and bytes.
void setChecksums(std::uint8_t* data, std::size_t size) {
    for (std::size_t at = signatureSize; at + 3 * wordSize <= size;) {
        const std::size_t length = wordAt(data + at);
        if (length > size - at - 3 * wordSize)
            return;
        std::uint8_t* const kind = data + at + wordSize;
        const uLong sum = ::crc32(0, kind, static_cast<uInt>(wordSize + length));
        for (unsigned i = 0; i < wordSize; ++i)
            kind[wordSize + length + i] = static_cast<std::uint8_t>(sum >> 8U * (3 - i));
        at += 3 * wordSize + length;
    }
}

} // namespace

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t room,
                                    unsigned seed) {
    constexpr unsigned leftWrong = 16; // one in so many
    const std::size_t changed = LLVMFuzzerMutate(data, size, room);
    if (seed % leftWrong != 0)
        setChecksums(data, changed);
    return changed;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return takeImageFile<image::readPng>(data, size);
}
