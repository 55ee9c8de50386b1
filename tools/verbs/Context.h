// What every verb gets: the options that all verbs know, the output, and the one way to ask.
// Outlives the application that the verbs are added to. Used by the main thread.
#ifndef TOOLS_VERBS_CONTEXT_H
#define TOOLS_VERBS_CONTEXT_H

#include "tools/report/Options.h"
#include "tools/report/Output.h"

#include <string>

namespace tool {

struct Context {
    Options options;
    Output output{options};
    char** words = nullptr; ///< Of the whole command line, null behind the last.

    /// True when the command line may name this verb, or asks for what completes it: a start is
    /// too short to make the options of all verbs.
    [[nodiscard]] bool mayUse(const std::string& verb) const;
};

/// Asks on the terminal unless -y was given; without a terminal it is a usage error.
void confirm(const Context& context, const std::string& question);

} // namespace tool

#endif
