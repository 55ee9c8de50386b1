#include "bench/support/Protocols.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

namespace bench {

namespace {

// A status byte that tells success, and behind it the largest frame: a reply is one send.
const std::vector<char>& successAndFrame() {
    static const std::vector<char> bytes = [] {
        std::vector<char> filled(1 + largestFrame, 'f');
        filled[0] = '\0';
        return filled;
    }();
    return bytes;
}

std::string formatOfFrames(const std::string& bytes) {
    return bytes + " 1 8 1 " + bytes + " 1 25 gray8 4 none ";
}

std::string frameList() {
    std::string list;
    for (int i = 0; i < framesInClip; ++i)
        list += "frame" + std::to_string(i) + ",";
    return list;
}

// None of the values holds a byte that would have to be escaped.
std::string valueFor(const std::string& method, const std::string& node) {
    if (method == "GetChildren")
        return childrenList(std::atoi(node.c_str()));
    if (method == "GetFrames")
        return frameList();
    if (method == "GetClipFormat")
        return formatOfFrames(node);
    if (method == "QueryVersion")
        return "2 6";
    return method == "GetNodeType" ? "0 3" : "";
}

// The line is "sync 0 METHOD NODE".
std::string replyTo(const std::string& line) {
    const std::size_t method = std::strlen("sync 0 ");
    const std::size_t blank = std::min(line.find(' ', method), line.size());
    const std::string node = line.substr(std::min(blank + 1, line.size()));
    return "ok " + valueFor(line.substr(method, blank - method), node) + "\n";
}

/// The stream of a frame connection: three texts, each with its NUL, then maybe a frame.
class FrameRequests {
public:
    explicit FrameRequests(const Socket& client) : client_(client) {}

    /// Reads the texts of the next request. False at the end of the stream.
    bool next() {
        const char* end = nullptr;
        while ((end = endOfTexts()) == nullptr) {
            const std::size_t count = client_.receiveSome(buffer_ + filled_, room - filled_);
            if (count == 0)
                return false;
            filled_ += count;
        }
        operation_ = buffer_[0];
        isAnnouncement_ = std::strcmp(buffer_, "ReadAhead") == 0;
        const char* const number = std::strchr(std::strchr(buffer_, '\0') + 1, '\0') + 1;
        size_ = std::strtoul(number, nullptr, 10);
        drop(static_cast<std::size_t>(end - buffer_));
        return true;
    }

    bool isWrite() const { return operation_ == 'W'; }
    bool isRead() const { return operation_ == 'R' && !isAnnouncement_; }
    std::size_t size() const { return size_; }

    void receiveFrame(char* into) {
        const std::size_t there = std::min(filled_, size_);
        std::memcpy(into, buffer_, there);
        drop(there);
        client_.receiveAll(into + there, size_ - there);
    }

private:
    // Little is read beyond the texts, so that a frame arrives where it belongs.
    static constexpr std::size_t room = 256;

    const char* endOfTexts() const {
        const char* next = buffer_;
        for (int text = 0; text < 3; ++text) {
            const std::size_t left = filled_ - static_cast<std::size_t>(next - buffer_);
            const void* const end = std::memchr(next, '\0', left);
            if (end == nullptr)
                return nullptr;
            next = static_cast<const char*>(end) + 1;
        }
        return next;
    }

    void drop(std::size_t count) {
        filled_ -= count;
        std::memmove(buffer_, buffer_ + count, filled_);
    }

    const Socket& client_;
    char buffer_[room] = "";
    std::size_t filled_ = 0;
    char operation_ = '\0';
    bool isAnnouncement_ = false;
    std::size_t size_ = 0;
};

} // namespace

std::string childName(int index) {
    char text[32];
    std::snprintf(text, sizeof text, "Reel 01 Shot %07d", index);
    return text;
}

std::string childrenList(int count) {
    std::string list;
    for (int i = 0; i < count; ++i) {
        char id[32];
        std::snprintf(id, sizeof id, "node%07d,", i);
        list += id + childName(i) + ",";
    }
    return list;
}

void serveCommands(const Socket& client) {
    std::unordered_map<std::string, std::string> replies; // by request line
    char buffer[4096];
    std::string line;
    while (const std::size_t count = client.receiveSome(buffer, sizeof buffer)) {
        line.append(buffer, count);
        if (line.back() != '\n')
            continue;
        line.pop_back();
        std::string& reply = replies[line];
        if (reply.empty())
            reply = replyTo(line);
        client.sendAll(reply.data(), reply.size());
        line.clear();
    }
}

void serveFrames(const Socket& client) {
    std::vector<char> written;
    FrameRequests requests(client);
    while (requests.next()) {
        if (requests.isWrite()) {
            written.resize(std::max(written.size(), requests.size()));
            requests.receiveFrame(written.data());
            client.sendAll("", 1);
        } else if (requests.isRead()) {
            client.sendAll(successAndFrame().data(), 1 + requests.size());
        }
    }
}

void serveCopies(const Socket& client) {
    std::vector<char> received;
    CopyOrder order{};
    while (client.receiveAll(&order, sizeof order)) {
        received.resize(std::max<std::size_t>(received.size(), order.size));
        for (std::uint32_t i = 0; i < order.count; ++i)
            if (order.toClient != 0)
                client.sendAll(successAndFrame().data(), order.size);
            else
                client.receiveAll(received.data(), order.size);
        if (order.toClient == 0)
            client.sendAll("", 1);
    }
}

} // namespace bench
