// ping, info, doctor, call, translate: a server as a whole.
#include "base/loggerBase/src/CoException.h"
#include "base/tcp/src/CoIoTcpDescriptor.h"
#include "lantrix/LantrixBaseInterface.h"
#include "tools/report/Json.h"
#include "tools/session/Address.h"
#include "tools/session/HostAliases.h"
#include "tools/session/Session.h"
#include "tools/session/TraceRelay.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/Verbs.h"

#include <chrono>
#include <netdb.h>
#include <optional>

namespace tool {

namespace {

struct HostArguments {
    std::string host;
};

// "HOST", "HOST:" or an address of which only the host counts.
std::string hostOf(const std::string& text, const Options& options) {
    if (text.empty())
        return options.host;
    const bool isAddress = text.find(':') != std::string::npos || text.front() == '/';
    return isAddress ? parseAddress(text, options.host).host : text;
}

std::string versionText(int major, int minor) {
    return std::to_string(major) + "." + std::to_string(minor);
}

// ---- ping

void runPing(Context& context, const HostArguments& arguments) {
    Session session(withoutRetries(browsingOptions(context.options)),
                    hostOf(arguments.host, context.options));
    session.call("ping", [&] { return session.server().ping(); }); // connects, too
    const auto start = std::chrono::steady_clock::now();
    session.call("ping", [&] { return session.server().ping(); });
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    context.output.record({{"host", session.host()}, {"milliseconds", time.count()}});
}

// ---- info

Json serverFields(Session& session) {
    LantrixStr vendor;
    LantrixStr product;
    LantrixStr storage;
    int major = 0;
    int minor = 0;
    int protocolMajor = 0;
    int protocolMinor = 0;
    LantrixServerHandle& server = session.server();
    session.call("ask the vendor", [&] { return server.getVendor(vendor); });
    session.call("ask the product", [&] { return server.getProduct(product); });
    session.call("ask the version", [&] { return server.getVersion(major, minor); });
    session.call("ask the protocol version",
                 [&] { return server.getProtocolVersion(protocolMajor, protocolMinor); });
    session.call("ask the storage id", [&] { return server.getStorageId(storage); });
    return {{"host", session.host()},
            {"vendor", vendor.c_str()},
            {"product", product.c_str()},
            {"version", versionText(major, minor)},
            {"protocol", versionText(protocolMajor, protocolMinor)},
            {"storageId", storage.c_str()}};
}

void runInfo(Context& context, const HostArguments& arguments) {
    Session session(browsingOptions(context.options), hostOf(arguments.host, context.options));
    context.output.record(serverFields(session));
}

// ---- doctor

struct Finding {
    std::string check;
    std::optional<Failure> failure;
    std::string detail;
    std::string advice; // of a failure
};

class Doctor {
public:
    Doctor(Context& context, std::string host) : context_(context), host_(std::move(host)) {}

    void run() {
        resolve() && connect(Port::Commands) && connect(Port::Frames) && askVersions() &&
            moveByte();
    }
    [[nodiscard]] const std::vector<Finding>& findings() const { return findings_; }

private:
    bool good(const std::string& check, const std::string& detail) {
        findings_.push_back({check, std::nullopt, detail, ""});
        return true;
    }
    bool bad(const std::string& check, const Failure& failure, const std::string& advice) {
        findings_.push_back({check, failure, failure.what(), advice});
        return false;
    }

    bool resolve() {
        addrinfo hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* list = nullptr;
        const int error = ::getaddrinfo(aliasedHost(host_).c_str(), nullptr, &hints, &list);
        if (error != 0) {
            return bad("name", {Status::NoConnection, ::gai_strerror(error)},
                       "Check the spelling of '" + host_ +
                           "', LANTRIX_HOST and this machine's name service; an IPv4 address "
                           "needs none.");
        }
        char text[64] = "";
        ::getnameinfo(list->ai_addr, list->ai_addrlen, text, sizeof text, nullptr, 0,
                      NI_NUMERICHOST);
        ::freeaddrinfo(list);
        return good("name", host_ + " is " + text);
    }

