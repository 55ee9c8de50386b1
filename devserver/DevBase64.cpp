#include "devserver/DevBase64.h"

#include "devserver/DevError.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

constexpr std::string_view digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::uint32_t valueOf(char digit) {
    const std::size_t value = digits.find(digit);
    if (value == std::string_view::npos)
        throw DevError("A text in base64 holds " + devQuoted({&digit, 1}) + ".");
    return static_cast<std::uint32_t>(value);
}

} // namespace

std::string devBase64(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (; !bytes.empty(); bytes.remove_prefix(std::min<std::size_t>(3, bytes.size()))) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i)
            group = group << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            text += i <= bytes.size() ? digits[group >> (18 - 6 * i) & 63U] : '=';
    }
    return text;
}

std::string devBytesOfBase64(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3);
    if (text.size() % 4 != 0)
        throw DevError("A text in base64 is cut.");
    for (; !text.empty(); text.remove_prefix(4)) {
        const std::size_t count = std::min<std::size_t>(text.find('='), 4);
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 4; ++i)
            group = group << 6 | (i < count ? valueOf(text[i]) : 0U);
        for (std::size_t i = 0; i + 1 < count; ++i)
            bytes += static_cast<char>(group >> (16 - 8 * i) & 255U);
    }
    return bytes;
}
