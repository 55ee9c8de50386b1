// A folder for the files of one test, and frames without a pattern to fill them with.
#ifndef TESTS_IMAGE_SCRATCH_H
#define TESTS_IMAGE_SCRATCH_H

#include "image/Error.h"
#include "image/LocalFile.h"
#include "image/PixelLayout.h"
#include "tests/support/ScratchDirectory.h"

#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <sys/resource.h>

class Scratch : public ::testing::Test {
public:
    std::string file(const std::string& name) const { return folder_ / name; }
    std::string write(const std::string& name, const std::string& bytes) const {
        image::AsideFile aside(file(name));
        aside.write(bytes);
        aside.commit();
        return file(name);
    }
    std::string read(const std::string& name) const {
        const image::Bytes bytes = image::readFile(file(name), std::size_t{1} << 20);
        return {bytes.begin(), bytes.end()};
    }

private:
    ScratchDirectory folder_;
};

/// A frame of this layout, the same one each time.
inline image::Bytes noiseFrame(const image::PixelLayout& layout, int width, int height) {
    std::minstd_rand random(7);
    image::Bytes frame(static_cast<std::size_t>(image::frameBytes(layout, width, height)));
    for (char& byte : frame)
        byte = static_cast<char>(random() >> 8U & 0xFFU);
    const image::SampleFormat& samples = layout.samples(); // bits that hold nothing become zero
    return samples.pack != nullptr ? samples.pack(samples.unpack(frame)) : frame;
}

/// The most memory that the process has had so far, in KiB.
inline long largestMemory() {
    struct rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/// What \p work fails with; fails the test when it does not.
template <class Work>
image::Error errorOf(const Work& work) {
    try {
        work();
    } catch (const image::Error& error) {
        return error;
    }
    ADD_FAILURE() << "nothing failed";
    return {image::ErrorKind::File, ""};
}

#endif
