// The line that shows how far a transfer has come: its rate, and the time that counts.
#include "tools/transfer/Progress.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Seconds = std::chrono::duration<double>;

tool::Options withBar() {
    tool::Options options;
    options.progress = "bar";
    return options;
}

TEST(ProgressTest, TheRateIsThatOfTheLastSeconds) {
    testing::internal::CaptureStderr();
    {
        tool::Progress progress(withBar(), "get", 4);
        progress.advance(1000000000);
        for (int i = 0; i < 2; ++i) {
            std::this_thread::sleep_for(Seconds(1.6));
            progress.advance(1);
        }
    }
    const std::string shown = testing::internal::GetCapturedStderr();
    const std::string last = shown.substr(shown.rfind("3/4"));
    EXPECT_EQ("3/4 frames  0", last.substr(0, 13)); // and the locale's point
    EXPECT_EQ("0 MB/s", last.substr(14, 6));
}

TEST(ProgressTest, APauseOfTheProcessDoesNotCount) {
    constexpr double paused = 3;
    const pid_t process = ::fork();
    ASSERT_GE(process, 0);
    if (process == 0) {
        const auto start = std::chrono::steady_clock::now();
        tool::Progress progress(tool::Options(), "get", 2);
        {
            const tool::Progress::Ticker ticker(progress);
            std::this_thread::sleep_for(Seconds(0.5));
            ::raise(SIGSTOP);
            std::this_thread::sleep_for(Seconds(0.5));
        }
        const Seconds passed = std::chrono::steady_clock::now() - start;
        ::_exit(progress.seconds() <= passed.count() - paused + 0.5 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(process, ::waitpid(process, &status, WUNTRACED));
    ASSERT_TRUE(WIFSTOPPED(status));
    std::this_thread::sleep_for(Seconds(paused));
    ::kill(process, SIGCONT);
    ASSERT_EQ(process, ::waitpid(process, &status, 0));
    EXPECT_EQ(0, WEXITSTATUS(status));
}

} // namespace
