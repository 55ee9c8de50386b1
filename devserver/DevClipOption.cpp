#include "devserver/DevClipOption.h"

#include "devserver/DevError.h"
#include "devserver/DevLimits.h"
#include "devserver/DevText.h"

#include <cstdint>

namespace {

[[noreturn]] void fail(const std::string& text, const std::string& reason) {
    throw DevError("The clip " + devQuoted(text) +
                   " is not PATH=WxHxBITS[xCHANNELS][@RATE]: " + reason + ".");
}

std::vector<std::string> pathOf(const std::string& path, const std::string& option) {
    std::vector<std::string> names;
    for (const std::string& name : devSplit(path, '/'))
        if (!name.empty())
            names.push_back(name);
    if (names.empty())
        fail(option, "the path is empty");
    return names;
}

int positiveOf(const std::string& text, const std::string& option) {
    const std::optional<int> number = devInteger<int>(text);
    if (!number || *number < 1)
        fail(option, devQuoted(text) + " is no positive number");
    return *number;
}

int channelsOf(int bitsPerPixel) {
    if (bitsPerPixel % 3 == 0)
        return 3;
    return bitsPerPixel % 32 == 0 ? 4 : 1;
}

int frameSizeOf(int width, int height, int bitsPerPixel, const std::string& option) {
    constexpr std::uint64_t mostBits = std::uint64_t{DevLimits::frameSize} * 8;
    const std::uint64_t pixels =
        static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height); // below 2^62
    if (pixels > mostBits / static_cast<std::uint64_t>(bitsPerPixel))
        fail(option,
             "a frame would be larger than " + std::to_string(DevLimits::frameSize) + " bytes");
    return static_cast<int>((pixels * static_cast<std::uint64_t>(bitsPerPixel) + 7) / 8);
}

LantrixClipFormat formatOf(const std::string& text, const std::string& option) {
    const std::vector<std::string> fields = devSplit(text, 'x');
    if (fields.size() != 3 && fields.size() != 4)
        fail(option, devQuoted(text) + " is not WxHxBITS or WxHxBITSxCHANNELS");
    LantrixClipFormat format;
    format.setWidth(positiveOf(fields[0], option));
    format.setHeight(positiveOf(fields[1], option));
    format.setBitsPerPixel(positiveOf(fields[2], option));
    format.setNumChannels(fields.size() == 4 ? positiveOf(fields[3], option)
                                             : channelsOf(format.bitsPerPixel()));
    format.setFrameBufferSize(
        frameSizeOf(format.width(), format.height(), format.bitsPerPixel(), option));
    format.setScanFormat(LantrixClipFormat::Progressive);
    return format;
}

} // namespace

DevClipOption devClipOption(const std::string& text) {
    const std::size_t equals = text.rfind('=');
    if (equals == std::string::npos)
        fail(text, "there is no '='");
    const std::size_t at = text.find('@', equals);
    const std::string size =
        text.substr(equals + 1, at == std::string::npos ? at : at - equals - 1);
    DevClipOption clip{pathOf(text.substr(0, equals), text), formatOf(size, text)};
    if (at == std::string::npos)
        return clip;
    const std::optional<float> rate = devFloat(std::string_view(text).substr(at + 1));
    if (!rate || *rate <= 0)
        fail(text, devQuoted(text.substr(at + 1)) + " is no frame rate");
    clip.format.setFrameRate(*rate);
    return clip;
}
