#include "base/loggerBase/src/CoMsg.h"

#include "base/loggerBase/src/CoAssert.h"
#include "base/loggerBase/src/CoText.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

const char* const source = "base/loggerBase/src/CoMsg";
constexpr unsigned postLine = 91;
constexpr std::size_t textBufferSize = 2048;
constexpr int lineBufferSize = 512;

std::string lastComponent(const char* file) {
    const char* const slash = std::strrchr(file, '/');
    return slash != nullptr ? slash + 1 : file;
}

int trimmedLength(const std::string& text) {
    const auto last = std::find_if(text.rbegin(), text.rend(),
                                   [](unsigned char c) { return std::isspace(c) == 0; });
    return static_cast<int>(text.rend() - last);
}

// Month, day and year, then the time of day; neither when the system can't tell.
class LocalTimeText {
public:
    explicit LocalTimeText(std::time_t seconds) {
        ::tzset(); // so that a changed TZ is followed, which localtime_r need not do
        std::tm local{};
        if (localtime_r(&seconds, &local) != nullptr)
            std::snprintf(text_, sizeof text_, "%02d/%02d/%02d:%02d:%02d:%02d", local.tm_mon + 1,
                          local.tm_mday, local.tm_year % 100, local.tm_hour, local.tm_min,
                          local.tm_sec);
    }
    const char* c_str() const { return text_; }

private:
    char text_[80] = ":"; // room for six ints
};

// A message that finds no memory is lost: logging never fails the call that logs.
__attribute__((format(printf, 2, 0))) void post(CoMsg::Level level, const char* format,
                                                std::va_list arguments) {
    if (level > CoMsg::filterLevel_)
        return;
    coAssert(format != nullptr, "fmt != 0", source, postLine);
    try {
        const std::string text = coFormatCutV(textBufferSize, format, arguments);
        CoMsg::router_->post(CoMsg(text.c_str(), CoMsg::mod_, CoMsg::lineNo_, level));
    } catch (const std::bad_alloc&) {
        return;
    }
}

__attribute__((format(printf, 1, 0))) void printLine(const char* format, std::va_list arguments) {
    std::vfprintf(stdout, format, arguments);
    std::fputc('\n', stdout);
}

// Runs before every ordinary initialiser, so that objects which log while they are being built
// already find the settings.
__attribute__((constructor(101))) void readSettings() {
    if (const char* const level = std::getenv("MZ_MSG_LEVEL"))
        CoMsg::filterLevel_ = CoMsg::stringToLevel(level);
    CoMsg::verboseFlag_ = std::getenv("MZ_MSG_VERBOSE") != nullptr;
}

} // namespace

int getDudPID() {
    return 0;
}

const char* const CoMsg::USER_LEVEL_STRING = "user";
const char* const CoMsg::ERROR_LEVEL_STRING = "error";
const char* const CoMsg::WARNING_LEVEL_STRING = "warn";
const char* const CoMsg::NOTICE_LEVEL_STRING = "notice";
const char* const CoMsg::DEBUGGING_LEVEL_STRING = "debug";
const char* const CoMsg::UNKNOWN_LEVEL_STRING = "unknown";

// All of these have constant initial values: nothing here depends on the order in which objects
// are built, and nothing is torn down.
CoMsg::Router CoMsg::defaultRouter_{};
CoMsg::Router* CoMsg::router_ = &CoMsg::defaultRouter_;
CoMsg::Level CoMsg::filterLevel_ = CoMsg::Notice;
bool CoMsg::verboseFlag_ = false;
int (*CoMsg::currentPIDCallbackFcn_)() = getDudPID;
thread_local const char* CoMsg::mod_ = "";
thread_local int CoMsg::lineNo_ = 0;

CoMsg::CoMsg(const char* text, const char* file, int line, Level level)
    : text_(coTextOrEmpty(text)), module_(lastComponent(coTextOrEmpty(file))),
      pid_(static_cast<std::uint32_t>(currentPIDCallbackFcn_())), line_(line), level_(level) {
    namespace chrono = std::chrono;
    const auto now = chrono::system_clock::now();
    const auto whole = chrono::floor<chrono::seconds>(now);
    const auto fraction = chrono::duration_cast<chrono::nanoseconds>(now - whole);
    seconds_ = chrono::system_clock::to_time_t(whole);
    nanoseconds_ = static_cast<std::int32_t>(fraction.count());
}

char* CoMsg::format(char* buffer, int size) const {
    if (size < 1)
        return buffer;
    std::snprintf(buffer, static_cast<std::size_t>(size), "[%s] %u %s:%d %s.%.3d %.*s\n",
                  levelToString(level_), pid_, module_.c_str(), line_,
                  LocalTimeText(seconds_).c_str(), nanoseconds_ / 1000000, trimmedLength(text_),
                  text_.c_str());
    return buffer;
}

void CoMsg::Router::post(const CoMsg& message) const {
    if (!verboseFlag_) {
        std::fprintf(stdout, "%.*s\n", trimmedLength(message.text_), message.text_.c_str());
        return;
    }
    char line[lineBufferSize];
    // The line is itself the format, as callers of the verbose log rely on: a "%" in a message is
    // interpreted a second time.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::fprintf(stdout, message.format(line, lineBufferSize));
#pragma GCC diagnostic pop
}

void CoMsg::postUser(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    ::post(User, format, arguments);
    va_end(arguments);
}

void CoMsg::postError(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    ::post(Error, format, arguments);
    va_end(arguments);
}

void CoMsg::postWarning(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    ::post(Warning, format, arguments);
    va_end(arguments);
}

void CoMsg::postNotice(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    ::post(Notice, format, arguments);
    va_end(arguments);
}

void CoMsg::postDebug(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    ::post(Debug, format, arguments);
    va_end(arguments);
}

void CoMsg::postConsole(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    printLine(format, arguments);
    va_end(arguments);
}

void CoMsg::postShell(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    printLine(format, arguments);
    va_end(arguments);
}

CoMsg::Level CoMsg::stringToLevel(const char* name) {
    if (name == nullptr)
        return Unknown;
    for (const Level level : {User, Error, Debug, Notice, Warning})
        if (std::strcmp(name, levelToString(level)) == 0)
            return level;
    return Unknown;
}

const char* CoMsg::levelToString(Level level) {
    switch (level) {
    case User:
        return USER_LEVEL_STRING;
    case Error:
        return ERROR_LEVEL_STRING;
    case Warning:
        return WARNING_LEVEL_STRING;
    case Notice:
        return NOTICE_LEVEL_STRING;
    case Debug:
        return DEBUGGING_LEVEL_STRING;
    default:
        return UNKNOWN_LEVEL_STRING;
    }
}

void CoMsg::setCurrentPIDCallback(int (*callback)()) {
    currentPIDCallbackFcn_ = callback;
}
