// Escaping, and the strings that cross the library's boundary.
#include "bench/inside/Pairs.h"
#include "lantrix/LantrixTypes.h"
#include "rc/rcParam.h"
#include "rc/rcValue.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

// The plainest way to escape: runs of plain bytes, found with strcspn, are appended whole.
std::string escapeRuns(const std::string& text, const char* specials) {
    std::string escaped;
    const char* next = text.c_str();
    for (;;) {
        const std::size_t run = std::strcspn(next, specials);
        escaped.append(next, run);
        next += run;
        if (*next == '\0')
            return escaped;
        escaped += '\\';
        escaped += *next++;
    }
}

void addEscapingPair(const std::string& figure, const std::string& text, const char* specials,
                     const std::function<void()>& library) {
    addPair({figure, "byte", static_cast<double>(text.size()), library, "strcspn and append",
             [text, specials] { benchmark::DoNotOptimize(escapeRuns(text, specials)); }, ""});
}

std::string lines(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "\t<item name=\"shot\">forty bytes or so, as metadata is</item>\n";
    return text;
}

void escapeValue(const std::string& text) {
    rcValue value;
    value.setValue(text.c_str());
    benchmark::DoNotOptimize(value.escapedValue());
}

// A short text, as ids and names are, through the library's string and as a bare block.
void addStringPairs() {
    static const char* const text = "Reel 01 Shot 0000017";
    addPair({"Make and drop a LantrixStr", "string", 1,
             [] { benchmark::DoNotOptimize(LantrixStr(text).c_str()); }, "strdup and free",
             [] {
                 char* const copy = ::strdup(text);
                 benchmark::DoNotOptimize(copy);
                 std::free(copy);
             },
             ""});
    static const LantrixStr one(text), other(text);
    addPair({"Compare two LantrixStr", "pair", 1, [] { benchmark::DoNotOptimize(one == other); },
             "strcmp", [] { benchmark::DoNotOptimize(std::strcmp(one.c_str(), other.c_str())); },
             ""});
}

} // namespace

void addTextPairs() {
    for (const int count : {10, 20000}) {
        const std::string text = lines(count);
        const std::string size = countText(static_cast<double>(text.size())) + " bytes";
        addEscapingPair("Escape a value of " + size, text, "\t\n\\", [text] { escapeValue(text); });
        addEscapingPair("Quote an argument of " + size, text, "\"\\", [text] {
            benchmark::DoNotOptimize(rcParamStringToEscapedString(text.c_str()));
        });
    }
    addStringPairs();
}

} // namespace bench
