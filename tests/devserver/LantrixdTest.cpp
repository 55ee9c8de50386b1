// lantrixd as a process: killed, without disk space, descriptors or memory.
#include "devserver/DevText.h"
#include "tests/devserver/RawClient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sched.h>
#include <sys/mount.h>
#endif

namespace {

/// Puts an empty file system of 1 MiB on \p folder for this process and its children alone. False
/// where the system has no such thing, or does not let this user have it.
bool mountOneMebibyte([[maybe_unused]] const std::string& folder) {
#ifdef __linux__
    const std::string user = std::to_string(::geteuid()), group = std::to_string(::getegid());
    if (::unshare(CLONE_NEWNS) != 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return false;
        writeFile("/proc/self/setgroups", "deny");
        writeFile("/proc/self/gid_map", "0 " + group + " 1");
        writeFile("/proc/self/uid_map", "0 " + user + " 1");
    }
    return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("none", folder.c_str(), "tmpfs", 0, "size=1m") == 0;
#else
    return false;
#endif
}

bool canMount(const std::string& folder) {
    const pid_t process = ::fork();
    if (process == 0)
        ::_exit(mountOneMebibyte(folder) ? 0 : 1);
    int status = 1;
    ::waitpid(process, &status, 0);
    return status == 0;
}

/// What a process does to itself before it becomes a server.
using Prepare = std::function<void()>;

Prepare limited(decltype(RLIMIT_NOFILE) what, rlim_t most, rlim_t atFirst) {
    return [=] {
        const rlimit limit{atFirst, most};
        ::setrlimit(what, &limit);
    };
}

/// lantrixd as a process of its own, ready when the constructor returns, unless it is given where
/// to say so.
class Lantrixd {
public:
    Lantrixd(const std::string& address, const std::string& root, const Prepare& prepare = {},
             int errorOutput = STDERR_FILENO, int givenOutput = -1) {
        int output[2];
        EXPECT_EQ(0, ::pipe(output));
        process_ = ::fork();
        if (process_ == 0) {
            if (prepare)
                prepare();
            ::dup2(givenOutput >= 0 ? givenOutput : output[1], STDOUT_FILENO);
            ::dup2(errorOutput, STDERR_FILENO);
            ::close(output[0]);
            ::close(output[1]);
            ::execl(LANTRIXD_PATH, "lantrixd", "--root", root.c_str(), "--listen", address.c_str(),
                    "--clip", "clip=256x256x32", "--verbose", nullptr);
            ::_exit(127);
        }
        ::close(output[1]);
        if (givenOutput < 0)
            awaitReady(output[0], address, root);
        ::close(output[0]);
    }
    Lantrixd(const Lantrixd&) = delete;
    Lantrixd& operator=(const Lantrixd&) = delete;
    ~Lantrixd() {
        if (process_ > 0)
            end(SIGKILL);
    }

    /// The file system as the process sees it.
    [[nodiscard]] std::string view() const { return "/proc/" + std::to_string(process_) + "/root"; }

    /// Sends the signal, waits, and returns the status of waitpid.
    int end(int signal) {
        ::kill(process_, signal);
        int status = 0;
        ::waitpid(std::exchange(process_, -1), &status, 0);
        return status;
    }

private:
    static void awaitReady(int output, const std::string& address, const std::string& root) {
        char line[256] = "";
        EXPECT_GT(::read(output, line, sizeof line - 1), 0);
        EXPECT_EQ(std::string(line),
                  "lantrixd is ready on " + address + ", ports 7549 and 7550, with " + root + "\n");
    }

    pid_t process_ = -1;
};

constexpr std::size_t frameSize = std::size_t{256} * 256 * 4;
const std::string allocateFour = "AllocateFrames n1 4 256 256 32 4 262144 1 30 t 4 m \"\"";

/// A frame that tells of each of its bytes which write it comes from.
std::string frameOf(std::uint32_t sequence) {
    std::string frame(frameSize, '\0');
    for (std::size_t i = 0; i < frameSize; i += sizeof sequence)
        std::memcpy(&frame[i], &sequence, sizeof sequence);
    return frame;
}

/// Folders below the root with a clip in each: made, given frames and destroyed.
class Folders {
public:
    /// Makes one change of four kinds, if there is what it takes; true when it is acknowledged.
    bool change(CommandClient& client, unsigned kind, unsigned frames) {
        std::string made, request;
        tried_ = known_;
        const auto newest = known_.find(newest_);
        const int held = newest != known_.end() ? newest->second : -2;
        if (kind == 0) {
            made = newest_ = "k" + std::to_string(++count_);
            request = "CreateNode n0 \"" + made + "\" 0 t";
            tried_[made] = -1;
        } else if (kind == 1 && held == -1) {
            made = newest_ + "/c";
            request = "CreateNode " + ids_[newest_] + " \"c\" 1 t";
            tried_[newest_] = 0;
        } else if (kind == 2 && held >= 0) {
            request = "AllocateFrames " + ids_[newest_ + "/c"] + " " + std::to_string(frames) +
                      " 1 1 8 1 1 1 30 t 4 m \"\"";
            tried_[newest_] = static_cast<int>(frames);
        } else if (kind == 3 && known_.size() > 2) {
            request = "DestroyNode " + ids_[known_.begin()->first];
            tried_.erase(known_.begin()->first);
        }
        const std::string reply = request.empty() ? "ok " : client(request);
        if (reply.substr(0, 3) != "ok ")
            return false;
        if (!made.empty())
            ids_[made] = reply.substr(3);
        known_ = tried_;
        return true;
    }

