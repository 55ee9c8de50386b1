// The number of descriptors that the process may have, which bounds the connections served.
#ifndef DEVSERVER_DEVDESCRIPTORLIMIT_H
#define DEVSERVER_DEVDESCRIPTORLIMIT_H

#include <cstdint>

/// Raises the limit as far as the system lets this user; for programs, before they start threads.
void devRaiseDescriptorLimit();

/// The limit as it is now.
[[nodiscard]] std::uint64_t devDescriptorLimit();

#endif
