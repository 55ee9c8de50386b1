// The rules of docs/protocol.md, a row each, in the page's order. A rule sends requests and throws
// Broken at the first thing that is not as the page says.
#ifndef TOOLS_CONFORM_RULES_H
#define TOOLS_CONFORM_RULES_H

#include "tools/conform/Trial.h"

#include <vector>

namespace tool {

struct Rule {
    const char* name;    ///< What is so, as a sentence.
    const char* section; ///< The heading of the page under which it stands.
    int since;           ///< The minor version of protocol 2 that brought it, and
    int before;          ///< the first one in which it no longer holds.
    void (*check)(Trial& trial);
};

/// The first version beyond those that have a rule that ends.
constexpr int openEnd = 1000;

[[nodiscard]] std::vector<Rule> commandRules();
[[nodiscard]] std::vector<Rule> nodeRules();
[[nodiscard]] std::vector<Rule> clipRules();
[[nodiscard]] std::vector<Rule> linkRules();
[[nodiscard]] std::vector<Rule> metadataRules();
[[nodiscard]] std::vector<Rule> frameRules();

} // namespace tool

#endif
