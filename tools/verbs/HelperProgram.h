// Programs that are installed beside this one and do the work of a verb.
#ifndef TOOLS_VERBS_HELPERPROGRAM_H
#define TOOLS_VERBS_HELPERPROGRAM_H

#include <string>

namespace CLI {
class App;
}

namespace tool {

struct Context;

struct HelperProgram {
    std::string name;
    std::string library; ///< It is left out of builds without this.
};

/// Once its command line has been understood, \p verb runs the helper with the same words in this
/// program's place: the process stays the same. Throws Failure then when that can't be done.
void leaveToHelper(CLI::App& verb, const Context& context, const HelperProgram& helper);

} // namespace tool

#endif
