// serve, demo: a development server of your own.
#include "devserver/DevDescriptorLimit.h"
#include "devserver/DevLogWriter.h"
#include "devserver/DevServer.h"
#include "devserver/DevText.h"
#include "tools/session/Interrupt.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/Demo.h"
#include "tools/verbs/Verbs.h"

#include <atomic>
#include <chrono>
#include <iostream>
#include <thread>

#include <unistd.h>

namespace tool {

namespace {

struct ServeArguments {
    DevServerOptions server;
    std::string protocol = "2.6";
    std::string sync = "descriptions";
    int idleSeconds = 0;
};

void setProtocol(DevServerOptions& server, const std::string& text) {
    const std::size_t dot = text.find('.');
    const auto major = devInteger<int>(text.substr(0, dot));
    const auto minor = devInteger<int>(dot == std::string::npos ? "" : text.substr(dot + 1));
    if (!major || !minor)
        throw Failure(Status::Usage, "'" + text + "' is not a protocol version such as 2.6");
    server.protocolMajor = *major;
    server.protocolMinor = *minor;
}

void runServe(Context& context, const ServeArguments& arguments) {
    DevServerOptions options = arguments.server;
    setProtocol(options, arguments.protocol);
    options.sync = devSyncNames().at(arguments.sync);
    options.idle = std::chrono::seconds(arguments.idleSeconds);
    options.verbose = context.options.verbose;
    std::atomic<bool> wasAskedToEnd{false};
    devRaiseDescriptorLimit();
    options.log = DevLogWriter(STDERR_FILENO, "");
    options.shutdownRequested = [&] { wasAskedToEnd.store(true); };
    DevServer server(options);
    std::cout << "Serving " << options.root << " on " << options.listen << ", ports "
              << DevServer::commandPort << " and " << DevServer::framePort << "; Ctrl-C ends."
              << std::endl;
    while (!wasInterrupted() && !wasAskedToEnd.load())
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

} // namespace

void addDevelopmentVerbs(CLI::App& app, Context& context) {
    addVerb<ServeArguments>(
        app, context,
        {"serve", "Run the development server in the foreground",
         "lantrix serve --root /tmp/media --clip /Library/Reel/plate=1920x1080x24@25"},
        runServe, [](CLI::App& verb, ServeArguments& serve) {
            verb.add_option("--root", serve.server.root, "The directory that keeps the tree")
                ->required();
            verb.add_option("--listen", serve.server.listen, "The address to listen on");
            verb.add_flag("--allow-remote", serve.server.allowRemote,
                          "For an address that others reach: the protocol has no authentication");
            verb.add_option("--sync", serve.sync,
                            "What is on the disk before its reply is sent: nothing, all but "
                            "frames, or all")
                ->check(CLI::IsMember(devSyncNames()));
            verb.add_option("--idle", serve.idleSeconds,
                            "Close a connection on which nothing has moved for so many seconds; "
                            "0 never does")
                ->check(CLI::Range(0, 1000000, "0..1000000"));
            verb.add_option("--protocol", serve.protocol, "The protocol to speak");
            verb.add_option("--vendor", serve.server.vendor, "The vendor that it reports");
            verb.add_option("--product", serve.server.product, "The product that it reports");
            verb.add_option("--clip", serve.server.clips,
                            "PATH=WIDTHxHEIGHTxBITS[xCHANNELS][@RATE]");
        });

    addVerb<DemoArguments>(
        app, context,
        {"demo", "Show what the library does, on a server of its own", "lantrix demo"},
        [](Context& given, const DemoArguments& arguments) { runDemo(given.options, arguments); },
        [](CLI::App& verb, DemoArguments& demo) {
            verb.add_option("--count", demo.frames, "Frames of the sequence")
                ->check(CLI::Range(3, 1000, "3..1000"));
            verb.add_option("--width", demo.width, "Pixels per line")
                ->check(CLI::Range(32, 8192, "32..8192"));
            verb.add_option("--height", demo.height, "Lines per frame")
                ->check(CLI::Range(32, 8192, "32..8192"));
            verb.add_option("--files", demo.files, "A folder for the image files, which then stay");
        });
}

} // namespace tool
