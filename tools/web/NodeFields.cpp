#include "tools/web/NodeFields.h"

#include "image/Error.h"
#include "tools/report/NumberText.h"

#include <cmath>
#include <optional>

namespace tool {

namespace {

const char* sampleName(image::SampleKind kind) {
    switch (kind) {
    case image::SampleKind::Integer8:
        return "uint8";
    case image::SampleKind::Packed10:
        return "uint10";
    case image::SampleKind::Integer16:
        return "uint16";
    case image::SampleKind::Half:
        return "half";
    case image::SampleKind::Float:
        return "float";
    }
    return "unknown";
}

std::optional<image::PixelLayout> knownLayout(const LantrixClipFormat& format) {
    try {
        return image::layoutOfClip(format);
    } catch (const image::Error&) {
        return std::nullopt;
    }
}

Json layoutFields(const std::optional<image::PixelLayout>& layout) {
    if (!layout)
        return {{"name", "unknown"},
                {"channels", Json::array()},
                {"sample", "unknown"},
                {"maximum", 0}};
    return {{"name", layout->tag()},
            {"channels", channelNames(layout->channels)},
            {"sample", sampleName(layout->kind)},
            {"maximum", layout->samples().maximum}};
}

// What a server makes up is not a number for JSON; the digits that a float has are: 23.976.
double finite(float number) {
    return std::isfinite(number) ? std::stod(shortNumber(static_cast<double>(number))) : 0;
}

} // namespace

Json channelNames(int channels) {
    Json names = channels < 3 ? Json{"y"} : Json{"r", "g", "b"};
    if (channels % 2 == 0)
        names.push_back("a");
    return names;
}

Json nodeFields(const lantrix::WalkedNode& node) {
    Json fields = {{"id", node.id},
                   {"name", node.name},
                   {"kind", node.isClip ? "clip" : "node"},
                   {"type", node.kind}};
    if (!node.format)
        return fields;
    const LantrixClipFormat& format = *node.format;
    fields.update(Json{{"frames", node.frames},
                       {"width", format.width()},
                       {"height", format.height()},
                       {"bits", format.bitsPerPixel()},
                       {"rate", finite(format.frameRate())},
                       {"rateText", shortNumber(static_cast<double>(format.frameRate()))},
                       {"ratio", finite(format.pixelRatio())},
                       {"tag", format.formatTag()},
                       {"layout", layoutFields(knownLayout(format))},
                       {"streams", node.streams}});
    return fields;
}

WebFailure::Kind kindOf(const lantrix::Failure& failure) {
    switch (failure.kind) {
    case lantrix::Failure::Kind::Connection:
        return WebFailure::Kind::Connection;
    case lantrix::Failure::Kind::Stopped:
        return WebFailure::Kind::Busy;
    default:
        return WebFailure::Kind::Refused;
    }
}

Json failureFields(WebFailure::Kind kind, const std::string& text) {
    const auto name = [kind] {
        switch (kind) {
        case WebFailure::Kind::Argument:
            return "argument";
        case WebFailure::Kind::NotFound:
            return "not-found";
        case WebFailure::Kind::Connection:
            return "connection";
        case WebFailure::Kind::Refused:
            return "refused";
        case WebFailure::Kind::Busy:
            return "busy";
        }
        return "refused";
    };
    return {{"error", text}, {"kind", name()}};
}

} // namespace tool
