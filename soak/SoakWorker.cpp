#include "soak/SoakWorker.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace {

constexpr std::size_t frameSize =
    std::size_t{SoakWorker::frameWidth} * SoakWorker::frameHeight * SoakWorker::frameBits / 8;
constexpr std::size_t shortestCommand = 13; // "sync 0 Ping \n"
constexpr std::size_t shortestReply = 4;    // "ok \n"
constexpr std::size_t shortestFrameRequest = 20;
constexpr std::size_t faultsIn = 20; // one call in so many is broken
constexpr auto pauseBetweenCalls = std::chrono::milliseconds(25);
constexpr std::chrono::seconds patience(60); // with the last call
const char* const streamName = "soak";

std::size_t hashOf(const std::vector<char>& buffer) {
    return std::hash<std::string_view>()({buffer.data(), buffer.size()});
}

static_assert(frameSize % sizeof(std::uint64_t) == 0); // frames are filled in such words

} // namespace

SoakWorker::SoakWorker(FaultyRelay& relay, const std::string& address, const std::string& clipPath,
                       SoakCounts& counts)
    : relay_(relay), handle_(address.c_str()), counts_(counts),
      random_(std::hash<std::string>()(address)), buffer_(frameSize) {
    prepareClip(clipPath);
}

SoakWorker::~SoakWorker() {
    finish();
}

void SoakWorker::prepareClip(const std::string& clipPath) {
    LantrixNodeHandle clip;
    int major = 0, minor = 0;
    if (!handle_.getProtocolVersion(major, minor) ||
        !LantrixResolveDisplayPath(handle_, clipPath.c_str(), clip) ||
        !clip.setNumFrames(frameCount) || !clip.setMetaData(streamName, stream_.c_str()))
        throw std::runtime_error("The clip can't be prepared: " + std::string(handle_.lastError()));
    clipId_ = clip.getNodeId().id();
    for (int index = 0; index < frameCount; ++index) {
        LantrixStr id;
        if (!clip.getFrameId(index, id))
            throw std::runtime_error(handle_.lastError());
        frameIds_.emplace_back(id.c_str());
        hashes_[std::size_t(index)] = hashOf(buffer_); // a frame that was never written is zeros
    }
}

void SoakWorker::start() {
    running_ = std::async(std::launch::async, [this] { run(); });
}

void SoakWorker::finish() {
    finishing_ = true;
    const auto end = std::chrono::steady_clock::now() + patience;
    while (running_.valid() && running_.wait_for(pauseBetweenCalls) != std::future_status::ready) {
        stopStalledCall();
        if (!find(std::chrono::steady_clock::now() < end, "a call does not end"))
            std::_Exit(1); // its thread can't be waited for
    }
}

void SoakWorker::stopStalledCall() {
    const std::lock_guard<std::mutex> lock(stallMutex_);
    if (isStalling_ && relay_.fired())
        handle_.stop();
}

void SoakWorker::run() {
    for (; !finishing_; std::this_thread::sleep_for(pauseBetweenCalls))
        random(2) == 0 ? callCommand() : callFrame();
}

std::size_t SoakWorker::random(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_);
}

// Prints the first findings; the count tells the rest.
bool SoakWorker::find(bool isFine, const char* what) {
    if (!isFine && counts_.findings++ < 20)
        std::fprintf(stderr, "%s: %s; last error: %s\n", handle_.getHostName(), what,
                     handle_.lastError());
    return isFine;
}

SoakWorker::Outcome SoakWorker::attempt(Channel channel, std::size_t requestSize,
                                        std::size_t replySize, const Call& call) {
    ++counts_.calls;
    if (random(faultsIn) != 0) {
        find(call(), "a call failed that was not broken");
        return Outcome::Done;
    }
    const auto fault = static_cast<FaultyRelay::Fault>(random(3));
    // A command's request is not held back: its reply would come too late to be distinguished from
    // the next.
    const bool inReply = random(2) == 0 || (channel == Channel::Command && fault == Fault::Stall);
    const std::size_t offset = random(inReply ? replySize : requestSize);
    return attemptBroken({channel, inReply ? Side::Reply : Side::Request, fault, offset}, call);
}

