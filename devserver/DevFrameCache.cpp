#include "devserver/DevFrameCache.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace {

// Wishes of as many clients as the server takes; older ones have most likely been read meanwhile.
constexpr std::size_t mostAnnounced = 1024;

using Lock = std::unique_lock<std::mutex>;

// Small frames must not use up the descriptors that a process may have.
constexpr std::size_t mostOpen = 128;

// Bytes read at once: few enough to stay in the processor's cache.
constexpr std::size_t chunkSize = std::size_t{256} << 10;

} // namespace

DevFrameCache::DevFrameCache(const DevTree& tree, const DevLog& log, std::size_t bound)
    : tree_(tree), log_(log), bound_(bound), unused_(chunkSize), thread_([this] { run(); }) {}

DevFrameCache::~DevFrameCache() {
    {
        const Lock lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void DevFrameCache::announce(const std::string& frameId) {
    {
        const Lock lock(mutex_);
        if (announced_.size() == mostAnnounced)
            announced_.pop_front();
        announced_.push_back(frameId);
    }
    changed_.notify_all();
}

DevFrameCache::File DevFrameCache::find(const DevFrameKey& key) {
    Lock lock(mutex_);
    changed_.wait(lock, [&] { return loading_ == nullptr || !(*loading_ == key); });
    const auto found = index_.find(key);
    if (found == index_.end())
        return nullptr;
    kept_.splice(kept_.begin(), kept_, found->second);
    return kept_.front().file;
}

bool DevFrameCache::accepts(const DevFrame& frame) const {
    return !frame.linked && frame.size <= bound_ / 2;
}

void DevFrameCache::keep(DevOpenFrame& opened) {
    const DevFrame& frame = opened.frame;
    if (!accepts(frame))
        return;
    const Lock lock(mutex_);
    if (index_.count(frame.key) != 0)
        return;
    kept_.push_front(
        {frame.key, frame.size, std::make_shared<const DevDescriptor>(std::move(opened.file))});
    index_[frame.key] = kept_.begin();
    keptBytes_ += frame.size;
    while (keptBytes_ > bound_ || kept_.size() > mostOpen)
        dropOldest();
}

void DevFrameCache::dropOldest() {
    keptBytes_ -= kept_.back().size;
    index_.erase(kept_.back().key);
    kept_.pop_back();
}

void DevFrameCache::run() {
    for (;;) {
        std::string frameId;
        {
            Lock lock(mutex_);
            changed_.wait(lock, [this] { return ending_ || !announced_.empty(); });
            if (ending_)
                return;
            frameId = std::move(announced_.front());
            announced_.pop_front();
        }
        try {
            readAhead(frameId);
        } catch (const std::exception& error) {
            log_("ReadAhead: " + std::string(error.what()));
        }
    }
}

void DevFrameCache::readAhead(const std::string& frameId) {
    DevOpenFrame opened = tree_.openFrame(frameId);
    if (!opened.file.isOpen() || !accepts(opened.frame))
        return;
    {
        const Lock lock(mutex_);
        if (index_.count(opened.frame.key) != 0)
            return;
        loading_ = &opened.frame.key;
    }
    try {
        readThrough(opened);
        keep(opened);
    } catch (...) {
        finishLoad();
        throw;
    }
    finishLoad();
    if (log_.isVerbose())
        log_("ReadAhead: " + frameId + " is in memory");
}

void DevFrameCache::readThrough(const DevOpenFrame& opened) {
    for (std::size_t done = 0; done < opened.frame.size; done += chunkSize) {
        const std::size_t size = std::min(chunkSize, opened.frame.size - done);
        devReadAt(opened.file, unused_.data(), size, done);
    }
}

void DevFrameCache::finishLoad() {
    {
        const Lock lock(mutex_);
        loading_ = nullptr;
    }
    changed_.notify_all();
}
