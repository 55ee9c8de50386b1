// A program outside the tree: prints the vendor that a server names.
#include <lantrix/LantrixClientAPI.h>

#include <cstdio>

int main(int, char** arguments) {
    const LantrixServerHandle server(arguments[1]);
    LantrixStr vendor;
    if (!server.getVendor(vendor)) {
        std::fprintf(stderr, "%s\n", server.lastError());
        return 1;
    }
    std::puts(vendor.c_str());
    return 0;
}
