// completion, and the hidden verb by which the shells complete remote paths.
#include "tools/session/HostAliases.h"
#include "tools/session/NodeSearch.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/ShellLine.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace tool {

namespace {

// ---- the scripts: each hands the line left of the cursor to the hidden verb, and what comes back
// to its shell, which adds the quotes; bash gets them added

constexpr const char* bashScript = R"script(# bash completion of lantrix
_lantrix() {
    local line=${COMP_LINE:0:COMP_POINT}
    mapfile -t COMPREPLY < <("$1" complete-line bash "$line" 2>/dev/null)
    if [[ ${COMPREPLY[0]} == *[/:=] ]]; then
        compopt -o nospace
    fi
}
complete -o default -F _lantrix lantrix
)script";

constexpr const char* zshScript = R"script(#compdef lantrix
# zsh completion of lantrix
_lantrix() {
    local -a candidates
    candidates=("${(@f)$(${(Q)words[1]} complete-line zsh "$LBUFFER" 2>/dev/null)}")
    candidates=(${candidates:#})
    if (( ! $#candidates )); then
        _files
        return
    fi
    compadd -- ${candidates:#*[/:=]}
    compadd -S '' -- ${(M)candidates:#*[/:=]}
}
if [[ $funcstack[1] == _lantrix ]]; then
    _lantrix "$@"
else
    compdef _lantrix lantrix
fi
)script";

constexpr const char* fishScript = R"script(# fish completion of lantrix
function __lantrix_candidates
    set -l line (commandline --cut-at-cursor --current-process | string collect)
    set -l found (lantrix complete-line fish "$line" 2>/dev/null)
    if test (count $found) -gt 0
        printf '%s\n' $found
    else
        __fish_complete_path (commandline --current-token --cut-at-cursor)
    end
end
complete --command lantrix --no-files --arguments '(__lantrix_candidates)'
)script";

void printScript(Context& /*context*/, const std::string& shell) {
    std::fputs(shell == "bash" ? bashScript : shell == "zsh" ? zshScript : fishScript, stdout);
}

// ---- the hidden verb

using Candidates = std::vector<std::string>;

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

// "farm:" for each alias of a host, and "farm" as the value of an option.
Candidates aliases(const std::string& end) {
    Candidates names;
    for (const auto& [name, host] : hostAliases())
        names.push_back(name + end);
    return names;
}

// Children of the folder that the word names up to its last slash. A single one that is not a clip
// ends in a slash, so that the next component can follow.
Candidates remotePaths(const Options& options, const std::string& word) {
    const std::string path = word.empty() || word.back() == ':' ? word + "/" : word;
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return aliases(":");
    if (path.front() != '/' && !looksLikeAddress(path))
        return {};
    const std::string folder = path.substr(0, slash + 1);
    const Address address = parseAddress(folder, options.host);
    Session session(withoutRetries(options), address.host);
    std::vector<FoundNode> matches;
    Candidates candidates;
    for (const FoundNode& child : childrenOf(session, {address, findNode(session, address)})) {
        if (startsWith(child.address.name(), path.substr(slash + 1))) {
            matches.push_back(child);
            candidates.push_back(folder + child.address.name());
        }
    }
    if (matches.size() == 1 && !session.isClip(matches[0].handle))
        candidates[0] += "/";
    return candidates;
}

Candidates streamsOf(const Options& options, const std::string& text) {
    const Address address = parseAddress(text, options.host);
    Session session(withoutRetries(options), address.host);
    return session.streamNames(findNode(session, address));
}

// The words of a checked option stand between braces in the name of its type.
Candidates choicesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t open = type.find('{');
    Candidates choices;
    if (open == std::string::npos)
        return choices;
    std::size_t start = open + 1;
    const std::size_t close = type.find('}', open);
    while (start < close) {
        const std::size_t end = std::min(type.find(',', start), close);
        choices.push_back(type.substr(start, end - start));
        start = end + 1;
    }
    return choices;
}

Candidates valuesOf(const CLI::Option& option) {
    return option.check_lname("host") ? aliases("") : choicesOf(option);
}

// Where the words before the one to complete lead to.
class CommandLine {
public:
    CommandLine(const CLI::App& app, Options options) : verb_(&app), options_(std::move(options)) {}

    void take(const std::string& word) {
        const std::size_t equals = word.find('=');
        if (valueOf_ != nullptr) {
            takeValue(word);
        } else if (startsWith(word, "-")) {
            valueOf_ = optionWithValue(word.substr(0, equals));
            if (valueOf_ != nullptr && equals != std::string::npos)
                takeValue(word.substr(equals + 1));
        } else if (const CLI::App* below = subcommand(word)) {
            verb_ = below;
        } else {
            positionals_.push_back(word);
        }
    }

    [[nodiscard]] Candidates complete(const std::string& word) const {
        Candidates all = valueOf_ != nullptr     ? valuesOf(*valueOf_)
                         : startsWith(word, "-") ? optionNamesAndValues(word)
                         : subcommands().empty() ? positionalValues(word)
                                                 : subcommands();
        all.erase(std::remove_if(all.begin(), all.end(),
                                 [&](const std::string& text) { return !startsWith(text, word); }),
                  all.end());
        return all;
    }

private:
    void takeValue(const std::string& value) {
        if (valueOf_->check_lname("host"))
            options_.host = value;
        valueOf_ = nullptr;
    }

    [[nodiscard]] const CLI::App* subcommand(const std::string& name) const {
        const auto found =
            verb_->get_subcommands([&](const CLI::App* app) { return app->get_name() == name; });
        return found.empty() ? nullptr : found.front();
    }

    // The verb's own options, and those of the levels above it.
    [[nodiscard]] const CLI::Option* optionWithValue(const std::string& name) const {
        for (const CLI::App* level = verb_; level != nullptr; level = level->get_parent()) {
            const CLI::Option* option = level->get_option_no_throw(name);
            if (option != nullptr)
                return option->get_items_expected_max() > 0 ? option : nullptr;
        }
        return nullptr;
    }

    [[nodiscard]] Candidates subcommands() const {
        Candidates names;
        for (const CLI::App* verb : verb_->get_subcommands([](const CLI::App* app) {
                 return !app->get_group().empty(); // a hidden one has no group
             }))
            names.push_back(verb->get_name());
        return names;
    }

    [[nodiscard]] Candidates optionNames() const {
        Candidates names;
        for (const CLI::App* level = verb_; level != nullptr; level = level->get_parent()) {
            for (const CLI::Option* option : level->get_options())
                for (const std::string& name : option->get_lnames())
                    names.push_back("--" + name);
        }
        std::sort(names.begin(), names.end()); // each level has its own --help
        names.erase(std::unique(names.begin(), names.end()), names.end());
        return names;
    }

    // "--progress=b" is the name and the value in one word.
    [[nodiscard]] Candidates optionNamesAndValues(const std::string& word) const {
        const std::string name = word.substr(0, word.find('='));
        const CLI::Option* option = name == word ? nullptr : optionWithValue(name);
        if (option == nullptr)
            return optionNames();
        Candidates values = valuesOf(*option);
        for (std::string& value : values)
            value.insert(0, name + "=");
        return values;
    }

    [[nodiscard]] Candidates positionalValues(const std::string& word) const {
        const auto options =
            verb_->get_options([](const CLI::Option* option) { return option->get_positional(); });
        if (options.empty())
            return {};
        const CLI::Option& option = *options[std::min(positionals_.size(), options.size() - 1)];
        if (option.get_name() == "STREAM" && !positionals_.empty())
            return streamsOf(options_, positionals_.back());
        if (verb_->get_name() == "sync" && word.find(':') == std::string::npos)
            return aliases(":"); // or a local folder
        Candidates choices = choicesOf(option);
        return choices.empty() ? remotePaths(options_, word) : choices;
    }

    const CLI::App* verb_;
    Options options_;
    const CLI::Option* valueOf_ = nullptr; // the option whose value comes next
    std::vector<std::string> positionals_;
};

extern "C" {
static void endQuietly(int /*signal*/) {
    std::_Exit(0);
}
}

struct LineToComplete {
    std::string shell;
    std::string text;
};

// An open quote would be closed behind a folder, unless there is a second thing that it may become.
void printForBash(const ShellLine& line, const Candidates& candidates) {
    for (const std::string& candidate : candidates)
        std::printf("%s\n", line.bashReplacement(candidate).c_str());
    if (line.isInQuotes() && candidates.size() == 1 && candidates[0].back() == '/')
        std::printf("%s.\n", line.bashReplacement(candidates[0]).c_str());
}

Candidates candidatesOf(const CLI::App& app, Options options, const ShellLine& line) {
    if (const std::string host = line.assigned("LANTRIX_HOST"); !host.empty())
        options.host = host;
    Candidates words = line.words();
    const std::string current = words.empty() ? "" : words.back();
    if (!words.empty())
        words.pop_back();
    CommandLine command(app, options);
    for (const std::string& word : words)
        command.take(word);
    return command.complete(current);
}

// A person waits for the next character: after a second there is nothing to offer. Resolving a
// name and connecting can't be stopped, but the process can.
void completeLine(const CLI::App& app, const Options& options, const LineToComplete& arguments) {
    std::signal(SIGALRM, endQuietly);
    ::alarm(1);
    try {
        const ShellLine line(arguments.text);
        const Candidates candidates = candidatesOf(app, options, line);
        if (arguments.shell == "bash") {
            printForBash(line, candidates);
            return;
        }
        for (const std::string& candidate : candidates)
            std::printf("%s\n", candidate.c_str());
    } catch (const Failure&) {
        return; // the failure shows when the command is run
    }
}

} // namespace

void addCompletionVerbs(CLI::App& app, Context& context) {
    addVerb<std::string>(app, context,
                         {"completion",
                          "Print the script that completes lantrix's arguments in a shell",
                          "eval \"$(lantrix completion bash)\""},
                         printScript, [](CLI::App& verb, std::string& shell) {
                             verb.add_option("SHELL", shell, "bash, zsh or fish")
                                 ->required()
                                 ->check(CLI::IsMember({"bash", "zsh", "fish"}));
                         });

    addVerb<LineToComplete>(
        app, context,
        {"complete-line", "Print completions of the last word; for completion scripts",
         "lantrix complete-line bash 'lantrix ls /Lib'", /*isHidden=*/true},
        [&app](Context& given, const LineToComplete& line) {
            completeLine(app, given.options, line);
        },
        [](CLI::App& verb, LineToComplete& line) {
            verb.add_option("SHELL", line.shell, "The shell that asks")->required();
            verb.add_option("LINE", line.text, "The line left of the cursor")->required();
        });
}

} // namespace tool
