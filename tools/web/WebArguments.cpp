#include "tools/web/WebArguments.h"

#include "tools/report/NumberText.h"
#include "tools/web/WebFailure.h"

#include <charconv>

namespace tool {

namespace {

template <class Number>
Number parsed(const std::string& name, const std::string& text, Number least, Number most) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || !(number >= least && number <= most))
        throw WebFailure(WebFailure::Kind::Argument,
                         "'" + text + "' is not a number from " +
                             shortNumber(static_cast<double>(least)) + " to " +
                             shortNumber(static_cast<double>(most)) + " for '" + name + "'");
    return number;
}

} // namespace

bool WebArguments::has(const std::string& name) const {
    return request_.arguments.count(name) != 0;
}

std::string WebArguments::text(const std::string& name, const std::string& otherwise) const {
    const auto found = request_.arguments.find(name);
    return found != request_.arguments.end() ? found->second : otherwise;
}

std::string WebArguments::text(const std::string& name) const {
    if (!has(name))
        throw WebFailure(WebFailure::Kind::Argument, "'" + name + "' is missing");
    std::string text = this->text(name, "");
    if (text.find('\0') != std::string::npos)
        throw WebFailure(WebFailure::Kind::Argument, "'" + name + "' holds a NUL");
    return text;
}

int WebArguments::number(const std::string& name, int least, int most) const {
    return parsed(name, text(name), least, most);
}

int WebArguments::number(const std::string& name, int least, int most, int otherwise) const {
    return has(name) ? number(name, least, most) : otherwise;
}

double WebArguments::real(const std::string& name, double least, double most,
                          double otherwise) const {
    return has(name) ? parsed(name, text(name), least, most) : otherwise;
}

} // namespace tool