    /// Whether the server has what it acknowledged, with or without the change that it did not.
    bool areThere(CommandClient& client) {
        ids_.clear();
        std::map<std::string, int> found;
        for (const auto& [name, id] : children(client, "n0")) {
            if (name == "clip")
                continue;
            ids_[name] = id;
            found[name] = -1;
            for (const auto& [inner, clip] : children(client, id)) {
                ids_[name + "/" + inner] = clip;
                found[name] = static_cast<int>(devListOf(client.value("GetFrames " + clip)).size());
            }
        }
        const bool whole = found == known_ || found == tried_;
        known_ = tried_ = found;
        return whole;
    }

private:
    static std::map<std::string, std::string> children(CommandClient& client,
                                                       const std::string& id) {
        const std::vector<std::string> words = devListOf(client.value("GetChildren " + id));
        std::map<std::string, std::string> ids;
        for (std::size_t i = 0; i + 1 < words.size(); i += 2)
            ids[words[i + 1]] = words[i];
        return ids;
    }

    std::map<std::string, int> known_, tried_; // the number of frames, -1 without a clip
    std::map<std::string, std::string> ids_;   // of "FOLDER" and "FOLDER/c"
    std::string newest_;
    int count_ = 0;
};

// LANTRIX_KILLS sets the number of moments.
TEST(LantrixdTest, AKillAtAnyMomentLosesNothingAcknowledged) {
    const std::string address = "127.0.0.131";
    ScratchDirectory scratch;
    std::minstd_rand random(std::random_device{}());
    std::uint32_t sequence = 0;
    std::uint32_t tried[4] = {};
    std::uint32_t acknowledged[4] = {};
    std::string triedNote, acknowledgedNote;
    Folders folders;
    const char* const asked = std::getenv("LANTRIX_KILLS");
    const int rounds = asked != nullptr ? std::atoi(asked) : 40;
    for (int round = 0; round <= rounds; ++round) {
        Lantrixd server(address, scratch / "root");
        CommandClient commands(address);
        FrameClient frames(address);
        if (round == 0) {
            commands.value(allocateFour);
            commands.value("SetMetaData n1 note \"\"");
        }
        for (std::size_t i = 0; i < 4; ++i) {
            ASSERT_EQ("", frames.read("n1-f" + std::to_string(i), frameSize));
            std::uint32_t found = 0;
            std::memcpy(&found, frames.payload.data(), sizeof found);
            ASSERT_TRUE(frames.payload == frameOf(found)) << "half a frame in round " << round;
            ASSERT_TRUE(found == acknowledged[i] || found == tried[i]) << found;
            acknowledged[i] = found;
        }
        const std::string note = commands.value("GetMetaData n1 note  0");
        ASSERT_TRUE(note == acknowledgedNote || note == triedNote);
        acknowledgedNote = note;
        ASSERT_TRUE(folders.areThere(commands)) << "in round " << round;
        ASSERT_TRUE(std::filesystem::is_empty(scratch / "root/lost"));
        std::thread killer; // strikes in a change of any kind, or just behind it
        unsigned changes = static_cast<unsigned>(random() % 12);
        for (bool alive = true; alive;) {
            if (changes-- == 0)
                killer = std::thread([&, delay = random() % 2500] {
                    std::this_thread::sleep_for(std::chrono::microseconds(delay));
                    server.end(SIGKILL);
                });
            const std::size_t index = ++sequence % 4;
            const auto kind = static_cast<unsigned>(random() % 6);
            if (kind < 4) {
                alive = folders.change(commands, kind, static_cast<unsigned>(random() % 500));
            } else if (kind == 4) {
                tried[index] = sequence;
                frames.send(frameRequest("WriteFrame", "n1-f" + std::to_string(index), "262144") +
                            frameOf(sequence));
                alive = frames.receive(1) == std::string(1, '\0');
                if (alive)
                    acknowledged[index] = sequence;
            } else {
                triedNote = std::to_string(sequence) + std::string(sequence % 5000, 'n');
                alive = commands("SetMetaData n1 note \"" + triedNote + "\"") == "ok ";
                if (alive)
                    acknowledgedNote = triedNote;
            }
        }
        killer.join();
    }
    EXPECT_GT(sequence, 10U);
}

TEST(LantrixdTest, AFullDiskIsAnErrorThatKeepsTheOldContents) {
    const std::string address = "127.0.0.132";
    const std::string full = "Can't write to the disk: No space left on device.";
    ScratchDirectory scratch;
    std::filesystem::create_directory(scratch / "root");
    if (!canMount(scratch / "root"))
        GTEST_SKIP() << "this user can't mount a file system that is small enough to be filled";
    Lantrixd server(address, scratch / "root", [&] {
        if (!mountOneMebibyte(scratch / "root"))
            ::_exit(126);
    });
    FrameClient frames(address);
    CommandClient commands(address);
    commands.value(allocateFour);
    commands.value("SetMetaData n1 note \"old\"");
    for (const char* const id : {"n1-f0", "n1-f1", "n1-f2"})
        EXPECT_EQ("", frames.write(id, frameOf(1)));

    EXPECT_EQ(full, frames.write("n1-f3", frameOf(2)));
    EXPECT_EQ(full, frames.write("n1-f0", frameOf(2)));
    EXPECT_EQ("error " + full,
              commands("SetMetaData n1 note \"" + std::string(frameSize, 'n') + "\""));
    EXPECT_EQ("", frames.read("n1-f0", frameSize));
    EXPECT_TRUE(frames.payload == frameOf(1));
    EXPECT_EQ("old", commands.value("GetMetaData n1 note  0"));
    EXPECT_TRUE(std::filesystem::is_empty(server.view() + (scratch / "root/aside")));

    std::filesystem::remove(server.view() + (scratch / "root/nodes/n1/f2")); // room again
    EXPECT_EQ("", frames.write("n1-f0", frameOf(2)));
    EXPECT_EQ(0, server.end(SIGINT));
}

TEST(LantrixdTest, KeptFilesGiveWayWhenDescriptorsRunOut) {
    const std::string address = "127.0.0.133";
    ScratchDirectory scratch;
    Lantrixd server(address, scratch / "root", limited(RLIMIT_NOFILE, 64, 16));
    CommandClient commands(address);
    FrameClient frames(address);
    commands.value("AllocateFrames n1 70 256 256 32 4 262144 1 30 t 4 m \"\"");
    for (std::uint32_t i = 0; i < 70; ++i)
        ASSERT_EQ("", frames.write("n1-f" + std::to_string(i), frameOf(i)));
    for (std::uint32_t i = 0; i < 70; ++i) {
        ASSERT_EQ("", frames.read("n1-f" + std::to_string(i), frameSize));
        ASSERT_TRUE(frames.payload == frameOf(i));
    }
    std::deque<CommandClient> others;
    for (int i = 0; i < 30; ++i)
        EXPECT_EQ("ok ", others.emplace_back(address)("Ping "));
    EXPECT_EQ("", frames.write("n1-f0", frameOf(1)));
    EXPECT_EQ("ok ", commands("SetMetaData n1 note \"text\""));
}

TEST(LantrixdTest, ALogThatNobodyReadsHoldsNothingUp) {
    const std::string address = "127.0.0.134";
    ScratchDirectory scratch;
    int log[2];
    ASSERT_EQ(0, ::pipe(log));
    Lantrixd server(address, scratch / "root", {}, log[1]);
    CommandClient client(address);
    for (int i = 0; i < 3000; ++i)
        ASSERT_EQ("ok ", client("Ping " + std::string(100, 'x')));
    std::string text(1 << 16, '\0');
    const ssize_t size = ::read(log[0], text.data(), text.size());
    EXPECT_GT(size, 0); // makes room again
    EXPECT_EQ("ok ", client("Ping \\n\xc2\x9b"));
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(::read(log[0], text.data(), 4096), 0)));
    EXPECT_NE(text.find(" lines of the log were dropped.\nlantrixd: Ping \\x0a\xc2\\x9b\n"),
              std::string::npos)
        << text;
    (void)client(std::string(5000, 'm') + " ");
    text.assign(8192, '\0');
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(::read(log[0], text.data(), 8192), 0)));
    EXPECT_EQ("lantrixd: " + std::string(2045, 'm') + "...", text.substr(0, text.find('\n')));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, server.end(SIGTERM));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    ::close(log[0]);
    ::close(log[1]);
}

