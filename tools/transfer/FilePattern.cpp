#include "tools/transfer/FilePattern.h"

#include "tools/report/Failure.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <regex>

namespace tool {

FilePattern::FilePattern(const std::string& text) : text_(text), before_(text) {
    const std::size_t slash = text.rfind('/');
    const std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    static const std::regex place("#+|@+|%(0[1-9])?d");
    const std::string name = text.substr(nameStart);
    std::smatch last;
    for (std::sregex_iterator it(name.begin(), name.end(), place), end; it != end; ++it)
        last = *it;
    if (last.empty())
        return;
    const bool isPrintf = last.str(0)[0] == '%';
    const int width = last[1].matched ? last.str(1)[1] - '0' : 1;
    splitAt(nameStart + static_cast<std::size_t>(last.position(0)),
            static_cast<std::size_t>(last.length(0)),
            isPrintf ? width : static_cast<int>(last.length(0)));
}

void FilePattern::splitAt(std::size_t start, std::size_t length, int digits) {
    before_ = text_.substr(0, start);
    after_ = text_.substr(start + length);
    digits_ = digits;
}

std::string FilePattern::file(int number) const {
    if (!isSequence())
        return text_;
    std::string digits = std::to_string(number);
    if (digits.size() < static_cast<std::size_t>(digits_))
        digits.insert(0, static_cast<std::size_t>(digits_) - digits.size(), '0');
    return before_ + digits + after_;
}

std::vector<int> FilePattern::existingNumbers() const {
    const std::filesystem::path start(before_);
    const std::filesystem::path folder = start.has_parent_path() ? start.parent_path() : ".";
    const std::string prefix = start.filename().string();
    std::error_code error;
    std::vector<int> numbers;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        if (name.size() <= prefix.size() + after_.size() || name.rfind(prefix, 0) != 0)
            continue;
        int number = 0;
        const char* end = name.data() + name.size() - after_.size();
        const auto [next, problem] = std::from_chars(name.data() + prefix.size(), end, number);
        // Writing the number again tells whether the file is one of the pattern's.
        if (problem == std::errc{} && next == end && number >= 0 &&
            std::filesystem::path(file(number)).filename() == name)
            numbers.push_back(number);
    }
    if (error)
        throw fileFailure("can't look into", folder.string(), error.value());
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

std::string FilePattern::otherPadding() const {
    constexpr int mostDigits = 9;
    for (int digits = 1; digits <= mostDigits; ++digits) {
        FilePattern other = *this;
        other.digits_ = digits;
        if (!other.existingNumbers().empty())
            return before_ + std::string(static_cast<std::size_t>(digits), '#') + after_;
    }
    return "";
}

} // namespace tool
