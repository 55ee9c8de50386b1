// sync, and what -r means for cp, get and put.
#include "tools/report/NumberText.h"
#include "tools/trees/FolderTree.h"
#include "tools/trees/ServerTree.h"
#include "tools/trees/TreeTransfer.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/ImageOptions.h"
#include "tools/verbs/TreeVerbs.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>

namespace tool {

void refuseWithTrees(bool isGiven, const std::string& option) {
    if (isGiven)
        throw Failure(Status::Usage, option + " is for the frames of one clip, not for trees (-r)");
}

TreeRules treeRules(const StoreRules& store, int startNumber, Missing missing) {
    TreeRules rules;
    rules.verify = store.verify;
    rules.leaveOut = store.resume ? LeaveOut::WholeFiles : LeaveOut::Nothing;
    rules.startNumber = startNumber;
    rules.missing = missing;
    return rules;
}

namespace {

// Plans, and moves unless -n was given.
class TreeVerb {
public:
    TreeVerb(Context& context, std::string verb, TreeSource& source, TreeTarget& target,
             TreeRules rules)
        : context_(context), verb_(std::move(verb)), source_(source), target_(target),
          rules_(std::move(rules)), troubles_(context.output) {}

    /// What there is at both ends; \p tops as for TreeTarget::list().
    void list(const std::set<std::string>& tops = {}) {
        from_ = source_.list(troubles_);
        if (from_.empty())
            troubles_.finish();
        Troubles unknown(context_.output);
        there_ = target_.list(unknown, tops);
        unknown.finish(); // what may be there would be made twice
        plan_ = planTree(from_, there_, target_, rules_, troubles_);
    }
    [[nodiscard]] const std::vector<TreeItem>& from() const { return from_; }
    [[nodiscard]] const std::vector<TreeItem>& there() const { return there_; }
    [[nodiscard]] const TreePlan& plan() const { return plan_; }

