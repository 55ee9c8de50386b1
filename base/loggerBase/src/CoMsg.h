// The library's logger: a record of one message, a level filter, and posting functions.
// A caller sets mod_ and lineNo_ to literals that name its place and calls a posting function;
// accepted messages go to router_, which an application may replace. The filter and the
// verbosity are read from the environment once, while the library is loaded.
// Threads: posting is possible in any thread, each with its own mod_ and lineNo_; router_ and the
// other settings are changed only while no other thread posts. Posting reports no failure.
#ifndef BASE_LOGGERBASE_COMSG_H
#define BASE_LOGGERBASE_COMSG_H

#include "base/CoExport.h"

#include <cstdint>
#include <ctime>
#include <string>

class CO_EXPORT CoMsg {
public:
    /// Lower values are more important.
    enum Level : unsigned char {
        User = 0,
        Error = 1,
        Warning = 2,
        Notice = 3,
        Debug = 4,
        Unknown = 6
    };

    /// Where accepted messages go. An application derives from it and points router_ at its own
    /// object, which it owns and keeps alive while anything posts.
    class CO_EXPORT Router {
    public:
        constexpr Router() = default;
        /// Writes the message to standard output: the full line when verboseFlag_ is set, else
        /// the bare text without trailing white space.
        virtual void post(const CoMsg& message) const;
        // No virtual destructor: posting is a router's single virtual operation, and the library
        // never deletes one.
    };

    /// \p text null is the empty text; of \p file the last path component is kept. The process id
    /// comes from the callback, the time from the wall clock.
    CoMsg(const char* text, const char* file, int line, Level level);

    /// Posts at one level, printf style; dropped before anything is formatted when the level is
    /// above filterLevel_. The text is cut at 2047 characters. A null format aborts.
    static void postUser(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void postError(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void postWarning(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void postNotice(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void postDebug(const char* format, ...) __attribute__((format(printf, 1, 2)));

    /// Writes the text and a line feed to standard output: no filter, no record, no router.
    static void postConsole(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void postShell(const char* format, ...) __attribute__((format(printf, 1, 2)));

    /// The level of an exact, lower-case level string; Unknown for any other and for null.
    static Level stringToLevel(const char* name);
    /// The string of a level; "unknown" for any value outside User to Debug.
    static const char* levelToString(Level level);

    /// Installs what supplies the process id of each message; must not be null.
    static void setCurrentPIDCallback(int (*callback)());

    /// Writes the full line, cut to \p size bytes with its terminator, into \p buffer (the
    /// caller's); returns \p buffer.
    char* format(char* buffer, int size) const;

    const char* text() const { return text_.c_str(); }
    const char* module() const { return module_.c_str(); }
    unsigned pid() const { return pid_; }
    int line() const { return line_; }
    Level level() const { return level_; }
    /// Wall-clock time of the message: whole seconds, and nanoseconds within the second.
    std::time_t seconds() const { return seconds_; }
    std::int32_t nanoseconds() const { return nanoseconds_; }

    static const char* const USER_LEVEL_STRING;
    static const char* const ERROR_LEVEL_STRING;
    static const char* const WARNING_LEVEL_STRING;
    static const char* const NOTICE_LEVEL_STRING;
    static const char* const DEBUGGING_LEVEL_STRING;
    static const char* const UNKNOWN_LEVEL_STRING;

    static Router* router_;
    static Router defaultRouter_;
    /// Messages whose level value is greater are dropped. From MZ_MSG_LEVEL; Notice when unset,
    /// Unknown (everything passes) when it names no level.
    static Level filterLevel_;
    /// Full lines instead of bare texts. Set when MZ_MSG_VERBOSE is present, even if empty.
    static bool verboseFlag_;
    static int (*currentPIDCallbackFcn_)();
    /// The place that the next message of this thread names.
    static thread_local const char* mod_;
    static thread_local int lineNo_;

private:
    std::string text_;
    std::string module_;
    std::uint32_t pid_;
    std::int32_t line_;
    Level level_;
    std::time_t seconds_;
    std::int32_t nanoseconds_;
};

/// The process id until an application installs a callback: always 0.
CO_EXPORT int getDudPID();

#endif
