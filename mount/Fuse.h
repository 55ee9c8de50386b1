// libfuse's interface for file systems that answer requests in any order, in the version that this
// code is written for.
#ifndef MOUNT_FUSE_H
#define MOUNT_FUSE_H

#define FUSE_USE_VERSION 35
#include <fuse_lowlevel.h>

#endif
