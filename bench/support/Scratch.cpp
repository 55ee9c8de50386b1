#include "bench/support/Scratch.h"

#include "bench/support/Socket.h"

#include <string>
#include <system_error>

#include <stdlib.h>

namespace bench {

Scratch::Scratch() {
    std::string name = std::filesystem::temp_directory_path() / "lantrix-bench-XXXXXX";
    if (::mkdtemp(&name[0]) == nullptr)
        failWithErrno(name.c_str());
    path_ = name;
}

Scratch::~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace bench
