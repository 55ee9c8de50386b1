// lantrix-mount: the command-line tool with the verb mount, which lantrix leaves to it.
#include "mount/Mount.h"
#include "tools/Application.h"
#include "tools/session/Interrupt.h"
#include "tools/session/NodeSearch.h"
#include "tools/verbs/Background.h"
#include "tools/verbs/Context.h"
#include "tools/verbs/StatFields.h"

#include <filesystem>
#include <optional>

namespace tool {

namespace {

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::duration<double>(seconds));
}

mounted::MountOptions mountOptions(Session& session, const Address& address,
                                   const MountVerbArguments& arguments) {
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

void runMount(Context& context, const MountVerbArguments& given) {
    MountVerbArguments arguments = given;
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

} // namespace

} // namespace tool

int main(int argc, char** argv) {
    return tool::runApplication(argc, argv, {nullptr, tool::runMount});
}
