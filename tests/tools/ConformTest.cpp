// lantrix conform: every rule holds for the development server, and every rule can fail.
#include "tests/tools/FaultyServer.h"
#include "tests/tools/ToolProgram.h"
#include "tools/conform/Conformance.h"

#include <fstream>
#include <map>
#include <set>

using namespace std::string_literals;
using tool::Conformance;
using tool::Outcome;
using tool::Rule;
using tool::Verdict;

namespace {

constexpr Change::Of request = Change::Of::Request;
constexpr Change::Of reply = Change::Of::Reply;
const std::string frame = "24 bytes make one frame.";
const std::string zeros(24, '\0');

// The one fault of a server, and the rule that it breaks. The texts are the rules' own.
struct BrokenRule {
    const char* rule;
    Fault fault;
    int minor = 6;
};

const BrokenRule brokenRules[] = {
    {"a reply is a code, a blank and a value", {{reply, "Ping", "ok ", "ok"}}},
    {"values are escaped in replies", {{reply, "GetClipFormat", "a\\t", "a\t"}}},
    {"escapes of requests are undone", {{reply, "GetDisplayName", "abc", "a\\\\bc"}}},
    {"the id of a request is ignored", {{request, "sync -17", "Ping", "None"}}},
    {"only sync requests are answered", {{request, "async 0 Ping", "async", "sync"}}},
    {"replies come in the order of requests", {{request, "NoSuchMethod", "NoSuchMethod", "Ping"}}},
    {"two blanks enclose an empty field", {{request, "sync 0  Ping", "  ", " "}}},
    {"async requests are carried out", {{request, "async", "CreateNode", "None"}}},
    {"requests arrive in any segments", {{reply, "GetRootNode", "", "error cut\n"}}},
    {"clients do not hold each other up", {{reply, "Ping", "", ""}}},
    {"the last blank may be missing", {{reply, "Ping\n", "", "error cut\n"}}},
    {"a NUL in a request is an error", {{reply, "Ping\0"s, "", "ok \n"}}},
    {"web pages are not served", {{reply, "\"web\"", "", "ok n1\n"}}},
    {"unknown methods are errors", {{reply, "ping", "", "ok \n"}}},
    {"methods of later versions are errors", {{reply, "GetStorageId", "", "ok x\n"}}, 4},
    {"requests of 64 KiB are taken", {{reply, "mmmm", "", "error long\n"}}},
    {"versions are two numbers", {{reply, "QueryVersion", "2 6", "2.6"}}},
    {"each path is translated", {{reply, "TranslatePaths", "/x,", ""}}},
    {"the server says what it is", {{reply, "QueryNodePlugInProduct", "", "error none\n"}}},
    {"the storage has an id", {{reply, "GetStorageId", "", "ok \n"}}},

    {"names come back as they were sent", {{reply, "GetDisplayName", "  c", " c"}}},
    {"the root has an id that stays", {{reply, "GetRootNode", "ok n", "ok n,"}}},
    {"children are listed in their order", {{reply, "GetChildren", ",b,", ",c,"}}},
    {"names that lists can't carry are errors", {{request, "CreateNode", "a,b", "ab"}}},
    {"one name may stand twice", {{reply, "GetChildren", ",same,", ",other,"}}},
    {"a CreateNode that was cut is an error", {{request, "\"name\"\n", "\n", " 0 folder\n"}}},
    {"the kind decides what is a clip", {{reply, "GetNodeType ", "ok 1", "ok 0"}}},
    {"other kinds than 0 and 1 are errors", {{request, "\"node\" 2", "2 f", "1 f"}}},
    {"any type is taken and told", {{reply, "GetNodeTypeStr", "no-such-type", "folder"}}},
    {"a clip has no nodes below it", {{reply, "child", "", "ok n99\n"}}},
    {"a destroyed tree is gone", {{request, "DestroyNode", "DestroyNode", "Ping"}}},
    {"an id is never used again",
     {{reply, "\"node\"", "", "ok same\n"}, {reply, "DestroyNode same", "", "ok \n"}}},
    {"unknown nodes are errors", {{reply, "GetMetaData", "", "ok \n"}}},

    {"fractions are as %g writes them", {{reply, "GetClipFormat", "1e+06", "1000000"}}},
    {"whole numbers are digits", {{request, " 4.0 ", "4.0", "4"}}},
    {"a clip format comes back", {{reply, "GetClipFormat", "23.976", "23.98"}}},
    {"no tag of a reply is empty", {{reply, "GetClipFormat", "25 none", "25 "}}},
    {"a new clip has no frames", {{reply, "GetFrames", "", "ok frame\n"}}},
    {"allocated frames have ids", {{reply, "GetFrames", "f2", "f1"}}},
    {"allocating again keeps ids and bytes", {{reply, "ReadFrame", frame, zeros}}},
    {"frames read as zeros until written", {{reply, "ReadFrame", "\0"s + zeros, "\0"s + frame}}},
    {"frames of another size read as zeros", {{reply, "ReadFrame", "\0"s + zeros, "\0"s + frame}}},
    {"a count of 0 takes all frames away", {{reply, "GetFrames", "", "ok frame\n"}}},
    {"a bad AllocateFrames changes nothing", {{request, " -1 4", "-1", "1"}}},
    {"only clips have frames", {{reply, "GetFrames", "", "ok \n"}}},

    {"each frame has a path, or none has", {{reply, "GetFramePaths", ",", "-"}}},
    {"linked frames are their files", {{reply, "ReadFrame", frame, zeros}}},
    {"linked frames are never written", {{reply, "other bytes", "", "\0"s}}},
    {"files that are too short are not read", {{reply, "\00048\0"s, "", "\0"s}}},
    {"files that are missing are not linked", {{reply, "no-such-file", "", "ok \n"}}},
    {"linking nothing leaves no frame", {{reply, "GetFrames", "", "ok frame\n"}}},
    {"allocating leaves links alone", {{reply, "ReadFrame", frame, zeros}}},

    {"unknown streams are errors", {{reply, "no-such-stream", "", "ok \n"}}},
    {"a stream's text comes back", {{reply, "GetMetaData", "second text", "second"}}},
    {"streams are listed", {{reply, "QueryMetaDataSupport", "note", "not"}}},
    {"an empty text is a text", {{reply, "GetMetaData", "", "error none\n"}}},
    {"filters may be empty", {{reply, "note  0", "", "error filter\n"}}},
    {"a bad SetMetaData changes nothing", {{request, "note bare", "bare", "\"bare\""}}},
    {"stream names fit into a list", {{reply, "a,b", "", "ok \n"}}},

    {"a frame reads as it was written", {{reply, "ReadFrame", frame, zeros}}},
    {"frame requests arrive in any segments", {{reply, "WriteFrame", "", "cut\0"s}}},
    {"unknown frames are failures", {{reply, "WriteFrame\0no-such-frame"s, "", "\0"s}}},
    {"a refused write takes its bytes", {{reply, "\00023\0xx"s, "", "no\0no\0"s}}},
    {"a successful read has all its bytes", {{reply, "\00040\0"s, "", "\0"s + frame}}},
    {"a bad size ends a write's connection", {{reply, "\0x\0"s, "", "no\0more"s}}},
    {"unknown requests end the connection", {{reply, "readframe", "", "no\0more"s}}},
    {"ReadAhead has no answer", {{reply, "no-such-frame", "", "no\0"s}}},
    {"ReadAhead is unknown", {{reply, "ReadAhead", "", "\0"s}}, 4},
    {"other connections read what was written", {{reply, "ReadFrame", frame, zeros}}},
    {"a write that is cut off changes nothing",
     {{reply, "ReadFrame", frame, "cut off" + frame.substr(7)}}},
    {"a bad size of a read is a failure", {{reply, "\0-1\0"s, "", "\0"s}}},
};

class ConformTest : public ToolTest {
protected:
    /// Serves protocol 2.MINOR, and relays to it.
    void serveFaulty(int minor) {
        relay_.reset();
        serve(minor);
        node_ = CommandClient(host_).value("CreateNode n0 \"scratch\" 0 folder");
        relay_ = std::make_unique<FaultyServer>(relayHost_, host_, minor);
    }
    Conformance check(const std::vector<Rule>& rules, const Fault& fault,
                      std::chrono::milliseconds time = std::chrono::seconds(30)) {
        relay_->setFault(fault);
        return tool::checkConformance({relayHost_, node_, {time}}, rules);
    }
    /// The rule holds, and with the fault it does not.
    void breaks(const Rule& rule, const Fault& fault) {
        SCOPED_TRACE(rule.name);
        const Outcome sound = check({rule}, {}).outcomes.front();
        EXPECT_EQ(Verdict::Passed, sound.verdict) << sound.broken.heard;
        const Outcome broken =
            check({rule}, fault, std::chrono::milliseconds(700)).outcomes.front();
        EXPECT_EQ(Verdict::Failed, broken.verdict);
        EXPECT_FALSE(broken.broken.sent.empty() || broken.broken.expected.empty());
    }

