#include "mount/Mount.h"

#include "mount/FileSystem.h"
#include "mount/Operations.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mounted {

namespace {

constexpr std::chrono::milliseconds tidyInterval(50);
constexpr unsigned fewestThreads = 2;
constexpr unsigned mostThreads = 4;

// What libfuse says when it fails, which it tells in no other way.
std::string& lastMessage() {
    static std::string text;
    return text;
}

__attribute__((format(printf, 2, 0))) void keepMessage(fuse_log_level /*level*/, const char* format,
                                                       std::va_list arguments) {
    static std::mutex mutex;
    std::array<char, 512> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    const std::lock_guard<std::mutex> lock(mutex);
    lastMessage() = text.data();
    while (!lastMessage().empty() && lastMessage().back() == '\n')
        lastMessage().pop_back();
}

[[noreturn]] void failMounting(const MountOptions& options, const std::string& why) {
    throw MountError("can't mount at '" + options.folder + "': " + why);
}

// A folder is opened, for what is known of one whose mount has died is believed for a while.
void checkFolder(const MountOptions& options) {
    const int folder = ::open(options.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0)
        ::close(folder);
    else if (errno == ENOTCONN)
        failMounting(options,
                     "a mount that has died is still there; 'fusermount3 -u' takes it away");
    else
        failMounting(options, std::strerror(errno));
}

// The options of a mount, between commas, of which its name may hold some.
std::string systemOptions(const MountOptions& options) {
    std::string name;
    for (const char c : options.source)
        name += c == ',' || c == '\\' ? std::string{'\\', c} : std::string{c};
    return "fsname=" + name + ",subtype=lantrix,default_permissions,noatime,nodev,nosuid" +
           (options.isWritable ? "" : ",ro") + (options.allowOthers ? ",allow_other" : "");
}

// The session and its mount.
class Session {
public:
    Session(const MountOptions& options, FileSystem& fileSystem) : options_(options) {
        const std::string words = systemOptions(options);
        std::vector<std::string> texts{"lantrix", "-o", words};
        std::vector<char*> pointers;
        for (std::string& text : texts)
            pointers.push_back(text.data());
        fuse_args arguments{static_cast<int>(pointers.size()), pointers.data(), 0};
        session_ =
            fuse_session_new(&arguments, &operations(), sizeof(fuse_lowlevel_ops), &fileSystem);
        fuse_opt_free_args(&arguments);
        if (session_ == nullptr)
            failMounting(options, lastMessage());
        if (fuse_session_mount(session_, options.folder.c_str()) != 0) {
            fuse_session_destroy(session_);
            failMounting(options, lastMessage());
        }
        const int descriptor = fuse_session_fd(session_);
        ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    }
    ~Session() {
        fuse_session_unmount(session_);
        fuse_session_destroy(session_);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void serve(FileSystem& fileSystem) {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) != 0)
            failMounting(options_, std::strerror(errno));
        std::vector<std::thread> threads;
        const unsigned count =
            std::clamp(std::thread::hardware_concurrency(), fewestThreads, mostThreads);
        for (unsigned i = 0; i < count; ++i)
            threads.emplace_back([this, wake = ends[0]] { process(wake); });
        while (!hasEnded()) {
            std::this_thread::sleep_for(tidyInterval);
            fileSystem.tidy();
        }
        ::close(ends[1]);
        for (std::thread& thread : threads)
            thread.join();
        ::close(ends[0]);
        fileSystem.end();
    }

private:
    bool hasEnded() {
        if (options_.endFlag != nullptr && *options_.endFlag)
            fuse_session_exit(session_);
        return fuse_session_exited(session_) != 0;
    }

    // Several threads take requests from one descriptor, whoever comes first.
    void process(int wake) {
        fuse_buf buffer{};
        std::array<pollfd, 2> entries{{{fuse_session_fd(session_), POLLIN, 0}, {wake, POLLIN, 0}}};
        while (fuse_session_exited(session_) == 0) {
            if (::poll(entries.data(), entries.size(), -1) <= 0)
                continue;
            const int size = fuse_session_receive_buf(session_, &buffer);
            if (size == -EINTR || size == -EAGAIN)
                continue;
            if (size <= 0)
                fuse_session_exit(session_);
            else
                fuse_session_process_buf(session_, &buffer);
        }
        std::free(buffer.mem);
    }

    const MountOptions& options_;
    fuse_session* session_;
};

} // namespace

void serveMount(const MountOptions& options) {
    fuse_set_log_func(keepMessage);
    checkFolder(options);
    FileSystem fileSystem(options);
    Session session(options, fileSystem);
    options.mounted();
    session.serve(fileSystem);
}

} // namespace mounted
