// A program outside the tree: prints the vendor that a server names, asked through a pool.
#include <stream/Pool.h>

#include <cstdio>

int main(int, char** arguments) {
    LantrixStr vendor;
    lantrix::Pool pool(arguments[1]);
    const lantrix::Failure failure =
        pool.run([&vendor](lantrix::Connection& connection) {
                return connection.server.getVendor(vendor)
                           ? lantrix::Failure()
                           : lantrix::Failure::lastOf(connection.server);
            })
            .get();
    std::puts(failure ? failure.text.c_str() : vendor.c_str());
    return failure ? 1 : 0;
}
