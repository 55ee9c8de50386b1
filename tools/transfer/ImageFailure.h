// The border to the image layer: its errors become failures of the tool here and nowhere else.
#ifndef TOOLS_TRANSFER_IMAGEFAILURE_H
#define TOOLS_TRANSFER_IMAGEFAILURE_H

#include "image/Error.h"
#include "tools/report/Failure.h"

namespace tool {

/// The exit status of the error, with what a user of the tool can do about it.
[[nodiscard]] Failure failureOf(const image::Error& error);

} // namespace tool

#endif
