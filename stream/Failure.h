// What came of a piece of work, as a value: whether it failed, how, and the text to show.
// Owns its text. One thread at a time per object. Nothing here is sent.
#ifndef STREAM_FAILURE_H
#define STREAM_FAILURE_H

#include "lantrix/LantrixClientAPI.h"

#include <string>

namespace lantrix {

/// No failure, or one of three kinds with its text.
struct LANTRIX_EXPORT Failure {
    /// What went wrong, as far as the next step depends on it.
    enum class Kind {
        None,
        Connection, ///< Connecting failed, or the connection broke; another one may serve.
        Refused,    ///< The server, or a check before it, said no; asking again does not help.
        Stopped     ///< Cancelled before the end.
    };

    /// None when nothing did.
    Kind kind = Kind::None;
    /// For people; empty when there is no failure.
    std::string text;

    /// True when there is a failure.
    explicit operator bool() const { return kind != Kind::None; }

    /// The failure that a handle's lastError() tells.
    static Failure of(const std::string& text);
    /// The failure of the call on \p server that has just returned false, of the kind that its
    /// lastError() tells.
    static Failure lastOf(const LantrixServerHandle& server);
};

} // namespace lantrix

#endif
