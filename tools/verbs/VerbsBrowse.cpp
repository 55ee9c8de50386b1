#include "image/PixelLayout.h"
#include "tools/report/Json.h"
#include "tools/report/PrintableText.h"
#include "tools/session/NodeSearch.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/Verbs.h"

namespace tool {

namespace {

constexpr int deepestTree = 100; // a server that lists a node below itself ends here

Json formatFields(const LantrixClipFormat& format) {
    return {{"width", format.width()},
            {"height", format.height()},
            {"bitsPerPixel", format.bitsPerPixel()},
            {"channels", format.numChannels()},
            {"frameBufferSize", format.frameBufferSize()},
            {"frameRate", format.frameRate()},
            {"pixelRatio", format.pixelRatio()},
            {"scanFormat", LantrixClipFormat::scanFormatStr(format.scanFormat())},
            {"formatTag", format.formatTag()},
            {"metaDataTag", format.metaDataTag()},
            {"metaData", format.metaData()}};
}

std::string typeOf(Session& session, const LantrixNodeHandle& node) {
    LantrixStr type;
    session.call("ask the kind of a node", [&] { return node.getNodeTypeStr(type); });
    return type.c_str();
}

// ---- ls

struct LsArguments {
    std::vector<std::string> addresses{"/"};
    bool isLong = false;
    bool recursive = false;
};

class Listing {
public:
    Listing(Context& context, const LsArguments& arguments)
        : context_(context), arguments_(arguments) {}

    void add(const Address& address) {
        Session session(browsingOptions(context_.options), address.host);
        for (const FoundNode& node : findNodes(session, address)) {
            if (node.address.path() != address.path()) { // a pattern lists what it matches
                addRow(session, node, node.address.name());
            } else {
                addChildren(session, node, "", 0);
            }
        }
    }
    void show() { context_.output.table("nodes", rows_); }

private:
    void addChildren(Session& session, const FoundNode& node, const std::string& prefix,
                     int depth) {
        const std::vector<FoundNode> children = childrenOf(session, node);
        if (children.empty() && depth == 0 && session.isClip(node.handle)) {
            addRow(session, node, session.name(node.handle)); // as a file lists itself
        }
        for (const FoundNode& child : children) {
            const std::string name = prefix + child.address.name();
            addRow(session, child, name);
            if (arguments_.recursive && depth < deepestTree) {
                addChildren(session, child, name + "/", depth + 1);
            }
        }
    }

    void addRow(Session& session, const FoundNode& node, const std::string& name) {
        if (!arguments_.isLong) {
            context_.options.json
                ? rows_.push_back({{"name", name}, {"id", node.handle.getNodeId().id()}})
                : rows_.push_back({{"name", name}});
            return;
        }
        Json row = {{"type", typeOf(session, node.handle)},
                    {"frames", nullptr},
                    {"format", nullptr},
                    {"id", node.handle.getNodeId().id()},
                    {"name", name}};
        if (session.isClip(node.handle)) {
            row["frames"] = session.countFrames(node.handle);
            row["format"] = image::describeFormat(session.format(node.handle));
        }
        rows_.push_back(row);
    }

