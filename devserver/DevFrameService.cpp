#include "devserver/DevFrameService.h"

#include "devserver/DevError.h"
#include "devserver/DevFrameRequest.h"
#include "devserver/DevLimits.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace {

// Bytes moved at once between a file and the socket: few enough to stay in the processor's cache.
constexpr std::size_t chunkSize = std::size_t{256} << 10;

const std::array<char, chunkSize> zeros{};
constexpr std::string_view success("\0", 1);

// The client is gone, or can't be told any more that something went wrong.
struct ConnectionOver {};

std::string sizeProblem(const std::string& size) {
    return "The size " + devQuoted(size) + " is not from 0 to " +
           std::to_string(DevLimits::frameSize) + " bytes.";
}

void checkReadSize(const DevFrame& frame, std::size_t size) {
    if (size < frame.size)
        throw DevError("The frame has " + std::to_string(frame.size) + " bytes, only " +
                       std::to_string(size) + " were to be read.");
}

} // namespace

// One connection with its buffers.
class DevFrameService::Session {
public:
    Session(DevFrameService& service, DevStream& stream)
        : service_(service), stream_(stream), input_(chunkSize) {}

    void serve();

private:
    void serveRequests();
    [[nodiscard]] DevFrameRequest readRequest();
    [[nodiscard]] std::string_view receive(std::size_t most);
    void write(const DevFrameRequest& request);
    void store(const std::string& frameId, std::size_t size, std::size_t& left);
    void read(const DevFrameRequest& request);
    void sendFrame(const std::string& frameId, std::size_t size);
    void sendKept(const DevKeptFrame& kept, std::size_t size);
    void sendFile(const DevDescriptor& file, std::size_t size);
    void sendThroughMemory(const DevDescriptor& file, std::size_t size, std::size_t sent);
    void sendZeros(std::size_t size);
    void send(std::string_view head, std::string_view body);
    void sendStatus(const std::string& text);
    void trace(const char* what, const std::string& frameId) const;

    DevFrameService& service_;
    DevStream& stream_;
    std::vector<char> input_;
    std::string_view received_; // bytes in input_ that are not used yet
    std::vector<char> output_;  // empty until first needed
};

DevFrameService::DevFrameService(DevTree& tree, DevFrameCache& cache, const DevLog& log,
                                 bool knowsReadAhead)
    : tree_(tree), cache_(cache), log_(log), knowsReadAhead_(knowsReadAhead) {}

void DevFrameService::serve(DevStream& stream) {
    Session(*this, stream).serve();
}

void DevFrameService::Session::serve() {
    try {
        serveRequests();
    } catch (const ConnectionOver&) {
    }
}

void DevFrameService::Session::serveRequests() {
    try {
        for (;;) {
            const DevFrameRequest request = readRequest();
            if (request.kind() == DevFrameRequest::Write)
                write(request);
            else if (request.kind() == DevFrameRequest::Read)
                read(request);
            else
                service_.cache_.announce(request.frameId());
        }
    } catch (const DevError& error) {
        sendStatus(error.what());
        stream_.finish();
    }
}

DevFrameRequest DevFrameService::Session::readRequest() {
    DevFrameRequest request(service_.knowsReadAhead_);
    for (bool complete = false; !complete;) {
        const std::string_view bytes = receive(chunkSize);
        received_ = bytes.substr(request.append(bytes.data(), bytes.size(), complete));
    }
    return request;
}

// At least one byte, and at most so many.
std::string_view DevFrameService::Session::receive(std::size_t most) {
    if (received_.empty())
        received_ = {input_.data(), stream_.read(input_.data(), input_.size())};
    if (received_.empty())
        throw ConnectionOver();
    const std::string_view bytes = received_.substr(0, most);
    received_.remove_prefix(bytes.size());
    return bytes;
}

void DevFrameService::Session::write(const DevFrameRequest& request) {
    const std::optional<std::size_t> size = request.size();
    if (!size)
        throw DevError(sizeProblem(request.sizeText()));
    std::size_t left = *size;
    try {
        store(request.frameId(), *size, left);
    } catch (const DevError& error) {
        // The client sends all of its frame before it looks at the status.
        while (left > 0)
            left -= receive(left).size();
        return sendStatus(error.what());
    }
    trace("WriteFrame: stored", request.frameId());
    send(success, {});
}

