#include "tools/conform/Conformance.h"

#include "tools/conform/WireBytes.h"

#include <algorithm>
#include <cstdlib>

namespace tool {

namespace {

// Throws only when the server can't be reached; a reply that can't be understood gives no version.
ProtocolVersion askVersion(const TrialPlace& place) {
    try {
        Trial trial(place, {});
        const std::string value = trial.ok("QueryVersion");
        trial.require(wire::areNumbers(value, 2), "two numbers");
        const std::vector<std::string> words = wire::split(value, ' ');
        return {std::atoi(words[0].c_str()), std::atoi(words[1].c_str())};
    } catch (const Broken&) {
        return {};
    }
}

std::string versionsOf(const Rule& rule) {
    return rule.before == openEnd ? "from protocol 2." + std::to_string(rule.since) + " on"
                                  : "before protocol 2." + std::to_string(rule.before);
}

template <class Check>
Outcome outcomeOf(Outcome outcome, Check check) {
    try {
        check();
    } catch (const Broken& broken) {
        outcome.verdict = Verdict::Failed;
        outcome.broken = broken;
    } catch (const Inapplicable& inapplicable) {
        outcome.verdict = Verdict::NotApplicable;
        outcome.reason = inapplicable.reason;
    }
    return outcome;
}

Outcome tryRule(const TrialPlace& place, ProtocolVersion version, const Rule& rule) {
    return outcomeOf({rule.name, rule.section, Verdict::Passed, {}, ""}, [&] {
        Trial trial(place, version);
        if ((rule.since > 0 && !trial.speaks(rule.since)) || trial.speaks(rule.before))
            throw Inapplicable{versionsOf(rule)};
        rule.check(trial);
    });
}

} // namespace

std::size_t Conformance::count(Verdict verdict) const {
    return static_cast<std::size_t>(
        std::count_if(outcomes.begin(), outcomes.end(),
                      [&](const Outcome& outcome) { return outcome.verdict == verdict; }));
}

std::vector<Rule> conformanceRules() {
    std::vector<Rule> rules;
    for (const auto& group :
         {commandRules(), nodeRules(), clipRules(), linkRules(), metadataRules(), frameRules()})
        rules.insert(rules.end(), group.begin(), group.end());
    return rules;
}

Conformance checkConformance(const TrialPlace& place, const std::vector<Rule>& rules) {
    const RawConnection reachable(place.host, Port::Commands, place.patience);
    Conformance conformance{askVersion(place), {}};
    std::string children;
    const Outcome listing = outcomeOf({"the node can be listed", "Nodes", {}, {}, ""}, [&] {
        children = Trial(place, conformance.version).ok("GetChildren", place.nodeId);
    });
    if (listing.verdict == Verdict::Failed) {
        conformance.outcomes.push_back(listing);
        return conformance;
    }
    for (const Rule& rule : rules)
        conformance.outcomes.push_back(tryRule(place, conformance.version, rule));
    conformance.outcomes.push_back(
        outcomeOf({"nothing is left behind", "Nodes", Verdict::Passed, {}, ""}, [&] {
            Trial(place, conformance.version).ok("GetChildren", place.nodeId, children);
        }));
    return conformance;
}

} // namespace tool
