#include "lantrix/LantrixTextList.h"

#include <algorithm>

namespace {

using Marks = std::uint64_t; // a bit for each byte of a block, the lowest for the first
constexpr std::size_t blockSize = 64;

// The bytes of a block that are commas. Without a branch, since the lengths of names are random:
// compilers make vector instructions of the first loop and one load of the innermost, and the
// product moves the lowest bits of eight bytes beside each other.
Marks commasOf(const char* block) {
    unsigned char isComma[blockSize];
    for (std::size_t i = 0; i < blockSize; ++i)
        isComma[i] = block[i] == ',' ? 1 : 0;
    Marks commas = 0;
    for (std::size_t i = 0; i < blockSize; i += 8) {
        std::uint64_t eight = 0;
        for (std::size_t j = 0; j < 8; ++j)
            eight |= std::uint64_t{isComma[i + j]} << (8 * j);
        commas |= (eight * 0x0102040810204080U >> 56) << i;
    }
    return commas;
}

// Hands the place behind each comma to use, in order.
template <class Use>
void forEachComma(char* text, const char* end, Use&& use) {
    for (; static_cast<std::size_t>(end - text) >= blockSize; text += blockSize)
        for (Marks commas = commasOf(text); commas != 0; commas &= commas - 1)
            use(text + __builtin_ctzll(commas) + 1);
    for (; text != end; ++text)
        if (*text == ',')
            use(text + 1);
}

// Of the places in a text that 'counts' is true for. In blocks whose count fits in a byte:
// compilers make vector instructions of it.
template <class Counts>
std::size_t countOf(const char* text, const char* end, Counts&& counts) {
    constexpr std::ptrdiff_t block = 255;
    std::size_t count = 0;
    while (text != end) {
        const char* const blockEnd = text + std::min(block, end - text);
        std::uint8_t inBlock = 0;
        for (; text != blockEnd; ++text)
            inBlock = static_cast<std::uint8_t>(inBlock + (counts(text) ? 1 : 0));
        count += inBlock;
    }
    return count;
}

} // namespace

// While the commas are still in the text.
std::size_t LantrixTextList::countItems(Form form) const {
    const char* const begin = text_.data();
    const char* const end = begin + text_.size();
    if (form == Form::Pairs)
        return (countOf(begin, end, [](const char* at) { return *at == ','; }) + 1) / 2;
    if (begin == end)
        return 0;
    return countOf(begin + 1, end, [](const char* at) { return *at != ',' && at[-1] == ','; }) +
           (*begin != ',' ? 1 : 0);
}

LantrixTextList::LantrixTextList(std::string reply, Form form, const std::function<void()>& check)
    : text_(std::move(reply)) {
    if (text_.capacity() / 2 > text_.size())
        text_.shrink_to_fit();         // it is kept
    starts_.reserve(countItems(form)); // no more memory than it needs
    char* const begin = text_.data();
    char* const end = begin + text_.size();
    char* piece = begin;
    bool isSecond = false; // of a pair
    const auto endPiece = [&](char* next) {
        if (form == Form::Pairs ? !isSecond : next - 1 != piece)
            starts_.push_back(static_cast<std::uint32_t>(piece - begin));
        next[-1] = '\0';
        isSecond = !isSecond;
        piece = next;
    };
    for (char* part = begin; part != end;) {
        check();
        char* const partEnd = part + std::min(bytesBetweenChecks, end - part);
        forEachComma(part, partEnd, endPiece);
        part = partEnd;
    }
    if (form == Form::Items && piece != end)
        starts_.push_back(static_cast<std::uint32_t>(piece - begin));
}

void LantrixTextList::appendPair(const char* first, const char* second) {
    if (!text_.empty())
        text_.push_back('\0');
    const std::size_t start = text_.size();
    text_.append(first).push_back('\0');
    text_.append(second);
    starts_.push_back(static_cast<std::uint32_t>(start));
}
