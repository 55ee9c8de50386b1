#include "bench/support/Process.h"

#include "bench/support/Socket.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

namespace fs = std::filesystem;

fs::path folderOf(pid_t process) {
    return fs::path("/proc") / std::to_string(process != 0 ? process : ::getpid());
}

void dropOutput() {
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(nowhere, fd);
}

[[noreturn]] void runAndExit(const std::function<void()>& body) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    try {
        body();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "A child process of the benchmark failed: %s\n", error.what());
        ::_exit(1);
    }
    ::_exit(0);
}

std::vector<int> allowedCores() {
    cpu_set_t set;
    if (::sched_getaffinity(0, sizeof set, &set) != 0)
        failWithErrno("sched_getaffinity");
    std::vector<int> allowed;
    for (int core = 0; core < CPU_SETSIZE && allowed.size() < 2; ++core)
        if (CPU_ISSET(static_cast<std::size_t>(core), &set))
            allowed.push_back(core);
    return allowed;
}

} // namespace

Process Process::running(const std::function<void()>& body) {
    const pid_t id = ::fork();
    if (id < 0)
        failWithErrno("fork");
    if (id == 0)
        runAndExit(body);
    return Process(id);
}

Process Process::executing(const std::vector<std::string>& arguments) {
    return running([&arguments] {
        dropOutput();
        execute(arguments);
    });
}

void Process::execute(const std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str())); // as execv takes them
    pointers.push_back(nullptr);
    ::execv(pointers.front(), pointers.data());
    failWithErrno("exec");
}

Process::Process(Process&& other) noexcept : id_(std::exchange(other.id_, -1)) {}

Process::~Process() {
    if (id_ < 0)
        return;
    ::kill(id_, SIGTERM);
    ::waitpid(id_, nullptr, 0);
}

void Process::requireSuccess() {
    int status = 0;
    if (::waitpid(std::exchange(id_, -1), &status, 0) < 0)
        failWithErrno("waitpid");
    if (status != 0)
        throw std::runtime_error("A program that the benchmark ran has failed");
}

const std::vector<int>& cores() {
    static const std::vector<int> allowed = allowedCores();
    return allowed;
}

void pin(pid_t process, const std::vector<int>& allowed) {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (const int core : allowed)
        CPU_SET(static_cast<std::size_t>(core), &set);
    for (const auto& thread : fs::directory_iterator(folderOf(process) / "task"))
        ::sched_setaffinity(std::stoi(thread.path().filename()), sizeof set, &set);
}

std::size_t residentBytes(pid_t process) {
    std::ifstream statistics(folderOf(process) / "statm");
    std::size_t allPages = 0, residentPages = 0;
    statistics >> allPages >> residentPages;
    return residentPages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

} // namespace bench
