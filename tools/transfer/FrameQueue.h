// Lets the two halves of a transfer overlap: one thread makes frames, another one uses them, and
// a bounded queue between them keeps the faster half from running away with the memory. The
// transfer takes the time of the slower half, not of the sum.
// Owns the buffers, which go round. Exceptions of either half end both and leave overlapFrames().
#ifndef TOOLS_TRANSFER_FRAMEQUEUE_H
#define TOOLS_TRANSFER_FRAMEQUEUE_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <vector>

namespace tool {

/// The bytes of a frame.
using Bytes = std::vector<char>;

class FrameQueue {
public:
    /// A buffer that has been used before, or an empty one. Waits for room; false when the user
    /// has ended.
    [[nodiscard]] bool takeFree(Bytes& buffer);
    void push(Bytes buffer);
    /// The next frame; false when there are no more. Waits; throws what the maker ended with, or
    /// that the user has interrupted.
    [[nodiscard]] bool pop(Bytes& buffer);
    void giveBack(Bytes buffer);

    /// \p reason is null when all frames are made.
    void endMaking(std::exception_ptr reason);
    void endUsing();

private:
    static constexpr std::size_t mostInUse = 4; // frames made and not yet used

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Bytes> made_;
    std::deque<Bytes> free_;
    std::size_t inUse_ = 0; // buffers taken and not given back
    bool isUserGone_ = false;
    bool isMakerGone_ = false;
    std::exception_ptr makerEnd_; // null while the maker runs or has ended well
};

/// Runs \p make for each number in a thread of its own and \p use for each in the caller, both in
/// order. \p make fills the buffer, whatever it holds; \p use may take its contents away.
void overlapFrames(std::size_t begin, std::size_t end,
                   const std::function<void(std::size_t, Bytes&)>& make,
                   const std::function<void(std::size_t, Bytes&)>& use);

/// Frames of which nobody knows how many there are.
struct OpenEndedMaker {
    /// Makes the frame of a number, from 0 on; false when there are no more.
    std::function<bool(std::size_t, Bytes&)> make;
    /// Called in the user's thread when it goes before the end: make(), which may wait for input
    /// and is signalled next, must return.
    std::function<void()> abandon;
};
void overlapFrames(const OpenEndedMaker& maker,
                   const std::function<void(std::size_t, Bytes&)>& use);

} // namespace tool

#endif
