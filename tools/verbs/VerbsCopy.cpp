// cp: frames to another clip.
#include "tools/report/NumberText.h"
#include "tools/transfer/FrameMove.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/Destination.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/TreeVerbs.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <numeric>

namespace tool {

namespace {

struct CpArguments {
    std::string from;
    std::string to;
    FrameSelection selection;
    int first = 0; // the frame of the other clip that the first one becomes
    Missing missing = Missing::Error;
    StoreRules rules;
    bool recursive = false;
};

std::string storageOf(const LocatedClip& clip) {
    LantrixStr storage;
    clip.session->call("ask the storage id",
                       [&] { return clip.session->server().getStorageId(storage); });
    return storage.c_str();
}

// The same node of the same storage, whatever names the server has.
bool isSameClip(const LocatedClip& a, const LocatedClip& b) {
    return std::string(a.handle.getNodeId().id()) == b.handle.getNodeId().id() &&
           (a.address.host == b.address.host || storageOf(a) == storageOf(b));
}

// True when a frame may be written before it is read, in whatever order.
bool isOverwritten(const std::vector<int>& from, const CpArguments& arguments) {
    if (from.empty())
        return false;
    // Where a hole is held, any frame before it may be read.
    const int last = *std::max_element(from.begin(), from.end());
    bool isRead = arguments.missing == Missing::Hold && arguments.first <= last;
    for (std::size_t i = 0; i < from.size(); ++i) {
        const long long step = static_cast<long long>(from[i]) - arguments.first;
        isRead = isRead || (step >= 0 && step < static_cast<long long>(from.size()) &&
                            step != static_cast<long long>(i));
    }
    return isRead;
}

// Below a folder, by the clip's own name.
Address placeOf(const Options& options, const Address& to, const LocatedClip& from) {
    if (!to.nodeId.empty())
        return to;
    Session session(options, to.host);
    FoundNode node{to, session.root()};
    node.address.components.clear();
    for (const std::string& component : to.components) {
        std::optional<FoundNode> below = findChild(session, node, component);
        if (!below)
            return to; // to be made
        node = std::move(*below);
    }
    return session.isClip(node.handle) ? to : to.child(from.session->name(from.handle));
}

bool isTree(const Options& options, const CpArguments& arguments) {
    if (!arguments.recursive)
        return false;
    const Address address = parseAddress(arguments.from, options.host);
    Session session(options, address.host);
    return !session.isClip(findNode(session, address));
}

void runCp(Context& context, const CpArguments& arguments) {
    const Options& options = context.options;
    if (isTree(options, arguments)) {
        refuseWithTrees(!arguments.selection.range.empty(), "-f");
        refuseWithTrees(arguments.first != 0, "--to");
        copyTree(context, arguments.from, arguments.to,
                 treeRules(arguments.rules, arguments.selection.startNumber, arguments.missing));
        return;
    }
    const int startNumber = arguments.selection.startNumber;
    const LocatedClip from =
        locateClip(options, parseAddress(arguments.from, options.host), startNumber);
    const Address toAddress = placeOf(options, parseAddress(arguments.to, options.host), from);
    const std::vector<int> fromIndices =
        arguments.selection.parsed().indices(startNumber, from.frameCount);
    std::vector<int> toIndices(fromIndices.size());
    std::iota(toIndices.begin(), toIndices.end(), arguments.first);

    Destination destination(context, toAddress, 0);
    destination.setIndices(toIndices);
    destination.setNew({from.format, 0, NewClip().type});
    if (!image::isSameKind(destination.format(), from.format)) {
        throw Failure(Status::Other, "'" + toAddress.text() + "' is " +
                                         image::describeFormat(destination.format()) + ", not " +
                                         image::describeFormat(from.format));
    }
    if (destination.existing() && isSameClip(from, *destination.existing()) &&
        isOverwritten(fromIndices, arguments)) {
        throw Failure(Status::Other, "frames of '" + toAddress.text() +
                                         "' would be replaced before they are copied: copy them "
                                         "to another clip first")
            .with("path", toAddress.path());
    }
    if (options.dryRun) {
        context.output.wouldDo({destination.wouldDo(
            "copy " + countText(fromIndices.size(), "frame") + " of " + from.address.text())});
        return;
    }
    destination.fill("cp", fromClip(from, fromIndices, arguments.missing), arguments.rules);
}

} // namespace

void addCpVerb(CLI::App& app, Context& context) {
    addVerb<CpArguments>(
        app, context,
        {"cp", "Copy frames or trees to another clip or folder, on the same server or another one",
         "lantrix cp farm:/Library/Reel/plate vault:/Archive/plate -f 0-99"},
        runCp, [](CLI::App& verb, CpArguments& cp) {
            verb.add_option("FROM", cp.from, "The clip to read; with -r any node")->required();
            verb.add_option("TO", cp.to, "The clip to write, or the folder to copy it to")
                ->required();
            verb.add_flag("-r,--recursive", cp.recursive,
                          "A folder with all below, metadata too: TO becomes the copy, or gets it "
                          "below itself when it ends in a slash");
            addFrameOptions(verb, cp.selection);
            verb.add_option("--to", cp.first,
                            "The frame of TO, counted from 0, that the first one becomes")
                ->check(CLI::Range(0, 1000000000, "0.."));
            addMissingOption(verb, cp.missing);
            addStoreOptions(verb, cp.rules);
        });
}

} // namespace tool
