// What the fault tests share: many cases at once, each in a thread of its own, and measures of what
// a case may not use up and of what the machine itself adds to a time.
#ifndef TESTS_FAULTS_CASES_H
#define TESTS_FAULTS_CASES_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LANTRIX_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define LANTRIX_SANITIZED 1
#endif
#endif

using Milliseconds = std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Runs the cases 0 to \p count - 1, \p atOnce of them at a time. Each returns what is wrong, ""
/// if nothing; returns the first of these texts, with the numbers of their cases.
std::string runCases(std::size_t count, std::size_t atOnce,
                     const std::function<std::string(std::size_t)>& run);

/// The descriptors that this process has open.
std::size_t openDescriptors();

/// Measures by how much the machine is late to wake a thread that sleeps: a bound on a time can
/// be held to no better than that.
class Lateness {
public:
    Lateness();
    ~Lateness();
    Lateness(const Lateness&) = delete;
    Lateness& operator=(const Lateness&) = delete;
    /// The worst so far.
    Milliseconds worst() const { return Milliseconds(worst_); }

private:
    std::atomic<bool> ending_{false};
    std::atomic<int> worst_{0};
    std::thread thread_;
};

#endif
