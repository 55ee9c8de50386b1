// tree, stat, find, du, frames: what is on a server.
#include "image/PixelLayout.h"
#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/report/PrintableText.h"
#include "tools/report/Troubles.h"
#include "tools/session/TreeWalk.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/StatFields.h"
#include "tools/verbs/Verbs.h"

#include <limits>

namespace tool {

namespace {

// ---- tree

struct TreeArguments {
    std::string address = "/";
    int depth = std::numeric_limits<int>::max();
};

class Tree {
public:
    Tree(Session& session, Troubles& troubles, const std::vector<FoundNode>& children, int depth)
        : troubles_(troubles), walk_(session, children, optionsOf(depth)) {}

    /// The next nodes of the walk, as many as there are in a folder, with all below.
    Json draw(std::size_t count, const std::string& indent = "") {
        Json below = Json::array();
        for (std::size_t i = 1; i <= count; ++i) {
            const std::optional<VisitedNode> visited = walk_.next();
            if (!visited)
                break;
            if (visited->failure)
                troubles_.attempt([&] { throw *visited->failure; });
            const bool isLast = i == count;
            const std::string name = visited->address.name();
            lines_ += indent + (isLast ? "└── " : "├── ") + printableText(name) + "\n";
            ++count_;
            below.push_back({{"name", name}, {"id", visited->node.id}});
            below.back()["children"] = draw(static_cast<std::size_t>(visited->node.children),
                                            indent + (isLast ? "    " : "│   "));
        }
        return below;
    }
    [[nodiscard]] const std::string& lines() const { return lines_; }
    [[nodiscard]] std::size_t count() const { return count_; }

private:
    static lantrix::WalkOptions optionsOf(int depth) {
        lantrix::WalkOptions options;
        options.depth = depth - 1; // the first level is known
        return options;
    }

    Troubles& troubles_;
    TreeWalk walk_;
    std::string lines_;
    std::size_t count_ = 0;
};

void runTree(Context& context, const TreeArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    Session session(browsingOptions(context.options), address.host);
    Troubles troubles(context.output);
    const std::vector<FoundNode> nodes = childrenOf(session, {address, findNode(session, address)});
    Tree tree(session, troubles, nodes, arguments.depth);
    const Json children = tree.draw(nodes.size());
    context.output.text(
        address.text() + "\n" + tree.lines(),
        {{"path", address.path()}, {"nodes", tree.count()}, {"children", children}});
    troubles.finish();
}

// ---- stat

struct StatArguments {
    std::string address;
};

void runStat(Context& context, const StatArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    Session session(browsingOptions(context.options), address.host);
    const FoundNode node{address, findNode(session, address)};
    lantrix::WalkedNode facts;
    facts.isClip = session.isClip(node.handle);
    session.call("ask the kind of a node", [&] { return node.handle.getNodeType(facts.type); });
    facts.id = node.handle.getNodeId().id();
    facts.name = session.name(node.handle);
    facts.kind = session.typeName(node.handle);
    facts.children = static_cast<int>(childrenOf(session, node).size());
    facts.streams = session.streamNames(node.handle);
    if (facts.isClip) {
        facts.frames = session.countFrames(node.handle);
        facts.format = session.format(node.handle);
    }
    context.output.record(statFields(address.host, address.path(), facts));
}

// ---- find

struct FindArguments {
    std::string address = "/";
    std::string name = "*";
    std::string kind;
    bool print0 = false;
};

class Search {
public:
    Search(Context& context, const FindArguments& arguments)
        : context_(context), arguments_(arguments), troubles_(context.output) {}

    void run(const Address& address) {
        Session session(browsingOptions(context_.options), address.host);
        lantrix::WalkOptions asked;
        asked.kinds = !arguments_.kind.empty();
        asked.isDescribed = [this](const std::string& name) {
            return matchesNamePattern(arguments_.name, name);
        };
        TreeWalk walk(session, findNodes(session, address), asked);
        while (const std::optional<VisitedNode> visited = walk.next())
            take(*visited);
        show();
        troubles_.finish();
    }

private:
    void take(const VisitedNode& visited) {
        if (visited.failure && visited.node.depth == 0 && visited.isMissing())
            throw *visited.failure; // what was asked for
        if (visited.failure)
            troubles_.attempt([&] { throw *visited.failure; });
        const bool isWanted =
            matchesNamePattern(arguments_.name, visited.address.name()) &&
            (arguments_.kind.empty() || visited.node.isClip == (arguments_.kind == "clip"));
        if (!isWanted)
            return;
        rows_.push_back({{"path", visited.address.path()}});
        if (context_.options.json)
            rows_.back()["id"] = visited.node.id;
    }
    void show() {
        if (!arguments_.print0) {
            context_.output.table("nodes", rows_);
            return;
        }
        std::string paths;
        for (const Json& row : rows_)
            paths += row["path"].get<std::string>() + '\0';
        context_.output.text(paths, {{"nodes", rows_}});
    }

    Context& context_;
    const FindArguments& arguments_;
    Troubles troubles_;
    std::vector<Json> rows_;
};

void runFind(Context& context, const FindArguments& arguments) {
    Search(context, arguments).run(parseAddress(arguments.address, context.options.host));
}

// ---- du

struct DuArguments {
    std::vector<std::string> addresses{"/"};
    bool human = false;
};

struct Use {
    Address top;
    long long bytes = 0;
    long long frames = 0;
    long long clips = 0;

