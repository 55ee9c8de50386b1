// The texts of a list reply: the reply as it came, with a terminator for each comma, and where each
// item begins. A list of millions of items takes the reply and 4 bytes for each of them; at most 12
// while an item is added.
// Owns its texts. One thread at a time. Only std::bad_alloc is thrown, and what the check throws.
#ifndef LANTRIX_LANTRIXTEXTLIST_H
#define LANTRIX_LANTRIXTEXTLIST_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

class LantrixTextList {
public:
    /// What a reply lists: items, of which empty ones do not count, or pairs, whose parts may be
    /// empty and of which a last one without its second part does not count.
    enum class Form { Items, Pairs };
    static constexpr std::size_t piecesBetweenChecks = 1 << 16;

    LantrixTextList() = default;
    /// Takes \p reply, which holds no NUL, apart. Calls \p check now and then, which may throw.
    template <class Check>
    LantrixTextList(std::string reply, Form form, Check&& check);

    std::size_t size() const { return starts_.size(); }
    bool holds(int index) const { return index >= 0 && static_cast<std::size_t>(index) < size(); }
    /// The item, or the first part of the pair, at \p index, which is below size(). Valid until the
    /// list changes.
    const char* operator[](std::size_t index) const { return text_.data() + starts_[index]; }
    /// The second part of the pair at \p index.
    const char* second(std::size_t index) const {
        const char* const first = (*this)[index];
        return first + std::strlen(first) + 1;
    }
    void appendPair(const char* first, const char* second);

private:
    std::size_t countItems(Form form) const;

    std::string text_;                  // pieces, with a NUL between each two
    std::vector<std::uint32_t> starts_; // enough: a reply line has at most 256 MiB
};

// While the commas are still in the text.
inline std::size_t LantrixTextList::countItems(Form form) const {
    if (form == Form::Pairs)
        return (static_cast<std::size_t>(std::count(text_.begin(), text_.end(), ',')) + 1) / 2;
    std::size_t count = 0;
    char before = ',';
    for (const char c : text_) {
        count += c != ',' && before == ',' ? 1 : 0;
        before = c;
    }
    return count;
}

template <class Check>
LantrixTextList::LantrixTextList(std::string reply, Form form, Check&& check)
    : text_(std::move(reply)) {
    starts_.reserve(countItems(form)); // no more memory than it needs
    char* const begin = text_.data();
    char* const end = begin + text_.size();
    char* first = nullptr; // of a pair
    std::size_t pieces = 0;
    for (char* piece = begin; piece != nullptr && begin != end; ++pieces) {
        if (pieces % piecesBetweenChecks == 0)
            check();
        void* const comma = std::memchr(piece, ',', static_cast<std::size_t>(end - piece));
        char* const pieceEnd = comma != nullptr ? static_cast<char*>(comma) : end;
        *pieceEnd = '\0'; // the string's own terminator at the end
        const bool isSecond = first != nullptr;
        if (form == Form::Pairs ? isSecond : pieceEnd != piece)
            starts_.push_back(static_cast<std::uint32_t>((isSecond ? first : piece) - begin));
        first = form == Form::Pairs && !isSecond ? piece : nullptr;
        piece = comma != nullptr ? pieceEnd + 1 : nullptr;
    }
}

inline void LantrixTextList::appendPair(const char* first, const char* second) {
    if (!text_.empty())
        text_.push_back('\0');
    const std::size_t start = text_.size();
    text_.append(first).push_back('\0');
    text_.append(second);
    starts_.push_back(static_cast<std::uint32_t>(start));
}

#endif
