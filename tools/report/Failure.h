// How the tool fails: one exception that carries the exit status, the message, and the details
// that a person or a program needs to put it right.
// Failures are thrown anywhere and reported once, by the application.
#ifndef TOOLS_REPORT_FAILURE_H
#define TOOLS_REPORT_FAILURE_H

#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace tool {

/// The exit statuses of the program.
enum class Status {
    Done = 0,
    Other = 1,
    Usage = 2,
    NodeNotFound = 3,
    FrameMissing = 4,
    NoConnection = 5,
    Refused = 6,
    ProtocolTooOld = 7,
    LocalFile = 8,
    Differs = 9,
    Interrupted = 130
};

/// What a program reads beside the message.
using Detail = std::variant<std::string, long long, std::vector<std::string>>;

class Failure : public std::runtime_error {
public:
    Failure(Status status, const std::string& message)
        : std::runtime_error(message), status_(status) {}

    /// Adds a detail for programs: "host", "port", "path", "missing", "near", "file", ...
    Failure& with(const std::string& key, Detail value);

    /// The same failure with \p more behind its message.
    [[nodiscard]] Failure told(const std::string& more) const;

    [[nodiscard]] Status status() const { return status_; }
    [[nodiscard]] const std::vector<std::pair<std::string, Detail>>& details() const {
        return details_;
    }

private:
    Status status_;
    std::vector<std::pair<std::string, Detail>> details_;
};

/// A failure of the local disk: \p what, the file and the text of \p errorNumber.
[[nodiscard]] Failure fileFailure(const std::string& what, const std::string& file,
                                  int errorNumber);

} // namespace tool

#endif
