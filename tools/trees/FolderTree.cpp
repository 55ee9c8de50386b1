#include "tools/trees/FolderTree.h"

#include "image/LocalFile.h"
#include "tools/transfer/FilePattern.h"
#include "tools/transfer/ImageFailure.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

namespace tool {

namespace {

std::string withoutSlash(std::string folder) {
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    return folder;
}

TreePath pathBelow(TreePath path, const std::string& name) {
    path.push_back(name);
    return path;
}

std::string folderOf(const std::string& top, const TreePath& path) {
    std::string folder = top;
    for (const std::string& name : path)
        folder += "/" + fileNameOf(name);
    return folder;
}

TreePath above(TreePath path) {
    path.pop_back();
    return path;
}

// What fails about one clip leaves the others alone.
template <class Work>
void attempt(Troubles& troubles, Work work) {
    try {
        work();
    } catch (const Failure& failure) {
        troubles.add(failure);
    } catch (const image::Error& error) {
        troubles.add(failureOf(error));
    }
}

TreeItem folderItem(const std::string& folder, const TreePath& path, const TreeRules& rules) {
    TreeItem item;
    item.path = path;
    item.record = folderRecord(folder);
    const std::optional<TreeRecord> record =
        rules.keepsRecords ? readRecord(item.record) : std::nullopt;
    if (record) {
        item.type = record->type;
        for (const auto& [name, text] : record->streams)
            item.streams.push_back(name);
    }
    return item;
}

void removeFile(const std::string& file) {
    if (std::remove(file.c_str()) != 0 && errno != ENOENT)
        throw fileFailure("can't remove", file, errno);
}

} // namespace

// ---- from a folder

FolderSource::FolderSource(std::string folder, TreeRules rules)
    : folder_(withoutSlash(std::move(folder))), rules_(std::move(rules)) {
    std::error_code error;
    if (!std::filesystem::is_directory(folder_, error)) {
        throw Failure(Status::FrameMissing, "'" + folder_ + "' is not a folder")
            .with("file", folder_);
    }
}

std::vector<TreeItem> FolderSource::list(Troubles& troubles) {
    std::vector<TreeItem> items;
    list(folder_, {}, items, troubles);
    return items;
}

void FolderSource::list(const std::string& folder, const TreePath& path,
                        std::vector<TreeItem>& items, Troubles& troubles) {
    const SequenceFolder inside(folder, rules_);
    items.push_back(folderItem(folder, path, rules_));
    for (const std::string& name : inside.others())
        others_.push_back(folder + "/" + name);
    for (const std::string& name : inside.clipNames()) {
        attempt(troubles,
                [&] { items.push_back(inside.source(pathBelow(path, nodeNameOf(name)), name)); });
    }
    for (const std::string& name : inside.folders()) {
        attempt(troubles, [&] {
            list(folder + "/" + name, pathBelow(path, nodeNameOf(name)), items, troubles);
        });
    }
}

std::string FolderSource::text(const TreePath& path) const {
    return folder_ + (path.empty() ? "" : "/") + pathText(path);
}

namespace {

class FolderSourceLane : public SourceLane {
public:
    explicit FolderSourceLane(TreeRules rules) : rules_(std::move(rules)) {}

