#include "tools/web/ServeWeb.h"

#include "tools/report/Json.h"
#include "tools/session/Interrupt.h"
#include "tools/session/NodeSearch.h"
#include "tools/verbs/Context.h"
#include "tools/web/WebServer.h"

#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __APPLE__
extern char** environ; // which other systems declare
#endif

namespace tool {

namespace {

struct Endpoint {
    std::string address;
    int port = 0;
};

// "ADDRESS" or "ADDRESS:PORT".
Endpoint parseEndpoint(const std::string& text) {
    constexpr int mostPort = 65535;
    const std::size_t colon = text.find(':');
    Endpoint endpoint{text.substr(0, colon)};
    in_addr number{};
    if (::inet_pton(AF_INET, endpoint.address.c_str(), &number) != 1)
        throw Failure(Status::Usage, "'" + text +
                                         "' is not a numeric address, with or without "
                                         "\":\" and a port behind it");
    if (colon == std::string::npos)
        return endpoint;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, endpoint.port);
    if (error != std::errc() || stop != end || endpoint.port < 0 || endpoint.port > mostPort)
        throw Failure(Status::Usage, "'" + text.substr(colon + 1) + "' is not a port");
    return endpoint;
}

void checkEndpoint(const Endpoint& endpoint, bool allowRemote) {
    const bool isLoopback = endpoint.address.rfind("127.", 0) == 0;
    if (!isLoopback && !allowRemote)
        throw Failure(Status::Usage, "'" + endpoint.address +
                                         "' can be reached from other machines, and whoever has "
                                         "the page's address may look at everything: pass "
                                         "--allow-remote to allow it");
}

// The program that shows an address to the person who sits here.
class Browser {
public:
    explicit Browser(const Context& context) : context_(context) {}

    // In a group of its own, which Ctrl-C does not end.
    void open(const std::string& address) {
        posix_spawn_file_actions_t files{};
        posix_spawnattr_t attributes{};
        ::posix_spawn_file_actions_init(&files);
        for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::posix_spawn_file_actions_addopen(&files, standard, "/dev/null", O_RDWR, 0);
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        std::string program = name;
        std::string word = address;
        const std::array<char*, 3> words{program.data(), word.data(), nullptr};
        const int error =
            ::posix_spawnp(&process_, name, &files, &attributes, words.data(), environ);
        ::posix_spawnattr_destroy(&attributes);
        ::posix_spawn_file_actions_destroy(&files);
        if (error != 0) {
            process_ = -1;
            warn();
        }
    }
    // Hears of its end, some time.
    void look() {
        int status = 0;
        if (process_ <= 0 || ::waitpid(process_, &status, WNOHANG) != process_)
            return;
        process_ = -1;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            warn();
    }

private:
#ifdef __APPLE__
    static constexpr const char* name = "open";
#else
    static constexpr const char* name = "xdg-open";
#endif

    void warn() const {
        context_.output.note(std::string("'") + name +
                             "' could not show the page; open its address yourself");
    }

    const Context& context_;
    pid_t process_ = -1;
};

WebOptions webOptions(Session& session, const Address& address, const Endpoint& endpoint,
                      const WebVerbArguments& arguments) {
    constexpr std::chrono::milliseconds firstPause(50); // somebody looks on
    WebOptions web;
    web.listen = endpoint.address;
    web.port = endpoint.port;
    web.target = session.target();
    web.pool = session.poolOptions();
    web.pool.first = nullptr; // which stays this thread's
    web.pool.retries.firstPause = firstPause;
    web.memory = static_cast<std::uint64_t>(arguments.memoryMiB) << 20;
    web.place = {address.host, address.path(), findNode(session, address).getNodeId().id()};
    return web;
}

} // namespace

void serveWeb(Context& context, const WebVerbArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    const Endpoint endpoint = parseEndpoint(arguments.listen);
    checkEndpoint(endpoint, arguments.allowRemote);
    if (context.options.dryRun) {
        context.output.wouldDo({"serve a page of " + address.text() + " on " + arguments.listen});
        return;
    }
    Session session(browsingOptions(context.options), address.host);
    const WebServer server(webOptions(session, address, endpoint, arguments));
    context.output.text(server.address() + "\n", {{"address", server.address()}});
    Output::finish();
    context.output.note("Ctrl-C ends it");
    Browser browser(context);
    if (arguments.open)
        browser.open(server.address());
    while (!wasInterrupted()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        browser.look();
    }
}

} // namespace tool
