#include "devserver/DevClipOption.h"

#include "devserver/DevError.h"
#include "devserver/DevLimits.h"
#include "devserver/DevText.h"
#include "image/ClipShape.h"

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

} // namespace

DevClipOption devClipOption(const std::string& text) {
    const std::size_t equals = text.rfind('=');
    if (equals == std::string::npos)
        fail(text, "there is no '='");
    try {
        return {pathOf(text.substr(0, equals), text),
                image::clipFormatOfShape(text.substr(equals + 1), DevLimits::frameSize)};
    } catch (const image::ClipShapeError& error) {
        fail(text, error.what());
    }
}
