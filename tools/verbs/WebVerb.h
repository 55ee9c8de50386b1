// What the verb web is told, and what is done with it: by the program that can, lantrix-web, which
// alone is linked to what speaks HTTP and takes as long to start as all the rest.
#ifndef TOOLS_VERBS_WEBVERB_H
#define TOOLS_VERBS_WEBVERB_H

#include <functional>
#include <string>

namespace tool {

struct Context;

struct WebVerbArguments {
    std::string address = "/";
    std::string listen = "127.0.0.1";
    int memoryMiB = 512;
    bool allowRemote = false;
    bool open = false;
};

using WebVerb = std::function<void(Context& context, const WebVerbArguments& arguments)>;

} // namespace tool

#endif
