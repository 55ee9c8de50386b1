#include "image/ClipShape.h"

#include "base/loggerBase/src/CoText.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace image {

namespace {

std::string quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

std::vector<std::string_view> fieldsOf(std::string_view text) {
    std::vector<std::string_view> fields;
    for (;;) {
        const std::size_t end = text.find('x');
        fields.push_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return fields;
        text.remove_prefix(end + 1);
    }
}

int positiveNumber(std::string_view text) {
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < 1)
        throw ClipShapeError(quoted(text) + " is not a positive number");
    return number;
}

// "25", "23.976" or "24000/1001".
float rateOf(std::string_view text) {
    const std::size_t slash = text.find('/');
    const std::string decimal(text.substr(0, slash));
    const CoCLocale neutral;
    char* end = nullptr;
    float rate = std::strtof(decimal.c_str(), &end);
    const bool whole = !decimal.empty() && end == decimal.c_str() + decimal.size();
    if (slash != std::string_view::npos)
        rate /= static_cast<float>(positiveNumber(text.substr(slash + 1)));
    if (!whole || !std::isfinite(rate) || rate <= 0)
        throw ClipShapeError(quoted(text) + " is not a frame rate");
    return rate;
}

int channelsOf(int bitsPerPixel) {
    if (bitsPerPixel % 3 == 0)
        return 3;
    return bitsPerPixel % 32 == 0 ? 4 : 1;
}

int frameBytes(int width, int height, int bitsPerPixel, std::uint64_t mostBytes) {
    const auto bits = static_cast<std::uint64_t>(bitsPerPixel);
    const std::uint64_t pixels =
        static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height); // below 2^62
    if (pixels > mostBytes * 8 / bits)
        throw ClipShapeError("a frame would be larger than " + std::to_string(mostBytes) +
                             " bytes");
    return static_cast<int>((pixels * bits + 7) / 8);
}

} // namespace

LantrixClipFormat clipFormatOfShape(std::string_view text, std::uint64_t mostBytes) {
    const std::size_t at = text.find('@');
    const std::string_view size = text.substr(0, at);
    const std::vector<std::string_view> fields = fieldsOf(size);
    if (fields.size() != 3 && fields.size() != 4)
        throw ClipShapeError(quoted(size) + " is not WxHxBITS or WxHxBITSxCHANNELS");
    LantrixClipFormat format;
    format.setWidth(positiveNumber(fields[0]));
    format.setHeight(positiveNumber(fields[1]));
    format.setBitsPerPixel(positiveNumber(fields[2]));
    format.setNumChannels(fields.size() == 4 ? positiveNumber(fields[3])
                                             : channelsOf(format.bitsPerPixel()));
    format.setFrameBufferSize(
        frameBytes(format.width(), format.height(), format.bitsPerPixel(), mostBytes));
    format.setScanFormat(LantrixClipFormat::Progressive);
    if (at != std::string_view::npos)
        format.setFrameRate(rateOf(text.substr(at + 1)));
    return format;
}

} // namespace image
