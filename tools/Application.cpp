#include "tools/Application.h"

#include "base/loggerBase/src/CoMsg.h"
#include "tools/report/NearestName.h"
#include "tools/report/PrintableText.h"
#include "tools/session/Interrupt.h"
#include "tools/session/PacketCapture.h"
#include "tools/transfer/ImageFailure.h"
#include "tools/verbs/Context.h"
#include "tools/verbs/Verbs.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace tool {

namespace {

constexpr const char* statusHelp =
    "Addresses:\n"
    "  [HOST:]/display/path or [HOST:]id=NODE; the last components may be shell patterns.\n"
    "  Without a host: --host, else LANTRIX_HOST, else 127.0.0.1.\n"
    "Frames:\n"
    "  5, 1-100, 1-100x2, 12-, joined by commas; they count from 0 or from --start-number.\n"
    "Exit status:\n"
    "  0 done, 1 other, 2 usage, 3 node not found, 4 frame, stream or file missing,\n"
    "  5 no connection, 6 refused by the server, 7 the server's protocol is too old,\n"
    "  8 image file or local disk, 9 verification differs or a rule fails, 130 interrupted";

// --capture and --capture-frames.
struct CaptureOptions {
    std::string file;
    bool frames = false;
};

void addGlobalOptions(CLI::App& app, Options& options, CaptureOptions& capture) {
    if (const char* host = std::getenv("LANTRIX_HOST"); host != nullptr && *host != '\0')
        options.host = host;
    const std::string group = "Options of all verbs";
    const auto flag = [&](const char* name, bool& value, const char* help) {
        app.add_flag(name, value, help)->group(group);
    };
    app.add_option("--host", options.host, "The server, where an address names none")->group(group);
    flag("--json", options.json, "Results and errors as JSON");
    flag("-q,--quiet", options.quiet, "Data and errors only");
    flag("-v,--verbose", options.verbose, "The library's log down to its debug messages");
    flag("--trace", options.trace, "Each request and reply with its time, on standard error");
    auto* file = app.add_option("--capture", capture.file,
                                "Write what travels to a file of packets, for Wireshark; of frames "
                                "the number of bytes")
                     ->group(group);
    app.add_flag("--capture-frames", capture.frames, "Write the bytes of frames there too")
        ->needs(file)
        ->group(group);
    flag("-n,--dry-run", options.dryRun, "Say what would be done");
    flag("-y,--yes", options.yes, "Answer questions with yes");
    app.add_option("--progress", options.progress, "auto, bar, json or none")
        ->check(CLI::IsMember({"auto", "bar", "json", "none"}))
        ->group(group);
    app.add_option("--color", options.color, "auto, always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->group(group);
    app.add_option("--timeout", options.timeout,
                   "Seconds after which a request is given up, 0: never; 60 unless given for verbs "
                   "that only ask. Connecting has its own 10")
        ->check(CLI::Range(0.0, 1e6, "0.."))
        ->group(group);
    app.add_option("--retries", options.retries,
                   "How often a request is repeated whose connection could not be made or broke")
        ->check(CLI::Range(0, 100, "0..100"))
        ->group(group);
    app.add_option("-j,--jobs", options.connections,
                   "Connections to a server at once; 8 for verbs that browse, 4 for those that "
                   "move frames, opened as they are needed")
        ->check(CLI::Range(1, 64, "1..64"))
        ->group(group);
}

void addVerbs(CLI::App& app, Context& context, const HelperVerbs& own) {
    addBrowseVerbs(app, context);
    addEditVerbs(app, context);
    addGetVerbs(app, context);
    addPutVerb(app, context);
    addCpVerb(app, context);
    addSyncVerb(app, context);
    addCompareVerbs(app, context);
    addLookVerbs(app, context);
    addMetadataVerbs(app, context);
    addMountVerb(app, context, own);
    addWebVerb(app, context, own);
    addServerVerbs(app, context);
    addConformVerb(app, context);
    addBenchVerb(app, context);
    addDevelopmentVerbs(app, context);
    addCompletionVerbs(app, context);
}

// The library's log goes to standard error.
class ErrorRouter : public CoMsg::Router {
public:
    void post(const CoMsg& message) const override {
        std::fprintf(stderr, "lantrix: %s: %s\n", CoMsg::levelToString(message.level()),
                     printableText(message.text()).c_str());
    }
};

void redirectLog(const Options& options) {
    static ErrorRouter router;
    CoMsg::router_ = &router;
    if (options.verbose)
        CoMsg::filterLevel_ = CoMsg::Debug;
    else if (options.quiet)
        CoMsg::filterLevel_ = CoMsg::Error;
}

int fail(const Context& context, const Failure& failure) {
    std::fflush(stdout);
    context.output.failure(failure);
    return static_cast<int>(failure.status());
}

void openCapture(const CaptureOptions& given, std::optional<PacketCapture>& capture,
                 Options& options) {
    if (given.file.empty())
        return;
    capture.emplace(given.file,
                    given.frames ? PacketCapture::Frames::Kept : PacketCapture::Frames::Counted);
    options.capture = &*capture;
}

// A capture that is not whole is a failure, unless there is a graver one.
int finishCapture(PacketCapture& capture, const Context& context, int status) {
    try {
        capture.finish();
        return status;
    } catch (const Failure& failure) {
        const int failed = fail(context, failure);
        return status == static_cast<int>(Status::Done) ? failed : status;
    }
}

// Asks for a near name among those of the verbs or options.
std::string didYouMean(const std::string& name, const std::vector<std::string>& names) {
    const std::string near = nearestName(name, names);
    return near.empty() ? "" : "; did you mean '" + near + "'?";
}

std::vector<std::string> verbNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* verb : app.get_subcommands({}))
        if (!verb->get_group().empty())
            names.push_back(verb->get_name());
    return names;
}

