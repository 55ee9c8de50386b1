// Files as sources and targets of a transfer, and streams of frames as sources.
#include "tools/session/Interrupt.h"
#include "tools/transfer/FrameMove.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace tool {

namespace {

class FileSource : public FrameSource {
public:
    FileSource(FileFrames files, std::vector<FrameStep> steps)
        : files_(std::move(files)), steps_(std::move(steps)) {}
    bool fetch(Piece& /*piece*/) override { return true; }
    [[nodiscard]] bool isBrief(const Piece& piece) const override {
        return isRaw(piece) && files_.size() <= smallFrame;
    }
    void make(Piece& piece, FrameTarget& target) override {
        const std::string& file = steps_[piece.step].file;
        if (isRaw(piece)) {
            piece.frame = target.room(files_.size());
            files_.read(file, piece.frame);
        } else {
            piece.frame = MovedFrame(files_.decode(file));
        }
    }

private:
    [[nodiscard]] bool isRaw(const Piece& piece) const {
        return steps_[piece.step].file.empty() || !files_.layout();
    }

    const FileFrames files_;
    const std::vector<FrameStep> steps_;
};

class FileTarget : public FrameTarget {
public:
    FileTarget(FileFrames files, std::vector<FrameStep> steps, StoreRules rules)
        : files_(std::move(files)), steps_(std::move(steps)), rules_(std::move(rules)) {}
    [[nodiscard]] bool isBrief() const override { return !files_.layout(); }
    void take(Piece piece, const StepDone& done) override {
        const std::string& file = steps_[piece.step].file;
        const std::size_t size = piece.frame.size();
        if (rules_.resume && rules_.verify && files_.holds(file, piece.frame.view())) {
            done(piece.step, {0, true, ""});
            return;
        }
        files_.write(file, steps_[piece.step].index, std::move(piece.frame),
                     rules_.verify ? ReadBack::Yes : ReadBack::No);
        done(piece.step, {size, false, ""});
    }

private:
    const FileFrames files_;
    const std::vector<FrameStep> steps_;
    const StoreRules rules_;
};

// A thread of its own reads ahead, for a read may wait as long as nobody writes to the pipe.
class StreamSource : public FrameSource {
public:
    StreamSource(FrameStream& stream, FileFrames files)
        : stream_(stream), files_(std::move(files)), thread_(&StreamSource::read, this) {}
    ~StreamSource() override {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            isLeft_ = true;
        }
        changed_.notify_all();
        stream_.end();
        wake(thread_.native_handle());
        thread_.join();
    }
    StreamSource(const StreamSource&) = delete;
    StreamSource& operator=(const StreamSource&) = delete;

    bool fetch(Piece& piece) override {
        std::unique_lock<std::mutex> lock(mutex_);
        while (!changed_.wait_for(lock, std::chrono::milliseconds(50),
                                  [this] { return !ahead_.empty() || isAtEnd_; }))
            if (wasInterrupted())
                throw Failure(Status::Interrupted, "interrupted");
        if (ahead_.empty()) {
            if (failure_)
                std::rethrow_exception(failure_);
            return false;
        }
        piece.frame = MovedFrame(std::move(ahead_.front()));
        ahead_.pop_front();
        changed_.notify_all();
        return true;
    }

private:
    void read() {
        std::exception_ptr failure;
        try {
            Bytes frame;
            while (awaitRoom() && stream_.next(files_, frame))
                add(std::move(frame));
        } catch (...) {
            failure = std::current_exception();
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        failure_ = failure;
        isAtEnd_ = true;
        changed_.notify_all();
    }
    bool awaitRoom() {
        constexpr std::size_t most = 2;
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return ahead_.size() < most || isLeft_; });
        return !isLeft_;
    }
    void add(Bytes frame) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ahead_.push_back(std::move(frame));
        changed_.notify_all();
    }

    FrameStream& stream_;
    const FileFrames files_;
    std::mutex mutex_; // guards all below
    std::condition_variable changed_;
    std::deque<Bytes> ahead_;
    std::exception_ptr failure_; // null while it reads or has ended well
    bool isAtEnd_ = false;
    bool isLeft_ = false;
    std::thread thread_; // last, so that it sees all else made
};

} // namespace

OpenSource fromFiles(const FileFrames& files, const std::vector<FrameStep>& steps) {
    return [files, steps](const StepSpan& /*span*/) {
        return std::make_unique<FileSource>(files, steps);
    };
}

std::unique_ptr<FrameSource> fromStream(FrameStream& stream, const FileFrames& files) {
    return std::make_unique<StreamSource>(stream, files);
}

OpenTarget toFiles(const FileFrames& files, const std::vector<FrameStep>& steps,
                   const StoreRules& rules) {
    return [files, steps, rules](const StepSpan& /*span*/) {
        return std::make_unique<FileTarget>(files, steps, rules);
    };
}

} // namespace tool