    // Looks at every file before the first is sent.
    OpenSource frames(const TreeItem& clip, const std::vector<int>& indices) override {
        const FileFrames files(*clip.format, clip.isRaw, rules_.reading);
        std::map<int, std::string> names;
        for (const FrameStep& step : clip.files)
            names[step.index] = step.file;
        std::vector<FrameStep> steps;
        for (const int index : indices) {
            steps.push_back({index, names.at(index)});
            if (!steps.back().file.empty())
                files.checkFile(steps.back().file);
        }
        return fromFiles(files, steps);
    }
    std::string stream(const TreeItem& node, const std::string& name) override {
        const std::optional<TreeRecord> record = readRecord(node.record);
        const auto found = record ? record->streams.find(name) : decltype(record->streams.end()){};
        if (!record || found == record->streams.end()) {
            throw Failure(Status::FrameMissing,
                          "'" + node.record + "' has changed: '" + name + "' is not in it")
                .with("file", node.record);
        }
        return found->second;
    }
    // The stamps are those of the listing: a file that has changed since is not the same.
    void remember(const TreeItem& clip, const std::string& place,
                  const std::set<int>& same) override {
        if (!rules_.keepsRecords || !clip.isClip)
            return;
        TreeRecord record = readRecord(clip.record).value_or(TreeRecord());
        record.place = place;
        record.format = clip.format;
        record.frames = clip.frames;
        record.pattern = clip.pattern;
        record.same.clear();
        for (const auto& [index, stamp] : clip.stamps)
            if (same.count(index) != 0)
                record.same[index] = stamp;
        writeRecord(clip.record, record);
    }

private:
    const TreeRules rules_;
};

} // namespace

std::unique_ptr<SourceLane> FolderSource::openLane() {
    return std::make_unique<FolderSourceLane>(rules_);
}

// ---- to a folder

FolderTarget::FolderTarget(std::string folder, TreeRules rules)
    : folder_(withoutSlash(std::move(folder))), rules_(std::move(rules)) {}

void FolderTarget::makePath(const TreePath& path) const {
    const std::string folder = folderOf(folder_, path);
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        throw fileFailure("can't make", folder, error.value());
}

void FolderTarget::checkName(const TreeItem& item) const {
    static_cast<void>(fileNameOf(item.path.back()));
}

void FolderTarget::makeTop() {
    makePath({});
    for (const std::string& folder : listed_) { // what killed runs have left
        image::removeDeadAsideFiles(folder);
        image::removeDeadAsideFiles(recordFolder(folder));
    }
}

std::vector<TreeItem> FolderTarget::list(Troubles& troubles, const std::set<std::string>& tops) {
    std::vector<TreeItem> items;
    std::error_code error;
    if (std::filesystem::exists(folder_, error))
        list(folder_, {}, tops, items, troubles);
    return items;
}

// Files whose names are not those of nodes are not the tree's.
void FolderTarget::list(const std::string& folder, const TreePath& path,
                        const std::set<std::string>& tops, std::vector<TreeItem>& items,
                        Troubles& troubles) {
    const SequenceFolder inside(folder, rules_);
    listed_.push_back(folder);
    const auto isWanted = [&tops](const std::string& name) {
        return isFileName(name) && (tops.empty() || tops.count(nodeNameOf(name)) != 0);
    };
    items.push_back(folderItem(folder, path, rules_));
    for (const std::string& name : inside.clipNames()) {
        attempt(troubles, [&] {
            if (isWanted(name))
                items.push_back(inside.target(pathBelow(path, nodeNameOf(name)), name));
        });
    }
    for (const std::string& name : inside.folders()) {
        attempt(troubles, [&] {
            if (isWanted(name))
                list(folder + "/" + name, pathBelow(path, nodeNameOf(name)), {}, items, troubles);
        });
    }
}

void FolderTarget::remove(const TreeItem& item) {
    if (item.isClip) {
        const std::string folder = folderOf(folder_, above(item.path));
        const std::string name = fileNameOf(item.path.back());
        for (const std::string& file : SequenceFolder(folder, rules_).filesOf(name))
            removeFile(file);
        removeFile(clipRecord(folder, name));
        return;
    }
    const std::string folder = folderOf(folder_, item.path);
    const SequenceFolder inside(folder, rules_);
    for (const std::string& name : inside.clipNames()) {
        TreeItem clip;
        clip.isClip = true;
        clip.path = pathBelow(item.path, nodeNameOf(name));
        if (isFileName(name))
            remove(clip);
    }
    for (const std::string& name : inside.folders()) {
        TreeItem below;
        below.path = pathBelow(item.path, nodeNameOf(name));
        if (isFileName(name))
            remove(below);
    }
    removeFile(folderRecord(folder));
    std::remove(recordFolder(folder).c_str()); // both stay when something is left in them
    std::remove(folder.c_str());
}

void FolderTarget::cut(const TreeItem& clip, int count) {
    for (const FrameStep& step : clip.files)
        if (step.index >= count)
            removeFile(step.file);
}

std::string FolderTarget::text(const TreePath& path) const {
    return folder_ + (path.empty() ? "" : "/") + pathText(path);
}

namespace {

class FolderTargetLane : public TargetLane {
public:
    FolderTargetLane(std::string top, TreeRules rules)
        : top_(std::move(top)), rules_(std::move(rules)) {}

