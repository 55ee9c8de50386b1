#include "devserver/DevFrameCache.h"

#include <exception>
#include <utility>

namespace {

// Wishes of as many clients as the server takes; older ones have most likely been read meanwhile.
constexpr std::size_t mostAnnounced = 1024;

using Lock = std::unique_lock<std::mutex>;

// What a kept frame takes besides its bytes, roughly: many small frames must not pass the bound.
constexpr std::size_t bookkeeping = 256;

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

DevFrameCache::Buffer DevFrameCache::find(const DevFrameKey& key) {
    Lock lock(mutex_);
    changed_.wait(lock, [&] { return loading_ == nullptr || !(*loading_ == key); });
    const auto found = index_.find(key);
    if (found == index_.end())
        return nullptr;
    kept_.splice(kept_.begin(), kept_, found->second);
    return kept_.front().buffer;
}

bool DevFrameCache::accepts(const DevFrame& frame) const {
    return !frame.linked && frame.size <= bound_ / 2;
}

DevFrameCache::Buffer DevFrameCache::newBuffer(std::size_t size) {
    std::unique_ptr<std::vector<char>> buffer;
    {
        const Lock lock(spareMutex_);
        if (spare_ != nullptr && spare_->size() == size)
            buffer = std::move(spare_);
    }
    if (buffer == nullptr)
        buffer = std::make_unique<std::vector<char>>(size);
    return Buffer(buffer.release(), [this](std::vector<char>* unused) {
        recycle(std::unique_ptr<std::vector<char>>(unused));
    });
}

// Fresh memory costs as much as reading the frame; so one buffer waits for the next frame.
void DevFrameCache::recycle(std::unique_ptr<std::vector<char>> buffer) {
    const Lock lock(spareMutex_);
    spare_ = std::move(buffer);
}

void DevFrameCache::keep(const DevFrameKey& key, Buffer buffer) {
    const Lock lock(mutex_);
    if (index_.count(key) != 0)
        return;
    keptBytes_ += buffer->size() + bookkeeping;
    kept_.push_front({key, std::move(buffer)});
    index_[key] = kept_.begin();
    while (keptBytes_ > bound_) {
        keptBytes_ -= kept_.back().buffer->size() + bookkeeping;
        index_.erase(kept_.back().key);
        kept_.pop_back();
    }
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
    const DevOpenFrame opened = tree_.openFrame(frameId);
    if (!opened.file.isOpen() || !accepts(opened.frame))
        return;
    {
        const Lock lock(mutex_);
        if (index_.count(opened.frame.key) != 0)
            return;
        loading_ = &opened.frame.key;
    }
    try {
        load(opened);
    } catch (...) {
        finishLoad();
        throw;
    }
    finishLoad();
    if (log_.isVerbose())
        log_("ReadAhead: " + frameId + " is in memory");
}

void DevFrameCache::load(const DevOpenFrame& opened) {
    Buffer buffer = newBuffer(opened.frame.size);
    devReadAt(opened.file, buffer->data(), buffer->size(), 0);
    keep(opened.frame.key, std::move(buffer));
}

void DevFrameCache::finishLoad() {
    {
        const Lock lock(mutex_);
        loading_ = nullptr;
    }
    changed_.notify_all();
}
