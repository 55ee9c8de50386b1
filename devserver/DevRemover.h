// Frees the space of destroyed nodes in a thread of its own, behind the reply that told of their
// end. The folder of the topmost one waits in "aside" until all below it are gone, so that a start
// after a kill knows whose remains the others are.
// Owns its thread; borrows the storage and the log. Any thread. What can't be removed is logged.
#ifndef DEVSERVER_DEVREMOVER_H
#define DEVSERVER_DEVREMOVER_H

#include "devserver/DevIndex.h"
#include "devserver/DevLog.h"
#include "devserver/DevStorage.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class DevRemover {
public:
    DevRemover(DevStorage& storage, const DevLog& log);
    DevRemover(const DevRemover&) = delete;
    DevRemover& operator=(const DevRemover&) = delete;
    /// Ends the thread after the folder that it is removing; the next start goes on.
    ~DevRemover();

    /// \p nodes have the topmost one in front, which is set aside already; the others are not.
    void removeNodes(std::vector<std::uint64_t> nodes);
    /// Entries of "aside".
    void removeAside(std::vector<std::string> names);

    /// Returns when all of them are removed.
    void await();

private:
    using Task = std::function<void()>;

    void add(Task task);
    void run();
    void removeSubtree(const std::vector<std::uint64_t>& nodes);
    [[nodiscard]] bool attempt(const Task& task);
    [[nodiscard]] bool isEnding();

    DevStorage& storage_;
    const DevLog& log_;
    std::mutex mutex_; // guards all that follows but the thread
    std::condition_variable changed_;
    std::deque<Task> tasks_;
    bool busy_ = false;
    bool ending_ = false;
    std::thread thread_; // last: starts when all else is there
};

#endif
