#include "fuzz/CountedMemory.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <malloc.h>

namespace {

// Of the one thread that reads; others of the fuzzer are a few bytes off at most.
std::atomic<std::size_t> held(0);
std::atomic<std::size_t> most(0);
std::size_t before = 0;

} // namespace

void watchMemory() {
    before = held;
    most = before;
}

std::size_t mostMemory() {
    return most - before;
}

#if !__has_feature(address_sanitizer)

// The C library's own functions, under the names that it keeps for replacements of malloc.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

static void* counted(void* block) {
    held += ::malloc_usable_size(block); // 0 for none
    most = std::max<std::size_t>(most, held);
    return block;
}

void* malloc(std::size_t size) noexcept {
    return counted(__libc_malloc(size));
}
void* calloc(std::size_t nmemb, std::size_t size) noexcept {
    return counted(__libc_calloc(nmemb, size));
}
void* realloc(void* ptr, std::size_t size) noexcept {
    const std::size_t old = ::malloc_usable_size(ptr);
    void* const moved = __libc_realloc(ptr, size);
    held -= moved != nullptr || size == 0 ? old : 0;
    return counted(moved);
}
void* memalign(std::size_t alignment, std::size_t size) noexcept {
    return counted(__libc_memalign(alignment, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return memalign(alignment, size);
}
int posix_memalign(void** memptr, std::size_t alignment, std::size_t size) noexcept {
    *memptr = memalign(alignment, size);
    return *memptr != nullptr ? 0 : ENOMEM;
}
void free(void* ptr) noexcept {
    held -= ::malloc_usable_size(ptr);
    __libc_free(ptr);
}
}

#endif
