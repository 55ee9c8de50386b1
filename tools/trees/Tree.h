// A tree of folders and clips as one end of a transfer has it, and the two ends: a server, or a
// local folder of image sequences.
// The ends are used by the main thread; a lane is one thread's way to its end, which outlives it.
// Failures are thrown as Failure and image::Error.
#ifndef TOOLS_TREES_TREE_H
#define TOOLS_TREES_TREE_H

#include "tools/report/Troubles.h"
#include "tools/transfer/FrameMove.h"
#include "tools/trees/TreeNames.h"
#include "tools/trees/TreeRecord.h"

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tool {

/// What is left out because the other end has it.
enum class LeaveOut {
    Nothing,
    WholeFiles, ///< Files that are a whole frame of the clip; on a server, as Same.
    Same,       ///< Frames that are the same, which are compared byte by byte.
    Known       ///< Frames that were the same when they were moved, too, which are not looked at.
};

/// Clips that are under way at once.
constexpr std::size_t mostLanes = 4;

/// How a tree is moved.
struct TreeRules {
    LeaveOut leaveOut = LeaveOut::Nothing;
    bool remove = false;       ///< What FROM does not have goes.
    bool verify = false;       ///< What was written is read back and compared.
    bool keepsRecords = false; ///< Folders keep what is known of their clips.
    int startNumber = 0;       ///< Of the first frame of all clips, in file names.
    bool raw = false;          ///< Files hold the bytes of frames.
    std::string format;        ///< Of clips that raw files become.
    std::string tag;           ///< The format tag of clips that files become; "" for the files'.
    float rate = 0;            ///< Frames per second of clips that files become; 0: the files'.
    std::string type = "clip"; ///< Of clips that files become.
    Missing missing = Missing::Error;
    image::ReadOptions reading;
    image::WriteOptions writing;
};

/// A node of a tree, or what becomes one.
struct TreeItem {
    TreePath path;
    bool isClip = false;
    std::string type;                        ///< The server's name for its kind; "" when not known.
    std::optional<LantrixClipFormat> format; ///< Of a clip; none when nothing tells it.
    bool isFormatExact = true;               ///< False when files alone tell it.
    int frames = 0;                          ///< Of a clip.
    std::vector<std::string> streams;        ///< Names of metadata streams.

    std::string id;    ///< On a server.
    std::string place; ///< Host and id, where it is on a server; otherwise empty.

    std::vector<FrameStep> files; ///< In a folder: the frames that are there, in order.
    bool isRaw = false;           ///< In a folder: the files hold the bytes of frames.
    std::string pattern; ///< In a folder: the name of the files, without that of the folder.
    std::string record;  ///< In a folder: the file of what is known of it.
    std::string knownAs; ///< In a folder: the place of the clip that was the same,
    std::set<int> known; ///< and the frames whose files have not changed since.
    std::map<int, FileStamp> stamps; ///< Of the frames' files, when they are to be read.
};

/// What is to be done about one node.
struct TreeJob {
    TreeItem from;
    std::optional<TreeItem> there; ///< None when it is to be made.
    std::vector<int> indices;      ///< Frames to be moved, or left out when they are the same.
    std::set<int> known;           ///< Frames that are known to be the same.
};

class SourceLane {
public:
    virtual ~SourceLane() = default;
    [[nodiscard]] virtual OpenSource frames(const TreeItem& clip,
                                            const std::vector<int>& indices) = 0;
    [[nodiscard]] virtual std::string stream(const TreeItem& node, const std::string& name) = 0;
    /// The clip at \p place has the same frames now, those of \p same.
    virtual void remember(const TreeItem& clip, const std::string& place,
                          const std::set<int>& same) = 0;
};

class TreeSource {
public:
    virtual ~TreeSource() = default;
    /// Everything there is, each behind what it lies in. What can't be told goes to the troubles.
    [[nodiscard]] virtual std::vector<TreeItem> list(Troubles& troubles) = 0;
    [[nodiscard]] virtual std::unique_ptr<SourceLane> openLane() = 0;
    /// Names the node in messages.
    [[nodiscard]] virtual std::string text(const TreePath& path) const = 0;
};

/// The frames of a job that are the same at both ends, as they become so. Any thread.
class JobProgress {
public:
    JobProgress(const TreeJob& job, StepDone done)
        : job_(job), done_(std::move(done)), same_(job.known) {}
    [[nodiscard]] StepDone stepDone() {
        return [this](std::size_t step, const StepResult& result) {
            {
                const std::lock_guard<std::mutex> lock(mutex_);
                same_.insert(job_.indices[step]);
            }
            done_(step, result);
        };
    }
    [[nodiscard]] std::set<int> same() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return same_;
    }
    [[nodiscard]] bool hasMoved() { return same().size() > job_.known.size(); }

private:
    const TreeJob& job_;
    const StepDone done_;
    std::mutex mutex_;
    std::set<int> same_; // guarded by the mutex
};

class TargetLane {
public:
    virtual ~TargetLane() = default;
    /// Does the job, and returns the place of the node that it made or filled.
    virtual std::string fill(const TreeJob& job, SourceLane& from, JobProgress& progress) = 0;
};

class TreeTarget {
public:
    virtual ~TreeTarget() = default;
    /// Everything there is; of the nodes below the top only those of these names, unless there are
    /// none.
    [[nodiscard]] virtual std::vector<TreeItem> list(Troubles& troubles,
                                                     const std::set<std::string>& tops) = 0;
    /// Refuses a name that can't be here.
    virtual void checkName(const TreeItem& item) const = 0;
    /// Makes the top unless it is there.
    virtual void makeTop() = 0;
    virtual void makeFolder(const TreeItem& folder) = 0;
    [[nodiscard]] virtual std::unique_ptr<TargetLane> openLane() = 0;
    /// Removes a node with all below, or the files of a clip.
    virtual void remove(const TreeItem& item) = 0;
    /// Takes away the frames from \p count on.
    virtual void cut(const TreeItem& clip, int count) = 0;
    [[nodiscard]] virtual std::string text(const TreePath& path) const = 0;
};

} // namespace tool

#endif
