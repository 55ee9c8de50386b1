#include "tools/trees/SequenceFolder.h"

#include "image/Error.h"
#include "tools/report/Failure.h"
#include "tools/transfer/FilePattern.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace tool {

namespace {

constexpr const char* rawExtension = ".raw";

struct NameParts {
    std::string clip;
    std::string before; // the number
    std::string after;
    std::size_t digits = 0;
};

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// A number stands before the extension, behind a mark, or has three digits.
std::optional<NameParts> partsOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot + 1 == name.size())
        return std::nullopt;
    std::size_t start = dot;
    while (start > 0 && isDigit(name[start - 1]))
        --start;
    NameParts parts{name.substr(0, start), name.substr(0, start), name.substr(dot), dot - start};
    const bool isMarked =
        !parts.clip.empty() && std::string("._-").find(parts.clip.back()) != std::string::npos;
    if (isMarked)
        parts.clip.pop_back();
    constexpr std::size_t mostDigits = 9;
    const bool isNumbered = parts.digits >= (isMarked ? 1U : 3U) && parts.digits <= mostDigits;
    return isNumbered && !parts.clip.empty() ? std::optional<NameParts>(parts) : std::nullopt;
}

std::string lowerCase(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

bool mayHoldFrames(const std::string& extension, const TreeRules& rules) {
    static const std::set<std::string> images{".png", ".dpx", ".exr", ".tif", ".tiff"};
    const std::string name = lowerCase(extension);
    return rules.raw || name == rawExtension || images.count(name) != 0;
}

} // namespace

bool isRawName(const std::string& pattern, const TreeRules& rules) {
    return rules.raw ||
           lowerCase(std::filesystem::path(pattern).extension().string()) == rawExtension;
}

std::string patternFor(const std::string& fileName, const LantrixClipFormat& format,
                       const TreeRules& rules) {
    std::string extension = rawExtension;
    if (!rules.raw) {
        try {
            extension = image::layoutOfClip(format).samples().extension;
        } catch (const image::Error&) {
            if (!rules.keepsRecords)
                throw;
        }
    }
    return fileName + ".####" + extension;
}

SequenceFolder::SequenceFolder(std::string folder, TreeRules rules)
    : folder_(std::move(folder)), rules_(std::move(rules)) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder_, error)) {
        const std::string name = entry.path().filename().string();
        std::error_code unknown;
        if (name[0] == '.')
            continue;
        if (entry.is_directory(unknown) && !entry.is_symlink(unknown))
            folders_.insert(name);
        else if (entry.is_regular_file(unknown))
            take(name);
        else
            others_.push_back(name);
    }
    if (error)
        throw fileFailure("can't look into", folder_, error.value());
    std::sort(others_.begin(), others_.end());
}

void SequenceFolder::take(const std::string& name) {
    const std::optional<NameParts> parts = partsOf(name);
    if (!parts || !mayHoldFrames(parts->after, rules_)) {
        others_.push_back(name);
        return;
    }
    auto& digits = clips_[parts->clip];
    const auto [group, isFirst] = digits.emplace(Ends(parts->before, parts->after), parts->digits);
    if (!isFirst)
        group->second = std::min(group->second, parts->digits);
}

std::set<std::string> SequenceFolder::clipNames() const {
    std::set<std::string> names;
    for (const auto& [name, patterns] : clips_)
        names.insert(name);
    if (!rules_.keepsRecords)
        return names;
    const std::string before = "clip-";
    const std::string after = ".json";
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(recordFolder(folder_), error)) {
        const std::string file = entry.path().filename().string();
        if (file.size() <= before.size() + after.size() || file.rfind(before, 0) != 0)
            continue;
        const std::optional<TreeRecord> record = readRecord(entry.path().string());
        if (record && record->frames == 0)
            names.insert(file.substr(before.size(), file.size() - before.size() - after.size()));
    }
    return names;
}

std::vector<std::string> SequenceFolder::patternsOf(const std::string& fileName) const {
    std::vector<std::string> patterns;
    const auto found = clips_.find(fileName);
    if (found != clips_.end())
        for (const auto& [ends, digits] : found->second)
            patterns.push_back(ends.first + std::string(digits, '#') + ends.second);
    return patterns;
}

