// The verbs of the tool, in groups that are each added to the command line by a function.
// The context outlives the application that the verbs are added to.
#ifndef TOOLS_VERBS_VERBS_H
#define TOOLS_VERBS_VERBS_H

#include "tools/verbs/HelperVerbs.h"

namespace CLI {
class App;
}

namespace tool {

/// ls.
void addListVerb(CLI::App& app, Context& context);
/// tree, stat, find, du, frames, with ls.
void addBrowseVerbs(CLI::App& app, Context& context);
/// mkdir, mkclip, rm, link.
void addEditVerbs(CLI::App& app, Context& context);
/// rm, for those.
void addRmVerb(CLI::App& app, Context& context);
/// get, cat.
void addGetVerbs(CLI::App& app, Context& context);
/// put.
void addPutVerb(CLI::App& app, Context& context);
/// cp.
void addCpVerb(CLI::App& app, Context& context);
/// sync.
void addSyncVerb(CLI::App& app, Context& context);
/// check, hash.
void addCompareVerbs(CLI::App& app, Context& context);
/// thumb, sheet.
void addLookVerbs(CLI::App& app, Context& context);
/// meta ls, meta get, meta set.
void addMetadataVerbs(CLI::App& app, Context& context);
/// mount, and web.
void addMountVerb(CLI::App& app, Context& context, const HelperVerbs& own);
void addWebVerb(CLI::App& app, Context& context, const HelperVerbs& own);
/// ping, info, doctor, call, translate.
void addServerVerbs(CLI::App& app, Context& context);
/// conform.
void addConformVerb(CLI::App& app, Context& context);
/// bench.
void addBenchVerb(CLI::App& app, Context& context);
/// serve, demo.
void addDevelopmentVerbs(CLI::App& app, Context& context);
/// completion, and the hidden verb that completes remote paths.
void addCompletionVerbs(CLI::App& app, Context& context);

} // namespace tool

#endif
