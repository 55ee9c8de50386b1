#include "stream/Pool.h"

#include "stream/PoolCore.h"

#include <utility>

namespace lantrix {

namespace {

PoolOptions optionsOf(unsigned connections, const std::atomic<bool>* cancelFlag) {
    PoolOptions options;
    options.connections = connections;
    options.cancelFlag = cancelFlag;
    return options;
}

} // namespace

Pool::Pool(const std::string& host, unsigned connections, const std::atomic<bool>* cancelFlag)
    : Pool(host, optionsOf(connections, cancelFlag)) {}

Pool::Pool(const std::string& host, const PoolOptions& options)
    : core_(std::make_unique<PoolCore>(host, options)), own_(std::make_shared<PoolGroup>()) {}

Pool::~Pool() = default;

std::future<Failure> Pool::run(Work work, Retry retry) {
    auto promise = std::make_shared<std::promise<Failure>>();
    std::future<Failure> future = promise->get_future();
    run(
        std::move(work), [promise](const Failure& failure) { promise->set_value(failure); }, retry);
    return future;
}

void Pool::run(Work work, Done done, Retry retry) {
    core_->run(own_, std::move(work), std::move(done), retry);
}

void Pool::cancel() noexcept {
    core_->cancel();
}

bool Pool::isCancelled() const noexcept {
    return core_->isCancelled();
}

unsigned Pool::connections() const noexcept {
    return core_->connections();
}

unsigned Pool::opened() const {
    return core_->opened();
}

WorkGroup::WorkGroup(Pool& pool) : pool_(pool), group_(std::make_shared<PoolGroup>()) {}

WorkGroup::~WorkGroup() {
    cancel();
    wait();
}

void WorkGroup::run(Work work, Done done, Retry retry) {
    pool_.core_->run(group_, std::move(work), std::move(done), retry);
}

void WorkGroup::cancel() {
    pool_.core_->cancel(*group_);
}

void WorkGroup::wait() {
    pool_.core_->wait(*group_);
}

} // namespace lantrix
