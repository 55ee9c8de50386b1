// The development server's reading of request arguments: fields put together again give the text
// that they were taken from, and a clip format that was understood is understood again.
#include "devserver/DevArguments.h"
#include "devserver/DevError.h"
#include "devserver/DevText.h"
#include "fuzz/FuzzInput.h"
#include "rc/rcParam.h"
#include "rc/rcProtocol.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>

namespace {

void takeWords(std::string_view text) {
    DevArguments arguments(text);
    std::string joined = arguments.word("field");
    while (joined.size() < text.size())
        joined += ' ' + arguments.word("field");
    require(joined == text && arguments.rest().empty());
}

void takeQuoted(std::string_view text) {
    DevArguments arguments(text);
    const std::string word = arguments.quotedWord("host");
    const std::string head = '"' + word + '"';
    const std::string_view rest = arguments.rest();
    require(text.substr(0, head.size()) == head && word.find('"') == std::string::npos);
    require(text == head + std::string(rest) || text == head + ' ' + std::string(rest));
}

void takeLast(std::string_view text) {
    DevArguments arguments(text);
    const std::string last(arguments.takeLast(2, "end"));
    require(text == std::string(arguments.rest()) + ' ' + last);
    DevArguments ending(last);
    const std::string first = ending.word("first"), second = ending.word("second");
    require(last == first + ' ' + second + ' ' + std::string(ending.rest()));
    const std::string free = ending.escapedText("text");
    require(free.size() + 2 <= last.size());
}

void takeList(std::string_view text) {
    require(rcProtocol::joined(devListOf(text)) == text);
}

void takeEscaped(std::string_view text) {
    const std::string terminated(text.substr(0, text.find('\0')));
    const std::string quoted = rcParamStringToEscapedString(terminated.c_str());
    require(DevArguments(quoted).escapedText("text") == terminated);
}

std::string argumentsOf(const LantrixClipFormat& format) {
    char numbers[256];
    std::snprintf(numbers, sizeof numbers, "%d %d %d %d %d %.9g %.9g ", format.width(),
                  format.height(), format.bitsPerPixel(), format.numChannels(),
                  format.frameBufferSize(), static_cast<double>(format.pixelRatio()),
                  static_cast<double>(format.frameRate()));
    return numbers + std::string(format.formatTag()) + ' ' + std::to_string(format.scanFormat()) +
           ' ' + format.metaDataTag() + ' ' + rcParamStringToEscapedString(format.metaData());
}

void takeClipFormat(std::string_view text) {
    const std::string arguments = argumentsOf(DevArguments(text).clipFormat());
    require(argumentsOf(DevArguments(arguments).clipFormat()) == arguments);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Take = void (*)(std::string_view text);
    constexpr Take takes[] = {takeClipFormat, takeWords, takeQuoted,
                              takeLast,       takeList,  takeEscaped};
    FuzzInput input(data, size);
    const Take take = takes[input.control() % std::size(takes)];
    try {
        take(input.text());
    } catch (const DevError& error) {
        require(*error.what() != '\0' && std::strlen(error.what()) < 512);
    }
    return 0;
}
