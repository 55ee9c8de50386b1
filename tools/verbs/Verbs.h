// The verbs of the tool. Each function of this header adds a group of them to the command line;
// a verb runs when the command line has been parsed, writes its data to the output and throws a
// Failure when it can't do what was asked.
// The context outlives the application that the verbs are added to.
#ifndef TOOLS_VERBS_VERBS_H
#define TOOLS_VERBS_VERBS_H

#include "tools/report/Options.h"
#include "tools/report/Output.h"
#include "tools/session/Session.h"
#include "tools/transfer/TransferPlan.h"

#include <CLI/App.hpp>

#include <functional>
#include <memory>
#include <string>

namespace tool {

struct Context {
    Options options;
    Output output{options};
};

/// ls, tree, stat, find, du, frames.
void addBrowseVerbs(CLI::App& app, Context& context);
/// mkdir, mkclip, rm, link.
void addEditVerbs(CLI::App& app, Context& context);
/// get, put, cp, cat.
void addMoveVerbs(CLI::App& app, Context& context);
/// check, hash.
void addCompareVerbs(CLI::App& app, Context& context);
/// thumb, sheet.
void addLookVerbs(CLI::App& app, Context& context);
/// meta ls, meta get, meta set.
void addMetadataVerbs(CLI::App& app, Context& context);
/// ping, info, doctor, call, translate.
void addServerVerbs(CLI::App& app, Context& context);
/// bench.
void addBenchVerb(CLI::App& app, Context& context);
/// serve, demo.
void addDevelopmentVerbs(CLI::App& app, Context& context);
/// completion, and the hidden verb that completes remote paths.
void addCompletionVerbs(CLI::App& app, Context& context);

/// Adds one verb. \p example is shown below its help. Returns the arguments' place, which lives
/// as long as the verb; \p run gets it back filled.
template <class Arguments>
CLI::App* addVerb(CLI::App& app, const std::string& name, const std::string& help,
                  const std::string& example, const std::shared_ptr<Arguments>& arguments,
                  std::function<void(const Arguments&)> run) {
    CLI::App* verb = app.add_subcommand(name, help);
    verb->footer("Example:\n  " + example);
    verb->callback([arguments, run = std::move(run)] { run(*arguments); });
    return verb;
}

/// Adds --frames and --start-number.
void addFrameOptions(CLI::App& verb, FrameSelection& frames);

/// The folder above a clip that is to be made; refuses what keeps it from being made.
FoundNode findParentOfNew(Session& session, const Address& address);
/// Makes a clip that is not there yet; the folder above it must be.
LantrixNodeHandle makeClip(Session& session, const Address& address,
                           const LantrixClipFormat& format, int frames);

/// Asks on the terminal unless -y was given; without a terminal it is a usage error.
void confirm(const Context& context, const std::string& question);

} // namespace tool

#endif
