// The options of all verbs that are about some frames of a clip.
#ifndef TOOLS_VERBS_FRAMEOPTIONS_H
#define TOOLS_VERBS_FRAMEOPTIONS_H

#include "tools/transfer/FrameRange.h"
#include "tools/transfer/StoreRules.h"

#include <CLI/App.hpp>

namespace tool {

/// Adds --frames and --start-number.
void addFrameOptions(CLI::App& verb, FrameSelection& frames);
/// Adds --start-number alone.
void addStartNumberOption(CLI::App& verb, int& startNumber);
/// Adds --missing.
void addMissingOption(CLI::App& verb, Missing& missing);
/// Adds --verify and --resume.
void addStoreOptions(CLI::App& verb, StoreRules& rules);

} // namespace tool

#endif
