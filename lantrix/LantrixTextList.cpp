#include "lantrix/LantrixTextList.h"

#include <algorithm>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

using Marks = std::uint64_t; // a bit for each byte of a block, the lowest for the first
constexpr std::size_t blockSize = 64;

// The bytes of a block that are commas. Without a branch, since the lengths of names are random.
#ifdef __SSE2__
Marks commasOf(const char* block) {
    const __m128i comma = _mm_set1_epi8(',');
    Marks commas = 0;
    for (std::size_t i = 0; i < blockSize; i += sizeof comma) {
        const auto* const bytes = reinterpret_cast<const __m128i*>(block + i);
        const int found = _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_loadu_si128(bytes), comma));
        commas |= static_cast<Marks>(static_cast<unsigned>(found)) << i;
    }
    return commas;
}
#else
// Compilers make vector instructions of the first loop and one load of the innermost, and the
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
#endif

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

} // namespace

// Without a count of them beforehand, which would be another walk through the memory: a list of
// more than this goes on as it begins, or grows twofold.
void LantrixTextList::reserve(std::size_t count, double shareRead) {
    constexpr std::size_t manyStarts = 1 << 16;
    if (count <= starts_.capacity())
        return;
    const auto expected = static_cast<std::size_t>(static_cast<double>(count) / shareRead);
    starts_.reserve(std::min(expected + count / 16, std::max(2 * count, manyStarts)));
}

LantrixTextList::LantrixTextList(std::string reply, Form form, const std::function<void()>& check)
    : text_(std::move(reply)) {
    if (text_.capacity() / 2 > text_.size())
        text_.shrink_to_fit(); // it is kept
    form == Form::Pairs ? takeApart<Form::Pairs>(check) : takeApart<Form::Items>(check);
}

// The form is known when it is compiled, since it is asked for at each comma.
template <LantrixTextList::Form KnownForm>
void LantrixTextList::takeApart(const std::function<void()>& check) {
    constexpr std::ptrdiff_t stretch = 1024;
    char* const begin = text_.data();
    char* const end = begin + text_.size();
    char* piece = begin;
    bool isSecond = false; // of a pair
    for (char* next = begin; next != end;) {
        if ((next - begin) % bytesBetweenChecks == 0)
            check();
        char* const stretchEnd = next + std::min(stretch, end - next);
        std::uint32_t starts[stretch];
        std::uint32_t* startsEnd = starts;
        forEachComma(next, stretchEnd, [&](char* behind) {
            *startsEnd = static_cast<std::uint32_t>(piece - begin);
            startsEnd += (KnownForm == Form::Pairs ? !isSecond : behind - 1 != piece) ? 1 : 0;
            behind[-1] = '\0';
            isSecond = !isSecond;
            piece = behind;
        });
        next = stretchEnd;
        const std::size_t count = starts_.size() + static_cast<std::size_t>(startsEnd - starts);
        reserve(count, static_cast<double>(next - begin) / static_cast<double>(text_.size()));
        starts_.insert(starts_.end(), starts, startsEnd);
    }
    if (KnownForm == Form::Items && piece != end)
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
