#include "devserver/DevNode.h"

#include "devserver/DevBase64.h"
#include "devserver/DevError.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>

namespace {

using nlohmann::json;

bool isUtf8(const std::string& text) {
    try {
        (void)json(text).dump();
        return true;
    } catch (const json::type_error&) {
        return false;
    }
}

json jsonOfText(const std::string& text) {
    if (isUtf8(text))
        return text;
    return json{{"base64", devBase64(text)}};
}

std::string textOfJson(const json& value) {
    if (value.is_string())
        return value.get<std::string>();
    if (value.contains("base64"))
        return devBytesOfBase64(value.at("base64").get_ref<const std::string&>());
    const auto bytes = value.at("bytes").get<std::vector<unsigned char>>(); // of older servers
    return std::string(bytes.begin(), bytes.end());
}

json jsonOfTexts(const std::vector<std::string>& texts) {
    json values = json::array();
    for (const std::string& text : texts)
        values.push_back(jsonOfText(text));
    return values;
}

std::vector<std::string> textsOfJson(const json& values) {
    std::vector<std::string> texts;
    for (const json& value : values)
        texts.push_back(textOfJson(value));
    return texts;
}

// Pairs rather than an object: a stream's name need not be UTF-8 either.
json jsonOfStreams(const std::map<std::string, std::string>& streams) {
    json values = json::array();
    for (const auto& [name, text] : streams)
        values.push_back({{"name", jsonOfText(name)}, {"text", jsonOfText(text)}});
    return values;
}

std::map<std::string, std::string> streamsOfJson(const json& values) {
    std::map<std::string, std::string> streams;
    for (const json& value : values)
        streams[textOfJson(value.at("name"))] = textOfJson(value.at("text"));
    return streams;
}

json jsonOfFormat(const LantrixClipFormat& format) {
    return {{"width", format.width()},
            {"height", format.height()},
            {"bitsPerPixel", format.bitsPerPixel()},
            {"channels", format.numChannels()},
            {"frameBufferSize", format.frameBufferSize()},
            {"pixelRatio", format.pixelRatio()},
            {"frameRate", format.frameRate()},
            {"formatTag", jsonOfText(format.formatTag())},
            {"scanFormat", static_cast<int>(format.scanFormat())},
            {"metaDataTag", jsonOfText(format.metaDataTag())},
            {"metaData", jsonOfText(format.metaData())}};
}

[[noreturn]] void refuseNumber(const json& value) {
    throw DevError("'" + value.dump() + "' is not a number that belongs there.");
}

// A conversion would make another number of one that the type can't hold.
template <class Integer>
Integer integerOfJson(const json& value) {
    using Limits = std::numeric_limits<Integer>;
    const bool fits =
        value.is_number_unsigned()
            ? value.get<std::uint64_t>() <= std::uint64_t{Limits::max()}
            : value.is_number_integer() && value.get<std::int64_t>() >= std::int64_t{Limits::min()};
    if (!fits)
        refuseNumber(value);
    return value.get<Integer>();
}

float floatOfJson(const json& value) {
    if (!value.is_number() ||
        std::abs(value.get<double>()) > static_cast<double>(std::numeric_limits<float>::max()))
        refuseNumber(value);
    return value.get<float>();
}

LantrixClipFormat formatOfJson(const json& value) {
    const auto scanFormat =
        static_cast<LantrixClipFormat::ScanFormat>(integerOfJson<int>(value.at("scanFormat")));
    return LantrixClipFormat(
        integerOfJson<int>(value.at("width")), integerOfJson<int>(value.at("height")),
        integerOfJson<int>(value.at("bitsPerPixel")), integerOfJson<int>(value.at("channels")),
        integerOfJson<int>(value.at("frameBufferSize")), floatOfJson(value.at("frameRate")),
        floatOfJson(value.at("pixelRatio")), scanFormat, textOfJson(value.at("formatTag")).c_str(),
        textOfJson(value.at("metaDataTag")).c_str(), textOfJson(value.at("metaData")).c_str());
}

void readClip(const json& value, DevNode& node) {
    node.format = formatOfJson(value.at("format"));
    node.frames = integerOfJson<std::size_t>(value.at("frames"));
    node.links = textsOfJson(value.at("links"));
    node.leftovers = value.at("leftovers");
}

} // namespace

std::string devTextOfNode(const DevNode& node) {
    json value = {{"parent", node.parent},
                  {"name", jsonOfText(node.name)},
                  {"kind", node.kind == DevNode::Clip ? "clip" : "node"},
                  {"type", jsonOfText(node.type)},
                  {"streams", jsonOfStreams(node.streams)}};
    if (node.kind == DevNode::Clip)
        value.update({{"format", jsonOfFormat(node.format)},
                      {"frames", node.frames},
                      {"links", jsonOfTexts(node.links)},
                      {"leftovers", node.leftovers}});
    return value.dump(2) + "\n";
}

DevNode devNodeOfText(const std::string& text) {
    try {
        const json value = json::parse(text);
        DevNode node;
        node.parent = integerOfJson<std::uint64_t>(value.at("parent"));
        node.name = textOfJson(value.at("name"));
        node.kind = value.at("kind") == "clip" ? DevNode::Clip : DevNode::Plain;
        node.type = textOfJson(value.at("type"));
        node.streams = streamsOfJson(value.at("streams"));
        if (node.kind == DevNode::Clip)
            readClip(value, node);
        return node;
    } catch (const json::exception& error) {
        throw DevError(error.what());
    }
}
