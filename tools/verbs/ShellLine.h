// The line that somebody is typing into a shell, left of the cursor, as bash, zsh and fish take it
// apart: words between blanks, quotes, backslashes. Plain text; has no failures, since half a line
// is never wrong.
#ifndef TOOLS_VERBS_SHELLLINE_H
#define TOOLS_VERBS_SHELLLINE_H

#include <string>
#include <vector>

namespace tool {

class ShellLine {
public:
    explicit ShellLine(const std::string& line);

    /// The value of a variable that is set in front of the last command; "" when it is not.
    [[nodiscard]] std::string assigned(const std::string& variable) const;
    /// The words behind the last command's name without their quotes; the last one, which may be
    /// empty, is the one to complete.
    [[nodiscard]] std::vector<std::string> words() const;
    /// What bash puts in place of the part of the last word that it completes: the part behind the
    /// last break of words, or behind an open quote, quoted as the word began.
    [[nodiscard]] std::string bashReplacement(const std::string& word) const;
    [[nodiscard]] bool isInQuotes() const { return quote_ != '\0'; }

private:
    void take(char c);
    void endWord();

    std::vector<std::string> words_; // assignments and the command's name, too
    bool isInWord_ = false;
    bool isEscaped_ = false;
    char quote_ = '\0';    // the one that is open
    std::size_t kept_ = 0; // characters of the last word that bash leaves in their place
};

} // namespace tool

#endif