SoakWorker::Outcome SoakWorker::attemptBroken(const FaultyRelay::Plan& plan, const Call& call) {
    ++counts_.faults;
    relay_.arm(plan);
    setStalling(plan.fault == Fault::Stall);
    const bool succeeded = call();
    setStalling(false);
    if (plan.fault == Fault::Stall) {
        ++counts_.stops;
        relay_.release();
    }
    find(!succeeded, "a call succeeded that was broken");
    find(relay_.disarm(), "a call ended before it was broken");
    return plan.side == Side::Request ? Outcome::RequestLost : Outcome::ReplyLost;
}

void SoakWorker::setStalling(bool isStalling) {
    const std::lock_guard<std::mutex> lock(stallMutex_);
    isStalling_ = isStalling;
}

// Commands work again at the third call at the latest, frames at the next call.
void SoakWorker::recover(Channel channel, Outcome outcome) {
    if (outcome == Outcome::Done)
        return;
    if (channel == Channel::Frame) {
        find(checkFrame(random(frameCount)), "no frame came after a broken call");
        return;
    }
    bool answered = false;
    for (int call = 0; call < 3 && !answered; ++call)
        answered = checkName();
    find(answered, "no command was answered after a broken call");
}

void SoakWorker::callCommand() {
    using Check = bool (SoakWorker::*)();
    constexpr Check checks[] = {&SoakWorker::checkName, &SoakWorker::checkFormat,
                                &SoakWorker::checkStream};
    const std::size_t which = random(std::size(checks) + 1);
    if (which == std::size(checks))
        return writeStream();
    recover(Channel::Command, attempt(Channel::Command, shortestCommand, shortestReply,
                                      [&] { return (this->*checks[which])(); }));
}

void SoakWorker::callFrame() {
    const std::size_t index = random(frameCount);
    if (random(2) == 0)
        return writeFrame(index);
    recover(Channel::Frame, attempt(Channel::Frame, shortestFrameRequest, 1 + frameSize,
                                    [&] { return checkFrame(index); }));
}

bool SoakWorker::checkName() {
    LantrixStr name;
    return LantrixNodeHandle(handle_, clipId_.c_str()).getDisplayName(name) &&
           find(name == LantrixStr("clip"), "a node has another name");
}

bool SoakWorker::checkFormat() {
    LantrixClipFormat format;
    return LantrixNodeHandle(handle_, clipId_.c_str()).getClipFormat(format) &&
           find(format.width() == frameWidth && format.height() == frameHeight &&
                    format.frameBufferSize() == int{frameSize},
                "a clip has another format");
}

bool SoakWorker::checkStream() {
    LantrixStr text;
    const LantrixNodeHandle clip(handle_, clipId_.c_str());
    return clip.getMetaData(streamName, "", 0, text) &&
           find(stream_ == text.c_str(), "a metadata stream holds another text");
}

// A call whose reply was lost had reached the server whole; one whose request was lost had not.
void SoakWorker::writeStream() {
    const std::string text(1 + random(2000), static_cast<char>('a' + random(26)));
    const Outcome outcome = attempt(Channel::Command, shortestCommand, shortestReply, [&] {
        return LantrixNodeHandle(handle_, clipId_.c_str()).setMetaData(streamName, text.c_str());
    });
    if (outcome != Outcome::RequestLost)
        stream_ = text;
    recover(Channel::Command, outcome);
}

void SoakWorker::writeFrame(std::size_t index) {
    std::vector<char> frame(frameSize);
    for (std::size_t at = 0; at < frameSize; at += sizeof(std::uint64_t)) {
        const std::uint64_t bytes = random_();
        std::memcpy(&frame[at], &bytes, sizeof bytes);
    }
    const Outcome outcome = attempt(Channel::Frame, frameSize, 1, [&] {
        return handle_.writeFrame(frameIds_[index].c_str(), frame.data(), int{frameSize});
    });
    if (outcome != Outcome::RequestLost)
        hashes_[index] = hashOf(frame);
    recover(Channel::Frame, outcome);
}

bool SoakWorker::checkFrame(std::size_t index) {
    return handle_.readFrame(frameIds_[index].c_str(), buffer_.data(), int{frameSize}) &&
           find(hashOf(buffer_) == hashes_[index], "a frame holds other bytes");
}
