// lantrixd: the development server as a program.
#include "devserver/DevServer.h"

#include "devserver/DevCheck.h"
#include "devserver/DevDescriptorLimit.h"
#include "devserver/DevLogWriter.h"
#include "devserver/DevText.h"

#include <CLI/CLI.hpp>
#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>

#include <csignal>
#include <iostream>

#include <sys/time.h>
#include <unistd.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

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

enum class Mode { Serve, Check, Repair };

void addTreeOptions(CLI::App& program, DevServerOptions& options, Mode& mode) {
    const auto syncs = devSyncNames();
    program
        .add_option("--root", options.root, "The directory that keeps the tree; made when missing")
        ->required()
        ->type_name("DIR");
    program
        .add_option("--clip", options.clips,
                    "A clip to make unless it is there, with the nodes above it; may be repeated")
        ->type_name("PATH=WxHxBITS[xCHANNELS][@RATE]")
        ->allow_extra_args(false);
    program
        .add_option_function<std::string>(
            "--sync", [&options, syncs](const std::string& text) { options.sync = syncs.at(text); },
            "What is on the disk before its reply is sent, and so outlasts a loss of power: "
            "nothing, all but frames, or all")
        ->type_name("none|descriptions|all")
        ->default_str("descriptions")
        ->check(CLI::IsMember(syncs).description(""));
    program.add_flag_callback(
        "--check", [&mode] { mode = Mode::Check; },
        "Report what is wrong in the directory, change nothing, and end");
    program.add_flag_callback(
        "--repair", [&mode] { mode = Mode::Repair; },
        "Repair what is wrong in the directory as far as possible, report what was done, and end");
}

void addConnectionOptions(CLI::App& program, DevServerOptions& options) {
    program
        .add_option("--listen", options.listen,
                    "Numeric address to listen on. The protocol has no authentication: for an "
                    "address that is not loopback pass --allow-remote too")
        ->type_name("ADDRESS")
        ->capture_default_str();
    program.add_flag("--allow-remote", options.allowRemote,
                     "Allow an address that other machines can reach");
    program
        .add_option_function<int>(
            "--idle", [&options](int seconds) { options.idle = std::chrono::seconds(seconds); },
            "Close a connection on which nothing has moved for so long; 0 never does")
        ->type_name("SECONDS")
        ->default_str("0")
        ->check(CLI::Range(0, 1000000).description(""));
}

void addAnswerOptions(CLI::App& program, DevServerOptions& options) {
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
}

// True when nothing is wrong, or nothing any more.
bool check(const std::string& root, Mode mode) {
    const DevTell tell = [](const std::string& line) { std::cout << line << std::endl; };
    const std::size_t findings = mode == Mode::Check ? devCheck(root, tell) : devRepair(root, tell);
    std::cout << (findings == 0
                      ? "Nothing is wrong."
                      : std::to_string(findings) + (findings == 1 ? " finding." : " findings."))
              << std::endl;
    return findings == 0;
}

// What was acknowledged is kept at any moment, so that no state is worth waiting for.
void endNow(int) {
    ::_exit(0);
}

// What still runs when the time is up ends with the process.
void endWithinASecond() {
    std::signal(SIGALRM, endNow);
    const itimerval almost{{0, 0}, {0, 500000}};
    ::setitimer(ITIMER_REAL, &almost, nullptr);
}

// Serves until a signal arrives or a client asks for the end.
void serve(DevServerOptions options) {
    asio::io_context context;
    std::signal(SIGINT, endNow); // while it starts, and while nobody reads that it is ready
    std::signal(SIGTERM, endNow);
    options.log = DevLogWriter(STDERR_FILENO, "lantrixd: ");
    options.shutdownRequested = [&context] { context.stop(); };
    DevServer server(options);
    std::cout << "lantrixd is ready on " << options.listen << ", ports " << DevServer::commandPort
              << " and " << DevServer::framePort << ", with " << options.root << std::endl;
    asio::signal_set signals(context, SIGINT, SIGTERM);
    signals.async_wait([](const std::error_code&, int) {});
    context.run();
    endWithinASecond();
    server.stop();
}

int run(int argc, char** argv) {
    DevServerOptions options;
    CLI::App program(description, "lantrixd");
    Mode mode = Mode::Serve;
    program.set_version_flag("--version", "lantrixd " LANTRIX_VERSION);
    addTreeOptions(program, options, mode);
    addConnectionOptions(program, options);
    addAnswerOptions(program, options);
    program.add_flag("--verbose", options.verbose, "Log each connection and request");
    CLI11_PARSE(program, argc, argv);
    if (mode != Mode::Serve)
        return check(options.root, mode) ? 0 : 1;
    serve(std::move(options));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    // A reader of the log that is gone, or a limit of file sizes, is an error and not the end.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
#ifdef M_MMAP_THRESHOLD
    // Large requests and replies go back to the system once they are served.
    ::mallopt(M_MMAP_THRESHOLD, 1 << 18);
#endif
    try {
        devRaiseDescriptorLimit();
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "lantrixd: " << error.what() << std::endl;
        return 1;
    }
}
