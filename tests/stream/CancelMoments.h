// The moments at which a pool is cancelled under a reader, a writer or a walk.
#ifndef TESTS_STREAM_CANCELMOMENTS_H
#define TESTS_STREAM_CANCELMOMENTS_H

#include "stream/Pool.h"
#include "tests/stream/StreamServer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <future>

/// Does \p work with a hundred pools and cancels each at another moment, by turns by its flag and
/// by a call, one in twenty while a reply on \p channel stalls. All threads end soon after.
inline void cancelAtAHundredMoments(StreamServer& server, Channel channel,
                                    const std::function<void(lantrix::Pool&)>& work) {
    using Clock = std::chrono::steady_clock;
    Relayed relayed(server);
    std::chrono::duration<double> longest{0};
    for (int moment = 0; moment < 100; ++moment) {
        const bool stalls = moment % 20 == 0;
        std::atomic<bool> flag{false};
        if (stalls)
            relayed.relay.arm({channel, Side::Reply, Fault::Stall, 10});
        std::optional<lantrix::Pool> pool(std::in_place, relayed.host(), 3, &flag);
        auto cancelling = std::async(std::launch::async, [&] {
            while (stalls && !relayed.relay.fired())
                std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::microseconds(200 * moment));
            moment % 2 == 0 ? static_cast<void>(flag = true) : pool->cancel();
            return Clock::now();
        });
        work(*pool);
        const Clock::time_point cancelled = cancelling.get();
        pool.reset(); // all threads have ended
        longest = std::max<std::chrono::duration<double>>(longest, Clock::now() - cancelled);
        relayed.relay.disarm();
    }
    std::printf("The longest took %.3f s\n", longest.count()); // 1.1 s unless the machine is busy
    EXPECT_GT(3, longest.count());
}

#endif
