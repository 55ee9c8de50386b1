// The description of one node and its text form on disk: an object of JSON. Texts that are not
// UTF-8 are kept byte for byte, as {"base64": "..."}.
// A plain value without a lock. Failures are DevError.
#ifndef DEVSERVER_DEVNODE_H
#define DEVSERVER_DEVNODE_H

#include "lantrix/LantrixTypes.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct DevNode {
    enum Kind { Plain = 0, Clip = 1 };

    std::uint64_t parent = 0; ///< The number of the parent; of itself for the root.
    std::string name;
    Kind kind = Plain;
    std::string type;
    std::map<std::string, std::string> streams; ///< Metadata by the name of its stream.

    // Of clips only.
    LantrixClipFormat format;
    std::size_t frames = 0;
    std::vector<std::string> links; ///< Files elsewhere that are the first frames.
    bool leftovers = false;         ///< Files of frames that were dropped may still be there.
};

[[nodiscard]] std::string devTextOfNode(const DevNode& node);
[[nodiscard]] DevNode devNodeOfText(const std::string& text);

#endif
