#include "tools/web/Media.h"

#include "tools/web/NodeFields.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace tool {

namespace {

constexpr std::chrono::milliseconds lookInterval(50);
constexpr std::size_t mostClips = 1024;
constexpr std::int64_t mostFramesKnown = 1000000; // each has an id in memory
constexpr unsigned processingTurns = 4;           // beside those who wait for a connection

// Of a node that refuses what clips tell: whether it is there and a clip. The only reason to refuse
// this is that there is no such node.
lantrix::Failure askKind(const LantrixNodeHandle& node, const lantrix::Failure& refusal,
                         bool& isMissing) {
    bool isClip = false;
    if (node.getIsClipNode(isClip))
        return isClip ? refusal : lantrix::Failure{};
    lantrix::Failure failure = lantrix::Failure::lastOf(node.getServer());
    isMissing = failure.kind == lantrix::Failure::Kind::Refused;
    return isMissing ? lantrix::Failure{} : failure;
}

// That a node is a clip is only asked when it seems not to be: over a link each question takes a
// thumbnail as long as its frame does.
lantrix::Failure askClip(const LantrixServerHandle& server, const std::string& id,
                         std::shared_ptr<const frames::ClipFrames>& clip, bool& isMissing) {
    const LantrixNodeHandle node(server, id.c_str());
    LantrixClipFormat format;
    int count = 0;
    if (!node.getNumFrames(count) || !node.getClipFormat(format)) {
        lantrix::Failure failure = lantrix::Failure::lastOf(server);
        return failure.kind == lantrix::Failure::Kind::Refused ? askKind(node, failure, isMissing)
                                                               : failure;
    }
    clip =
        std::make_shared<frames::ClipFrames>(node, format, count, image::FrameFile(format, ".raw"));
    return {};
}

} // namespace

Media::Media(const std::string& host, const lantrix::PoolOptions& pool, std::uint64_t memory)
    : turns_(pool.connections + processingTurns, memory / 2), pool_(host, pool),
      cache_(pool_, memory / 2, memory / 2) {}

void Media::Outcome::tell(const lantrix::Failure& failure) {
    const std::lock_guard<std::mutex> lock(mutex_);
    failure_ = failure;
    isTold_ = true;
    told_.notify_all();
}

void Media::Outcome::await(const Peer& peer) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!told_.wait_for(lock, lookInterval, [this] { return isTold_; })) {
        if (!peer.hasGone())
            continue;
        isAwaited_ = false;
        throw WebFailure(WebFailure::Kind::Busy, "nobody waits for it any more");
    }
    if (failure_)
        throw WebFailure(kindOf(failure_), failure_.text);
}

void Media::run(const Peer& peer, const lantrix::Work& question) {
    const auto outcome = std::make_shared<Outcome>();
    pool_.run(
        [outcome, question](lantrix::Connection& connection) {
            return outcome->isAwaited() ? question(connection) : lantrix::Failure{};
        },
        [outcome](const lantrix::Failure& failure) { outcome->tell(failure); },
        lantrix::Retry::OnAnotherConnection);
    outcome->await(peer);
}

OpenClip Media::clip(const Peer& peer, const std::string& id) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = clips_.find(id);
        if (found != clips_.end())
            return found->second;
    }
    struct Answer {
        std::shared_ptr<const frames::ClipFrames> clip;
        bool isMissing = false;
    };
    const auto since = frames::FrameCache::Clock::now();
    const auto answer = ask<Answer>(peer, [id](const LantrixServerHandle& server, Answer& asked) {
        return askClip(server, id, asked.clip, asked.isMissing);
    });
    if (answer->isMissing)
        throw WebFailure(WebFailure::Kind::NotFound, "there is no node with the id '" + id + "'");
    if (answer->clip == nullptr)
        throw WebFailure(WebFailure::Kind::Argument, "'" + id + "' is not a clip");
    return open(id, answer->clip, since);
}

OpenClip Media::open(const std::string& id, const std::shared_ptr<const frames::ClipFrames>& clip,
                     frames::FrameCache::Clock::time_point since) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto [place, isNew] = clips_.try_emplace(id);
    OpenClip& opened = place->second;
    if (isNew) {
        opened.number = ++lastNumber_;
    } else {
        framesKnown_ -= opened.clip->count();
        byUse_.remove(id);
    }
    opened.clip = clip;
    opened.opened = since;
    framesKnown_ += clip->count();
    byUse_.push_back(id);
    OpenClip given = opened;
    forgetOldest();
    return given;
}

void Media::forgetOldest() {
    while (byUse_.size() > 1 && (byUse_.size() > mostClips || framesKnown_ > mostFramesKnown)) {
        const auto oldest = clips_.find(byUse_.front());
        framesKnown_ -= oldest->second.clip->count();
        clips_.erase(oldest);
        byUse_.pop_front();
    }
}

void Media::checkFrame(const OpenClip& clip, int index) {
    if (index >= clip.clip->count())
        throw WebFailure(WebFailure::Kind::NotFound, "there is no frame " + std::to_string(index) +
                                                         " in a clip of " +
                                                         std::to_string(clip.clip->count()));
}

frames::FrameCache::File Media::frame(const Peer& peer, const OpenClip& clip, int index) {
    struct Answer {
        Outcome outcome;
        frames::FrameCache::File file;
    };
    const auto answer = std::make_shared<Answer>();
    cache_.get(clip.clip, {clip.number, index}, clip.opened,
               [answer](const lantrix::Failure& failure, const frames::FrameCache::File& file) {
                   answer->file = file;
                   answer->outcome.tell(failure);
               });
    answer->outcome.await(peer);
    ++frameCount_;
    byteCount_ += answer->file->size();
    return answer->file;
}

void Media::readAhead(const OpenClip& clip, int index) {
    cache_.readAhead(clip.clip, {clip.number, index}, clip.opened);
}

} // namespace tool
