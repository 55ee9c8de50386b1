#include "tests/devserver/RawClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <random>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sched.h>
#include <sys/mount.h>
#endif

namespace {

enum class Disk { WithRoom, OneMebibyte };

/// Puts an empty file system of 1 MiB on \p folder for this process and its children alone. False
/// where the system has no such thing, or does not let this user have it.
bool mountOneMebibyte([[maybe_unused]] const std::string& folder) {
#ifdef __linux__
    const std::string user = "0 " + std::to_string(::geteuid()) + " 1";
    if (::unshare(CLONE_NEWNS) != 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return false;
        writeFile("/proc/self/uid_map", user);
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

/// lantrixd as a process of its own, ready when the constructor returns.
class Lantrixd {
public:
    Lantrixd(const std::string& address, const std::string& root, Disk disk = Disk::WithRoom) {
        int output[2];
        EXPECT_EQ(::pipe(output), 0);
        process_ = ::fork();
        if (process_ == 0) {
            if (disk == Disk::OneMebibyte && !mountOneMebibyte(root))
                ::_exit(126);
            ::dup2(output[1], STDOUT_FILENO);
            ::close(output[0]);
            ::close(output[1]);
            ::execl(LANTRIXD_PATH, "lantrixd", "--root", root.c_str(), "--listen", address.c_str(),
                    "--clip", "clip=256x256x32", nullptr);
            ::_exit(127);
        }
        ::close(output[1]);
        char line[256] = "";
        EXPECT_GT(::read(output[0], line, sizeof line - 1), 0);
        EXPECT_EQ(std::string(line),
                  "lantrixd is ready on " + address + ", ports 7549 and 7550, with " + root + "\n");
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
    pid_t process_ = -1;
};

constexpr std::size_t frameSize = 256 * 256 * 4;
const std::string allocateFour = "AllocateFrames n1 4 256 256 32 4 262144 1 30 t 4 m \"\"";

/// A frame that tells of each of its bytes which write it comes from.
std::string frameOf(std::uint32_t sequence) {
    std::string frame(frameSize, '\0');
    for (std::size_t i = 0; i < frameSize; i += sizeof sequence)
        std::memcpy(&frame[i], &sequence, sizeof sequence);
    return frame;
}

TEST(LantrixdTest, AKillAtAnyMomentLosesNothingAcknowledged) {
    const std::string address = "127.0.0.131";
    ScratchDirectory scratch;
    std::minstd_rand random(std::random_device{}());
    std::uint32_t sequence = 0;
    std::uint32_t tried[4] = {};
    std::uint32_t acknowledged[4] = {};
    std::string triedNote, acknowledgedNote;
    // As many moments as a slow machine has time for.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(40);
    for (int round = 0; round < 200 && std::chrono::steady_clock::now() < end; ++round) {
        Lantrixd server(address, scratch / "root");
        CommandClient commands(address);
        FrameClient frames(address);
        if (round == 0) {
            commands.value(allocateFour);
            commands.value("SetMetaData n1 note \"\"");
        }
        for (std::size_t i = 0; i < 4; ++i) {
            ASSERT_EQ(frames.read("n1-f" + std::to_string(i), frameSize), "");
            std::uint32_t found = 0;
            std::memcpy(&found, frames.payload.data(), sizeof found);
            ASSERT_TRUE(frames.payload == frameOf(found)) << "half a frame in round " << round;
            ASSERT_TRUE(found == acknowledged[i] || found == tried[i]) << found;
            acknowledged[i] = found;
        }
        const std::string note = commands.value("GetMetaData n1 note  0");
        ASSERT_TRUE(note == acknowledgedNote || note == triedNote);
        acknowledgedNote = note;
        std::thread killer([&, delay = random() % 20000] {
            std::this_thread::sleep_for(std::chrono::microseconds(delay));
            server.end(SIGKILL);
        });
        for (bool alive = true; alive;) {
            const std::size_t index = ++sequence % 4;
            tried[index] = sequence;
            frames.send(frameRequest("WriteFrame", "n1-f" + std::to_string(index), "262144") +
                        frameOf(sequence));
            if (frames.receive(1) == std::string(1, '\0'))
                acknowledged[index] = sequence;
            triedNote = std::to_string(sequence) + std::string(sequence % 5000, 'n');
            alive = commands("SetMetaData n1 note \"" + triedNote + "\"") == "ok ";
            if (alive)
                acknowledgedNote = triedNote;
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
    Lantrixd server(address, scratch / "root", Disk::OneMebibyte);
    FrameClient frames(address);
    CommandClient commands(address);
    commands.value(allocateFour);
    commands.value("SetMetaData n1 note \"old\"");
    for (const char* const id : {"n1-f0", "n1-f1", "n1-f2"})
        EXPECT_EQ(frames.write(id, frameOf(1)), "");

    EXPECT_EQ(frames.write("n1-f3", frameOf(2)), full);
    EXPECT_EQ(frames.write("n1-f0", frameOf(2)), full);
    EXPECT_EQ(commands("SetMetaData n1 note \"" + std::string(frameSize, 'n') + "\""),
              "error " + full);
    EXPECT_EQ(frames.read("n1-f0", frameSize), "");
    EXPECT_TRUE(frames.payload == frameOf(1));
    EXPECT_EQ(commands.value("GetMetaData n1 note  0"), "old");
    EXPECT_TRUE(std::filesystem::is_empty(server.view() + (scratch / "root/aside")));

    std::filesystem::remove(server.view() + (scratch / "root/nodes/n1/f2")); // room again
    EXPECT_EQ(frames.write("n1-f0", frameOf(2)), "");
    EXPECT_EQ(server.end(SIGINT), 0);
}

} // namespace
