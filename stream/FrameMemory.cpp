#include "stream/FrameMemory.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

namespace lantrix {

namespace {

// Asks the system for large pages: a frame is filled as a whole, and with small ones a third of the
// time of its first use goes by while they are handed out one by one. A hint, which may fail.
void adviseLargePages([[maybe_unused]] char* block, [[maybe_unused]] std::size_t size) {
#ifdef MADV_HUGEPAGE
    constexpr std::size_t leastSize = std::size_t{4} << 20; // which has a large page within
    if (size < leastSize)
        return;
    static const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto start = reinterpret_cast<std::uintptr_t>(block);
    const std::size_t toPage = (page - start % page) % page;
    ::madvise(block + toPage, (size - toPage) / page * page, MADV_HUGEPAGE);
#endif
}

} // namespace

// The byte before a frame says how far into its block it begins. Aligned operator new is not taken:
// in glibc before 2.38 a freed block has no room for the next one, and the heap grows.
FrameBytes allocateFrame(std::size_t size) {
    const std::size_t blockSize = size + frameAlignment;
    char* const block = new char[blockSize];
    adviseLargePages(block, blockSize);
    const auto past = reinterpret_cast<std::uintptr_t>(block) % frameAlignment;
    const std::size_t offset = frameAlignment - past;
    block[offset - 1] = static_cast<char>(offset);
    return FrameBytes(block + offset);
}

FrameBuffer::FrameBuffer() noexcept = default;

FrameBuffer::FrameBuffer(std::shared_ptr<FrameBufferHome> home, FrameBytes bytes,
                         std::size_t size) noexcept
    : home_(std::move(home)), bytes_(std::move(bytes)), size_(size) {}

FrameBuffer::FrameBuffer(FrameBuffer&& other) noexcept
    : home_(std::move(other.home_)), bytes_(std::move(other.bytes_)),
      size_(std::exchange(other.size_, 0)) {}

FrameBuffer& FrameBuffer::operator=(FrameBuffer&& other) noexcept {
    if (this != &other) {
        giveBack();
        home_ = std::move(other.home_);
        bytes_ = std::move(other.bytes_);
        size_ = std::exchange(other.size_, 0);
    }
    return *this;
}

FrameBuffer::~FrameBuffer() {
    giveBack();
}

void FrameBuffer::giveBack() noexcept {
    if (bytes_ != nullptr)
        home_->takeBack(std::move(bytes_));
    home_.reset();
}

FrameMemory::FrameMemory(std::size_t frameSize, const FrameWindow& window)
    : frameSize_(frameSize),
      limit_(std::max<std::size_t>(
          std::min(window.frames, window.bytes / std::max<std::size_t>(frameSize, 1)), 1)) {
    free_.reserve(limit_);
}

// Not filled with zeros: every byte of it will be a frame's.
FrameBytes FrameMemory::take() {
    if (free_.empty()) {
        FrameBytes bytes = allocateFrame(frameSize_);
        ++made_;
        return bytes;
    }
    FrameBytes bytes = std::move(free_.back());
    free_.pop_back();
    return bytes;
}

void FrameMemory::give(FrameBytes bytes) noexcept {
    if (bytes != nullptr)
        free_.push_back(std::move(bytes));
}

ClipHandles::ClipHandles(const LantrixNodeHandle& clip, unsigned connections)
    : clip_(clip), copies_(connections) {
    LantrixClipFormat format;
    int frames = 0;
    if (!clip_.getClipFormat(format) || !clip_.getNumFrames(frames))
        failure_ = Failure::lastOf(clip_.getServer());
    else if (format.frameBufferSize() <= 0)
        failure_ = {Failure::Kind::Refused, "The clip's format has no frame size."};
    else
        frameSize_ = format.frameBufferSize();
}

// The connection's handle is another one after each failure.
LantrixNodeHandle& ClipHandles::on(const Connection& connection) {
    std::optional<LantrixNodeHandle>& copy = copies_[connection.number];
    if (!copy)
        copy.emplace(clip_);
    copy->setServer(connection.server);
    return *copy;
}

} // namespace lantrix
