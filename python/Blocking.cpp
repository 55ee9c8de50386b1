#include "python/Blocking.h"

#include "python/Binding.h"
#include "python/Log.h"

#include <exception>

#include <unistd.h>

namespace python {

namespace {

// A thread that asks for the interpreter's lock while the interpreter ends is unwound by it; the
// objects in its frames must not be touched any more. It waits here for the end of the process.
class UntilRestored {
public:
    ~UntilRestored() {
        while (!isRestored_)
            ::pause();
    }
    void restored() { isRestored_ = true; }

private:
    bool isRestored_ = false;
};

template <class Work>
void withoutLock(const Work& work) {
    std::exception_ptr failure;
    {
        PyThreadState* const state = PyEval_SaveThread();
        UntilRestored guard;
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        PyEval_RestoreThread(state);
        guard.restored();
    }
    if (failure)
        std::rethrow_exception(failure);
}

void checkSignals() {
    if (PyErr_CheckSignals() != 0)
        throw py::error_already_set();
}

} // namespace

Ending runBlocking(Endable& target, TimeLimit limit, Borrowed<Watch> work) {
    Ending ending = Ending::None;
    {
        Watch watch(target, limit);
        checkSignals(); // one that came before would not be seen by the watch
        withoutLock([&] { work(watch); });
        ending = watch.ending();
    }
    passLogOn();
    if (ending == Ending::Signal)
        checkSignals();
    return ending;
}

void runUnlocked(const std::function<void()>& work) {
    withoutLock(work);
}

std::unique_lock<std::timed_mutex> Turn::wait(const Watch& watch) {
    std::unique_lock<std::timed_mutex> turn(mutex_, std::try_to_lock);
    while (!turn.owns_lock() && watch.ending() == Ending::None)
        (void)turn.try_lock_for(std::chrono::milliseconds(20));
    return turn;
}

std::unique_lock<std::timed_mutex> Turn::wait() {
    return std::unique_lock<std::timed_mutex>(mutex_);
}

} // namespace python
