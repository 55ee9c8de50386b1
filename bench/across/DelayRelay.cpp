#include "bench/across/DelayRelay.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t parcelSize = std::size_t{128} << 10;
constexpr std::size_t mostHeld = 512; // parcels of a direction: what 3 GB/s bring in 20 ms

// One direction of a connection. A thread takes what comes, another gives it on when it is due.
class Lane {
public:
    /// \p open: before that nothing can have been sent.
    Lane(const Socket& from, const Socket& to, Clock::time_point open, Clock::duration delay)
        : from_(from), to_(to), open_(open), delay_(delay) {}

    void take();
    void give();

private:
    struct Parcel {
        Clock::time_point due;
        std::unique_ptr<char[]> bytes;
        std::size_t size = 0; // 0: the end
    };

    Parcel receive() const;

    const Socket& from_;
    const Socket& to_;
    const Clock::time_point open_;
    const Clock::duration delay_;
    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    std::deque<Parcel> held_;
    bool isBroken_ = false; // nothing can be given on
};

Lane::Parcel Lane::receive() const {
    Parcel parcel;
    parcel.bytes.reset(new char[parcelSize]);
    try {
        parcel.size = from_.receiveSome(parcel.bytes.get(), parcelSize);
    } catch (const std::system_error&) { // a reset is an end
        parcel.size = 0;
    }
    parcel.due = std::max(Clock::now(), open_) + delay_;
    return parcel;
}

void Lane::take() {
    for (bool isAtEnd = false; !isAtEnd;) {
        Parcel parcel = receive();
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return held_.size() < mostHeld || isBroken_; });
        isAtEnd = parcel.size == 0 || isBroken_;
        held_.push_back(std::move(parcel));
        changed_.notify_one();
    }
}

void Lane::give() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return !held_.empty(); });
        const Parcel parcel = std::move(held_.front());
        held_.pop_front();
        changed_.notify_one();
        lock.unlock();
        std::this_thread::sleep_until(parcel.due);
        if (parcel.size == 0)
            break;
        try {
            to_.sendAll(parcel.bytes.get(), parcel.size);
        } catch (const std::system_error&) { // the receiver has gone: the sender is to hear of it
            ::shutdown(from_.fd(), SHUT_RDWR);
            break;
        }
        lock.lock();
    }
    ::shutdown(to_.fd(), SHUT_WR);
    if (!lock.owns_lock())
        lock.lock();
    isBroken_ = true;
    changed_.notify_one();
}

// A client's connection and the one that was made for it. Lives as long as one of its threads.
struct Passage {
    Passage(Socket from, Socket to, Clock::duration roundTrip)
        : client(std::move(from)), server(std::move(to)),
          requests(client, server, Clock::now() + roundTrip, roundTrip / 2),
          replies(server, client, Clock::time_point(), roundTrip / 2) {}

    const Socket client, server;
    Lane requests, replies;
};

void start(const std::shared_ptr<Passage>& passage) {
    for (Lane* const lane : {&passage->requests, &passage->replies}) {
        std::thread([passage, lane] { lane->take(); }).detach();
        std::thread([passage, lane] { lane->give(); }).detach();
    }
}

} // namespace

DelayRelay::DelayRelay(const std::string& server, const std::vector<std::uint16_t>& ports,
                       std::chrono::microseconds roundTrip)
    : DelayRelay(Listeners(0x7F4F0001U + static_cast<std::uint32_t>(::getpid()) % 50000, ports),
                 server, ports, roundTrip) {}

DelayRelay::DelayRelay(const Listeners& listeners, const std::string& server,
                       const std::vector<std::uint16_t>& ports, std::chrono::microseconds roundTrip)
    : host_(listeners.host()), process_(Process::running([&] {
          listeners.serve([&](std::size_t place, Socket client) {
              Socket forward = Socket::connectTo(server, ports[place]);
              start(std::make_shared<Passage>(std::move(client), std::move(forward), roundTrip));
          });
      })) {}

} // namespace bench
