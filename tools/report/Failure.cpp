#include "tools/report/Failure.h"

#include <cstring>

namespace tool {

Failure& Failure::with(const std::string& key, Detail value) {
    details_.emplace_back(key, std::move(value));
    return *this;
}

Failure Failure::told(const std::string& more) const {
    Failure failure(status_, what() + more);
    failure.details_ = details_;
    return failure;
}

Failure fileFailure(const std::string& what, const std::string& file, int errorNumber) {
    Failure failure(Status::LocalFile, what + " '" + file + "': " + std::strerror(errorNumber));
    failure.with("file", file);
    return failure;
}

} // namespace tool