    bool connect(Port port) {
        const std::string number = std::to_string(static_cast<int>(port));
        const std::string check = port == Port::Commands ? "command port" : "frame port";
        const CoIoTcpDescriptor connection(aliasedHost(host_).c_str(), static_cast<int>(port), 0, 0,
                                           10);
        const std::string error = connection.lastError();
        if (error.empty())
            return good(check, number + " accepts connections");
        const bool isRefused = error.find("Timed out") == std::string::npos;
        return bad(check, {Status::NoConnection, error},
                   isRefused ? "The host answers, but nothing listens on port " + number +
                                   ": start the server there, on this address."
                             : "The host does not answer: check that it is up, and that no "
                               "firewall blocks port " +
                                   number + ".");
    }

    bool askVersions() {
        try {
            Session session(withoutRetries(browsingOptions(context_.options)), host_);
            const Json fields = serverFields(session);
            const int protocol = session.protocol();
            good("server", fields["vendor"].get<std::string>() + " " +
                               fields["product"].get<std::string>() + " " +
                               fields["version"].get<std::string>());
            return good("protocol", fields["protocol"].get<std::string>() +
                                        (protocol >= 206   ? ""
                                         : protocol >= 205 ? ": too old to link clips"
                                                           : ": too old to link clips, and to "
                                                             "set metadata"));
        } catch (const Failure& failure) {
            return bad(
                "server", failure,
                "Something listens there, but does not answer like a media server: is it one?");
        }
    }

    // The status of a read that must be refused is bytes enough to show that frames get through.
    bool moveByte() {
        Session session(withoutRetries(browsingOptions(context_.options)), host_);
        char byte = 0;
        try {
            session.call(
                "read a frame",
                [&] { return session.server().readFrame("lantrix-doctor", &byte, 1); },
                Port::Frames);
        } catch (const Failure& failure) {
            if (failure.status() != Status::Refused)
                return bad("frames", failure,
                           "The frame port takes connections and gives no answer: is it the "
                           "server's?");
        }
        return good("frames", "the frame port answers");
    }

