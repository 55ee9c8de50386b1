#include "tools/Json.h"
#include "tools/PixelLayout.h"
#include "tools/Session.h"
#include "tools/Verbs.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace tool {

namespace {

// ---- mkdir

struct MkdirArguments {
    std::vector<std::string> addresses;
    std::string type = "folder";
    bool parents = false;
};

void requireNew(Session& session, const FoundNode& parent, const std::string& name) {
    if (session.child(parent, name)) {
        throw Failure(Status::Refused, "'" + parent.address.child(name).path() +
                                           "' is already on " + session.host());
    }
    if (session.isClip(parent.handle)) {
        throw Failure(Status::Other,
                      "'" + parent.address.path() + "' is a clip: nothing can be made below it");
    }
}

FoundNode makeFolder(Session& session, FoundNode& parent, const std::string& name,
                     const std::string& type) {
    checkNewName(name, parent.handle.getNodeId().id(), type);
    FoundNode made{parent.address.child(name), {}};
    session.call("make '" + made.address.path() + "'",
                 [&] { return parent.handle.createNode(name.c_str(), type.c_str(), made.handle); });
    return made;
}

void checkType(const std::string& type) {
    if (type.empty() ||
        std::any_of(type.begin(), type.end(), [](unsigned char c) { return std::isspace(c); })) {
        throw Failure(Status::Usage, "a node's type is one word, not '" + type + "'");
    }
}

// The folder above the new node, made too when \p arguments ask for it.
FoundNode parentFolder(Session& session, const Address& address, const MkdirArguments& arguments) {
    if (!arguments.parents) {
        return {address.parent(), session.find(address.parent())};
    }
    FoundNode node{address, session.root()};
    node.address.components.clear();
    for (const std::string& component : address.parent().components) {
        const std::optional<FoundNode> child = session.child(node, component);
        node = child ? *child : makeFolder(session, node, component, arguments.type);
    }
    return node;
}

void runMkdir(Context& context, const MkdirArguments& arguments) {
    checkType(arguments.type);
    Json made = Json::array();
    for (const std::string& text : arguments.addresses) {
        const Address address = parseAddress(text, context.options.host);
        if (context.options.dryRun) {
            context.output.wouldDo("make " + address.text());
            continue;
        }
        Session session(context.options, address.host);
        FoundNode parent = parentFolder(session, address, arguments);
        if (arguments.parents && session.child(parent, address.name())) {
            continue;
        }
        requireNew(session, parent, address.name());
        const FoundNode node = makeFolder(session, parent, address.name(), arguments.type);
        made.push_back({{"path", address.path()}, {"id", node.handle.getNodeId().id()}});
        context.output.note("made " + address.text());
    }
    context.output.result({{"made", made}});
}

// ---- mkclip

struct MkclipArguments {
    std::string address;
    std::string format;
    int frames = 0;
    std::string scan = "progressive";
    std::string tag;
};

void runMkclip(Context& context, const MkclipArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    LantrixClipFormat format = parseClipFormat(arguments.format, arguments.tag);
    LantrixClipFormat::ScanFormat scan{};
    if (!LantrixClipFormat::strToScanFormat(arguments.scan.c_str(), scan)) {
        throw Failure(Status::Usage, "'" + arguments.scan + "' is no scan format");
    }
    format.setScanFormat(scan);
    const std::string what = address.text() + " (" + describeFormat(format) + ") with " +
                             std::to_string(arguments.frames) + " frames";
    if (context.options.dryRun) {
        context.output.wouldDo("make " + what);
        return;
    }
    Session session(context.options, address.host);
    const LantrixNodeHandle made = makeClip(session, address, format, arguments.frames);
    context.output.note("made " + what);
    context.output.result({{"made", {{{"path", address.path()}, {"id", made.getNodeId().id()}}}}});
}

// ---- rm

struct RmArguments {
    std::vector<std::string> addresses;
    bool recursive = false;
};

void removeNode(Context& context, Session& session, FoundNode& node, bool recursive,
                Json& removed) {
    const std::string what = node.address.text();
    const bool hasChildren = !session.children(node).empty();
    if (hasChildren && !recursive) {
        throw Failure(Status::Other, "'" + what + "' is not empty: -r removes it with all below");
    }
    if (context.options.dryRun) {
        context.output.wouldDo("remove " + what);
        return;
    }
    if (hasChildren) {
        confirm(context, "Remove " + what + " with all below?");
    }
    session.call("remove '" + node.address.path() + "'", [&] { return node.handle.destroyNode(); });
    context.output.note("removed " + what);
    removed.push_back(node.address.path());
}

void runRm(Context& context, const RmArguments& arguments) {
    Json removed = Json::array();
    for (const std::string& text : arguments.addresses) {
        const Address address = parseAddress(text, context.options.host);
        Session session(context.options, address.host);
        for (FoundNode& node : session.findAll(address)) {
            removeNode(context, session, node, arguments.recursive, removed);
        }
    }
    context.output.result({{"removed", removed}});
}

// ---- link

struct LinkArguments {
    std::string address;
    std::vector<std::string> files;
};

void runLink(Context& context, const LinkArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    std::vector<LantrixStr> paths;
    for (const std::string& file : arguments.files) {
        if (file.find_first_of(",\n") != std::string::npos) {
            throw Failure(Status::Usage, "'" + file +
                                             "' can't be linked: a path with a comma or "
                                             "a line feed can't be sent");
        }
        // On the server's own host a path may be given as it looks from here.
        const bool isHere = std::filesystem::exists(file);
        paths.emplace_back((isHere ? std::filesystem::absolute(file).string() : file).c_str());
    }
    const std::string what =
        address.text() + " to " + std::to_string(paths.size()) + " files on the server";
    if (context.options.dryRun) {
        context.output.wouldDo("link " + what);
        return;
    }
    Session session(context.options, address.host);
    LantrixNodeHandle clip = session.findClip(address);
    session.call("link '" + address.path() + "'",
                 [&] { return clip.linkToFrames(paths.data(), static_cast<int>(paths.size())); });
    context.output.note("linked " + what);
    context.output.result({{"linked", address.path()}, {"files", paths.size()}});
}

} // namespace

