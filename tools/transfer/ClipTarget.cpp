// A clip as the target of a transfer: frames are written over the connections of its pool, in the
// order in which they come, and with --verify read back behind that.
#include "stream/FrameReader.h"
#include "stream/FrameWriter.h"
#include "tools/transfer/FrameMove.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace tool {

namespace {

using IndexOfStep = std::function<int(std::size_t step)>;

class ClipTarget : public FrameTarget {
public:
    /// \p existing are the frames of the clip among those of the steps, in their order.
    ClipTarget(const LocatedClip& clip, IndexOfStep indexOf, const std::vector<int>& existing,
               const StoreRules& rules)
        : clip_(clip), indexOf_(std::move(indexOf)), rules_(rules),
          readBack_(clip.pool->connections()), readingBack_(*clip.pool),
          writer_(
              *clip.pool, clip.handle,
              [this](const lantrix::WriteResult& result) { written(result); }, frameWindow(clip),
              lantrix::Retry::OnAnotherConnection) {
        if (rules.resume && !existing.empty())
            there_.emplace(*clip.pool, clip.handle, existing, frameWindow(clip));
    }

    void prepare(Piece& piece, Cores& cores) override;
    MovedFrame room(std::size_t size) override;
    void take(Piece piece, const StepDone& done) override;
    void finish() override;

private:
    // A frame from the hand-in to its end.
    struct Storing {
        std::size_t step;
        std::string id;   // only to verify
        std::string hash; // only to verify
        const StepDone* done;
    };

    [[nodiscard]] bool isThere(const Piece& piece, int index) const;
    void begin(int index, const Piece& piece, const StepDone& done);
    void written(const lantrix::WriteResult& result);
    void verify(int index, const Storing& storing);
    void end(int index, const std::optional<Failure>& failure);
    void throwFailure();

    const LocatedClip clip_;
    const IndexOfStep indexOf_;
    const StoreRules rules_;

    std::mutex mutex_; // guards the next two
    std::unordered_map<int, Storing> storing_;
    std::optional<Failure> failure_; // the first

    std::vector<Bytes> readBack_; // by connection
    std::optional<lantrix::FrameReader> there_;
    lantrix::WorkGroup readingBack_;
    lantrix::FrameWriter writer_; // ends before the group that its results go to
};

void ClipTarget::throwFailure() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (failure_)
        throw Failure(*failure_);
}

// A frame that can't be read is another one than that to be written.
void ClipTarget::prepare(Piece& piece, Cores& /*cores*/) {
    throwFailure();
    const int index = indexOf_(piece.step);
    if (!there_ || index >= clip_.frameCount)
        return;
    std::optional<lantrix::Frame> frame = there_->next();
    if (!frame->failure) {
        piece.other = MovedFrame(std::move(frame->pixels));
        return;
    }
    const Failure failure = clip_.failureOf("read back", index, frame->failure);
    if (!isHole(failure))
        throw failure;
}

MovedFrame ClipTarget::room(std::size_t /*size*/) {
    lantrix::FrameBuffer buffer = writer_.take();
    throwFailure();
    if (buffer)
        return MovedFrame(std::move(buffer));
    throw clip_.session->failureOf("write frames of '" + clip_.address.path() + "'",
                                   writer_.failure(), Port::Frames);
}

bool ClipTarget::isThere(const Piece& piece, int index) const {
    const auto known = rules_.known.find(index + clip_.startNumber);
    return (known != rules_.known.end() && known->second == hashOf(piece.frame.view())) ||
           (piece.other.size() != 0 && piece.other.view() == piece.frame.view());
}

void ClipTarget::begin(int index, const Piece& piece, const StepDone& done) {
    Storing storing{piece.step, "", "", &done};
    if (rules_.verify)
        storing.hash = hashOf(piece.frame.view());
    const std::lock_guard<std::mutex> lock(mutex_);
    if (rules_.verify) {
        LantrixStr id;
        if (clip_.handle.getFrameId(index, id)) // known since the writer was made
            storing.id = id.c_str();
    }
    storing_.emplace(index, std::move(storing));
}

void ClipTarget::take(Piece piece, const StepDone& done) {
    const int index = indexOf_(piece.step);
    if (isThere(piece, index)) {
        done(piece.step, {0, true, ""});
        return;
    }
    if (!piece.frame.hasBuffer()) {
        MovedFrame copy = room(piece.frame.size());
        std::memcpy(copy.data(), piece.frame.data(), std::min(copy.size(), piece.frame.size()));
        piece.frame = std::move(copy);
    }
    begin(index, piece, done);
    writer_.write(index, piece.frame.takeBuffer());
}

