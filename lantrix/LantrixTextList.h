// The texts of a list reply: the reply as it came, with a terminator for each comma, and where each
// item begins. A list of millions of items takes the reply and 4 bytes for each of them; at most 12
// while an item is added.
// Owns its texts. One thread at a time. Only std::bad_alloc is thrown, and what the check throws.
#ifndef LANTRIX_LANTRIXTEXTLIST_H
#define LANTRIX_LANTRIXTEXTLIST_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

class LantrixTextList {
public:
    /// What a reply lists: items, of which empty ones do not count, or pairs, whose parts may be
    /// empty and of which a last one without its second part does not count.
    enum class Form { Items, Pairs };
    static constexpr std::ptrdiff_t bytesBetweenChecks = 1 << 16;

    LantrixTextList() = default;
    /// Takes \p reply, which holds no NUL, apart. Calls \p check now and then, which may throw.
    LantrixTextList(std::string reply, Form form, const std::function<void()>& check);

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
    template <Form KnownForm>
    void takeApart(const std::function<void()>& check);
    void reserve(std::size_t count, double shareRead);

    std::string text_;                  // pieces, with a NUL between each two
    std::vector<std::uint32_t> starts_; // enough: a reply line has at most 256 MiB
};

#endif
