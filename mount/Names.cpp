#include "mount/Names.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <utility>

namespace mounted {

namespace {

constexpr std::size_t longest = 255;

bool isHoldable(const std::string& name) {
    return !name.empty() && name.size() <= longest && name != "." && name != ".." &&
           name.find('/') == std::string::npos;
}

std::string holdable(std::string name) {
    std::replace(name.begin(), name.end(), '/', '_');
    if (name.empty() || name == "." || name == "..")
        name = std::string(std::max<std::size_t>(name.size(), 1), '_');
    return name;
}

// Without the half of a character of UTF-8.
std::string cutTo(const std::string& name, std::size_t size) {
    if (name.size() <= size)
        return name;
    while (size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0U) == 0x80)
        --size;
    return name.substr(0, size);
}

} // namespace

std::vector<std::string> shownNames(const std::vector<std::string>& names,
                                    const std::function<bool(const std::string& name)>& isTaken) {
    std::set<std::string> used;
    std::vector<std::string> shown(names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
        if (isHoldable(names[i]) && !isTaken(names[i]) && used.insert(names[i]).second)
            shown[i] = names[i];
    for (std::size_t i = 0; i < names.size(); ++i) {
        for (int number = 2; shown[i].empty(); ++number) {
            const std::string end = "~" + std::to_string(number);
            const std::string name = cutTo(holdable(names[i]), longest - end.size()) + end;
            if (!isTaken(name) && used.insert(name).second)
                shown[i] = name;
        }
    }
    return shown;
}

FrameNames::FrameNames(const std::string& stem, int first, int count, std::string extension)
    : first_(first), count_(count), extension_(std::move(extension)) {
    constexpr std::size_t mostDigits = 10;
    stem_ = cutTo(stem, longest - 1 - mostDigits - extension_.size()) + ".";
}

std::string FrameNames::name(int index) const {
    constexpr std::size_t fewestDigits = 4;
    const std::string digits = std::to_string(static_cast<long long>(first_) + index);
    const std::size_t zeros = digits.size() < fewestDigits ? fewestDigits - digits.size() : 0;
    return stem_ + std::string(zeros, '0') + digits + extension_;
}

std::optional<int> FrameNames::index(const std::string& name, int beyond) const {
    if (name.size() <= stem_.size() + extension_.size() || name.rfind(stem_, 0) != 0)
        return std::nullopt;
    const char* const end = name.data() + name.size() - extension_.size();
    long long number = 0;
    const auto [stop, error] = std::from_chars(name.data() + stem_.size(), end, number);
    const long long index = number - first_;
    if (error != std::errc() || stop != end || index < 0 ||
        index >= static_cast<long long>(count_) + beyond ||
        this->name(static_cast<int>(index)) != name)
        return std::nullopt;
    return static_cast<int>(index);
}

std::optional<int> FrameNames::indexOfAnyKind(const std::string& name, int beyond) const {
    const std::size_t dot = name.rfind('.');
    const std::string end = dot != std::string::npos ? name.substr(dot) : "";
    for (const char* known : {".tif", ".tiff", ".dpx", ".exr", ".png"})
        if (end == known)
            return index(name.substr(0, dot) + extension_, beyond);
    return index(name, beyond);
}

} // namespace mounted
