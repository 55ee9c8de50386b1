// Frames at hand: files of frames that are kept open, those that clients announced and those that
// were read before. A thread of its own reads the announced ones through, so that the system has
// their contents in memory, from where they are sent. The least recently used ones leave when the
// bound is reached. A frame is found by the state of its contents, so that a write or a destroyed
// clip needs no word here.
// Owns its thread and the files; borrows the tree and the log. Any thread. A frame that can't be
// read ahead is logged: its reader will learn why.
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
    using File = std::shared_ptr<const DevDescriptor>;

    /// Keeps at most \p bound bytes of frames, besides those that are just being sent.
    DevFrameCache(const DevTree& tree, const DevLog& log, std::size_t bound);
    DevFrameCache(const DevFrameCache&) = delete;
    DevFrameCache& operator=(const DevFrameCache&) = delete;
    /// Ends the thread, after the frame that it is reading.
    ~DevFrameCache();

    /// Asks for a frame to be read ahead. Too many such wishes replace the oldest ones.
    void announce(const std::string& frameId);
    /// The frame's file, or null. Waits for a frame that is just being read ahead.
    [[nodiscard]] File find(const DevFrameKey& key);
    /// Takes the file over, unless it is a linked one, which may change unseen, or too large.
    void keep(DevOpenFrame& opened);

private:
    struct Kept {
        DevFrameKey key;
        std::size_t size;
        File file;
    };

    void run();
    void readAhead(const std::string& frameId);
    void readThrough(const DevOpenFrame& opened);
    void finishLoad();
    [[nodiscard]] bool accepts(const DevFrame& frame) const;
    void dropOldest();

    const DevTree& tree_;
    const DevLog& log_;
    const std::size_t bound_;
    std::vector<char> unused_; // what the thread reads goes here; nobody looks at it

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
