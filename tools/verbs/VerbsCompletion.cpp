#include "tools/session/NodeSearch.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace tool {

namespace {

// ---- the scripts: each hands the words to the hidden verb, and what comes back to its shell

constexpr const char* bashScript = R"script(# bash completion of lantrix
_lantrix() {
    local line=${COMP_LINE:0:COMP_POINT} words current kept='' candidates candidate
    read -a words <<<"$line" # a backslash keeps a blank in its word
    [[ $line == *[!\\][[:blank:]] ]] && words+=("")
    mapfile -t candidates < <("$1" complete-words -- "${words[@]:1}" 2>/dev/null)
    # Only what follows the last break of words is replaced.
    current=${words[-1]}
    [[ $current == *[:=]* ]] && kept=${current%"${current##*[:=]}"}
    COMPREPLY=()
    for candidate in "${candidates[@]}"; do
        COMPREPLY+=("$(printf '%q' "${candidate#"$kept"}")")
    done
    if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == */ ]]; then
        compopt -o nospace
    fi
}
complete -o default -F _lantrix lantrix
)script";

constexpr const char* zshScript = R"script(#compdef lantrix
# zsh completion of lantrix
_lantrix() {
    local -a candidates
    candidates=("${(@f)$(${(Q)words[1]} complete-words -- "${(@Q)words[2,CURRENT]}" 2>/dev/null)}")
    candidates=(${candidates:#})
    if (( ! $#candidates )); then
        _files
        return
    fi
    compadd -- ${candidates:#*/}
    compadd -S '' -- ${(M)candidates:#*/}
}
if [[ $funcstack[1] == _lantrix ]]; then
    _lantrix "$@"
else
    compdef _lantrix lantrix
fi
)script";

constexpr const char* fishScript = R"script(# fish completion of lantrix
function __lantrix_candidates
    set -l words (commandline --tokenize --cut-at-cursor --current-process)
    set -l current (commandline --current-token --cut-at-cursor)
    set -l found (lantrix complete-words -- $words[2..] "$current" 2>/dev/null)
    if test (count $found) -gt 0
        printf '%s\n' $found
    else
        __fish_complete_path "$current"
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

// Children of the folder that the word names up to its last slash. A single one that is no clip
// ends in a slash, so that the next component can follow.
Candidates remotePaths(const Options& options, const std::string& word) {
    const std::string path = word.empty() || word.back() == ':' ? word + "/" : word;
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || (path.front() != '/' && !looksLikeAddress(path)))
        return {};
    const std::string folder = path.substr(0, slash + 1);
    const Address address = parseAddress(folder, options.host);
    Session session(options, address.host);
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

// Where the words before the one to complete lead to.
class CommandLine {
public:
    CommandLine(const CLI::App& app, const Options& options) : verb_(&app), options_(options) {}

    void take(const std::string& word) {
        if (valueOf_ != nullptr) {
            if (valueOf_->check_lname("host"))
                options_.host = word;
            valueOf_ = nullptr;
        } else if (startsWith(word, "-")) {
            valueOf_ = optionWithValue(word);
        } else if (const CLI::App* below = subcommand(word)) {
            verb_ = below;
        } else {
            ++positionals_;
        }
    }

    [[nodiscard]] Candidates complete(const std::string& word) const {
        Candidates all = valueOf_ != nullptr     ? choicesOf(*valueOf_)
                         : startsWith(word, "-") ? optionNames()
                         : subcommands().empty() ? positionalValues(word)
                                                 : subcommands();
        all.erase(std::remove_if(all.begin(), all.end(),
                                 [&](const std::string& text) { return !startsWith(text, word); }),
                  all.end());
        return all;
    }

private:
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
             })) {
            names.push_back(verb->get_name());
        }
        return names;
    }

    [[nodiscard]] Candidates optionNames() const {
        Candidates names;
        for (const CLI::App* level = verb_; level != nullptr; level = level->get_parent()) {
            for (const CLI::Option* option : level->get_options()) {
                for (const std::string& name : option->get_lnames())
                    names.push_back("--" + name);
            }
        }
        std::sort(names.begin(), names.end()); // each level has its own --help
        names.erase(std::unique(names.begin(), names.end()), names.end());
        return names;
    }

    [[nodiscard]] Candidates positionalValues(const std::string& word) const {
        const auto options =
            verb_->get_options([](const CLI::Option* option) { return option->get_positional(); });
        if (options.empty())
            return {};
        const CLI::Option& option = *options[std::min(positionals_, options.size() - 1)];
        Candidates choices = choicesOf(option);
        return choices.empty() ? remotePaths(options_, word) : choices;
    }

    const CLI::App* verb_;
    Options options_;
    const CLI::Option* valueOf_ = nullptr; // the option whose value comes next
    std::size_t positionals_ = 0;
};

extern "C" {
static void endQuietly(int /*signal*/) {
    std::_Exit(0);
}
}

// A person waits for the next character: after a second there is nothing to offer. Resolving a
// name and connecting can't be stopped, but the process can.
void completeWords(const CLI::App& app, const Options& options, Candidates words) {
    std::signal(SIGALRM, endQuietly);
    ::alarm(1);
    const std::string current = words.empty() ? "" : words.back();
    if (!words.empty())
        words.pop_back();
    CommandLine line(app, options);
    for (const std::string& word : words)
        line.take(word);
    try {
        for (const std::string& candidate : line.complete(current))
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

    addVerb<Candidates>(
        app, context,
        {"complete-words", "Print what the last word may become; for completion scripts",
         "lantrix complete-words -- ls /Lib"},
        [&app](Context& given, const Candidates& words) {
            completeWords(app, given.options, words);
        },
        [](CLI::App& verb, Candidates& words) {
            verb.add_option("WORDS", words,
                            "The words after lantrix, the last one to be completed");
            verb.group("");
        });
}

} // namespace tool