void DevFrameService::Session::store(const std::string& frameId, std::size_t size,
                                     std::size_t& left) {
    service_.tree_.checkWrite(frameId, size);
    DevAsideFile file =
        service_.cache_.withDescriptors([&] { return service_.tree_.newFrameFile(); });
    while (left > 0) {
        const std::string_view bytes = receive(left);
        left -= bytes.size();
        file.write(bytes.data(), bytes.size());
    }
    service_.cache_.withDescriptors([&] { service_.tree_.commitFrame(frameId, file, size); });
}

void DevFrameService::Session::read(const DevFrameRequest& request) {
    const std::optional<std::size_t> size = request.size();
    if (!size)
        return sendStatus(sizeProblem(request.sizeText()));
    try {
        sendFrame(request.frameId(), *size);
    } catch (const DevError& error) {
        sendStatus(error.what());
    }
}

void DevFrameService::Session::sendFrame(const std::string& frameId, std::size_t size) {
    const DevFrame frame = service_.tree_.frame(frameId);
    checkReadSize(frame, size);
    if (const DevFrameCache::Frame kept = service_.cache_.find(frame.key)) {
        trace("ReadFrame: from memory", frameId);
        sendKept(*kept, frame.size);
        return sendZeros(size - frame.size);
    }
    DevOpenFrame opened =
        service_.cache_.withDescriptors([&] { return service_.tree_.openFrame(frameId); });
    checkReadSize(opened.frame, size);
    trace(opened.file.isOpen() ? "ReadFrame: from disk" : "ReadFrame: never written", frameId);
    if (!opened.file.isOpen()) {
        send(success, {});
        return sendZeros(size);
    }
    if (const DevFrameCache::Frame kept = service_.cache_.keep(opened))
        sendKept(*kept, opened.frame.size);
    else
        sendFile(opened.file, opened.frame.size);
    sendZeros(size - opened.frame.size);
}

void DevFrameService::Session::sendKept(const DevKeptFrame& kept, std::size_t size) {
    if (kept.file.isOpen())
        sendFile(kept.file, size);
    else
        send(success, kept.bytes);
}

// Success is reported first: a file that then turns out shorter, or can't be read, ends the
// connection.
void DevFrameService::Session::sendFile(const DevDescriptor& file, std::size_t size) {
    if (size == 0)
        return send(success, {});
    const std::optional<std::size_t> sent = stream_.writeFile(success, file.get(), size);
    if (!sent)
        throw ConnectionOver();
    try {
        sendThroughMemory(file, size, *sent);
    } catch (const DevError& error) {
        service_.log_("ReadFrame: the connection is dropped: ", error.what());
        throw ConnectionOver();
    }
}

// What the system did not send from the file by itself, or why it could not.
void DevFrameService::Session::sendThroughMemory(const DevDescriptor& file, std::size_t size,
                                                 std::size_t sent) {
    while (sent < size) {
        output_.resize(chunkSize);
        const std::size_t chunk = std::min(chunkSize, size - sent);
        devReadAt(file, output_.data(), chunk, sent);
        send({}, {output_.data(), chunk});
        sent += chunk;
    }
}

void DevFrameService::Session::sendZeros(std::size_t size) {
    while (size > 0) {
        const std::size_t chunk = std::min(size, zeros.size());
        send({zeros.data(), chunk}, {});
        size -= chunk;
    }
}

void DevFrameService::Session::send(std::string_view head, std::string_view body) {
    if (!stream_.write(head, body))
        throw ConnectionOver();
}

void DevFrameService::Session::sendStatus(const std::string& text) {
    service_.log_("Frame request refused: ", text);
    send(text, success);
}

void DevFrameService::Session::trace(const char* what, const std::string& frameId) const {
    if (service_.log_.isVerbose())
        service_.log_(std::string(what) + " " + frameId);
}
