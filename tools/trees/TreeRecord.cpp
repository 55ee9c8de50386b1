#include "tools/trees/TreeRecord.h"

#include "image/LocalFile.h"
#include "tools/report/Json.h"
#include "tools/trees/TreeNames.h"

#include <exception>
#include <filesystem>

namespace tool {

namespace {

Json jsonOf(const LantrixClipFormat& format) {
    return {{"width", format.width()},
            {"height", format.height()},
            {"bitsPerPixel", format.bitsPerPixel()},
            {"channels", format.numChannels()},
            {"frameBufferSize", format.frameBufferSize()},
            {"frameRate", format.frameRate()},
            {"pixelRatio", format.pixelRatio()},
            {"scanFormat", static_cast<int>(format.scanFormat())},
            {"formatTag", escapedText(format.formatTag())},
            {"metaDataTag", escapedText(format.metaDataTag())},
            {"metaData", escapedText(format.metaData())}};
}

LantrixClipFormat formatOf(const Json& json) {
    LantrixClipFormat format;
    const auto text = [&json](const char* key) {
        return unescapedText(json.at(key).get<std::string>());
    };
    format.setWidth(json.at("width").get<int>());
    format.setHeight(json.at("height").get<int>());
    format.setBitsPerPixel(json.at("bitsPerPixel").get<int>());
    format.setNumChannels(json.at("channels").get<int>());
    format.setFrameBufferSize(json.at("frameBufferSize").get<int>());
    format.setFrameRate(json.at("frameRate").get<float>());
    format.setPixelRatio(json.at("pixelRatio").get<float>());
    format.setScanFormat(
        static_cast<LantrixClipFormat::ScanFormat>(json.at("scanFormat").get<int>()));
    format.setFormatTag(text("formatTag").c_str());
    format.setMetaDataTag(text("metaDataTag").c_str());
    format.setMetaData(text("metaData").c_str());
    return format;
}

TreeRecord recordOf(const Json& json) {
    TreeRecord record;
    record.place = unescapedText(json.at("place").get<std::string>());
    record.type = unescapedText(json.at("type").get<std::string>());
    if (json.contains("format"))
        record.format = formatOf(json.at("format"));
    record.frames = json.at("frames").get<int>();
    record.pattern = unescapedText(json.at("files").get<std::string>());
    for (const Json& file : json.at("same")) {
        record.same[file.at(0).get<int>()] = {file.at(1).get<std::uint64_t>(),
                                              file.at(2).get<std::int64_t>()};
    }
    for (const auto& [name, text] : json.at("streams").items())
        record.streams[unescapedText(name)] = unescapedText(text.get<std::string>());
    return record;
}

} // namespace

std::optional<FileStamp> stampOf(const std::string& file) {
    std::error_code sizeError;
    std::error_code timeError;
    const std::uintmax_t size = std::filesystem::file_size(file, sizeError);
    const auto time = std::filesystem::last_write_time(file, timeError);
    if (sizeError || timeError)
        return std::nullopt;
    return FileStamp{size, static_cast<std::int64_t>(time.time_since_epoch().count())};
}

std::optional<TreeRecord> readRecord(const std::string& file) {
    constexpr std::uintmax_t most = std::uintmax_t{1} << 30;
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (error || size > most)
        return std::nullopt;
    try {
        const image::Bytes bytes = image::readFile(file, static_cast<std::size_t>(size));
        return recordOf(Json::parse(bytes.begin(), bytes.end()));
    } catch (const std::exception&) { // frames are compared then
        return std::nullopt;
    }
}

void writeRecord(const std::string& file, const TreeRecord& record) {
    Json same = Json::array();
    for (const auto& [index, stamp] : record.same)
        same.push_back({index, stamp.size, stamp.time});
    Json streams = Json::object();
    for (const auto& [name, text] : record.streams)
        streams[escapedText(name)] = escapedText(text);
    Json json = {
        {"schema", 1}, {"type", escapedText(record.type)}, {"place", escapedText(record.place)}};
    if (record.format)
        json["format"] = jsonOf(*record.format);
    json["frames"] = record.frames;
    json["files"] = escapedText(record.pattern);
    json["same"] = std::move(same);
    json["streams"] = std::move(streams);
    std::error_code error; // which writing meets again
    std::filesystem::create_directories(std::filesystem::path(file).parent_path(), error);
    image::AsideFile aside(file);
    aside.write(json.dump() + "\n");
    aside.commit();
}

std::string recordFolder(const std::string& folder) {
    return folder + "/.lantrix";
}

std::string clipRecord(const std::string& folder, const std::string& fileName) {
    return recordFolder(folder) + "/clip-" + fileName + ".json";
}

std::string folderRecord(const std::string& folder) {
    return recordFolder(folder) + "/folder.json";
}

} // namespace tool
