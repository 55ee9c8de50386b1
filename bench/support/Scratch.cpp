#include "bench/support/Scratch.h"

#include "bench/support/Socket.h"

#include <string>
#include <system_error>

#include <stdlib.h>

namespace bench {

namespace {

namespace fs = std::filesystem;

fs::path placeForFiles() {
    const fs::path inMemory = "/dev/shm";
    return fs::is_directory(inMemory) ? inMemory : fs::temp_directory_path();
}

} // namespace

Scratch::Scratch() {
    std::string name = placeForFiles() / "lantrix-bench-XXXXXX";
    if (::mkdtemp(&name[0]) == nullptr)
        failWithErrno(name.c_str());
    path_ = name;
}

Scratch::~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace bench
