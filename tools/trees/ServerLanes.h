// The lanes of servers' trees: how the frames and streams of one clip after the other are read from
// a server and written to it.
// Each owns a session, and shares the pool of its end. One thread at a time per lane.
// Failures are thrown as Failure.
#ifndef TOOLS_TREES_SERVERLANES_H
#define TOOLS_TREES_SERVERLANES_H

#include "tools/trees/Tree.h"

#include <map>

namespace tool {

[[nodiscard]] std::unique_ptr<SourceLane>
openServerSourceLane(const Options& options, const std::string& host,
                     const std::shared_ptr<lantrix::Pool>& pool, const TreeRules& rules);
/// \p ids, which must outlive the lane, are those of the folders that clips are made in.
[[nodiscard]] std::unique_ptr<TargetLane>
openServerTargetLane(const Options& options, const Address& top,
                     const std::shared_ptr<lantrix::Pool>& pool, const TreeRules& rules,
                     const std::map<TreePath, std::string>& ids);

/// Where a node is, for records.
[[nodiscard]] std::string placeOf(const std::string& host, const std::string& id);
/// The address of a node below another.
[[nodiscard]] Address below(const Address& top, const TreePath& path);
/// Refuses a name that can't be made.
void checkTreeName(const std::string& name, const std::string& parentId, const std::string& type);

} // namespace tool

#endif
