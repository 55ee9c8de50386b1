// The text form in which a clip is asked for on the command line.
// Stateless; any thread. Failures are DevError, which says what is wrong with the text.
#ifndef DEVSERVER_DEVCLIPOPTION_H
#define DEVSERVER_DEVCLIPOPTION_H

#include "lantrix/LantrixTypes.h"

#include <string>
#include <vector>

struct DevClipOption {
    std::vector<std::string> path; ///< Display names from below the root; never empty.
    LantrixClipFormat format;
};

/// Reads "PATH=WxHxBITS[xCHANNELS][@RATE]"; what follows the "=" is as in image/ClipShape.h.
[[nodiscard]] DevClipOption devClipOption(const std::string& text);

#endif
