// Processes other than the benchmark's own: peers, which run a function of it, and installed
// servers. A Process owns the child: it is ended and awaited with the object, and by the system
// when the benchmark itself dies. Fork before threads are started.
#ifndef BENCH_SUPPORT_PROCESS_H
#define BENCH_SUPPORT_PROCESS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace bench {

class Process {
public:
    /// Runs \p body in a child; an exception in it is printed on standard error.
    static Process running(const std::function<void()>& body);
    /// Executes a program with these arguments, the first of them its path; what it prints is
    /// dropped.
    static Process executing(const std::vector<std::string>& arguments);

    /// Becomes that program. The first argument is its path.
    [[noreturn]] static void execute(const std::vector<std::string>& arguments);

    Process(Process&& other) noexcept;
    Process& operator=(Process&&) = delete;
    ~Process();

    pid_t id() const { return id_; }
    /// Waits for the end, and throws unless it was with status 0.
    void requireSuccess();

private:
    explicit Process(pid_t id) : id_(id) {}

    pid_t id_; // -1: moved from, or awaited
};

/// The cores that this process may use, at most two, asked before anything is pinned.
const std::vector<int>& cores();
/// Lets all threads of a process run on these cores only; 0 is this process.
void pin(pid_t process, const std::vector<int>& allowed);
/// Memory of the process that is resident, in bytes.
std::size_t residentBytes(pid_t process);

} // namespace bench

#endif
