// ls: lists of nodes, with what each is.
#include "image/PixelLayout.h"
#include "tools/report/Json.h"
#include "tools/report/Troubles.h"
#include "tools/session/TreeWalk.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>

namespace tool {

namespace {

struct LsArguments {
    std::vector<std::string> addresses{"/"};
    bool isLong = false;
    bool recursive = false;
    std::string sort;
};

struct Entry {
    Json row;
    std::string name;
    long long size = 0; ///< What the list is sorted by, if not the name: frames, or bytes.
};

class Listing {
public:
    Listing(Context& context, const LsArguments& arguments)
        : context_(context), arguments_(arguments), troubles_(context.output) {}

    void add(const Address& address) {
        std::vector<Entry> entries;
        troubles_.attempt([&] {
            Session session(browsingOptions(context_.options), address.host);
            const std::vector<FoundNode> found = findNodes(session, address);
            const bool isPattern = found.size() > 1 || found[0].address.path() != address.path();
            if (isPattern) // lists what it matches
                addNodes(session, found, Depth::These, entries);
            else
                addChildren(session, found[0], entries);
        });
        sort(entries);
        lists_.push_back({address.text(), {}});
        for (Entry& entry : entries)
            lists_.back().rows.push_back(std::move(entry.row));
    }

    void show() {
        context_.output.tables("nodes", lists_);
        troubles_.finish();
    }

private:
    enum class Depth { These, AllBelow };

    void addChildren(Session& session, const FoundNode& top, std::vector<Entry>& entries) {
        const std::vector<FoundNode> children = childrenOf(session, top);
        addNodes(session, children, arguments_.recursive ? Depth::AllBelow : Depth::These, entries);
        if (children.empty() && session.isClip(top.handle)) { // as a file lists itself
            addNodes(session, {top}, Depth::These, entries);
            setName(entries.back(), session.name(top.handle));
        }
    }

    void addNodes(Session& session, const std::vector<FoundNode>& nodes, Depth depth,
                  std::vector<Entry>& entries) {
        lantrix::WalkOptions asked;
        asked.depth = depth == Depth::These ? 0 : asked.depth;
        asked.kinds = arguments_.isLong;
        asked.frames = arguments_.isLong || isSortedByNumber();
        asked.formats = arguments_.isLong || arguments_.sort == "size";
        if (depth == Depth::These && !asked.frames) { // what is shown is known
            for (const FoundNode& node : nodes)
                entries.push_back(
                    entry(node.address, node.handle.getNodeId().id(), node.address.name()));
            return;
        }
        TreeWalk walk(session, nodes, asked);
        while (const std::optional<VisitedNode> visited = walk.next())
            entries.push_back(entry(*visited));
    }

    [[nodiscard]] bool isSortedByNumber() const {
        return arguments_.sort == "frames" || arguments_.sort == "size";
    }

    static void setName(Entry& entry, const std::string& name) {
        entry.name = name;
        entry.row["name"] = name;
    }

    [[nodiscard]] Entry entry(const Address& address, const std::string& id,
                              const std::string& name) const {
        Entry entry{Json::object(), name};
        if (context_.options.json)
            entry.row = {{"host", address.host}, {"path", address.path()}};
        if (arguments_.isLong)
            entry.row.update({{"type", "-"}, {"frames", nullptr}, {"format", nullptr}});
        if (arguments_.isLong || context_.options.json)
            entry.row["id"] = id;
        setName(entry, name);
        return entry;
    }

    // What is known of a node that does not tell all of itself stands in its line.
    Entry entry(const VisitedNode& visited) {
        using Question = lantrix::WalkedNode::Question;
        const lantrix::WalkedNode& node = visited.node;
        Entry line = entry(visited.address, node.id, visited.path);
        const bool isCounted = node.isClip && node.unanswered != Question::Frames;
        if (isCounted)
            line.size = node.frames;
        if (arguments_.sort == "size")
            line.size *= node.format ? node.format->frameBufferSize() : 0;
        if (arguments_.isLong && !node.kind.empty())
            line.row["type"] = node.kind;
        if (arguments_.isLong && isCounted)
            line.row["frames"] = node.frames;
        if (arguments_.isLong && node.format)
            line.row["format"] = image::describeFormat(*node.format);
        if (!visited.failure)
            return line;
        const std::string trouble = troubles_.attempt([&] { throw *visited.failure; });
        if (arguments_.isLong && node.unanswered != Question::Children)
            line.row[context_.options.json ? "error" : "format"] = trouble;
        return line;
    }

    // Names from the first letter on, numbers from the largest on.
    void sort(std::vector<Entry>& entries) const {
        if (arguments_.sort.empty())
            return;
        const bool byName = arguments_.sort == "name";
        std::stable_sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
            return byName ? a.name < b.name : a.size > b.size;
        });
    }

    Context& context_;
    const LsArguments& arguments_;
    Troubles troubles_;
    std::vector<Output::Table> lists_;
};

void runLs(Context& context, const LsArguments& arguments) {
    Listing listing(context, arguments);
    for (const std::string& address : arguments.addresses)
        listing.add(parseAddress(address, context.options.host));
    listing.show();
}

} // namespace

void addListVerb(CLI::App& app, Context& context) {
    addVerb<LsArguments>(
        app, context,
        {"ls", "List the children of a node, or what a pattern matches",
         "lantrix ls -l farm:/Library/Reel/sh*"},
        runLs, [](CLI::App& verb, LsArguments& ls) {
            verb.add_option("ADDRESS", ls.addresses, "Nodes; the root unless given");
            verb.add_flag(
                "-l,--long", ls.isLong,
                "Kind, frames and format too: 2 requests more for each node, 4 for a clip");
            verb.add_flag("-R,--recursive", ls.recursive, "What lies below, too");
            verb.add_option("--sort", ls.sort,
                            "By name, or by frames or size from the largest on; the server's "
                            "order unless given")
                ->check(CLI::IsMember({"name", "frames", "size"}));
        });
}

} // namespace tool
