// Time codes: hours, minutes, seconds and frames that count a clip's frames, as files and the
// metadata of clips keep them.
// Plain values.
#ifndef IMAGE_TIMECODE_H
#define IMAGE_TIMECODE_H

#include <cstdint>
#include <optional>
#include <string>

namespace image {

struct TimeCode {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int frames = 0;
    bool dropsFrames = false; ///< Numbers are left out, so that 29.97 frames per second keep time.

    /// From two decimal digits in each byte, the hours in the highest, whose spare bits say other
    /// things; none where these are not a time.
    [[nodiscard]] static std::optional<TimeCode> ofDigits(std::uint32_t digits);
    [[nodiscard]] std::uint32_t digits() const;
    /// From "01:02:03:04", or "01:02:03;04" where numbers are left out; none of any other text.
    [[nodiscard]] static std::optional<TimeCode> ofText(const std::string& text);
    [[nodiscard]] std::string text() const;

    /// That of a frame which comes \p count frames later, at \p rate frames per second.
    [[nodiscard]] TimeCode later(int count, float rate) const;
};

} // namespace image

#endif