#ifdef SLOW_DISK_PATH
TEST(LantrixdTest, ASignalEndsItWhileTheDiskTakesItsTime) {
    ScratchDirectory scratch;
    { const Lantrixd made("127.0.0.127", scratch / "root"); }
    Lantrixd server("127.0.0.127", scratch / "root", [] {
        ::setenv("LD_PRELOAD", SLOW_DISK_PATH, 1);
        ::setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
    });
    CommandClient client("127.0.0.127");
    client.send("sync 0 SetMetaData n1 s \"t\"\n");
    CommandClient other("127.0.0.127");
    EXPECT_EQ("ok ", other("Ping ")); // the change has arrived, or is about to
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, server.end(SIGTERM));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(50));
}
#endif

TEST(LantrixdTest, ASignalEndsItWhileNobodyReadsThatItIsReady) {
    ScratchDirectory scratch;
    int log[2], full[2];
    ASSERT_EQ(0, ::pipe(log) + ::pipe(full));
    ::fcntl(full[1], F_SETFL, O_NONBLOCK);
    while (::write(full[1], "x", 1) == 1) {
    }
    ::fcntl(full[1], F_SETFL, 0);
    Lantrixd server("127.0.0.136", scratch / "root", {}, log[1], full[1]);
    std::string text;
    for (char byte; text.find("connections at once") == std::string::npos;) {
        ASSERT_EQ(1, ::read(log[0], &byte, 1));
        text += byte;
    }
    EXPECT_EQ(0, server.end(SIGTERM));
    for (const int descriptor : {log[0], log[1], full[0], full[1]})
        ::close(descriptor);
}

