#include "devserver/DevArguments.h"

#include "devserver/DevError.h"
#include "devserver/DevText.h"
#include "lantrix/LantrixClipFormatFields.h"
#include "rc/rcParam.h"

namespace {

[[noreturn]] void fail(const char* what, const char* problem) {
    throw DevError(std::string("The ") + what + " " + problem + ".");
}

// Inside an escaped text each quote has a backslash of its own in front of it.
bool isEscaped(std::string_view text, std::size_t position) {
    std::size_t backslashes = 0;
    while (backslashes < position && text[position - 1 - backslashes] == '\\')
        ++backslashes;
    return backslashes % 2 != 0;
}

// The opening quote of the escaped text at the end of \p text.
std::size_t openingQuote(std::string_view text, const char* what) {
    if (text.size() >= 2 && text.back() == '"' && !isEscaped(text, text.size() - 1))
        for (std::size_t i = text.size() - 1; i-- > 0;)
            if (text[i] == '"' && !isEscaped(text, i))
                return i;
    fail(what, "is not a text in double quotes");
}

// Takes the fields of a clip format one by one.
struct FieldTaker {
    using Format = LantrixClipFormat;

    template <class Get>
    void operator()(const char* name, Get, void (Format::*set)(int)) const {
        (format.*set)(arguments.number(name));
    }
    template <class Get>
    void operator()(const char* name, Get, void (Format::*set)(float)) const {
        (format.*set)(arguments.decimal(name));
    }
    template <class Get>
    void operator()(const char* name, Get, void (Format::*set)(const char*)) const {
        (format.*set)(arguments.word(name).c_str());
    }
    template <class Get>
    void operator()(const char* name, Get, void (Format::*set)(Format::ScanFormat)) const {
        const int number = arguments.number(name);
        if (number < 0 || number > Format::Progressive)
            fail(name, "is not from 0 to 4");
        (format.*set)(static_cast<Format::ScanFormat>(number));
    }

    DevArguments& arguments;
    LantrixClipFormat& format;
};

} // namespace

std::string DevArguments::word(const char* what) {
    if (ended_)
        fail(what, "is missing");
    const std::size_t blank = rest_.find(' ');
    ended_ = blank == std::string_view::npos;
    std::string field(rest_.substr(0, blank));
    rest_.remove_prefix(ended_ ? rest_.size() : blank + 1);
    return field;
}

int DevArguments::number(const char* what) {
    const std::string field = word(what);
    const std::optional<int> value = devInteger<int>(field);
    if (!value)
        throw DevError("The " + std::string(what) + " " + devQuoted(field) + " is not a number.");
    return *value;
}

float DevArguments::decimal(const char* what) {
    const std::string field = word(what);
    const std::optional<float> value = devFloat(field);
    if (!value)
        throw DevError("The " + std::string(what) + " " + devQuoted(field) + " is not a number.");
    return *value;
}

std::string DevArguments::quotedWord(const char* what) {
    const std::size_t end = rest_.find('"', 1);
    if (rest_.empty() || rest_.front() != '"' || end == std::string_view::npos)
        fail(what, "is not a text in double quotes");
    std::string text(rest_.substr(1, end - 1));
    rest_.remove_prefix(end + 1);
    if (!rest_.empty() && rest_.front() == ' ')
        rest_.remove_prefix(1);
    return text;
}

std::string DevArguments::escapedText(const char* what) {
    if (openingQuote(rest_, what) != 0)
        fail(what, "is not a text in double quotes");
    const std::string inner(rest_.substr(1, rest_.size() - 2));
    return rcParamEscapedStringToString(inner.c_str());
}

LantrixClipFormat DevArguments::clipFormat() {
    LantrixClipFormat format;
    lantrixForEachClipFormatField(FieldTaker{*this, format});
    format.setMetaData(escapedText("format's metadata").c_str());
    return format;
}

std::string_view DevArguments::takeLast(std::size_t count, const char* what) {
    std::size_t start = openingQuote(rest_, what);
    // The blank in front of the text, and one more in front of each field.
    for (std::size_t blanks = 0; blanks <= count; ++blanks) {
        start = start == 0 ? std::string_view::npos : rest_.rfind(' ', start - 1);
        if (start == std::string_view::npos)
            fail(what, "has too few fields");
    }
    const std::string_view last = rest_.substr(start + 1);
    rest_ = rest_.substr(0, start);
    return last;
}
