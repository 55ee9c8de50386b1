#include "image/TimeCode.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace image {

namespace {

constexpr std::uint32_t dropBit = 0x40; // in the byte of the frames

std::optional<TimeCode> checked(const TimeCode& code) {
    const bool isTime = code.hours < 24 && code.minutes < 60 && code.seconds < 60;
    return isTime ? std::optional(code) : std::nullopt;
}

// Negative where a digit is above 9.
int numberOf(std::uint32_t digits) {
    const std::uint32_t tens = digits >> 4U & 0xFU;
    const std::uint32_t ones = digits & 0xFU;
    return tens > 9 || ones > 9 ? -1 : static_cast<int>(10 * tens + ones);
}

std::uint32_t digitsOf(int number) {
    return static_cast<std::uint32_t>(number / 10 << 4 | number % 10);
}

} // namespace

std::optional<TimeCode> TimeCode::ofDigits(std::uint32_t digits) {
    const TimeCode code{numberOf(digits >> 24U & 0x3FU), numberOf(digits >> 16U & 0x7FU),
                        numberOf(digits >> 8U & 0x7FU), numberOf(digits & 0x3FU),
                        (digits & dropBit) != 0};
    const bool isNumber = std::min({code.hours, code.minutes, code.seconds, code.frames}) >= 0;
    return isNumber ? checked(code) : std::nullopt;
}

std::uint32_t TimeCode::digits() const {
    return digitsOf(hours) << 24U | digitsOf(minutes) << 16U | digitsOf(seconds) << 8U |
           digitsOf(frames) | (dropsFrames ? dropBit : 0);
}

std::optional<TimeCode> TimeCode::ofText(const std::string& text) {
    TimeCode code;
    unsigned numbers[4];
    char mark = '\0';
    char rest = '\0';
    if (text.size() != 11 || std::sscanf(text.c_str(), "%2u:%2u:%2u%c%2u%c", &numbers[0],
                                         &numbers[1], &numbers[2], &mark, &numbers[3], &rest) != 5)
        return std::nullopt;
    code.hours = static_cast<int>(numbers[0]);
    code.minutes = static_cast<int>(numbers[1]);
    code.seconds = static_cast<int>(numbers[2]);
    code.frames = static_cast<int>(numbers[3]);
    code.dropsFrames = mark == ';';
    return mark == ':' || mark == ';' ? checked(code) : std::nullopt;
}

std::string TimeCode::text() const {
    const auto pair = [](int number) {
        return std::string{static_cast<char>('0' + number / 10),
                           static_cast<char>('0' + number % 10)};
    };
    return pair(hours) + ":" + pair(minutes) + ":" + pair(seconds) + (dropsFrames ? ";" : ":") +
           pair(frames);
}

// Where numbers are left out, these are the first ones of each minute that is not a tenth one.
TimeCode TimeCode::later(int count, float rate) const {
    const long long base = std::clamp(std::llround(rate), 1LL, 100LL);
    const long long dropped = dropsFrames ? base / 15 : 0;
    const long long minute = 60 * base - dropped;
    const long long tenMinutes = 10 * minute + dropped;
    const long long minutesBefore = 60LL * hours + minutes;
    long long number = (60 * minutesBefore + seconds) * base + frames -
                       dropped * (minutesBefore - minutesBefore / 10) + count;
    number %= 144 * tenMinutes; // a day
    const long long minutesInTen = std::max(number % tenMinutes - dropped, 0LL) / minute;
    number += dropped * (9 * (number / tenMinutes) + minutesInTen);
    const long long wholeSeconds = number / base;
    return {static_cast<int>(wholeSeconds / 3600), static_cast<int>(wholeSeconds / 60 % 60),
            static_cast<int>(wholeSeconds % 60), static_cast<int>(number % base), dropsFrames};
}

} // namespace image
