// Reading of reply values: numbers and words separated by white space.
// Stateless; knows no socket. Numbers are those of the "C" locale. Any text is accepted: what
// does not parse is reported and leaves its output as it was.
#ifndef LANTRIX_LANTRIXREPLYTEXT_H
#define LANTRIX_LANTRIXREPLYTEXT_H

#include "base/loggerBase/src/CoText.h"

#include <cstddef>
#include <string>

/// Walks over the fields of one reply. After the first field that does not parse nothing more is
/// read.
class LantrixReplyReader {
public:
    /// \p text must outlive the reader.
    explicit LantrixReplyReader(const std::string& text) : rest_(text.c_str()) {}

    /// A decimal number within int; false, and \p value as it was, for anything else.
    bool readInt(int& value);
    bool readFloat(float& value);
    /// A word without blanks, of which more than \p longest characters are dropped; \p word as it
    /// was behind the last one.
    void readWord(std::string& word, std::size_t longest);
    /// What follows the white space, cut to \p longest characters; \p rest as it was where nothing
    /// more is read.
    void readRest(std::string& rest, std::size_t longest);

private:
    bool skipBlanks();

    CoCLocale neutral_;
    const char* rest_; // null after a field that did not parse
};

#endif
