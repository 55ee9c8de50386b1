// mkdir, mkclip, link: changes to the tree.
#include "image/PixelLayout.h"
#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/session/NodeChanges.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/NewClip.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <limits>

namespace tool {

namespace {

// ---- mkdir

struct MkdirArguments {
    std::vector<std::string> addresses;
    std::string type = "folder";
    bool parents = false;
};

// Makes folders, or with -n says which.
class FolderMaker {
public:
    FolderMaker(Context& context, const MkdirArguments& arguments)
        : context_(context), arguments_(arguments) {}

    void make(const Address& address) {
        const Address above = address.parent();
        Session session(context_.options, address.host);
        FoundNode node{above, session.root()};
        node.address.components.clear();
        const std::size_t missing = walk(session, address.components, node);
        const std::vector<std::string> names(address.components.begin() +
                                                 static_cast<std::ptrdiff_t>(missing),
                                             address.components.end());
        if (names.empty() && !arguments_.parents)
            throw alreadyThere(session, address);
        if (names.size() > 1 && !arguments_.parents)
            throw missingNode(session, above, node, names.front());
        requireFolder(session, node);
        for (const std::string& name : names)
            node = makeBelow(session, node, name);
    }

    void tell() {
        context_.options.dryRun ? context_.output.wouldDo(steps_)
                                : context_.output.result({{"made", made_}});
    }

private:
    // Goes down as far as there are nodes; returns how many components that were.
    static std::size_t walk(Session& session, const std::vector<std::string>& components,
                            FoundNode& node) {
        std::size_t depth = 0;
        for (; depth < components.size(); ++depth) {
            const std::optional<FoundNode> child = findChild(session, node, components[depth]);
            if (!child)
                break;
            node = *child;
        }
        return depth;
    }

    FoundNode makeBelow(Session& session, FoundNode& parent, const std::string& name) {
        FoundNode node{parent.address.child(name), {}};
        checkNewName(name, parent.handle.getNodeId().id(), arguments_.type);
        if (context_.options.dryRun) {
            steps_.push_back("make " + node.address.text());
            return node;
        }
        node.handle = makeNode(session, parent, name, arguments_.type);
        made_.push_back({{"path", node.address.path()}, {"id", node.handle.getNodeId().id()}});
        context_.output.note("made " + node.address.text());
        return node;
    }

    Context& context_;
    const MkdirArguments& arguments_;
    std::vector<std::string> steps_;
    Json made_ = Json::array();
};

void runMkdir(Context& context, const MkdirArguments& arguments) {
    checkType(arguments.type);
    FolderMaker maker(context, arguments);
    for (const std::string& address : arguments.addresses)
        maker.make(parseAddress(address, context.options.host));
    maker.tell();
}

// ---- mkclip

struct MkclipArguments {
    std::string address;
    std::string format;
    std::string scan = "progressive";
    std::string tag;
    NewClip clip;
};

void runMkclip(Context& context, const MkclipArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    NewClip clip = arguments.clip;
    clip.format = image::parseClipFormat(arguments.format, arguments.tag);
    LantrixClipFormat::ScanFormat scan{};
    if (!LantrixClipFormat::strToScanFormat(arguments.scan.c_str(), scan))
        throw Failure(Status::Usage, "'" + arguments.scan + "' is not a scan format");
    clip.format.setScanFormat(scan);
    const std::string what = address.text() + " (" + image::describeFormat(clip.format) +
                             ") with " +
                             countText(static_cast<std::size_t>(clip.frameCount), "frame");
    Session session(context.options, address.host);
    if (context.options.dryRun) {
        static_cast<void>(findParentOfNew(session, address, clip));
        context.output.wouldDo({"make " + what});
        return;
    }
    const LantrixNodeHandle made = makeClip(session, address, clip);
    context.output.note("made " + what);
    context.output.result({{"made", {{{"path", address.path()}, {"id", made.getNodeId().id()}}}}});
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
        address.text() + " to " + countText(paths.size(), "file") + " on the server";
    Session session(context.options, address.host);
    LantrixNodeHandle clip = findClip(session, address);
    if (context.options.dryRun) {
        context.output.wouldDo({"link " + what});
        return;
    }
    session.call("link '" + address.path() + "'",
                 [&] { return clip.linkToFrames(paths.data(), static_cast<int>(paths.size())); });
    context.output.note("linked " + what);
    context.output.result({{"linked", address.path()}, {"files", paths.size()}});
}

// ---- on the command line

void addMkdir(CLI::App& app, Context& context) {
    addVerb<MkdirArguments>(
        app, context,
        {"mkdir", "Make nodes that hold others", "lantrix mkdir -p farm:/Library/Reel"}, runMkdir,
        [](CLI::App& verb, MkdirArguments& mkdir) {
            verb.add_option("ADDRESS", mkdir.addresses, "The new nodes")->required();
            addTypeOption(verb, mkdir.type);
            verb.add_flag("-p,--parents", mkdir.parents,
                          "Make what is missing on the way; no error when it is there");
        });
}

void addMkclip(CLI::App& app, Context& context) {
    addVerb<MkclipArguments>(
        app, context,
        {"mkclip", "Make a clip",
         "lantrix mkclip /Library/Reel/plate --format 1920x1080x24@25 --frames 100"},
        runMkclip, [](CLI::App& verb, MkclipArguments& mkclip) {
            verb.add_option("ADDRESS", mkclip.address, "The new clip")->required();
            verb.add_option(
                    "--format", mkclip.format,
                    "WIDTHxHEIGHTxBITS[xCHANNELS][@RATE], bits being those of a whole pixel")
                ->required();
            verb.add_option("--frames", mkclip.clip.frameCount, "How many frames")
                ->check(CLI::Range(0, std::numeric_limits<int>::max(), "0.."));
            verb.add_option("--scan", mkclip.scan,
                            "progressive, field1_odd, field1_even, field2_odd or field2_even");
            addTypeOption(verb, mkclip.clip.type);
            verb.add_option("--tag", mkclip.tag, "The format tag: rgb8, rgb16f, rgb10, ...");
        });
}

void addLink(CLI::App& app, Context& context) {
    addVerb<LinkArguments>(app, context,
                           {"link", "Make existing files of the server's host the frames of a clip",
                            "lantrix link /Library/Reel/plate /media/plate.*.raw"},
                           runLink, [](CLI::App& verb, LinkArguments& link) {
                               verb.add_option("CLIP", link.address, "The clip")->required();
                               verb.add_option("FILE", link.files,
                                               "The files, as the server's host names them")
                                   ->required();
                           });
}

} // namespace

void addEditVerbs(CLI::App& app, Context& context) {
    addMkdir(app, context);
    addMkclip(app, context);
    addRmVerb(app, context);
    addLink(app, context);
}

} // namespace tool
