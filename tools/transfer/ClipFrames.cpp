#include "tools/transfer/ClipFrames.h"

#include "image/Error.h"
#include "image/LocalFile.h"
#include "tools/session/NodeChanges.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace tool {

LocatedClip locateClip(Session& session, const Address& address, int startNumber) {
    const LantrixNodeHandle handle = findClip(session, address);
    return {address, handle.getNodeId().id(), session.format(handle), session.countFrames(handle),
            startNumber};
}

LocatedClip locateClip(const Options& options, const Address& address, int startNumber) {
    Session session(options, address.host);
    return locateClip(session, address, startNumber);
}

ClipFrames::ClipFrames(const Options& options, const LocatedClip& clip)
    : clip_(clip), session_(options, clip.address.host),
      handle_(session_.server(), clip.nodeId.c_str()) {}

std::string ClipFrames::doing(const char* what, int index) const {
    return std::string(what) + " frame " + std::to_string(index + clip_.startNumber) + " of '" +
           clip_.address.path() + "'";
}

void ClipFrames::read(int index, Bytes& frame) {
    frame.resize(static_cast<std::size_t>(clip_.format.frameBufferSize()));
    session_.call(
        doing("read", index),
        [&] { return handle_.readFrame(index, frame.data(), clip_.format.frameBufferSize()); },
        Port::Frames);
}

namespace {

bool isHole(const Failure& failure) {
    return failure.status() == Status::Refused || failure.status() == Status::FrameMissing;
}

} // namespace

void ClipFrames::read(int index, Bytes& frame, Missing missing) {
    try {
        read(index, frame);
    } catch (const Failure& failure) {
        if (missing == Missing::Error || !isHole(failure))
            throw;
        if (missing == Missing::Black)
            std::fill(frame.begin(), frame.end(), '\0');
        else if (!readBefore(index, frame))
            throw;
    }
}

// The nearest frame before this one that can be read.
bool ClipFrames::readBefore(int index, Bytes& frame) {
    while (--index >= 0) {
        try {
            read(index, frame);
            return true;
        } catch (const Failure& failure) {
            if (!isHole(failure))
                throw;
        }
    }
    return false;
}

void ClipFrames::write(int index, const Bytes& frame) {
    session_.call(
        doing("write", index),
        [&] { return handle_.writeFrame(index, frame.data(), static_cast<int>(frame.size())); },
        Port::Frames);
}

void ClipFrames::setCount(int count) {
    FoundNode node{clip_.address, handle_};
    setFrameCount(session_, node, count);
    handle_ = node.handle; // which knows the new frames
}

// By the frame's id, so that no frame is announced that is about to be written.
bool ClipFrames::holds(int index, const Bytes& frame) {
    LantrixStr id;
    session_.call(doing("find", index), [&] { return handle_.getFrameId(index, id); });
    readBack_.resize(frame.size());
    try {
        session_.call(
            doing("read back", index),
            [&] {
                return session_.server().readFrame(id, readBack_.data(),
                                                   static_cast<int>(readBack_.size()));
            },
            Port::Frames);
    } catch (const Failure& failure) {
        if (!isHole(failure))
            throw;
        return false;
    }
    return readBack_ == frame;
}

FileFrames::FileFrames(const LantrixClipFormat& format, bool raw, image::ReadOptions reading,
                       image::WriteOptions writing)
    : format_(format), reading_(std::move(reading)), writing_(std::move(writing)) {
    if (!raw)
        layout_ = image::layoutOfClip(format);
}

namespace {

[[noreturn]] void wrongSize(const std::string& file, const std::string& is,
                            const std::string& wanted) {
    throw Failure(Status::LocalFile, "'" + file + "' is " + is + ", not " + wanted)
        .with("file", file);
}

std::string sizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

} // namespace

void FileFrames::checkFile(const std::string& file) const {
    if (!layout_) {
        std::error_code error;
        const std::uintmax_t bytes = std::filesystem::file_size(file, error);
        if (error)
            throw fileFailure("can't read", file, error.value());
        if (bytes != size())
            wrongSize(file, std::to_string(bytes) + " bytes", std::to_string(size()));
        return;
    }
    checkImage(file, image::readImageHeader(file, reading_));
}

void FileFrames::checkImage(const std::string& file, const image::Image& image) const {
    if (image.width != format_.width() || image.height != format_.height()) {
        wrongSize(file, sizeText(image.width, image.height),
                  sizeText(format_.width(), format_.height()));
    }
    const image::PixelLayout held = layout_->held();
    if (!(image.layout == held))
        wrongSize(file, image.layout.tag(), held.tag() + " for a clip of " + layout_->tag());
}

void FileFrames::read(const std::string& file, Bytes& frame) const {
    if (file.empty()) {
        frame.assign(size(), '\0');
        return;
    }
    if (!layout_) {
        frame = image::readFile(file, size() + 1);
        if (frame.size() != size()) {
            wrongSize(file, std::to_string(frame.size()) + " bytes or more",
                      std::to_string(size()));
        }
        return;
    }
    frame = frameOf(image::readImage(file, reading_), file);
}

Bytes FileFrames::frameOf(image::Image image, const std::string& name) const {
    checkImage(name, image);
    try {
        return image::frameOfImage(std::move(image), *layout_);
    } catch (const image::Error& error) {
        throw image::Error(error.kind(), "'" + name + "': " + error.what(), name);
    }
}

image::Image FileFrames::imageOf(Bytes frame) const {
    return image::imageOfFrame(std::move(frame), format_);
}

void FileFrames::write(const std::string& file, Bytes& frame, ReadBack readBack) const {
    image::AsideFile aside(file);
    bool isSame = true;
    if (!layout_) {
        aside.write(frame);
        isSame =
            readBack == ReadBack::No || image::readFile(aside.path(), frame.size() + 1) == frame;
    } else {
        const image::Image image = imageOf(std::move(frame));
        image::writeImage(image, aside.path(), writing_);
        isSame = readBack == ReadBack::No || image::readImage(aside.path()).pixels == image.pixels;
    }
    if (!isSame)
        throw Failure(Status::Differs, "'" + file + "' reads back differently").with("file", file);
    aside.commit();
}

bool FileFrames::isWhole(const std::string& file) const {
    try {
        checkFile(file);
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

bool FileFrames::holds(const std::string& file, const Bytes& frame) const {
    if (!isWhole(file))
        return false;
    try {
        return layout_ ? image::readImage(file).pixels == imageOf(frame).pixels
                       : image::readFile(file, frame.size() + 1) == frame;
    } catch (const std::runtime_error&) { // cut off behind its header
        return false;
    }
}

std::string hashOf(const Bytes& bytes) {
    const XXH128_hash_t hash = XXH3_128bits(bytes.data(), bytes.size());
    char text[33];
    std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(hash.high64),
                  static_cast<unsigned long long>(hash.low64));
    return text;
}

} // namespace tool
