// The frame that the bytes of an image file hold, of any kind that image/ reads.
// Any thread. Failures are thrown as image::Error.
#ifndef MOUNT_FRAMEOFFILE_H
#define MOUNT_FRAMEOFFILE_H

#include "mount/Folder.h"

namespace mounted {

/// Refuses what is not a whole image of the clip. The kind is told from the bytes, whatever the
/// file is called; those of a clip whose layout is not known are the frame.
[[nodiscard]] image::Bytes frameOfFile(const Clip& clip, const image::Bytes& bytes);

} // namespace mounted

#endif
