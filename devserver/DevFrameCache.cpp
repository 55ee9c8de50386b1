#include "devserver/DevFrameCache.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

namespace {

// Wishes of as many clients as the server takes; older ones have most likely been read meanwhile.
constexpr std::size_t mostAnnounced = 1024;

using Lock = std::unique_lock<std::mutex>;

// Files of small frames must not use up the descriptors that a process may have.
constexpr std::size_t mostOpen = 128;

// Up to here a frame takes less time to copy than to send from its file.
constexpr std::size_t mostCopied = std::size_t{128} << 10;

constexpr std::size_t entrySize = 256; // of a kept frame without its bytes

bool isSmall(const DevFrame& frame) {
    return frame.size <= mostCopied;
}

DevKeptFrame keptFrom(DevOpenFrame& opened) {
    DevKeptFrame kept;
    if (!isSmall(opened.frame)) {
        kept.file = std::move(opened.file);
        return kept;
    }
    kept.bytes.resize(opened.frame.size);
    devReadAt(opened.file, kept.bytes.data(), kept.bytes.size(), 0);
    return kept;
}

} // namespace

DevFrameCache::DevFrameCache(const DevTree& tree, const DevLog& log, std::size_t bound)
    : tree_(tree), log_(log), bound_(bound), thread_([this] { run(); }) {}

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

DevFrameCache::Frame DevFrameCache::find(const DevFrameKey& key) {
    const Lock lock(mutex_);
    const auto found = index_.find(key);
    if (found == index_.end())
        return nullptr;
    kept_.splice(kept_.begin(), kept_, found->second);
    return kept_.front().frame;
}

bool DevFrameCache::accepts(const DevFrame& frame) const {
    return !frame.linked && frame.size <= bound_ / 2;
}

std::size_t DevFrameCache::chargeOf(const DevFrame& frame) const {
    return entrySize + (isSmall(frame) ? frame.size : std::max(frame.size, bound_ / mostOpen));
}

DevFrameCache::Frame DevFrameCache::keep(DevOpenFrame& opened) {
    const DevFrame& frame = opened.frame;
    if (!accepts(frame))
        return nullptr;
    Frame kept = std::make_shared<const DevKeptFrame>(keptFrom(opened));
    const Lock lock(mutex_);
    if (index_.count(frame.key) != 0)
        return kept;
    kept_.push_front({frame.key, chargeOf(frame), kept});
    charged_ += kept_.front().charge;
    index_[frame.key] = kept_.begin();
    while (charged_ > bound_)
        drop(std::prev(kept_.end()));
    return kept;
}

void DevFrameCache::drop(std::list<Kept>::iterator kept) {
    charged_ -= kept->charge;
    index_.erase(kept->key);
    kept_.erase(kept);
}

bool DevFrameCache::dropFiles() {
    const Lock lock(mutex_);
    bool dropped = false;
    for (auto kept = kept_.begin(); kept != kept_.end();) {
        const auto next = std::next(kept);
        if (kept->frame->file.isOpen()) {
            drop(kept);
            dropped = true;
        }
        kept = next;
    }
    return dropped;
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
            log_("ReadAhead: ", error.what());
        }
    }
}

void DevFrameCache::readAhead(const std::string& frameId) {
    DevOpenFrame opened = tree_.openFrame(frameId);
    if (!opened.file.isOpen() || !accepts(opened.frame) || find(opened.frame.key) != nullptr)
        return;
    devReadAhead(opened.file, opened.frame.size);
    keep(opened);
    if (log_.isVerbose())
        log_("ReadAhead: " + frameId + " is at hand");
}
