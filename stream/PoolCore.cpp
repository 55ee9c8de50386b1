#include "stream/PoolCore.h"

#include <algorithm>
#include <exception>
#include <locale>
#include <sstream>
#include <utility>

namespace lantrix {

namespace {

constexpr std::chrono::milliseconds watchInterval(20);

static_assert(std::atomic<bool>::is_always_lock_free); // signal handlers may cancel

PoolOptions checked(PoolOptions options) {
    options.connections = std::max(options.connections, 1U);
    return options;
}

} // namespace

PoolCore::PoolCore(std::string host, PoolOptions options)
    : host_(std::move(host)), options_(checked(std::move(options))), watcher_([this] { watch(); }) {
}

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
    return cancelled_ || (options_.cancelFlag != nullptr && *options_.cancelFlag);
}

bool PoolCore::isCancelled(const PoolGroup& group) const noexcept {
    return group.cancelled || isCancelled();
}

unsigned PoolCore::opened() const {
    const Lock lock(mutex_);
    return static_cast<unsigned>(workers_.size());
}

// A worker that hands in more from its callback will take it itself: nobody is woken for that.
void PoolCore::run(const std::shared_ptr<PoolGroup>& group, Work work, Done done, Retry retry) {
    Lock lock(mutex_);
    queue_.push_back({group, std::move(work), std::move(done), retry});
    ++group->pending;
    if (pending_++ == 0)
        watchNeeded_.notify_one();
    if (queue_.size() <= returning_)
        return;
    if (queue_.size() > idle_ + returning_ && workers_.size() < options_.connections && !ending_)
        startWorker();
    lock.unlock(); // which who is woken needs
    workCame_.notify_one();
}

// Without a further thread the present ones do the work; without any the watcher tells the failure.
void PoolCore::startWorker() {
    try {
        auto worker = std::make_unique<Worker>();
        workers_.reserve(workers_.size() + 1);
        worker->number = static_cast<unsigned>(workers_.size());
        worker->server = worker->number == 0 ? options_.first : nullptr;
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
        worker.deadline = options_.timeLimit.count() == 0 ? Clock::time_point::max()
                                                          : Clock::now() + options_.timeLimit;
        lock.unlock();
        const Failure failure = perform(worker, task);
        lock.lock();
        worker.running = nullptr;
        ++returning_;
        lock.unlock();
        finish(task, failure);
        lock.lock();
        --returning_;
    }
}

Failure PoolCore::perform(Worker& worker, const Task& task) {
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
        if (failure.kind != Failure::Kind::Connection)
            return failure;
        if (Clock::now() > worker.deadline)
            return lateFailure();
        if (task.retry == Retry::Never || failures == options_.retries.count ||
            !rest(task, failure, failures, worker.deadline))
            return failure;
    }
}

// False when there is no time left for the wait. A cancelled one ends early, and so does the work.
bool PoolCore::rest(const Task& task, const Failure& failure, unsigned failures,
                    Clock::time_point deadline) const {
    const std::chrono::milliseconds pause = options_.retries.pause(failures);
    const Clock::time_point end = Clock::now() + pause;
    if (end >= deadline)
        return false;
    if (options_.retrying)
        options_.retrying(failure, pause);
    while (!isCancelled(*task.group) && Clock::now() < end)
        std::this_thread::sleep_for(watchInterval);
    return true;
}

Failure PoolCore::lateFailure() const {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "no answer within " << std::chrono::duration<double>(options_.timeLimit).count()
         << " s";
    return {Failure::Kind::Connection, text.str()};
}

Failure PoolCore::attempt(Worker& worker, const Work& work) {
    try {
        if (worker.server == nullptr) {
            auto server = std::make_unique<LantrixServerHandle>(host_.c_str());
            const Lock lock(mutex_);
            worker.own = std::move(server);
            worker.server = worker.own.get();
        }
        Connection connection{*worker.server, worker.number};
        return work(connection);
    } catch (const std::exception& error) {
        return {Failure::Kind::Refused, error.what()};
    }
}

// The next work begins with a handle that knows nothing of the call that broke off.
void PoolCore::renew(Worker& worker) {
    std::unique_ptr<LantrixServerHandle> broken;
    const Lock lock(mutex_);
    broken.swap(worker.own);
    worker.server = nullptr;
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
    const Clock::time_point now = Clock::now();
    for (const auto& worker : workers_) {
        if (worker->running == nullptr || worker->server == nullptr ||
            (now <= worker->deadline && !isCancelled(*worker->running)))
            continue;
        worker->server->stop();
        if (options_.wake)
            options_.wake(worker->thread.native_handle());
    }
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
