#include "tools/verbs/ShellLine.h"

#include <algorithm>

namespace tool {

namespace {

bool isOneOf(char c, const char* characters) {
    return std::string(characters).find(c) != std::string::npos;
}

bool isAssignment(const std::string& word) {
    const std::size_t equals = word.find('=');
    return equals != std::string::npos && equals > 0 && !isOneOf(word[0], "-/");
}

} // namespace

ShellLine::ShellLine(const std::string& line) {
    words_.emplace_back();
    for (const char c : line)
        take(c);
}

void ShellLine::endWord() {
    if (isInWord_)
        words_.emplace_back();
    isInWord_ = false;
    kept_ = 0;
}

void ShellLine::take(char c) {
    std::string& word = words_.back();
    if (isEscaped_) {
        if (quote_ == '"' && !isOneOf(c, "\"\\$`"))
            word += '\\';
        word += c;
        isEscaped_ = false;
    } else if (c == '\\' && quote_ != '\'') {
        isEscaped_ = isInWord_ = true;
    } else if (quote_ != '\0') {
        if (c == quote_)
            quote_ = '\0';
        else
            word += c;
    } else if (c == '\'' || c == '"') {
        quote_ = c;
        isInWord_ = true;
        kept_ = word.size();
    } else if (isOneOf(c, ";|&(\n")) { // another command
        words_.assign(1, "");
        isInWord_ = false;
    } else if (isOneOf(c, " \t")) {
        endWord();
    } else {
        word += c;
        isInWord_ = true;
        if (isOneOf(c, ":=@<>"))
            kept_ = word.size();
    }
}

std::string ShellLine::assigned(const std::string& variable) const {
    for (const std::string& word : words_) {
        if (!isAssignment(word))
            break;
        if (word.compare(0, variable.size() + 1, variable + "=") == 0)
            return word.substr(variable.size() + 1);
    }
    return "";
}

std::vector<std::string> ShellLine::words() const {
    auto command = std::find_if_not(words_.begin(), words_.end(), isAssignment);
    if (command != words_.end())
        ++command;
    return {command, words_.end()};
}

std::string ShellLine::bashReplacement(const std::string& word) const {
    std::string replacement;
    for (const char c : word.substr(std::min(kept_, word.size()))) {
        const char* const special = quote_ == '"'    ? "\"\\$`"
                                    : quote_ == '\'' ? ""
                                                     : " \t\\'\"$`*?[]{}()<>|&;#!~";
        if (quote_ == '\'' && c == '\'')
            replacement += "'\\'";
        else if (isOneOf(c, special))
            replacement += '\\';
        replacement += c;
    }
    return replacement;
}

} // namespace tool
