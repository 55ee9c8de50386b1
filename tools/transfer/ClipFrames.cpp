#include "tools/transfer/ClipFrames.h"

#include "image/Error.h"
#include "image/LocalFile.h"
#include "tools/session/NodeChanges.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <thread>
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace tool {

std::string LocatedClip::doing(const char* what, int index) const {
    return std::string(what) + " frame " + std::to_string(index + startNumber) + " of '" +
           address.path() + "'";
}

std::shared_ptr<lantrix::Pool> openFramePool(Session& session, const Options& options) {
    lantrix::PoolOptions pool = session.poolOptions();
    pool.connections = static_cast<unsigned>(options.connections.value_or(4));
    pool.first = nullptr; // the session is asked while frames move
    return std::make_shared<lantrix::Pool>(session.target(), pool);
}

lantrix::FrameWindow frameWindow(const LocatedClip& clip) {
    constexpr std::size_t smallFrames = 64, bytesOfSmallFrames = std::size_t{1} << 20;
    const auto size = static_cast<std::size_t>(std::max(clip.format.frameBufferSize(), 1));
    lantrix::FrameWindow window;
    window.frames = 2 * (std::size_t{clip.pool->connections()} +
                         std::max<std::size_t>(std::thread::hardware_concurrency(), 1));
    window.frames = std::max(window.frames, std::min(smallFrames, bytesOfSmallFrames / size));
    window.bytes /= clip.clipsAtOnce;
    return window;
}

// Asked first, so that all copies of the handle know the answers.
LocatedClip describeClip(const std::shared_ptr<Session>& session,
                         const std::shared_ptr<lantrix::Pool>& pool, const Address& address,
                         const LantrixNodeHandle& handle, int startNumber) {
    const LantrixClipFormat format = session->format(handle);
    const int count = session->countFrames(handle);
    return {address, session, pool, handle, format, count, startNumber, 1};
}

LocatedClip locateClip(const Options& options, const Address& address, int startNumber) {
    const auto session = std::make_shared<Session>(options, address.host);
    return describeClip(session, openFramePool(*session, options), address,
                        findClip(*session, address), startNumber);
}

bool isHole(const Failure& failure) {
    return failure.status() == Status::Refused || failure.status() == Status::FrameMissing;
}

Bytes readFrame(const LocatedClip& clip, int index) {
    LantrixNodeHandle handle = clip.handle;
    const int size = clip.format.frameBufferSize();
    Bytes frame(static_cast<std::size_t>(size));
    clip.session->call(
        clip.doing("read", index), [&] { return handle.readFrame(index, frame.data(), size); },
        Port::Frames);
    return frame;
}

void setCount(LocatedClip& clip, int count) {
    FoundNode node{clip.address, clip.handle};
    setFrameCount(*clip.session, node, count);
    clip.handle = node.handle; // which knows the new frames
    clip.frameCount = count;
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

Bytes FileFrames::decode(const std::string& file) const {
    return frameOf(image::readImage(file, reading_), file);
}

void FileFrames::read(const std::string& file, MovedFrame& frame) const {
    if (file.empty()) {
        std::fill_n(frame.data(), frame.size(), '\0');
    } else if (!image::readWholeFile(file, frame.data(), frame.size())) {
        checkFile(file);
        wrongSize(file, "changing", std::to_string(size()) + " bytes");
    }
}

Bytes FileFrames::frameOf(image::Image image, const std::string& name) const {
    checkImage(name, image);
    try {
        return image::frameOfImage(std::move(image), *layout_);
    } catch (const image::Error& error) {
        throw image::Error(error.kind(), "'" + name + "': " + error.what(), name);
    }
}

image::Image FileFrames::imageOf(Bytes frame, int index) const {
    return image::imageOfFrame(std::move(frame), format_, index);
}

namespace {

bool isFile(const std::string& file, std::string_view bytes) {
    const Bytes held = image::readFile(file, bytes.size() + 1);
    return std::string_view(held.data(), held.size()) == bytes;
}

} // namespace

void FileFrames::write(const std::string& file, int index, MovedFrame frame,
                       ReadBack readBack) const {
    image::AsideFile aside(file);
    bool isSame = true;
    if (!layout_) {
        aside.write(frame.view());
        isSame = readBack == ReadBack::No || isFile(aside.path(), frame.view());
    } else {
        const image::Image image = imageOf(frame.takeBytes(), index);
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

bool FileFrames::holds(const std::string& file, std::string_view frame) const {
    if (!isWhole(file))
        return false;
    try {
        return layout_
                   ? image::readImage(file).pixels == imageOf({frame.begin(), frame.end()}).pixels
                   : isFile(file, frame);
    } catch (const std::runtime_error&) { // cut off behind its header
        return false;
    }
}

std::string hashOf(std::string_view bytes) {
    const XXH128_hash_t hash = XXH3_128bits(bytes.data(), bytes.size());
    char text[33];
    std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(hash.high64),
                  static_cast<unsigned long long>(hash.low64));
    return text;
}

} // namespace tool
