// conform: is a server what docs/protocol.md says?
#include "tools/conform/Conformance.h"
#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/session/Interrupt.h"
#include "tools/session/NodeSearch.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/Verbs.h"

namespace tool {

namespace {

struct ConformArguments {
    std::string address;
};

std::string verdictText(Verdict verdict) {
    switch (verdict) {
    case Verdict::Passed:
        return "passed";
    case Verdict::Failed:
        return "failed";
    case Verdict::NotApplicable:
        break;
    }
    return "not applicable";
}

// What people see of every rule, and more of one that failed.
Json rowOf(const Outcome& outcome) {
    const std::string remark = outcome.reason.empty() ? "" : " (" + outcome.reason + ")";
    return {{"result", verdictText(outcome.verdict)},
            {"section", outcome.section},
            {"rule", outcome.rule + remark}};
}

std::string detailOf(const Outcome& outcome) {
    return "\n" + outcome.rule + "\n  sent      " + outcome.broken.sent + "\n  expected  " +
           outcome.broken.expected + "\n  heard     " + outcome.broken.heard + "\n";
}

Json fieldsOf(const Outcome& outcome) {
    Json fields = {{"rule", outcome.rule},
                   {"section", outcome.section},
                   {"result", verdictText(outcome.verdict)}};
    if (outcome.verdict == Verdict::NotApplicable)
        fields["reason"] = outcome.reason;
    if (outcome.verdict == Verdict::Failed) {
        fields.update({{"sent", outcome.broken.sent},
                       {"expected", outcome.broken.expected},
                       {"heard", outcome.broken.heard}});
    }
    return fields;
}

TrialPlace placeOf(const Options& options, const Address& address) {
    Session session(browsingOptions(options), address.host);
    const LantrixNodeHandle node = findNode(session, address);
    if (session.isClip(node)) {
        throw Failure(Status::Other, "'" + address.text() +
                                         "' is a clip, and nodes must be made below it to check "
                                         "the server");
    }
    TrialPlace place{address.host, node.getNodeId().id(), {}};
    if (options.timeout.value_or(0) > 0) {
        const std::chrono::duration<double> seconds(*options.timeout);
        place.patience.time = std::chrono::duration_cast<std::chrono::milliseconds>(seconds);
    }
    place.patience.isCancelled = wasInterrupted;
    return place;
}

Conformance check(const TrialPlace& place) {
    try {
        return checkConformance(place, conformanceRules());
    } catch (const Unheard& unheard) {
        throw Failure(Status::NoConnection, place.host + ": " + unheard.what());
    } catch (const Cancelled&) {
        throw Failure(Status::Interrupted, "interrupted; what was made has been removed");
    }
}

Json fieldsOf(const Conformance& conformance) {
    Json fields = {{"protocol", std::to_string(conformance.version.major) + "." +
                                    std::to_string(conformance.version.minor)},
                   {"passed", conformance.count(Verdict::Passed)},
                   {"failed", conformance.count(Verdict::Failed)},
                   {"notApplicable", conformance.count(Verdict::NotApplicable)},
                   {"rules", Json::array()}};
    for (const Outcome& outcome : conformance.outcomes)
        fields["rules"].push_back(fieldsOf(outcome));
    return fields;
}

void report(Context& context, const Conformance& conformance) {
    if (context.options.json)
        return context.output.text("", fieldsOf(conformance));
    std::vector<Json> rows;
    std::string details;
    for (const Outcome& outcome : conformance.outcomes) {
        rows.push_back(rowOf(outcome));
        details += outcome.verdict == Verdict::Failed ? detailOf(outcome) : "";
    }
    context.output.table("rules", rows);
    context.output.text(details, {});
}

void runConform(Context& context, const ConformArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    const TrialPlace place = placeOf(context.options, address);
    if (context.options.dryRun) {
        return context.output.wouldDo({"make nodes below " + address.text() + ", check " +
                                       countText(conformanceRules().size(), "rule") +
                                       " with them, and remove them"});
    }
    const Conformance conformance = check(place);
    report(context, conformance);
    const std::size_t failed = conformance.count(Verdict::Failed);
    if (failed > 0) {
        throw Failure(Status::Differs, countText(failed, "rule") + " of " +
                                           std::to_string(conformance.outcomes.size()) +
                                           " failed at " + address.host);
    }
    context.output.note("conform: " + countText(conformance.count(Verdict::Passed), "rule") +
                        " passed, " + std::to_string(conformance.count(Verdict::NotApplicable)) +
                        " not applicable to this server");
}

} // namespace

void addConformVerb(CLI::App& app, Context& context) {
    addVerb<ConformArguments>(
        app, context,
        {"conform", "Check a server against the protocol's page, rule by rule",
         "lantrix conform farm:/scratch"},
        runConform, [](CLI::App& verb, ConformArguments& conform) {
            verb.add_option("ADDRESS", conform.address,
                            "A node below which nodes are made, and removed again")
                ->required();
        });
}

} // namespace tool
