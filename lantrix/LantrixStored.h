// A string of the interface that finds no memory is empty, and reports nothing. An empty text must
// not pass for an answer, so a text is compared with its original after it has been stored.
// Stateless; any thread. A text that was lost is std::bad_alloc.
#ifndef LANTRIX_LANTRIXSTORED_H
#define LANTRIX_LANTRIXSTORED_H

#include "lantrix/LantrixTypes.h"

#include <cstring>
#include <new>

/// Throws unless \p stored, a copy of \p text, is whole.
inline void lantrixRequireStored(const char* stored, const char* text) {
    if (std::strcmp(stored, text) != 0)
        throw std::bad_alloc();
}

/// Make \p target a copy of \p text, or throw and leave it as it was.
inline void lantrixStore(LantrixStr& target, const char* text) {
    LantrixStr copy(text);
    lantrixRequireStored(copy.c_str(), text);
    target.swap(copy);
}
inline void lantrixStoreId(LantrixNodeId& target, const char* text) {
    LantrixNodeId copy(text);
    lantrixRequireStored(copy.id(), text);
    target.swap(copy);
}

/// Throws unless \p copy has all the texts of \p format.
inline void lantrixRequireStored(const LantrixClipFormat& copy, const LantrixClipFormat& format) {
    lantrixRequireStored(copy.formatTag(), format.formatTag());
    lantrixRequireStored(copy.metaDataTag(), format.metaDataTag());
    lantrixRequireStored(copy.metaData(), format.metaData());
}

/// A copy of \p format with all its texts, or throws.
inline LantrixClipFormat lantrixWholeCopy(const LantrixClipFormat& format) {
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is the result.
    LantrixClipFormat copy(format);
    lantrixRequireStored(copy, format);
    return copy;
}

#endif
