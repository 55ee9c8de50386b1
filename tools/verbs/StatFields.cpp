#include "tools/verbs/StatFields.h"

#include "tools/report/NumberText.h"

namespace tool {

namespace {

// The digits that a float has: 23.976, not 23.97599983.
double rounded(float number) {
    return std::stod(shortNumber(static_cast<double>(number)));
}

Json formatFields(const LantrixClipFormat& format) {
    return {{"width", format.width()},
            {"height", format.height()},
            {"bitsPerPixel", format.bitsPerPixel()},
            {"channels", format.numChannels()},
            {"frameBufferSize", format.frameBufferSize()},
            {"frameRate", rounded(format.frameRate())},
            {"pixelRatio", rounded(format.pixelRatio())},
            {"scanFormat", LantrixClipFormat::scanFormatStr(format.scanFormat())},
            {"formatTag", format.formatTag()},
            {"metaDataTag", format.metaDataTag()},
            {"metaData", format.metaData()}};
}

} // namespace

Json statFields(const std::string& host, const std::string& path, const lantrix::WalkedNode& node) {
    Json fields = {{"host", host},           {"path", path},
                   {"id", node.id},          {"name", node.name},
                   {"type", node.kind},      {"typeNumber", node.type},
                   {"isClip", node.isClip},  {"children", node.children},
                   {"streams", node.streams}};
    if (node.isClip) {
        fields["frames"] = node.frames;
        fields.update(formatFields(*node.format));
    }
    return fields;
}

} // namespace tool
