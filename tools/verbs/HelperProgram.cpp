#include "tools/verbs/HelperProgram.h"

#include "tools/report/Failure.h"
#include "tools/verbs/Context.h"

#include <CLI/App.hpp>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <unistd.h>

#ifdef __APPLE__
#include <array>

#include <mach-o/dyld.h>
#include <sys/syslimits.h>
#endif

namespace tool {

namespace {

// Where this program's own file is, whatever links lead to it.
std::filesystem::path ownFile(const char* name) {
    std::error_code error;
#ifdef __APPLE__
    std::array<char, PATH_MAX> path{};
    std::uint32_t size = path.size();
    if (::_NSGetExecutablePath(path.data(), &size) == 0)
        name = path.data();
#else
    if (std::filesystem::path file = std::filesystem::read_symlink("/proc/self/exe", error); !error)
        return file;
#endif
    return std::filesystem::canonical(name, error);
}

[[noreturn]] void becomeHelper(const HelperProgram& helper, char** words) {
    const std::filesystem::path program =
        ownFile(words[0]).parent_path() / LANTRIX_HELPERS / helper.name;
    ::execv(program.c_str(), words);
    const int error = errno;
    if (error == ENOENT)
        throw Failure(Status::Other, "'" + helper.name +
                                         "', which does this, is not installed; it is left out of "
                                         "builds without " +
                                         helper.library);
    throw Failure(Status::Other, "'" + program.lexically_normal().string() +
                                     "' can't be run: " + std::strerror(error));
}

} // namespace

// Before anything is opened or caught: the other program begins anew.
void leaveToHelper(CLI::App& verb, const Context& context, const HelperProgram& helper) {
    verb.parse_complete_callback([&context, helper] { becomeHelper(helper, context.words); });
}

} // namespace tool
