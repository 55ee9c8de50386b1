#include "stream/PoolCore.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace lantrix {

namespace {

constexpr std::chrono::milliseconds watchInterval(20);

static_assert(std::atomic<bool>::is_always_lock_free); // signal handlers may cancel

} // namespace

PoolCore::PoolCore(std::string host, unsigned connections, const std::atomic<bool>* cancelFlag)
    : host_(std::move(host)), limit_(std::max(connections, 1U)), cancelFlag_(cancelFlag),
      watcher_([this] { watch(); }) {}

// The watcher goes last: workers may need its stops to end.
PoolCore::~PoolCore() {
    cancel();
    {
        const Lock lock(mutex_);
        ending_ = true;
        workCame_.notify_all();
        watchNeeded_.notify_one();
    }
    for (const auto& worker : workers_)
        worker->thread.join();
    {
        const Lock lock(mutex_);
        ended_ = true;
        watchNeeded_.notify_one();
    }
    watcher_.join();
}

bool PoolCore::isCancelled() const noexcept {
    return cancelled_ || (cancelFlag_ != nullptr && *cancelFlag_);
}

bool PoolCore::isCancelled(const PoolGroup& group) const noexcept {
    return group.cancelled || isCancelled();
}

unsigned PoolCore::opened() const {
    const Lock lock(mutex_);
    return static_cast<unsigned>(workers_.size());
}

void PoolCore::run(const std::shared_ptr<PoolGroup>& group, Work work, Done done, Retry retry) {
    const Lock lock(mutex_);
    queue_.push_back({group, std::move(work), std::move(done), retry});
    ++group->pending;
    if (pending_++ == 0)
        watchNeeded_.notify_one();
    if (queue_.size() > idle_ && workers_.size() < limit_ && !ending_)
        startWorker();
    workCame_.notify_one();
}

// Without a further thread the present ones do the work; without any the watcher tells the failure.
void PoolCore::startWorker() {
    try {
        auto worker = std::make_unique<Worker>();
        workers_.reserve(workers_.size() + 1);
        worker->number = static_cast<unsigned>(workers_.size());
        worker->thread = std::thread([this, &me = *worker] { work(me); });
        workers_.push_back(std::move(worker));
    } catch (const std::exception&) {
        return;
    }
}

void PoolCore::cancel(PoolGroup& group) {
    const Lock lock(mutex_);
    group.cancelled = true;
    watchNeeded_.notify_one();
}

void PoolCore::wait(const PoolGroup& group) {
    Lock lock(mutex_);
    groupEnded_.wait(lock, [&group] { return group.pending == 0; });
}

void PoolCore::work(Worker& worker) {
    Lock lock(mutex_);
    for (;;) {
        ++idle_;
        workCame_.wait(lock, [this] { return ending_ || !queue_.empty(); });
        --idle_;
        if (queue_.empty())
            return;
        Task task = std::move(queue_.front());
        queue_.pop_front();
        worker.running = task.group.get();
        lock.unlock();
        const Failure failure = perform(worker, task);
        lock.lock();
        worker.running = nullptr;
        lock.unlock();
        finish(task, failure);
        lock.lock();
    }
}

Failure PoolCore::perform(Worker& worker, const Task& task) {
    const Retries retries;
    for (unsigned failures = 0;; ++failures) {
        if (isCancelled(*task.group))
            return {Failure::Kind::Stopped, "Cancelled."};
        Failure failure = attempt(worker, task.work);
        // A stop that nobody asked for is a server's way to break off, or its text looks like one.
        if (failure && isCancelled(*task.group))
            failure.kind = Failure::Kind::Stopped;
        else if (failure.kind == Failure::Kind::Stopped)
            failure.kind = Failure::Kind::Connection;
        if (failure && failure.kind != Failure::Kind::Refused)
            renew(worker);
        if (failure.kind != Failure::Kind::Connection || task.retry == Retry::Never ||
            failures == retries.count)
            return failure;
        std::this_thread::sleep_for(retries.pause(failures));
    }
}

Failure PoolCore::attempt(Worker& worker, const Work& work) {
    try {
        if (!worker.server) {
            auto server = std::make_unique<LantrixServerHandle>(host_.c_str());
            const Lock lock(mutex_);
            worker.server = std::move(server);
        }
        Connection connection{*worker.server, worker.number};
        return work(connection);
    } catch (const std::exception& error) {
        return {Failure::Kind::Refused, error.what()};
    }
}

// A handle whose call broke off may still be owed a reply, which would be taken for the next one's.
void PoolCore::renew(Worker& worker) {
    std::unique_ptr<LantrixServerHandle> broken;
    const Lock lock(mutex_);
    broken.swap(worker.server);
}

// What the work holds is let go before its group hears of the end.
void PoolCore::finish(Task& task, const Failure& failure) {
    task.done(failure);
    task.work = nullptr;
    task.done = nullptr;
    const Lock lock(mutex_);
    --pending_;
    if (--task.group->pending == 0)
        groupEnded_.notify_all();
}

void PoolCore::watch() {
    Lock lock(mutex_);
    while (!ended_ || !queue_.empty()) {
        if (pending_ == 0)
            watchNeeded_.wait(lock, [this] { return ended_ || pending_ != 0; });
        else
            watchNeeded_.wait_for(lock, watchInterval);
        stopRunning();
        endWaiting(lock);
    }
}

void PoolCore::stopRunning() {
    for (const auto& worker : workers_)
        if (worker->running != nullptr && worker->server && isCancelled(*worker->running))
            worker->server->stop();
}

// Work that waits for a busy worker need not wait for its end to be told that it is cancelled.
void PoolCore::endWaiting(Lock& lock) {
    for (;;) {
        const auto found = std::find_if(queue_.begin(), queue_.end(), [this](const Task& task) {
            return workers_.empty() || isCancelled(*task.group);
        });
        if (found == queue_.end())
            return;
        const Failure failure = isCancelled(*found->group)
                                    ? Failure{Failure::Kind::Stopped, "Cancelled."}
                                    : Failure{Failure::Kind::Refused, "Cannot start a thread."};
        Task task = std::move(*found);
        queue_.erase(found);
        lock.unlock();
        finish(task, failure);
        lock.lock();
    }
}

} // namespace lantrix
