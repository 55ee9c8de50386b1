// Completion as somebody at a keyboard meets it: each shell in a terminal of its own, with keys
// sent to it and its screen read; and questions, which only a terminal asks.
#include "tests/tools/ToolProgram.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

struct Shell {
    const char* name;
    const char* command; ///< Starts it without anybody's settings, and loads the completion.
};

std::ostream& operator<<(std::ostream& stream, const Shell& shell) {
    return stream << shell.name;
}

constexpr Shell bash{"bash", "bash --noprofile --rcfile bashrc -i"};
constexpr Shell zsh{"zsh", "ZDOTDIR=\"$PWD\" zsh -i"};
constexpr Shell fish{"fish", "fish --no-config -C \"source fishrc\""};

// A terminal without a window.
class Terminal {
public:
    Terminal(const std::string& folder, const std::string& command)
        : tmux_("cd '" + folder + "' && tmux -u -S terminal ") {
        shell("-f /dev/null new-session -d -x 120 -y 12 'env HOME=. " + command + "'");
    }
    ~Terminal() { shell("kill-server"); }

    void type(const std::string& text) const { shell("send-keys -l -- \"" + text + "\""); }
    void key(const std::string& name) const { shell("send-keys " + name); }
    /// Waits until the last line ends so; gives as much of the line that it is, for the message.
    std::string awaitEnd(const std::string& wanted) const {
        std::string end;
        for (int i = 0; i < 200 && end != wanted; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            end = shell("capture-pane -p | grep -v '^ *$' | tail -1 | tr -d '\\n'");
            end.erase(0, end.size() - std::min(end.size(), wanted.size()));
        }
        return end;
    }

private:
    std::string shell(const std::string& words) const {
        std::FILE* const pipe = ::popen((tmux_ + words).c_str(), "r");
        std::string output;
        for (int c; (c = std::fgetc(pipe)) != EOF;)
            output += static_cast<char>(c);
        ::pclose(pipe);
        return output;
    }

    const std::string tmux_;
};

class CompletionTest : public ToolTest, public ::testing::WithParamInterface<Shell> {
protected:
    void SetUp() override {
        for (const std::string program : {"tmux", GetParam().name})
            if (std::system(("command -v " + program + " >/dev/null").c_str()) != 0)
                GTEST_SKIP() << program << " is not installed";
        output({"mkdir", "-p", "/Library/day 1"});
        output({"mkclip", "/Library/day 1/shot", "--format", "8x4x24"});
        output({"meta", "set", "/Library", "remark", "text"});
        const std::string tool = "lantrix() { " LANTRIX_PATH " \"$@\"; }\n";
        write("bashrc",
              "PATH=" LANTRIX_FOLDER ":$PATH PS1='$ '\neval \"$(lantrix completion bash)\"\n");
        write(".zshrc",
              "PATH=" LANTRIX_FOLDER ":$PATH PS1='$ '\nautoload -U compinit && compinit -u -D\n"
              "eval \"$(lantrix completion zsh)\"\n");
        write("fishrc",
              "set -gx PATH " LANTRIX_FOLDER " $PATH\nfunction fish_prompt; echo '$ '; end\n"
              "set -g fish_greeting\nset -g fish_autosuggestion_enabled 0\n"
              "lantrix completion fish | source\n");
    }
};

TEST_P(CompletionTest, CompletesWhatStandsThereFromTheRightServer) {
    ::setenv("LANTRIX_HOST", "127.0.0.0", 1); // has no server
    const Terminal terminal(folder_, GetParam().command);
    const std::string there = "lantrix ls --host=" + host_ + " ";
    std::vector<std::pair<std::string, std::string>> cases{
        {there + "'/Library/da", there + "'/Library/day 1/"},
        {there + "/Library/da", there + "/Library/day\\ 1/"},
        {there + "/Library/day\\\\ 1/s", there + "/Library/day\\ 1/shot"},
        {"lantrix ls " + host_ + ":", "lantrix ls " + host_ + ":/Library/"},
        {"lantrix ls --progress=b", "lantrix ls --progress=bar"},
        {"lantrix ls --sort f", "lantrix ls --sort frames"},
        {"lantrix meta get " + host_ + ":/Library r",
         "lantrix meta get " + host_ + ":/Library remark"}};
    if (GetParam().name != std::string("bash")) // which does not tell what stands before a command
        cases.emplace_back("LANTRIX_HOST=" + host_ + " lantrix ls /L",
                           "LANTRIX_HOST=" + host_ + " lantrix ls /Library/");
    EXPECT_EQ("$", terminal.awaitEnd("$"));
    for (const auto& [typed, completed] : cases) {
        terminal.type(typed);
        terminal.key("Tab");
        EXPECT_EQ("$ " + completed, terminal.awaitEnd("$ " + completed));
        terminal.key("C-c");
        EXPECT_EQ("$", terminal.awaitEnd("$"));
    }
}

TEST_P(CompletionTest, AnInterruptAtAQuestionIsAnInterrupt) {
    if (GetParam().name != std::string("bash"))
        GTEST_SKIP() << "one shell is enough";
    ::setenv("LANTRIX_HOST", host_.c_str(), 1);
    const Terminal terminal(folder_, GetParam().command);
    EXPECT_EQ("$", terminal.awaitEnd("$"));
    terminal.type("lantrix rm -r /Library; printf =%s \\$?");
    terminal.key("Enter");
    EXPECT_EQ("[y/N]", terminal.awaitEnd("[y/N]"));
    terminal.key("C-c");
    EXPECT_EQ("=130$", terminal.awaitEnd("=130$"));
    EXPECT_EQ("Library\n", output({"ls"}));
}

INSTANTIATE_TEST_SUITE_P(Shells, CompletionTest, ::testing::Values(bash, zsh, fish),
                         [](const auto& shell) { return std::string(shell.param.name); });

} // namespace
