// Reply lines: fed in runs and byte by byte, over several lines of one record, with the same
// result; and what is built from a record against what is parsed from that.
#include "fuzz/FuzzInput.h"
#include "rc/rcResult.h"

#include <algorithm>
#include <string>

namespace {

std::size_t feedBytes(rcResult& result, std::string_view text, bool& complete) {
    std::size_t taken = 0;
    complete = false;
    while (!complete && taken < text.size())
        complete = result.appendChar(text[taken++]);
    return taken;
}

std::size_t feedRuns(rcResult& result, std::string_view text, std::size_t run, bool& complete) {
    std::size_t taken = 0;
    complete = false;
    while (!complete && taken < text.size()) {
        const std::size_t size = std::min(run, text.size() - taken);
        taken += result.append(text.data() + taken, size, complete);
    }
    return taken;
}

void checkRebuilt(const rcResult& result) {
    static rcResult parsed;
    parsed = rcResult();
    const std::string line = result.escapedCommand();
    bool complete = false;
    require(feedRuns(parsed, line, line.size(), complete) == line.size() && complete);
    require(parsed.escapedCommand() == line);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::size_t run = 1 + input.control() % 32;
    std::string_view text = input.text();
    static rcResult bytes, runs;
    bytes = rcResult();
    runs = rcResult();
    while (!text.empty()) {
        bytes.reset();
        runs.reset();
        bool complete = false, runsComplete = false;
        const std::size_t taken = feedBytes(bytes, text, complete);
        require(feedRuns(runs, text, run, runsComplete) == taken);
        require(complete == runsComplete && bytes.code() == runs.code());
        require(bytes.value() == runs.value());
        text.remove_prefix(taken);
    }
    require(bytes.escapedCommand() == runs.escapedCommand());
    checkRebuilt(runs);
    return 0;
}