    static std::set<std::string> rulesOf(const Conformance& conformance, Verdict verdict) {
        std::set<std::string> rules;
        for (const Outcome& outcome : conformance.outcomes)
            if (outcome.verdict == verdict)
                rules.insert(outcome.rule);
        return rules;
    }

    const std::string relayHost_ = "127.91" + host_.substr(6);
    std::string node_;
    std::unique_ptr<FaultyServer> relay_;
};

TEST_F(ConformTest, EveryRuleHoldsInEachVersion) {
    const std::set<std::string> none;
    std::size_t inapplicable[7] = {};
    for (const int minor : {4, 5, 6}) {
        serveFaulty(minor);
        const Conformance all = check(tool::conformanceRules(), {});
        EXPECT_EQ(none, rulesOf(all, Verdict::Failed)) << minor;
        EXPECT_EQ("", CommandClient(host_).value("GetChildren " + node_));
        inapplicable[minor] = all.count(Verdict::NotApplicable);
        if (minor == 6) {
            EXPECT_EQ((std::set<std::string>{"ReadAhead is unknown",
                                             "methods of later versions are errors"}),
                      rulesOf(all, Verdict::NotApplicable));
        }
    }
    EXPECT_GT(inapplicable[4], inapplicable[5]);
    EXPECT_GT(inapplicable[5], inapplicable[6]);
}

TEST_F(ConformTest, EveryRuleCanFail) {
    std::map<std::string, Rule> rules;
    for (const Rule& rule : tool::conformanceRules())
        rules.insert({rule.name, rule});
    for (const int minor : {6, 4}) {
        serveFaulty(minor);
        for (const BrokenRule& row : brokenRules)
            if (row.minor == minor) {
                ASSERT_EQ(1U, rules.count(row.rule)) << row.rule;
                breaks(rules.at(row.rule), row.fault);
                rules.erase(row.rule);
            }
    }
    for (const auto& [name, rule] : rules)
        ADD_FAILURE() << name << " is not among the rules that can fail";
}

TEST_F(ConformTest, WhatIsLeftBehindIsReported) {
    serveFaulty(6);
    const std::vector<Rule> rules{tool::nodeRules().front()};
    EXPECT_EQ(
        "nothing is left behind",
        *rulesOf(check(rules, {{request, "DestroyNode", "DestroyNode", "Ping"}}), Verdict::Failed)
             .begin());
    EXPECT_EQ("the node can be listed",
              check(rules, {{reply, "GetChildren", "", "error none\n"}}).outcomes.at(0).rule);
}

TEST_F(ConformTest, RulesStandBelowHeadingsOfThePage) {
    std::set<std::string> headings;
    std::ifstream page(PROTOCOL_PAGE);
    for (std::string line; std::getline(page, line);)
        if (line[0] == '#')
            headings.insert(line.substr(line.find(' ') + 1));
    for (const Rule& rule : tool::conformanceRules())
        EXPECT_EQ(1U, headings.count(rule.section)) << rule.section;
}

TEST_F(ConformTest, TheVerbReportsEachRule) {
    serveFaulty(6);
    const std::string report = output({"conform", "/scratch"});
    EXPECT_NE(std::string::npos, report.find("passed\tNodes\tthe kind decides what is a clip\n"));
    EXPECT_EQ("", output({"ls", "/scratch"}));
    relay_->setFault({{reply, "GetNodeType ", "ok 1", "ok 0"}});
    const ToolResult result = run({"conform", "--json", relayHost_ + ":/scratch"});
    EXPECT_EQ(9, result.status) << result.errors;
    const nlohmann::json json = nlohmann::json::parse(result.output);
    EXPECT_EQ(1, json["failed"]);
    EXPECT_EQ("2.6", json["protocol"]);
    for (const nlohmann::json& rule : json["rules"])
        if (rule["result"] == "failed") {
            EXPECT_EQ("the kind decides what is a clip", rule["rule"]);
            EXPECT_EQ("sync 0 GetNodeType n", rule["sent"].get<std::string>().substr(0, 20));
            EXPECT_EQ("'1 NUMBER'", rule["expected"]);
            EXPECT_EQ("ok 0 0", rule["heard"]);
        }
    fails(5, {"conform", "127.0.0.0:id=n0"}, {"127.0.0.0"});
    output({"mkclip", "/clip", "--format", "8x4x24"});
    fails(1, {"conform", "/clip"}, {"is a clip"});
}

} // namespace
