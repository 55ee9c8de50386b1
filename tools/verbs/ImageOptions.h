// The options of verbs that read image files.
#ifndef TOOLS_VERBS_IMAGEOPTIONS_H
#define TOOLS_VERBS_IMAGEOPTIONS_H

#include "image/ImageFile.h"

#include <CLI/App.hpp>

namespace tool {

/// Adds --part and --fit.
void addReadOptions(CLI::App& verb, image::ReadOptions& reading);

} // namespace tool

#endif
