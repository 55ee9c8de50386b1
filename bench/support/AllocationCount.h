// Counts what the whole process allocates, the library and the C library included: linking this
// file puts counting functions in the place of malloc and its relatives.
// Any thread may allocate; the count is of all threads.
#ifndef BENCH_SUPPORT_ALLOCATIONCOUNT_H
#define BENCH_SUPPORT_ALLOCATIONCOUNT_H

#include <cstdint>

namespace bench {

/// Blocks allocated, or allocated anew, since the process began.
std::uint64_t allocationCount();
/// Bytes that were asked for in these allocations.
std::uint64_t allocatedBytes();

} // namespace bench

#endif
