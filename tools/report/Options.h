// What the flags that every verb knows were set to. Plain values, filled once from the command
// line before the verb runs.
#ifndef TOOLS_REPORT_OPTIONS_H
#define TOOLS_REPORT_OPTIONS_H

#include <optional>
#include <string>

namespace tool {

class PacketCapture;

struct Options {
    std::string host = "127.0.0.1"; ///< Where an address has no host.
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    bool trace = false;
    PacketCapture* capture = nullptr; ///< Of all connections; null without --capture.
    bool dryRun = false;
    bool yes = false;
    std::string progress = "auto";
    std::string color = "auto";
    std::optional<double> timeout;  ///< Seconds that one request may take; 0: as long as it takes.
    int retries = 3;                ///< How often a request is repeated whose connection failed.
    std::optional<int> connections; ///< To one server at once; what suits the verb unless given.
};

/// The options of a verb that only asks: somebody waits, so that each request has a limit of a
/// minute unless --timeout was given. Moving frames and removing may take any time.
[[nodiscard]] inline Options browsingOptions(Options options) {
    options.timeout = options.timeout.value_or(60);
    return options;
}

/// The options of a verb that measures the connection, or can't know what a repetition would do.
[[nodiscard]] inline Options withoutRetries(Options options) {
    options.retries = 0;
    return options;
}

} // namespace tool

#endif