    Context& context_;
    std::string host_;
    std::vector<Finding> findings_;
};

void runDoctor(Context& context, const HostArguments& arguments) {
    const std::string host = hostOf(arguments.host, context.options);
    Doctor doctor(context, host);
    doctor.run();
    std::vector<Json> rows;
    for (const Finding& finding : doctor.findings())
        rows.push_back({{"check", finding.check},
                        {"ok", !finding.failure},
                        {"detail", finding.detail},
                        {"advice", finding.advice}});
    context.output.table("checks", rows);
    if (const Finding& last = doctor.findings().back(); last.failure)
        throw Failure(last.failure->status(), host + " has a problem: " + last.detail)
            .with("host", host)
            .with("advice", last.advice);
}

// ---- call

struct CallArguments {
    std::string method;
    std::vector<std::string> words;
};

void runCall(Context& context, const CallArguments& arguments) {
    const Options& options = context.options;
    std::string text;
    for (const std::string& word : arguments.words)
        text += (text.empty() ? "" : " ") + word;
    if (options.dryRun) {
        context.output.wouldDo({"send " + arguments.method + " " + text});
        return;
    }
    const std::unique_ptr<TraceRelay> relay = TraceRelay::of(options, options.host);
    LantrixClientConnection connection(
        (relay ? relay->address() : aliasedHost(options.host)).c_str(),
        static_cast<int>(Port::Commands));
    CallWatch watch([&] { connection.stop(); }, options.timeout, AtInterrupt::End);
    std::string reply;
    try {
        watch.startLimit();
        watch.begin();
        connection.callMethod(arguments.method.c_str(), text, true, reply);
        watch.end();
    } catch (const CoException& error) {
        watch.end();
        throw watch.failure(options.host, Port::Commands, "call " + arguments.method, error.what());
    }
    context.output.text(reply + "\n", {{"method", arguments.method}, {"reply", reply}});
}

// ---- translate

struct TranslateArguments {
    std::vector<std::string> paths;
    std::string fromHost;
    std::string toHost;
    std::string fromOs = "Unknown";
    std::string toOs = "Unknown";
};

void runTranslate(Context& context, const TranslateArguments& arguments) {
    const Options& options = context.options;
    std::vector<LantrixStr> from;
    for (const std::string& path : arguments.paths) {
        if (path.find_first_of("\",") != std::string::npos)
            throw Failure(Status::Usage, "'" + path +
                                             "' can't be sent: it holds a double quote "
                                             "or a comma");
        from.emplace_back(path.c_str());
    }
    std::vector<LantrixStr> to(from.size());
    Session session(browsingOptions(options), options.host);
    const std::string fromHost = arguments.fromHost.empty() ? options.host : arguments.fromHost;
    const std::string toHost = arguments.toHost.empty() ? options.host : arguments.toHost;
    session.call("translate paths", [&] {
        return session.server().translatePaths(
            from.data(), to.data(), static_cast<int>(from.size()), fromHost.c_str(), toHost.c_str(),
            LantrixOS::strToOsType(arguments.fromOs.c_str()),
            LantrixOS::strToOsType(arguments.toOs.c_str()));
    });
    std::vector<Json> rows;
    for (std::size_t i = 0; i < from.size(); ++i)
        rows.push_back({{"from", from[i].c_str()}, {"to", to[i].c_str()}});
    context.output.table("paths", rows);
}

// ---- on the command line

void addPing(CLI::App& app, Context& context) {
    addVerb<HostArguments>(app, context, {"ping", "Measure one round trip", "lantrix ping farm"},
                           runPing, [](CLI::App& verb, HostArguments& ping) {
                               verb.add_option("HOST", ping.host, "The server");
                           });
}

void addInfo(CLI::App& app, Context& context) {
    addVerb<HostArguments>(
        app, context,
        {"info", "Show what the server reports about itself", "lantrix info farm --json"}, runInfo,
        [](CLI::App& verb, HostArguments& info) {
            verb.add_option("HOST", info.host, "The server");
        });
}

void addDoctor(CLI::App& app, Context& context) {
    addVerb<HostArguments>(app, context,
                           {"doctor",
                            "Find out why a server can't be reached, and what to do about it",
                            "lantrix doctor farm"},
                           runDoctor, [](CLI::App& verb, HostArguments& doctor) {
                               verb.add_option("HOST", doctor.host, "The server");
                           });
}

void addCall(CLI::App& app, Context& context) {
    addVerb<CallArguments>(
        app, context,
        {"call", "Send one command as it is and print its reply",
         "lantrix call --host farm GetChildren 0"},
        runCall, [](CLI::App& verb, CallArguments& call) {
            verb.add_option("METHOD", call.method, "The method's name")->required();
            verb.add_option("ARGUMENTS", call.words, "The arguments; they are joined by blanks");
        });
}

void addTranslate(CLI::App& app, Context& context) {
    addVerb<TranslateArguments>(
        app, context,
        {"translate", "Translate file paths from one host's view to another's",
         "lantrix translate /media/plate.0001.dpx --to-os WindowsNT"},
        runTranslate, [](CLI::App& verb, TranslateArguments& translate) {
            verb.add_option("PATH", translate.paths, "The paths")->required();
            verb.add_option("--from", translate.fromHost,
                            "The host that they are from; the server");
            verb.add_option("--to", translate.toHost, "The host that they are for; the server");
            const auto systems = CLI::IsMember({"Unknown", "Irix", "Linux", "WindowsNT", "MacOSX"},
                                               CLI::ignore_case);
            verb.add_option("--from-os", translate.fromOs, "Its operating system")->check(systems);
            verb.add_option("--to-os", translate.toOs, "Its operating system")->check(systems);
        });
}

} // namespace

void addServerVerbs(CLI::App& app, Context& context) {
    addPing(app, context);
    addInfo(app, context);
    addDoctor(app, context);
    addCall(app, context);
    addTranslate(app, context);
}

} // namespace tool