// Of the verbs that were given, and of all verbs.
std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options())
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    for (const CLI::App* verb : app.get_subcommands()) {
        const std::vector<std::string> below = optionNames(*verb);
        names.insert(names.end(), below.begin(), below.end());
    }
    return names;
}

// What is wrong with the verb that was given; "" when it is there, or none was given.
std::string unknownVerb(const CLI::App& app) {
    const std::vector<std::string> others = app.remaining(true);
    if (!app.get_subcommands().empty() || others.empty() || others[0][0] == '-')
        return "";
    return "there is no verb '" + others[0] + "'" + didYouMean(others[0], verbNames(app));
}

// What CLI11 says of a verb that is not there is only that one is missing, and of what it did not
// expect, that it is there, in no order.
std::string usageText(const CLI::App& app, const CLI::ParseError& error) {
    if (std::string unknown = unknownVerb(app); !unknown.empty())
        return unknown;
    const std::vector<std::string> others = app.remaining(true);
    if (others.empty() || error.get_exit_code() != static_cast<int>(CLI::ExitCodes::ExtrasError))
        return error.what();
    for (const std::string& other : others) {
        if (other.size() > 1 && other[0] == '-') {
            const std::string name = other.substr(0, other.find('='));
            return "there is no option '" + name + "'" + didYouMean(name, optionNames(app));
        }
    }
    std::string text = "not expected:";
    for (const std::string& other : others)
        text += " '" + other + "'";
    return text;
}

// The words behind the program's name. A "--" that no word with a dash follows says nothing, and
// CLI11 would take what is behind it for words of the level above the verb. "help VERB" is
// "VERB --help".
std::vector<std::string> wordsOf(int argc, char** argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    const auto mark = std::find(words.begin(), words.end(), "--");
    if (mark != words.end() && std::none_of(mark + 1, words.end(), [](const std::string& word) {
            return word.rfind('-', 0) == 0;
        }))
        words.erase(mark);
    // As find(1) spells it, which CLI11 would take for short options.
    if (std::find(words.begin(), words.end(), "find") != words.end())
        for (const std::string word : {"-name", "-print0"})
            std::replace(words.begin(), words.end(), word, "-" + word);
    if (!words.empty() && words[0] == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    return words;
}

// Prints the help or the version; a verb that is not there has no help.
int answer(const CLI::App& app, const Context& context, const CLI::Success& success) {
    try {
        if (const std::string unknown = unknownVerb(app); !unknown.empty())
            throw Failure(Status::Usage, unknown + " (see --help)");
        const int status = app.exit(success);
        std::cout.flush();
        Output::finish();
        return status;
    } catch (const Failure& failure) {
        return fail(context, failure);
    }
}

int parseAndRun(CLI::App& app, Context& context, std::vector<std::string> words) {
    try {
        std::reverse(words.begin(), words.end()); // as CLI11 takes them
        app.parse(std::move(words));
        Output::finish();
        return static_cast<int>(Status::Done);
    } catch (const CLI::Success& success) {
        return answer(app, context, success);
    } catch (const CLI::ParseError& error) {
        return fail(context, {Status::Usage, usageText(app, error) + " (see --help)"});
    } catch (const Failure& failure) {
        return fail(context, failure);
    } catch (const image::Error& error) {
        return fail(context, failureOf(error));
    } catch (const std::exception& error) {
        return fail(context, {Status::Other, error.what()});
    }
}

} // namespace

int runApplication(int argc, char** argv, const HelperVerbs& own) {
    Context context;
    context.words = argv;
    CLI::App app("Browse a media server's tree and move frames to and from it", "lantrix");
    app.set_version_flag("--version", "lantrix " LANTRIX_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(statusHelp);
    app.option_defaults()->always_capture_default();
    CaptureOptions captureOptions;
    std::optional<PacketCapture> capture;
    addGlobalOptions(app, context.options, captureOptions);
    addVerbs(app, context, own);
    app.parse_complete_callback([&] {
        catchInterrupts();
        redirectLog(context.options);
        openCapture(captureOptions, capture, context.options);
    });
    const int status = parseAndRun(app, context, wordsOf(argc, argv));
    return capture ? finishCapture(*capture, context, status) : status;
}

} // namespace tool
