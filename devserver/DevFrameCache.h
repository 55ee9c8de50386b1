// Frames in memory: those that clients announced, which a thread of its own reads ahead, and those
// that were read before. The least recently used ones leave when the bound is reached. A frame is
// found by the state of its contents, so that a write or a destroyed clip needs no word here.
// Owns its thread and buffers; borrows the tree and the log. Any thread. A frame that can't be read
// ahead is logged: its reader will learn why.
#ifndef DEVSERVER_DEVFRAMECACHE_H
#define DEVSERVER_DEVFRAMECACHE_H

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
#include <vector>

class DevFrameCache {
public:
    using Buffer = std::shared_ptr<std::vector<char>>;

    /// Keeps at most \p bound bytes of frames, besides those that are just being sent and a spare.
    DevFrameCache(const DevTree& tree, const DevLog& log, std::size_t bound);
    DevFrameCache(const DevFrameCache&) = delete;
    DevFrameCache& operator=(const DevFrameCache&) = delete;
    /// Ends the thread, after the frame that it is reading. No buffer may be in use elsewhere.
    ~DevFrameCache();

    /// Asks for a frame to be read ahead. Too many such wishes replace the oldest ones.
    void announce(const std::string& frameId);
    /// The frame's contents, or null. Waits for a frame that is just being read ahead.
    [[nodiscard]] Buffer find(const DevFrameKey& key);
    /// Whether a frame may be kept: linked files change unseen, and large ones leave no room.
    [[nodiscard]] bool accepts(const DevFrame& frame) const;
    /// A buffer of \p size bytes to read a frame into; used again when nobody holds it.
    [[nodiscard]] Buffer newBuffer(std::size_t size);
    void keep(const DevFrameKey& key, Buffer buffer);

private:
    struct Kept {
        DevFrameKey key;
        Buffer buffer;
    };

    void run();
    void readAhead(const std::string& frameId);
    void load(const DevOpenFrame& opened);
    void finishLoad();
    void recycle(std::unique_ptr<std::vector<char>> buffer);

    const DevTree& tree_;
    const DevLog& log_;
    const std::size_t bound_;

    std::mutex spareMutex_; // taken last: buffers are given back with mutex_ held or not
    std::unique_ptr<std::vector<char>> spare_;

    std::mutex mutex_; // guards all that follows but the thread
    std::condition_variable changed_;
    std::deque<std::string> announced_;
    std::list<Kept> kept_;                                   // the most recently used first
    std::map<DevFrameKey, std::list<Kept>::iterator> index_; // into kept_
    std::size_t keptBytes_ = 0;
    const DevFrameKey* loading_ = nullptr; // what the thread is reading now
    bool ending_ = false;
    std::thread thread_; // last: starts when all else is there
};

#endif
