// rm: many nodes over several connections, told in their order.
#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/session/NodeChanges.h"
#include "tools/transfer/Progress.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <deque>
#include <map>

namespace tool {

namespace {

struct RmArguments {
    std::vector<std::string> addresses;
    bool recursive = false;
};

// A node that is to go, and what a connection has told about it.
struct Target {
    FoundNode node;
    enum class Question { Children, Kind, Frames };
    Question question = Question::Children; // the last one asked
    int children = 0;
    bool isClip = false;
    int frames = 0;
    bool isInDoubt = false; // a removal has been asked for

    std::string text;
    bool isEmpty = true; // neither children nor frames

    [[nodiscard]] std::string id() const { return node.handle.getNodeId().id(); }

    lantrix::Failure describe(LantrixServerHandle& server) {
        const LantrixNodeHandle handle(server, id().c_str());
        question = Question::Children;
        bool isTold = handle.getNumChildren(children);
        if (isTold && children == 0) {
            question = Question::Kind;
            isTold = handle.getIsClipNode(isClip);
        }
        if (isTold && isClip) {
            question = Question::Frames;
            isTold = handle.getNumFrames(frames);
        }
        return isTold ? lantrix::Failure() : lantrix::Failure::lastOf(server);
    }
    // A node that may be gone is asked for first: nothing else is refused about its kind.
    lantrix::Failure remove(LantrixServerHandle& server) {
        LantrixNodeHandle handle(server, id().c_str());
        int type = 0;
        if (isInDoubt && !handle.getNodeType(type)) {
            lantrix::Failure failure = lantrix::Failure::lastOf(server);
            return failure.kind == lantrix::Failure::Kind::Refused ? lantrix::Failure() : failure;
        }
        isInDoubt = true;
        return handle.destroyNode() ? lantrix::Failure() : lantrix::Failure::lastOf(server);
    }
};

// Nodes of one server that may go side by side.
struct Group {
    std::shared_ptr<Session> session; // never null
    std::deque<Target> targets;       // which stay where they are
};

using Work = lantrix::Failure (Target::*)(LantrixServerHandle& server);
using Told = std::function<void(Target& target, const lantrix::Failure& failure)>;

// Over several connections; what came of it is told in the order of the targets.
void forEach(Group& group, Work work, const Told& told) {
    lantrix::Pool pool(group.session->target(), group.session->poolOptions());
    std::vector<std::future<lantrix::Failure>> results;
    for (Target& target : group.targets) {
        results.push_back(pool.run(
            [&target, work](lantrix::Connection& connection) {
                return (target.*work)(connection.server);
            },
            lantrix::Retry::OnAnotherConnection));
    }
    for (std::size_t i = 0; i < results.size(); ++i)
        told(group.targets[i], results[i].get());
}

// Looks up all nodes before the first is removed.
class Remover {
public:
    Remover(Context& context, const RmArguments& arguments)
        : context_(context), arguments_(arguments) {}

    void run() {
        for (const std::string& text : arguments_.addresses)
            lookUp(parseAddress(text, context_.options.host));
        for (Group& group : groups_)
            describe(group);
        if (context_.options.dryRun) {
            std::vector<std::string> steps;
            eachTarget([&](const Target& target) { steps.push_back("remove " + target.text); });
            context_.output.wouldDo(steps);
            return;
        }
        ask();
        removeAll();
        context_.output.result({{"removed", removed_}});
    }

private:
    template <class Use>
    void eachTarget(Use use) const {
        for (const Group& group : groups_)
            std::for_each(group.targets.begin(), group.targets.end(), use);
    }

    void lookUp(const Address& address) {
        const auto session = std::make_shared<Session>(context_.options, address.host);
        for (const FoundNode& node : findNodes(*session, address)) {
            if (isTaken(node.address))
                continue;
            if (!mayJoin(node.address))
                groups_.push_back({session, {}});
            groups_.back().targets.emplace_back();
            groups_.back().targets.back().node = node;
            ++count_;
        }
    }

