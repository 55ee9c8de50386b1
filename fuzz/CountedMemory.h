// The memory that the whole process holds, the libraries that it uses included: linking the source
// puts counting functions in the place of malloc and its relatives. Under AddressSanitizer, which
// has malloc of its own, nothing is counted; -malloc_limit_mb bounds single blocks there.
#ifndef FUZZ_COUNTEDMEMORY_H
#define FUZZ_COUNTEDMEMORY_H

#include <cstddef>

/// Begins to look for the most from here on.
void watchMemory();
/// The most bytes that were held since then, beyond those that were held at the time.
std::size_t mostMemory();

#endif
