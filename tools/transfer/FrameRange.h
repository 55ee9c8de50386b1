// Frame numbers as people write them: "5", "1-100", "1-100x2", "12-", joined by commas; which
// frames a verb is about, and what stands in for those that are not there.
// Plain text and numbers. Failures are thrown as Failure: a usage error for a text that is no
// range, a missing frame for one that the clip does not have.
#ifndef TOOLS_TRANSFER_FRAMERANGE_H
#define TOOLS_TRANSFER_FRAMERANGE_H

#include <optional>
#include <string>
#include <vector>

namespace tool {

class FrameRange {
public:
    /// All frames.
    FrameRange() = default;
    explicit FrameRange(const std::string& text);

    [[nodiscard]] bool isAll() const { return spans_.empty(); }
    /// True for a range like "12-" alone.
    [[nodiscard]] bool isFromOneOn() const {
        return spans_.size() == 1 && !spans_.front().last && spans_.front().step == 1;
    }
    /// The first number of the text; only for ranges that are not all frames.
    [[nodiscard]] int first() const { return spans_.front().first; }

    /// The frame numbers in the order of the text; \p first and \p last bound all frames and
    /// open ends. None when an open range begins beyond \p last.
    [[nodiscard]] std::vector<int> numbers(int first, int last) const;
    /// The indices of the frames of a clip with \p count frames whose first has \p startNumber.
    [[nodiscard]] std::vector<int> indices(int startNumber, int count) const;

private:
    struct Span {
        int first;
        std::optional<int> last; // none: open
        int step;
    };
    static Span parseSpan(const std::string& text);

    std::vector<Span> spans_; // none: all frames
};

/// Which frames of a clip, in the numbers that people use.
struct FrameSelection {
    std::string range; ///< "" for all.
    int startNumber = 0;

    /// The range, parsed; all frames without one.
    [[nodiscard]] FrameRange parsed() const {
        return range.empty() ? FrameRange() : FrameRange(range);
    }
};

/// What stands in for frames and files that are not there.
enum class Missing { Error, Hold, Black };
[[nodiscard]] Missing parseMissing(const std::string& text);

/// Frame numbers as short text: runs joined, "0-4,7,9-12".
[[nodiscard]] std::string describeFrames(const std::vector<int>& numbers);

} // namespace tool

#endif
