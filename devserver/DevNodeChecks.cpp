#include "devserver/DevNodeChecks.h"

#include "devserver/DevError.h"
#include "devserver/DevLimits.h"

#include <algorithm>
#include <string_view>

namespace {

void checkLength(const char* what, std::string_view text, std::size_t most) {
    if (text.size() > most)
        throw DevError(std::string(what) + " is longer than " + std::to_string(most) + " bytes.");
}

} // namespace

void devCheckName(const std::string& name) {
    if (name.empty())
        throw DevError("A node needs a name.");
    checkLength("The node's name", name, DevLimits::name);
    if (name.find_first_of(",/\n") != std::string::npos)
        throw DevError(
            "The name " + devQuoted(name) +
            " holds a comma, a slash or a line feed, which lists and paths can't carry.");
}

void devCheckType(const std::string& type) {
    checkLength("The node's type", type, DevLimits::name);
}

void devCheckStreamName(const std::string& name) {
    checkLength("The metadata stream name", name, DevLimits::name);
    if (name.empty() || name.find_first_of(", \t\n") != std::string::npos)
        throw DevError("The metadata stream name " + devQuoted(name) +
                       " is empty or holds a comma or white space.");
}

void devCheckFormat(const LantrixClipFormat& format) {
    const int size = format.frameBufferSize();
    if (size < 1 || static_cast<std::size_t>(size) > DevLimits::frameSize)
        throw DevError("The frame buffer size " + std::to_string(size) + " is not from 1 to " +
                       std::to_string(DevLimits::frameSize) + " bytes.");
    if (format.width() < 0 || format.height() < 0 || format.bitsPerPixel() < 0 ||
        format.numChannels() < 0)
        throw DevError("A dimension of the clip format is negative.");
    if (format.scanFormat() > LantrixClipFormat::Progressive)
        throw DevError("The scan format " + std::to_string(format.scanFormat()) +
                       " is not from 0 to 4.");
    checkLength("A tag of the clip format", format.formatTag(), DevLimits::formatTag);
    checkLength("A tag of the clip format", format.metaDataTag(), DevLimits::formatTag);
}

void devCheckFrameCount(std::size_t count) {
    if (count > DevLimits::clipFrames)
        throw DevError("A clip has at most " + std::to_string(DevLimits::clipFrames) + " frames.");
}

void devCheckLinkPath(const std::string& path) {
    if (path.empty() || path.front() != '/')
        throw DevError("The path " + devQuoted(path) + " is not absolute.");
}

void devCheckNode(const DevNode& node) {
    devCheckName(node.name);
    devCheckType(node.type);
    for (const auto& [name, text] : node.streams)
        devCheckStreamName(name);
    devCheckFormat(node.format);
    devCheckFrameCount(node.frames);
    if (node.links.size() > node.frames)
        throw DevError("More frames are linked than the clip has.");
    std::for_each(node.links.begin(), node.links.end(), devCheckLinkPath);
}
