// What a node's description may say, whether a client or the disk says it.
// Stateless; any thread. Failures are DevError and name what is wrong.
#ifndef DEVSERVER_DEVNODECHECKS_H
#define DEVSERVER_DEVNODECHECKS_H

#include "devserver/DevNode.h"

#include <cstddef>
#include <string>

/// Neither empty nor too long, and without what lists and paths can't carry.
void devCheckName(const std::string& name);
/// A type is told as it was given, so that it only has a bound.
void devCheckType(const std::string& type);
void devCheckStreamName(const std::string& name);
void devCheckFormat(const LantrixClipFormat& format);
void devCheckFrameCount(std::size_t count);
/// An absolute path; whether a file is there is not looked at.
void devCheckLinkPath(const std::string& path);
/// All of the above.
void devCheckNode(const DevNode& node);

#endif
