#include "tools/session/WireText.h"

#include <algorithm>
#include <cstdlib>

namespace tool {

std::vector<ByteRange> CommandText::take(const char* data, std::size_t size, const Print& print) {
    constexpr std::size_t longestShown = 4096;
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n') {
            print(line_.size() < longestShown ? line_ : line_ + "...");
            line_.clear();
        } else if (line_.size() < longestShown) {
            line_ += data[i];
        }
    }
    return {};
}

std::vector<ByteRange> FrameText::take(const char* data, std::size_t size, const Print& print) {
    std::vector<ByteRange> frames;
    for (std::size_t i = 0; i < size; ++i) {
        if (payload_ > 0) {
            const std::size_t skipped = std::min(payload_, size - i);
            frames.push_back({i, skipped});
            payload_ -= skipped;
            i += skipped - 1;
        } else if (data[i] == '\0') {
            payload_ = takeText(text_, print);
            text_.clear();
        } else {
            text_ += data[i];
        }
    }
    return frames;
}

std::size_t FrameRequestText::takeText(const std::string& text, const Print& print) {
    tokens_.push_back(text);
    if (tokens_.size() < 3)
        return 0;
    print(tokens_[0] + " " + tokens_[1] + " " + tokens_[2]);
    const auto size = static_cast<std::size_t>(std::max(0LL, std::atoll(tokens_[2].c_str())));
    const bool isWrite = tokens_[0] == "WriteFrame";
    if (isWrite || tokens_[0] == "ReadFrame")
        owed_.push_back(isWrite ? 0 : size);
    tokens_.clear();
    return isWrite ? size : 0;
}

std::size_t FrameReplyText::takeText(const std::string& text, const Print& print) {
    const std::size_t owed = owed_.empty() ? 0 : owed_.front();
    if (!owed_.empty())
        owed_.pop_front();
    if (!text.empty()) {
        print("failed: " + text);
        return 0;
    }
    print(owed == 0 ? "done" : "done, " + std::to_string(owed) + " bytes follow");
    return owed;
}

} // namespace tool
