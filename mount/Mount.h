// Mounts the tree below a node of a server as a folder, and serves it until it is unmounted or
// asked to end. Starts threads and ends them before it returns. Process-wide: libfuse's messages
// are taken over. Failures are thrown as MountError.
#ifndef MOUNT_MOUNT_H
#define MOUNT_MOUNT_H

#include "mount/MountOptions.h"

#include <stdexcept>

namespace mounted {

class MountError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Returns when nothing is mounted any more. What becomes of the files that programs have open is
/// the system's matter: reading them fails.
void serveMount(const MountOptions& options);

} // namespace mounted

#endif
