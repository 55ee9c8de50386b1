// One handle in one thread: random calls on a clip of its own, one in twenty of them broken on
// purpose, each result compared with what it must be.
// Owns its handle and its thread; borrows the relay. Findings are counted and printed.
#ifndef SOAK_SOAKWORKER_H
#define SOAK_SOAKWORKER_H

#include "lantrix/LantrixClientAPI.h"
#include "soak/FaultyRelay.h"

#include <array>
#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <random>
#include <string>
#include <vector>

struct SoakCounts {
    std::atomic<std::size_t> calls{0};
    std::atomic<std::size_t> faults{0};
    std::atomic<std::size_t> stops{0};
    std::atomic<std::size_t> findings{0};
};

class SoakWorker {
public:
    static constexpr int frameCount = 8;
    static constexpr int frameWidth = 320, frameHeight = 180, frameBits = 24;

    /// \p address is the relay's. The clip at \p clipPath must exist; it is given its frames here.
    SoakWorker(FaultyRelay& relay, const std::string& address, const std::string& clipPath,
               SoakCounts& counts);
    ~SoakWorker();
    SoakWorker(const SoakWorker&) = delete;
    SoakWorker& operator=(const SoakWorker&) = delete;

    void start();
    /// Lets the call under way be the last one and waits for it, stopping it if it stalls.
    void finish();
    /// Stops the call under way if it was made to stall; for a thread that does so regularly.
    void stopStalledCall();

private:
    using Channel = FaultyRelay::Channel;
    using Side = FaultyRelay::Side;
    using Fault = FaultyRelay::Fault;
    using Call = std::function<bool()>;

    void prepareClip(const std::string& clipPath);
    void run();
    void callOnce();
    void callCommand();
    void callFrame();

    enum class Outcome { Done, RequestLost, ReplyLost };

    /// Runs one call, perhaps broken; its request has at least \p requestSize bytes, its reply
    /// \p replySize.
    Outcome attempt(Channel channel, std::size_t requestSize, std::size_t replySize,
                    const Call& call);
    Outcome attemptBroken(const FaultyRelay::Plan& plan, const Call& call);
    void setStalling(bool isStalling);
    /// Checks after a broken call that the next ones succeed.
    void recover(Channel channel, Outcome outcome);

    bool checkName();
    bool checkFormat();
    void writeStream();
    bool checkStream();
    void writeFrame(std::size_t index);
    bool checkFrame(std::size_t index);
    bool find(bool isFine, const char* what);

    std::size_t random(std::size_t bound);

    FaultyRelay& relay_;
    LantrixServerHandle handle_;
    SoakCounts& counts_;
    std::mt19937_64 random_;
    std::string clipId_;
    std::string stream_; // what the clip's metadata stream holds
    std::vector<std::string> frameIds_;
    std::array<std::size_t, frameCount> hashes_{}; // what each frame holds
    std::vector<char> buffer_;
    std::atomic<bool> finishing_{false};
    std::mutex stallMutex_; // guards isStalling_, so that no stop hits the next call
    bool isStalling_ = false;
    std::future<void> running_;
};

#endif
