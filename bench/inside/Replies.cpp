// Parsing of reply lines, as they come from the socket, beside the least that has to be done:
// finding the special bytes with memchr and appending what lies between them.
#include "bench/inside/Pairs.h"
#include "bench/support/Protocols.h"
#include "rc/rcResult.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>

namespace bench {

namespace {

constexpr std::size_t readSize = 32768; // of the library's reads

// Calls use(data, size) for each piece of the line as one read would give it.
template <class Use>
void inReads(const std::string& line, Use&& use) {
    for (std::size_t at = 0; at < line.size(); at += readSize)
        use(line.data() + at, std::min(readSize, line.size() - at));
}

void parse(const std::string& line) {
    rcResult result;
    inReads(line, [&result](const char* data, std::size_t size) {
        bool complete = false;
        result.append(data, size, complete);
    });
    benchmark::DoNotOptimize(result.takeValue());
}

const char* find(const char* data, char special, const char* end) {
    const void* const found = std::memchr(data, special, static_cast<std::size_t>(end - data));
    return found != nullptr ? static_cast<const char*>(found) : end;
}

void findAndAppend(const std::string& line) {
    std::string value;
    inReads(line, [&value](const char* data, std::size_t size) {
        const char* const end = find(data, '\n', data + size);
        while (data != end) {
            const char* const escape = find(data, '\\', end);
            value.append(data, escape);
            data = std::min(escape + 1, end);
        }
    });
    benchmark::DoNotOptimize(value);
}

void addReplyPair(const std::string& figure, const std::string& line, const std::string& unit,
                  double items, const std::string& goal) {
    addPair({figure, unit, items, [line] { parse(line); }, "memchr and append",
             [line] { findAndAppend(line); }, goal});
}

// Text as metadata is: a line feed and a tab for every fifty bytes or so.
std::string escapedLines(int count) {
    std::string text = "ok ";
    for (int i = 0; i < count; ++i)
        text += "\\t<item>forty bytes that need no escape here</item>\\n";
    return text + "\n";
}

} // namespace

void addReplyPairs() {
    for (const int children : {10, 1000, 100000, 300000, 1000000})
        addReplyPair("Parse a reply of " + countText(children) + " children",
                     "ok " + childrenList(children) + "\n", "child", children,
                     children == 300000 ? "0.50" : "");
    for (const int count : {20, 20000}) {
        const std::string lines = escapedLines(count);
        const double size = static_cast<double>(lines.size());
        addReplyPair("Parse a reply of " + countText(size) + " bytes with escapes", lines, "byte",
                     size, "");
    }
}

} // namespace bench