    std::string fill(const TreeJob& job, SourceLane& from, JobProgress& progress) override {
        if (!job.from.isClip) {
            if (rules_.keepsRecords) {
                TreeRecord record;
                record.type = job.from.type;
                addStreams(record, job.from, from);
                writeRecord(folderRecord(folderOf(top_, job.from.path)), record);
            }
            return "";
        }
        const std::string folder = folderOf(top_, above(job.from.path));
        const std::string name = fileNameOf(job.from.path.back());
        const std::string pattern = patternFor(name, *job.from.format, rules_);
        const std::string record = clipRecord(folder, name);
        try {
            move(job, folder + "/" + pattern, from, progress);
        } catch (...) {
            if (rules_.keepsRecords && progress.hasMoved())
                keep(record, recordOf(job, folder, pattern, progress));
            throw;
        }
        if (rules_.keepsRecords) {
            TreeRecord whole = recordOf(job, folder, pattern, progress);
            addStreams(whole, job.from, from);
            keep(record, whole);
        }
        return "";
    }

private:
    void move(const TreeJob& job, const std::string& names, SourceLane& from,
              JobProgress& progress) const {
        const FileFrames files(*job.from.format, isRawName(names, rules_), {}, rules_.writing);
        if (files.layout())
            image::checkImageName(names, *files.layout(), rules_.writing);
        const StepDone done = progress.stepDone();
        const bool leavesWhole = rules_.leaveOut == LeaveOut::WholeFiles && !rules_.verify;
        const FilePattern pattern(names);
        std::vector<FrameStep> steps;
        std::vector<std::size_t> places; // of the steps in the job
        for (std::size_t i = 0; i < job.indices.size(); ++i) {
            const FrameStep step{job.indices[i], pattern.file(job.indices[i] + rules_.startNumber)};
            if (leavesWhole && files.isWhole(step.file)) {
                done(i, {0, true, ""});
            } else {
                steps.push_back(step);
                places.push_back(i);
            }
        }
        if (steps.empty())
            return;
        StoreRules rules;
        rules.resume = rules_.leaveOut != LeaveOut::Nothing;
        rules.verify = rules_.verify || (rules.resume && !leavesWhole); // or nothing is compared
        const StepSpan all{0, steps.size()};
        const auto source = from.frames(job.from, indicesOf(steps))(all);
        const auto target = toFiles(files, steps, rules)(all);
        Cores cores;
        moveFrames(*source, *target, all, cores,
                   [&](std::size_t step, const StepResult& result) { done(places[step], result); });
    }

    [[nodiscard]] TreeRecord recordOf(const TreeJob& job, const std::string& folder,
                                      const std::string& pattern, JobProgress& progress) const {
        TreeRecord record;
        record.type = job.from.type;
        record.place = job.from.place;
        record.format = job.from.format;
        record.frames = job.from.frames;
        record.pattern = pattern;
        const FilePattern files(folder + "/" + pattern);
        for (const int index : progress.same())
            if (const auto stamp = stampOf(files.file(index + rules_.startNumber)))
                record.same[index] = *stamp;
        return record;
    }
    static void addStreams(TreeRecord& record, const TreeItem& node, SourceLane& from) {
        for (const std::string& name : node.streams)
            record.streams[name] = from.stream(node, name);
    }
    static void keep(const std::string& file, const TreeRecord& record) {
        writeRecord(file, record);
    }

    const std::string top_;
    const TreeRules rules_;
};

} // namespace

std::unique_ptr<TargetLane> FolderTarget::openLane() {
    return std::make_unique<FolderTargetLane>(folder_, rules_);
}

} // namespace tool
