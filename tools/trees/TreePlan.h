// What has to be done so that one tree has what another one has. Plain values: nothing is asked and
// nothing is changed.
// What can't be done about a node goes to the troubles, as Failure.
#ifndef TOOLS_TREES_TREEPLAN_H
#define TOOLS_TREES_TREEPLAN_H

#include "tools/trees/Tree.h"

namespace tool {

struct TreePlan {
    std::vector<TreeItem> folders; ///< To be made, each behind the one that it lies in.
    std::vector<TreeJob> jobs;     ///< Clips, and folders with streams.
    std::vector<TreeItem> removed; ///< Behind all else: what lies below one of them is not named.
    std::vector<std::pair<TreeItem, int>> cut; ///< Clips with too many frames, and their new count.
    std::size_t surplus = 0;                   ///< Nodes and clips that would be, with --delete.

    /// Frames to be moved or compared, and frames that are known to be the same.
    [[nodiscard]] std::size_t frames() const;
    [[nodiscard]] std::size_t known() const;
    /// Frames of those that are there already.
    [[nodiscard]] std::size_t replaced() const;
};

/// The paths of \p from are those that \p there, which lists \p target, gets.
[[nodiscard]] TreePlan planTree(const std::vector<TreeItem>& from,
                                const std::vector<TreeItem>& there, const TreeTarget& target,
                                const TreeRules& rules, Troubles& troubles);

} // namespace tool

#endif
