// Tries the rules of docs/protocol.md on a server, one after the other, each with connections and a
// node of its own, so that one that fails spoils no other.
// Used by one thread. Throws Unheard when the server can't be reached at all, and Cancelled when
// the user ends it.
#ifndef TOOLS_CONFORM_CONFORMANCE_H
#define TOOLS_CONFORM_CONFORMANCE_H

#include "tools/conform/Rules.h"

#include <string>
#include <vector>

namespace tool {

enum class Verdict { Passed, Failed, NotApplicable };

struct Outcome {
    std::string rule;
    std::string section; ///< The heading of the page under which the rule stands.
    Verdict verdict = Verdict::Passed;
    Broken broken;      ///< Of one that failed.
    std::string reason; ///< Why one is not applicable.
};

struct Conformance {
    ProtocolVersion version;
    std::vector<Outcome> outcomes;

    [[nodiscard]] std::size_t count(Verdict verdict) const;
};

/// All rules, in the order in which they are tried.
[[nodiscard]] std::vector<Rule> conformanceRules();

/// Tries these rules, and last that the node's children are what they were.
[[nodiscard]] Conformance checkConformance(const TrialPlace& place, const std::vector<Rule>& rules);

} // namespace tool

#endif
