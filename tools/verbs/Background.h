// A process that goes on in the background once it is ready, while the one that was started ends.
// To be made before any thread. Failures are thrown as Failure.
#ifndef TOOLS_VERBS_BACKGROUND_H
#define TOOLS_VERBS_BACKGROUND_H

namespace tool {

class Background {
public:
    /// Returns in the new process only. The other one waits until that is ready, and ends with
    /// status 0, or has ended, and ends with the same status.
    Background();
    ~Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    /// Leaves the terminal and its folder, after which nothing can be told any more.
    void ready();

private:
    int starter_ = -1; // which the one that was started waits at
};

} // namespace tool

#endif
