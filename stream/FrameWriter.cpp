#include "stream/FrameWriter.h"

#include "stream/FrameMemory.h"
#include "stream/Pool.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace lantrix {

namespace {

using State = WriteResult::State;

// How often take() looks whether the pool has been cancelled while the application holds all.
constexpr std::chrono::milliseconds cancelInterval(50);

} // namespace

// Lives until the last buffer that was taken has come back.
class FrameWriterCore : public FrameBufferHome,
                        public std::enable_shared_from_this<FrameWriterCore> {
public:
    FrameWriterCore(Pool& pool, const LantrixNodeHandle& clip, FrameWriter::Told told,
                    const FrameWindow& window, Retry retry)
        : clip_(clip, pool.connections()), told_(std::move(told)), retry_(retry), pool_(pool),
          group_(std::make_unique<WorkGroup>(pool)),
          memory_(static_cast<std::size_t>(clip_.frameSize()), window) {}

    FrameBuffer take();
    void write(int index, FrameBuffer pixels);
    WriteCounts finish();
    void close() { group_.reset(); }
    [[nodiscard]] Failure failure() const;
    void takeBack(FrameBytes bytes) noexcept override;

private:
    // One frame from the hand-in to its result.
    struct Writing {
        int index;
        FrameBuffer pixels;
        bool hasBegun = false;
    };

    Failure send(const Connection& connection, Writing& writing);
    void tell(const Writing& writing, const Failure& failure);

    ClipHandles clip_;
    const FrameWriter::Told told_;
    const Retry retry_;
    Pool& pool_;
    std::unique_ptr<WorkGroup> group_; // null once closed

    std::mutex tellMutex_; // lets one result be told at a time
    std::mutex mutex_;     // guards what follows
    std::condition_variable given_;
    FrameMemory memory_;
    std::size_t underWay_ = 0; // frames that were handed in and have no result
    WriteCounts counts_;
};

Failure FrameWriterCore::failure() const {
    if (clip_.failure() || !pool_.isCancelled())
        return clip_.failure();
    return {Failure::Kind::Stopped, "Cancelled."};
}

FrameBuffer FrameWriterCore::take() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!failure()) {
        if (memory_.available() != 0)
            return {shared_from_this(), memory_.take(),
                    static_cast<std::size_t>(clip_.frameSize())};
        given_.wait_for(lock, cancelInterval);
    }
    return {};
}

// Whoever waits for a buffer is woken when there are several, which is much of what a small frame
// costs, or when no more will come by themselves.
void FrameWriterCore::takeBack(FrameBytes bytes) noexcept {
    constexpr std::size_t share = 4; // of all buffers
    std::unique_lock<std::mutex> lock(mutex_);
    memory_.give(std::move(bytes));
    const bool isEnough = memory_.available() * share >= memory_.limit() || underWay_ == 0;
    lock.unlock();
    if (isEnough)
        given_.notify_all();
}

void FrameWriterCore::write(int index, FrameBuffer pixels) {
    auto writing = std::make_shared<Writing>(Writing{index, std::move(pixels)});
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++underWay_;
    }
    group_->run([this, writing](Connection& connection) { return send(connection, *writing); },
                [this, writing](const Failure& failure) { tell(*writing, failure); }, retry_);
}

Failure FrameWriterCore::send(const Connection& connection, Writing& writing) {
    if (!writing.pixels || writing.pixels.size() != static_cast<std::size_t>(clip_.frameSize()))
        return {Failure::Kind::Refused, "The buffer is not of the clip's frame size."};
    LantrixNodeHandle& clip = clip_.on(connection);
    writing.hasBegun = true;
    if (clip.writeFrame(writing.index, writing.pixels.data(), clip_.frameSize()))
        return {};
    return Failure::lastOf(connection.server);
}

// A refusal is the server's answer, or came before anything was sent.
void FrameWriterCore::tell(const Writing& writing, const Failure& failure) {
    WriteResult result{writing.index, State::Acknowledged, failure};
    if (failure.kind == Failure::Kind::Refused)
        result.state = State::Refused;
    else if (failure)
        result.state = writing.hasBegun ? State::Sent : State::NotSent;
    const std::lock_guard<std::mutex> telling(tellMutex_);
    if (told_)
        told_(result);
    const std::lock_guard<std::mutex> lock(mutex_);
    --underWay_;
    std::size_t* const counts[] = {&counts_.acknowledged, &counts_.refused, &counts_.sent,
                                   &counts_.notSent};
    ++*counts[static_cast<std::size_t>(result.state)];
}

WriteCounts FrameWriterCore::finish() {
    group_->wait();
    const std::lock_guard<std::mutex> lock(mutex_);
    return counts_;
}

FrameWriter::FrameWriter(Pool& pool, const LantrixNodeHandle& clip, Told told,
                         const FrameWindow& window, Retry retry)
    : core_(std::make_shared<FrameWriterCore>(pool, clip, std::move(told), window, retry)) {}

FrameWriter::~FrameWriter() {
    core_->close();
}

FrameBuffer FrameWriter::take() {
    return core_->take();
}

void FrameWriter::write(int index, FrameBuffer pixels) {
    core_->write(index, std::move(pixels));
}

WriteCounts FrameWriter::finish() {
    return core_->finish();
}

Failure FrameWriter::failure() const {
    return core_->failure();
}

} // namespace lantrix