    void count(const lantrix::WalkedNode& node) {
        if (!node.isClip)
            return;
        ++clips;
        frames += node.frames;
        bytes += node.format ? 1LL * node.frames * node.format->frameBufferSize() : 0;
    }
};

// What lies below each of the nodes, counted on one walk over all.
std::vector<Use> usesOf(Session& session, Troubles& troubles, const std::vector<FoundNode>& tops) {
    lantrix::WalkOptions asked;
    asked.frames = asked.formats = true;
    std::vector<Use> uses;
    TreeWalk walk(session, tops, asked);
    while (const std::optional<VisitedNode> visited = walk.next()) {
        if (visited->failure)
            troubles.attempt([&] { throw *visited->failure; });
        if (visited->node.depth == 0 && visited->isMissing())
            continue;
        if (visited->node.depth == 0)
            uses.push_back({visited->address});
        uses.back().count(visited->node);
    }
    return uses;
}

Json rowOf(const Use& use, bool human) {
    Json row = {{"bytes", use.bytes},
                {"frames", use.frames},
                {"clips", use.clips},
                {"path", use.top.path()}};
    if (human)
        row["bytes"] = byteText(use.bytes);
    return row;
}

void runDu(Context& context, const DuArguments& arguments) {
    const bool human = arguments.human && !context.options.json;
    std::vector<Json> rows;
    Troubles troubles(context.output);
    for (const std::string& text : arguments.addresses) {
        const Address address = parseAddress(text, context.options.host);
        troubles.attempt([&] {
            Session session(browsingOptions(context.options), address.host);
            for (const Use& use : usesOf(session, troubles, findNodes(session, address)))
                rows.push_back(rowOf(use, human));
        });
    }
    context.output.table("use", rows);
    troubles.finish();
}

// ---- frames

struct FramesArguments {
    std::string address;
    FrameSelection frames;
};

void runFrames(Context& context, const FramesArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    Session session(browsingOptions(context.options), address.host);
    LantrixNodeHandle clip = findClip(session, address);
    const int startNumber = arguments.frames.startNumber;
    std::vector<Json> rows;
    for (const int index :
         arguments.frames.parsed().indices(startNumber, session.countFrames(clip))) {
        LantrixStr id;
        LantrixStr path;
        session.call("find a frame", [&] { return clip.getFrameId(index, id); });
        session.call("find a frame's file", [&] { return clip.getFrameIdPath(index, path); });
        rows.push_back(
            {{"frame", index + startNumber}, {"id", id.c_str()}, {"path", path.c_str()}});
    }
    context.output.table("frames", rows);
}

// ---- on the command line

void addTree(CLI::App& app, Context& context) {
    addVerb<TreeArguments>(
        app, context,
        {"tree", "Draw the tree below a node", "lantrix tree --depth 2 farm:/Library"}, runTree,
        [](CLI::App& verb, TreeArguments& tree) {
            verb.add_option("ADDRESS", tree.address, "The node; the root unless given");
            verb.add_option("--depth", tree.depth, "How many levels")
                ->check(CLI::Range(1, std::numeric_limits<int>::max(), "1.."))
                ->default_str("all");
        });
}

void addStat(CLI::App& app, Context& context) {
    addVerb<StatArguments>(app, context,
                           {"stat", "Show everything that is known about a node",
                            "lantrix stat farm:/Library/Reel/plate"},
                           runStat, [](CLI::App& verb, StatArguments& stat) {
                               verb.add_option("ADDRESS", stat.address, "The node")->required();
                           });
}

void addFind(CLI::App& app, Context& context) {
    addVerb<FindArguments>(
        app, context,
        {"find", "Find nodes by name", "lantrix find /Library --name 'sh*' --kind clip"}, runFind,
        [](CLI::App& verb, FindArguments& find) {
            verb.add_option("ADDRESS", find.address, "Where to begin; the root unless given");
            verb.add_option("--name", find.name, "A shell pattern");
            verb.add_option("--kind", find.kind, "Only clips, or only other nodes")
                ->check(CLI::IsMember({"clip", "folder"}));
            verb.add_flag("-0,--print0", find.print0,
                          "The paths as they are, each with a NUL behind it, for xargs -0");
        });
}

void addDu(CLI::App& app, Context& context) {
    addVerb<DuArguments>(
        app, context,
        {"du", "Add up the frames below a node and their bytes", "lantrix du '/Library/*'"}, runDu,
        [](CLI::App& verb, DuArguments& du) {
            verb.set_help_flag("--help", "Print this help message and exit"); // -h is taken
            verb.add_option("ADDRESS", du.addresses, "Nodes; the root unless given");
            verb.add_flag("-h,--human-readable", du.human, "Bytes as kB, MB, GB or TB");
        });
}

void addFrames(CLI::App& app, Context& context) {
    addVerb<FramesArguments>(app, context,
                             {"frames", "List the frames of a clip: number, id and file",
                              "lantrix frames /Library/Reel/plate -f 0-9"},
                             runFrames, [](CLI::App& verb, FramesArguments& frames) {
                                 verb.add_option("CLIP", frames.address, "The clip")->required();
                                 addFrameOptions(verb, frames.frames);
                             });
}

} // namespace

void addBrowseVerbs(CLI::App& app, Context& context) {
    addListVerb(app, context);
    addTree(app, context);
    addStat(app, context);
    addFind(app, context);
    addDu(app, context);
    addFrames(app, context);
}

} // namespace tool