#ifdef __linux__
TEST(LantrixdTest, AClosedOutputIsNeverASocket) {
    const ScratchDirectory scratch;
    const Lantrixd server(
        "127.0.0.138", scratch / "root", [] { ::close(STDERR_FILENO); }, -1);
    const std::filesystem::path process = std::filesystem::path(server.view()).parent_path();
    EXPECT_EQ("/dev/null", std::filesystem::read_symlink(process / "fd/2"));
}
#endif

TEST(LantrixdTest, CheckAndRepairTellByTheirStatus) {
    ScratchDirectory scratch;
    { const Lantrixd made("127.0.0.137", scratch / "root"); }
    const auto run = [&](const std::string& option) {
        const int status =
            std::system((std::string(LANTRIXD_PATH) + " --root '" + (scratch / "root") + "' " +
                         option + " > '" + (scratch / "told") + "'")
                            .c_str());
        return std::to_string(WEXITSTATUS(status)) + " " + contentsOf(scratch / "told");
    };
    EXPECT_EQ("0 Nothing is wrong.\n", run("--check"));
    writeFile(scratch / "root/aside/a9", "half");
    EXPECT_EQ("1 aside/a9 is left of what was not finished.\n1 finding.\n", run("--check"));
    EXPECT_EQ("0 Nothing is wrong.\n", run("--repair"));
}

#ifndef LANTRIX_SANITIZED // which take address space by the terabyte
TEST(LantrixdTest, ALackOfMemoryEndsNoProcess) {
    const std::string address = "127.0.0.135";
    ScratchDirectory scratch;
    Lantrixd server(address, scratch / "root",
                    limited(RLIMIT_AS, rlim_t{400} << 20, rlim_t{400} << 20));
    for (int i = 2; i < 10; ++i) { // what was never written costs nothing
        CommandClient client(address);
        client.value("CreateNode n0 \"c\" 1 t");
        ASSERT_EQ("ok n" + std::to_string(i) + "-", client("AllocateFrames n" + std::to_string(i) +
                                                           " 1000000 1 1 8 1 1 1 30 t 4 m \"\"")
                                                        .substr(0, 6));
    }
    const std::string text(15U << 20, '\xff');
    std::deque<CommandClient> clients;
    std::size_t failed = 0;
    for (int i = 0; i < 8; ++i) {
        clients.emplace_back(address);
        clients.back().send("sync 0 SetMetaData n1 s" + std::to_string(i) + " \"" + text + "\"\n");
    }
    for (CommandClient& client : clients)
        failed += client.receiveUntil('\n') == "ok " ? 0U : 1U;
    EXPECT_GT(failed, 0U);
    clients.clear();
    EXPECT_EQ("ok ", CommandClient(address)("Ping "));
    EXPECT_EQ(0, server.end(SIGTERM));
}
#endif

} // namespace
