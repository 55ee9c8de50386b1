// One server handle for all objects of Python that stand for the server or a node on it. Threads
// take turns at it, without the interpreter's lock.
// Owns the handle; nodes share the connection. Functions are called with the interpreter's lock,
// except for those that a call is given, which run without it and alone on the handle.
#ifndef PYTHON_CONNECTION_H
#define PYTHON_CONNECTION_H

#include "python/Binding.h"
#include "python/Blocking.h"

#include <memory>
#include <vector>

namespace python {

constexpr int commandPort = 7549;
constexpr int framePort = 7550;

/// What a call works on.
struct Call {
    LantrixServerHandle& server;
    int port = commandPort;   ///< The call sets the one of the connection that it goes on to use.
    lantrix::Failure failure; ///< What it leaves behind when it fails.

    /// Takes over the handle's failure when \p isDone is false.
    bool check(bool isDone) {
        if (!isDone)
            failure = lantrix::Failure::lastOf(server);
        return isDone;
    }
};

class Connection final : public Endable {
public:
    Connection(const Text& host, TimeLimit limit);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    [[nodiscard]] const std::string& host() const { return host_; }
    [[nodiscard]] TimeLimit limit() const { return limit_; }
    void setLimit(TimeLimit limit) { limit_ = limit; }
    [[nodiscard]] bool isClosed() const { return isClosed_; }
    /// Closes both connections, once the call under way has ended. Later calls are refused.
    void close();
    /// Ends the calls that other threads wait for.
    void stop() { Watch::endCallsOn(*this); }

    /// Makes \p function, of a Call&, work on the handle. Throws BindingError when it leaves a
    /// failure behind, and what it throws itself.
    template <class Function>
    void call(Function&& function) {
        auto operation = [&function](Call& call) { function(call); };
        run(operation);
    }

    /// Changes when there is another handle: what borrows the old one must not be used any more.
    [[nodiscard]] unsigned handleNumber() const { return handleNumber_; }

    [[nodiscard]] Text vendor();
    [[nodiscard]] Text product();
    [[nodiscard]] std::pair<int, int> version();
    [[nodiscard]] std::pair<int, int> protocol();
    [[nodiscard]] Text storageId();
    void ping();
    /// The id of the root.
    [[nodiscard]] Text root();
    [[nodiscard]] std::vector<Text> translatePaths(const std::vector<Text>& paths,
                                                   const Text& fromHost, const Text& toHost,
                                                   int fromSystem, int toSystem);

    void end() noexcept override;

private:
    void run(Borrowed<Call> operation);
    void settleFork();
    void renew();
    [[nodiscard]] Text textOf(bool (LantrixServerHandle::*query)(LantrixStr&) const);
    [[nodiscard]] std::pair<int, int> numbersOf(bool (LantrixServerHandle::*query)(int&, int&)
                                                    const);

    const std::string host_;
    TimeLimit limit_;
    std::unique_ptr<LantrixServerHandle> handle_;
    std::unique_ptr<Turn> turn_; // held during a call
    bool isBusy_ = false;        // in a call; written with the turn
    std::atomic<bool> isClosed_{false};
    unsigned handleNumber_ = 0;
    unsigned generation_; // of the process that the turn belongs to
};

/// Throws the error for a call that was ended, unless \p failure says that it was not.
[[noreturn]] void throwEnded(Ending ending, const lantrix::Failure& failure,
                             const std::string& host, int port);

} // namespace python

#endif
