// lantrixd: the development server as a program.
#include "devserver/DevServer.h"

#include "devserver/DevText.h"

#include <CLI/CLI.hpp>
#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>

#include <csignal>
#include <iostream>
#include <map>

namespace {

constexpr char description[] =
    "lantrixd serves a tree of nodes and clips from a directory, for development and tests.\n"
    "Commands are taken on port 7549, frames on port 7550. The protocol has no authentication:\n"
    "whoever reaches the address can read and change everything, and link clips to any file\n"
    "that the server's user can read.";

void setProtocol(const std::string& text, DevServerOptions& options) {
    const std::vector<std::string> numbers = devSplit(text, '.');
    const auto major = devInteger<int>(numbers.front());
    const auto minor = devInteger<int>(numbers.back());
    if (numbers.size() != 2 || !major || !minor || *major < 2 || *minor < 0)
        throw CLI::ValidationError("--protocol", "'" + text + "' is not MAJOR.MINOR, from 2.0 on");
    options.protocolMajor = *major;
    options.protocolMinor = *minor;
}

void addOptions(CLI::App& program, DevServerOptions& options) {
    program.set_version_flag("--version", "lantrixd " LANTRIX_VERSION);
    program
        .add_option("--root", options.root, "The directory that keeps the tree; made when missing")
        ->required()
        ->type_name("DIR");
    program
        .add_option("--listen", options.listen,
                    "Numeric address to listen on. The protocol has no authentication: for "
                    "an address that is not loopback pass --allow-remote too")
        ->type_name("ADDRESS")
        ->capture_default_str();
    program.add_flag("--allow-remote", options.allowRemote,
                     "Allow an address that other machines can reach");
    const std::map<std::string, DevSync> syncs{
        {"none", DevSync::None}, {"descriptions", DevSync::Descriptions}, {"all", DevSync::All}};
    program
        .add_option_function<std::string>(
            "--sync", [&options, syncs](const std::string& text) { options.sync = syncs.at(text); },
            "What is on the disk before its reply is sent, and so outlasts a loss of power: "
            "nothing, all but frames, or all")
        ->type_name("none|descriptions|all")
        ->default_str("descriptions")
        ->check(CLI::IsMember(syncs).description(""));
    program
        .add_option_function<std::string>(
            "--protocol", [&options](const std::string& text) { setProtocol(text, options); },
            "The protocol to speak; 2.4 and 2.5 answer as older servers do")
        ->type_name("MAJOR.MINOR")
        ->default_str("2.6");
    program.add_option("--vendor", options.vendor, "What the plug-in vendor query answers")
        ->type_name("TEXT")
        ->capture_default_str();
    program.add_option("--product", options.product, "What the plug-in product query answers")
        ->type_name("TEXT")
        ->capture_default_str();
    program
        .add_option("--clip", options.clips,
                    "A clip to make unless it is there, with the nodes above it; may be repeated")
        ->type_name("PATH=WxHxBITS[xCHANNELS][@RATE]")
        ->allow_extra_args(false);
    program.add_flag("--verbose", options.verbose, "Log each connection and request");
}

// Serves until a signal arrives or a client asks for the end.
void serve(DevServerOptions options) {
    asio::io_context context;
    asio::signal_set signals(context, SIGINT, SIGTERM);
    signals.async_wait([](const std::error_code&, int) {});
    options.log = [](const std::string& line) { std::cerr << "lantrixd: " << line << std::endl; };
    options.shutdownRequested = [&context] { context.stop(); };
    DevServer server(options);
    std::cout << "lantrixd is ready on " << options.listen << ", ports " << DevServer::commandPort
              << " and " << DevServer::framePort << ", with " << options.root << std::endl;
    context.run();
    server.stop();
}

} // namespace

int main(int argc, char** argv) {
    // A reader of the log that is gone, or a limit of file sizes, is an error and not the end.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    DevServerOptions options;
    CLI::App program(description, "lantrixd");
    addOptions(program, options);
    CLI11_PARSE(program, argc, argv);
    try {
        serve(std::move(options));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "lantrixd: " << error.what() << std::endl;
        return 1;
    }
}
