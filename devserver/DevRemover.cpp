#include "devserver/DevRemover.h"

#include "devserver/DevTreeNames.h"

#include <exception>
#include <utility>

DevRemover::DevRemover(DevStorage& storage, const DevLog& log)
    : storage_(storage), log_(log), thread_([this] { run(); }) {}

DevRemover::~DevRemover() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void DevRemover::removeNodes(std::vector<std::uint64_t> nodes) {
    add([this, taken = std::move(nodes)] { removeSubtree(taken); });
}

void DevRemover::removeAside(std::vector<std::string> names) {
    add([this, taken = std::move(names)] {
        for (const std::string& name : taken) {
            if (isEnding())
                return;
            (void)attempt([&] { storage_.removeAside(name); });
        }
    });
}

void DevRemover::add(Task task) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    changed_.notify_all();
}

void DevRemover::run() {
    for (;;) {
        Task task;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
            if (ending_)
                return;
            task = std::move(tasks_.front());
            tasks_.pop_front();
            busy_ = true;
        }
        (void)attempt(task);
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            busy_ = false;
        }
        changed_.notify_all();
    }
}

void DevRemover::await() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return !busy_ && tasks_.empty(); });
}

// Children before the topmost, whose folder stays while any of them can't be set aside.
void DevRemover::removeSubtree(const std::vector<std::uint64_t>& nodes) {
    bool allAside = true;
    for (std::size_t i = 1; i < nodes.size() && !isEnding(); ++i)
        allAside &= attempt([&] { storage_.setAside(nodes[i]); });
    if (!allAside || isEnding() || !attempt([&] { storage_.flushAside(); }))
        return;
    for (std::size_t i = nodes.size(); i-- > 0 && !isEnding();)
        (void)attempt([&] { storage_.removeAside(DevTreeNames::folderName(nodes[i])); });
}

bool DevRemover::attempt(const Task& task) {
    try {
        task();
        return true;
    } catch (const std::exception& error) {
        log_(error.what());
        return false;
    }
}

bool DevRemover::isEnding() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return ending_;
}
