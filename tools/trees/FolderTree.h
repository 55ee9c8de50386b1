// Local folders of image sequences as ends of a transfer. Beside the files, in ".lantrix", stand
// records, for transfers that keep them.
// The ends are the main thread's, a lane one thread's. Failures are thrown as Failure and
// image::Error.
#ifndef TOOLS_TREES_FOLDERTREE_H
#define TOOLS_TREES_FOLDERTREE_H

#include "tools/trees/SequenceFolder.h"

namespace tool {

class FolderSource : public TreeSource {
public:
    /// A path that is not a folder is refused.
    FolderSource(std::string folder, TreeRules rules);

    [[nodiscard]] std::vector<TreeItem> list(Troubles& troubles) override;
    [[nodiscard]] std::unique_ptr<SourceLane> openLane() override;
    [[nodiscard]] std::string text(const TreePath& path) const override;
    /// Files that were not taken, since they are not frames.
    [[nodiscard]] const std::vector<std::string>& others() const { return others_; }

private:
    void list(const std::string& folder, const TreePath& path, std::vector<TreeItem>& items,
              Troubles& troubles);

    const std::string folder_;
    const TreeRules rules_;
    std::vector<std::string> others_;
};

class FolderTarget : public TreeTarget {
public:
    FolderTarget(std::string folder, TreeRules rules);

    [[nodiscard]] std::vector<TreeItem> list(Troubles& troubles,
                                             const std::set<std::string>& tops) override;
    void checkName(const TreeItem& item) const override;
    void makeTop() override;
    void makeFolder(const TreeItem& folder) override { makePath(folder.path); }
    [[nodiscard]] std::unique_ptr<TargetLane> openLane() override;
    /// Removes no file that is not a frame, nor a folder that has one.
    void remove(const TreeItem& item) override;
    void cut(const TreeItem& clip, int count) override;
    [[nodiscard]] std::string text(const TreePath& path) const override;

private:
    void makePath(const TreePath& path) const;
    void list(const std::string& folder, const TreePath& path, const std::set<std::string>& tops,
              std::vector<TreeItem>& items, Troubles& troubles);

    const std::string folder_;
    const TreeRules rules_;
    std::vector<std::string> listed_; // folders
};

} // namespace tool

#endif
