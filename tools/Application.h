// The command line as a whole: the flags that every verb knows, the verbs, and the one place where
// failures become messages and exit statuses.
// Used once, by the main thread.
#ifndef TOOLS_APPLICATION_H
#define TOOLS_APPLICATION_H

#include "tools/verbs/WebVerb.h"

namespace tool {

/// Runs the program and returns its exit status. \p web does what the verb of that name is for;
/// without it the program that can do that is run instead of this one.
[[nodiscard]] int runApplication(int argc, char** argv, const WebVerb& web = nullptr);

} // namespace tool

#endif
