// The command line as a whole: the flags that every verb knows, the verbs, and the one place where
// failures become messages and exit statuses.
// Used once, by the main thread.
#ifndef TOOLS_APPLICATION_H
#define TOOLS_APPLICATION_H

#include "tools/verbs/HelperVerbs.h"

namespace tool {

/// Runs the program and returns its exit status. \p own are the helpers' verbs that it does itself.
[[nodiscard]] int runApplication(int argc, char** argv, const HelperVerbs& own = {});

} // namespace tool

#endif