    void run() {
        TreeTransfer transfer(context_.output, source_, target_, plan_);
        if (context_.options.dryRun)
            context_.output.wouldDo(transfer.wouldDo());
        else
            transfer.run(verb_, troubles_);
        troubles_.finish();
    }

private:
    Context& context_;
    const std::string verb_;
    TreeSource& source_;
    TreeTarget& target_;
    const TreeRules rules_;
    Troubles troubles_;
    std::vector<TreeItem> from_;
    std::vector<TreeItem> there_;
    TreePlan plan_;
};

bool holdsNode(const std::vector<TreeItem>& items, const std::string& id) {
    return std::any_of(items.begin(), items.end(),
                       [&id](const TreeItem& item) { return item.id == id; });
}

// A copy of a tree below itself would never end.
void refuseItself(const TreeVerb& verb, ServerSource& from, ServerTarget& to,
                  const std::string& toText) {
    if (!isSameStorage(from.session(), to.session()))
        return;
    const auto& jobs = verb.plan().jobs;
    const bool isOntoItself = std::any_of(jobs.begin(), jobs.end(), [](const TreeJob& job) {
        return job.there && job.there->id == job.from.id;
    });
    if (isOntoItself || holdsNode(verb.from(), to.lowestId()))
        throw Failure(Status::Other, "'" + toText + "' lies in what is to be copied there");
}

std::string nameOf(Session& session, const FoundNode& node) {
    const std::string name = node.address.name();
    return name.empty() ? session.name(node.handle) : name;
}

} // namespace

// ---- cp -r

void copyTree(Context& context, const std::string& from, const std::string& to,
              const TreeRules& rules) {
    const Options& options = context.options;
    const Address fromAddress = parseAddress(from, options.host);
    Address toAddress = parseAddress(to, options.host);
    ServerSource source(options, fromAddress.host, rules);
    const FoundNode node{fromAddress, findNode(source.session(), fromAddress)};
    const bool isInto = to.back() == '/' || !toAddress.nodeId.empty();
    if (isInto)
        toAddress.components.push_back(nameOf(source.session(), node));
    source.add(node, {});
    ServerTarget target(options, toAddress, rules);
    if (target.isThere() && !isInto && rules.leaveOut == LeaveOut::Nothing) {
        throw Failure(Status::Other, "'" + toAddress.text() +
                                         "' is already there: write a slash behind it to copy into "
                                         "it, or pass --resume to go on with an earlier copy")
            .with("path", toAddress.path());
    }
    TreeVerb verb(context, "cp", source, target, rules);
    verb.list();
    refuseItself(verb, source, target, toAddress.text());
    if (!options.dryRun && verb.plan().replaced() > 0 && rules.leaveOut == LeaveOut::Nothing)
        context.output.note("cp: replaces " + countText(verb.plan().replaced(), "frame"));
    verb.run();
}

// ---- get -r

void getTrees(Context& context, const std::vector<std::string>& addresses,
              const std::string& folder, const TreeRules& rules) {
    const Options& options = context.options;
    const Address first = parseAddress(addresses.front(), options.host);
    ServerSource source(options, first.host, rules);
    std::set<std::string> tops;
    for (const std::string& text : addresses) {
        const Address address = parseAddress(text, options.host);
        if (address.host != first.host)
            throw Failure(Status::Usage, "get -r takes nodes of one server at a time");
        for (const FoundNode& node : findNodes(source.session(), address)) {
            const std::string name = nameOf(source.session(), node);
            const bool isRoot = node.address.nodeId.empty() && node.address.components.empty();
            if (!isRoot && !tops.insert(name).second)
                throw Failure(Status::Usage, "two of the nodes are named '" + name + "'");
            source.add(node, isRoot ? TreePath() : TreePath{name});
            if (isRoot && addresses.size() > 1)
                throw Failure(Status::Usage, "'" + address.text() + "' holds the other nodes");
        }
    }
    FolderTarget target(folder, rules);
    TreeVerb verb(context, "get", source, target, rules);
    verb.list(tops);
    const std::size_t replaced = verb.plan().replaced();
    if (!options.dryRun && replaced > 0 && rules.leaveOut == LeaveOut::Nothing)
        confirm(context, "Replace " + countText(replaced, "file") + "?");
    verb.run();
}

// ---- put -r

namespace {

// Files that are not frames stay behind, which somebody might miss.
void noteOthers(const Context& context, const std::string& verb, const FolderSource& source) {
    const std::vector<std::string>& others = source.others();
    if (!others.empty())
        context.output.note(verb + ": left out " + countText(others.size(), "file") +
                            " that are not numbered frames, such as '" + others.front() + "'");
}

} // namespace

void putTree(Context& context, const std::string& folder, const std::string& address,
             const TreeRules& rules) {
    const Options& options = context.options;
    FolderSource source(folder, rules);
    ServerTarget target(options, parseAddress(address, options.host), rules);
    TreeVerb verb(context, "put", source, target, rules);
    verb.list();
    noteOthers(context, "put", source);
    if (!options.dryRun && verb.plan().replaced() > 0 && rules.leaveOut == LeaveOut::Nothing)
        context.output.note("put: replaces " + countText(verb.plan().replaced(), "frame"));
    verb.run();
}

// ---- sync

namespace {

struct SyncArguments {
    std::string from;
    std::string to;
    bool checksum = false;
    bool remove = false;
    TreeRules rules;
};

void refuseEmptySource(const Context& context, const TreeVerb& verb) {
    const bool hasClip = std::any_of(verb.from().begin(), verb.from().end(),
                                     [](const TreeItem& item) { return item.isClip; });
    if (!hasClip && !verb.plan().removed.empty() && !context.options.dryRun)
        confirm(context, "There is no clip to bring: remove all " +
                             countText(verb.plan().removed.size(), "node") + " that are there?");
}

void runBetweenServers(Context& context, const SyncArguments& arguments, ServerSource& source,
                       const TreeRules& rules) {
    const Address to = parseAddress(arguments.to, context.options.host);
    ServerTarget target(context.options, to, rules);
    TreeVerb verb(context, "sync", source, target, rules);
    verb.list();
    refuseItself(verb, source, target, to.text());
    if (holdsNode(verb.there(), source.topId()) &&
        isSameStorage(source.session(), target.session()))
        throw Failure(Status::Other, "'" + arguments.from + "' lies in what is to become like it");
    refuseEmptySource(context, verb);
    verb.run();
}

void runFromServer(Context& context, const SyncArguments& arguments, const TreeRules& rules) {
    const Address from = parseAddress(arguments.from, context.options.host);
    ServerSource source(context.options, from.host, rules);
    const FoundNode node{from, findNode(source.session(), from)};
    if (source.session().isClip(node.handle)) {
        throw Failure(Status::Usage, "'" + from.text() +
                                         "' is a clip, and sync is for folders: see cp and get "
                                         "--resume");
    }
    source.add(node, {});
    if (looksLikeAddress(arguments.to)) {
        runBetweenServers(context, arguments, source, rules);
        return;
    }
    FolderTarget target(arguments.to, rules);
    TreeVerb verb(context, "sync", source, target, rules);
    verb.list();
    refuseEmptySource(context, verb);
    verb.run();
}

void runSync(Context& context, const SyncArguments& arguments) {
    TreeRules rules = arguments.rules;
    rules.keepsRecords = true;
    rules.remove = arguments.remove;
    rules.leaveOut = arguments.checksum ? LeaveOut::Same : LeaveOut::Known;
    if (looksLikeAddress(arguments.from)) {
        runFromServer(context, arguments, rules);
        return;
    }
    if (!looksLikeAddress(arguments.to)) {
        throw Failure(Status::Usage, "neither '" + arguments.from + "' nor '" + arguments.to +
                                         "' is on a server: write HOST:/path, or :/path for the "
                                         "server that --host names");
    }
    FolderSource source(arguments.from, rules);
    ServerTarget target(context.options, parseAddress(arguments.to, context.options.host), rules);
    TreeVerb verb(context, "sync", source, target, rules);
    verb.list();
    noteOthers(context, "sync", source);
    refuseEmptySource(context, verb);
    verb.run();
}

} // namespace

void addSyncVerb(CLI::App& app, Context& context) {
    addVerb<SyncArguments>(
        app, context,
        {"sync", "Bring what is missing or differs from one tree to another",
         "lantrix sync farm:/Library/Reel vault:/Archive/Reel"},
        runSync, [](CLI::App& verb, SyncArguments& sync) {
            verb.add_option("FROM", sync.from,
                            "HOST:/path, :/path, or else a local folder of image sequences")
                ->required();
            verb.add_option("TO", sync.to, "The folder, on a server or local, that gets it")
                ->required();
            verb.add_flag("--checksum", sync.checksum,
                          "Compare the bytes of all frames, also of those whose files have not "
                          "changed since they were brought");
            verb.add_flag("--delete", sync.remove,
                          "Remove what FROM does not have, when all else has arrived");
            addStartNumberOption(verb, sync.rules.startNumber);
            verb.add_flag("--verify", sync.rules.verify, "Read back and compare what was written");
            addReadOptions(verb, sync.rules.reading);
            verb.add_flag("--raw", sync.rules.raw, "Local files hold the bytes of frames");
        });
}

} // namespace tool