TreeItem SequenceFolder::item(const TreePath& path, const std::string& fileName,
                              const std::optional<TreeRecord>& record) const {
    TreeItem clip;
    clip.path = path;
    clip.isClip = true;
    clip.record = clipRecord(folder_, fileName);
    const std::vector<std::string> patterns = patternsOf(fileName);
    if (patterns.size() == 1)
        clip.pattern = patterns[0];
    else if (record &&
             std::find(patterns.begin(), patterns.end(), record->pattern) != patterns.end())
        clip.pattern = record->pattern;
    clip.isRaw = isRawName(clip.pattern, rules_);
    if (record) {
        clip.type = record->type;
        for (const auto& [name, text] : record->streams)
            clip.streams.push_back(name);
    }
    return clip;
}

TreeItem SequenceFolder::source(const TreePath& path, const std::string& fileName) const {
    const std::optional<TreeRecord> record =
        rules_.keepsRecords ? readRecord(clipRecord(folder_, fileName)) : std::nullopt;
    TreeItem clip = item(path, fileName, record);
    const std::vector<std::string> patterns = patternsOf(fileName);
    if (clip.pattern.empty() && !patterns.empty()) {
        throw Failure(Status::Other, "'" + this->path(patterns[0]) + "' and '" +
                                         this->path(patterns[1]) + "' would both be the clip '" +
                                         nodeNameOf(fileName) + "'")
            .with("file", this->path(patterns[0]));
    }
    if (!clip.pattern.empty()) {
        clip.files =
            planFromFiles({this->path(clip.pattern)}, {"", rules_.startNumber}, rules_.missing);
        clip.frames = clip.files.back().index + 1;
    }
    describe(clip, record);
    if (rules_.keepsRecords)
        for (const FrameStep& step : clip.files)
            if (const auto stamp = stampOf(step.file))
                clip.stamps[step.index] = *stamp;
    if (record)
        markKnown(clip, *record);
    return clip;
}

TreeItem SequenceFolder::target(const TreePath& path, const std::string& fileName) const {
    const std::optional<TreeRecord> record =
        rules_.keepsRecords ? readRecord(clipRecord(folder_, fileName)) : std::nullopt;
    TreeItem clip = item(path, fileName, record);
    if (!clip.pattern.empty()) {
        const FilePattern files(this->path(clip.pattern));
        for (const int number : files.existingNumbers())
            if (number >= rules_.startNumber)
                clip.files.push_back({number - rules_.startNumber, files.file(number)});
    }
    clip.frames = clip.files.empty() ? 0 : clip.files.back().index + 1;
    if (!record)
        return clip;
    clip.format = record->format;
    if (clip.format && clip.pattern == patternFor(fileName, *clip.format, rules_))
        markKnown(clip, *record);
    return clip;
}

// A record is taken at its word where the first file fits it.
void SequenceFolder::describe(TreeItem& clip, const std::optional<TreeRecord>& record) const {
    const auto first = std::find_if(clip.files.begin(), clip.files.end(),
                                    [](const FrameStep& step) { return !step.file.empty(); });
    if (record && record->format &&
        (first == clip.files.end() ||
         FileFrames(*record->format, clip.isRaw, rules_.reading).isWhole(first->file))) {
        clip.format = record->format;
        return;
    }
    clip.isFormatExact = false;
    if (!rules_.format.empty()) {
        clip.format = image::parseClipFormat(rules_.format, rules_.tag);
    } else if (!clip.isRaw && first != clip.files.end()) {
        const image::Image image = image::readImageHeader(first->file, rules_.reading);
        const auto layout = rules_.tag.empty() ? image.source.value_or(image.layout)
                                               : image::layoutOfTag(rules_.tag);
        if (!layout)
            throw Failure(Status::Usage, "the format tag '" + rules_.tag + "' is not known");
        clip.format = image::clipFormat(*layout, image);
    }
    if (clip.format && rules_.rate > 0)
        clip.format->setFrameRate(rules_.rate);
}

void SequenceFolder::markKnown(TreeItem& clip, const TreeRecord& record) const {
    if (record.pattern != clip.pattern)
        return;
    clip.knownAs = record.place;
    for (const FrameStep& step : clip.files) {
        const auto same = record.same.find(step.index);
        if (same != record.same.end() && stampOf(step.file) == same->second)
            clip.known.insert(step.index);
    }
}

std::vector<std::string> SequenceFolder::filesOf(const std::string& fileName) const {
    std::vector<std::string> files;
    for (const std::string& pattern : patternsOf(fileName)) {
        const FilePattern sequence(path(pattern));
        for (const int number : sequence.existingNumbers())
            files.push_back(sequence.file(number));
    }
    return files;
}

} // namespace tool
