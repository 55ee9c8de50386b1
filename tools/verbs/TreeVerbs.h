// cp, get and put of trees, with -r.
// Used by the main thread. Failures are thrown as Failure and image::Error.
#ifndef TOOLS_VERBS_TREEVERBS_H
#define TOOLS_VERBS_TREEVERBS_H

#include "tools/transfer/StoreRules.h"
#include "tools/trees/Tree.h"
#include "tools/verbs/Context.h"

#include <string>
#include <vector>

namespace tool {

/// Refuses what chooses frames of one clip.
void refuseWithTrees(bool isGiven, const std::string& option);
/// What --verify and --resume mean for trees.
[[nodiscard]] TreeRules treeRules(const StoreRules& store, int startNumber, Missing missing);

/// Copies a node and all below: to an address that is not there yet, or, when it ends in a slash,
/// into that folder under the node's own name.
void copyTree(Context& context, const std::string& from, const std::string& to,
              const TreeRules& rules);
/// Writes nodes and all below into a local folder, each under its own name.
void getTrees(Context& context, const std::vector<std::string>& addresses,
              const std::string& folder, const TreeRules& rules);
/// Makes clips of all sequences in a local folder and below, in the folder at the address.
void putTree(Context& context, const std::string& folder, const std::string& address,
             const TreeRules& rules);

} // namespace tool

#endif
