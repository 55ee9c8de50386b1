// Replies to the node service: any bytes, arriving in any pieces, ending in a close, a reset, a
// stall or a stop, against a plain reading of the same line. After a failure the next call
// understands a healthy server, or, where the connection broke behind a whole reply, the one after
// it.
#include "fuzz/FakeSocket.h"
#include "fuzz/FuzzInput.h"
#include "lantrix/LantrixBaseInterface.h"
#include "lantrix/LantrixNodeClientAPI.h"
#include "rc/rcResult.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

namespace {

using NodeInfo = LantrixNodeInterface::NodeInfo;

struct Service {
    LantrixClientConnection connection{"server", 7549};
    LantrixNodeClientAPI nodes{connection};
    LantrixNodeId node{"node"};
};

Service& service() {
    static Service shared;
    return shared;
}

// One reply line, read with no other means than the definition of the format.
struct Line {
    explicit Line(std::string_view text);

    bool isOk() const { return complete && code == "ok"; }

    bool complete;
    bool escapeOpen = false; // the line ends within an escape
    std::string code;
    std::string value;
};

Line::Line(std::string_view text) : complete(text.find('\n') != std::string_view::npos) {
    const std::string_view line = text.substr(0, text.find('\n'));
    const std::size_t blank = std::min(line.find(' '), line.size());
    code = line.substr(0, blank);
    for (std::size_t i = blank + 1; i < line.size(); ++i) {
        const bool escaped = line[i] == '\\';
        escapeOpen = escaped && ++i == line.size();
        if (!escapeOpen)
            value += !escaped ? line[i] : line[i] == 'n' ? '\n' : line[i] == 't' ? '\t' : line[i];
    }
    value.resize(std::min(value.find('\0'), value.size()));
}

std::vector<std::string> piecesOf(const std::string& list) {
    std::vector<std::string> pieces(1);
    for (const char c : list)
        if (c == ',')
            pieces.emplace_back();
        else
            pieces.back() += c;
    return pieces;
}

bool askChildren(const Line& line) {
    std::vector<NodeInfo> children(1, NodeInfo{"old", "old"});
    if (!service().nodes.getChildren(service().node, children)) {
        require(children.size() == 1 && children[0].first == "old");
        return false;
    }
    const std::vector<std::string> pieces = piecesOf(line.value);
    require(children.size() == pieces.size() / 2);
    for (std::size_t i = 0; i < children.size(); ++i)
        require(children[i].second == pieces[2 * i] && children[i].first == pieces[2 * i + 1]);
    return true;
}

template <class Item>
void checkItems(const std::vector<Item>& items, std::size_t kept, const Line& line,
                const char* (*textOf)(const Item&)) {
    std::size_t next = kept;
    for (const std::string& piece : piecesOf(line.value))
        if (!piece.empty())
            require(next < items.size() && piece == textOf(items[next++]));
    require(next == items.size());
}

const char* textOf(const LantrixFrameId& id) {
    return id.id();
}

const char* textOf(const std::string& text) {
    return text.c_str();
}

bool askFrames(const Line& line) {
    std::vector<LantrixFrameId> frames(1);
    if (!service().nodes.getFrames(service().node, frames)) {
        require(frames.size() == 1);
        return false;
    }
    checkItems<LantrixFrameId>(frames, 0, line, textOf);
    return true;
}

bool askAllocation(const Line& line) {
    std::vector<LantrixFrameId> frames(1);
    if (!service().nodes.allocateFrames(service().node, 1, LantrixClipFormat(), frames)) {
        require(frames.size() == 1);
        return false;
    }
    checkItems<LantrixFrameId>(frames, 1, line, textOf);
    return true;
}

bool askPaths(const Line& line) {
    std::vector<std::string> paths(1);
    if (!service().nodes.getFramePaths(service().node, paths)) {
        require(paths.size() == 1);
        return false;
    }
    checkItems<std::string>(paths, 0, line, textOf);
    return true;
}

bool askName(const Line& line) {
    std::string name = "old";
    const bool named = service().nodes.getDisplayName(service().node, name);
    require(name == (named ? line.value : "old"));
    return named;
}

// Where the reply begins with two plain numbers, exactly those come out.
bool askType(const Line& line) {
    LantrixNodeInterface::NodeType type{};
    int subType = -7;
    if (!service().nodes.getNodeType(service().node, type, subType)) {
        require(subType == -7);
        return false;
    }
    const std::string digits = line.value.substr(0, line.value.find_first_not_of("0123456789 "));
    int first = 0, second = -7;
    if (digits == line.value && digits.size() < 10) {
        std::sscanf(digits.c_str(), "%d %d", &first, &second);
        require(type == static_cast<unsigned char>(first) && subType == second);
    }
    return true;
}

std::string replyOf(const LantrixClipFormat& format) {
    char numbers[256];
    std::snprintf(numbers, sizeof numbers, "%d %d %d %d %d %.9g %.9g ", format.width(),
                  format.height(), format.bitsPerPixel(), format.numChannels(),
                  format.frameBufferSize(), static_cast<double>(format.pixelRatio()),
                  static_cast<double>(format.frameRate()));
    rcResult reply;
    reply.setCode(rcResult::Ok);
    reply.setValue((numbers + std::string(format.formatTag()) + " " +
                    std::to_string(format.scanFormat()) + " " + format.metaDataTag() + " " +
                    format.metaData())
                       .c_str());
    return reply.escapedCommand();
}

// What was understood of a reply is understood again when it is sent back: then all fields were
// within their bounds, whatever the reply was.
bool askClipFormat(const Line&) {
    LantrixClipFormat format;
    if (!service().nodes.getClipFormat(service().node, format)) {
        require(format.width() == 1);
        return false;
    }
    require(std::strlen(format.formatTag()) <= 255 && std::strlen(format.metaDataTag()) <= 255);
    require(std::strlen(format.metaData()) <= 4095);
    if (*format.metaData() == '\0')
        return true;
    const std::string reply = replyOf(format);
    FakeSocket::instance().setStop(nullptr, 0);
    FakeSocket::instance().keepUnread(0);
    FakeSocket::instance().serve(reply, FakeSocket::Ending::Stall);
    LantrixClipFormat again;
    require(service().nodes.getClipFormat(service().node, again) && replyOf(again) == reply);
    return true;
}

// Of what the old server sent, the rest of its one reply is still on the way.
void checkRecovery(std::string_view text, const Line& line) {
    FakeSocket& socket = FakeSocket::instance();
    const std::size_t length = line.complete ? text.find('\n') + 1 : text.size();
    socket.keepUnread(length - std::min(length, socket.bytesRead()));
    socket.setArrival(FakeSocket::Arrival::Whole, 0);
    socket.setStop(nullptr, 0);
    std::string name;
    bool named = false;
    const int attempts = line.complete ? 2 : 1;
    for (int attempt = 0; attempt < attempts && !named; ++attempt) {
        socket.serve("ok healthy\n", FakeSocket::Ending::Stall);
        named = service().nodes.getDisplayName(service().node, name);
    }
    require(named && name == "healthy");
}

// A stop in the very wait in which the connection breaks may give either text.
void checkOutcome(bool succeeded, const Line& line, FakeSocket::Ending ending) {
    const bool stopped = FakeSocket::instance().stopCalled();
    const std::string error = service().nodes.lastError();
    require(succeeded == (line.isOk() && !stopped));
    if (stopped && ending == FakeSocket::Ending::Stall)
        require(error.find(" command stopped.") != std::string::npos);
    else if (!stopped && !succeeded && line.complete)
        require(error == line.value.substr(0, 511));
}

} // namespace