    // True when the node can go beside those of the last group: none of them is below it, which
    // nobody knows of an id.
    [[nodiscard]] bool mayJoin(const Address& address) const {
        if (groups_.empty() || groups_.back().session->host() != address.host)
            return false;
        const auto& targets = groups_.back().targets;
        return std::none_of(targets.begin(), targets.end(), [&](const Target& target) {
            const Address& other = target.node.address;
            return !address.nodeId.empty() || !other.nodeId.empty() || isBelow(other, address);
        });
    }

    static bool isBelow(const Address& lower, const Address& above) {
        return (lower.text() + "/").rfind(above.text() + "/", 0) == 0;
    }

    // The same node, or one below a node that is removed anyway.
    [[nodiscard]] bool isTaken(const Address& address) const {
        bool isTaken = false;
        eachTarget([&](const Target& target) {
            isTaken = isTaken || isBelow(address, target.node.address);
        });
        return isTaken;
    }

    void describe(Group& group) const {
        forEach(group, &Target::describe, [&](Target& target, const lantrix::Failure& failure) {
            if (failure)
                throw failureOf(*group.session, target, failure);
            name(target);
        });
    }

    static Failure failureOf(const Session& session, const Target& target,
                             const lantrix::Failure& failure) {
        const bool isCount = target.question == Target::Question::Frames;
        // An id is only known to be one when it is used.
        if (failure.kind == lantrix::Failure::Kind::Refused && !isCount)
            return session.noSuchNode(target.id(), failure.text);
        return session.failureOf(isCount ? "count the clip's frames"
                                         : "list '" + target.node.address.path() + "'",
                                 failure);
    }

    void name(Target& target) const {
        target.text = target.node.address.text();
        if (target.children > 0) {
            if (!arguments_.recursive) {
                throw Failure(Status::Other,
                              "'" + target.text + "' is not empty: -r removes it with all below")
                    .with("path", target.node.address.path());
            }
            target.text += " with all below";
        } else if (target.frames > 0) {
            target.text +=
                " with its " + countText(static_cast<std::size_t>(target.frames), "frame");
        }
        target.isEmpty = target.children == 0 && target.frames == 0;
    }

    void ask() const {
        std::string text;
        eachTarget([&](const Target& target) {
            text += target.isEmpty ? "" : (text.empty() ? "" : ", ") + target.text;
        });
        if (!text.empty())
            confirm(context_, "Remove " + text + "?");
    }

    void removeAll() {
        Progress progress(context_.options, "rm", count_, "node");
        const Progress::Ticker ticker(progress);
        std::optional<Failure> first;
        for (Group& group : groups_) {
            forEach(group, &Target::remove, [&](Target& target, const lantrix::Failure& failure) {
                if (!failure)
                    tell(target, progress);
                else if (!first)
                    first = group.session->failureOf("remove '" + target.node.address.path() + "'",
                                                     failure);
            });
            if (first)
                break;
        }
        if (first) {
            throw first
                ->told("; " + std::to_string(removed_.size()) + " of " + countText(count_, "node") +
                       " removed")
                .with("removed", removed_);
        }
    }

    void tell(const Target& target, Progress& progress) {
        context_.output.note("removed " + target.node.address.text());
        removed_.push_back(target.node.address.path());
        progress.advance(0);
    }

    Context& context_;
    const RmArguments& arguments_;
    std::deque<Group> groups_;
    std::size_t count_ = 0; // of targets
    std::vector<std::string> removed_;
};

void runRm(Context& context, const RmArguments& arguments) {
    Remover(context, arguments).run();
}

} // namespace

void addRmVerb(CLI::App& app, Context& context) {
    addVerb<RmArguments>(
        app, context, {"rm", "Remove nodes", "lantrix rm -r -y /Library/Reel/old*"}, runRm,
        [](CLI::App& verb, RmArguments& rm) {
            verb.add_option("ADDRESS", rm.addresses, "The nodes")->required();
            verb.add_flag("-r,--recursive", rm.recursive,
                          "Everything below the nodes, too; asks first, unless -y");
        });
}

} // namespace tool
