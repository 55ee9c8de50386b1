#include "tools/WireText.h"

#include <algorithm>
#include <cstdlib>

namespace tool {

void CommandText::take(const char* data, std::size_t size, const Print& print) {
    constexpr std::size_t longestShown = 4096;
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n') {
            print(line_.size() < longestShown ? line_ : line_ + "...");
            line_.clear();
        } else if (line_.size() < longestShown) {
            line_ += data[i];
        }
    }
}

void FrameRequestText::take(const char* data, std::size_t size, const Print& print) {
    for (std::size_t i = 0; i < size; ++i) {
        if (payload_ > 0) {
            const std::size_t skipped = std::min(payload_, size - i);
            payload_ -= skipped;
            i += skipped - 1;
        } else if (data[i] == '\0') {
            takeToken(print);
        } else {
            token_ += data[i];
        }
    }
}

void FrameRequestText::takeToken(const Print& print) {
    tokens_.push_back(token_);
    token_.clear();
    if (tokens_.size() < 3) {
        return;
    }
    print(tokens_[0] + " " + tokens_[1] + " " + tokens_[2]);
    const auto size = static_cast<std::size_t>(std::max(0LL, std::atoll(tokens_[2].c_str())));
    if (tokens_[0] == "WriteFrame") {
        payload_ = size;
        owed_.push_back(0);
    } else if (tokens_[0] == "ReadFrame") {
        owed_.push_back(size);
    }
    tokens_.clear();
}

void FrameReplyText::take(const char* data, std::size_t size, const Print& print) {
    for (std::size_t i = 0; i < size; ++i) {
        if (payload_ > 0) {
            const std::size_t skipped = std::min(payload_, size - i);
            payload_ -= skipped;
            i += skipped - 1;
        } else if (data[i] == '\0') {
            takeStatus(print);
        } else {
            status_ += data[i];
        }
    }
}

void FrameReplyText::takeStatus(const Print& print) {
    const std::size_t owed = owed_.empty() ? 0 : owed_.front();
    if (!owed_.empty()) {
        owed_.pop_front();
    }
    if (!status_.empty()) {
        print("failed: " + status_);
    } else if (owed == 0) {
        print("done");
    } else {
        print("done, " + std::to_string(owed) + " bytes follow");
        payload_ = owed;
    }
    status_.clear();
}

} // namespace tool
