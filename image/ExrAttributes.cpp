#include "image/ExrAttributes.h"

#include "image/Error.h"

#include <array>
#include <fstream>
#include <string_view>
#include <utility>

namespace image {

namespace {

std::uint32_t numberAt(std::string_view bytes, std::size_t position) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i)
        number |= std::uint32_t{static_cast<unsigned char>(bytes[position + i])} << (8 * i);
    return number;
}

// A header's bytes, taken one after the other.
class Bytes {
public:
    explicit Bytes(const std::string& file) : input_(file, std::ios::binary) {}

    bool take(std::size_t count, std::string& bytes) {
        bytes.resize(count);
        return static_cast<bool>(input_.read(bytes.data(), static_cast<std::streamsize>(count)));
    }
    bool takeText(std::string& text) { return static_cast<bool>(std::getline(input_, text, '\0')); }
    void skip(std::uint32_t count) { input_.seekg(count, std::ios::cur); }
    std::uintmax_t position() { return static_cast<std::uintmax_t>(input_.tellg()); }

private:
    std::ifstream input_;
};

// Of the types that have one size; 0 for others.
std::uint32_t sizeOfType(std::string_view type) {
    static constexpr std::array<std::pair<std::string_view, std::uint32_t>, 24> sizes{{
        {"box2f", 16},      {"box2i", 16},    {"chromaticities", 32},
        {"compression", 1}, {"double", 8},    {"deepImageState", 1},
        {"envmap", 1},      {"float", 4},     {"int", 4},
        {"keycode", 28},    {"lineOrder", 1}, {"m33d", 72},
        {"m33f", 36},       {"m44d", 128},    {"m44f", 64},
        {"rational", 8},    {"tiledesc", 9},  {"timecode", 8},
        {"v2d", 16},        {"v2f", 8},       {"v2i", 8},
        {"v3d", 24},        {"v3f", 12},      {"v3i", 12},
    }};
    for (const auto& [name, size] : sizes)
        if (name == type)
            return size;
    return 0;
}

// Names with 16 bytes each, and an empty one.
bool isChannelList(std::string_view value) {
    std::size_t position = 0;
    while (position < value.size() && value[position] != '\0') {
        const std::size_t end = value.find('\0', position);
        if (end == std::string_view::npos)
            return false;
        position = end + 1 + 16;
    }
    return position + 1 == value.size();
}

bool isPreview(std::string_view value) {
    return value.size() >= 8 &&
           (value.size() - 8) / 4 == std::uint64_t{numberAt(value, 0)} * numberAt(value, 4);
}

// Each behind its length.
bool isTextList(std::string_view value) {
    while (value.size() >= 4 && numberAt(value, 0) <= value.size() - 4)
        value.remove_prefix(4 + numberAt(value, 0));
    return value.empty();
}

bool isPossible(std::string_view type, std::string_view value) {
    if (type == "chlist")
        return isChannelList(value);
    if (type == "preview")
        return isPreview(value);
    return type != "stringvector" || isTextList(value);
}

void requireAttribute(const std::string& file, std::uintmax_t fileSize, const std::string& name,
                      Bytes& bytes) {
    std::string type, value;
    if (!bytes.takeText(type) || !bytes.take(4, value))
        return;
    const std::uint32_t size = numberAt(value, 0);
    const std::uintmax_t position = bytes.position();
    if (position > fileSize || size > fileSize - position)
        failFile("can't read", file, "the file has been cut off");
    const std::uint32_t fixed = sizeOfType(type);
    const bool isRead = type == "chlist" || type == "preview" || type == "stringvector";
    if (!isRead)
        bytes.skip(size);
    if (isRead ? bytes.take(size, value) && !isPossible(type, value) : fixed != 0 && size != fixed)
        failFile("can't read", file, "the attribute '" + name + "' has a wrong size");
}

} // namespace

// Attributes are a name, a type, a size and a value; a name that is empty ends those of a part, and
// no part at all ends the parts.
void requireExrAttributes(const std::string& file, std::uintmax_t fileSize) {
    Bytes bytes(file);
    std::string start;
    if (!bytes.take(8, start) || start[0] != 0x76)
        return;
    const bool hasParts = (static_cast<unsigned char>(start[5]) & 0x10U) != 0;
    bool wasEmpty = true;
    for (std::string name; bytes.takeText(name); wasEmpty = name.empty()) {
        if (name.empty() && (wasEmpty || !hasParts))
            return;
        if (!name.empty())
            requireAttribute(file, fileSize, name, bytes);
    }
}

} // namespace image
