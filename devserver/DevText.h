// Numbers and lists as they stand in requests, ids and options: the whole text must be a number,
// whatever the process's locale.
// Stateless; any thread. Anything else gives no value.
#ifndef DEVSERVER_DEVTEXT_H
#define DEVSERVER_DEVTEXT_H

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The decimal number that \p text is, if it fits.
template <class Integer>
[[nodiscard]] std::optional<Integer> devInteger(std::string_view text) {
    Integer value{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return value;
}

/// Appends the number in decimal, without a text of its own.
inline void devAppend(std::string& text, std::size_t number) {
    char digits[24];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

/// The finite number with a decimal point that \p text is.
[[nodiscard]] std::optional<float> devFloat(std::string_view text);

/// The pieces between the separators; an empty text is one empty piece.
[[nodiscard]] std::vector<std::string> devSplit(std::string_view text, char separator);

/// The pieces of a comma-separated list, empty ones included; none of an empty text.
[[nodiscard]] std::vector<std::string> devListOf(std::string_view text);

#endif
