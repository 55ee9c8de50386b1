// ls: lists of nodes, with what each is.
#include "image/PixelLayout.h"
#include "tools/report/Json.h"
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
            for (const FoundNode& node : findNodes(session, address))
                if (node.address.path() != address.path()) // a pattern lists what it matches
                    entries.push_back(entry(session, node, node.address.name()));
                else
                    addChildren(session, node, entries);
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
    void addChildren(Session& session, const FoundNode& top, std::vector<Entry>& entries) {
        TreeWalk walk(session, troubles_);
        const auto visit = [&](const FoundNode& node, const std::string& name) {
            entries.push_back(entry(session, node, name));
        };
        if (arguments_.recursive)
            walk.visitBelow(top, visit);
        else
            for (const FoundNode& child : walk.children(top, 1))
                visit(child, child.address.name());
        if (entries.empty() && session.isClip(top.handle)) // as a file lists itself
            visit(top, session.name(top.handle));
    }

    Entry entry(Session& session, const FoundNode& node, const std::string& name) {
        Entry entry{Json::object(), name};
        if (context_.options.json)
            entry.row = {{"host", session.host()}, {"path", node.address.path()}};
        if (arguments_.isLong)
            entry.row.update({{"type", "-"}, {"frames", nullptr}, {"format", nullptr}});
        if (arguments_.isLong || context_.options.json)
            entry.row["id"] = node.handle.getNodeId().id();
        entry.row["name"] = name;
        if (!arguments_.isLong && arguments_.sort != "frames" && arguments_.sort != "size")
            return entry;
        const std::string trouble = troubles_.attempt([&] { describe(session, node, entry); });
        if (!trouble.empty() && arguments_.isLong)
            entry.row[context_.options.json ? "error" : "format"] = trouble;
        return entry;
    }

    // What is known before a question fails stays.
    void describe(Session& session, const FoundNode& node, Entry& entry) const {
        if (arguments_.isLong)
            entry.row["type"] = session.typeName(node.handle);
        if (!session.isClip(node.handle))
            return;
        entry.size = session.countFrames(node.handle);
        if (arguments_.isLong)
            entry.row["frames"] = entry.size;
        const LantrixClipFormat format = session.format(node.handle);
        if (arguments_.sort == "size")
            entry.size *= format.frameBufferSize();
        if (arguments_.isLong)
            entry.row["format"] = image::describeFormat(format);
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
