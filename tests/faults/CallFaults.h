// Lets system calls and allocations of the calling thread fail: a program that links this file
// defines the functions that the library calls in front of those of the system. Other threads are
// never touched, and no thread is without a CallFaults object.
// Under a sanitizer the C allocation functions are the sanitizer's; operator new fails all the
// same.
#ifndef TESTS_FAULTS_CALLFAULTS_H
#define TESTS_FAULTS_CALLFAULTS_H

#include <atomic>

enum class Call {
    Memory,
    Socket,
    Connect,
    Fcntl,
    SetOption,
    GetOption,
    Poll,
    Read,
    Send,
    Close,
    Resolve,
    Count
};

/// An error of the call's own; a signal's interruption; one byte transferred where more were asked.
enum class Failure { Error, Interruption, ShortCount };

/// While it lives, the thread's \p nth call that can fail this way does, and of those of the same
/// function that follow as many that \p times fail altogether.
class CallFaults {
public:
    CallFaults(Failure failure, int nth, int times);
    ~CallFaults() { disarm(); }
    CallFaults(const CallFaults&) = delete;
    CallFaults& operator=(const CallFaults&) = delete;

    /// Leaves all calls alone from now on.
    void disarm();
    /// False when the thread made fewer calls.
    bool struck() const { return failed_ != Call::Count; }
    /// The function that failed; Count before.
    Call failed() const { return failed_; }
    /// Decides about one call.
    bool strikes(Call call);
    Failure failure() const { return failure_; }

private:
    Failure failure_;
    int untilFailure_;
    int failuresLeft_;
    Call failed_ = Call::Count;
};

/// The errno value with which a call fails, Memory and Resolve aside.
int errorOf(Call call);

/// The type of socket that this thread has asked for last.
int lastSocketType();

/// Blocks of memory that this thread took and has not given back. Zero under a sanitizer, which
/// finds leaks itself.
long liveBlocks();

/// Lets other threads see when a thread waits.
class WaitWatch {
public:
    /// Follows the calling thread, which must end before this object does.
    void followThisThread();
    /// Grows with the beginning and with the end of each wait: odd while the thread waits.
    int steps() const { return steps_; }
    void step() { ++steps_; }

private:
    std::atomic<int> steps_{0};
};

#endif
