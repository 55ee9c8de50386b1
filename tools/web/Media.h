// The media server, as the page's requests reach it: questions and frames over the connections of a
// pool, for as long as somebody waits for the answer.
// Owns the pool and the frames in memory. Any thread. Failures are thrown as WebFailure, also when
// the peer that waits has gone.
#ifndef TOOLS_WEB_MEDIA_H
#define TOOLS_WEB_MEDIA_H

#include "frames/FrameCache.h"
#include "stream/Pool.h"
#include "tools/web/Turns.h"
#include "tools/web/WebFailure.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace tool {

/// A clip that somebody looks at.
struct OpenClip {
    std::uint32_t number = 0; ///< Its own.
    std::shared_ptr<const frames::ClipFrames> clip;
    frames::FrameCache::Clock::time_point opened; ///< Frames that are older are read again.
};

class Media {
public:
    /// Holds \p memory bytes of frames at most, or what one request needs.
    Media(const std::string& host, const lantrix::PoolOptions& pool, std::uint64_t memory);

    /// Runs a question on a connection, and gives what it put into its answer. It may run once more
    /// on another connection, and on when nobody waits for it any more: it owns what it captures.
    template <class Answer>
    std::shared_ptr<Answer>
    ask(const Peer& peer,
        std::function<lantrix::Failure(const LantrixServerHandle& server, Answer& answer)>
            question) {
        auto answer = std::make_shared<Answer>();
        run(peer, [answer, question = std::move(question)](const lantrix::Connection& connection) {
            return question(connection.server, *answer);
        });
        return answer;
    }

    /// The clip with this id, as it was opened last; asks when it was not.
    [[nodiscard]] OpenClip clip(const Peer& peer, const std::string& id);
    /// Opens a clip afresh, as it was at \p since.
    OpenClip open(const std::string& id, const std::shared_ptr<const frames::ClipFrames>& clip,
                  frames::FrameCache::Clock::time_point since);
    /// Throws unless the clip has such a frame.
    static void checkFrame(const OpenClip& clip, int index);
    /// The bytes of a frame that the clip has. Whoever holds them has a turn.
    [[nodiscard]] frames::FrameCache::File frame(const Peer& peer, const OpenClip& clip, int index);
    /// Begins to read those behind it, when its reader reads in order.
    void readAhead(const OpenClip& clip, int index);

    [[nodiscard]] Turns& turns() { return turns_; }
    [[nodiscard]] lantrix::Pool& pool() { return pool_; }
    /// Frames given out, and their bytes.
    [[nodiscard]] std::uint64_t frameCount() const { return frameCount_; }
    [[nodiscard]] std::uint64_t byteCount() const { return byteCount_; }
    /// Bytes of the frames that are held.
    [[nodiscard]] std::uint64_t memory() const { return cache_.used() + turns_.used(); }

private:
    // Where a connection tells what came of something, and a peer waits for that.
    class Outcome {
    public:
        void tell(const lantrix::Failure& failure);
        /// Throws the failure, if it is one, and when the peer goes.
        void await(const Peer& peer);
        [[nodiscard]] bool isAwaited() const { return isAwaited_; }

    private:
        std::mutex mutex_; // guards the next two
        std::condition_variable told_;
        bool isTold_ = false;
        lantrix::Failure failure_;
        std::atomic<bool> isAwaited_{true};
    };

    void run(const Peer& peer, const lantrix::Work& question);
    void forgetOldest();

    std::mutex mutex_; // guards the next four
    std::map<std::string, OpenClip> clips_;
    std::list<std::string> byUse_; // ids of those clips, the one opened last at the end
    std::int64_t framesKnown_ = 0; // of all clips
    std::uint32_t lastNumber_ = 0;

    std::atomic<std::uint64_t> frameCount_{0};
    std::atomic<std::uint64_t> byteCount_{0};
    Turns turns_;
    lantrix::Pool pool_;
    frames::FrameCache cache_; // last: its work ends before the pool
};

} // namespace tool

#endif
