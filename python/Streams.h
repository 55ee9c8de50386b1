// Many connections at once, for Python: frames read ahead, frames written, a walk. Each is a thin
// coat over the class of stream/ with a pool of its own, which Ctrl-C and time limits cancel.
// Owns its pool and threads. Functions are called with the interpreter's lock, which the threads of
// a pool never take. In a child process an object of its parent is only left alone.
// Failures are BindingError.
#ifndef PYTHON_STREAMS_H
#define PYTHON_STREAMS_H

#include "python/Node.h"
#include "stream/FrameReader.h"
#include "stream/FrameWriter.h"
#include "stream/TreeWalker.h"

namespace python {

/// A pool with one user, which is destroyed before it.
class Pooled : public Endable {
public:
    Pooled(const Pooled&) = delete;
    Pooled& operator=(const Pooled&) = delete;
    void end() noexcept override { pool_->cancel(); }

protected:
    Pooled(std::shared_ptr<Connection> connection, unsigned connections);
    ~Pooled();

    [[nodiscard]] lantrix::Pool& pool() { return *pool_; }
    [[nodiscard]] Connection& connection() { return *connection_; }
    [[nodiscard]] bool isInherited() const { return generation_ != processGeneration(); }
    /// Runs \p function, which gives a Failure, without the interpreter's lock and alone; false,
    /// without having run it, when the object was closed. Throws in a process that did not make it.
    template <class Function>
    bool wait(Function&& function) {
        requireOwn();
        lantrix::Failure failure{lantrix::Failure::Kind::Stopped, {}};
        bool isOpen = true;
        auto work = [&](Watch& watch) {
            const auto turn = turn_->wait(watch);
            if (!turn)
                return;
            const Inside inside(watch);
            isOpen = !isClosing_;
            failure = isOpen ? function() : lantrix::Failure();
        };
        const Ending ending = runBlocking(*this, connection_->limit(), work);
        if (failure)
            throwEnded(ending, failure, connection_->host(), framePort);
        return isOpen;
    }
    /// Ends what other threads wait for, destroys \p user, and then the pool.
    template <class User>
    void destroy(std::unique_ptr<User>& user) {
        if (isInherited()) {
            [[maybe_unused]] const auto* const lost = user.release();
            return;
        }
        runUnlocked([&] {
            isClosing_ = true;
            Watch::endCallsOn(*this);
            const auto turn = turn_->wait();
            user.reset();
            pool_.reset();
        });
    }

private:
    void requireOwn() const;

    const std::shared_ptr<Connection> connection_;
    const unsigned generation_;
    std::unique_ptr<Turn> turn_;
    std::atomic<bool> isClosing_{false};
    std::unique_ptr<lantrix::Pool> pool_; // null when closed
};

/// Frames of a clip in order, read ahead.
class FrameSource final : public Pooled {
public:
    FrameSource(Node& clip, std::vector<int> indices, unsigned connections, unsigned ahead);
    ~FrameSource() { close(); }

    /// The index and the array of the next frame; none behind the last.
    [[nodiscard]] std::optional<std::pair<int, py::array>> next();
    void close() { destroy(reader_); }

private:
    [[nodiscard]] py::array arrayOf(lantrix::FrameBuffer pixels);

    const std::shared_ptr<const Node::Clip> clip_;
    std::shared_ptr<std::atomic<int>> lent_; // frames whose memory arrays hold
    std::unique_ptr<lantrix::FrameReader> reader_;
};

/// Writes frames of a clip, several at once.
class FrameSink final : public Pooled {
public:
    FrameSink(Node& clip, unsigned connections, unsigned ahead);
    ~FrameSink() { close(); }

    /// Hands a frame in; throws the failure of an earlier one, if there was any.
    void write(long long index, const py::array& frame);
    /// Waits for all, and throws the first failure.
    void finish();
    void close() { destroy(writer_); }

private:
    struct Results {
        std::mutex mutex;
        lantrix::Failure failure; // the first
    };
    void throwFailure();

    const std::shared_ptr<const Node::Clip> clip_;
    const std::shared_ptr<Results> results_;
    std::unique_ptr<lantrix::FrameWriter> writer_;
};

/// The nodes below one, each before those below it.
class Walk final : public Pooled {
public:
    Walk(Node& start, unsigned connections, int depth);
    ~Walk() { close(); }

    /// Depth, id, name, type, kind, whether it is a clip, count of children, and the text of what
    /// could not be told, or none; none behind the last node.
    [[nodiscard]] std::optional<py::tuple> next();
    void close() { destroy(walker_); }

private:
    std::unique_ptr<lantrix::TreeWalker> walker_;
};

} // namespace python

#endif
