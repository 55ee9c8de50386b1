// The argument text of a request, taken apart field by field. Fields are separated by single
// blanks, so that two in a row enclose an empty field; free text is quoted and comes last.
// Borrows the text. One thread at a time. Failures are DevError and name the field.
#ifndef DEVSERVER_DEVARGUMENTS_H
#define DEVSERVER_DEVARGUMENTS_H

#include "lantrix/LantrixTypes.h"

#include <string>
#include <string_view>

class DevArguments {
public:
    explicit DevArguments(std::string_view text) : rest_(text) {}

    /// The next field, which may be empty.
    [[nodiscard]] std::string word(const char* what);
    [[nodiscard]] int number(const char* what);
    [[nodiscard]] float decimal(const char* what);
    /// The next text in double quotes, which has no quote inside, with the blank behind it.
    [[nodiscard]] std::string quotedWord(const char* what);
    /// What is left.
    [[nodiscard]] std::string_view rest() const { return rest_; }
    /// What is left: a text in double quotes, with its escapes undone.
    [[nodiscard]] std::string escapedText(const char* what);
    /// A clip format of eleven fields, which are all that is left.
    [[nodiscard]] LantrixClipFormat clipFormat();

    /// Takes off the last \p count fields in front of an escaped text at the end, with that text,
    /// and returns them; for texts whose front may hold blanks. \p what names the whole.
    [[nodiscard]] std::string_view takeLast(std::size_t count, const char* what);

private:
    std::string_view rest_;
    bool ended_ = false; // the last field has been taken
};

#endif
