// The command line as a whole: the flags that every verb knows, the verbs, and the one place where
// failures become messages and exit statuses.
// Used once, by the main thread.
#ifndef TOOLS_APPLICATION_H
#define TOOLS_APPLICATION_H

namespace tool {

/// Runs the program and returns its exit status.
[[nodiscard]] int runApplication(int argc, char** argv);

} // namespace tool

#endif
