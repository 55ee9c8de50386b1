#include "tools/trees/TreePlan.h"

#include "tools/report/Failure.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

namespace tool {

namespace {

bool isClose(float a, float b) {
    constexpr double leastDifference = 0.001;
    return std::abs(static_cast<double>(a) - static_cast<double>(b)) < leastDifference;
}

bool isSameFormat(const LantrixClipFormat& a, const LantrixClipFormat& b) {
    return image::isSameKind(a, b) && isClose(a.frameRate(), b.frameRate()) &&
           isClose(a.pixelRatio(), b.pixelRatio()) && a.scanFormat() == b.scanFormat() &&
           std::string(a.metaDataTag()) == b.metaDataTag() &&
           std::string(a.metaData()) == b.metaData();
}

bool isBelow(const TreePath& path, const TreePath& above) {
    return path.size() >= above.size() && std::equal(above.begin(), above.end(), path.begin());
}

// A tree's nodes of one path, of which a server may have several.
using Nodes = std::map<TreePath, std::vector<const TreeItem*>>;

class Planner {
public:
    Planner(const std::vector<TreeItem>& from, const std::vector<TreeItem>& there,
            const TreeTarget& target, const TreeRules& rules, Troubles& troubles)
        : from_(from), target_(target), rules_(rules), troubles_(troubles) {
        for (const TreeItem& item : there)
            there_[item.path].push_back(&item);
    }

    TreePlan plan(const std::vector<TreeItem>& there) {
        for (const TreeItem& item : from_) {
            try {
                take(item);
            } catch (const Failure& failure) {
                refused_.push_back(item.path);
                troubles_.add(failure);
            }
        }
        for (const TreeItem& item : there)
            takeSurplus(item);
        return std::move(plan_);
    }

private:
    void take(const TreeItem& item) {
        if (std::any_of(refused_.begin(), refused_.end(),
                        [&](const TreePath& path) { return isBelow(item.path, path); }))
            return; // which has been told
        const bool isFirst = seen_.insert(item.path).second;
        if (!isFirst && (item.isClip || clips_.count(item.path) != 0))
            refuse(item, "is there twice: only the first one is copied");
        if (!item.path.empty())
            target_.checkName(item);
        if (!item.isClip) {
            takeFolder(item);
            return;
        }
        clips_.insert(item.path);
        takeClip(item);
    }

    [[noreturn]] static void refuse(const TreeItem& item, const std::string& why) {
        throw Failure(Status::Other, "'" + pathText(item.path) + "' " + why)
            .with("path", pathText(item.path));
    }

    void takeFolder(const TreeItem& item) {
        const auto found = there_.find(item.path);
        const TreeItem* folder = nullptr;
        if (found != there_.end()) {
            for (const TreeItem* node : found->second) {
                if (node->isClip)
                    continue;
                folder = folder == nullptr ? node : folder;
                used_.insert(node); // all of this name: clips of the tree may be in any of them
            }
            if (folder == nullptr)
                refuse(item, "is a folder, and a clip where it is to go");
        } else if (!item.path.empty()) {
            plan_.folders.push_back(item);
        }
        if (!item.streams.empty() || (!item.type.empty() && item.type != "folder"))
            plan_.jobs.push_back(
                {item,
                 folder != nullptr ? std::optional<TreeItem>(*folder) : std::nullopt,
                 {},
                 {}});
    }

    void takeClip(const TreeItem& item) {
        if (!item.format)
            refuse(item, "has no format that is known: raw files need one");
        TreeJob job{item, std::nullopt, {}, {}};
        if (const TreeItem* clip = targetOf(job.from)) {
            used_.insert(clip);
            job.there = *clip;
        }
        const bool isKnown = job.there && rules_.leaveOut == LeaveOut::Known && job.there->format &&
                             image::isSameKind(*job.from.format, *job.there->format);
        for (int index = 0; index < item.frames; ++index) {
            if (isKnown && isKnownFrame(job, index))
                job.known.insert(index);
            else
                job.indices.push_back(index);
        }
        if (job.there && job.there->frames > item.frames)
            cut(*job.there, item.frames);
        plan_.jobs.push_back(std::move(job));
    }

