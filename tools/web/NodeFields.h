// What is known of a node, and why something is not, as the page reads it. Plain functions.
#ifndef TOOLS_WEB_NODEFIELDS_H
#define TOOLS_WEB_NODEFIELDS_H

#include "image/PixelLayout.h"
#include "stream/TreeWalker.h"
#include "tools/report/Json.h"
#include "tools/web/WebFailure.h"

#include <string>

namespace tool {

/// Without its children's number.
[[nodiscard]] Json nodeFields(const lantrix::WalkedNode& node);
/// The names of the channels: "r", "g", "b", "a", or "y" for gray.
[[nodiscard]] Json channelNames(int channels);

[[nodiscard]] WebFailure::Kind kindOf(const lantrix::Failure& failure);
[[nodiscard]] Json failureFields(WebFailure::Kind kind, const std::string& text);

} // namespace tool

#endif
