#include "bench/support/AllocationCount.h"

#include <atomic>
#include <cstddef>

// The C library's own functions, under the names that it keeps for replacements of malloc.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* malloc(std::size_t size) noexcept;
void* calloc(std::size_t elements, std::size_t size) noexcept;
void* realloc(void* block, std::size_t size) noexcept;
}

namespace {

std::atomic<std::uint64_t> allocations(0);
std::atomic<std::uint64_t> bytes(0);

void count(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    bytes.fetch_add(size, std::memory_order_relaxed);
}

} // namespace

void* malloc(std::size_t size) noexcept {
    count(size);
    return __libc_malloc(size);
}

void* calloc(std::size_t elements, std::size_t size) noexcept {
    count(elements * size);
    return __libc_calloc(elements, size);
}

void* realloc(void* block, std::size_t size) noexcept {
    count(size);
    return __libc_realloc(block, size);
}

std::uint64_t bench::allocationCount() {
    return allocations.load();
}

std::uint64_t bench::allocatedBytes() {
    return bytes.load();
}
