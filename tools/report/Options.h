// What the flags that every verb knows were set to. Plain values, filled once from the command
// line before the verb runs.
#ifndef TOOLS_REPORT_OPTIONS_H
#define TOOLS_REPORT_OPTIONS_H

#include <string>

namespace tool {

struct Options {
    std::string host = "127.0.0.1"; ///< Where an address has no host.
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    bool trace = false;
    bool dryRun = false;
    bool yes = false;
    std::string progress = "auto";
    std::string color = "auto";
    double timeout = 0; ///< Seconds that one request may take; 0: as long as it takes.
    int workers = 1;
};

} // namespace tool

#endif
