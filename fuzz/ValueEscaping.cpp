// Values on the command connection: any text survives being escaped and read back, and any bytes
// read alike singly and in runs.
#include "fuzz/FuzzInput.h"
#include "rc/rcValue.h"

#include <algorithm>
#include <string>

namespace {

void feedRuns(rcValue& value, std::string_view text, std::size_t run) {
    for (; !text.empty(); text.remove_prefix(std::min(run, text.size())))
        value.appendEscaped(text.data(), std::min(run, text.size()));
}

void checkRoundTrip(const std::string& text, std::size_t run) {
    static rcValue sent, received;
    sent.setValue(text.c_str());
    received.clear();
    const std::string escaped = sent.escapedValue();
    require(escaped.find_first_of("\t\n") == std::string::npos);
    feedRuns(received, escaped, run);
    require(received.value() == text.c_str()); // NOLINT(*-string-cstr): up to the first NUL
}

void checkSameInRuns(std::string_view text, std::size_t run) {
    static rcValue bytes, runs;
    bytes.clear();
    runs.clear();
    for (const char c : text)
        bytes.appendEscapedChar(c);
    feedRuns(runs, text, run);
    require(bytes.value() == runs.value());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::size_t run = 1 + input.control() % 32;
    checkRoundTrip(std::string(input.text()), run);
    checkSameInRuns(input.text(), run);
    return 0;
}
