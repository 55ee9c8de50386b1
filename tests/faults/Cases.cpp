#include "tests/faults/Cases.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <vector>

#include <pthread.h>

namespace {

constexpr std::size_t problemsTold = 10;

// Hundreds of threads with stacks of the usual size do not fit into 32 bits of addresses.
void useSmallStacks() {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, std::size_t{512} << 10);
    ::pthread_setattr_default_np(&attributes);
    ::pthread_attr_destroy(&attributes);
}

} // namespace

std::string runCases(std::size_t count, std::size_t atOnce,
                     const std::function<std::string(std::size_t)>& run) {
    std::atomic<std::size_t> next(0), problems(0);
    std::mutex mutex;
    std::string told;
    const auto work = [&] {
        for (std::size_t i = next++; i < count; i = next++) {
            const std::string problem = run(i);
            if (problem.empty() || problems++ >= problemsTold)
                continue;
            const std::lock_guard<std::mutex> lock(mutex);
            told += "case " + std::to_string(i) + ": " + problem + "\n";
        }
    };
    std::printf("%zu cases\n", count); // for docs/reliability.md
    if (sizeof(void*) == 4)
        useSmallStacks();
    std::vector<std::thread> threads;
    while (threads.size() < std::min(atOnce, count))
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
    return problems == 0 ? "" : told + std::to_string(problems) + " cases in all";
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

Lateness::Lateness()
    : thread_([this] {
          const Milliseconds nap(10);
          while (!ending_) {
              const auto start = Clock::now();
              std::this_thread::sleep_for(nap);
              const auto late = std::chrono::ceil<Milliseconds>(Clock::now() - start - nap);
              worst_ = std::max(worst_.load(), static_cast<int>(late.count()));
          }
      }) {}

Lateness::~Lateness() {
    ending_ = true;
    thread_.join();
}