LantrixNodeHandle makeClip(Session& session, const Address& address,
                           const LantrixClipFormat& format, int frames) {
    constexpr const char* type = "clip";
    FoundNode parent{address.parent(), session.find(address.parent())};
    requireNew(session, parent, address.name());
    checkNewName(address.name(), parent.handle.getNodeId().id(), type);
    LantrixNodeHandle clip;
    session.call("make '" + address.path() + "'", [&] {
        return parent.handle.createClipNode(address.name().c_str(), format, type, clip);
    });
    try {
        session.call("make the frames of '" + address.path() + "'",
                     [&] { return clip.setNumFrames(frames); });
    } catch (const Failure&) {
        clip.destroyNode(); // as if it had never been there
        throw;
    }
    return clip;
}

void addEditVerbs(CLI::App& app, Context& context) {
    const auto mkdir = std::make_shared<MkdirArguments>();
    CLI::App* verb = addVerb<MkdirArguments>(
        app, "mkdir", "Make nodes that hold others", "lantrix mkdir -p farm:/Library/Reel", mkdir,
        [&](const MkdirArguments& arguments) { runMkdir(context, arguments); });
    verb->add_option("ADDRESS", mkdir->addresses, "The new nodes")->required();
    verb->add_option("--type", mkdir->type, "The server's name, or number, for the kind of node");
    verb->add_flag("-p,--parents", mkdir->parents,
                   "Make what is missing on the way; no error when it is there");

    const auto mkclip = std::make_shared<MkclipArguments>();
    verb = addVerb<MkclipArguments>(
        app, "mkclip", "Make a clip",
        "lantrix mkclip /Library/Reel/plate --format 1920x1080x24@25 --frames 100", mkclip,
        [&](const MkclipArguments& arguments) { runMkclip(context, arguments); });
    verb->add_option("ADDRESS", mkclip->address, "The new clip")->required();
    verb->add_option("--format", mkclip->format,
                     "WIDTHxHEIGHTxBITS[xCHANNELS][@RATE], bits being those of a whole pixel")
        ->required();
    verb->add_option("--frames", mkclip->frames, "How many frames")->check(CLI::NonNegativeNumber);
    verb->add_option("--scan", mkclip->scan,
                     "progressive, field1_odd, field1_even, field2_odd or field2_even");
    verb->add_option("--tag", mkclip->tag, "The format tag: rgb8, rgb16f, rgb10, ...");

    const auto rm = std::make_shared<RmArguments>();
    verb =
        addVerb<RmArguments>(app, "rm", "Remove nodes", "lantrix rm -r -y /Library/Reel/old*", rm,
                             [&](const RmArguments& arguments) { runRm(context, arguments); });
    verb->add_option("ADDRESS", rm->addresses, "The nodes")->required();
    verb->add_flag("-r,--recursive", rm->recursive, "With all below; asks first, unless -y");

    const auto link = std::make_shared<LinkArguments>();
    verb = addVerb<LinkArguments>(
        app, "link", "Make existing files of the server's host the frames of a clip",
        "lantrix link /Library/Reel/plate /media/plate.*.raw", link,
        [&](const LinkArguments& arguments) { runLink(context, arguments); });
    verb->add_option("CLIP", link->address, "The clip")->required();
    verb->add_option("FILE", link->files, "The files, as the server's host names them")->required();
}

} // namespace tool
