// lantrix-soak MINUTES: sixteen handles in as many threads against a development server in the same
// process, one call in twenty broken on the way. Prints what was done, and how memory and
// descriptors grew between the end of the warm-up and the end. Status 1 for a finding or growth.
#include "devserver/DevServer.h"
#include "soak/FaultyRelay.h"
#include "soak/SoakWorker.h"
#include "tests/support/ScratchDirectory.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr int handleCount = 16;
constexpr char serverAddress[] = "127.0.70.1";
// What varies from moment to moment; a leak in each broken call would be a thousand times that.
constexpr std::ptrdiff_t memoryAllowance = std::ptrdiff_t{4} << 20; // bytes
constexpr std::ptrdiff_t descriptorAllowance = std::ptrdiff_t{2} * handleCount;

std::string relayAddress(int index) {
    return "127.0.70." + std::to_string(10 + index);
}

std::string clipOf(int index) {
    return "/soak/" + std::to_string(index) + "/clip";
}

struct Usage {
    std::ptrdiff_t heap;
    std::ptrdiff_t resident;
    std::ptrdiff_t descriptors;
};

Usage usageNow() {
    const struct mallinfo2 heap = mallinfo2();
    std::size_t size = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return {static_cast<std::ptrdiff_t>(heap.uordblks + heap.hblkhd),
            static_cast<std::ptrdiff_t>(resident) * sysconf(_SC_PAGESIZE),
            std::distance(begin(descriptors), end(descriptors))};
}

// The least of a window: what is used when nothing is under way is what would grow.
Usage leastOf(std::vector<Usage>::const_iterator first, std::vector<Usage>::const_iterator last) {
    Usage least = *first;
    for (; first != last; ++first)
        least = {std::min(least.heap, first->heap), std::min(least.resident, first->resident),
                 std::min(least.descriptors, first->descriptors)};
    return least;
}

DevServerOptions serverOptions(const std::string& root) {
    DevServerOptions options;
    options.root = root;
    options.listen = serverAddress;
    options.prefetchBytes = 1 << 20;
    for (int index = 0; index < handleCount; ++index)
        options.clips.push_back(clipOf(index) + "=" + std::to_string(SoakWorker::frameWidth) + "x" +
                                std::to_string(SoakWorker::frameHeight) + "x" +
                                std::to_string(SoakWorker::frameBits));
    return options;
}

// The thread of the relays; ends whatever happens.
class ContextThread {
public:
    explicit ContextThread(asio::io_context& context)
        : context_(context), work_(asio::make_work_guard(context)),
          thread_([&context] { context.run(); }) {}
    ~ContextThread() {
        context_.stop();
        thread_.join();
    }
    ContextThread(const ContextThread&) = delete;
    ContextThread& operator=(const ContextThread&) = delete;

private:
    asio::io_context& context_;
    asio::executor_work_guard<asio::io_context::executor_type> work_;
    std::thread thread_;
};

class Soak {
public:
    explicit Soak(seconds duration);

    /// True when nothing was found and nothing grew.
    bool run();

private:
    void sampleUntil(Clock::time_point end);
    bool report() const;

    const seconds duration_;
    ScratchDirectory root_;
    DevServer server_;
    SoakCounts counts_;
    asio::io_context context_;
    std::vector<std::unique_ptr<FaultyRelay>> relays_; // outlive the thread that works for them
    ContextThread thread_;
    std::vector<std::unique_ptr<SoakWorker>> workers_;
    std::vector<Usage> usage_; // one for each second
};

Soak::Soak(seconds duration)
    : duration_(duration), server_(serverOptions(root_.path())), thread_(context_) {
    for (int index = 0; index < handleCount; ++index) {
        const std::string address = relayAddress(index);
        relays_.push_back(std::make_unique<FaultyRelay>(context_, address, serverAddress));
        workers_.push_back(
            std::make_unique<SoakWorker>(*relays_.back(), address, clipOf(index), counts_));
    }
}

bool Soak::run() {
    for (const auto& worker : workers_)
        worker->start();
    sampleUntil(Clock::now() + duration_);
    for (const auto& worker : workers_)
        worker->finish();
    return report();
}

// Stops the calls that were made to stall, all the time, and looks at the process once a second.
void Soak::sampleUntil(Clock::time_point end) {
    Clock::time_point nextSample = Clock::now();
    while (Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        for (const auto& worker : workers_)
            worker->stopStalledCall();
        if (Clock::now() < nextSample)
            continue;
        usage_.push_back(usageNow());
        nextSample += seconds(1);
    }
}

bool Soak::report() const {
    unsigned connections = 0;
    std::size_t bytes = 0;
    for (const auto& relay : relays_) {
        connections += relay->connections();
        bytes += relay->bytes();
    }
    // The first tenth is the warm-up; the tenths behind it and at the end are compared.
    const std::ptrdiff_t tenth = static_cast<std::ptrdiff_t>(usage_.size() / 10);
    const Usage before = leastOf(usage_.begin() + tenth, usage_.begin() + 2 * tenth + 1);
    const Usage after = leastOf(usage_.end() - tenth - 1, usage_.end());
    const Usage growth = {after.heap - before.heap, after.resident - before.resident,
                          after.descriptors - before.descriptors};
    std::printf("calls        %12zu\nbroken       %12zu\nstopped      %12zu\n"
                "reconnects   %12u\nbytes        %12zu\nfindings     %12zu\n",
                counts_.calls.load(), counts_.faults.load(), counts_.stops.load(),
                connections - 2 * handleCount, bytes, counts_.findings.load());
    std::printf("heap         %12td bytes, grown by %td\nresident     %12td bytes, grown by %td\n"
                "descriptors  %12td, grown by %td\n",
                after.heap, growth.heap, after.resident, growth.resident, after.descriptors,
                growth.descriptors);
    return counts_.findings == 0 && growth.heap < memoryAllowance &&
           growth.resident < memoryAllowance && growth.descriptors < descriptorAllowance;
}

} // namespace

int main(int argc, char** argv) {
    const int minutes = argc == 2 ? std::atoi(argv[1]) : 0;
    if (minutes < 1) {
        std::fprintf(stderr, "usage: lantrix-soak MINUTES\n");
        return 2;
    }
    try {
        return Soak(std::chrono::minutes(minutes)).run() ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "lantrix-soak: %s\n", failure.what());
        return 2;
    }
}
