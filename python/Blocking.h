// Runs what waits without the interpreter's lock, in the calling thread, so that nothing is handed
// over on the way of a frame. Called with the lock held, and returns with it.
#ifndef PYTHON_BLOCKING_H
#define PYTHON_BLOCKING_H

#include "python/Watch.h"

#include <functional>
#include <mutex>

namespace python {

/// A function that is only called while the caller waits: nothing of it is copied.
template <class Argument>
class Borrowed {
public:
    template <class Function>
    Borrowed(Function& function) // converts as functions are expected to
        : object_(&function), run_([](void* object, Argument& argument) {
              (*static_cast<Function*>(object))(argument);
          }) {}
    void operator()(Argument& argument) const { run_(object_, argument); }

private:
    void* object_;
    void (*run_)(void* object, Argument& argument);
};

/// Runs \p work without the interpreter's lock; what it throws is thrown on. \p work calls
/// Watch::enter once it is its turn, looks at Watch::ending until then, and calls Watch::leave.
/// Throws Python's exception when a handler of a signal has raised one: before the work, and behind
/// it when the signal has ended it.
Ending runBlocking(Endable& target, TimeLimit limit, Borrowed<Watch> work);

/// The same for what can't be ended, and takes a moment.
void runUnlocked(const std::function<void()>& work);

/// The turn of one thread among those that use an object.
class Turn {
public:
    /// Waits until it is the caller's turn; gives no lock when \p watch was ended before.
    [[nodiscard]] std::unique_lock<std::timed_mutex> wait(const Watch& watch);
    [[nodiscard]] std::unique_lock<std::timed_mutex> wait();

private:
    std::timed_mutex mutex_;
};

} // namespace python

#endif
