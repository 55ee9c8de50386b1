// What is done beside the writing of frames. A plain value.
#ifndef TOOLS_TRANSFER_STORERULES_H
#define TOOLS_TRANSFER_STORERULES_H

#include "tools/transfer/Manifest.h"

namespace tool {

struct StoreRules {
    bool verify = false; ///< Read back and compare.
    bool resume = false; ///< Leave out what is there already.
    Manifest known;      ///< Leave out frames with these hashes, which the clip is known to have.
};

} // namespace tool

#endif
