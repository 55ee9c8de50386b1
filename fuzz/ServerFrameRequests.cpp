// The development server's reading of frame requests: in any pieces the same as in one, and the
// same as a plain split at the NUL bytes.
#include "devserver/DevError.h"
#include "devserver/DevFrameRequest.h"
#include "devserver/DevLimits.h"
#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace {

struct Outcome {
    std::size_t taken = 0;
    bool complete = false;
    bool refused = false;
};

Outcome feed(DevFrameRequest& request, std::string_view bytes, std::size_t piece) {
    Outcome outcome;
    try {
        while (!outcome.complete && outcome.taken < bytes.size()) {
            const std::string_view part = bytes.substr(outcome.taken, piece);
            outcome.taken += request.append(part.data(), part.size(), outcome.complete);
        }
    } catch (const DevError&) {
        outcome.refused = true;
    }
    return outcome;
}

std::string_view takeToken(std::string_view& bytes) {
    const std::string_view token = bytes.substr(0, bytes.find('\0'));
    bytes.remove_prefix(std::min(token.size() + 1, bytes.size()));
    return token;
}

void checkTokens(const DevFrameRequest& request, std::string_view bytes, std::size_t taken) {
    constexpr std::string_view names[] = {"WriteFrame", "ReadFrame", "ReadAhead"};
    const std::size_t size = bytes.size();
    require(takeToken(bytes) == names[request.kind()]);
    require(takeToken(bytes) == request.frameId());
    require(takeToken(bytes) == request.sizeText());
    require(size - bytes.size() == taken);
    if (const std::optional<std::size_t> frameSize = request.size())
        require(*frameSize <= DevLimits::frameSize);
    else
        require(request.sizeText() != "0");
}

} // namespace

// Most inputs follow the name of a known request: an unknown one is refused at once.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace std::string_view_literals;
    constexpr std::string_view starts[] = {"WriteFrame\0"sv, "ReadFrame\0"sv, "ReadAhead\0"sv,
                                           ""sv};
    FuzzInput input(data, size);
    const unsigned kind = input.control();
    const std::size_t piece = 1 + input.control() % 16;
    static std::string bytes;
    bytes.assign(starts[kind % std::size(starts)]).append(input.text());
    const bool knowsReadAhead = kind / std::size(starts) % 8 != 0;

    DevFrameRequest whole(knowsReadAhead), pieces(knowsReadAhead);
    const Outcome expected = feed(whole, bytes, bytes.size());
    const Outcome outcome = feed(pieces, bytes, piece);
    require(outcome.complete == expected.complete && outcome.refused == expected.refused);
    if (!outcome.complete)
        return 0;
    require(outcome.taken == expected.taken);
    checkTokens(pieces, bytes, outcome.taken);
    checkTokens(whole, bytes, outcome.taken);
    return 0;
}
