// mount: a server's tree as a folder.
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/Verbs.h"

#ifdef LANTRIX_MOUNT
#include "mount/Mount.h"
#include "tools/session/Interrupt.h"
#include "tools/session/NodeSearch.h"
#include "tools/verbs/Background.h"
#include "tools/verbs/StatFields.h"

#include <filesystem>
#include <optional>
#endif

namespace tool {

namespace {

struct MountArguments {
    std::string address;
    std::string folder;
    std::string kind; // of image files
    int startNumber = 0;
    double cacheSeconds = 2;
    int memoryMiB = 512;
    bool isWritable = false;
    bool allowOthers = false;
    bool background = false;
};

#ifdef LANTRIX_MOUNT

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::duration<double>(seconds));
}

mounted::MountOptions mountOptions(Session& session, const Address& address,
                                   const MountArguments& arguments) {
    const LantrixNodeHandle node = findNode(session, address);
    mounted::MountOptions mount;
    mount.host = session.target();
    mount.nodeId = node.getNodeId().id();
    mount.name = address.name().empty() ? session.name(node) : address.name();
    mount.path = address.path();
    mount.source = address.text();
    mount.folder = arguments.folder;
    mount.pool = session.poolOptions();
    mount.pool.connections = static_cast<unsigned>(session.options().connections.value_or(4));
    mount.pool.first = nullptr; // the mount has several pools
    mount.timeLimit = mount.pool.timeLimit;
    mount.extension = arguments.kind.empty() ? "" : "." + arguments.kind;
    mount.startNumber = arguments.startNumber;
    mount.fresh = milliseconds(arguments.cacheSeconds);
    mount.memory = static_cast<std::uint64_t>(arguments.memoryMiB) << 20;
    mount.isWritable = arguments.isWritable;
    mount.allowOthers = arguments.allowOthers;
    mount.endFlag = &interruptFlag();
    mount.describe = [host = address.host](const lantrix::WalkedNode& clip,
                                           const std::string& path) {
        return Output::document(statFields(host, path, clip));
    };
    return mount;
}

void runMount(Context& context, const MountArguments& given) {
    MountArguments arguments = given;
    arguments.folder = std::filesystem::absolute(given.folder).lexically_normal();
    const Address address = parseAddress(arguments.address, context.options.host);
    if (context.options.dryRun) {
        context.output.wouldDo({"mount " + address.text() + " at '" + arguments.folder + "'"});
        return;
    }
    std::optional<Background> background;
    if (arguments.background)
        background.emplace();
    Session session(browsingOptions(context.options), address.host);
    mounted::MountOptions mount = mountOptions(session, address, arguments);
    mount.tell = [&](const std::string& line) { context.output.note(line); };
    mount.mounted = [&] {
        context.output.note("mounted " + address.text() + " at '" + arguments.folder +
                            "'; 'fusermount3 -u' there" +
                            (background ? " ends it" : ", or Ctrl-C here, ends it"));
        context.output.result({{"address", address.text()}, {"folder", arguments.folder}});
        Output::finish();
        if (background)
            background->ready();
    };
    try {
        mounted::serveMount(mount);
    } catch (const mounted::MountError& error) {
        throw Failure(Status::LocalFile, error.what());
    }
}

#else

void runMount(Context& /*context*/, const MountArguments& /*arguments*/) {
    throw Failure(Status::Other,
                  "this program was built without libfuse 3, by which 'mount' works");
}

#endif

} // namespace

void addMountVerb(CLI::App& app, Context& context) {
    addVerb<MountArguments>(
        app, context,
        {"mount", "Show a tree as a folder, in which clips are folders of image files",
         "lantrix mount farm:/Library /mnt/farm"},
        runMount, [](CLI::App& verb, MountArguments& mount) {
            verb.add_option("ADDRESS", mount.address, "The node that becomes the folder")
                ->required();
            verb.add_option("FOLDER", mount.folder, "The folder, which is there")->required();
            verb.add_option("--as", mount.kind,
                            "The kind of the image files of clips that it can hold exactly; "
                            "what suits each clip unless given")
                ->check(CLI::IsMember({"tif", "dpx", "exr", "raw"}));
            addStartNumberOption(verb, mount.startNumber);
            verb.add_option("--cache", mount.cacheSeconds,
                            "Seconds after which changes by others are seen at the latest")
                ->check(CLI::Range(0.0, 86400.0, "0..86400"));
            verb.add_option("--memory", mount.memoryMiB, "MiB of frames that are kept in memory")
                ->check(CLI::Range(1, 1 << 20, "1..1048576"));
            verb.add_flag("--write", mount.isWritable,
                          "Let programs replace and append frames, make folders, remove empty "
                          "ones and set metadata");
            verb.add_flag("--allow-other", mount.allowOthers,
                          "Other users of this machine may look into the folder, too");
            auto* background = verb.add_flag("--daemon", mount.background,
                                             "Go to the background once the folder is mounted");
            verb.add_flag("--foreground", "Stay until the end, as it is unless --daemon is given")
                ->excludes(background);
        });
}

} // namespace tool