void ClipTarget::written(const lantrix::WriteResult& result) {
    if (result.failure) {
        end(result.index, clip_.failureOf("write", result.index, result.failure));
    } else if (rules_.verify) {
        std::unique_lock<std::mutex> lock(mutex_);
        const Storing storing = storing_.at(result.index);
        lock.unlock();
        verify(result.index, storing);
    } else {
        end(result.index, std::nullopt);
    }
}

void ClipTarget::verify(int index, const Storing& storing) {
    const auto isSame = std::make_shared<bool>(false);
    const int size = clip_.format.frameBufferSize();
    readingBack_.run(
        [=](lantrix::Connection& connection) -> lantrix::Failure {
            Bytes& bytes = readBack_[connection.number];
            bytes.resize(static_cast<std::size_t>(size));
            if (!connection.server.readFrame(storing.id.c_str(), bytes.data(), size))
                return lantrix::Failure::lastOf(connection.server);
            *isSame = hashOf({bytes.data(), bytes.size()}) == storing.hash;
            return {};
        },
        [=](const lantrix::Failure& broken) {
            std::optional<Failure> failure;
            if (broken)
                failure = clip_.failureOf("read back", index, broken);
            if (!*isSame && (!failure || isHole(*failure))) {
                failure =
                    Failure(Status::Differs, "frame " + std::to_string(index + clip_.startNumber) +
                                                 " reads back differently");
            }
            end(index, failure);
        },
        lantrix::Retry::OnAnotherConnection);
}

// Called once for each frame that was handed in.
void ClipTarget::end(int index, const std::optional<Failure>& failure) {
    std::optional<Storing> ended;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ended = storing_.at(index);
        storing_.erase(index);
        if (failure && !failure_)
            failure_ = failure;
    }
    if (!failure)
        (*ended->done)(ended->step,
                       {static_cast<std::uint64_t>(clip_.format.frameBufferSize()), false, ""});
}

void ClipTarget::finish() {
    writer_.finish();
    readingBack_.wait();
    throwFailure();
}

// Few allocations for many frames, and few frames too many for a while.
int grownCount(int count) {
    constexpr int most = 64;
    return count > INT_MAX - most ? INT_MAX : count + std::clamp(count, 1, most);
}

class GrowingTarget : public FrameTarget {
public:
    GrowingTarget(const LocatedClip& clip, int first, StoreRules rules)
        : clip_(clip), first_(first), rules_(std::move(rules)) {
        std::vector<int> existing;
        for (int index = first; index < clip.frameCount; ++index)
            existing.push_back(index);
        open(existing);
    }

    void prepare(Piece& piece, Cores& cores) override {
        if (piece.step >= static_cast<std::size_t>(INT_MAX - first_))
            throw Failure(Status::Other, "a clip can't have more frames");
        const int index = first_ + static_cast<int>(piece.step);
        if (index >= clip_.frameCount) {
            cores.wait();
            target_->finish();
            target_.reset();
            setCount(clip_, std::max(index + 1, grownCount(clip_.frameCount)));
            open({});
        }
        target_->prepare(piece, cores);
    }
    MovedFrame room(std::size_t size) override { return target_->room(size); }
    void take(Piece piece, const StepDone& done) override { target_->take(std::move(piece), done); }
    void finish() override {
        if (target_)
            target_->finish();
    }

private:
    void open(const std::vector<int>& existing) {
        target_.emplace(
            clip_, [first = first_](std::size_t step) { return first + static_cast<int>(step); },
            existing, rules_);
    }

    LocatedClip clip_;
    const int first_;
    const StoreRules rules_;
    std::optional<ClipTarget> target_; // none when the clip could not grow
};

} // namespace

OpenTarget toClip(const LocatedClip& clip, const std::vector<int>& indices,
                  const StoreRules& rules) {
    return [clip, indices, rules](const StepSpan& span) -> std::unique_ptr<FrameTarget> {
        std::vector<int> existing;
        for (std::size_t step = span.begin; step < span.end; ++step)
            if (indices[step] < clip.frameCount)
                existing.push_back(indices[step]);
        return std::make_unique<ClipTarget>(
            clip, [indices](std::size_t step) { return indices[step]; }, existing, rules);
    };
}

std::unique_ptr<FrameTarget> toGrowingClip(const LocatedClip& clip, int first,
                                           const StoreRules& rules) {
    return std::make_unique<GrowingTarget>(clip, first, rules);
}

} // namespace tool