// Most texts are values of a reply that is otherwise sound: it is they that are parsed, while a
// failed call takes much longer.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Operation = bool (*)(const Line&);
    constexpr Operation operations[] = {askClipFormat, askChildren, askFrames,    askPaths,
                                        askType,       askName,     askAllocation};
    FuzzInput input(data, size);
    const unsigned kind = input.control(), seed = input.control();
    const bool isValue = kind / std::size(operations) % 8 != 0;
    const unsigned end = isValue ? 0 : input.control();
    const auto ending = static_cast<FakeSocket::Ending>(end % 3);
    static std::string text;
    text.assign(isValue ? "ok " : "").append(input.text()).append(isValue ? "\n" : "");
    const Line line(text);

    FakeSocket& socket = FakeSocket::instance();
    socket.setArrival(static_cast<FakeSocket::Arrival>(seed % 4), seed);
    socket.setStop([] { service().connection.stop(); }, end / 4);
    socket.serve(text, ending);
    const bool succeeded = operations[kind % std::size(operations)](line);
    checkOutcome(succeeded, line, ending);
    // A line that ended within an escape opens it for the next one.
    if (!succeeded || line.escapeOpen) {
        if (seed / 4 % 4 == 0)
            checkRecovery(text, line);
        service().connection.disconnect();
    }
    socket.keepUnread(0);
    return 0;
}