    // The clip to fill, preferably of the same format. One without frames may get any; one with
    // frames of another is replaced, and the new one is there before it goes.
    const TreeItem* targetOf(TreeItem& item) {
        const auto found = there_.find(item.path);
        if (found == there_.end())
            return nullptr;
        const TreeItem* other = nullptr;
        for (const TreeItem* node : found->second) {
            if (node->isClip && canTake(*node, item))
                return node;
            other = node;
        }
        if (!other->isClip)
            refuse(item, "is a clip, and a folder where it is to go");
        if (!rules_.remove)
            refuse(item,
                   "has another format where it is to go, " + formatText(*other) + ", not " +
                       formatText(item) +
                       (rules_.leaveOut == LeaveOut::Known || rules_.leaveOut == LeaveOut::Same
                            ? ": sync --delete replaces it"
                            : ""));
        return nullptr;
    }
    static std::string formatText(const TreeItem& clip) {
        return clip.format ? image::describeFormat(*clip.format) : "unknown";
    }
    // Files alone do not tell a format wholly: they may be frames of several.
    static bool canTake(const TreeItem& clip, TreeItem& item) {
        const bool isFolder = clip.id.empty();
        if (isFolder || clip.frames == 0)
            return true;
        if (!clip.format)
            return false;
        if (item.isFormatExact)
            return item.id.empty() ? image::isSameKind(*item.format, *clip.format)
                                   : isSameFormat(*item.format, *clip.format);
        if (image::isSameKind(*item.format, *clip.format))
            return true;
        try {
            const bool fits = !item.files.empty() && !item.files[0].file.empty() &&
                              FileFrames(*clip.format, item.isRaw).isWhole(item.files[0].file);
            if (fits)
                item.format = clip.format;
            return fits;
        } catch (const std::runtime_error&) { // a tag that is not known
            return false;
        }
    }

    static bool isKnownFrame(const TreeJob& job, int index) {
        const auto knows = [index](const TreeItem& folder, const TreeItem& clip) {
            return folder.id.empty() && !clip.place.empty() && folder.knownAs == clip.place &&
                   index < clip.frames && folder.known.count(index) != 0;
        };
        return knows(job.from, *job.there) || knows(*job.there, job.from);
    }

    void cut(const TreeItem& clip, int count) {
        ++plan_.surplus;
        if (rules_.remove)
            plan_.cut.emplace_back(clip, count);
    }

    void takeSurplus(const TreeItem& item) {
        const bool isGoing =
            std::any_of(plan_.removed.begin(), plan_.removed.end(), [&](const TreeItem& removed) {
                return !removed.isClip && isBelow(item.path, removed.path);
            });
        if (used_.count(&item) != 0 || item.path.empty() || isGoing)
            return;
        ++plan_.surplus;
        if (rules_.remove)
            plan_.removed.push_back(item);
    }

    const std::vector<TreeItem>& from_;
    const TreeTarget& target_;
    const TreeRules& rules_;
    Troubles& troubles_;
    Nodes there_;
    std::set<TreePath> seen_;
    std::set<TreePath> clips_;
    std::set<const TreeItem*> used_; // at the other end
    std::vector<TreePath> refused_;
    TreePlan plan_;
};

} // namespace

std::size_t TreePlan::frames() const {
    return std::accumulate(
        jobs.begin(), jobs.end(), std::size_t{0},
        [](std::size_t sum, const TreeJob& job) { return sum + job.indices.size(); });
}

std::size_t TreePlan::known() const {
    return std::accumulate(
        jobs.begin(), jobs.end(), std::size_t{0},
        [](std::size_t sum, const TreeJob& job) { return sum + job.known.size(); });
}

std::size_t TreePlan::replaced() const {
    std::size_t count = 0;
    for (const TreeJob& job : jobs) {
        if (!job.there)
            continue;
        std::set<int> files;
        for (const FrameStep& step : job.there->files)
            files.insert(step.index);
        for (const int index : job.indices)
            count +=
                job.there->id.empty() ? files.count(index) : (index < job.there->frames ? 1U : 0U);
    }
    return count;
}

TreePlan planTree(const std::vector<TreeItem>& from, const std::vector<TreeItem>& there,
                  const TreeTarget& target, const TreeRules& rules, Troubles& troubles) {
    return Planner(from, there, target, rules, troubles).plan(there);
}

} // namespace tool