    Context& context_;
    const LsArguments& arguments_;
    std::vector<Json> rows_;
};

void runLs(Context& context, const LsArguments& arguments) {
    Listing listing(context, arguments);
    for (const std::string& address : arguments.addresses) {
        listing.add(parseAddress(address, context.options.host));
    }
    listing.show();
}

// ---- tree

struct TreeArguments {
    std::string address = "/";
    int depth = deepestTree;
};

struct Tree {
    std::string lines;
    std::size_t count = 0;
};

Json drawTree(Session& session, const FoundNode& node, int depth, const std::string& indent,
              Tree& tree) {
    Json below = Json::array();
    if (depth <= 0) {
        return below;
    }
    const std::vector<FoundNode> children = childrenOf(session, node);
    for (const FoundNode& child : children) {
        const bool isLast = &child == &children.back();
        const std::string name = child.address.name();
        tree.lines += indent + (isLast ? "└── " : "├── ") + printableText(name) + "\n";
        ++tree.count;
        below.push_back({{"name", name}, {"id", child.handle.getNodeId().id()}});
        below.back()["children"] =
            drawTree(session, child, depth - 1, indent + (isLast ? "    " : "│   "), tree);
    }
    return below;
}

void runTree(Context& context, const TreeArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    Session session(browsingOptions(context.options), address.host);
    const FoundNode top{address, findNode(session, address)};
    Tree tree;
    const Json children = drawTree(session, top, arguments.depth, "", tree);
    context.output.text(address.text() + "\n" + tree.lines,
                        {{"path", address.path()}, {"nodes", tree.count}, {"children", children}});
}

// ---- stat

struct StatArguments {
    std::string address;
};

Json streamNames(Session& session, const LantrixNodeHandle& node) {
    int count = 0;
    session.call("list metadata", [&] { return node.getNumAvailableMetaDataStreams(count); });
    Json names = Json::array();
    for (int i = 0; i < count; ++i) {
        LantrixStr name;
        session.call("list metadata", [&] { return node.getAvailableMetaDataStream(i, name); });
        names.push_back(name.c_str());
    }
    return names;
}

void runStat(Context& context, const StatArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    Session session(browsingOptions(context.options), address.host);
    const FoundNode node{address, findNode(session, address)};
    const bool isClip = session.isClip(node.handle);
    int number = 0;
    session.call("ask the kind of a node", [&] { return node.handle.getNodeType(number); });
    Json fields = {{"host", address.host},
                   {"path", address.path()},
                   {"id", node.handle.getNodeId().id()},
                   {"name", session.name(node.handle)},
                   {"type", typeOf(session, node.handle)},
                   {"typeNumber", number},
                   {"isClip", isClip},
                   {"children", childrenOf(session, node).size()},
                   {"streams", streamNames(session, node.handle)}};
    if (isClip) {
        fields["frames"] = session.countFrames(node.handle);
        fields.update(formatFields(session.format(node.handle)));
    }
    context.output.record(fields);
}

// ---- find and du: both walk

using Visit = std::function<void(const FoundNode&)>;

void walk(Session& session, const FoundNode& node, const Visit& visit, int depth = 0) {
    visit(node);
    if (depth == deepestTree) {
        return;
    }
    for (const FoundNode& child : childrenOf(session, node)) {
        walk(session, child, visit, depth + 1);
    }
}

struct FindArguments {
    std::string address = "/";
    std::string name = "*";
    std::string kind;
};

void runFind(Context& context, const FindArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    Session session(browsingOptions(context.options), address.host);
    std::vector<Json> rows;
    for (const FoundNode& top : findNodes(session, address)) {
        walk(session, top, [&](const FoundNode& node) {
            if (!matchesNamePattern(arguments.name, node.address.name()) ||
                (!arguments.kind.empty() &&
                 session.isClip(node.handle) != (arguments.kind == "clip"))) {
                return;
            }
            rows.push_back({{"path", node.address.path()}});
            if (context.options.json) {
                rows.back()["id"] = node.handle.getNodeId().id();
            }
        });
    }
    context.output.table("nodes", rows);
}

struct DuArguments {
    std::vector<std::string> addresses{"/"};
};

Json diskUse(Session& session, const FoundNode& top) {
    long long clips = 0;
    long long frames = 0;
    long long bytes = 0;
    walk(session, top, [&](const FoundNode& node) {
        if (session.isClip(node.handle)) {
            const int count = session.countFrames(node.handle);
            ++clips;
            frames += count;
            bytes += static_cast<long long>(count) * session.format(node.handle).frameBufferSize();
        }
    });
    return {{"bytes", bytes}, {"frames", frames}, {"clips", clips}, {"path", top.address.path()}};
}

void runDu(Context& context, const DuArguments& arguments) {
    std::vector<Json> rows;
    for (const std::string& text : arguments.addresses) {
        const Address address = parseAddress(text, context.options.host);
        Session session(browsingOptions(context.options), address.host);
        for (const FoundNode& top : findNodes(session, address)) {
            rows.push_back(diskUse(session, top));
        }
    }
    context.output.table("use", rows);
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

void addLs(CLI::App& app, Context& context) {
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
        });
}

void addTree(CLI::App& app, Context& context) {
    addVerb<TreeArguments>(
        app, context,
        {"tree", "Draw the tree below a node", "lantrix tree --depth 2 farm:/Library"}, runTree,
        [](CLI::App& verb, TreeArguments& tree) {
            verb.add_option("ADDRESS", tree.address, "The node; the root unless given");
            verb.add_option("--depth", tree.depth, "How many levels")->check(CLI::PositiveNumber);
        });
}

void addStat(CLI::App& app, Context& context) {
    addVerb<StatArguments>(
        app, context,
        {"stat", "Show all that is known of a node", "lantrix stat farm:/Library/Reel/plate"},
        runStat, [](CLI::App& verb, StatArguments& stat) {
            verb.add_option("ADDRESS", stat.address, "The node")->required();
        });
}

void addFind(CLI::App& app, Context& context) {
    addVerb<FindArguments>(
        app, context,
        {"find", "Find nodes by their name", "lantrix find /Library --name 'sh*' --kind clip"},
        runFind, [](CLI::App& verb, FindArguments& find) {
            verb.add_option("ADDRESS", find.address, "Where to begin; the root unless given");
            verb.add_option("--name", find.name, "A shell pattern");
            verb.add_option("--kind", find.kind, "Only clips, or only what is none")
                ->check(CLI::IsMember({"clip", "folder"}));
        });
}

void addDu(CLI::App& app, Context& context) {
    addVerb<DuArguments>(
        app, context,
        {"du", "Add up the frames below a node and their bytes", "lantrix du '/Library/*'"}, runDu,
        [](CLI::App& verb, DuArguments& du) {
            verb.add_option("ADDRESS", du.addresses, "Nodes; the root unless given");
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
    addLs(app, context);
    addTree(app, context);
    addStat(app, context);
    addFind(app, context);
    addDu(app, context);
    addFrames(app, context);
}

} // namespace tool
