// Frames at hand, those that clients announced and those that were read before: the bytes of small
// ones, the open files of others, which are sent from the system's file cache. A thread of its own
// opens the announced ones and has the system read them. The least recently used ones leave when
// the bound is reached. A frame is found by the state of its contents, so that a write or a
// destroyed clip needs no word here.
// Owns its thread and the frames; borrows the tree and the log. Any thread. A frame that can't be
// read ahead is logged: its reader will learn why.
#ifndef DEVSERVER_DEVFRAMECACHE_H
#define DEVSERVER_DEVFRAMECACHE_H

#include "devserver/DevError.h"
#include "devserver/DevLog.h"
#include "devserver/DevTree.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

/// A frame at hand: its file or, where that is not open, all of its bytes.
struct DevKeptFrame {
    DevDescriptor file;
    std::string bytes;
};

class DevFrameCache {
public:
    using Frame = std::shared_ptr<const DevKeptFrame>;

    /// Keeps at most \p bound bytes of frames, besides those that are just being sent.
    DevFrameCache(const DevTree& tree, const DevLog& log, std::size_t bound);
    DevFrameCache(const DevFrameCache&) = delete;
    DevFrameCache& operator=(const DevFrameCache&) = delete;
    /// Ends the thread, after the frame that it is reading.
    ~DevFrameCache();

    /// Asks for a frame to be read ahead. Too many such wishes replace the oldest ones.
    void announce(const std::string& frameId);
    /// The frame, or null.
    [[nodiscard]] Frame find(const DevFrameKey& key);
    /// Takes the frame over and returns it. Null, with nothing taken, for a linked one, which may
    /// change unseen, and for one that is too large.
    Frame keep(DevOpenFrame& opened);

    /// Closes the files that are kept; false when there were none.
    bool dropFiles();
    /// What \p action gives. Where it fails for want of a descriptor, it is tried once more with
    /// those of the files that are kept.
    template <class Action>
    auto withDescriptors(Action action) {
        try {
            return action();
        } catch (const DevNoDescriptors&) {
            if (!dropFiles())
                throw;
        }
        return action();
    }

private:
    struct Kept {
        DevFrameKey key;
        std::size_t charge; // its share of the bound
        Frame frame;
    };

    void run();
    void readAhead(const std::string& frameId);
    [[nodiscard]] bool accepts(const DevFrame& frame) const;
    [[nodiscard]] std::size_t chargeOf(const DevFrame& frame) const;
    void drop(std::list<Kept>::iterator kept);

    const DevTree& tree_;
    const DevLog& log_;
    const std::size_t bound_;

    std::mutex mutex_; // guards all that follows but the thread
    std::condition_variable changed_;
    std::deque<std::string> announced_;
    std::list<Kept> kept_;                                   // the most recently used first
    std::map<DevFrameKey, std::list<Kept>::iterator> index_; // into kept_
    std::size_t charged_ = 0;
    bool ending_ = false;
    std::thread thread_; // last: starts when all else is there
};

#endif
