// The demonstration: does with a development server of its own, through the library's public
// handles alone, what an application does, and says each step.
#ifndef TOOLS_VERBS_DEMO_H
#define TOOLS_VERBS_DEMO_H

#include "tools/report/Options.h"

#include <string>

namespace tool {

struct DemoArguments {
    int frames = 48;
    int width = 1280;
    int height = 720;
    std::string files; ///< Where the image files stay; "" for a folder that is removed.
};

/// Throws a Failure when anything does not come out as it should.
void runDemo(const Options& options, const DemoArguments& arguments);

} // namespace tool

#endif
