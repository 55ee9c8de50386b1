// How a call that waits is ended: by a signal that Python has a handler for (Ctrl-C), a time limit,
// or another thread. Each call that waits has a Watch; one thread, begun with the first of them,
// ends those that are to end, again and again until they have returned, since a stop between two
// transfers is forgotten.
// A signal can't be looked for by the thread that waits, and Python's handlers run in the main
// thread alone: so SIGINT has a handler of this file's own while the main thread waits, which wakes
// the watching thread and then calls the handler that was there.
// Threads: a Watch is its thread's; Endable::end is called from the watching thread.
#ifndef PYTHON_WATCH_H
#define PYTHON_WATCH_H

#include <atomic>
#include <chrono>
#include <optional>

#include <csignal>

namespace python {

/// What a call waits in, and another thread may end.
class Endable {
public:
    /// Makes the wait return soon. Called any number of times while a call waits in it.
    virtual void end() noexcept = 0;

protected:
    ~Endable() = default;
};

/// Seconds that a call may take; none for ever.
using TimeLimit = std::optional<double>;

/// Why a call was ended.
enum class Ending { None, Signal, Late, Stop };

/// One call that waits, from before the interpreter's lock is released until it is held again.
class Watch {
public:
    /// With the interpreter's lock. Throws when the system has no thread or pipe left.
    Watch(Endable& target, TimeLimit limit);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// From now on the call is in the target and may be ended there; before, it waits for its turn.
    void enter() { isInside_ = true; }
    /// From now on the target is left alone. True when the call was ended.
    bool leave();
    [[nodiscard]] Ending ending() const { return ending_; }

    /// Ends all calls on \p target that are under way.
    static void endCallsOn(const Endable& target);

private:
    friend class Watcher;
    using Clock = std::chrono::steady_clock;

    Endable& target_;
    std::optional<Clock::time_point> deadline_;
    std::atomic<Ending> ending_{Ending::None};
    std::atomic<bool> isInside_{false};
    const unsigned mainCall_; // its number among those of the main thread; 0 in another thread
    bool isCaught_ = false;
    struct sigaction previous_ {};
};

/// Brackets the time that a call is in its target.
class Inside {
public:
    explicit Inside(Watch& watch) : watch_(watch) { watch_.enter(); }
    ~Inside() { watch_.leave(); }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

private:
    Watch& watch_;
};

/// Differs between a process and its children, whatever threads it had.
[[nodiscard]] unsigned processGeneration();

} // namespace python

#endif
