// Verbs that programs of their own do, lantrix-web and lantrix-mount, whose libraries would double
// the time in which every other verb starts: what they are told, and who does them.
#ifndef TOOLS_VERBS_HELPERVERBS_H
#define TOOLS_VERBS_HELPERVERBS_H

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

struct MountVerbArguments {
    std::string address;
    std::string folder;
    std::string kind; // of image files
    int startNumber = 0;
    double cacheSeconds = 2;
    int memoryMiB = 512;
    bool isWritable = false;
    bool allowOthers = false;
    bool background = false;
};

/// Those that this program does; for each of the others it becomes the program that does it.
struct HelperVerbs {
    std::function<void(Context& context, const WebVerbArguments& arguments)> web;
    std::function<void(Context& context, const MountVerbArguments& arguments)> mount;
};

} // namespace tool

#endif
