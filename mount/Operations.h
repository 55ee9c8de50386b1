// The functions that libfuse calls, for a session whose user data is a FileSystem.
#ifndef MOUNT_OPERATIONS_H
#define MOUNT_OPERATIONS_H

#include <fuse_lowlevel.h>

namespace mounted {

[[nodiscard]] const fuse_lowlevel_ops& operations();

} // namespace mounted

#endif
