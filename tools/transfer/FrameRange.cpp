#include "tools/transfer/FrameRange.h"

#include "tools/report/Failure.h"

#include <charconv>

namespace tool {

namespace {

// Takes a number off the front of the text.
std::optional<int> takeNumber(const char*& at, const char* end) {
    int number = 0;
    if (at == end || *at < '0' || *at > '9')
        return std::nullopt;
    const auto [next, error] = std::from_chars(at, end, number);
    if (error != std::errc{})
        return std::nullopt;
    at = next;
    return number;
}

Failure noRange(const std::string& text) {
    return {Status::Usage,
            "'" + text +
                "' is not a frame range: write 5, 1-100, 1-100x2 or 12-, joined by commas"};
}

} // namespace

FrameRange::Span FrameRange::parseSpan(const std::string& text) {
    const char* at = text.data();
    const char* end = at + text.size();
    const std::optional<int> first = takeNumber(at, end);
    if (!first)
        throw noRange(text);
    Span span{*first, first, 1};
    if (at != end && *at == '-') {
        ++at;
        span.last = takeNumber(at, end);
    }
    if (at != end && *at == 'x') {
        ++at;
        span.step = takeNumber(at, end).value_or(0);
    }
    if (at != end || span.step < 1 || (span.last && *span.last < span.first))
        throw noRange(text);
    return span;
}

FrameRange::FrameRange(const std::string& text) {
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        spans_.push_back(parseSpan(text.substr(start, end - start)));
        start = end + 1;
    }
}

namespace {
constexpr std::size_t mostFrames = 10'000'000; // two days at 60 frames per second
}

std::vector<int> FrameRange::numbers(int first, int last) const {
    std::vector<int> numbers;
    const std::vector<Span> all{{first, std::nullopt, 1}};
    for (const Span& span : spans_.empty() ? all : spans_) {
        // Counted wider, so that a step beyond the largest number ends the loop.
        for (long long number = span.first; number <= span.last.value_or(last);
             number += span.step) {
            if (numbers.size() == mostFrames)
                throw Failure(Status::Usage, "a frame range holds too many frames");
            numbers.push_back(static_cast<int>(number));
        }
    }
    return numbers;
}

std::vector<int> FrameRange::indices(int startNumber, int count) const {
    const long long last = static_cast<long long>(startNumber) + count - 1;
    for (const Span& span : spans_) {
        if (span.first < startNumber || span.last.value_or(span.first) > last ||
            span.first > last) {
            const std::string has =
                count == 0 ? "no frames"
                           : "frames " + std::to_string(startNumber) + "-" + std::to_string(last);
            throw Failure(Status::FrameMissing,
                          "frame " +
                              std::to_string(span.first < startNumber || span.first > last
                                                 ? span.first
                                                 : *span.last) +
                              " is not there: the clip has " + has);
        }
    }
    std::vector<int> indices = numbers(startNumber, static_cast<int>(last));
    for (int& index : indices)
        index -= startNumber;
    return indices;
}

Missing parseMissing(const std::string& text) {
    return text == "hold" ? Missing::Hold : text == "black" ? Missing::Black : Missing::Error;
}

std::string describeFrames(const std::vector<int>& numbers) {
    std::string text;
    for (std::size_t i = 0; i < numbers.size();) {
        std::size_t end = i;
        while (end + 1 < numbers.size() && numbers[end + 1] == numbers[end] + 1)
            ++end;
        text += (text.empty() ? "" : ",") + std::to_string(numbers[i]);
        if (end > i)
            text += "-" + std::to_string(numbers[end]);
        i = end + 1;
    }
    return text;
}

} // namespace tool
