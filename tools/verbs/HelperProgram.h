// Programs that are installed beside this one and do the work of a verb.
#ifndef TOOLS_VERBS_HELPERPROGRAM_H
#define TOOLS_VERBS_HELPERPROGRAM_H

#include <string>

namespace tool {

/// Runs \p helper with \p words, which begin with this program's name and end with null, in this
/// program's place: the process stays the same. Throws Failure when that can't be done, perhaps
/// since the helper is left out of builds without \p library.
[[noreturn]] void becomeHelper(const std::string& helper, const std::string& library, char** words);

} // namespace tool

#endif
