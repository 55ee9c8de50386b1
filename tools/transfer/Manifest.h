// Hashes of frames in a text file: lines of a hash and a file name, as hash programs write and
// check them. The last number in the name is the frame's. Plain values, and reads one file.
// Failures are thrown as Failure.
#ifndef TOOLS_TRANSFER_MANIFEST_H
#define TOOLS_TRANSFER_MANIFEST_H

#include <map>
#include <string>

namespace tool {

/// Hashes in hexadecimal, by the number of their frame.
using Manifest = std::map<int, std::string>;

[[nodiscard]] Manifest readManifest(const std::string& file);
/// The line, with its end, of the frame \p number; \p name is that of the clip.
[[nodiscard]] std::string manifestLine(const std::string& hash, const std::string& name,
                                       int number);

} // namespace tool

#endif
